// Pipelines through the rotators: container rotation, decode-and-rotate, rotation before
// resizing, rotating while encoding and the file-to-file chains with rotation.
#include <gtest/gtest.h>

#include "macro/MacroTestSupport.h"

using namespace vxtest;

namespace {

// Pixel (x, y) of the 90-degree rotation of an image h lines high is source pixel
// (y, h - 1 - x): output line i is source column i read from the bottom up.
void ExpectQuarterTurn(const IUtilContainerIF* dst, const MemImage& src, int32_t bytes) {
    CUImageInfo info;
    dst->GetImageInfo(info);
    ASSERT_EQ(info.lWidth, src.info.lHeight);
    ASSERT_EQ(info.lHeight, src.info.lWidth);
    for (int32_t y = 0; y < info.lHeight; ++y) {
        const std::vector<unsigned char> line = LineOf(dst, y);
        for (int32_t x = 0; x < info.lWidth; ++x) {
            const auto& row = src.rows[size_t(src.info.lHeight - 1 - x)];
            for (int32_t b = 0; b < bytes; ++b)
                ASSERT_EQ(line[size_t(x * bytes + b)], row[size_t(y * bytes + b)]) << x << "," << y;
        }
    }
}

CURequest Turn(double angle, int32_t w = 0, int32_t h = 0) {
    CURequest r;
    r.dAngle = angle;
    r.info.lWidth = w;
    r.info.lHeight = h;
    return r;
}

class MacroRotateTest : public ::testing::Test {
protected:
    void SetUp() override {
        service.files["src.img"] = MemImage::Make(5, 3, 24, 8);
        macro = NewMacro(&service, &callback);
    }
    const MemImage& Source() { return service.files["src.img"]; }
    ScriptedService service;
    RecordingCallback callback;
    MacroPtr macro;
};

TEST_F(MacroRotateTest, ContainersAndDecodesTurnWithTheirAlphaPlane) {
    ContainerPtr src = ContainerOf(Source());
    ContainerPtr srcAlpha = AlphaContainerOf(Source());
    ContainerPtr dst = NewContainer();
    ContainerPtr dstAlpha = NewContainer();
    ASSERT_EQ(macro->GetImage(Turn(90), src.get(), srcAlpha.get(), dst.get(), dstAlpha.get()), 1);
    ExpectQuarterTurn(dst.get(), Source(), 3);
    ExpectQuarterTurn(dstAlpha.get(), Source().Alpha(), 1);
    EXPECT_EQ(callback.Stages(),
              (std::vector<std::string>{"Start 128", "Begin 3", "End", "Finish"}));
    EXPECT_EQ(callback.TotalSteps(), 128u);

    callback.calls.clear();
    dst = NewContainer();
    dstAlpha = NewContainer();
    ASSERT_EQ(macro->GetImage("src.img", Turn(90), dst.get(), dstAlpha.get()), 1);
    ExpectQuarterTurn(dst.get(), Source(), 3);
    ExpectQuarterTurn(dstAlpha.get(), Source().Alpha(), 1);
    EXPECT_EQ(callback.Stages(), (std::vector<std::string>{"Start 256", "Begin 0", "End", "Begin 3",
                                                           "End", "Finish"}));
    EXPECT_EQ(callback.TotalSteps(), 256u);
}

TEST_F(MacroRotateTest, RotationComesBeforeResizing) {
    ContainerPtr src = ContainerOf(Source());
    ContainerPtr dst = NewContainer();
    // A quarter turn of 5 x 3 is 3 x 5; the resize then makes it 200 x 100.
    ASSERT_EQ(macro->GetImage(Turn(90, 200, 100), src.get(), nullptr, dst.get(), nullptr), 1);
    CUImageInfo info;
    dst->GetImageInfo(info);
    EXPECT_EQ(info.lWidth, 200);
    EXPECT_EQ(info.lHeight, 100);
    // Nearest neighbour from 3 x 5: the top-left output pixel is the rotated image's first.
    EXPECT_EQ(LineOf(dst.get(), 0)[0], Source().rows[2][0]);
    EXPECT_EQ(callback.Stages(), (std::vector<std::string>{"Start 256", "Begin 3", "End", "Begin 2",
                                                           "End", "Finish"}));

    // The same from the file: decode, then rotate, then resize.
    callback.calls.clear();
    ContainerPtr fromFile = NewContainer();
    ASSERT_EQ(macro->GetImage("src.img", Turn(90, 200, 100), fromFile.get(), nullptr), 1);
    for (int32_t y : {0, 57, 99})
        EXPECT_EQ(LineOf(fromFile.get(), y), LineOf(dst.get(), y));
    EXPECT_EQ(callback.calls.front(), "Start 384");
}

TEST_F(MacroRotateTest, RotatingWhileEncodingWritesTheTurnedAndResizedSize) {
    ContainerPtr src = ContainerOf(Source());
    ContainerPtr srcAlpha = AlphaContainerOf(Source());
    CURequest request = Turn(270);
    request.strFormatName = "FAKE";
    ASSERT_EQ(macro->SetImage("out.img", request, src.get(), srcAlpha.get()), 1);
    const MemImage& out = service.files["out.img"];
    EXPECT_EQ(service.log.writeRequest.info.lWidth, 3);
    EXPECT_EQ(service.log.writeRequest.info.lHeight, 5);
    ASSERT_EQ(out.rows.size(), 5u);
    ASSERT_EQ(out.alphaRows.size(), 5u);
    // 270 degrees: output line i is source column w - 1 - i read from the top.
    EXPECT_EQ(out.rows[0][0], Source().rows[0][3 * 4]);
    EXPECT_EQ(out.rows[0][3 * 2], Source().rows[2][3 * 4]);
    EXPECT_EQ(out.alphaRows[4][1], Source().alphaRows[1][0]);
    // 5 lines of 2 * (0x20000 / 5): 255 whole steps.
    EXPECT_EQ(callback.TotalSteps(), 255u);

    // Rotating and then resizing while encoding.
    callback.calls.clear();
    request = Turn(90, 9, 15);
    request.strFormatName = "FAKE";
    ASSERT_EQ(macro->SetImage("out.img", request, src.get(), nullptr), 1);
    EXPECT_EQ(service.files["out.img"].info.lWidth, 9);
    EXPECT_EQ(service.files["out.img"].rows.size(), 15u);
    EXPECT_EQ(callback.Stages(), (std::vector<std::string>{"Start 384", "Begin 3", "End", "Begin 1",
                                                           "End", "Finish"}));
}

TEST_F(MacroRotateTest, FileToFileChainsWithRotation) {
    struct Case {
        const char* what;
        CURequest request;
        int32_t width, height;
        std::vector<std::string> stages;
    };
    const Case cases[] = {
        {"rotate and resize",
         Turn(90, 6, 10),
         6,
         10,
         {"Start 512", "Begin 0", "End", "Begin 3", "End", "Begin 1", "End", "Finish"}},
        {"rotate", Turn(180), 5, 3, {"Start 384", "Begin 0", "End", "Begin 1", "End", "Finish"}},
    };
    for (const Case& c : cases) {
        callback.calls.clear();
        CURequest request = c.request;
        request.strFormatName = "FAKE";
        ASSERT_EQ(macro->SetImage("src.img", "out.img", request), 1) << c.what;
        const MemImage& out = service.files["out.img"];
        EXPECT_EQ(out.info.lWidth, c.width) << c.what;
        EXPECT_EQ(int32_t(out.rows.size()), c.height) << c.what;
        EXPECT_EQ(callback.Stages(), c.stages) << c.what;
    }
    // The last case was a half turn: the last source pixel comes first.
    EXPECT_EQ(service.files["out.img"].rows[0][0], Source().rows[2][3 * 4]);
}

// A decode that met recoverable damage lets its chain go on; the warning is the chain's answer
// and the destination is filled.
TEST_F(MacroRotateTest, ADecodeWarningGoesOnThroughTheChainAndIsItsAnswer) {
    service.beginReadResult = kVxWarnCodecData;
    for (const CURequest& turn : {Turn(90), Turn(90, 6, 10)}) {
        ContainerPtr dst = NewContainer();
        EXPECT_EQ(macro->GetImage("src.img", turn, dst.get(), nullptr), kVxWarnCodecData);
        EXPECT_EQ(dst->hasImage(), 1);
    }
    CURequest request = Turn(180);
    request.strFormatName = "FAKE";
    service.files.erase("out.img");
    EXPECT_EQ(macro->SetImage("src.img", "out.img", request), kVxWarnCodecData);
    EXPECT_EQ(service.files["out.img"].rows.size(), 3u);
}

TEST_F(MacroRotateTest, AnUnknownMethodIsRefusedByTheRotator) {
    ContainerPtr src = ContainerOf(Source());
    ContainerPtr dst = NewContainer();
    CURequest request = Turn(45);
    request.strResizeMethod = "Squeeze";
    EXPECT_EQ(macro->GetImage(request, src.get(), nullptr, dst.get(), nullptr),
              kVxErrRotateRequest);
    EXPECT_EQ(dst->hasImage(), 0);
    // The rotators were ended: a good request runs next.
    request.strResizeMethod = "Bilinear";
    EXPECT_EQ(macro->GetImage(request, src.get(), nullptr, dst.get(), nullptr), 1);
}

}  // namespace
