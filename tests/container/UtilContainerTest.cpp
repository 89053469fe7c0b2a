#include "container/UtilContainer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "ContainerTestSupport.h"

using vxtest::ContainerPtr;
using vxtest::MakeContainer;
using vxtest::MakeInfo;
using vxtest::PatternByte;
using vxtest::PatternLine;

namespace {

TEST(ContainerCreate, PiecesCoverTheImageWithAnAlwaysAddedLastColumnAndRow) {
    const struct {
        int32_t width, height, bits;
        int pieceArg, cacheArg;
        int32_t pieceSize, across, down, lastWidth, lastHeight, cache;
    } shapes[] = {// An exact multiple of the piece size still gets a further, empty column.
                  {256, 100, 24, 256, 1, 256, 2, 1, 0, 100, 2},
                  {1024, 1024, 8, 1024, 4, 1024, 2, 2, 0, 0, 4},
                  // Sizes other than 256, 512 and 1024 fall back to 128.
                  {300, 300, 24, 300, 50, 128, 3, 3, 44, 44, 50},
                  {300, 300, 24, 0, 50, 128, 3, 3, 44, 44, 50},
                  // The cache is raised to one full row of pieces.
                  {600, 10, 24, 128, 1, 128, 5, 1, 88, 10, 5},
                  {2000, 3, 48, 512, 100, 512, 4, 1, 464, 3, 100},
                  {0, 0, 24, 128, 5, 128, 1, 1, 0, 0, 5}};
    for (const auto& g : shapes) {
        SCOPED_TRACE(::testing::Message() << g.width << "x" << g.height << " piece " << g.pieceArg);
        ContainerPtr c = MakeContainer(MakeInfo(g.width, g.height, g.bits), g.cacheArg, g.pieceArg);
        ASSERT_TRUE(c);
        EXPECT_EQ(c->GetNeedLineSize(), VxPaddedRowBytes(g.width, g.bits));
        int32_t count = 0, across = 0, down = 0;
        vxtest::AsPaged(c)->GetPieceCount(count, across, down);
        EXPECT_EQ(count, across * down);
        CUtilContainerPiece* last = vxtest::AsPaged(c)->GetPiece(count - 1);
        ASSERT_NE(last, nullptr);
        // Piece size, cache, pieces across and down, the last piece's size and place.
        EXPECT_EQ(
            std::vector<int32_t>({c->GetPieceSize(), c->GetCacheSize(), across, down, last->Width(),
                                  last->Height(), last->Left(), last->Top()}),
            std::vector<int32_t>({g.pieceSize, g.cache, g.across, g.down, g.lastWidth, g.lastHeight,
                                  (g.across - 1) * g.pieceSize, (g.down - 1) * g.pieceSize}));
        EXPECT_EQ(vxtest::AsPaged(c)->GetPiece(count), nullptr);
    }
}

TEST(ContainerCreate, PiecesDescribeThemselvesInTheContainersDepthLayoutAndColourSpace) {
    CUImageInfo info = MakeInfo(200, 130, 32);
    info.bNative = 1;
    info.strColorSpace = "YCC";
    ContainerPtr c = MakeContainer(info, 1, 128);
    ASSERT_TRUE(c);
    ContainerPtr alone(vxtest::AsPaged(c)->GetPiece(3)->Clone());
    c.reset();  // a clone stands on its own
    ASSERT_TRUE(alone);
    CUImageInfo pi;
    alone->GetImageInfo(pi);
    EXPECT_EQ(
        std::vector<int32_t>({pi.lWidth, pi.lHeight, pi.lRowBytes, pi.lColorDepth, pi.bNative}),
        std::vector<int32_t>({72, 2, 72 * 4, 32, 1}));
    EXPECT_STREQ(pi.strColorSpace, "YCC");
}

TEST(ContainerCreate, RefusesImagesItCannotHold) {
    struct Case {
        int32_t width, height, bits;
    } cases[] = {{-1, 10, 24}, {10, -1, 24}, {10, 10, 4}, {10, 10, 0}, {0x7FFFFFFF, 1, 48}};
    for (const Case& k : cases) {
        ContainerPtr c(CreateUtilContainer());
        ASSERT_TRUE(c);
        EXPECT_EQ(c->Create(MakeInfo(k.width, k.height, k.bits), 10, 128), kVxErrInvalidArgument)
            << k.width << "x" << k.height << "x" << k.bits;
        EXPECT_EQ(c->GetPieceSize(), 0);
        std::vector<uint8_t> line(64);
        EXPECT_EQ(c->SetLine(line.data(), 0, 0, 1), 0);
        EXPECT_EQ(c->GetPixel(0, 0), nullptr);
        EXPECT_EQ(c->GetBoxData(line.data(), 0, 0, 1, 1), 0);
    }
}

// With a cache of one row every row of pieces is written out before the next one comes in,
// and comes back from the page file when read.
TEST(ContainerRoundTrip, EveryLineComesBackThroughThePageFile) {
    const struct {
        int32_t width, height, bits, pieceSize;
    } shapes[] = {{300, 260, 24, 128},
                  {256, 520, 24, 256},  // empty last column
                  {129, 300, 48, 128},
                  {200, 150, 32, 128},
                  {1001, 530, 8, 512}};
    for (const auto& r : shapes) {
        SCOPED_TRACE(::testing::Message() << r.width << "x" << r.height << "x" << r.bits);
        vxtest::ScopedTempDir tmp;
        const CUImageInfo info = MakeInfo(r.width, r.height, r.bits);
        ContainerPtr c = MakeContainer(info, 1, r.pieceSize);
        ASSERT_TRUE(c && vxtest::FillWithPattern(*c));
        EXPECT_EQ(c->hasImage(), 1);
        EXPECT_EQ(vxtest::FirstLineNotMatchingPattern(*c), -1);
        EXPECT_EQ(tmp.PageFiles().size(), 1u);
        // The same lines through the container's own line buffer.
        for (int32_t y = 0; y < r.height; y += 7) {
            const void* got = c->GetLine(y, 0, -1);
            ASSERT_NE(got, nullptr);
            EXPECT_EQ(std::memcmp(got, PatternLine(info, y).data(), size_t(info.lRowBytes)), 0)
                << "line " << y;
        }
        c.reset();
        EXPECT_TRUE(tmp.PageFiles().empty());
    }
}

class FilledContainer : public ::testing::Test {
protected:
    void SetUp() override {
        c = MakeContainer(info, 1, 128);
        ASSERT_TRUE(c);
        ASSERT_TRUE(vxtest::FillWithPattern(*c));
    }
    std::vector<uint8_t> Pixels(int32_t x, int32_t y, int32_t count) const {
        std::vector<uint8_t> v;
        for (int32_t i = 0; i < count; ++i)
            for (int32_t b = 0; b < 3; ++b)
                v.push_back(PatternByte(x + i, y, b));
        return v;
    }

