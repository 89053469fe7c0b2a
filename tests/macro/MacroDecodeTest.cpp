// Decode pipelines against the in-memory service: plain decodes with and without the alpha
// plane, squeezing from seeking and non-seeking sources, trimming, and the pixel picker.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <dirent.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "TestSupport.h"
#include "macro/MacroTestSupport.h"

using namespace vxtest;

namespace {

class MacroDecodeTest : public ::testing::Test {
protected:
    void SetUp() override {
        service.files["rgba.img"] = MemImage::Make(8, 8, 24, 8);
        macro = NewMacro(&service, &callback);
    }
    const MemImage& Source() { return service.files["rgba.img"]; }

    ScriptedService service;
    RecordingCallback callback;
    MacroPtr macro;
};

TEST_F(MacroDecodeTest, TheAlphaPlaneGoesWhereItIsWantedAndOnlyThere) {
    struct Case {
        const char* what;
        bool giveAlpha;
        int32_t skip;
        bool alphaFilled;
    };
    const Case cases[] = {{"alpha wanted", true, 0, true},
                          {"no alpha container", false, 0, false},
                          {"alpha skipped", true, 1, false}};
    for (const Case& c : cases) {
        ContainerPtr dst = NewContainer();
        ContainerPtr dstAlpha = NewContainer();
        CURequest request;
        request.lOption1 = c.skip;
        ASSERT_EQ(
            macro->GetImage("rgba.img", request, dst.get(), c.giveAlpha ? dstAlpha.get() : nullptr),
            1)
            << c.what;
        EXPECT_EQ(LineOf(dst.get(), 5), Unpadded(Source().rows[5], Source().info)) << c.what;
        EXPECT_EQ(dstAlpha->hasImage() != 0, c.alphaFilled) << c.what;
        if (c.alphaFilled) {
            const std::vector<unsigned char> alpha = LineOf(dstAlpha.get(), 7);
            ASSERT_EQ(alpha.size(), 8u);
            EXPECT_EQ(alpha[3], (unsigned char)(3 + 700));
        }
    }
}

TEST_F(MacroDecodeTest, AFailingReadEmptiesTheContainersAndEndsTheRead) {
    service.failReadAtLine = 6;
    for (const char* method : {"Nearest", "Squeeze"}) {
        ContainerPtr dst = NewContainer();
        ContainerPtr dstAlpha = NewContainer();
        CURequest request;
        request.strResizeMethod = method;
        request.info.lWidth = 8;
        request.info.lHeight = std::string(method) == "Squeeze" ? 7 : 8;
        EXPECT_EQ(macro->GetImage("rgba.img", request, dst.get(), dstAlpha.get()), kVxErrCodecData)
            << method;
        EXPECT_EQ(dst->hasImage(), 0) << method;
        EXPECT_EQ(dstAlpha->hasImage(), 0) << method;
        EXPECT_EQ(service.log.beginReads, service.log.endReads) << method;
        EXPECT_EQ(callback.Stages().back(), "Finish");
        EXPECT_EQ(callback.Stages()[callback.Stages().size() - 2], "End");
    }
}

// Output lines of a squeeze pick source line truncate(y * sourceHeight / outputHeight) and
// source pixel truncate(x * sourceWidth / outputWidth).
void ExpectSqueezed(const IUtilContainerIF* dst, const MemImage& src, int32_t w, int32_t h) {
    CUImageInfo info;
    dst->GetImageInfo(info);
    ASSERT_EQ(info.lWidth, w);
    ASSERT_EQ(info.lHeight, h);
    for (int32_t y = 0; y < h; ++y) {
        const int32_t sy = int32_t(double(y) * (double(src.info.lHeight) / h));
        const std::vector<unsigned char> line = LineOf(dst, y);
        for (int32_t x = 0; x < w; ++x) {
            const int32_t sx = int32_t(double(x) * (double(src.info.lWidth) / w));
            for (int32_t c = 0; c < 3; ++c)
                ASSERT_EQ(line[size_t(3 * x + c)], MemImage::Sample(sx, sy, c))
                    << "x " << x << " y " << y;
        }
    }
}

TEST_F(MacroDecodeTest, SqueezeSeeksWhenItCanAndReadsEachNeededLineOnce) {
    service.files["small.img"] = MemImage::Make(2, 2);
    struct Case {
        const char* file;
        const char* method;  // in any case
        bool canSeek;
        int32_t width, height;
        std::vector<int32_t> linesRead, seeks;  // the first seek is the probe
    };
    const Case cases[] = {
        {"rgba.img", "squeeze", true, 3, 3, {0, 2, 5}, {0, 2, 5}},
        {"rgba.img", "Squeeze", false, 8, 3, {0, 1, 2, 3, 4, 5}, {}},
        {"rgba.img", "SQUEEZE", true, 5, 8, {0, 1, 2, 3, 4, 5, 6, 7}, {0}},
        {"small.img", "sQueeze", true, 5, 5, {0, 1}, {0}},
    };
    for (const Case& c : cases) {
        service.canSeek = c.canSeek;
        service.log = ServiceLog();
        callback.calls.clear();
        ContainerPtr dst = NewContainer();
        ContainerPtr dstAlpha = NewContainer();
        CURequest request;
        request.info.lWidth = c.width;
        request.info.lHeight = c.height;
        request.strResizeMethod = c.method;
        ASSERT_EQ(macro->GetImage(c.file, request, dst.get(), dstAlpha.get()), 1) << c.width;
        ExpectSqueezed(dst.get(), service.files[c.file], c.width, c.height);
        EXPECT_EQ(service.log.linesRead, c.linesRead) << c.width;
        EXPECT_EQ(service.log.seeks, c.seeks) << c.width;
        // Two stages' worth of steps, in one decode stage.
        EXPECT_EQ(callback.TotalSteps(), 256u);
        EXPECT_EQ(callback.calls.front(), "Start 256");
        if (c.width == 3) {  // columns 0, 2, 5 of line 5
            EXPECT_EQ(LineOf(dstAlpha.get(), 2),
                      (std::vector<unsigned char>{(unsigned char)500, (unsigned char)502,
                                                  (unsigned char)505}));
        }
    }
}

TEST(SqueezeLine, PicksWholePixelsForEveryLayoutAndIgnoresOthers) {
    struct Case {
        int32_t depth;
        int32_t bytesPerPixel;
    };
    for (Case c : {Case{8, 1}, Case{16, 2}, Case{24, 3}, Case{32, 4}, Case{48, 6}, Case{64, 8}}) {
        CUImageInfo from, to;
        from.lWidth = 5;
        from.lColorDepth = c.depth;
        to.lWidth = 2;
        to.lColorDepth = c.depth;
        std::vector<unsigned char> in(size_t(5 * c.bytesPerPixel));
        for (size_t i = 0; i < in.size(); ++i)
            in[i] = (unsigned char)i;
        std::vector<unsigned char> out(size_t(2 * c.bytesPerPixel), 0xee);
        CUtilMacro::SqueezeLine(from, to, in.data(), out.data());
        // Pixels 0 and truncate(1 * 2.5) = 2.
        for (int32_t b = 0; b < c.bytesPerPixel; ++b) {
            EXPECT_EQ(out[size_t(b)], in[size_t(b)]) << c.depth;
            EXPECT_EQ(out[size_t(c.bytesPerPixel + b)], in[size_t(2 * c.bytesPerPixel + b)])
                << c.depth;
        }
    }
    CUImageInfo odd;
    odd.lWidth = 4;
    odd.lColorDepth = 12;
    unsigned char in[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    unsigned char out[8] = {};
    CUtilMacro::SqueezeLine(odd, odd, in, out);
    EXPECT_EQ(std::vector<unsigned char>(out, out + 8), std::vector<unsigned char>(8, 0));
}

TEST_F(MacroDecodeTest, TrimmingSqueezesTheSecondRectangleToTheFirstsSize) {
    service.files["big.img"] = MemImage::Make(40, 40);
    const int32_t handle = service.GetImageHandle("big.img");
    CURequest request;
    ContainerPtr dst = NewContainer();
    // Same size: a plain cut of 10 x 10 pixels from (10, 20).
    ASSERT_EQ(
        macro->TrimmingDecode(handle, request, dst.get(), nullptr, 0, 0, 9, 9, 10, 20, 19, 29), 1);
    CUImageInfo info;
    dst->GetImageInfo(info);
    EXPECT_EQ(info.lWidth, 10);
    EXPECT_EQ(info.lHeight, 10);
    for (int32_t y : {0, 9}) {
        const std::vector<unsigned char> line = LineOf(dst.get(), y);
        for (int32_t x : {0, 9})
            EXPECT_EQ(line[size_t(3 * x)], MemImage::Sample(10 + x, 20 + y, 0));
    }
    EXPECT_EQ(service.log.linesRead.front(), 20);
    EXPECT_EQ(service.log.linesRead.back(), 29);

    // Halving: every other line and column of the selection.
    ContainerPtr half = NewContainer();
    service.canSeek = false;
    service.log = ServiceLog();
    ASSERT_EQ(
        macro->TrimmingDecode(handle, request, half.get(), nullptr, 0, 0, 4, 4, 10, 20, 19, 29), 1);
    half->GetImageInfo(info);
    EXPECT_EQ(info.lWidth, 5);
    EXPECT_EQ(LineOf(half.get(), 4)[3], MemImage::Sample(12, 28, 0));
    EXPECT_EQ(service.log.linesRead.size(), 29u);  // read up to line 28, no seeking
    EXPECT_TRUE(service.log.seeks.empty());

    // A selection reaching outside the image is refused and leaves nothing.
    ContainerPtr outside = NewContainer();
    EXPECT_EQ(
        macro->TrimmingDecode(handle, request, outside.get(), nullptr, 0, 0, 5, 5, 35, 0, 40, 5),
        kVxErrMacroUnsupported);
    EXPECT_EQ(outside->hasImage(), 0);
    EXPECT_EQ(request.pParamList, nullptr);
    EXPECT_EQ(request.pMessageProc, nullptr);
}

// A decode whose container pages into a full temporary disk names that cause, not a refused
// line. The disk fills through the file-size limit of a child process.
int DecodeIntoAFullDisk() {
    ScratchDir tmp;
    ::setenv("TMPDIR", tmp.path().c_str(), 1);
    ScriptedService service;
    service.files["big.img"] = MemImage::Make(600, 400, 24);
    MacroPtr macro = NewMacro(&service);
    macro->SetContainerInfo(1, 128);
    ContainerPtr dst = NewContainer();
    const int32_t result = macro->GetImage("big.img", dst.get(), nullptr);
    return result == kVxErrMacroDiskFull && dst->hasImage() == 0 ? 0 : 1;
}

TEST(MacroDiskFull, AFullTemporaryDiskIsNamedAsTheCause) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit;
        ::getrlimit(RLIMIT_FSIZE, &limit);
        limit.rlim_cur = 200000;
        ::_exit(::setrlimit(RLIMIT_FSIZE, &limit) == 0 ? DecodeIntoAFullDisk() : 2);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

// Page files ("vxtmp...") in a folder.
size_t PageFilesIn(const std::string& folder) {
    size_t count = 0;
    if (DIR* d = ::opendir(folder.c_str())) {
        while (const dirent* e = ::readdir(d))
            count += std::strncmp(e->d_name, "vxtmp", 5) == 0 ? 1 : 0;
        ::closedir(d);
    }
    return count;
}

// However a decode into paging containers ends (cancelled at its first or a later line, in
// any chain), no page file outlives the call: the caller's destination is emptied and the
// chain's temporaries are gone.
TEST(MacroPageFiles, ACancelledDecodeLeavesNoPageFileBehind) {
    ScratchDir tmp;
    const char* previous = std::getenv("TMPDIR");
    const std::string kept = previous != nullptr ? previous : "";
    ::setenv("TMPDIR", tmp.path().c_str(), 1);
    ScriptedService service;
    service.files["big.img"] = MemImage::Make(600, 400, 24, 8);
    CURequest plain, resized, turned, both;
    resized.info.lWidth = 300;
    resized.info.lHeight = 200;
    resized.strResizeMethod = "Bilinear";
    turned.dAngle = 90;
    both = resized;
    both.dAngle = 30;
    for (const CURequest* request : {&plain, &resized, &turned, &both}) {
        for (int32_t after : {0, 20, 100}) {
            RecordingCallback callback;
            callback.cancelAt = "Progress";
            callback.cancelAfter = after;
            MacroPtr macro = NewMacro(&service, &callback);
            macro->SetContainerInfo(1, 128);
            ContainerPtr dst = NewContainer();
            ContainerPtr dstAlpha = NewContainer();
            EXPECT_EQ(macro->GetImage("big.img", *request, dst.get(), dstAlpha.get()),
                      kVxErrCancelled)
                << after;
            EXPECT_EQ(PageFilesIn(tmp.path()), 0u) << "cancelled after " << after;
        }
    }
    previous != nullptr ? ::setenv("TMPDIR", kept.c_str(), 1) : ::unsetenv("TMPDIR");
}

}  // namespace
