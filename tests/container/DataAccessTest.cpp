#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "ContainerTestSupport.h"
#include "container/AutoArray.h"
#include "container/ContainerAccess.h"
#include "container/ImageAccess.h"

using vxtest::ContainerPtr;
using vxtest::MakeContainer;
using vxtest::MakeInfo;
using vxtest::PatternByte;

namespace {

// For every depth, boxes and pixels inside, across and outside the edges and piece borders.
TEST(DataAccess, BothAdaptersReadTheSameBytesForTheSameBox) {
    vxtest::ScopedTempDir tmp;
    const struct {
        int32_t left, top, right, bottom;
    } boxes[] = {{-1, -1, 1, 1},    {0, 0, 289, 274}, {126, 126, 130, 131}, {285, 270, 292, 280},
                 {-3, 100, 2, 100}, {300, 0, 305, 3}, {10, 10, 10, 10}};
    for (int32_t bits : {8, 24, 32, 48}) {
        const CUImageInfo info = MakeInfo(290, 275, bits);
        const std::vector<uint8_t> image = vxtest::PatternImage(info);
        ContainerPtr c = MakeContainer(info, 1, 128);
        ASSERT_TRUE(c && vxtest::FillWithPattern(*c));
        CContainerAccess fromContainer(c.get());
        CImageAccess fromImage(image.data(), info);
        const int32_t bpp = bits >> 3;
        for (const auto& b : boxes) {
            const size_t size = size_t((b.right - b.left + 1) * (b.bottom - b.top + 1) * bpp);
            std::vector<uint8_t> a(size, 0x5A), i(size, 0x5A);
            EXPECT_EQ(fromContainer.GetBoxData(a.data(), b.left, b.top, b.right, b.bottom), 1);
            EXPECT_EQ(fromImage.GetBoxData(i.data(), b.left, b.top, b.right, b.bottom), 1);
            EXPECT_TRUE(a == i) << bits << ": " << b.left << "," << b.top << "," << b.right << ","
                                << b.bottom;
        }
        for (int32_t y : {0, 127, 128, 274})
            for (int32_t x : {0, 128, 289}) {
                std::vector<uint8_t> a(static_cast<size_t>(bpp)), i(static_cast<size_t>(bpp));
                ASSERT_EQ(fromContainer.GetPixelData(a.data(), x, y), 1);
                ASSERT_EQ(fromImage.GetPixelData(i.data(), x, y), 1);
                EXPECT_EQ(a, i) << x << "," << y;
                EXPECT_EQ(a[0], PatternByte(x, y, 0));
            }
        // A pixel outside the image leaves the destination alone.
        std::vector<uint8_t> pixel(size_t(bpp), 7);
        EXPECT_EQ(fromContainer.GetPixelData(pixel.data(), 290, 0), 0);
        EXPECT_EQ(fromContainer.GetPixelData(pixel.data(), 0, -1), 0);
        EXPECT_EQ(pixel, std::vector<uint8_t>(size_t(bpp), 7));
    }
}

TEST(ImageAccess, LinesFollowTheGivenLineSizeOrThePaddedOneWhenNoneIsGiven) {
    CUImageInfo info = MakeInfo(5, 3, 24);  // 15 bytes of pixels per line
    struct Case {
        int32_t rowBytes, stride;
    } cases[] = {{40, 40}, {0, 16}, {-3, 16}};
    for (const Case& k : cases) {
        info.lRowBytes = k.rowBytes;
        std::vector<uint8_t> image(size_t(k.stride * 3), 0);
        image[size_t(2 * k.stride + 4 * 3)] = 0x77;  // pixel (4, 2)
        CImageAccess access(image.data(), info);
        uint8_t pixel[3] = {0, 0, 0};
        ASSERT_EQ(access.GetPixelData(pixel, 4, 2), 1);
        EXPECT_EQ(pixel[0], 0x77) << k.rowBytes;
    }
}

TEST(DataAccess, DescriptionsComeFromTheImageAndOnlyANativeFlagOfOneCounts) {
    for (int32_t native : {0, 1, 2}) {
        CUImageInfo info = MakeInfo(33, 17, 32);
        info.bNative = native;
        info.strColorSpace = "YCC";
        ContainerPtr c = MakeContainer(info, 1, 128);
        ASSERT_TRUE(c);
        CContainerAccess fromContainer(c.get());
        CImageAccess fromImage(nullptr, info);
        for (const CDataAccess* a : {static_cast<const CDataAccess*>(&fromContainer),
                                     static_cast<const CDataAccess*>(&fromImage)}) {
            EXPECT_EQ(a->GetWidth(), 33);
            EXPECT_EQ(a->GetHeight(), 17);
            EXPECT_EQ(a->GetColorDepth(), 32);
            EXPECT_STREQ(a->GetColorSpace(), "YCC");
            EXPECT_EQ(a->IsNative(), native == 1) << native;
        }
    }
}

// Numbers elements as they are made and records the order in which they die.
struct Tracked {
    static int next;
    static std::vector<int> deaths;
    static int Live() { return next - int(deaths.size()); }
    int id = next++;
    ~Tracked() { deaths.push_back(id); }
};
int Tracked::next = 0;
std::vector<int> Tracked::deaths;

TEST(AutoArray, ACountBelowOneKeepsTheArrayAndANewCountReplacesItInReverseOrder) {
    {
        CAutoArray<Tracked> a;
        EXPECT_EQ(a.Create(3), 1);
        Tracked* first = a.Get();
        EXPECT_EQ(a.Create(0), 1);
        EXPECT_EQ(a.Create(-4), 1);
        EXPECT_EQ(a.Get(), first);
        EXPECT_EQ(a.Count(), 3);
        EXPECT_EQ(a.Create(2), 1);
        EXPECT_EQ(a.Count(), 2);
        EXPECT_EQ(Tracked::Live(), 2);
        EXPECT_EQ(Tracked::deaths, (std::vector<int>{2, 1, 0}));
    }
    EXPECT_EQ(Tracked::Live(), 0);
    CAutoArray<char> empty;
    EXPECT_EQ(empty.Create(0), 1);
    EXPECT_EQ(empty.Get(), nullptr);
}

}  // namespace
