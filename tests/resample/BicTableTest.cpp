#include <gtest/gtest.h>

#include <cstdlib>

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

TEST(BicTable, ReproducesTheAnchorRowsOfAllThreeCurves) {
    struct Row {
        int index;
        int16_t w[4];
    } rows[] = {
        {1, {-3, 1023, 4, 0}},
        {16, {-29, 874, 189, -10}},
        {32, {-26, 538, 538, -26}},
        {48, {-10, 189, 874, -29}},
        {63, {0, 4, 1023, -3}},
        {64 + 1, {-8, 1023, 9, 0}},
        {64 + 16, {-72, 888, 232, -24}},
        {64 + 32, {-64, 576, 576, -64}},
        {64 + 48, {-24, 232, 888, -72}},
        {64 + 63, {0, 9, 1023, -8}},
        {128 + 1, {-16, 1024, 26, -10}},
        {128 + 8, {-120, 1016, 205, -77}},
        {128 + 16, {-217, 985, 410, -154}},
        {128 + 24, {-276, 916, 614, -230}},
        {128 + 32, {-284, 796, 796, -284}},
        {128 + 48, {-154, 410, 985, -217}},
        {128 + 63, {-10, 26, 1024, -16}},
    };
    for (const Row& row : rows)
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(BicTable[row.index][i], row.w[i]) << "row " << row.index;
}

TEST(BicTable, RowsSumTo1024AndMirrorAroundTheHalfPhase) {
    for (int sub = 0; sub < 3; ++sub) {
        const int16_t(*t)[4] = BicTable + 64 * sub;
        EXPECT_EQ(t[0][0], 0);
        EXPECT_EQ(t[0][1], 1024);
        EXPECT_EQ(t[0][2], 0);
        EXPECT_EQ(t[0][3], 0);
        for (int p = 0; p < 64; ++p) {
            EXPECT_EQ(t[p][0] + t[p][1] + t[p][2] + t[p][3], 1024)
                << "sub " << sub << " phase " << p;
            for (int i = 0; p > 0 && i < 4; ++i)
                EXPECT_EQ(t[64 - p][i], t[p][3 - i]) << sub << "/" << p;
        }
    }
}

TEST(BicTable, CentreWeightFallsAndOuterTapsStayNegativeUpToTheHalfPhase) {
    for (int sub = 0; sub < 3; ++sub) {
        const int16_t(*t)[4] = BicTable + 64 * sub;
        for (int p = 1; p <= 32; ++p) {
            EXPECT_LE(t[p][1], t[p - 1][1]) << sub << "/" << p;
            EXPECT_GE(t[p][2], t[p - 1][2]) << sub << "/" << p;
            EXPECT_LE(t[p][0], 0);
            EXPECT_LE(t[p][3], 0);
        }
    }
}

// The 8-bit horizontal pass sums in 32 bits: the worst case of two table rows over 8-bit
// samples (all positive taps at 255 in one pass, all negative in the other) must stay below 2^31.
TEST(BicTable, EightBitFilterSumsFitThirtyTwoBits) {
    int64_t worst = 0;
    for (int v = 0; v < 192; ++v) {
        int64_t positive = 0, negative = 0;
        for (int i = 0; i < 4; ++i)
            (BicTable[v][i] > 0 ? positive : negative) += std::abs(BicTable[v][i]);
        worst = std::max(worst, (positive + negative) * (positive + negative) * 255);
    }
    EXPECT_LT(worst + 524288, int64_t(1) << 31);
}

}  // namespace
