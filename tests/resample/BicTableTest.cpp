#include <gtest/gtest.h>

#include <vector>

#include "resample/BicKernels.h"
#include "vandrel/ExResize.h"

namespace {

TEST(BicTable, IsExactlyWhatTheKernelGeneratorProduces) {
    int16_t fresh[192][4];
    vxresample::GenerateBicTable(fresh);
    for (int r = 0; r < 192; ++r)
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(BicTable[r][i], fresh[r][i]) << "row " << r << " tap " << i;
}

// Anchor rows of the three curves; the other half of each follows from the mirror rule.
TEST(BicTable, ReproducesTheAnchorRowsOfAllThreeCurves) {
    const int16_t rows[][5] = {
        {1, -3, 1023, 4, 0},         {16, -29, 874, 189, -10},    {32, -26, 538, 538, -26},
        {65, -8, 1023, 9, 0},        {80, -72, 888, 232, -24},    {96, -64, 576, 576, -64},
        {129, -16, 1024, 26, -10},   {136, -120, 1016, 205, -77}, {144, -217, 985, 410, -154},
        {152, -276, 916, 614, -230}, {160, -284, 796, 796, -284}, {191, -10, 26, 1024, -16}};
    for (const auto& row : rows)
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(BicTable[row[0]][i], row[i + 1]) << "row " << row[0];
}

TEST(BicTable, RowsSumTo1024AndMirrorAroundTheHalfPhase) {
    for (int sub = 0; sub < 3; ++sub) {
        const int16_t(*t)[4] = BicTable + 64 * sub;
        EXPECT_EQ(std::vector<int16_t>(t[0], t[0] + 4), (std::vector<int16_t>{0, 1024, 0, 0}));
        for (int p = 0; p < 64; ++p) {
            EXPECT_EQ(t[p][0] + t[p][1] + t[p][2] + t[p][3], 1024) << sub << "/" << p;
            for (int i = 0; p > 0 && i < 4; ++i)
                EXPECT_EQ(t[64 - p][i], t[p][3 - i]) << sub << "/" << p;
        }
    }
}

}  // namespace
