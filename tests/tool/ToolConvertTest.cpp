// `vandrel convert` between every pair of formats, with every option, and its failures: one
// line on stderr, a non-zero exit and no output file left behind.
#include <gtest/gtest.h>

#include <signal.h>

#include <chrono>
#include <cstdlib>
#include <sstream>
#include <thread>

#include <nlohmann/json.hpp>

#include "ConvertJob.h"
#include "Interrupt.h"
#include "ProgressBar.h"
#include "TestChart.h"
#include "ToolRunner.h"
#include "vandrel/VandrelIF.h"

namespace {

using nlohmann::json;
using vxtest::MeanDifference;
using vxtest::Pnm;
using vxtest::ReadPnm;
using vxtest::RunTool;
using vxtest::ToolRun;

json Info(const std::string& path) {
    const ToolRun run = RunTool({"info", path, "--json"});
    return run.exit == 0 ? json::parse(run.out).at(0) : json();
}

class ToolConvertTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = new vxtest::ScratchDir();
        s_ready =
            RunTool({"chart", Chart("ppm"), "--size", "64x48"}).exit == 0 &&
            RunTool({"chart", s_dir->file("alpha.png"), "--size", "64x48", "--alpha"}).exit == 0 &&
            RunTool({"chart", s_dir->file("deep.png"), "--size", "64x48", "--depth", "48"}).exit ==
                0;
        for (const char* ext : {"png", "tif", "jpg"})
            s_ready = s_ready && RunTool({"convert", Chart("ppm"), Chart(ext)}).exit == 0;
    }
    static void TearDownTestSuite() {
        delete s_dir;
        s_dir = nullptr;
    }
    void SetUp() override {
        ASSERT_TRUE(s_ready) << "the test charts could not be made";
        m_out.reset(new vxtest::ScratchDir());
    }

    static std::string Chart(const std::string& ext) { return s_dir->file("chart." + ext); }
    std::string Out(const std::string& name) const { return m_out->file(name); }

    // Runs a conversion that must fail and checks what it leaves: one line naming `names`,
    // a non-zero exit, and the output folder as it was.
    void ExpectCleanFailure(const std::vector<std::string>& args, const std::string& names,
                            const std::string& code) {
        const std::set<std::string> before = vxtest::Listing(m_out->path());
        const ToolRun run = RunTool(args);
        EXPECT_NE(run.exit, 0) << run.err;
        EXPECT_EQ(run.ErrLines(), 1u) << run.err;
        EXPECT_EQ(run.err.rfind("vandrel: " + names + ": ", 0), 0u) << run.err;
        EXPECT_NE(run.err.find("(" + code + ")"), std::string::npos) << run.err;
        EXPECT_EQ(vxtest::Listing(m_out->path()), before);
    }

    static vxtest::ScratchDir* s_dir;
    static bool s_ready;
    std::unique_ptr<vxtest::ScratchDir> m_out;
};

vxtest::ScratchDir* ToolConvertTest::s_dir = nullptr;
bool ToolConvertTest::s_ready = false;

TEST_F(ToolConvertTest, EveryPairOfFormatsKeepsThePicture) {
    const char* const formats[] = {"ppm", "png", "tif", "jpg"};
    for (const char* from : formats) {
        const std::string reference = Out(std::string("ref-") + from + ".ppm");
        ASSERT_EQ(RunTool({"convert", Chart(from), reference}).exit, 0);
        for (const char* to : formats) {
            SCOPED_TRACE(std::string(from) + " -> " + to);
            const std::string converted = Out(std::string("out-") + from + "." + to);
            const ToolRun run = RunTool({"convert", Chart(from), converted});
            ASSERT_EQ(run.exit, 0) << run.err;
            EXPECT_TRUE(run.err.empty()) << run.err;
            const std::string back = Out(std::string("back-") + from + "-" + to + ".ppm");
            ASSERT_EQ(RunTool({"convert", converted, back}).exit, 0);
            const double difference = MeanDifference(ReadPnm(reference), ReadPnm(back));
            ASSERT_GE(difference, 0.0);
            // Lossless writers give the very samples back; JPEG stays close on average.
            if (std::string(to) == "jpg")
                EXPECT_LT(difference, 12.0);
            else
                EXPECT_EQ(difference, 0.0);
        }
    }
}

