#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "resize/UtilResize.h"

namespace {

CUImageInfo Info(int32_t w, int32_t h, int32_t depth, int32_t native = 0,
                 const char* space = "RGB") {
    CUImageInfo info;
    info.lWidth = w;
    info.lHeight = h;
    info.lColorDepth = depth;
    info.bNative = native;
    info.strColorSpace = space;
    return info;
}

CURequest Request(int32_t w, int32_t h, const char* method) {
    CURequest request;
    request.info.lWidth = w;
    request.info.lHeight = h;
    request.strResizeMethod = method;
    return request;
}

// Padded source lines with varied bytes.
std::vector<unsigned char> Pixels(const CUImageInfo& info, uint32_t seed) {
    std::vector<unsigned char> bytes(size_t(info.RowBytes()) * info.lHeight);
    for (unsigned char& b : bytes) {
        seed = seed * 1103515245u + 12345u;
        b = uint8_t(seed >> 16);
    }
    return bytes;
}

struct Object {
    std::unique_ptr<CUtilResize, void (*)(CUtilResize*)> p{new CUtilResize(),
                                                           [](CUtilResize* o) { o->Delete(); }};
    CUtilResize* operator->() const { return p.get(); }
};

TEST(UtilResize, CodesOfTheEnginesTranslateIntoLibraryCodes) {
    struct Case {
        int32_t engine, library;
    } cases[] = {
        {0, 1},
        {1, 0},
        {-1000, int32_t(0x81020001)},
        {-1001, int32_t(0xE17F0002)},
        {-1002, int32_t(0xE17F0003)},
        {-1003, int32_t(0xE17F0004)},
        {-1004, int32_t(0xE17F0005)},
        {-1005, int32_t(0xE17F0006)},
        {-1006, int32_t(0xE17F0007)},
        {-1010, int32_t(0xE17F0009)},
        {-1007, int32_t(0xE17F0000)},
        {7, int32_t(0xE17F0000)},
    };
    for (const Case& c : cases)
        EXPECT_EQ(CUtilResize::ConvertErrorCode(c.engine), c.library) << c.engine;
}

TEST(UtilResize, StateRulesOfBeginSetGetAndEnd) {
    Object resize;
    const CUImageInfo source = Info(6, 6, 24);
    unsigned char line[64];
    EXPECT_EQ(resize->SetLine(line), kVxErrResizeState);
    EXPECT_EQ(resize->GetLine(line), kVxErrResizeState);
    EXPECT_EQ(resize->GetLine(), nullptr);
    EXPECT_EQ(resize->EndResize(), kVxErrResizeState);
    EXPECT_EQ(resize->Reset(), kVxErrResizeState);

    ASSERT_EQ(resize->BeginResize(source, Request(4, 4, "Bilinear")), kVxOk);
    EXPECT_EQ(resize->BeginResize(source, Request(4, 4, "Bilinear")), kVxErrResizeState);
    std::memset(line, 0x5A, sizeof(line));
    EXPECT_EQ(resize->GetLine(line), kVxOk);  // nothing ready: success, buffer untouched
    for (unsigned char b : line)
        EXPECT_EQ(b, 0x5A);
    EXPECT_EQ(resize->GetLine(), nullptr);
    EXPECT_EQ(resize->SetLine(nullptr), kVxErrResizeNullBuffer);
    EXPECT_EQ(resize->EndResize(), kVxOk);
    EXPECT_EQ(resize->EndResize(), kVxErrResizeState);
    EXPECT_EQ(resize->BeginResize(source, Request(4, 4, "Bilinear")),
              kVxOk);  // again after the end
}

TEST(UtilResize, RefusedRequestsGiveTheirCodes) {
    struct Case {
        CUImageInfo source;
        CURequest request;
        int32_t code;
    } cases[] = {
        {Info(8, 8, 32, 0), Request(4, 4, "Nearest"), kVxErrResizeSize},  // 32 bits, not native
        {Info(8, 8, 8, 0, "YCC"), Request(4, 4, "Nearest"), kVxErrResizeSize},  // YCC gray
        {Info(8, 8, 24), Request(4, 4, "Lanczos"), kVxErrResizeSize},
        {Info(8, 8, 24), Request(0, 4, "Nearest"), kVxErrResizeSize},
        {Info(8, 8, 8), Request(65536, 65536, "Nearest"), kVxErrResizeTooLarge},  // 4 GB of output
        {Info(8, 8, 32, 1), Request(4, 4, "quorix"), kVxOk},
    };
    for (const Case& c : cases) {
        Object resize;
        EXPECT_EQ(resize->BeginResize(c.source, c.request), c.code)
            << c.request.strResizeMethod.c_str();
    }
}

TEST(UtilResize, EngineIsKeptWhileTheMethodNameStaysTheSame) {
    Object resize;
    const CUImageInfo source = Info(8, 8, 24);
    ASSERT_EQ(resize->BeginResize(source, Request(4, 4, "Bicubic")), kVxOk);
    CResizeEngine* first = resize->Engine();
    ASSERT_EQ(resize->EndResize(), kVxOk);
    ASSERT_EQ(resize->BeginResize(source, Request(5, 5, "BICUBIC")), kVxOk);
    EXPECT_EQ(resize->Engine(), first);
    EXPECT_STREQ(resize->Engine()->GetInterpolation(), "Bicubic");  // still the first engine
    ASSERT_EQ(resize->EndResize(), kVxOk);
    ASSERT_EQ(resize->BeginResize(source, Request(5, 5, "Nearest")), kVxOk);
    EXPECT_STREQ(resize->Engine()->GetInterpolation(), "Nearest");
    ASSERT_EQ(resize->EndResize(), kVxOk);
    EXPECT_EQ(resize->BeginResize(source, Request(5, 5, "Lanczos")), kVxErrResizeSize);
    EXPECT_EQ(resize->Engine(), nullptr);
}

TEST(UtilResize, CheckSeekNamesTargetsInsideTheOutput) {
    Object resize;
    EXPECT_EQ(resize->CheckSeek(0, 0), kVxErrResizeState);
    const CUImageInfo source = Info(4, 10, 8);
    ASSERT_EQ(resize->BeginResize(source, Request(4, 10, "Nearest")), kVxOk);
    std::vector<unsigned char> pixels = Pixels(source, 3);
    unsigned char out[4];
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(resize->SetLine(pixels.data() + 4 * i), 1);
        ASSERT_EQ(resize->GetLine(out), kVxOk);
    }
    struct Case {
        int32_t line;
        int origin;
        int32_t result, target;
    } cases[] = {
        {0, 2, 2, 9},
        {-9, 2, 2, 0},
        {-10, 2, kVxErrResizeState, 0},
        {10, 0, kVxErrResizeState, 0},
        {9, 0, 2, 9},
        {-1, 0, kVxErrResizeState, 9},
        {3, 1, 2, 5},
        {8, 1, kVxErrResizeState, 5},
        {-2, 1, 2, 0},
        {0, 3, kVxErrResizeSize, 0},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(resize->CheckSeek(c.line, c.origin), c.result) << c.line << " from " << c.origin;
        EXPECT_EQ(resize->SeekTarget(), c.target) << c.line << " from " << c.origin;
    }
}

