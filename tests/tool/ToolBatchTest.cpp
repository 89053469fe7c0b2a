// Many files in one call on several workers, pipes, and JPEG shrink-on-load.
#include <gtest/gtest.h>

#include <signal.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "BatchConvert.h"
#include "ShrinkingSource.h"
#include "ToolRunner.h"

namespace {

using vxtest::MeanDifference;
using vxtest::ReadPnm;
using vxtest::RunTool;
using vxtest::ToolRun;

TEST(BatchPartsTest, PatternsNameOutputsFromTheInputsName) {
    const struct {
        const char* pattern;
        const char* input;
        const char* output;  // null: the pattern is refused
    } cases[] = {
        {"thumbs/%s_small.jpg", "a/b/photo.x.jpg", "thumbs/photo.x_small.jpg"},
        {"%s", ".hidden", ".hidden"},
        {"100%%-%s.png", "noext", "100%-noext.png"},
        {"%s.png", "-", "stdin.png"},
        {"-", "a.jpg", "-"},
        {"%d.png", "a.jpg", nullptr},
        {"end%", "a.jpg", nullptr},
    };
    for (const auto& c : cases) {
        std::string problem;
        const std::string output = vxtool::OutputFor(c.pattern, c.input, &problem);
        if (c.output == nullptr) {
            EXPECT_FALSE(problem.empty()) << c.pattern;
        } else {
            EXPECT_EQ(output, c.output) << c.pattern;
            EXPECT_TRUE(problem.empty()) << c.pattern;
        }
    }
}

TEST(BatchPartsTest, ShrinkFactorIsTheLargestThatStillCoversTheOutput) {
    const struct {
        int32_t sw, sh, w, h, factor;
    } cases[] = {
        {20160, 15120, 2000, 1500, 8}, {4000, 3000, 2000, 1500, 2}, {4000, 3000, 2001, 10, 1},
        {1000, 1000, 125, 125, 8},     {1000, 1000, 126, 126, 4},   {1001, 1001, 126, 126, 8},
        {640, 480, 320, 0, 1},         {640, 480, 100, 479, 1},
    };
    for (const auto& c : cases)
        EXPECT_EQ(vxtool::CShrinkingSource::FactorFor(c.sw, c.sh, c.w, c.h), c.factor)
            << c.sw << "x" << c.sh << " -> " << c.w << "x" << c.h;
}

class ToolBatchTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = new vxtest::ScratchDir();
        // A large, smooth JPEG: the chart taken down to 20 x 15 and enlarged to 1280 x 960.
        s_ready = RunTool({"chart", In("chart.ppm"), "--size", "320x240"}).exit == 0 &&
                  RunTool({"convert", In("chart.ppm"), In("chart.png")}).exit == 0 &&
                  RunTool({"convert", In("chart.ppm"), In("stamp.ppm"), "--size", "20x15",
                           "--method", "bilinear"})
                          .exit == 0 &&
                  RunTool({"convert", In("stamp.ppm"), In("big.jpg"), "--size", "1280x960",
                           "--method", "bicubic", "--quality", "95"})
                          .exit == 0;
    }
    static void TearDownTestSuite() {
        delete s_dir;
        s_dir = nullptr;
    }
    void SetUp() override {
        ASSERT_TRUE(s_ready) << "the test inputs could not be made";
        m_out.reset(new vxtest::ScratchDir());
    }
    static std::string In(const std::string& name) { return s_dir->file(name); }
    std::string Out(const std::string& name) const { return m_out->file(name); }

    static vxtest::ScratchDir* s_dir;
    static bool s_ready;
    std::unique_ptr<vxtest::ScratchDir> m_out;
};

vxtest::ScratchDir* ToolBatchTest::s_dir = nullptr;
bool ToolBatchTest::s_ready = false;

TEST_F(ToolBatchTest, OneDamagedInputFailsAloneAndIsNamed) {
    const std::string png = vxtest::ReadFile(In("chart.png"));
    vxtest::WriteFile(In("damaged.png"), png.substr(0, png.size() / 2));
    ASSERT_EQ(::mkdir(Out("thumbs").c_str(), 0755), 0);
    const ToolRun run = RunTool({"convert", In("chart.ppm"), In("damaged.png"), In("big.jpg"), "-o",
                                 Out("thumbs/%s_small.png"), "--width", "40", "-j", "2"});
    EXPECT_EQ(run.exit, 1) << run.err;
    EXPECT_EQ(vxtest::Listing(Out("thumbs")),
              (std::set<std::string>{"chart_small.png", "big_small.png"}));
    EXPECT_NE(run.err.find("vandrel: " + In("damaged.png")), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("1 of 3 files failed: " + In("damaged.png")), std::string::npos)
        << run.err;
    EXPECT_EQ(ReadPnm(In("chart.ppm")).width, 320);  // inputs untouched

    // A folder that does not exist is not made.
    const ToolRun missing =
        RunTool({"convert", In("chart.ppm"), "-o", Out("nowhere/%s.png"), "--width", "40"});
    EXPECT_EQ(missing.exit, 1);
    EXPECT_NE(missing.err.find("does not exist"), std::string::npos) << missing.err;
    EXPECT_FALSE(vxtest::Exists(Out("nowhere")));
}

