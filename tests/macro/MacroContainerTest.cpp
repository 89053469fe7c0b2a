// Container operations: depth and colour-space conversion, the layout conversions and alpha
// blending, through the public entry points where they have one.
#include <gtest/gtest.h>

#include "macro/MacroTestSupport.h"

using namespace vxtest;

namespace {

class MacroContainerTest : public ::testing::Test {
protected:
    void SetUp() override { macro = NewMacro(&service, &callback); }
    ScriptedService service;
    RecordingCallback callback;
    MacroPtr macro;
};

ContainerPtr Filled(int32_t w, int32_t h, int32_t depth, unsigned char value,
                    const char* space = "RGB") {
    CUImageInfo info;
    info.lWidth = w;
    info.lHeight = h;
    info.lColorDepth = depth;
    info.strColorSpace = space;
    ContainerPtr c = NewContainer();
    c->Create(info, 1000, 128);
    std::vector<unsigned char> line(size_t(VxPaddedRowBytes(w, depth)), value);
    for (int32_t y = 0; y < h; ++y)
        c->SetLine(line.data(), y, 0, -1);
    return c;
}

TEST_F(MacroContainerTest, AlphaIsTheWeightOfTheExistingDestination) {
    struct Case {
        unsigned char alpha;
        unsigned char expected;  // src 200 into dst 100
    };
    const Case cases[] = {{0, 200},
                          {255, 100},
                          {128, (100 * 128 + 200 * 128) >> 8},
                          {254, (100 * 254 + 200 * 2) >> 8},
                          {1, (100 * 1 + 200 * 255) >> 8}};
    for (const Case& c : cases) {
        ContainerPtr src = Filled(3, 2, 24, 200);
        ContainerPtr dst = Filled(3, 2, 24, 100);
        ContainerPtr alpha = Filled(3, 2, 8, c.alpha);
        EXPECT_EQ(macro->AlphaBlend(src.get(), dst.get(), alpha.get()), 1);
        EXPECT_EQ(LineOf(dst.get(), 1), std::vector<unsigned char>(9, c.expected)) << int(c.alpha);
    }
}

TEST_F(MacroContainerTest, AMissingLineStopsTheBlendWithoutACodeOfItsOwn) {
    ContainerPtr src = Filled(3, 2, 24, 200);
    ContainerPtr dst = Filled(3, 4, 24, 100);
    ContainerPtr alpha = Filled(3, 4, 8, 0);
    EXPECT_EQ(macro->AlphaBlend(src.get(), dst.get(), alpha.get()), 1);  // src ends first
    EXPECT_EQ(LineOf(dst.get(), 1), std::vector<unsigned char>(9, 200));
    EXPECT_EQ(LineOf(dst.get(), 2), std::vector<unsigned char>(9, 100));
    ContainerPtr shortAlpha = Filled(3, 1, 8, 0);
    EXPECT_EQ(macro->AlphaBlend(dst.get(), dst.get(), shortAlpha.get()), 0);
}

TEST_F(MacroContainerTest, ConversionLinesFollowTheKindTable) {
    CUImageInfo grey;
    grey.lWidth = 2;
    grey.lColorDepth = 16;
    const unsigned short in[2] = {0x1234, 0xabcd};
    unsigned short out[2] = {};
    // Colour changes copy one-channel lines byte for byte.
    EXPECT_EQ(macro->DepthAndSpaceConvertLine(0x20, grey, 0, in, out), 1);
    EXPECT_EQ(out[0], 0x1234);
    EXPECT_EQ(out[1], 0xabcd);
    // Both depth bits together are no conversion.
    EXPECT_EQ(macro->DepthAndSpaceConvertLine(0x0c, grey, 0, in, out), kVxErrMacroUnsupported);
    EXPECT_EQ(macro->DepthAndSpaceConvertLine(0x04, grey, 0, nullptr, out), kVxErrMacroUnsupported);

    CUImageInfo rgb;
    rgb.lWidth = 2;
    rgb.lColorDepth = 24;
    const unsigned char pixels[6] = {10, 20, 30, 255, 0, 128};
    unsigned short wide[6] = {};
    EXPECT_EQ(macro->DepthAndSpaceConvertLine(0x04, rgb, 0, pixels, wide), 1);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(wide[i], pixels[i] << 8);
    unsigned char narrow[6] = {};
    CUImageInfo rgb48 = rgb;
    rgb48.lColorDepth = 48;
    EXPECT_EQ(macro->DepthAndSpaceConvertLine(0x08, rgb48, 1, wide, narrow), 1);
    unsigned char expected[6] = {};
    CPixelConvert::Convert16To8(wide, expected, 2, 3, 1);
    EXPECT_EQ(std::vector<unsigned char>(narrow, narrow + 6),
              std::vector<unsigned char>(expected, expected + 6));
}

TEST_F(MacroContainerTest, ADeeperRequestConvertsTheContainerAndItsAlphaPlane) {
    MemImage image = MemImage::Make(4, 3, 24, 8);
    ContainerPtr src = ContainerOf(image);
    ContainerPtr srcAlpha = AlphaContainerOf(image);
    ContainerPtr dst = NewContainer();
    ContainerPtr dstAlpha = NewContainer();
    CURequest request;
    request.info.lColorDepth = 48;
    request.info.strColorSpace = "YCC";
    ASSERT_EQ(macro->GetImage(request, src.get(), srcAlpha.get(), dst.get(), dstAlpha.get()), 1);
    CUImageInfo info;
    dst->GetImageInfo(info);
    EXPECT_EQ(info.lColorDepth, 48);
    EXPECT_TRUE(info.IsColorSpace("YCC"));
    std::vector<unsigned short> expected(12);
    CPixelConvert::ConvertRgb8ToYcc16(image.rows[2].data(), expected.data(), 4);
    const auto* line = static_cast<const unsigned short*>(dst->GetLine(2, 0, -1));
    EXPECT_EQ(std::vector<unsigned short>(line, line + 12), expected);
    dstAlpha->GetImageInfo(info);
    EXPECT_EQ(info.lColorDepth, 16);
    const auto* alpha = static_cast<const unsigned short*>(dstAlpha->GetLine(1, 0, -1));
    EXPECT_EQ(alpha[2], (unsigned short)(image.alphaRows[1][2] << 8));
    // A conversion is reported as a resize stage.
    const std::vector<std::string> stages = {"Start 128", "Begin 2", "End", "Finish"};
    EXPECT_EQ(callback.Stages(), stages);
    EXPECT_EQ(callback.TotalSteps(), 128u);
}

TEST_F(MacroContainerTest, LayoutConversionsRoundTripAndRefuseTheLayoutTheyHave) {
    MemImage image = MemImage::Make(5, 2, 24, 8);
    ContainerPtr src = ContainerOf(image);
    ContainerPtr srcAlpha = AlphaContainerOf(image);
    ContainerPtr native = NewContainer();
    ContainerPtr nativeAlpha = NewContainer();
    ASSERT_EQ(
        macro->ConvertLogicalToNative(src.get(), srcAlpha.get(), native.get(), nativeAlpha.get()),
        1);
    CUImageInfo info;
    native->GetImageInfo(info);
    EXPECT_EQ(info.lColorDepth, 32);
    EXPECT_EQ(info.bNative, 1);
    const auto* pixel = static_cast<const unsigned char*>(native->GetPixel(3, 1));
    EXPECT_EQ(pixel[1], MemImage::Sample(3, 1, 0));  // 0, R, G, B
    EXPECT_EQ(pixel[3], MemImage::Sample(3, 1, 2));
    EXPECT_EQ(LineOf(nativeAlpha.get(), 1), LineOf(srcAlpha.get(), 1));

    ContainerPtr back = NewContainer();
    ContainerPtr backAlpha = NewContainer();
    ASSERT_EQ(
        macro->ConvertNativeToLogical(native.get(), nativeAlpha.get(), back.get(), backAlpha.get()),
        1);
    for (int32_t y = 0; y < 2; ++y)
        EXPECT_EQ(LineOf(back.get(), y), LineOf(src.get(), y));
    EXPECT_EQ(LineOf(backAlpha.get(), 0), LineOf(srcAlpha.get(), 0));

    ContainerPtr refused = NewContainer();
    EXPECT_EQ(macro->ConvertNativeToLogical(src.get(), nullptr, refused.get(), nullptr),
              kVxErrMacroSameLayout);
    EXPECT_EQ(macro->ConvertLogicalToNative(native.get(), nullptr, refused.get(), nullptr),
              kVxErrMacroSameLayout);
    EXPECT_EQ(macro->ConvertLogicalToNative(nullptr, nullptr, refused.get(), nullptr),
              kVxErrMacroUnsupported);
    EXPECT_TRUE(callback.calls.empty());  // no progress for layout conversions
}

}  // namespace