TEST(UtilResize, SeekLineDiscardsOutputUpToTheLineBeforeTheTarget) {
    Object resize;
    const CUImageInfo source = Info(3, 2, 8);
    const std::vector<unsigned char> pixels = Pixels(source, 9);
    ASSERT_EQ(resize->BeginResize(source, Request(3, 8, "Nearest")), kVxOk);
    EXPECT_EQ(resize->SeekLine(pixels.data()), kVxErrResizeState);  // no target yet
    ASSERT_EQ(resize->CheckSeek(3, 0), 2);
    EXPECT_EQ(resize->SeekLine(pixels.data()), kVxOk);
    EXPECT_EQ(resize->LinesOut(), 2);
    EXPECT_EQ(resize->LinesReady(), 2);  // output lines 2 and 3 still to come
    const auto* line = static_cast<const unsigned char*>(resize->GetLine());
    ASSERT_NE(line, nullptr);
    EXPECT_EQ(std::memcmp(line, pixels.data(), 3), 0);
}

TEST(UtilResize, ResetStartsTheSameResizeAgain) {
    Object resize;
    const CUImageInfo source = Info(5, 5, 24);
    const std::vector<unsigned char> pixels = Pixels(source, 4);
    ASSERT_EQ(resize->BeginResize(source, Request(9, 9, "Bilinear")), kVxOk);
    const int32_t rowBytes = source.RowBytes();
    EXPECT_EQ(resize->SetLine(pixels.data()), 0);
    EXPECT_EQ(resize->SetLine(pixels.data() + rowBytes), 2);
    std::vector<unsigned char> before(28), after(28);
    ASSERT_EQ(resize->GetLine(before.data()), kVxOk);
    ASSERT_EQ(resize->Reset(), kVxOk);
    EXPECT_EQ(resize->LinesIn(), 0);
    EXPECT_EQ(resize->LinesOut(), 0);
    EXPECT_EQ(resize->SetLine(pixels.data()), 0);
    EXPECT_EQ(resize->SetLine(pixels.data() + rowBytes), 2);
    ASSERT_EQ(resize->GetLine(after.data()), kVxOk);
    EXPECT_EQ(before, after);
}

