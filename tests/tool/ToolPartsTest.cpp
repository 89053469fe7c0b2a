// The tool's building blocks on their own: the test chart, the progress callback with its
// cancelling, and outputs that appear only when complete.
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <vector>

#include "Interrupt.h"
#include "PartialFile.h"
#include "ProgressBar.h"
#include "TestChart.h"
#include "TestSupport.h"

namespace {

using namespace vxtool;

std::vector<uint16_t> Line48(const CTestChart& chart, int32_t y) {
    std::vector<uint16_t> line(size_t(chart.width()) * 3);
    chart.Line48(y, line.data());
    return line;
}

TEST(TestChartTest, ZonePlateIsWhiteInTheMiddleAndOscillatesOutwards) {
    const CTestChart chart(640, 480);
    ASSERT_EQ(chart.plateSide(), 360);
    const std::vector<uint16_t> middle = Line48(chart, 180);
    EXPECT_GT(middle[3 * 180], 65000);  // the rings start white at the centre
    // Along the middle line the rings alternate: both dark and bright samples occur.
    int dark = 0, bright = 0;
    for (int32_t x = 0; x < 360; ++x) {
        EXPECT_EQ(middle[3 * x], middle[3 * x + 1]);
        EXPECT_EQ(middle[3 * x], middle[3 * x + 2]);
        dark += middle[3 * x] < 6000;
        bright += middle[3 * x] > 59000;
    }
    EXPECT_GT(dark, 20);
    EXPECT_GT(bright, 20);
}

TEST(TestChartTest, BandHoldsFullRangeRampsAndSixteenGreySteps) {
    const CTestChart chart(640, 480);
    const int32_t band = 480 - 360, row = band / 5;
    struct {
        int32_t y;
        int channel;  // -1: grey
    } rows[] = {{360 + row / 2, -1},
                {360 + 2 * row + row / 2, 0},
                {360 + 3 * row + row / 2, 1},
                {360 + 4 * row + row / 2, 2}};
    for (const auto& r : rows) {
        const std::vector<uint16_t> line = Line48(chart, r.y);
        for (int c = 0; c < 3; ++c) {
            const bool lit = r.channel < 0 || r.channel == c;
            EXPECT_EQ(line[c], 0) << "line " << r.y;
            EXPECT_EQ(line[3 * 639 + c], lit ? 65535 : 0) << "line " << r.y << " channel " << c;
        }
    }
    std::set<uint16_t> steps;
    const std::vector<uint16_t> stepped = Line48(chart, 360 + row + row / 2);
    for (int32_t x = 0; x < 640; ++x)
        steps.insert(stepped[3 * x]);
    EXPECT_EQ(steps.size(), 16u);
}

TEST(TestChartTest, EightBitLinesAreTheSixteenBitValuesRounded) {
    const CTestChart chart(97, 61);  // odd sizes: every region boundary off the even grid
    std::vector<uint8_t> narrow(97 * 3);
    std::vector<uint8_t> alpha8(97);
    std::vector<uint16_t> alpha16(97);
    for (int32_t y = 0; y < 61; ++y) {
        const std::vector<uint16_t> wide = Line48(chart, y);
        chart.Line24(y, narrow.data());
        for (size_t i = 0; i < narrow.size(); ++i)
            ASSERT_LE(std::abs(int(narrow[i]) * 257 - int(wide[i])), 129) << y << " " << i;
        chart.Alpha8(y, alpha8.data());
        chart.Alpha16(y, alpha16.data());
        for (size_t i = 0; i < alpha8.size(); ++i)
            ASSERT_LE(std::abs(int(alpha8[i]) * 257 - int(alpha16[i])), 129);
    }
}

class ProgressBarTest : public ::testing::Test {
protected:
    void TearDown() override { CInterruptGuard::Reset(); }
};

TEST_F(ProgressBarTest, CountsStepsOverRequestsAndDrawsOnlyWhenAsked) {
    vxtest::ScratchDir dir;
    std::FILE* out = std::fopen(dir.file("bar").c_str(), "w+");
    ASSERT_NE(out, nullptr);
    {
        CProgressBar bar(out, true);
        EXPECT_EQ(bar.Start(256), 1);
        EXPECT_EQ(bar.BeginProcess(IMacroCallback::ProcessDecode), 1);
        EXPECT_EQ(bar.Progress(128), 1);
        EXPECT_EQ(bar.EndProcess(), 1);
        EXPECT_EQ(bar.Start(128), 1);  // a second request adds its steps
        EXPECT_EQ(bar.BeginProcess(IMacroCallback::ProcessEncode), 1);
        EXPECT_EQ(bar.Progress(64), 1);
        EXPECT_EQ(bar.done(), 192u);
        EXPECT_EQ(bar.total(), 384u);
        EXPECT_EQ(bar.stages(), 2);
        bar.Complete();  // a pipeline may announce more than it reports
        EXPECT_EQ(bar.done(), bar.total());
    }
    std::fclose(out);
    const std::string drawn = vxtest::ReadFile(dir.file("bar"));
    EXPECT_NE(drawn.find("decode "), std::string::npos);
    EXPECT_NE(drawn.find("encode "), std::string::npos);
    EXPECT_NE(drawn.find(" 50%"), std::string::npos);
    EXPECT_NE(drawn.find("100%"), std::string::npos);
    EXPECT_EQ(drawn.back(), '\n');  // the bar's line is ended when it goes

    CProgressBar silent(nullptr, true);  // nowhere to draw: counting only
    EXPECT_EQ(silent.Progress(5), 1);
    EXPECT_EQ(silent.done(), 5u);
}

TEST_F(ProgressBarTest, EveryAnswerCancelsOnceAnInterruptArrived) {
    CProgressBar bar(nullptr, false);
    EXPECT_EQ(bar.Progress(1), 1);
    CInterruptGuard::Raise();
    EXPECT_EQ(bar.Start(128), 0);
    EXPECT_EQ(bar.BeginProcess(IMacroCallback::ProcessRotate), 0);
    EXPECT_EQ(bar.Progress(1), 0);
    EXPECT_EQ(bar.EndProcess(), 0);
    EXPECT_EQ(bar.Finish(), 0);
}

TEST(PartialFileTest, TargetAppearsOnlyOnCommit) {
    vxtest::ScratchDir dir;
    const std::string target = dir.file("out.png");
    std::string temporary;
    {
        CPartialFile partial(target);
        temporary = partial.path();
        EXPECT_EQ(temporary.substr(0, dir.path().size() + 1), dir.path() + "/");
        EXPECT_EQ(temporary.substr(temporary.size() - 8), "-out.png");  // extension kept
        vxtest::WriteFile(temporary, "half");
        EXPECT_FALSE(vxtest::Exists(target));
    }
    EXPECT_FALSE(vxtest::Exists(temporary));  // dropped without a commit
    EXPECT_FALSE(vxtest::Exists(target));

    vxtest::WriteFile(target, "old");
    {
        CPartialFile partial(target);
        vxtest::WriteFile(partial.path(), "new");
        EXPECT_TRUE(partial.Commit());
        EXPECT_FALSE(vxtest::Exists(partial.path()));
    }
    EXPECT_EQ(vxtest::ReadFile(target), "new");

    {
        CPartialFile partial(target);
        EXPECT_FALSE(partial.Commit());  // nothing was written: the old file stays
    }
    EXPECT_EQ(vxtest::ReadFile(target), "new");
}

}  // namespace
