// The page file: when it is made, what happens when it cannot be made, written or read, and
// that it never outlives its container.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "ContainerTestSupport.h"
#include "container/UtilContainer.h"

using vxtest::ContainerPtr;
using vxtest::MakeContainer;
using vxtest::MakeInfo;

namespace {

// An image that fits the cache never touches the disk until PageOut, which writes every piece;
// the page file goes with Clear, Create and Delete.
TEST(ContainerPaging, PageOutWritesEveryPieceAndTheFileGoesWithClearCreateAndDelete) {
    vxtest::ScopedTempDir tmp;
    const CUImageInfo info = MakeInfo(400, 300, 24);
    ContainerPtr c = MakeContainer(info, 12, 128);  // 4 x 3 pieces
    ASSERT_TRUE(c);
    ASSERT_TRUE(vxtest::FillWithPattern(*c));
    EXPECT_EQ(vxtest::FirstLineNotMatchingPattern(*c), -1);
    EXPECT_TRUE(tmp.PageFiles().empty());
    ASSERT_EQ(c->PageOut(), 1);
    for (int32_t i = 0; i < 12; ++i)
        EXPECT_FALSE(vxtest::AsPaged(c)->GetPiece(i)->HoldsMemory()) << i;
    ASSERT_EQ(tmp.PageFiles().size(), 1u);
    EXPECT_EQ(vxtest::FirstLineNotMatchingPattern(*c), -1);

    c->Clear();
    EXPECT_TRUE(tmp.PageFiles().empty());
    ASSERT_EQ(c->Create(info, 1, 128), 1);
    ASSERT_TRUE(vxtest::FillWithPattern(*c));
    EXPECT_EQ(tmp.PageFiles().size(), 1u);
    ASSERT_EQ(c->Create(info, 1, 128), 1);  // Create clears first
    EXPECT_TRUE(tmp.PageFiles().empty());
    ASSERT_TRUE(vxtest::FillWithPattern(*c));
    c.reset();
    EXPECT_TRUE(tmp.PageFiles().empty());
}

// Decoded pixels stay private on a shared temporary folder: the page file is a regular file
// of its own (links planted at the names it could take are left alone), readable by its owner
// only.
TEST(ContainerPaging, ThePageFileIsPrivateAndNeverWrittenThroughALink) {
    vxtest::ScopedTempDir tmp;
    const std::string victim = tmp.path() + "/victim";
    vxtest::WriteFile(victim, "keep");
    const long now = long(::time(nullptr));
    for (long second = now; second <= now + 2; ++second) {
        for (int n = 0; n < 4; ++n) {
            char name[64];
            std::snprintf(name, sizeof name, "/vxtmp%ld%06d.tmp", second, n);
            ASSERT_EQ(::symlink(victim.c_str(), (tmp.path() + name).c_str()), 0);
        }
    }
    const size_t planted = tmp.PageFiles().size();
    ContainerPtr c = MakeContainer(MakeInfo(300, 300, 24), 1, 128);
    ASSERT_TRUE(c);
    ASSERT_TRUE(vxtest::FillWithPattern(*c));
    ASSERT_EQ(c->PageOut(), 1);
    ASSERT_EQ(tmp.PageFiles().size(), planted + 1);
    for (const std::string& file : tmp.PageFiles()) {
        struct stat st;
        ASSERT_EQ(::lstat(file.c_str(), &st), 0);
        if (S_ISLNK(st.st_mode)) continue;
        EXPECT_TRUE(S_ISREG(st.st_mode)) << file;
        EXPECT_EQ(st.st_mode & 0777, 0600u) << file;
    }
    EXPECT_EQ(vxtest::ReadFile(victim), "keep");
    c.reset();
    EXPECT_EQ(tmp.PageFiles().size(), planted);
}

// A temporary folder that cannot hold files: a regular file stands where the folder should be,
// which stops even a privileged user.
TEST(ContainerPaging, AnUnusableTemporaryFolderFailsTheLineButLosesNoPixels) {
    vxtest::ScopedTempDir tmp;
    const std::string notAFolder = tmp.path() + "/plain-file";
    vxtest::WriteFile(notAFolder, "x");
    const CUImageInfo info = MakeInfo(300, 400, 24);
    ContainerPtr c = MakeContainer(info, 1, 128);
    ASSERT_TRUE(c);

    ::setenv("TMPDIR", notAFolder.c_str(), 1);
    EXPECT_EQ(vxtest::FirstRefusedLine(*c),
              128);  // the first line that needs a row of pieces to leave memory
    EXPECT_EQ(c->PageOut(), 0);
    std::vector<uint8_t> got(size_t(info.lRowBytes));
    for (int32_t y = 0; y < 128; ++y) {
        ASSERT_EQ(c->GetLine(got.data(), y, 0), 1);
        EXPECT_TRUE(got == vxtest::PatternLine(info, y)) << "line " << y;
    }

    ::setenv("TMPDIR", tmp.path().c_str(), 1);
    ASSERT_TRUE(vxtest::FillWithPattern(*c));
    EXPECT_EQ(vxtest::FirstLineNotMatchingPattern(*c), -1);
    c.reset();
    EXPECT_TRUE(tmp.PageFiles().empty());
}

// Runs `body` in a child process with a file-size limit of `limitBytes`, the signal a process
// gets for crossing it ignored, so that writes fail as on a full disk. The child's exit code
// names the step that went wrong (0: none).
int RunWithFileSizeLimit(rlim_t limitBytes, int (*body)(rlim_t)) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit;
        ::getrlimit(RLIMIT_FSIZE, &limit);
        limit.rlim_cur = limitBytes;
        if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) ::_exit(90);
        ::_exit(body(limitBytes));
    }
    int status = 0;
    if (pid < 0 || ::waitpid(pid, &status, 0) != pid) return 91;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 92;
}

