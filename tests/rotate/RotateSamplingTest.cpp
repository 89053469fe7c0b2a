// Rotation sampling: the right-angle paths, the general kernels at their edges, and the fast
// paths (memory read in place, containers read in tiles and bands) against the oracle.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "RotateTestSupport.h"
#include "container/ContainerAccess.h"
#include "container/ImageAccess.h"
#include "rotate/BicubicWeights.h"
#include "rotate/RotateSampler.h"

namespace {

using vxtest::ImageInfo;
using vxtest::Rotated;
using vxtest::RotateRequest;

std::vector<uint8_t> Bytes(std::initializer_list<int> values) {
    return std::vector<uint8_t>(values.begin(), values.end());
}

TEST(RotateSampling, RightAnglesMapIndicesExactly) {
    // Pixels numbered 1..6 row by row in a 3 x 2 grey image (rows padded to 4 bytes).
    const CUImageInfo info = ImageInfo(3, 2, 8);
    const std::vector<uint8_t> image = Bytes({1, 2, 3, 0, 4, 5, 6, 0});
    const struct {
        double angle;
        int32_t width, height;
        std::vector<uint8_t> pixels;
    } cases[] = {
        {90, 2, 3, Bytes({4, 1, 5, 2, 6, 3})},  {180, 3, 2, Bytes({6, 5, 4, 3, 2, 1})},
        {270, 2, 3, Bytes({3, 6, 2, 5, 1, 4})}, {-90, 2, 3, Bytes({3, 6, 2, 5, 1, 4})},
        {0, 3, 2, Bytes({1, 2, 3, 4, 5, 6})},
    };
    const vxtest::ContainerPtr container = vxtest::ContainerOf(info, image);
    ASSERT_TRUE(container);
    for (const auto& c : cases) {
        // The method is never looked at on the right-angle paths.
        for (const char* method : {"Nearest", "Bicubic"}) {
            const Rotated memory =
                vxtest::RotateMemory(info, image, RotateRequest(c.angle, method));
            const Rotated paged =
                vxtest::RotateContainer(*container, RotateRequest(c.angle, method));
            for (const Rotated* out : {&memory, &paged}) {
                ASSERT_EQ(out->status, kVxOk) << c.angle;
                EXPECT_EQ(out->width, c.width) << c.angle;
                EXPECT_EQ(out->height, c.height) << c.angle;
                EXPECT_EQ(out->pixels, c.pixels) << c.angle << " " << method;
            }
        }
    }
}

// Repacks rotated pixels as a padded image, to rotate again.
std::vector<uint8_t> Padded(const Rotated& r, int32_t bits) {
    const CUImageInfo info = ImageInfo(r.width, r.height, bits);
    const size_t lineBytes = size_t(r.width) * size_t(bits >> 3);
    std::vector<uint8_t> image(size_t(info.RowBytes()) * size_t(r.height));
    for (int32_t y = 0; y < r.height; ++y)
        std::memcpy(&image[size_t(y) * info.RowBytes()], &r.pixels[y * lineBytes], lineBytes);
    return image;
}

TEST(RotateSampling, FourQuarterTurnsAndZeroDegreesGiveTheInputBack) {
    for (int32_t bits : {8, 16, 24, 32, 48, 64}) {
        const CUImageInfo info = ImageInfo(7, 5, bits);
        const std::vector<uint8_t> image = vxtest::HashImage(info, uint32_t(bits));
        std::vector<uint8_t> current = image;
        CUImageInfo currentInfo = info;
        for (int turn = 0; turn < 4; ++turn) {
            const Rotated out = vxtest::RotateMemory(currentInfo, current, RotateRequest(90));
            ASSERT_EQ(out.status, kVxOk);
            current = Padded(out, bits);
            currentInfo = ImageInfo(out.width, out.height, bits);
        }
        EXPECT_EQ(currentInfo.lWidth, 7);
        EXPECT_EQ(current, image) << bits << " bits, four turns";

        // 0 and -360 go through the general nearest kernel, whose mapping is then the identity.
        for (double angle : {0.0, -360.0}) {
            const Rotated same = vxtest::RotateMemory(info, image, RotateRequest(angle));
            ASSERT_EQ(same.status, kVxOk);
            EXPECT_EQ(Padded(same, bits), image) << bits << " bits at " << angle;
        }
    }
}

// The sampler on a frame built by hand, to put a sample exactly where an edge case lies.
struct HandFrame {
    RotateFrame frame;
    std::vector<uint8_t> image;
    CUImageInfo info;

