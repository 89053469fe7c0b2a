#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "vandrel/GraphicsPort.h"

namespace {

struct WorldDeleter {
    void operator()(OpaqueGrafPtr* w) const { DisposeGWorld(w); }
};
using WorldPtr = std::unique_ptr<OpaqueGrafPtr, WorldDeleter>;

Rect MakeRect(int32_t left, int32_t top, int32_t right, int32_t bottom) {
    Rect r;
    SetRect(&r, left, top, right, bottom);
    return r;
}

WorldPtr MakeWorld(int32_t depth, const Rect& bounds) {
    OpaqueGrafPtr* w = nullptr;
    EXPECT_EQ(NewGWorld(&w, depth, &bounds, useTempMem), noErr);
    return WorldPtr(w);
}

// 8-bit worlds make hand-written expectations short: one byte per pixel.
void FillRow8(OpaqueGrafPtr* w, int32_t row, const std::vector<uint8_t>& values) {
    PixMapHandle pm = GetGWorldPixMap(w);
    std::memcpy(GetPixBaseAddr(pm) + row * GetPixRowBytes(pm), values.data(), values.size());
}

std::vector<uint8_t> Row8(OpaqueGrafPtr* w, int32_t row) {
    PixMapHandle pm = GetGWorldPixMap(w);
    const char* p = GetPixBaseAddr(pm) + row * GetPixRowBytes(pm);
    const int32_t width = pm->bounds.right - pm->bounds.left;
    return std::vector<uint8_t>(p, p + width);
}

TEST(GraphicsPortRect, FieldsKeepTheClassicOrderAndOffsetMovesBothCorners) {
    Rect r = MakeRect(1, 2, 30, 40);
    const int32_t* raw = &r.top;  // top, left, bottom, right
    EXPECT_EQ(std::vector<int32_t>(raw, raw + 4), (std::vector<int32_t>{2, 1, 40, 30}));
    OffsetRect(&r, -5, 100000);
    EXPECT_EQ(std::vector<int32_t>(raw, raw + 4), (std::vector<int32_t>{100002, -4, 100040, 25}));

    Point pt;
    SetPt(&pt, 7, 9);
    EXPECT_EQ(pt.h, 7);
    EXPECT_EQ(pt.v, 9);
    EXPECT_EQ((&pt.v)[0], 9);  // v comes first
}

TEST(GraphicsPortRect, PointsOnTheRightAndBottomEdgesAreOutside) {
    const Rect r = MakeRect(10, 20, 50, 60);
    struct Case {
        int32_t h, v;
        bool inside;
    };
    const Case cases[] = {
        {10, 20, true},  {49, 59, true},  {50, 20, false}, {10, 60, false},    {9, 30, false},
        {30, 19, false}, {49, 60, false}, {30, 40, true},  {70000, 40, false}, {-70000, 40, false},
    };
    for (const Case& c : cases) {
        Point pt;
        SetPt(&pt, c.h, c.v);
        EXPECT_EQ(PtInRect(pt, &r), c.inside) << c.h << "," << c.v;
    }
    const Rect empty = MakeRect(5, 5, 5, 5);
    Point corner;
    SetPt(&corner, 5, 5);
    EXPECT_FALSE(PtInRect(corner, &empty));
    // Coordinates beyond the 16-bit range work.
    const Rect huge = MakeRect(0, 0, 100000, 3);
    SetPt(&corner, 99999, 2);
    EXPECT_TRUE(PtInRect(corner, &huge));
}

TEST(GraphicsPortWorld, NewWorldsPadRowsAndStartZeroedOrAreRefused) {
    struct Case {
        int32_t depth;
        Rect bounds;
        int32_t rowBytes;  // 0: refused
    };
    const Case cases[] = {
        {8, MakeRect(0, 0, 3, 2), 4},
        {8, MakeRect(0, 0, 8, 1), 8},
        {32, MakeRect(0, 0, 5, 3), 20},
        {32, MakeRect(-10, 7, -9, 9), 4},  // the origin need not be (0, 0)
        {16, MakeRect(0, 0, 4, 4), 0},
        {24, MakeRect(0, 0, 4, 4), 0},
        {32, MakeRect(0, 0, 0, 4), 0},
        {32, MakeRect(0, 5, 4, 4), 0},
    };
    for (const Case& c : cases) {
        OpaqueGrafPtr* raw = reinterpret_cast<OpaqueGrafPtr*>(1);
        ASSERT_EQ(NewGWorld(&raw, c.depth, &c.bounds, useTempMem),
                  c.rowBytes != 0 ? noErr : paramErr)
            << c.depth;
        if (c.rowBytes == 0) {
            EXPECT_EQ(raw, nullptr);
            continue;
        }
        WorldPtr w(raw);
        PixMapHandle pm = GetGWorldPixMap(w.get());
        EXPECT_EQ(pm->pixelSize, c.depth);
        EXPECT_EQ(GetPixRowBytes(pm), c.rowBytes);
        EXPECT_EQ(pm->bounds.left, c.bounds.left);
        EXPECT_EQ(pm->bounds.bottom, c.bounds.bottom);
        EXPECT_EQ(GetPortBitMapForCopyBits(w.get()), pm);
        const int32_t height = c.bounds.bottom - c.bounds.top;
        const std::vector<char> zeros(size_t(c.rowBytes * height), 0);
        EXPECT_EQ(std::memcmp(GetPixBaseAddr(pm), zeros.data(), zeros.size()), 0);
        EXPECT_EQ(LockPixels(pm), 1);
        UnlockPixels(pm);
    }
    OpaqueGrafPtr* w = nullptr;
    const Rect tooWide = MakeRect(0, 0, 0x7fffffff, 1);
    EXPECT_EQ(NewGWorld(&w, 32, &tooWide, 0), memFullErr);
    EXPECT_EQ(w, nullptr);
    DisposeGWorld(nullptr);
}

// Scaled 32-bit pixels move whole, here into a caller's framebuffer that is drawn in place.
TEST(GraphicsPortWorld, AWrappedFramebufferIsDrawnInPlaceAndStaysTheCallers) {
    // A 5 x 2 framebuffer of 32-bit pixels with 4 spare bytes at the end of each row.
    std::vector<uint8_t> frame(2 * 24, 0xEE);
    const Rect bounds = MakeRect(0, 0, 5, 2);
    OpaqueGrafPtr* raw = nullptr;
    ASSERT_EQ(NewGWorldFromPtr(&raw, 32, &bounds, frame.data(), 24), noErr);
    WorldPtr port(raw);
    PixMapHandle pm = GetGWorldPixMap(port.get());
    EXPECT_EQ(GetPixBaseAddr(pm), reinterpret_cast<char*>(frame.data()));
    EXPECT_EQ(GetPixRowBytes(pm), 24);

    WorldPtr src = MakeWorld(32, MakeRect(0, 0, 3, 1));
    const uint8_t pixels[12] = {0xFF, 1, 2, 3, 0x7F, 4, 5, 6, 0x00, 7, 8, 9};
    std::memcpy(GetPixBaseAddr(GetGWorldPixMap(src.get())), pixels, 12);
    const Rect from = MakeRect(0, 0, 3, 1);
    const Rect to = MakeRect(0, 1, 5, 2);
    ASSERT_EQ(CopyBits(GetPortBitMapForCopyBits(src.get()), GetPortBitMapForCopyBits(port.get()),
                       &from, &to, srcCopy, nullptr),
              noErr);
    // x * 3 / 5 = 0, 0, 1, 1, 2; the spare bytes and the first row stay as they were.
    const std::vector<uint8_t> row1(frame.begin() + 24, frame.end());
    const std::vector<uint8_t> expected = {0xFF, 1, 2, 3, 0xFF, 1, 2, 3, 0x7F, 4,    5,    6,
                                           0x7F, 4, 5, 6, 0x00, 7, 8, 9, 0xEE, 0xEE, 0xEE, 0xEE};
    EXPECT_EQ(row1, expected);
    EXPECT_EQ(std::vector<uint8_t>(frame.begin(), frame.begin() + 24),
              std::vector<uint8_t>(24, 0xEE));

    struct Refused {
        int32_t depth, rowBytes;
        void* buffer;
    };
    const Refused refused[] = {
        {32, 19, frame.data()}, {8, 4, frame.data()}, {32, 24, nullptr}, {16, 24, frame.data()}};
    for (const Refused& r : refused) {
        OpaqueGrafPtr* w = nullptr;
        EXPECT_EQ(NewGWorldFromPtr(&w, r.depth, &bounds, r.buffer, r.rowBytes), paramErr);
        EXPECT_EQ(w, nullptr);
    }
}

TEST(GraphicsPortCopy, SameSizeCopiesExactPixelsBetweenOffsetRectangles) {
    WorldPtr src = MakeWorld(32, MakeRect(0, 0, 4, 3));
    PixMapHandle spm = GetGWorldPixMap(src.get());
    for (int32_t y = 0; y < 3; ++y)
        for (int32_t x = 0; x < 4; ++x) {
            const uint8_t px[4] = {uint8_t(y), uint8_t(x), uint8_t(10 * y + x), 0x55};
            std::memcpy(GetPixBaseAddr(spm) + y * GetPixRowBytes(spm) + 4 * x, px, 4);
        }
    // The destination's bounds start at (100, 50): rectangles are in its own coordinates.
    WorldPtr dst = MakeWorld(32, MakeRect(100, 50, 105, 54));
    const Rect from = MakeRect(1, 1, 3, 3);
    const Rect to = MakeRect(102, 51, 104, 53);
    ASSERT_EQ(CopyBits(spm, GetGWorldPixMap(dst.get()), &from, &to, srcCopy, nullptr), noErr);
    PixMapHandle dpm = GetGWorldPixMap(dst.get());
    for (int32_t y = 0; y < 4; ++y)
        for (int32_t x = 0; x < 5; ++x) {
            const char* px = GetPixBaseAddr(dpm) + y * GetPixRowBytes(dpm) + 4 * x;
            const bool drawn = x >= 2 && x < 4 && y >= 1 && y < 3;
            const int32_t sx = x - 1, sy = y;  // (102, 51) takes source (1, 1)
            const std::vector<uint8_t> want =
                drawn ? std::vector<uint8_t>{uint8_t(sy), uint8_t(sx), uint8_t(10 * sy + sx), 0x55}
                      : std::vector<uint8_t>(4, 0);
            EXPECT_EQ(std::vector<uint8_t>(px, px + 4), want) << x << "," << y;
        }
}

TEST(GraphicsPortCopy, ScalingPicksTheNearestPixelByTruncation) {
    struct Case {
        const char* what;
        Rect to;  // destination rectangle in a 6 x 4 world
        std::vector<std::vector<uint8_t>> rows;
    };
    // Source 4 x 2: row 0 = 10 20 30 40, row 1 = 50 60 70 80.
    const Case cases[] = {
        {"widen 4 -> 6",
         MakeRect(0, 0, 6, 2),
         {{10, 10, 20, 30, 30, 40}, {50, 50, 60, 70, 70, 80}, {0, 0, 0, 0, 0, 0}}},
        {"narrow 4 -> 3",
         MakeRect(1, 0, 4, 2),
         {{0, 10, 20, 30, 0, 0}, {0, 50, 60, 70, 0, 0}, {0, 0, 0, 0, 0, 0}}},
        {"halve 4 x 2 -> 2 x 1",
         MakeRect(0, 1, 2, 2),
         {{0, 0, 0, 0, 0, 0}, {10, 30, 0, 0, 0, 0}, {0, 0, 0, 0, 0, 0}}},
        {"double 4 x 2 -> 4 x 4",
         MakeRect(0, 0, 4, 4),
         {{10, 20, 30, 40, 0, 0},
          {10, 20, 30, 40, 0, 0},
          {50, 60, 70, 80, 0, 0},
          {50, 60, 70, 80, 0, 0}}},
        {"clipped by the destination bounds",
         MakeRect(3, 2, 9, 6),
         {{0, 0, 0, 0, 0, 0}, {0, 0, 0, 0, 0, 0}, {0, 0, 0, 10, 10, 20}, {0, 0, 0, 10, 10, 20}}},
    };
    WorldPtr src = MakeWorld(8, MakeRect(0, 0, 4, 2));
    FillRow8(src.get(), 0, {10, 20, 30, 40});
    FillRow8(src.get(), 1, {50, 60, 70, 80});
    const Rect from = MakeRect(0, 0, 4, 2);
    for (const Case& c : cases) {
        WorldPtr dst = MakeWorld(8, MakeRect(0, 0, 6, 4));
        ASSERT_EQ(CopyBits(GetGWorldPixMap(src.get()), GetGWorldPixMap(dst.get()), &from, &c.to,
                           srcCopy, nullptr),
                  noErr)
            << c.what;
        for (size_t y = 0; y < c.rows.size(); ++y)
            EXPECT_EQ(Row8(dst.get(), int32_t(y)), c.rows[y]) << c.what << " row " << y;
    }
}

TEST(GraphicsPortCopy, SourceOutsideItsBoundsLeavesTheDestinationAlone) {
    WorldPtr src = MakeWorld(8, MakeRect(0, 0, 2, 1));
    FillRow8(src.get(), 0, {7, 9});
    WorldPtr dst = MakeWorld(8, MakeRect(0, 0, 4, 1));
    FillRow8(dst.get(), 0, {1, 1, 1, 1});
    const Rect from = MakeRect(-1, 0, 3, 1);  // one column outside on each side
    const Rect to = MakeRect(0, 0, 4, 1);
    ASSERT_EQ(CopyBits(GetGWorldPixMap(src.get()), GetGWorldPixMap(dst.get()), &from, &to, srcCopy,
                       nullptr),
              noErr);
    EXPECT_EQ(Row8(dst.get(), 0), (std::vector<uint8_t>{1, 7, 9, 1}));
}

TEST(GraphicsPortCopy, AnOverlappingCopyWithinOneWorldReadsBeforeItWrites) {
    WorldPtr w = MakeWorld(8, MakeRect(0, 0, 3, 3));
    FillRow8(w.get(), 0, {1, 2, 3});
    FillRow8(w.get(), 1, {4, 5, 6});
    FillRow8(w.get(), 2, {7, 8, 9});
    const Rect from = MakeRect(0, 0, 2, 2);
    const Rect to = MakeRect(1, 1, 3, 3);
    PixMapHandle pm = GetGWorldPixMap(w.get());
    ASSERT_EQ(CopyBits(pm, pm, &from, &to, srcCopy, nullptr), noErr);
    EXPECT_EQ(Row8(w.get(), 1), (std::vector<uint8_t>{4, 1, 2}));
    EXPECT_EQ(Row8(w.get(), 2), (std::vector<uint8_t>{7, 4, 5}));
}

TEST(GraphicsPortCopy, MismatchedDepthsModesAndMasksDrawNothing) {
    WorldPtr src8 = MakeWorld(8, MakeRect(0, 0, 2, 2));
    FillRow8(src8.get(), 0, {5, 5});
    WorldPtr dst8 = MakeWorld(8, MakeRect(0, 0, 2, 2));
    WorldPtr dst32 = MakeWorld(32, MakeRect(0, 0, 2, 2));
    const Rect r = MakeRect(0, 0, 2, 2);
    int region = 0;  // any non-null mask is refused
    auto mask = reinterpret_cast<RgnHandle>(&region);
    struct Case {
        const char* what;
        OpaqueGrafPtr* dst;
        int32_t mode;
        RgnHandle mask;
    };
    const Case cases[] = {{"8 onto 32", dst32.get(), srcCopy, nullptr},
                          {"mode 1", dst8.get(), 1, nullptr},
                          {"with a mask", dst8.get(), srcCopy, mask}};
    for (const Case& c : cases) {
        EXPECT_EQ(
            CopyBits(GetGWorldPixMap(src8.get()), GetGWorldPixMap(c.dst), &r, &r, c.mode, c.mask),
            paramErr)
            << c.what;
    }
    EXPECT_EQ(Row8(dst8.get(), 0), (std::vector<uint8_t>{0, 0}));
    const Rect empty = MakeRect(0, 0, 0, 2);
    EXPECT_EQ(CopyBits(GetGWorldPixMap(src8.get()), GetGWorldPixMap(dst8.get()), &r, &empty,
                       srcCopy, nullptr),
              noErr);
    EXPECT_EQ(Row8(dst8.get(), 0), (std::vector<uint8_t>{0, 0}));
}

}  // namespace
