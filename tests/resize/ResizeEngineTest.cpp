#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "resize/ExResizeEngine.h"

namespace {

CUImageInfo Info(int32_t w, int32_t h, int32_t depth, int32_t native, const char* space) {
    CUImageInfo info;
    info.lWidth = w;
    info.lHeight = h;
    info.lColorDepth = depth;
    info.bNative = native;
    info.strColorSpace = space;
    return info;
}

TEST(ResizeEngine, MethodNamesMatchWholeAndWithoutRegardToCase) {
    struct Case {
        const char* name;
        int32_t known;
        EXRESIZE_METHOD method;
    } cases[] = {
        {"Nearest", 1, 0},  {"NEAREST", 1, 0}, {"Bilinear", 1, 1}, {"bicubic", 1, 5},
        {"BICUBIC", 1, 5},  {"Quorix", 1, 6},  {"qUORIX", 1, 6},   {"Bicubic ", 0, -7},
        {"Lanczos", 0, -7}, {"Bicubi", 0, -7}, {"", 0, -7},        {nullptr, 0, -7},
    };
    for (const Case& c : cases) {
        EXRESIZE_METHOD method = -7;
        EXPECT_EQ(CExResizeEngine::GetResizeMethod(c.name, method), c.known)
            << (c.name ? c.name : "null");
        EXPECT_EQ(method, c.method) << (c.name ? c.name : "null");
        EXPECT_EQ(CExResizeEngine::IsSupportedMethod(c.name), c.known);
    }
    EXPECT_EQ(CExResizeEngine::StrComp("", ""), 1);
    EXPECT_EQ(CExResizeEngine::StrComp("rgb", "RGB"), 1);
    EXPECT_EQ(CExResizeEngine::StrComp("RGB", "RGBA"), 0);
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
    EXPECT_EQ(engine.LastPushResult(), 1);
    ASSERT_EQ(engine.GetLine(out), 0);
    EXPECT_EQ(out[16 * 3 - 1], 0);  // 16 pixels of 3 bytes written
    EXPECT_EQ(out[16 * 3], 0xAB);   // and not one byte more
    EXPECT_EQ(engine.EndResize(), 0);
    EXPECT_EQ(engine.EndResize(), 0);  // nothing left to end
}

TEST(ResizeEngine, UnknownNamesAndClonesRefuseToBegin) {
    const CUImageInfo info = Info(8, 8, 24, 0, "RGB");
    CExResizeEngine unknown("Lanczos");
    EXPECT_STREQ(unknown.GetInterpolation(), "Lanczos");
    EXPECT_EQ(unknown.BeginResize(&info, &info), EXERR_SIZE);
    CExResizeEngine bicubic("Bicubic");
    std::unique_ptr<CResizeEngine> clone(bicubic.Clone());
    ASSERT_NE(clone, nullptr);
    EXPECT_STREQ(clone->GetInterpolation(), "");  // not a copy of the method
    EXPECT_EQ(clone->BeginResize(&info, &info), EXERR_SIZE);
    const CUImageInfo empty = Info(0, 8, 24, 0, "RGB");
    EXPECT_EQ(bicubic.BeginResize(&info, &empty), EXERR_SIZE);
    EXPECT_EQ(bicubic.SetLine(&info), EXERR_ARGUMENT);  // nothing begun
}

}  // namespace
