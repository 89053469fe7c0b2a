#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "resize/ExResizeEngine.h"
#include "resize/UtilResize.h"

namespace {

CUImageInfo Info(int32_t w, int32_t h, int32_t depth, int32_t native = 0,
                 const char* space = "RGB") {
    CUImageInfo info;
    info.lWidth = w, info.lHeight = h, info.lColorDepth = depth, info.bNative = native;
    info.strColorSpace = space;
    return info;
}

CURequest Request(int32_t w, int32_t h, const char* method) {
    CURequest request;
    request.info.lWidth = w, request.info.lHeight = h, request.strResizeMethod = method;
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
    const int32_t engine[] = {0,     1,     -1000, -1001, -1002, -1003,
                              -1004, -1005, -1006, -1010, -1007, 7};
    const uint32_t library[] = {1,          0,          0x81020001, 0xE17F0002,
                                0xE17F0003, 0xE17F0004, 0xE17F0005, 0xE17F0006,
                                0xE17F0007, 0xE17F0009, 0xE17F0000, 0xE17F0000};
    for (size_t i = 0; i < sizeof engine / sizeof engine[0]; ++i)
        EXPECT_EQ(uint32_t(CUtilResize::ConvertErrorCode(engine[i])), library[i]) << engine[i];
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
    EXPECT_EQ(std::string(line, line + 64), std::string(64, '\x5A'));
    EXPECT_EQ(resize->GetLine(), nullptr);
    EXPECT_EQ(resize->SetLine(nullptr), kVxErrResizeNullBuffer);
    EXPECT_EQ(resize->EndResize(), kVxOk);
    EXPECT_EQ(resize->EndResize(), kVxErrResizeState);
    EXPECT_EQ(resize->BeginResize(source, Request(4, 4, "Bilinear")), kVxOk);  // after the end
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
    const int32_t S = kVxErrResizeState;
    // Line, origin, answer, target afterwards.
    const int32_t cases[][4] = {
        {0, 2, 2, 9},  {-9, 2, 2, 0}, {-10, 2, S, 0}, {10, 0, S, 0}, {9, 0, 2, 9},
        {-1, 0, S, 9}, {3, 1, 2, 5},  {8, 1, S, 5},   {-2, 1, 2, 0}, {0, 3, kVxErrResizeSize, 0}};
    for (const auto& c : cases) {
        EXPECT_EQ(resize->CheckSeek(c[0], c[1]), c[2]) << c[0] << " from " << c[1];
        EXPECT_EQ(resize->SeekTarget(), c[3]) << c[0] << " from " << c[1];
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
        if (ready < 0) return resize->EndResize(), ready;
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
                SCOPED_TRACE(std::string(method) + " depth " + std::to_string(l.depth) +
                             " from width " + std::to_string(s.sw));
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

// GetImage uses an engine of its own and leaves a begun resize alone.
TEST(UtilResize, GetImageReportsLateSourceLinesAndLeavesABegunResizeAlone) {
    Object resize;
    const CUImageInfo source = Info(4, 8, 8);
    const std::vector<unsigned char> pixels = Pixels(source, 6);
    ASSERT_EQ(resize->BeginResize(source, Request(8, 8, "Bilinear")), kVxOk);
    CResizeEngine* engine = resize->Engine();
    // Nearest 8 -> 4 lines: output line 3 comes from source line 6, so pushing line 7 is
    // refused; the image is complete all the same.
    std::vector<unsigned char> image(4 * 4, 0);
    EXPECT_EQ(resize->GetImage(source, pixels.data(), Request(4, 4, "Nearest"), image.data()),
              kVxErrResizeMoment);
    for (int32_t y = 0; y < 4; ++y)
        EXPECT_EQ(std::memcmp(image.data() + 4 * y, pixels.data() + 4 * 2 * y, 4), 0) << y;
    EXPECT_EQ(resize->Engine(), engine);
    EXPECT_EQ(resize->SetLine(pixels.data()), 0);  // still begun, still bilinear
    EXPECT_EQ(resize->GetImage(source, pixels.data(), Request(4, 4, "Lanczos"), image.data()),
              kVxErrResizeSize);
    // An output of width 0 is refused for its size, not for want of memory.
    EXPECT_EQ(resize->GetImage(source, pixels.data(), Request(0, 4, "Nearest"), image.data()),
              kVxErrResizeSize);
}

TEST(ResizeEngine, MethodNamesMatchWholeAndWithoutRegardToCase) {
    struct Case {
        const char* name;
        int32_t known;
        EXRESIZE_METHOD method;
    } cases[] = {{"NEAREST", 1, 0}, {"Bilinear", 1, 1},  {"bicubic", 1, 5},
                 {"qUORIX", 1, 6},  {"Bicubic ", 0, -7}, {"Lanczos", 0, -7},
                 {"Bicubi", 0, -7}, {"", 0, -7},         {nullptr, 0, -7}};
    for (const Case& c : cases) {
        EXRESIZE_METHOD method = -7;
        EXPECT_EQ(CExResizeEngine::GetResizeMethod(c.name, method), c.known)
            << (c.name ? c.name : "null");
        EXPECT_EQ(method, c.method) << (c.name ? c.name : "null");
        EXPECT_EQ(CExResizeEngine::IsSupportedMethod(c.name), c.known);
    }
}

TEST(ResizeEngine, FormatWordsComeFromSpaceLayoutAndDepth) {
    struct Case {
        const char* space;
        int32_t native, depth;
        uint32_t word;  // 0: refused
    } cases[] = {
        {"RGB", 0, 8, 0x01080333},  {"RGB", 1, 8, 0x01080333},  {"RGB", 1, 16, 0x01100333},
        {"RGB", 0, 24, 0x03080123}, {"RGB", 0, 48, 0x03100123}, {"RGB", 1, 24, 0x03082103},
        {"RGB", 1, 32, 0x04083012}, {"RGB", 1, 48, 0x03100321}, {"RGB", 1, 64, 0x04103012},
        {"YCC", 0, 24, 0x03084563}, {"ycc", 1, 48, 0x03104563}, {"rgb", 0, 24, 0x03080123},
        {"RGB", 0, 32, 0},          {"RGB", 0, 64, 0},          {"YCC", 0, 8, 0},
        {"YCC", 1, 32, 0},          {"CMYK", 0, 32, 0},         {"RGB", 0, 12, 0},
    };
    for (const Case& c : cases) {
        const CUImageInfo info = Info(10, 10, c.depth, c.native, c.space);
        EXPECT_EQ(CExResizeEngine::FormatWordFor(info), c.word)
            << c.space << " native " << c.native << " depth " << c.depth;
        CExResizeEngine engine("Bilinear");
        EXPECT_EQ(engine.BeginResize(&info, &info), c.word == 0 ? EXERR_SIZE : 0);
    }
}

TEST(ResizeEngine, TheDestinationRecordLendsOnlyItsSize) {
    // A YCC 48-bit destination for an RGB 24-bit source: both sides use the source's word.
    const CUImageInfo source = Info(8, 8, 24, 0, "RGB");
    const CUImageInfo destination = Info(16, 4, 48, 0, "YCC");
    CExResizeEngine engine("Nearest");
    ASSERT_EQ(engine.BeginResize(&source, &destination), 0);
    unsigned char line[8 * 3] = {};
    unsigned char out[16 * 6 + 8];
    std::memset(out, 0xAB, sizeof(out));
    ASSERT_EQ(engine.SetLine(line), 1);
    ASSERT_EQ(engine.GetLine(out), 0);
    EXPECT_EQ(out[16 * 3 - 1], 0);  // 16 pixels of 3 bytes written
    EXPECT_EQ(out[16 * 3], 0xAB);   // and not one byte more
}

TEST(ResizeEngine, UnknownNamesAndClonesRefuseToBegin) {
    const CUImageInfo info = Info(8, 8, 24, 0, "RGB");
    EXPECT_EQ(CExResizeEngine("Lanczos").BeginResize(&info, &info), EXERR_SIZE);
    CExResizeEngine bicubic("Bicubic");
    std::unique_ptr<CResizeEngine> clone(bicubic.Clone());
    ASSERT_NE(clone, nullptr);
    EXPECT_STREQ(clone->GetInterpolation(), "");  // not a copy of the method
    EXPECT_EQ(clone->BeginResize(&info, &info), EXERR_SIZE);
    const CUImageInfo empty = Info(0, 8, 24);
    EXPECT_EQ(bicubic.BeginResize(&info, &empty), EXERR_SIZE);
    EXPECT_EQ(bicubic.SetLine(&info), EXERR_ARGUMENT);  // nothing begun
}

}  // namespace