// The push/pull loop a caller would write, stopping at the first refused push as GetImage does.
int32_t ResizeByLines(const CUImageInfo& source, const std::vector<unsigned char>& pixels,
                      const CURequest& request, std::vector<unsigned char>& output) {
    Object resize;
    int32_t code = resize->BeginResize(source, request);
    if (code != kVxOk) return code;
    const size_t outBytes = size_t(resize->OutputInfo().lRowBytes);
    output.assign(outBytes * request.info.lHeight, 0);
    size_t y = 0;
    for (int32_t i = 0; i < source.lHeight; ++i) {
        const int32_t ready = resize->SetLine(pixels.data() + size_t(i) * source.RowBytes());
        if (ready < 0) {
            code = ready;
            break;
        }
        for (int32_t k = 0; k < ready; ++k) {
            const void* line = resize->GetLine();
            if (line == nullptr) return kVxErrResizeOther;
            std::memcpy(output.data() + outBytes * y++, line, outBytes);
        }
    }
    resize->EndResize();
    return code;
}

TEST(UtilResize, GetImageMatchesThePushPullLoopForEveryMethod) {
    struct Layout {
        int32_t depth, native;
        const char* space;
    } layouts[] = {{24, 0, "RGB"}, {48, 0, "RGB"}, {8, 0, "RGB"}, {32, 1, "RGB"}, {48, 0, "YCC"}};
    struct Size {
        int32_t sw, sh, dw, dh;
    } sizes[] = {{7, 5, 13, 11}, {40, 30, 9, 7}, {130, 97, 61, 64}, {9, 9, 3, 2}};
    for (const char* method : {"Nearest", "Bilinear", "Bicubic", "Quorix"})
        for (const Layout& l : layouts)
            for (const Size& s : sizes) {
                SCOPED_TRACE(std::string(method) + " depth " + std::to_string(l.depth) + " " +
                             std::to_string(s.sw) + "x" + std::to_string(s.sh) + " -> " +
                             std::to_string(s.dw) + "x" + std::to_string(s.dh));
                const CUImageInfo source = Info(s.sw, s.sh, l.depth, l.native, l.space);
                const std::vector<unsigned char> pixels = Pixels(source, uint32_t(s.sw * l.depth));
                const CURequest request = Request(s.dw, s.dh, method);
                std::vector<unsigned char> expected;
                const int32_t loopCode = ResizeByLines(source, pixels, request, expected);
                std::vector<unsigned char> image(expected.size(), 0xEE);
                Object resize;
                EXPECT_EQ(resize->GetImage(source, pixels.data(), request, image.data()), loopCode);
                EXPECT_EQ(image, expected);
            }
}

TEST(UtilResize, GetImageReportsSourceLinesThatComeAfterTheLastOutputLine) {
    // Nearest 8 -> 4 lines: output line 3 comes from source line 6, so pushing line 7 is
    // refused; the image is complete all the same.
    Object resize;
    const CUImageInfo source = Info(4, 8, 8);
    const std::vector<unsigned char> pixels = Pixels(source, 6);
    std::vector<unsigned char> image(4 * 4, 0);
    EXPECT_EQ(resize->GetImage(source, pixels.data(), Request(4, 4, "Nearest"), image.data()),
              kVxErrResizeMoment);
    for (int32_t y = 0; y < 4; ++y)
        EXPECT_EQ(std::memcmp(image.data() + 4 * y, pixels.data() + 4 * 2 * y, 4), 0) << y;
}

TEST(UtilResize, GetImageLeavesABegunResizeAlone) {
    Object resize;
    const CUImageInfo source = Info(4, 4, 8);
    const std::vector<unsigned char> pixels = Pixels(source, 5);
    ASSERT_EQ(resize->BeginResize(source, Request(8, 8, "Bilinear")), kVxOk);
    CResizeEngine* engine = resize->Engine();
    std::vector<unsigned char> image(8 * 8);
    EXPECT_EQ(resize->GetImage(source, pixels.data(), Request(8, 8, "Nearest"), image.data()),
              kVxOk);
    EXPECT_EQ(resize->Engine(), engine);
    EXPECT_EQ(resize->SetLine(pixels.data()), 0);  // still begun, still bilinear
    EXPECT_EQ(resize->GetImage(source, pixels.data(), Request(8, 8, "Lanczos"), image.data()),
              kVxErrResizeSize);
}

TEST(UtilResize, FactoryMakesAnObject) {
    IUtilResizeIF* resize = CreateUtilResize();
    ASSERT_NE(resize, nullptr);
    EXPECT_EQ(resize->EndResize(), kVxErrResizeState);
    resize->Delete();
}

}  // namespace