    vxtest::ScopedTempDir tmp;
    const CUImageInfo info = MakeInfo(300, 270, 24);
    ContainerPtr c;
};

TEST_F(FilledContainer, LineAndPixelReadsStartAtTheRequestedPixel) {
    struct Case {
        int32_t line, x, count;
    } cases[] = {{0, 10, -1},   {5, 127, 2},   {130, 100, 200},
                 {269, 299, 1}, {200, 0, 300}, {20, 256, -1}};
    for (const Case& k : cases) {
        const auto* got = static_cast<const uint8_t*>(c->GetLine(k.line, k.x, k.count));
        ASSERT_NE(got, nullptr);
        const int32_t n = k.count == -1 ? info.lWidth - k.x : k.count;
        EXPECT_EQ(std::vector<uint8_t>(got, got + n * 3), Pixels(k.x, k.line, n))
            << k.line << "," << k.x << "," << k.count;
        std::vector<uint8_t> dst(size_t(info.lRowBytes));
        ASSERT_EQ(c->GetLine(dst.data(), k.line, k.x), 1);
        const std::vector<uint8_t> whole = PatternLine(info, k.line);
        EXPECT_TRUE(std::equal(whole.begin() + k.x * 3, whole.end(), dst.begin()));
    }
    for (int32_t y : {0, 127, 128, 269})
        for (int32_t x : {0, 1, 127, 128, 255, 256, 299}) {
            const auto* p = static_cast<const uint8_t*>(c->GetPixel(x, y));
            ASSERT_NE(p, nullptr);
            EXPECT_EQ(std::vector<uint8_t>(p, p + 3), Pixels(x, y, 1)) << x << "," << y;
        }
}

TEST_F(FilledContainer, PartialLineWritesChangeOnlyTheirRun) {
    struct Case {
        int32_t line, x, count;
    } cases[] = {{3, 0, 1}, {140, 127, 2}, {200, 100, 200}, {269, 299, 1}, {7, 5, 0}};
    for (const Case& k : cases) {
        std::vector<uint8_t> run(size_t(k.count) * 3 + 1, 0xEE);
        ASSERT_EQ(c->SetLine(run.data(), k.line, k.x, k.count), 1);
        std::vector<uint8_t> expected = PatternLine(info, k.line);
        std::fill_n(expected.begin() + k.x * 3, k.count * 3, 0xEE);
        std::vector<uint8_t> got(expected.size());
        ASSERT_EQ(c->GetLine(got.data(), k.line, 0), 1);
        EXPECT_TRUE(got == expected) << k.line << "," << k.x << "," << k.count;
    }
}

TEST_F(FilledContainer, CoordinatesOutsideTheImageAreRefusedWithoutTouchingAnything) {
    struct Case {
        int32_t line, x, count;
    } cases[] = {{-1, 0, -1}, {270, 0, -1}, {0, 300, -1}, {0, -1, -1},
                 {0, 0, 301}, {0, 250, 51}, {0, 5, -2}};
    std::vector<uint8_t> junk(2000, 0x55);
    for (const Case& k : cases) {
        EXPECT_EQ(c->SetLine(junk.data(), k.line, k.x, k.count), 0);
        EXPECT_EQ(c->GetLine(k.line, k.x, k.count), nullptr);
        if (k.count == -1) {
            EXPECT_EQ(c->GetLine(junk.data(), k.line, k.x), 0);
        }
    }
    EXPECT_EQ(junk, std::vector<uint8_t>(2000, 0x55));
    EXPECT_EQ(c->GetPixel(300, 0), nullptr);
    EXPECT_EQ(c->GetPixel(0, 270), nullptr);
    EXPECT_EQ(c->GetPixel(-1, 5), nullptr);
    EXPECT_EQ(vxtest::FirstLineNotMatchingPattern(*c), -1);
}

TEST_F(FilledContainer, BoxesCopyTheImagePartAndLeaveOutsidePointsUntouched) {
    struct Box {
        int32_t left, top, right, bottom;
    } boxes[] = {{-5, 3, 20, 10},  {120, 120, 140, 140}, {297, 268, 302, 271}, {-2, -2, 301, 271},
                 {310, 0, 315, 4}, {0, -9, 3, -1},       {128, 128, 128, 128}};
    const uint8_t kUntouched = 0xAB;
    for (const Box& b : boxes) {
        const int32_t w = b.right - b.left + 1, h = b.bottom - b.top + 1;
        std::vector<uint8_t> got(size_t(w * h * 3), kUntouched);
        ASSERT_EQ(c->GetBoxData(got.data(), b.left, b.top, b.right, b.bottom), 1);
        std::vector<uint8_t> expected;
        for (int32_t y = b.top; y <= b.bottom; ++y)
            for (int32_t x = b.left; x <= b.right; ++x)
                for (int32_t s = 0; s < 3; ++s) {
                    const bool inside = x >= 0 && y >= 0 && x < 300 && y < 270;
                    expected.push_back(inside ? PatternByte(x, y, s) : kUntouched);
                }
        EXPECT_TRUE(got == expected) << b.left << "," << b.top << "," << b.right << "," << b.bottom;
    }
}

TEST_F(FilledContainer, ClipIsInclusiveOnTheContainerExclusiveOnAPieceAndRefusesOutside) {
    // The clip is w x h and holds the pixels from (left, top) on.
    auto expectClip = [&](IUtilContainerIF* clip, int32_t left, int32_t top, int32_t w, int32_t h) {
        ContainerPtr owned(clip);
        ASSERT_TRUE(owned);
        CUImageInfo ci;
        owned->GetImageInfo(ci);
        EXPECT_EQ(ci.lWidth, w);
        EXPECT_EQ(ci.lHeight, h);
        for (int32_t y = 0; y < h; ++y) {
            const auto* line = static_cast<const uint8_t*>(owned->GetLine(y, 0, -1));
            ASSERT_NE(line, nullptr);
            EXPECT_EQ(std::vector<uint8_t>(line, line + w * 3), Pixels(left, top + y, w)) << y;
        }
    };
    expectClip(c->Clip(19, 19, 10, 10), 10, 10, 10, 10);  // corners are put in order first
    expectClip(c->Clip(100, 120, 260, 140), 100, 120, 161, 21);
    expectClip(c->Clip(0, 0, 299, 269), 0, 0, 300, 270);
    CUtilContainerPiece* piece = vxtest::AsPaged(c)->ReadyPiece(vxtest::AsPaged(c)->GetPiece(0));
    ASSERT_NE(piece, nullptr);
    expectClip(piece->Clip(10, 10, 19, 19), 10, 10, 9, 9);

    EXPECT_EQ(c->Clip(0, 0, 300, 0), nullptr);  // right equal to the width
    EXPECT_EQ(c->Clip(0, 0, 0, 270), nullptr);
    EXPECT_EQ(c->Clip(-1, 0, 5, 5), nullptr);
    EXPECT_EQ(c->Clip(0, -1, 5, 5), nullptr);
}

// A clone is an empty container of the same shape; Clear keeps the image info only.
TEST_F(FilledContainer, CloneIsEmptyOfTheSameShapeAndClearKeepsOnlyTheImageInfo) {
    ContainerPtr clone(c->Clone());
    ASSERT_TRUE(clone);
    CUImageInfo ci;
    clone->GetImageInfo(ci);
    EXPECT_EQ(ci.lWidth, info.lWidth);
    EXPECT_EQ(ci.lHeight, info.lHeight);
    EXPECT_EQ(clone->GetPieceSize(), c->GetPieceSize());
    EXPECT_EQ(clone->GetCacheSize(), c->GetCacheSize());
    EXPECT_EQ(clone->hasImage(), 0);

    c->Clear();
    c->GetImageInfo(ci);
    EXPECT_EQ(ci.lWidth, 300);
    EXPECT_EQ(ci.lHeight, 270);
    EXPECT_EQ(c->GetPieceSize(), 0);
    EXPECT_EQ(c->GetCacheSize(), 0);
    EXPECT_EQ(c->hasImage(), 0);
    EXPECT_EQ(c->GetPixel(0, 0), nullptr);
    EXPECT_TRUE(tmp.PageFiles().empty());
}

// Assignment copies the pixels into a container of cache 1000 and pieces of 128; beyond 1000
// pieces the later ones go straight to the page file.
TEST(ContainerAssignment, CopiesThePixelsWithCache1000AndPieces128) {
    const struct {
        int32_t width, height, bits;
        int pieceSize, cacheCount;
    } sources[] = {{700, 600, 24, 512, 3}, {5000, 3300, 8, 128, 1}, {130, 140, 48, 128, 2}};
    for (const auto& a : sources) {
        vxtest::ScopedTempDir tmp;
        ContainerPtr src =
            MakeContainer(MakeInfo(a.width, a.height, a.bits), a.cacheCount, a.pieceSize);
        ASSERT_TRUE(src && vxtest::FillWithPattern(*src));
        ContainerPtr dst = MakeContainer(MakeInfo(10, 10, 24), 3, 256);
        ASSERT_TRUE(dst);
        *dst = *src;
        EXPECT_EQ(dst->GetPieceSize(), 128);
        EXPECT_EQ(dst->GetCacheSize(), 1000);
        CUImageInfo di;
        dst->GetImageInfo(di);
        EXPECT_EQ(di.lWidth, a.width);
        EXPECT_EQ(vxtest::FirstLineNotMatchingPattern(*dst), -1) << a.width;
        EXPECT_EQ(vxtest::FirstLineNotMatchingPattern(*src), -1) << a.width;
        // Assigning itself or something that is no container changes nothing.
        const int32_t cache = src->GetCacheSize();
        *src = *src;
        *src = static_cast<const IUtilContainerIF&>(CUtilContainerPiece());
        EXPECT_EQ(src->GetPieceSize(), a.pieceSize);
        EXPECT_EQ(src->GetCacheSize(), cache);
        EXPECT_EQ(vxtest::FirstLineNotMatchingPattern(*src), -1) << a.width;
    }
}

// Eviction takes the piece loaded first, even when it was used last.
TEST(ContainerResidency, EvictionIsFirstInFirstOutAndUnwrittenPiecesRead) {
    vxtest::ScopedTempDir tmp;
    ContainerPtr c = MakeContainer(MakeInfo(200, 400, 8), 2, 128);  // 2 across, cache 2
    ASSERT_TRUE(c);
    CUtilContainer* paged = vxtest::AsPaged(c);
    ASSERT_NE(c->GetPixel(0, 0), nullptr);    // piece 0
    ASSERT_NE(c->GetPixel(150, 0), nullptr);  // piece 1
    ASSERT_NE(c->GetPixel(1, 1), nullptr);    // piece 0 again
    ASSERT_NE(c->GetPixel(0, 130), nullptr);  // piece 2 needs room
    EXPECT_FALSE(paged->GetPiece(0)->HoldsMemory());
    EXPECT_TRUE(paged->GetPiece(1)->HoldsMemory());
    EXPECT_TRUE(paged->GetPiece(2)->HoldsMemory());
    // Nothing was written, so nothing needed a page file, and pieces never written still read.
    EXPECT_TRUE(tmp.PageFiles().empty());
    std::vector<uint8_t> line(size_t(c->GetNeedLineSize()));
    for (int32_t y = 0; y < 400; y += 50)
        EXPECT_EQ(c->GetLine(line.data(), y, 0), 1);
    EXPECT_EQ(c->hasImage(), 0);
}

}  // namespace