// `-` in and out through pipes gives the very bytes of the file-to-file conversion.
TEST_F(ToolBatchTest, PipesCarryTheSameBytesAsFiles) {
    ASSERT_EQ(RunTool({"convert", In("big.jpg"), Out("file.png"), "--width", "100"}).exit, 0);
    const std::string tool = VANDREL_TOOL_PATH;
    const std::string piped = "cat '" + In("big.jpg") + "' | '" + tool +
                              "' convert - - --format PNG --width 100 | cat > '" + Out("pipe.png") +
                              "'";
    ASSERT_EQ(std::system(piped.c_str()), 0);
    EXPECT_TRUE(vxtest::ReadFile(Out("pipe.png")) == vxtest::ReadFile(Out("file.png")));
    EXPECT_EQ(RunTool({"convert", In("big.jpg"), "-"}).exit, 2);  // no format for stdout
}

// 1280 -> 150 decodes at 1/8 (160 wide) and resamples the rest; the full decode is the
// reference. Tolerance: a mean difference under 2.5 of 255 per sample. The decode at 1/8 is the
// mean of each 8 x 8 block (within half a level); what remains is the resampler's sampling
// phase, which a block-averaged source moves by half a block.
TEST_F(ToolBatchTest, ShrinkOnLoadStaysCloseToTheFullDecode) {
    ASSERT_EQ(RunTool({"convert", In("big.jpg"), Out("big.ppm")}).exit, 0);
    const std::vector<std::string> resize = {"--width", "150", "--method", "bicubic"};
    auto convert = [&](const std::string& in, const std::string& out, bool shrink) {
        std::vector<std::string> args = {"convert", in, out};
        args.insert(args.end(), resize.begin(), resize.end());
        if (!shrink) args.push_back("--no-shrink-on-load");
        return RunTool(args).exit;
    };
    ASSERT_EQ(convert(Out("big.ppm"), Out("decoded-first.ppm"), true), 0);
    ASSERT_EQ(convert(In("big.jpg"), Out("full.ppm"), false), 0);
    ASSERT_EQ(convert(In("big.jpg"), Out("shrunk.ppm"), true), 0);
    EXPECT_TRUE(vxtest::ReadFile(Out("full.ppm")) == vxtest::ReadFile(Out("decoded-first.ppm")));
    const double difference = MeanDifference(ReadPnm(Out("shrunk.ppm")), ReadPnm(Out("full.ppm")));
    EXPECT_GT(difference, 0.0);  // the reduced decode did take place
    EXPECT_LT(difference, 2.5);
}

TEST_F(ToolBatchTest, InterruptingAParallelBatchLeavesNoPartialFile) {
    std::vector<std::string> args = {"convert"};
    for (const char* name : {"a", "b", "c", "d"}) {
        ASSERT_EQ(::symlink(In("chart.ppm").c_str(), In(std::string(name) + ".ppm").c_str()), 0);
        args.push_back(In(std::string(name) + ".ppm"));
    }
    args.insert(args.end(),
                {"-o", Out("%s.png"), "--size", "6000x4500", "--method", "bicubic", "-j", "2"});
    vxtest::ScratchDir io;
    const pid_t pid = vxtest::StartTool(args, io);
    ASSERT_GT(pid, 0);
    bool writing = false;
    for (int i = 0; i < 4000 && !writing; ++i) {
        for (const std::string& name : vxtest::Listing(m_out->path()))
            writing |= name.rfind(".vxpart-", 0) == 0;
        if (!writing) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ::kill(pid, SIGINT);
    const ToolRun run = vxtest::FinishTool(pid, io);
    if (!writing) GTEST_SKIP() << "the batch ended before it could be interrupted";
    EXPECT_EQ(run.exit, 130) << run.err;
    EXPECT_NE(run.err.find("interrupted"), std::string::npos) << run.err;
    for (const std::string& name : vxtest::Listing(m_out->path())) {
        EXPECT_NE(name.rfind(".vxpart-", 0), 0u) << name;
        EXPECT_EQ(RunTool({"info", Out(name)}).exit, 0) << name << " is not whole";
    }
}

}  // namespace
