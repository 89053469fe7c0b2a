// The macro over the real image-file service and codec plug-ins: PNM files decoded into
// containers and encoded back, an alpha plane carried through PNG both ways, squeezing from
// every codec, and rotation from a file into a container and into another file.
#include <gtest/gtest.h>

#include "FakePlugInSupport.h"
#include "TestSupport.h"
#include "macro/MacroTestSupport.h"

using namespace vxtest;

namespace {

class MacroFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        service = MakeService(VANDREL_PLUGIN_DIR);
        image = MemImage::Make(20, 15);
        ppm = dir.file("in.ppm");
        WriteFile(ppm, PpmOf(image));
        macro = NewMacro(service.get(), &callback);
    }

    ScratchDir dir;
    ServicePtr service;
    RecordingCallback callback;
    MacroPtr macro;
    MemImage image;
    std::string ppm;
};

TEST_F(MacroFileTest, APpmDecodesIntoAContainerAndEncodesBackByteForByte) {
    ContainerPtr dst = NewContainer();
    ContainerPtr dstAlpha = NewContainer();
    ASSERT_EQ(macro->GetImage(ppm.c_str(), dst.get(), dstAlpha.get()), 1);
    for (int32_t y = 0; y < 15; ++y)
        ASSERT_EQ(LineOf(dst.get(), y), Unpadded(image.rows[size_t(y)], image.info));
    EXPECT_EQ(dstAlpha->hasImage(), 0);  // a PPM has no alpha plane
    EXPECT_EQ(callback.TotalSteps(), 128u);
    const std::string out = dir.file("out.ppm");
    ASSERT_EQ(macro->SetImage(out.c_str(), "PPM", dst.get(), nullptr), 1);
    EXPECT_EQ(ReadFile(out), PpmOf(image));
}

TEST_F(MacroFileTest, AnAlphaPlaneTravelsThroughPngBothWays) {
    MemImage rgba = MemImage::Make(12, 7, 24, 8);
    ContainerPtr src = ContainerOf(rgba);
    ContainerPtr srcAlpha = AlphaContainerOf(rgba);
    const std::string png = dir.file("alpha.png");
    ASSERT_EQ(macro->SetImage(png.c_str(), "PNG", src.get(), srcAlpha.get()), 1);
    ContainerPtr dst = NewContainer();
    ContainerPtr dstAlpha = NewContainer();
    ASSERT_EQ(macro->GetImage(png.c_str(), dst.get(), dstAlpha.get()), 1);
    for (int32_t y = 0; y < 7; ++y) {
        EXPECT_EQ(LineOf(dst.get(), y), LineOf(src.get(), y)) << y;
        EXPECT_EQ(LineOf(dstAlpha.get(), y), LineOf(srcAlpha.get(), y)) << y;
    }
}

TEST_F(MacroFileTest, EveryCodecSqueezesToThePixelsOfItsFullDecode) {
    ContainerPtr src = ContainerOf(MemImage::Make(37, 29));
    const std::pair<const char*, const char*> codecs[] = {
        {"PNG", "png"}, {"TIFF", "tif"}, {"JPEG", "jpg"}, {"PNM", "ppm"}};
    for (const auto& [format, extension] : codecs) {
        const std::string file = dir.file(std::string("pattern.") + extension);
        ASSERT_EQ(macro->SetImage(file.c_str(), format, src.get(), nullptr), 1) << format;
        ContainerPtr full = NewContainer();
        ASSERT_EQ(macro->GetImage(file.c_str(), full.get(), nullptr), 1) << format;
        CURequest request;
        request.info.lWidth = 8;
        request.info.lHeight = 6;
        request.strResizeMethod = "squeeze";
        ContainerPtr squeezed = NewContainer();
        ASSERT_EQ(macro->GetImage(file.c_str(), request, squeezed.get(), nullptr), 1) << format;
        for (int32_t y = 0; y < 6; ++y) {
            const std::vector<unsigned char> picked = LineOf(squeezed.get(), y);
            const std::vector<unsigned char> whole = LineOf(full.get(), int32_t(y * (29.0 / 6)));
            for (int32_t x = 0; x < 8; ++x) {
                const size_t from = size_t(3 * int32_t(x * (37.0 / 8)));
                ASSERT_EQ(
                    std::vector<unsigned char>(picked.begin() + 3 * x, picked.begin() + 3 * x + 3),
                    std::vector<unsigned char>(whole.begin() + ptrdiff_t(from),
                                               whole.begin() + ptrdiff_t(from) + 3))
                    << format << " " << x << "," << y;
            }
        }
    }
}

TEST_F(MacroFileTest, AFileTurnsIntoAContainerAndIntoAnotherFile) {
    CURequest request;
    request.dAngle = 90;
    ContainerPtr dst = NewContainer();
    ASSERT_EQ(macro->GetImage(ppm.c_str(), request, dst.get(), nullptr), 1);
    CUImageInfo info;
    dst->GetImageInfo(info);
    ASSERT_EQ(info.lWidth, 15);
    ASSERT_EQ(info.lHeight, 20);
    // Output line i is source column i read from the bottom up.
    const std::vector<unsigned char> line = LineOf(dst.get(), 7);
    for (int32_t x : {0, 14})
        EXPECT_EQ(line[size_t(3 * x)], MemImage::Sample(7, 14 - x, 0));

    request.dAngle = 270;
    request.strFormatName = "PPM";
    const std::string out = dir.file("turned.ppm");
    ASSERT_EQ(macro->SetImage(ppm.c_str(), out.c_str(), request), 1);
    ContainerPtr back = NewContainer();
    ASSERT_EQ(macro->GetImage(out.c_str(), back.get(), nullptr), 1);
    back->GetImageInfo(info);
    EXPECT_EQ(info.lWidth, 15);
    EXPECT_EQ(info.lHeight, 20);
    // At 270 degrees output line 0 is the last source column, read from the top.
    EXPECT_EQ(LineOf(back.get(), 0)[0], MemImage::Sample(19, 0, 0));
}

}  // namespace