TEST_F(ToolConvertTest, SizesKeepTheAspectRatioForEveryMethod) {
    const struct {
        std::vector<std::string> size;
        int width, height;
    } sizes[] = {{{"--width", "32"}, 32, 24},
                 {{"--height", "12"}, 16, 12},
                 {{"--size", "20x30"}, 20, 30},
                 {{"--size", "128x"}, 128, 96}};
    for (const char* method : {"nearest", "bilinear", "bicubic", "quorix", "squeeze"}) {
        for (const auto& s : sizes) {
            const std::string out = Out(std::string(method) + ".png");
            std::vector<std::string> args = {"convert", Chart("png"), out, "--method", method};
            args.insert(args.end(), s.size.begin(), s.size.end());
            const ToolRun run = RunTool(args);
            ASSERT_EQ(run.exit, 0) << method << " " << s.size[1] << ": " << run.err;
            const json info = Info(out);
            EXPECT_EQ(info["width"], s.width) << method << " " << s.size[1];
            EXPECT_EQ(info["height"], s.height) << method << " " << s.size[1];
        }
    }
}

TEST_F(ToolConvertTest, RotationTurnsTheSidesAndFillsCornersWithTheBackground) {
    ToolRun run = RunTool({"convert", Chart("png"), Out("turned.tif"), "--rotate", "90"});
    ASSERT_EQ(run.exit, 0) << run.err;
    json info = Info(Out("turned.tif"));
    EXPECT_EQ(info["width"], 48);
    EXPECT_EQ(info["height"], 64);

    run = RunTool(
        {"convert", Chart("png"), Out("tilted.ppm"), "--rotate", "30", "--background", "FF8000"});
    ASSERT_EQ(run.exit, 0) << run.err;
    const Pnm tilted = ReadPnm(Out("tilted.ppm"));
    EXPECT_GT(tilted.width, 64);
    EXPECT_GT(tilted.height, 48);
    EXPECT_EQ(tilted.samples.substr(0, 3), std::string("\xFF\x80\x00", 3));

    // A rotation with one side given keeps the rotated picture's aspect ratio.
    run = RunTool({"convert", Chart("png"), Out("small.png"), "--rotate", "90", "--width", "24"});
    ASSERT_EQ(run.exit, 0) << run.err;
    info = Info(Out("small.png"));
    EXPECT_EQ(info["width"], 24);
    EXPECT_EQ(info["height"], 32);
}

TEST_F(ToolConvertTest, DepthFollowsTheSourceUnlessTheWriterCannot) {
    ASSERT_EQ(RunTool({"convert", s_dir->file("deep.png"), Out("deep.ppm")}).exit, 0);
    const Pnm deep = ReadPnm(Out("deep.ppm"));
    EXPECT_EQ(deep.magic, "P6");
    EXPECT_EQ(deep.maxValue, 65535);
    EXPECT_EQ(deep.samples.size(), 64u * 48 * 6);

    // JPEG keeps 8 bits a sample: a 16-bit source goes in at 8 bits unless 16 was asked for.
    ToolRun run = RunTool({"convert", s_dir->file("deep.png"), Out("deep.jpg")});
    ASSERT_EQ(run.exit, 0) << run.err;
    EXPECT_EQ(Info(Out("deep.jpg"))["depth"], 24);
    EXPECT_EQ(
        RunTool({"convert", s_dir->file("deep.png"), Out("deep48.jpg"), "--depth", "48"}).exit, 2);

    run = RunTool({"convert", Chart("ppm"), Out("wide.tif"), "--depth", "48"});
    ASSERT_EQ(run.exit, 0) << run.err;
    EXPECT_EQ(Info(Out("wide.tif"))["depth"], 48);
    ASSERT_EQ(RunTool({"convert", Out("wide.tif"), Out("narrow.ppm"), "--depth", "24"}).exit, 0);
    EXPECT_EQ(MeanDifference(ReadPnm(Out("narrow.ppm")), ReadPnm(Chart("ppm"))), 0.0);
}

TEST_F(ToolConvertTest, AlphaPlaneTravelsAndCanBeWrittenAsAGreyFile) {
    ToolRun run =
        RunTool({"convert", s_dir->file("alpha.png"), Out("a.ppm"), "--alpha", Out("a.pgm")});
    ASSERT_EQ(run.exit, 0) << run.err;
    const Pnm alpha = ReadPnm(Out("a.pgm"));
    EXPECT_EQ(alpha.magic, "P5");
    ASSERT_EQ(alpha.samples.size(), 64u * 48);
    // The very plane the chart was drawn with.
    const vxtool::CTestChart chart(64, 48);
    std::string drawn(64, '\0');
    for (int32_t y = 0; y < 48; ++y) {
        chart.Alpha8(y, reinterpret_cast<uint8_t*>(&drawn[0]));
        ASSERT_EQ(alpha.samples.substr(size_t(y) * 64, 64), drawn) << "line " << y;
    }
    EXPECT_EQ(ReadPnm(Out("a.ppm")).magic, "P6");

    // A grey file goes to a grey file again; colour pixels do not.
    ASSERT_EQ(RunTool({"convert", Out("a.pgm"), Out("b.pgm")}).exit, 0);
    EXPECT_EQ(vxtest::ReadFile(Out("b.pgm")), vxtest::ReadFile(Out("a.pgm")));
    ExpectCleanFailure({"convert", Chart("ppm"), Out("c.pgm")}, Out("c.pgm"), "0xE0030005");

    run = RunTool({"convert", s_dir->file("alpha.png"), Out("half.tif"), "--width", "32"});
    ASSERT_EQ(run.exit, 0) << run.err;
    EXPECT_EQ(Info(Out("half.tif"))["alphaDepth"], 8);
    ExpectCleanFailure({"convert", Chart("png"), Out("d.ppm"), "--alpha", Out("d.pgm")},
                       Chart("png"), "0xE07F000C");
}

