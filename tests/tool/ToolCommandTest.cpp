// The tool as a user meets it: formats, info and tags on generated files, text and JSON.
#include <gtest/gtest.h>

#include <ctime>
#include <map>

#include <nlohmann/json.hpp>

#include "ToolRunner.h"

namespace {

using nlohmann::json;
using vxtest::RunTool;
using vxtest::ToolRun;

class ToolCommandTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = new vxtest::ScratchDir();
        s_chart = s_dir->file("chart.png");
        s_alphaChart = s_dir->file("alpha.tif");
        s_exif = s_dir->file("exif.tif");
        ToolRun a = RunTool({"chart", s_chart, "--size", "64x48"});
        ToolRun b = RunTool({"chart", s_alphaChart, "--size", "40x30", "--alpha", "--depth", "48"});
        vxtest::WriteFile(s_exif, vxtest::ExifTiff::Build());
        // A camera-style JPEG: the same tags in an Exif segment right after the start marker.
        s_exifJpeg = s_dir->file("exif.jpg");
        ToolRun c = RunTool({"chart", s_exifJpeg, "--size", "32x24"});
        const std::string jpeg = vxtest::ReadFile(s_exifJpeg);
        const std::string exif = std::string("Exif\0\0", 6) + vxtest::ExifTiff::Build();
        const size_t length = exif.size() + 2;
        vxtest::WriteFile(s_exifJpeg, jpeg.substr(0, 2) + "\xFF\xE1" + char(length >> 8) +
                                          char(length & 0xFF) + exif + jpeg.substr(2));
        s_ready = a.exit == 0 && b.exit == 0 && c.exit == 0;
    }
    static void TearDownTestSuite() {
        delete s_dir;
        s_dir = nullptr;
    }
    void SetUp() override { ASSERT_TRUE(s_ready) << "the tool could not draw its test charts"; }

    static vxtest::ScratchDir* s_dir;
    static std::string s_chart, s_alphaChart, s_exif, s_exifJpeg;
    static bool s_ready;
};

vxtest::ScratchDir* ToolCommandTest::s_dir = nullptr;
std::string ToolCommandTest::s_chart, ToolCommandTest::s_alphaChart, ToolCommandTest::s_exif,
    ToolCommandTest::s_exifJpeg;
bool ToolCommandTest::s_ready = false;

TEST_F(ToolCommandTest, FormatsListsEveryPlugInInTextAndJson) {
    const std::map<std::string, bool> writes = {{"AVIF", true}, {"GIF", false}, {"HEIF", false},
                                                {"JPEG", true}, {"PNG", true},  {"PNM", true},
                                                {"TIFF", true}, {"WEBP", true}};
    const ToolRun text = RunTool({"formats"});
    ASSERT_EQ(text.exit, 0) << text.err;
    for (const auto& format : writes)
        EXPECT_NE(text.out.find(format.first + " "), std::string::npos) << format.first;
    EXPECT_NE(text.out.find(".tif .tiff"), std::string::npos);
    EXPECT_NE(text.out.find(".heic .heif .hif"), std::string::npos);

    const ToolRun version = RunTool({"--version"});
    EXPECT_EQ(version.exit, 0);
    EXPECT_EQ(version.out.rfind("vandrel 1.", 0), 0u) << version.out;

    const ToolRun run = RunTool({"formats", "--json"});
    ASSERT_EQ(run.exit, 0) << run.err;
    const json list = json::parse(run.out);
    ASSERT_TRUE(list.is_array());
    ASSERT_EQ(list.size(), writes.size());
    for (const json& f : list) {
        EXPECT_TRUE(f["read"].get<bool>()) << f.dump();
        EXPECT_EQ(f["write"].get<bool>(), writes.at(f["name"].get<std::string>())) << f.dump();
        EXPECT_FALSE(f["version"].get<std::string>().empty()) << f.dump();
    }
}

