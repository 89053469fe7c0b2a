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

TEST(OSLibOpen, ModesAreReadFromTheFirstTwoCharactersOnly) {
    vxtest::ScratchDir dir;
    const std::string path = dir.file("f.bin");
    vxtest::WriteFile(path, "0123456789");
    struct Case {
        const char* mode;
        int expected;
    } cases[] = {{"r", 1}, {"rb", 1}, {"r+", 1}, {"a", 1}, {"x", 0}, {"", 0}, {nullptr, 0}};
    for (const Case& c : cases) {
        OpenFile f;
        EXPECT_EQ(VxFopen(&f.handle, path.c_str(), c.mode), c.expected) << (c.mode ? c.mode : "null");
    }
}

TEST(OSLibOpen, AppendModeWritesAtTheStartNotTheEnd) {
    vxtest::ScratchDir dir;
    const std::string path = dir.file("a.bin");
    vxtest::WriteFile(path, std::string(100, 'x'));
    {
        OpenFile f;
        ASSERT_EQ(VxFopen(&f.handle, path.c_str(), "a"), 1);
        EXPECT_EQ(VxFwrite(f.handle, "ABCDEFGHIJ", 10), 10);
    }
    std::string bytes = vxtest::ReadFile(path);
    ASSERT_EQ(bytes.size(), 100u);
    EXPECT_EQ(bytes.substr(0, 10), "ABCDEFGHIJ");
    EXPECT_EQ(bytes[10], 'x');
}

TEST(OSLibOpen, WriteModeEmptiesAnExistingFileAndAppendCreatesAMissingOne) {
    vxtest::ScratchDir dir;
    const std::string path = dir.file("w.bin");
    vxtest::WriteFile(path, "old contents");
    {
        OpenFile f;
        ASSERT_EQ(VxFopen(&f.handle, path.c_str(), "wb"), 1);
    }
    EXPECT_EQ(vxtest::ReadFile(path), "");
    const std::string created = dir.file("new.bin");
    OpenFile f;
    ASSERT_EQ(VxFopen(&f.handle, created.c_str(), "a"), 1);
    EXPECT_TRUE(vxtest::Exists(created));
    OpenFile missing;
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

TEST(OSLibRead, ShortReadsReturnWhatWasThere) {
    vxtest::ScratchDir dir;
    const std::string path = dir.file("r.bin");
    vxtest::WriteFile(path, "hello");
    OpenFile f;
    ASSERT_EQ(VxFopen(&f.handle, path.c_str(), "r"), 1);
    char buffer[16] = {};
    EXPECT_EQ(VxFread(f.handle, buffer, sizeof buffer), 5);
    EXPECT_STREQ(buffer, "hello");
    EXPECT_EQ(VxFread(f.handle, buffer, sizeof buffer), 0);
    EXPECT_EQ(VxFwrite(f.handle, "x", 1), 0) << "read-only handle";
}

TEST(OSLibHandles, HandlesBelowOneAreHarmless) {
    for (intptr_t raw : {intptr_t(-1), intptr_t(0)}) {
        void* h = reinterpret_cast<void*>(raw);
        char c;
        EXPECT_EQ(VxFclose(h), 1);
        EXPECT_EQ(VxFflush(h), 1);
        EXPECT_EQ(VxFtell(h), -1);
        EXPECT_EQ(VxFseek(h, 0, kVxFromStart, nullptr), 0);
        EXPECT_EQ(VxFread(h, &c, 1), 0);
        EXPECT_EQ(VxFwrite(h, &c, 1), 0);
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
    struct Case {
        const char* path;
        const char* list;
        int expected;
    } cases[] = {
        {"/p/photo.JPG", ".jpg;.jpeg;JPEG;", 1},
        {"/p/photo.jpeg", ".jpg;.jpeg;JPEG;", 1},
        {"/p/photo.png", ".jpg;.jpeg;JPEG;", 0},
        {"/a.b/file", ".b", 1},
        {"/p/noext", ".jpg;", 0},
        {"/p/x.tif", "TIFF;.tif", 1},
        {"/p/x.tif", "", 0},
    };
    for (const Case& c : cases)
        EXPECT_EQ(VxFconfext(c.path, c.list), c.expected) << c.path << " in " << c.list;
}

TEST(OSLibTime, DateTextsAreLocalStandardTime) {
    int32_t t = 0;
    EXPECT_EQ(VxFstrtotime("2004:07:15 12:30:00", &t), 1);
    struct tm expected = {};
    expected.tm_year = 104;
    expected.tm_mon = 6;
    expected.tm_mday = 15;
    expected.tm_hour = 12;
    expected.tm_min = 30;
    expected.tm_isdst = 0;
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
