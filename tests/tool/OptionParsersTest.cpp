#include <gtest/gtest.h>

#include "FormatTable.h"
#include "OptionParsers.h"
#include "StatusText.h"
#include "vandrel/Status.h"

namespace {

using namespace vxtool;

struct SizeCase {
    const char* text;
    bool ok;
    int32_t width, height;
};

TEST(ParseSizeTest, TakesBothSidesOrOneAndRefusesTheRest) {
    const SizeCase cases[] = {
        {"640x480", true, 640, 480},
        {"640X480", true, 640, 480},
        {"640x", true, 640, 0},
        {"x480", true, 0, 480},
        {"1x1", true, 1, 1},
        {"x", false, 0, 0},
        {"0x480", false, 0, 0},
        {"640", false, 0, 0},
        {"640x480x3", false, 0, 0},
        {"-640x480", false, 0, 0},
        {"640 x 480", false, 0, 0},
        {"", false, 0, 0},
        {"99999999999x1", false, 0, 0},
        {"2147483647x1", true, 2147483647, 1},
        {"2147483648x1", false, 0, 0},
    };
    for (const SizeCase& c : cases) {
        int32_t w = -1, h = -1;
        EXPECT_EQ(ParseSize(c.text, &w, &h), c.ok) << c.text;
        if (c.ok) {
            EXPECT_EQ(w, c.width) << c.text;
            EXPECT_EQ(h, c.height) << c.text;
        }
    }
}

TEST(ParseColorTest, PacksRedIntoTheLowestByte) {
    const struct {
        const char* text;
        bool ok;
        int32_t packed;
    } cases[] = {
        {"FF0000", true, 0x0000FF}, {"00ff00", true, 0x00FF00}, {"#0000FF", true, 0xFF0000},
        {"123456", true, 0x563412}, {"FFFFFF", true, 0xFFFFFF}, {"FFF", false, 0},
        {"GG0000", false, 0},       {"1234567", false, 0},      {"#", false, 0},
    };
    for (const auto& c : cases) {
        int32_t packed = -1;
        EXPECT_EQ(ParseColor(c.text, &packed), c.ok) << c.text;
        if (c.ok) {
            EXPECT_EQ(packed, c.packed) << c.text;
        }
    }
}

TEST(ParseTagTest, HexOrDecimalWithinSixteenBits) {
    const struct {
        const char* text;
        bool ok;
        uint16_t tag;
    } cases[] = {
        {"0x9003", true, 0x9003}, {"0X0112", true, 0x0112}, {"36867", true, 0x9003},
        {"274", true, 0x0112},    {"0xFFFF", true, 0xFFFF}, {"65536", false, 0},
        {"0x10000", false, 0},    {"0", false, 0},          {"0x", false, 0},
        {"9003h", false, 0},      {"-1", false, 0},         {"", false, 0},
    };
    for (const auto& c : cases) {
        uint16_t tag = 0;
        EXPECT_EQ(ParseTag(c.text, &tag), c.ok) << c.text;
        if (c.ok) {
            EXPECT_EQ(tag, c.tag) << c.text;
        }
    }
}

TEST(ParseMethodTest, AnyCaseGivesTheRequestName) {
    const struct {
        const char* text;
        const char* name;
    } cases[] = {{"nearest", "Nearest"}, {"BILINEAR", "Bilinear"}, {"Bicubic", "Bicubic"},
                 {"quorix", "Quorix"},   {"squeeze", "Squeeze"},   {"lanczos", nullptr},
                 {"near", nullptr}};
    for (const auto& c : cases) {
        std::string name;
        EXPECT_EQ(ParseMethod(c.text, &name), c.name != nullptr) << c.text;
        if (c.name != nullptr) {
            EXPECT_EQ(name, c.name);
        }
    }
}

TEST(FitSizeTest, OneSideKeepsTheAspectRatioRounded) {
    const struct {
        int32_t sw, sh, w, h, ow, oh;
    } cases[] = {
        {640, 480, 320, 0, 320, 240},  // exact
        {640, 480, 0, 100, 133, 100},  // 133.33 rounds down
        {640, 480, 0, 200, 267, 200},  // 266.67 rounds up
        {100, 3, 10, 0, 10, 1},        // 0.3 still gives a line
        {640, 480, 50, 60, 50, 60},    // both given: as given
        {640, 480, 0, 0, 0, 0},        // neither: the source's size
    };
    for (const auto& c : cases) {
        int32_t w = -1, h = -1;
        FitSize(c.sw, c.sh, c.w, c.h, &w, &h);
        EXPECT_EQ(w, c.ow) << c.sw << "x" << c.sh << " to " << c.w << "x" << c.h;
        EXPECT_EQ(h, c.oh) << c.sw << "x" << c.sh << " to " << c.w << "x" << c.h;
    }
}

TEST(StatusTextTest, WordsThenTheCodeInHex) {
    EXPECT_EQ(DescribeStatus(kVxErrNoPlugIn), "no plug-in takes the file or format (0xE07D000B)");
    EXPECT_EQ(DescribeStatus(kVxErrCancelled), "cancelled (0xE4040006)");
    // A code nobody named still shows its value, and its severity where it is a warning.
    EXPECT_EQ(DescribeStatus(int32_t(0xE0550001)), "status (0xE0550001)");
    EXPECT_EQ(StatusWords(int32_t(0xC0550001)), "warning");
}

TEST(FormatTableTest, ExtensionsOfPathsAndLists) {
    const struct {
        const char* path;
        const char* ext;
    } cases[] = {{"a/b/photo.JPG", ".jpg"}, {"photo.tar.gz", ".gz"}, {"noext", ""},
                 {"dir.d/noext", ""},       {".hidden", ""},         {"a/.hidden", ""}};
    for (const auto& c : cases)
        EXPECT_EQ(ExtensionOf(c.path), c.ext) << c.path;
    EXPECT_EQ(CFormatTable::DottedExtensions(".tif;.tiff;TIFF;tiff;"), ".tif .tiff");
    EXPECT_EQ(CFormatTable::DottedExtensions("PNGf;"), "");
}

}  // namespace
