// Rotation set-up: angle reduction, quantised sine and cosine, output size, what requests are
// refused, the object's states, the background colour and source-to-output positions.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "RotateTestSupport.h"
#include "container/ImageAccess.h"
#include "rotate/UtilRotate.h"

namespace {

using vxtest::ImageInfo;
using vxtest::RotatePtr;
using vxtest::RotateRequest;

TEST(RotateSetup, AngleReducesToHundredthsWithTheNegativeRule) {
    const struct {
        double degrees;
        int32_t hundredths;
    } cases[] = {
        {90.004, 9000},  {90.005, 9001}, {-90, 27000},  {450, 9000},        {-360, 36000},
        {-0.001, 36000}, {0, 0},         {360, 0},      {359.996, 0},       {-359.996, 36000},
        {-0.005, 35999}, {720.01, 1},    {-450, 27000}, {12345.678, 10568},
    };
    for (const auto& c : cases)
        EXPECT_EQ(CUtilRotate::ReduceAngle(c.degrees), c.hundredths) << c.degrees;
}

TEST(RotateSetup, SineAndCosineAreRoundedTo14Bits) {
    EXPECT_EQ(CUtilRotate::Quantise(std::sin(M_PI / 4)), 11585);
    EXPECT_EQ(CUtilRotate::Quantise(-std::sin(M_PI / 4)), -11585);
    EXPECT_EQ(CUtilRotate::Quantise(1.0), 16384);
    EXPECT_EQ(CUtilRotate::Quantise(0.5 / 16384), 1);  // half rounds away from zero
    EXPECT_EQ(CUtilRotate::Quantise(-0.5 / 16384), -1);
    EXPECT_EQ(CUtilRotate::Quantise(0.49 / 16384), 0);
}

TEST(RotateSetup, OutputSizeFollowsTheAngle) {
    const struct {
        int32_t w, h;
        double angle;
        int32_t outW, outH;
    } cases[] = {
        {100, 50, 90, 50, 100},  {100, 50, 45, 106, 106},  {100, 50, 0, 100, 50},
        {100, 50, 180, 100, 50}, {100, 50, 270, 50, 100},  {100, 50, 135, 106, 106},
        {1, 1, 45, 1, 1},        {100, 50, -360, 100, 50},
    };
    for (const auto& c : cases) {
        const CUImageInfo info = ImageInfo(c.w, c.h, 24);
        std::vector<uint8_t> image(size_t(info.RowBytes() * c.h));
        RotatePtr rotate(CreateUtilRotate());
        ASSERT_EQ(rotate->BeginRotating(image.data(), info, RotateRequest(c.angle)), kVxOk);
        int32_t w = 0, h = 0;
        EXPECT_EQ(rotate->GetOutputImageSize(w, h), kVxOk);
        EXPECT_EQ(w, c.outW) << c.w << "x" << c.h << " at " << c.angle;
        EXPECT_EQ(h, c.outH) << c.w << "x" << c.h << " at " << c.angle;
    }
}

// Only the description is read while beginning, so a tiny buffer stands for a huge image.
int32_t BeginWith(const CUImageInfo& info, const CURequest& request) {
    static const uint8_t pixels[8] = {};
    RotatePtr rotate(CreateUtilRotate());
    return rotate->BeginRotating(pixels, info, request);
}

TEST(RotateSetup, RefusesWhatItCannotRotate) {
    const struct {
        const char* what;
        CUImageInfo info;
        const char* method;
        int32_t status;
    } cases[] = {
        {"largest side", ImageInfo(92681, 1, 8), "Nearest", kVxOk},
        {"too wide", ImageInfo(92682, 1, 8), "Nearest", kVxErrRotateRequest},
        {"too high", ImageInfo(1, 92682, 8), "Nearest", kVxErrRotateRequest},
        {"no width", ImageInfo(0, 5, 24), "Nearest", kVxErrRotateRequest},
        {"no height", ImageInfo(5, 0, 24), "Nearest", kVxErrRotateRequest},
        {"lower case", ImageInfo(5, 5, 24), "bicubic", kVxOk},
        {"upper case", ImageInfo(5, 5, 24), "BILINEAR", kVxOk},
        {"other engine", ImageInfo(5, 5, 24), "Quorix", kVxErrRotateRequest},
        {"empty name", ImageInfo(5, 5, 24), "", kVxErrRotateRequest},
        {"prefix", ImageInfo(5, 5, 24), "Near", kVxErrRotateRequest},
        {"trailing space", ImageInfo(5, 5, 24), "Nearest ", kVxErrRotateRequest},
        {"12 bits", ImageInfo(5, 5, 12), "Nearest", kVxErrRotateRequest},
        {"40 bits", ImageInfo(5, 5, 40), "Nearest", kVxErrRotateRequest},
        {"1 bit", ImageInfo(5, 5, 1), "Nearest", kVxErrRotateRequest},
    };
    for (const auto& c : cases)
        EXPECT_EQ(BeginWith(c.info, RotateRequest(0, c.method)), c.status) << c.what;
    for (int32_t bits : {8, 16, 24, 32, 48, 64})
        EXPECT_EQ(BeginWith(ImageInfo(5, 5, bits), RotateRequest(30)), kVxOk) << bits;
    for (double angle : {std::nan(""), HUGE_VAL, 1e308})
        EXPECT_EQ(BeginWith(ImageInfo(5, 5, 24), RotateRequest(angle)), kVxErrRotateRequest);
}

TEST(RotateSetup, RefusesOutputsOver2GB) {
    // 46341 x 46341 grey is just over 2^31 bytes; a line less is just under.
    EXPECT_EQ(BeginWith(ImageInfo(46341, 46341, 8), RotateRequest(0)), kVxErrRotateTooLarge);
    EXPECT_EQ(BeginWith(ImageInfo(46344, 46336, 8), RotateRequest(0)), kVxOk);
    EXPECT_EQ(BeginWith(ImageInfo(40000, 40000, 8), RotateRequest(45)), kVxErrRotateTooLarge);

    static const uint8_t pixels[8] = {};
    RotatePtr rotate(CreateUtilRotate());
    ASSERT_EQ(rotate->BeginRotating(pixels, ImageInfo(92681, 92681, 64), RotateRequest(0)),
              kVxErrRotateTooLarge);
    int32_t w = 0, h = 0;
    EXPECT_EQ(rotate->GetOutputImageSize(w, h), kVxErrRotateState) << "not begun after refusal";
    EXPECT_EQ(rotate->BeginRotating(pixels, ImageInfo(2, 2, 8), RotateRequest(0)), kVxOk);
}

TEST(RotateSetup, StatesAndLineCalls) {
    const CUImageInfo info = ImageInfo(4, 3, 24);
    const std::vector<uint8_t> image = vxtest::HashImage(info);
    RotatePtr rotate(CreateUtilRotate());
    int32_t x = 0, y = 0;
    EXPECT_EQ(rotate->GetOutputImageSize(x, y), kVxErrRotateState);
    EXPECT_EQ(rotate->GetPosition(x, y), kVxErrRotateState);
    EXPECT_EQ(rotate->GetLine(), nullptr);
    EXPECT_EQ(rotate->BeginRotating(nullptr, info, RotateRequest(10)), kVxErrRotateState);
    EXPECT_EQ(
        rotate->BeginRotating(static_cast<const IUtilContainerIF*>(nullptr), RotateRequest(10)),
        kVxErrRotateState);

    ASSERT_EQ(rotate->BeginRotating(image.data(), info, RotateRequest(90)), kVxOk);
    EXPECT_EQ(rotate->BeginRotating(image.data(), info, RotateRequest(90)), kVxErrRotateState);
    EXPECT_EQ(rotate->GetLine(nullptr), kVxErrRotateRequest);
    for (int i = 0; i < 4; ++i)
        EXPECT_NE(rotate->GetLine(), nullptr) << i;
    std::vector<uint8_t> line(64);
    EXPECT_EQ(rotate->GetLine(line.data()), kVxErrRotateNoLine);
    EXPECT_EQ(rotate->GetLine(), nullptr);

    EXPECT_EQ(rotate->EndRotating(), kVxOk);
    EXPECT_EQ(rotate->GetOutputImageSize(x, y), kVxErrRotateState);
    ASSERT_EQ(rotate->BeginRotating(image.data(), info, RotateRequest(180)), kVxOk);
    EXPECT_EQ(rotate->GetOutputImageSize(x, y), kVxOk);
    EXPECT_EQ(x, 4);
    EXPECT_EQ(y, 3);
}

// A 4 x 4 image at 45 degrees leaves the output's top-left pixel uncovered.
TEST(RotateSetup, BackgroundTakesTheSourceColourSpace) {
    const int32_t color = 0x302010;  // R 0x10, G 0x20, B 0x30
    const struct {
        const char* what;
        CUImageInfo info;
        std::vector<int32_t> samples;
    } cases[] = {
        {"RGB logical", ImageInfo(4, 4, 24), {0x10, 0x20, 0x30}},
        {"RGB logical 32", ImageInfo(4, 4, 32), {0x10, 0x20, 0x30, 29}},
        {"RGB native", ImageInfo(4, 4, 32, "rgb", 1), {0, 0x10, 0x20, 0x30}},
        {"native flag 2 is logical", ImageInfo(4, 4, 32, "RGB", 2), {0x10, 0x20, 0x30, 29}},
        {"YCC", ImageInfo(4, 4, 24, "YCC"), {29, 138, 118}},
        {"YCC 32", ImageInfo(4, 4, 32, "YCC", 1), {29, 138, 118, 29}},
        {"RGB 16 bits", ImageInfo(4, 4, 48), {0x1000, 0x2000, 0x3000}},
        {"grey is black", ImageInfo(4, 4, 8), {0}},
        {"grey 16 is black", ImageInfo(4, 4, 16), {0}},
    };
    for (const auto& c : cases) {
        const std::vector<uint8_t> image = vxtest::HashImage(c.info);
        for (const char* method : {"Nearest", "Bilinear", "Bicubic"}) {
            const vxtest::Rotated out =
                vxtest::RotateMemory(c.info, image, RotateRequest(45, method, color));
            ASSERT_EQ(out.status, kVxOk) << c.what;
            const int32_t bytes = c.info.lColorDepth >= 48 || c.info.lColorDepth == 16 ? 2 : 1;
            for (size_t k = 0; k < c.samples.size(); ++k) {
                const int32_t v =
                    bytes == 2 ? out.pixels[2 * k] | out.pixels[2 * k + 1] << 8 : out.pixels[k];
                EXPECT_EQ(v, c.samples[k]) << c.what << " " << method << " sample " << k;
            }
        }
    }
    // White asked for, black given: grey images ignore the colour.
    const CUImageInfo grey = ImageInfo(4, 4, 8);
    const vxtest::Rotated out =
        vxtest::RotateMemory(grey, vxtest::HashImage(grey), RotateRequest(45, "Nearest", 0xFFFFFF));
    EXPECT_EQ(out.pixels[0], 0);
}

// A source corner maps to the output pixel that carries it: exactly at right angles, and for
// other angles to a pixel whose back-mapped source position is within a pixel of the corner.
TEST(RotateSetup, PositionOfASourceCornerIsWhereItLands) {
    const CUImageInfo info = ImageInfo(9, 6, 24);
    const std::vector<uint8_t> image = vxtest::HashImage(info);
    for (double angle : {0.0, 90.0, 180.0, 270.0, 10.0, 45.0, 100.0, 200.5, 300.0, 359.99}) {
        const vxtest::Rotated out = vxtest::RotateMemory(info, image, RotateRequest(angle));
        ASSERT_EQ(out.status, kVxOk);
        const vxtest::OracleFrame frame(angle, info.lWidth, info.lHeight);
        RotatePtr rotate(CreateUtilRotate());
        ASSERT_EQ(rotate->BeginRotating(image.data(), info, RotateRequest(angle)), kVxOk);
        const int32_t corners[4][2] = {{0, 0}, {8, 0}, {0, 5}, {8, 5}};
        for (const auto& corner : corners) {
            int32_t x = corner[0], y = corner[1];
            ASSERT_EQ(rotate->GetPosition(x, y), kVxOk);
            const int32_t ox = frame.originX + x, oy = frame.originY + y;
            const int32_t sx = (ox * frame.c + oy * frame.s + 8192) >> 14;
            const int32_t sy = (oy * frame.c - ox * frame.s + 8192) >> 14;
            EXPECT_LE(std::abs(sx - corner[0]), 1) << angle;
            EXPECT_LE(std::abs(sy - corner[1]), 1) << angle;
            if (std::fmod(angle, 90.0) != 0) continue;
            ASSERT_TRUE(x >= 0 && x < out.width && y >= 0 && y < out.height) << angle;
            EXPECT_EQ(0,
                      std::memcmp(&out.pixels[size_t(y * out.width + x) * 3],
                                  &image[size_t(corner[1] * info.RowBytes() + corner[0] * 3)], 3))
                << angle << " corner " << corner[0] << "," << corner[1];
        }
    }
}

}  // namespace
