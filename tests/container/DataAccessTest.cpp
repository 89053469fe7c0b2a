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

struct Box {
    int32_t left, top, right, bottom;
};

class AdapterPair : public ::testing::TestWithParam<int32_t> {
protected:
    void SetUp() override {
        info = MakeInfo(290, 275, GetParam());
        image = vxtest::PatternImage(info);
        c = MakeContainer(info, 1, 128);
        ASSERT_TRUE(c);
        ASSERT_TRUE(vxtest::FillWithPattern(*c));
    }

    vxtest::ScopedTempDir tmp;
    CUImageInfo info;
    std::vector<uint8_t> image;
    ContainerPtr c;
};

TEST_P(AdapterPair, BothAdaptersReadTheSameBytesForTheSameBox) {
    CContainerAccess fromContainer(c.get());
    CImageAccess fromImage(image.data(), info);
    const Box boxes[] = {{-1, -1, 1, 1},       {0, 0, 289, 274},  {126, 126, 130, 131},
                         {285, 270, 292, 280}, {-3, 100, 2, 100}, {300, 0, 305, 3},
                         {10, 10, 10, 10}};
    const int32_t bpp = GetParam() >> 3;
    for (const Box& b : boxes) {
        const size_t size = size_t((b.right - b.left + 1) * (b.bottom - b.top + 1) * bpp);
        std::vector<uint8_t> a(size, 0x5A), i(size, 0x5A);
        EXPECT_EQ(fromContainer.GetBoxData(a.data(), b.left, b.top, b.right, b.bottom), 1);
        EXPECT_EQ(fromImage.GetBoxData(i.data(), b.left, b.top, b.right, b.bottom), 1);
        EXPECT_TRUE(a == i) << b.left << "," << b.top << "," << b.right << "," << b.bottom;
    }
    for (int32_t y : {0, 127, 128, 274})
        for (int32_t x : {0, 128, 289}) {
            std::vector<uint8_t> a(static_cast<size_t>(bpp)), i(static_cast<size_t>(bpp));
            ASSERT_EQ(fromContainer.GetPixelData(a.data(), x, y), 1);
            ASSERT_EQ(fromImage.GetPixelData(i.data(), x, y), 1);
            EXPECT_EQ(a, i) << x << "," << y;
            EXPECT_EQ(a[0], PatternByte(x, y, 0));
        }
}

INSTANTIATE_TEST_SUITE_P(Depths, AdapterPair, ::testing::Values(8, 24, 32, 48));

TEST(ImageAccess, ABoxOverTheCornerFillsOnlyThePointsInsideTheImage) {
    const CUImageInfo info = MakeInfo(4, 4, 24);
    const std::vector<uint8_t> image = vxtest::PatternImage(info);
    CImageAccess access(image.data(), info);
    std::vector<uint8_t> box(27, 0xEE);
    ASSERT_EQ(access.GetBoxData(box.data(), -1, -1, 1, 1), 1);
    for (int32_t y = -1; y <= 1; ++y)
        for (int32_t x = -1; x <= 1; ++x)
            for (int32_t s = 0; s < 3; ++s) {
                const uint8_t got = box[size_t(((y + 1) * 3 + (x + 1)) * 3 + s)];
                const bool inside = x >= 0 && y >= 0;
                EXPECT_EQ(got, inside ? PatternByte(x, y, s) : 0xEE) << x << "," << y;
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

TEST(ContainerAccess, APixelOutsideTheImageLeavesTheDestinationAlone) {
    ContainerPtr c = MakeContainer(MakeInfo(10, 10, 24), 1, 128);
    ASSERT_TRUE(c);
    ASSERT_TRUE(vxtest::FillWithPattern(*c));
    CContainerAccess access(c.get());
    uint8_t pixel[3] = {1, 2, 3};
    EXPECT_EQ(access.GetPixelData(pixel, 10, 0), 0);
    EXPECT_EQ(access.GetPixelData(pixel, 0, -1), 0);
    EXPECT_EQ(pixel[0], 1);
    EXPECT_EQ(pixel[2], 3);
}

// Counts live elements and records the order in which they die.
struct Tracked {
    static int live;
    static std::vector<int> deaths;
    static int next;
    int id = next++;
    Tracked() { ++live; }
    ~Tracked() {
        --live;
        deaths.push_back(id);
    }
};
int Tracked::live = 0;
int Tracked::next = 0;
std::vector<int> Tracked::deaths;

TEST(AutoArray, ACountBelowOneKeepsTheArrayAndANewCountReplacesItInReverseOrder) {
    Tracked::live = 0;
    Tracked::next = 0;
    Tracked::deaths.clear();
    {
        CAutoArray<Tracked> a;
        EXPECT_EQ(a.Create(3), 1);
        EXPECT_EQ(a.Count(), 3);
        Tracked* first = a.Get();
        EXPECT_EQ(a.Create(0), 1);
        EXPECT_EQ(a.Create(-4), 1);
        EXPECT_EQ(a.Get(), first);
        EXPECT_EQ(a.Count(), 3);
        EXPECT_EQ(a.Create(2), 1);
        EXPECT_EQ(a.Count(), 2);
        EXPECT_EQ(Tracked::live, 2);
        EXPECT_EQ(Tracked::deaths, (std::vector<int>{2, 1, 0}));
    }
    EXPECT_EQ(Tracked::live, 0);
    CAutoArray<char> empty;
    EXPECT_EQ(empty.Create(0), 1);
    EXPECT_EQ(empty.Get(), nullptr);
    EXPECT_EQ(empty.Count(), 0);
}

}  // namespace