TEST_F(ToolCommandTest, InfoDescribesEachFileWithStableJsonKeys) {
    const ToolRun run = RunTool({"info", s_chart, s_alphaChart, "--json"});
    ASSERT_EQ(run.exit, 0) << run.err;
    const json list = json::parse(run.out);
    ASSERT_EQ(list.size(), 2u);
    const struct {
        const char* format;
        int width, height, depth, alpha;
    } expected[] = {{"PNG", 64, 48, 24, 0}, {"TIFF", 40, 30, 48, 16}};
    for (size_t i = 0; i < 2; ++i) {
        const json& f = list[i];
        EXPECT_EQ(f["format"], expected[i].format);
        EXPECT_EQ(f["width"], expected[i].width);
        EXPECT_EQ(f["height"], expected[i].height);
        EXPECT_EQ(f["depth"], expected[i].depth);
        EXPECT_EQ(f["alphaDepth"], expected[i].alpha);
        EXPECT_EQ(f["colorSpace"], "RGB");
        for (const char* key :
             {"created", "modified", "size", "permissions", "shootingTime", "orientation"})
            EXPECT_TRUE(f["fileInfo"].contains(key)) << key;
        EXPECT_EQ(f["fileInfo"]["size"], vxtest::ReadFile(f["file"].get<std::string>()).size());
        EXPECT_TRUE(f["camera"].contains("colorResult"));
        EXPECT_TRUE(f["camera"].contains("colorSource"));
        EXPECT_EQ(f["iccProfileBytes"], 0);
    }

    const ToolRun text = RunTool({"info", s_chart});
    ASSERT_EQ(text.exit, 0) << text.err;
    EXPECT_NE(text.out.find("64 x 48"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("alpha          none"), std::string::npos) << text.out;
}

TEST_F(ToolCommandTest, InfoReadsExifOrientationAndShootingTime) {
    std::tm shot{};
    shot.tm_year = 2023 - 1900;
    shot.tm_mon = 0;
    shot.tm_mday = 2;
    shot.tm_hour = 3;
    shot.tm_min = 4;
    shot.tm_sec = 5;
    shot.tm_isdst = -1;
    const struct {
        std::string file;
        int width;
    } files[] = {{s_exif, 8}, {s_exifJpeg, 32}};
    for (const auto& f : files) {
        const ToolRun run = RunTool({"info", f.file, "--json"});
        ASSERT_EQ(run.exit, 0) << run.err;
        const json j = json::parse(run.out).at(0);
        EXPECT_EQ(j["width"], f.width) << f.file;
        EXPECT_EQ(j["fileInfo"]["orientation"], 6) << f.file;
        EXPECT_EQ(j["fileInfo"]["shootingTime"], int64_t(std::mktime(&shot))) << f.file;
        EXPECT_EQ(j["camera"]["maker"], "Vandrel") << f.file;
        EXPECT_EQ(j["camera"]["colorResult"], 1) << f.file;  // ColorSpace 1 declares sRGB
    }
}

TEST_F(ToolCommandTest, InfoGoesOnPastAFileItCannotDescribe) {
    const std::string missing = s_dir->file("missing.png");
    const ToolRun run = RunTool({"info", missing, s_chart, "--json"});
    EXPECT_EQ(run.exit, 1);
    EXPECT_EQ(run.ErrLines(), 1u);
    EXPECT_NE(run.err.find(missing + ": "), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("(0xE07F0001)"), std::string::npos) << run.err;
    EXPECT_EQ(json::parse(run.out).size(), 1u);
}

TEST_F(ToolCommandTest, TagsGivesFoundTagsOnlyWithTheSearchResult) {
    for (const std::string& file : {s_exif, s_exifJpeg}) {
        SCOPED_TRACE(file);
        const ToolRun run =
            RunTool({"tags", file, "0x9003", "274", "0x829a", "0xA001", "0x1234", "--json"});
        ASSERT_EQ(run.exit, 0) << run.err;
        const json j = json::parse(run.out);
        EXPECT_EQ(j["result"], 1);
        EXPECT_EQ(j["0x9003"]["type"], 3);
        EXPECT_EQ(j["0x9003"]["text"], "2023:01:02 03:04:05");
        EXPECT_FALSE(j["0x9003"].contains("values"));
        EXPECT_EQ(j["0x0112"]["type"], 4);
        EXPECT_EQ(j["0x0112"]["values"], json::array({6}));
        EXPECT_EQ(j["0x829A"]["type"], 8);
        EXPECT_EQ(j["0x829A"]["values"], json::parse("[[1, 250]]"));
        EXPECT_EQ(j["0xA001"]["values"], json::array({1}));
        EXPECT_FALSE(j.contains("0x1234"));
    }

    const ToolRun text = RunTool({"tags", s_exif});
    ASSERT_EQ(text.exit, 0) << text.err;
    EXPECT_NE(text.out.find("DateTimeOriginal   ASCII[20] \"2023:01:02 03:04:05\""),
              std::string::npos)
        << text.out;
    EXPECT_NE(text.out.find("(not found)"), std::string::npos);
}

TEST_F(ToolCommandTest, TagsAllListsTheWholeDatabase) {
    const ToolRun run = RunTool({"tags", s_exif, "--all", "--json"});
    ASSERT_EQ(run.exit, 0) << run.err;
    const json j = json::parse(run.out);
    EXPECT_EQ(j["groups"]["ifd0"]["0x010F"]["text"], "Vandrel");
    EXPECT_EQ(j["groups"]["ifd0"]["0x0100"]["values"], json::array({8}));
    EXPECT_EQ(j["groups"]["exif"]["0x9003"]["text"], "2023:01:02 03:04:05");
    EXPECT_EQ(j["groups"]["exif"].size(), 3u);

    const ToolRun text = RunTool({"tags", s_exif, "--all"});
    ASSERT_EQ(text.exit, 0) << text.err;
    EXPECT_NE(text.out.find("Exif directory (3 entries)"), std::string::npos) << text.out;
}

TEST_F(ToolCommandTest, TagsOfAFileThatIsNeitherJpegNorTiffByName) {
    const ToolRun run = RunTool({"tags", s_chart, "0x0112", "--json"});
    ASSERT_EQ(run.exit, 0) << run.err;
    const json hits = json::parse(run.out);
    EXPECT_EQ(hits["result"], 1);
    EXPECT_FALSE(hits.contains("0x0112"));
    const ToolRun text = RunTool({"tags", s_chart});
    ASSERT_EQ(text.exit, 0) << text.err;
    EXPECT_NE(text.out.find("no tags: the search reads"), std::string::npos) << text.out;
}

TEST_F(ToolCommandTest, BadArgumentsAndBadPlugInFoldersFailInOneLine) {
    const std::string missingFolder = s_dir->file("no-plugins");
    const struct {
        std::vector<std::string> args;
        int exit;
        const char* says;
    } cases[] = {
        {{}, 2, "vandrel: "},
        {{"tags", s_exif, "0xZZ"}, 2, "not a tag number"},
        {{"convert", s_chart}, 2, "output"},
        {{"convert", s_chart, "x.png", "--size", "12"}, 2, "--size"},
        {{"convert", s_chart, "x.png", "--method", "fancy"}, 2, "--method"},
        {{"convert", s_chart, "x.png", "--depth", "32"}, 2, "--depth"},
        {{"convert", s_chart, "x.png", "--background", "red"}, 2, "--background"},
        {{"convert", s_chart, "x.png", "--method", "squeeze", "--rotate", "10"}, 2, "squeeze"},
        {{"--plugins", missingFolder, "formats"}, 1, "no plug-ins found in this folder"},
        {{"info", s_chart, "--plugins", missingFolder}, 1, "(0xE07D000B)"},
    };
    for (const auto& c : cases) {
        const ToolRun run = RunTool(c.args);
        EXPECT_EQ(run.exit, c.exit) << run.err;
        EXPECT_EQ(run.ErrLines(), 1u) << run.err;
        EXPECT_NE(run.err.find(c.says), std::string::npos) << run.err;
        EXPECT_TRUE(run.out.empty()) << run.out;
    }
}

}  // namespace
