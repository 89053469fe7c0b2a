#include "platform/OSLib.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <regex>
#include <string>

#include "TestSupport.h"

using namespace OSLib;

namespace {

struct OpenFile {
    void* handle = reinterpret_cast<void*>(intptr_t(-1));
    ~OpenFile() { VxFclose(handle); }
};

// Modes are read from their first two characters; "a" opens for writing at the start,
// creating a missing file; "w" empties an existing one.
TEST(OSLibOpen, ModesAppendAtTheStartAndWriteEmptiesTheFile) {
    vxtest::ScratchDir dir;
    const std::string path = dir.file("a.bin");
    vxtest::WriteFile(path, std::string(100, 'x'));
    for (const char* mode : {"r", "rb", "r+", "x", "", static_cast<const char*>(nullptr)}) {
        OpenFile f;
        EXPECT_EQ(VxFopen(&f.handle, path.c_str(), mode), mode && *mode == 'r')
            << (mode ? mode : "null");
    }
    {
        OpenFile f;
        ASSERT_EQ(VxFopen(&f.handle, path.c_str(), "a"), 1);
        EXPECT_EQ(VxFwrite(f.handle, "ABCDEFGHIJ", 10), 10);
    }
    EXPECT_EQ(vxtest::ReadFile(path), "ABCDEFGHIJ" + std::string(90, 'x'));
    {
        OpenFile f;
        ASSERT_EQ(VxFopen(&f.handle, path.c_str(), "wb"), 1);
    }
    EXPECT_EQ(vxtest::ReadFile(path), "");
    OpenFile created, missing;
    ASSERT_EQ(VxFopen(&created.handle, dir.file("new.bin").c_str(), "a"), 1);
    EXPECT_TRUE(vxtest::Exists(dir.file("new.bin")));
    EXPECT_EQ(VxFopen(&missing.handle, dir.file("none").c_str(), "r"), 0);
}

TEST(OSLibSeek, SeekingPastTheEndExtendsTheFile) {
    vxtest::ScratchDir dir;
    const std::string path = dir.file("s.bin");
    OpenFile f;
    ASSERT_EQ(VxFopen(&f.handle, path.c_str(), "w"), 1);
    ASSERT_EQ(VxFwrite(f.handle, "abcd", 4), 4);
    int32_t position = -7;
    EXPECT_EQ(VxFseek(f.handle, 4096, kVxFromStart, &position), 1);
    VxFflush(f.handle);
    EXPECT_EQ(vxtest::ReadFile(path).size(), 4096u);
    EXPECT_EQ(VxFseek(f.handle, 10, kVxFromEnd, nullptr), 1);
    EXPECT_EQ(vxtest::ReadFile(path).size(), 4106u);
    EXPECT_EQ(VxFseek(f.handle, 2, kVxFromStart, &position), 1);
    EXPECT_EQ(position, 2);
    EXPECT_EQ(VxFseek(f.handle, 1, kVxFromMark, &position), 1);
    EXPECT_EQ(position, 3);
    EXPECT_EQ(VxFtell(f.handle), 3);
}

// A 'b' anywhere in the mode is ignored, so "rb+" and "r+b" write like "r+"; a position mode
// outside 1-3 is refused rather than taken as "from the start".
TEST(OSLibOpen, ABAnywhereIsIgnoredAndUnknownSeekOriginsFail) {
    vxtest::ScratchDir dir;
    const std::string path = dir.file("m.bin");
    const struct {
        const char* mode;
        int32_t written;
    } cases[] = {{"r", 0}, {"rb", 0}, {"r+", 1}, {"rb+", 1}, {"r+b", 1}};
    for (const auto& c : cases) {
        vxtest::WriteFile(path, "abc");
        OpenFile f;
        ASSERT_EQ(VxFopen(&f.handle, path.c_str(), c.mode), 1) << c.mode;
        EXPECT_EQ(VxFwrite(f.handle, "x", 1), c.written) << c.mode;
    }
    OpenFile f;
    ASSERT_EQ(VxFopen(&f.handle, path.c_str(), "r"), 1);
    for (int origin : {0, 4, -1}) {
        int32_t position = -7;
        EXPECT_EQ(VxFseek(f.handle, 1, VxfsOrigin(origin), &position), 0) << origin;
        EXPECT_EQ(position, -7);
    }
}

// Short reads return what was there; handles below one are harmless.
TEST(OSLibRead, ShortReadsAndHandlesBelowOne) {
    vxtest::ScratchDir dir;
    vxtest::WriteFile(dir.file("r.bin"), "hello");
    OpenFile f;
    ASSERT_EQ(VxFopen(&f.handle, dir.file("r.bin").c_str(), "r"), 1);
    char buffer[16] = {};
    EXPECT_EQ(VxFread(f.handle, buffer, sizeof buffer), 5);
    EXPECT_STREQ(buffer, "hello");
    EXPECT_EQ(VxFread(f.handle, buffer, sizeof buffer), 0);
    EXPECT_EQ(VxFwrite(f.handle, "x", 1), 0) << "read-only handle";
    for (void* h : {reinterpret_cast<void*>(intptr_t(-1)), static_cast<void*>(nullptr)}) {
        EXPECT_EQ(VxFclose(h), 1);
        EXPECT_EQ(VxFflush(h), 1);
        EXPECT_EQ(VxFtell(h), -1);
        EXPECT_EQ(VxFseek(h, 0, kVxFromStart, nullptr), 0);
        EXPECT_EQ(VxFread(h, buffer, 1), 0);
        EXPECT_EQ(VxFwrite(h, buffer, 1), 0);
    }
}

TEST(OSLibTemp, NamesArePrefixSecondsSixDigitsExtensionInTheTempFolder) {
    vxtest::ScratchDir dir;
    ::setenv("TMPDIR", dir.path().c_str(), 1);
    char path[1024];
    const long before = long(std::time(nullptr));
    ASSERT_EQ(VxFtempfile(path, nullptr, nullptr), 1);
    const std::regex form(dir.path() + "/vxtmp([0-9]+)([0-9]{6})\\.tmp");
    std::cmatch m;
    ASSERT_TRUE(std::regex_match(path, m, form)) << path;
    EXPECT_GE(std::stol(m[1].str()), before);
    EXPECT_EQ(m[2].str(), "000000");
    EXPECT_FALSE(vxtest::Exists(path)) << "the name is found, the file is not made";

    vxtest::WriteFile(path, "taken");
    char next[1024];
    ASSERT_EQ(VxFtempfile(next, "pre", ".x"), 1);
    EXPECT_TRUE(std::regex_match(next, std::regex(dir.path() + "/pre[0-9]+000000\\.x"))) << next;
    ASSERT_EQ(VxFtempfile(next, nullptr, nullptr), 1);
    EXPECT_TRUE(std::regex_match(next, std::regex(dir.path() + "/vxtmp[0-9]+000001\\.tmp")))
        << "the counter moves past a name in use: " << next;
    ::unsetenv("TMPDIR");
}

TEST(OSLibExtensions, TheLastDotOfTheWholePathCounts) {
    const char* jpeg = ".jpg;.jpeg;JPEG;";
    EXPECT_EQ(VxFconfext("/p/photo.JPG", jpeg), 1);
    EXPECT_EQ(VxFconfext("/p/photo.jpeg", jpeg), 1);
    EXPECT_EQ(VxFconfext("/p/photo.png", jpeg), 0);
    EXPECT_EQ(VxFconfext("/a.b/file", ".b"), 1);
    EXPECT_EQ(VxFconfext("/p/noext", ".jpg;"), 0);
    EXPECT_EQ(VxFconfext("/p/x.tif", "TIFF;.tif"), 1);
    EXPECT_EQ(VxFconfext("/p/x.tif", ""), 0);
}

TEST(OSLibTime, DateTextsAreLocalStandardTime) {
    int32_t t = 0;
    EXPECT_EQ(VxFstrtotime("2004:07:15 12:30:00", &t), 1);
    struct tm expected = {};
    expected.tm_year = 104, expected.tm_mon = 6, expected.tm_mday = 15;
    expected.tm_hour = 12, expected.tm_min = 30, expected.tm_isdst = 0;
    EXPECT_EQ(t, int32_t(std::mktime(&expected)));
}

TEST(OSLibStat, AttributesComeFromTheFileItself) {
    vxtest::ScratchDir dir;
    const std::string path = dir.file("st.bin");
    vxtest::WriteFile(path, std::string(1234, 'z'));
    ::chmod(path.c_str(), 0640);
    _VxFstat st;
    ASSERT_EQ(VxFgetstat(path.c_str(), &st), 1);
    EXPECT_EQ(st.lSize, 1234u);
    EXPECT_EQ(st.lAccessTime, 0);
    EXPECT_EQ(st.wPermissions, 0640);
    EXPECT_GT(st.lModifyTime, 0);
    EXPECT_GT(st.lCreateTime, 0);
    EXPECT_EQ(VxFgetstat(dir.file("missing").c_str(), &st), 0);
    EXPECT_EQ(VxFexist(path.c_str()), 1);
    EXPECT_EQ(VxFdelete(path.c_str()), 1);
    EXPECT_EQ(VxFexist(path.c_str()), 0);
    EXPECT_EQ(VxFdelete(""), 0);
}

}  // namespace