void LiftFileSizeLimit() {
    struct rlimit limit;
    ::getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_FSIZE, &limit);
}

int FillUntilTheDiskIsFullThenFinish(rlim_t) {
    vxtest::ScopedTempDir tmp;
    const CUImageInfo info = MakeInfo(300, 1000, 24);  // 3 x 8 pieces of 48 KiB
    ContainerPtr c = MakeContainer(info, 1, 128);
    if (!c) return 1;
    const int32_t refused = vxtest::FirstRefusedLine(*c);
    if (refused < 128 || refused >= info.lHeight) return 2;  // only once pieces leave memory
    if (c->PageOut() != 0) return 3;
    LiftFileSizeLimit();
    // The disk has room again: the refused line and everything after it go through.
    if (vxtest::FirstRefusedLine(*c, refused) != info.lHeight) return 4;
    if (vxtest::FirstLineNotMatchingPattern(*c) != -1) return 5;
    if (tmp.PageFiles().size() != 1) return 6;
    c.reset();
    if (!tmp.PageFiles().empty()) return 7;
    return 0;
}

TEST(ContainerPaging, ADiskThatFillsUpFailsTheLineAndEveryPixelSurvives) {
    // Room for a few pieces only; the cut falls in the middle of a piece's write.
    EXPECT_EQ(RunWithFileSizeLimit(5 * 49152 + 1000, FillUntilTheDiskIsFullThenFinish), 0);
}

int PageOutIntoAFullDisk(rlim_t) {
    vxtest::ScopedTempDir tmp;
    const CUImageInfo info = MakeInfo(600, 300, 24);  // 5 x 3 pieces, all resident
    ContainerPtr c = MakeContainer(info, 15, 128);
    if (!c || !vxtest::FillWithPattern(*c)) return 1;
    if (c->PageOut() != 0) return 2;
    // What could not be written is still in memory and reads back without the disk.
    if (vxtest::FirstLineNotMatchingPattern(*c) != -1) return 3;
    LiftFileSizeLimit();
    if (c->PageOut() != 1) return 4;
    if (vxtest::FirstLineNotMatchingPattern(*c) != -1) return 5;
    c.reset();
    return tmp.PageFiles().empty() ? 0 : 6;
}

TEST(ContainerPaging, PageOutIntoAFullDiskKeepsTheUnwrittenPiecesResident) {
    EXPECT_EQ(RunWithFileSizeLimit(3 * 49152 + 100, PageOutIntoAFullDisk), 0);
}

TEST(ContainerPaging, ADamagedPageFileFailsTheReadWithoutACrash) {
    vxtest::ScopedTempDir tmp;
    const CUImageInfo info = MakeInfo(300, 300, 24);
    ContainerPtr c = MakeContainer(info, 1, 128);
    ASSERT_TRUE(c);
    ASSERT_TRUE(vxtest::FillWithPattern(*c));
    ASSERT_EQ(c->PageOut(), 1);
    const std::vector<std::string> files = tmp.PageFiles();
    ASSERT_EQ(files.size(), 1u);
    ASSERT_EQ(::truncate(files[0].c_str(), 0), 0);

    std::vector<uint8_t> got(size_t(info.lRowBytes) * 4);
    EXPECT_EQ(c->GetLine(got.data(), 0, 0), 0);
    EXPECT_EQ(c->GetLine(0, 0, -1), nullptr);
    EXPECT_EQ(c->GetPixel(5, 5), nullptr);
    EXPECT_EQ(c->GetBoxData(got.data(), 0, 0, 3, 3), 0);
    EXPECT_FALSE(vxtest::AsPaged(c)->GetPiece(0)->HoldsMemory());
    c.reset();
    EXPECT_TRUE(tmp.PageFiles().empty());
}

}  // namespace