TEST_F(ToolConvertTest, BrokenInputsAndUnknownFormatsLeaveNothingBehind) {
    const std::string png = vxtest::ReadFile(Chart("png"));
    vxtest::WriteFile(s_dir->file("truncated.png"), png.substr(0, png.size() / 2));
    vxtest::WriteFile(s_dir->file("junk.png"), png.substr(0, 8) + std::string(200, 'x'));
    vxtest::WriteFile(s_dir->file("mystery.bin"), std::string(300, '\x5a'));
    const struct {
        std::string input, output, names, code;
    } cases[] = {
        {s_dir->file("missing.png"), Out("x.png"), s_dir->file("missing.png"), "0xE07F0001"},
        {Chart("png"), Out("x.xyz"), Out("x.xyz"), "0xE07D000B"},
        {s_dir->file("mystery.bin"), Out("x.png"), s_dir->file("mystery.bin"), "0xE07D000B"},
        {s_dir->file("junk.png"), Out("x.tif"), s_dir->file("junk.png"), "0xE0030002"},
        {s_dir->file("truncated.png"), Out("x.tif"), s_dir->file("truncated.png"), "0xE0030003"},
        {s_dir->file("truncated.png"), Out("x.jpg"),
         s_dir->file("truncated.png") + " -> " + Out("x.jpg"), "0xE0030003"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.input + " -> " + c.output);
        std::vector<std::string> args = {"convert", c.input, c.output};
        if (c.output == Out("x.jpg"))
            args.insert(args.end(), {"--width", "10"});  // one file-to-file request
        ExpectCleanFailure(args, c.names, c.code);
    }
}

// Cancelling through the callback, as Ctrl-C does, in the tool's own code.
TEST_F(ToolConvertTest, CancelledConversionRemovesItsPartialOutput) {
    IVandrelIF* service = CreateVandrel(VANDREL_PLUGIN_DIR);
    ASSERT_NE(service, nullptr);
    for (bool fileToFile : {false, true}) {
        vxtool::CConvertOptions options;
        options.input = Chart("png");
        options.output = Out("cancelled.tif");
        options.width = fileToFile ? 32 : 0;
        vxtool::CProgressBar bar(nullptr, false);
        vxtool::CConvertJob job(service, &bar);
        vxtool::CInterruptGuard::Raise();
        EXPECT_EQ(job.Run(options), kVxErrCancelled);
        vxtool::CInterruptGuard::Reset();
        EXPECT_TRUE(vxtest::Listing(m_out->path()).empty());
    }
    service->Delete();
}

// A real interrupt while the encoder is writing: exit 130, nothing left.
TEST_F(ToolConvertTest, InterruptDuringAConversionLeavesNoFile) {
    const std::string big = s_dir->file("big.ppm");
    ASSERT_EQ(RunTool({"chart", big, "--size", "2000x1500"}).exit, 0);
    vxtest::ScratchDir io;
    const pid_t pid = vxtest::StartTool(
        {"convert", big, Out("big.png"), "--size", "6000x4500", "--method", "bicubic"}, io);
    ASSERT_GT(pid, 0);
    bool writing = false;
    for (int i = 0; i < 4000 && !writing; ++i) {
        for (const std::string& name : vxtest::Listing(m_out->path()))
            writing |= name.rfind(".vxpart-", 0) == 0;
        if (!writing) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ::kill(pid, SIGINT);
    const ToolRun run = vxtest::FinishTool(pid, io);
    if (!writing) GTEST_SKIP() << "the conversion ended before it could be interrupted";
    EXPECT_EQ(run.exit, 130) << run.err;
    EXPECT_NE(run.err.find("cancelled (0xE4040006)"), std::string::npos) << run.err;
    EXPECT_TRUE(vxtest::Listing(m_out->path()).empty());
}

}  // namespace