    HandFrame(const CUImageInfo& imageInfo, std::vector<uint8_t> pixels, int32_t c, int32_t s,
              std::initializer_list<uint16_t> background)
        : image(std::move(pixels)), info(imageInfo) {
        frame.cosine = c;
        frame.sine = s;
        frame.width = info.lWidth;
        frame.height = info.lHeight;
        const bool wide = info.lColorDepth == 16 || info.lColorDepth >= 48;
        frame.bitsPerSample = wide ? 16 : 8;
        frame.maxValue = wide ? 65535 : 255;
        frame.samples = info.lColorDepth / frame.bitsPerSample;
        std::copy(background.begin(), background.end(), frame.background);
    }

    // Output pixel (originX, originY) sampled from a window over the whole image, and again
    // with no window (every tap through the adapter); both must agree.
    std::vector<uint8_t> Sample(RotateMethod method, int32_t originX, int32_t originY) {
        frame.originX = originX;
        frame.originY = originY;
        CImageAccess access(image.data(), info);
        CRotateSampler sampler(frame, access, RotateBicubicWeights());
        SourceWindow whole;
        whole.pixels = image.data();
        whole.stride = info.RowBytes();
        whole.right = info.lWidth - 1;
        whole.bottom = info.lHeight - 1;
        const size_t pixelBytes = size_t(info.lColorDepth >> 3);
        std::vector<uint8_t> fast(pixelBytes), slow(pixelBytes);
        sampler.SampleRun(method, whole, 0, 0, 1, fast.data());
        sampler.SampleRun(method, SourceWindow(), 0, 0, 1, slow.data());
        EXPECT_EQ(fast, slow);
        return fast;
    }
};

TEST(RotateSampling, BilinearBlendsTheBackgroundOneColumnOutside) {
    // Column 0 is (210, 220, 230); the background (10, 20, 30). With cosine 1 and sine 1/2 the
    // pixel at (-1, 1) maps to x = -0.5, y = 1.5 and (-2, 1) to x = -1.5.
    const CUImageInfo info = ImageInfo(2, 4, 24);
    std::vector<uint8_t> image(size_t(info.RowBytes()) * 4);
    for (int32_t y = 0; y < 4; ++y) {
        uint8_t* row = &image[size_t(y) * info.RowBytes()];
        row[0] = 210, row[1] = 220, row[2] = 230, row[3] = 99, row[4] = 99, row[5] = 99;
    }
    HandFrame hand(info, image, 16384, 8192, {10, 20, 30});
    EXPECT_EQ(hand.Sample(RotateMethod::kBilinear, -1, 1), Bytes({110, 120, 130}));
    EXPECT_EQ(hand.Sample(RotateMethod::kBilinear, -2, 1), Bytes({10, 20, 30}));
}

TEST(RotateSampling, BicubicClampsInsteadOfWrapping) {
    // A horizontal edge between line 0 and the lines below; with sine 1/4 the pixel at (1, 2)
    // takes vertical phase 48, whose negative outer weight overshoots the edge.
    const struct {
        int32_t bits;
        int32_t top, below;
        int32_t expected;
    } cases[] = {
        {8, 0, 255, 255},  {8, 255, 0, 0},    {16, 0, 65535, 65535},
        {16, 65535, 0, 0}, {24, 0, 255, 255}, {48, 65535, 0, 0},
    };
    for (const auto& c : cases) {
        const CUImageInfo info = ImageInfo(4, 4, c.bits);
        const int32_t sampleBytes = c.bits == 16 || c.bits >= 48 ? 2 : 1;
        std::vector<uint8_t> image(size_t(info.RowBytes()) * 4);
        for (int32_t y = 0; y < 4; ++y) {
            for (int32_t i = 0; i < info.lWidth * (c.bits >> 3); i += sampleBytes) {
                const int32_t v = y == 0 ? c.top : c.below;
                image[size_t(y) * info.RowBytes() + i] = uint8_t(v);
                if (sampleBytes == 2) image[size_t(y) * info.RowBytes() + i + 1] = uint8_t(v >> 8);
            }
        }
        HandFrame hand(info, image, 16384, 4096, {0, 0, 0});
        const std::vector<uint8_t> out = hand.Sample(RotateMethod::kBicubic, 1, 2);
        const int32_t v = sampleBytes == 2 ? out[0] | out[1] << 8 : out[0];
        EXPECT_EQ(v, c.expected) << c.bits << " bits, edge " << c.top << "/" << c.below;
    }
}

// Every method, depth, colour layout and a spread of angles and sizes: the memory image read
// in place and a container read in tiles and bands both give the oracle's bytes.
TEST(RotateSampling, FastPathsMatchThePerPixelDefinition) {
    struct Size {
        int32_t w, h;
    };
    const Size small[] = {{1, 1}, {3, 2}, {17, 9}};
    const double smallAngles[] = {0,   1,   30,    45,  89.99, 90,     90.005,
                                  135, 180, 200.5, 270, 300,   359.99, -17};
    // Larger than one tile and one group of output lines, with edges that do not fall on
    // tile boundaries.
    const Size large[] = {{150, 97}};
    const double largeAngles[] = {0.5, 30, 90, 135, 180, 244.4, 270, 321};
    const struct {
        int32_t bits;
        const char* space;
        int32_t native;
    } depths[] = {{8, "RGB", 0},  {16, "RGB", 0}, {24, "RGB", 0},
                  {32, "RGB", 1}, {48, "YCC", 0}, {64, "RGB", 0}};
    int32_t compared = 0;
    auto check = [&](const Size& size, double angle) {
        for (const auto& d : depths) {
            const CUImageInfo info = ImageInfo(size.w, size.h, d.bits, d.space, d.native);
            const std::vector<uint8_t> image = vxtest::HashImage(info, uint32_t(angle * 7));
            const vxtest::ContainerPtr container = vxtest::ContainerOf(info, image);
            ASSERT_TRUE(container);
            for (const char* method : {"Nearest", "Bilinear", "Bicubic"}) {
                const CURequest request = RotateRequest(angle, method, 0x4080C0);
                CImageAccess access(image.data(), info);
                vxtest::Oracle oracle(access, request);
                const std::vector<uint8_t> expected = oracle.Image();
                const Rotated memory = vxtest::RotateMemory(info, image, request);
                const Rotated paged = vxtest::RotateContainer(*container, request);
                const std::string what = std::to_string(size.w) + "x" + std::to_string(size.h) +
                                         " " + std::to_string(d.bits) + " bits at " +
                                         std::to_string(angle) + " " + method;
                ASSERT_EQ(memory.status, kVxOk) << what;
                ASSERT_EQ(paged.status, kVxOk) << what;
                EXPECT_EQ(memory.width, oracle.Frame().outWidth) << what;
                EXPECT_EQ(memory.height, oracle.Frame().outHeight) << what;
                EXPECT_TRUE(memory.pixels == expected) << what << " (memory)";
                EXPECT_TRUE(paged.pixels == expected) << what << " (container)";
                ++compared;
            }
        }
    };
    for (const Size& size : small)
        for (double angle : smallAngles)
            check(size, angle);
    for (const Size& size : large)
        for (double angle : largeAngles)
            check(size, angle);
    EXPECT_EQ(compared, (3 * 14 + 8) * 6 * 3);
}

// A container whose cache holds fewer pieces than the image pages pieces in and out while the
// tiles and bands are read; the bytes stay those of the memory image.
TEST(RotateSampling, PagedContainerGivesTheMemoryResult) {
    vxtest::ScopedTempDir pages;
    const CUImageInfo info = ImageInfo(300, 270, 24);
    const std::vector<uint8_t> image = vxtest::HashImage(info, 5);
    const vxtest::ContainerPtr container = vxtest::ContainerOf(info, image, 1, 128);
    ASSERT_TRUE(container);
    ASSERT_FALSE(pages.PageFiles().empty()) << "the container should be paging";
    for (double angle : {90.0, 180.0, 270.0, 33.3}) {
        for (const char* method : {"Nearest", "Bilinear", "Bicubic"}) {
            const CURequest request = RotateRequest(angle, method, 0x123456);
            const Rotated memory = vxtest::RotateMemory(info, image, request);
            const Rotated paged = vxtest::RotateContainer(*container, request);
            ASSERT_EQ(paged.status, kVxOk);
            EXPECT_TRUE(memory.pixels == paged.pixels) << angle << " " << method;
        }
    }
}

}  // namespace
