// The vector kernels against the plain ones, whole images through the resize handle: every
// destination width from 1 to 300 (so every tail length after the vector blocks), enlarging,
// mildly and strongly reducing, all channel counts and both depths, on samples that sit at 0
// and the top of the range often enough to make bicubic overshoot clamp.
#include <gtest/gtest.h>

#include "ResampleOracle.h"
#include "ResizeDriver.h"
#include "resample/ResampleKernels.h"

namespace {

// Noise with a third of the samples at 0 or at the top of the range.
oracle::Image Harsh(int32_t w, int32_t h, int32_t ch, int bits, uint32_t seed) {
    oracle::Image img = driver::Noise(w, h, ch, bits, seed);
    const uint32_t top = bits == 8 ? 0xffu : 0xffffu;
    for (size_t i = 0; i < img.samples.size(); ++i) {
        const uint32_t pick = (img.samples[i] * 7 + uint32_t(i)) % 6;
        if (pick == 0) img.samples[i] = 0;
        if (pick == 1) img.samples[i] = top;
    }
    return img;
}

driver::Run ResizeWith(bool vector, const oracle::Image& src, int bits, int32_t dw, int32_t dh,
                       int method) {
    const bool previous = vxresample::EnableVectorKernels(vector);
    driver::Run run = driver::Resize(src, bits, dw, dh, method);
    vxresample::EnableVectorKernels(previous);
    return run;
}

void ExpectSameBytes(const oracle::Image& src, int bits, int32_t dw, int32_t dh, int method) {
    SCOPED_TRACE(::testing::Message()
                 << "method " << method << ", " << bits << " bit, " << src.channels << " ch, "
                 << src.width << "x" << src.height << " -> " << dw << "x" << dh);
    const driver::Run plain = ResizeWith(false, src, bits, dw, dh, method);
    const driver::Run vector = ResizeWith(true, src, bits, dw, dh, method);
    ASSERT_EQ(plain.linesOut, dh);
    EXPECT_EQ(vector.pushes, plain.pushes);
    EXPECT_EQ(vector.image.samples, plain.image.samples);
}

class VectorKernels : public ::testing::Test {
protected:
    void SetUp() override {
        if (!vxresample::VectorKernelsAvailable()) GTEST_SKIP() << "no AVX2 on this processor";
    }
};

TEST_F(VectorKernels, EveryWidthMethodDepthAndChannelCountGivesThePlainBytes) {
    for (int32_t dw = 1; dw <= 300; ++dw)
        for (int method = 0; method <= 7; ++method)
            for (int bits : {8, 16}) {
                const int32_t ch = 1 + (dw + method + bits / 8) % 4;
                // Enlarging (across first), reducing to a half or less (direct), in between,
                // and strongly enough that the taps of neighbouring samples lie far apart.
                for (int32_t sw : {dw * 2 / 3 + 1, dw * 3 / 2 + 1, dw * 3 + 2, dw * 7 + 3}) {
                    const int32_t sh = 3 + (dw + sw) % 7;
                    const int32_t dh = 4 + (dw * 5 + method) % 9;
                    ExpectSameBytes(Harsh(sw, sh, ch, bits, uint32_t(dw * 8 + method)), bits, dw,
                                    dh, method);
                }
            }
}

// Large enough on every side for the box pre-reducer, with factors 2 to 16 across and down,
// widths that leave columns over and every channel count.
TEST_F(VectorKernels, PreReducedBicubicGivesThePlainBytes) {
    struct Geometry {
        int32_t sw, sh, dw, dh;
    } const sizes[] = {{130, 70, 61, 61},   {259, 133, 63, 61}, {520, 64, 61, 62},
                       {1100, 200, 65, 61}, {75, 1030, 61, 63}, {333, 257, 101, 77}};
    for (const Geometry& g : sizes)
        for (int method = 5; method <= 7; ++method)
            for (int bits : {8, 16})
                for (int32_t ch = 1; ch <= 4; ++ch)
                    ExpectSameBytes(Harsh(g.sw, g.sh, ch, bits, uint32_t(g.sw + ch)), bits, g.dw,
                                    g.dh, method);
}

}  // namespace
