// `vandrel convert` in a tree without the macro object: the streaming line loop converts and
// resizes, and refuses cleanly what needs the macro object.
#include <gtest/gtest.h>

#if !VANDREL_TOOL_HAS_MACRO

#include <nlohmann/json.hpp>

#include "ToolRunner.h"

namespace {

using nlohmann::json;
using vxtest::RunTool;
using vxtest::ToolRun;

class LineConvertTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(RunTool({"chart", m_dir.file("chart.ppm"), "--size", "64x48"}).exit, 0);
        ASSERT_EQ(RunTool({"chart", m_dir.file("alpha.png"), "--size", "64x48", "--alpha"}).exit,
                  0);
    }
    std::string File(const std::string& name) const { return m_dir.file(name); }
    json Info(const std::string& path) const {
        const ToolRun run = RunTool({"info", path, "--json"});
        return run.exit == 0 ? json::parse(run.out).at(0) : json();
    }

    vxtest::ScratchDir m_dir;
};

TEST_F(LineConvertTest, EveryPairOfFormatsKeepsThePicture) {
    const char* const formats[] = {"ppm", "png", "tif", "jpg"};
    for (const char* from : formats) {
        const std::string source = File(std::string("src.") + from);
        ASSERT_EQ(RunTool({"convert", File("chart.ppm"), source}).exit, 0);
        const std::string reference = File(std::string("ref-") + from + ".ppm");
        ASSERT_EQ(RunTool({"convert", source, reference}).exit, 0);
        for (const char* to : formats) {
            SCOPED_TRACE(std::string(from) + " -> " + to);
            const std::string converted = File(std::string("out-") + from + "." + to);
            const ToolRun run = RunTool({"convert", source, converted});
            ASSERT_EQ(run.exit, 0) << run.err;
            const std::string back = File(std::string("back-") + from + "-" + to + ".ppm");
            ASSERT_EQ(RunTool({"convert", converted, back}).exit, 0);
            const double difference =
                vxtest::MeanDifference(vxtest::ReadPnm(reference), vxtest::ReadPnm(back));
            ASSERT_GE(difference, 0.0);
            if (std::string(to) == "jpg")
                EXPECT_LT(difference, 12.0);
            else
                EXPECT_EQ(difference, 0.0);
        }
    }
}

TEST_F(LineConvertTest, ResizesKeepTheAspectRatioAndTheAlphaPlane) {
    for (const char* method : {"nearest", "bilinear", "bicubic", "quorix"}) {
        const ToolRun run = RunTool(
            {"convert", File("alpha.png"), File("small.tif"), "--width", "32", "--method", method});
        ASSERT_EQ(run.exit, 0) << method << ": " << run.err;
        const json info = Info(File("small.tif"));
        EXPECT_EQ(info["width"], 32) << method;
        EXPECT_EQ(info["height"], 24) << method;
        EXPECT_EQ(info["alphaDepth"], 8) << method;
    }
}

TEST_F(LineConvertTest, WhatNeedsTheMacroObjectIsRefusedWithNothingLeft) {
    const std::vector<std::vector<std::string>> cases = {
        {"convert", File("chart.ppm"), File("x.png"), "--rotate", "90"},
        {"convert", File("chart.ppm"), File("x.png"), "--method", "squeeze", "--width", "10"},
        {"convert", File("alpha.png"), File("x.ppm"), "--alpha", File("x.pgm")},
        {"convert", File("chart.ppm"), File("x.pgm")},
    };
    for (const auto& args : cases) {
        const std::set<std::string> before = vxtest::Listing(m_dir.path());
        const ToolRun run = RunTool(args);
        EXPECT_EQ(run.exit, 1) << run.err;
        EXPECT_EQ(run.ErrLines(), 1u) << run.err;
        EXPECT_NE(run.err.find("(0xE47F0000)"), std::string::npos) << run.err;
        EXPECT_EQ(vxtest::Listing(m_dir.path()), before);
    }
}

TEST_F(LineConvertTest, BrokenInputsLeaveNothingBehind) {
    const std::string png = vxtest::ReadFile(File("alpha.png"));
    vxtest::WriteFile(File("truncated.png"), png.substr(0, png.size() / 2));
    const struct {
        std::string input, output, code;
    } cases[] = {{File("missing.png"), File("x.png"), "0xE07F0001"},
                 {File("chart.ppm"), File("x.xyz"), "0xE07D000B"},
                 {File("truncated.png"), File("x.tif"), "0xE0030003"}};
    for (const auto& c : cases) {
        const std::set<std::string> before = vxtest::Listing(m_dir.path());
        const ToolRun run = RunTool({"convert", c.input, c.output});
        EXPECT_EQ(run.exit, 1) << run.err;
        EXPECT_EQ(run.ErrLines(), 1u) << run.err;
        EXPECT_NE(run.err.find("(" + c.code + ")"), std::string::npos) << run.err;
        EXPECT_EQ(vxtest::Listing(m_dir.path()), before);
    }
}

}  // namespace

#endif
