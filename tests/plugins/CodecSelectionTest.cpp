// What the prototypes answer when the service picks a codec: type texts, extension lists,
// versions, and which files and format names each one takes.
#include <gtest/gtest.h>

#include "CodecTestSupport.h"

namespace vxtest {
namespace {

TEST(CodecSelection, PrototypesDescribeThemselves) {
    const struct {
        IPlugIn* (*prototype)();
        const char* type;
        const char* extensions;
        const char* versionPrefix;
    } cases[] = {
        {Jpeg, "JPEG", ".jpg;.jpeg;.jpe;.jfif;JPEG;jpeg;", "libjpeg-turbo 2."},
        {Png, "PNG", ".png;PNGf;", "libpng 1.6."},
        {Tiff, "TIFF", ".tif;.tiff;TIFF;tiff;", "LIBTIFF, Version 4."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.type);
        IPlugIn* p = c.prototype();
        ASSERT_NE(p, nullptr);
        EXPECT_STREQ(p->GetReadingType(), c.type);
        ASSERT_NE(p->GetWritingType(), nullptr);
        EXPECT_STREQ(p->GetWritingType(), c.type);
        EXPECT_STREQ(p->GetExtensionName(), c.extensions);
        EXPECT_EQ(std::string(p->GetDecoderVersion()).rfind(c.versionPrefix, 0), 0u)
            << p->GetDecoderVersion();
        EXPECT_EQ(p->IsReady(), 1);
    }
}

TEST(CodecSelection, FilesAreChosenBySignatureAndByNameOnlyWhenUnreadable) {
    ScratchDir dir;
    Image img = MakeImage(8, 8, 24, 0);
    ASSERT_EQ(EncodeFile(Jpeg(), dir.file("photo.jpg"), img), 1);
    ASSERT_EQ(EncodeFile(Png(), dir.file("png-named.jpg"), img), 1);
    ASSERT_EQ(EncodeFile(Tiff(), dir.file("scan.TIFF"), img), 1);
    ASSERT_EQ(EncodeFile(Png(), dir.file("noext"), img), 1);
    WriteFile(dir.file("empty.tif"), "");
    WriteFile(dir.file("short.png"), "\x89P");
    WriteFile(dir.file("text.png"), "plain words, not a picture");
    WriteFile(dir.file("bigtiff.dat"), std::string("II+\0\x08\0\0\0", 8));
    const struct {
        const char* file;
        int32_t jpeg, png, tiff;
    } cases[] = {
        {"photo.jpg", 1, 0, 0},   {"png-named.jpg", 0, 1, 0}, {"scan.TIFF", 0, 0, 1},
        {"noext", 0, 1, 0},       {"empty.tif", 0, 0, 1},     {"short.png", 0, 1, 0},
        {"text.png", 0, 0, 0},    {"bigtiff.dat", 0, 0, 1},   {"missing.JPEG", 1, 0, 0},
        {"missing.png", 0, 1, 0}, {"missing.gif", 0, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        std::string path = dir.file(c.file);
        EXPECT_EQ(Jpeg()->IsSupportedFile(path.c_str()), c.jpeg);
        EXPECT_EQ(Png()->IsSupportedFile(path.c_str()), c.png);
        EXPECT_EQ(Tiff()->IsSupportedFile(path.c_str()), c.tiff);
    }
    EXPECT_EQ(Jpeg()->IsSupportedFile(nullptr), 0);
}

TEST(CodecSelection, FormatNamesMatchTypesAndListEntriesWithoutRegardToCase) {
    const struct {
        const char* name;
        int32_t jpeg, png, tiff;
    } cases[] = {
        {"JPEG", 1, 0, 0}, {"jpeg", 1, 0, 0}, {"jpg", 1, 0, 0},  {".JPG", 1, 0, 0},
        {"jfif", 1, 0, 0}, {"PNG", 0, 1, 0},  {".png", 0, 1, 0}, {"TIFF", 0, 0, 1},
        {"tif", 0, 0, 1},  {"gif", 0, 0, 0},  {"", 0, 0, 0},     {"jpegs", 0, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(Jpeg()->IsSupportedFormat(c.name), c.jpeg);
        EXPECT_EQ(Png()->IsSupportedFormat(c.name), c.png);
        EXPECT_EQ(Tiff()->IsSupportedFormat(c.name), c.tiff);
    }
    EXPECT_EQ(Png()->IsSupportedFormat(nullptr), 0);
}

// An added extension joins the list the codec reports and the names it is chosen by.
TEST(CodecSelection, AddedExtensionsExtendTheList) {
    Instance plugIn(Png(),
                    "");  // any object of the class will do; the shared prototype stays as it is
    EXPECT_EQ(plugIn->AddExtensionName(".apng"), 1);
    EXPECT_EQ(plugIn->AddExtensionName(".pngx;"), 1);
    EXPECT_LT(plugIn->AddExtensionName(""), 0);
    EXPECT_LT(plugIn->AddExtensionName(std::string(1100, 'x').c_str()), 0);
    EXPECT_STREQ(plugIn->GetExtensionName(), ".png;PNGf;.apng;.pngx;");
    EXPECT_EQ(plugIn->IsSupportedFormat("apng"), 1);
    EXPECT_EQ(plugIn->IsSupportedFile("/no/such/file.APNG"), 1);
    EXPECT_STREQ(Png()->GetExtensionName(), ".png;PNGf;");
}

}  // namespace
}  // namespace vxtest
