// Offscreen worlds over heap or caller memory, and the nearest-neighbour copy between them.
#include "vandrel/GraphicsPort.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

namespace {

int64_t Width(const Rect& r) {
    return int64_t(r.right) - r.left;
}
int64_t Height(const Rect& r) {
    return int64_t(r.bottom) - r.top;
}

bool IsSupportedDepth(int32_t depth) {
    return depth == 32 || depth == 8;
}

// Bytes of one row of pixels, padded to a whole 32-bit word; 0 when it does not fit in 32 bits.
int32_t PaddedRowBytes(int64_t width, int32_t depth) {
    const int64_t bytes = ((width * depth + 31) / 32) * 4;
    return bytes > std::numeric_limits<int32_t>::max() ? 0 : int32_t(bytes);
}

bool IsUsableBounds(const Rect* bounds) {
    return bounds != nullptr && Width(*bounds) >= 1 && Height(*bounds) >= 1;
}

OpaqueGrafPtr* MakeWorld(int32_t depth, const Rect& bounds, char* pixels, int32_t rowBytes,
                         bool owned) {
    auto* world = new (std::nothrow) OpaqueGrafPtr();
    if (world == nullptr) return nullptr;
    world->pixMap.baseAddr = pixels;
    world->pixMap.rowBytes = rowBytes;
    world->pixMap.bounds = bounds;
    world->pixMap.pixelSize = depth;
    world->ownedPixels = owned ? pixels : nullptr;
    world->lockCount = 0;
    return world;
}

// One axis of a scaled copy: the destination coordinates [first, last) that are inside the
// destination bounds and whose source coordinate is inside the source bounds. Source
// coordinates grow with destination ones, so the valid ones form one run.
struct AxisMap {
    int64_t srcStart = 0, srcLength = 0, dstStart = 0, dstLength = 0;
    int64_t first = 0;
    int64_t last = 0;

    int64_t SourceOf(int64_t d) const { return srcStart + (d - dstStart) * srcLength / dstLength; }
};

AxisMap MapAxis(int64_t srcStart, int64_t srcLength, int64_t srcLo, int64_t srcHi, int64_t dstStart,
                int64_t dstLength, int64_t dstLo, int64_t dstHi) {
    AxisMap m;
    m.srcStart = srcStart;
    m.srcLength = srcLength;
    m.dstStart = dstStart;
    m.dstLength = dstLength;
    m.first = std::max(dstStart, dstLo);
    m.last = std::min(dstStart + dstLength, dstHi);
    while (m.first < m.last && m.SourceOf(m.first) < srcLo)
        ++m.first;
    while (m.first < m.last && m.SourceOf(m.last - 1) >= srcHi)
        --m.last;
    return m;
}

char* PixelAt(const BitMap& map, int64_t x, int64_t y, int32_t pixelBytes) {
    return map.baseAddr + (y - map.bounds.top) * int64_t(map.rowBytes) +
           (x - map.bounds.left) * pixelBytes;
}

template <typename Pixel>
void GatherRow(const char* srcRow, char* dstRow, const int32_t* sourceOffsets, int64_t count) {
    for (int64_t i = 0; i < count; ++i) {
        Pixel p;
        std::memcpy(&p, srcRow + sourceOffsets[i], sizeof p);
        std::memcpy(dstRow + i * int64_t(sizeof p), &p, sizeof p);
    }
}

}  // namespace

int32_t NewGWorld(OpaqueGrafPtr** world, int32_t depth, const Rect* bounds, uint32_t /*flags*/) {
    if (world == nullptr) return paramErr;
    *world = nullptr;
    if (!IsSupportedDepth(depth) || !IsUsableBounds(bounds)) return paramErr;
    const int32_t rowBytes = PaddedRowBytes(Width(*bounds), depth);
    if (rowBytes == 0) return memFullErr;
    const uint64_t size = uint64_t(rowBytes) * uint64_t(Height(*bounds));
    if (size > std::numeric_limits<size_t>::max() / 2) return memFullErr;
    char* pixels = new (std::nothrow) char[size_t(size)]();
    if (pixels == nullptr) return memFullErr;
    *world = MakeWorld(depth, *bounds, pixels, rowBytes, true);
    if (*world == nullptr) {
        delete[] pixels;
        return memFullErr;
    }
    return noErr;
}

int32_t NewGWorldFromPtr(OpaqueGrafPtr** world, int32_t depth, const Rect* bounds, void* buffer,
                         int32_t rowBytes) {
    if (world == nullptr) return paramErr;
    *world = nullptr;
    if (!IsSupportedDepth(depth) || !IsUsableBounds(bounds) || buffer == nullptr) return paramErr;
    if (int64_t(rowBytes) < Width(*bounds) * (depth / 8)) return paramErr;
    *world = MakeWorld(depth, *bounds, static_cast<char*>(buffer), rowBytes, false);
    return *world == nullptr ? memFullErr : noErr;
}

void DisposeGWorld(OpaqueGrafPtr* world) {
    if (world == nullptr) return;
    delete[] world->ownedPixels;
    delete world;
}

PixMapHandle GetGWorldPixMap(OpaqueGrafPtr* world) {
    return world == nullptr ? nullptr : &world->pixMap;
}

// The pixel map is the first member of its world, so the world is found from it.
int32_t LockPixels(PixMapHandle pixMap) {
    if (pixMap != nullptr) ++reinterpret_cast<OpaqueGrafPtr*>(pixMap)->lockCount;
    return 1;
}

void UnlockPixels(PixMapHandle pixMap) {
    if (pixMap == nullptr) return;
    auto* world = reinterpret_cast<OpaqueGrafPtr*>(pixMap);
    if (world->lockCount > 0) --world->lockCount;
}

char* GetPixBaseAddr(PixMapHandle pixMap) {
    return pixMap == nullptr ? nullptr : pixMap->baseAddr;
}

int32_t GetPixRowBytes(PixMapHandle pixMap) {
    return pixMap == nullptr ? 0 : pixMap->rowBytes;
}

const BitMap* GetPortBitMapForCopyBits(OpaqueGrafPtr* port) {
    return port == nullptr ? nullptr : &port->pixMap;
}

int32_t CopyBits(const BitMap* src, const BitMap* dst, const Rect* srcRect, const Rect* dstRect,
                 int32_t mode, RgnHandle mask) {
    if (src == nullptr || dst == nullptr || srcRect == nullptr || dstRect == nullptr)
        return paramErr;
    if (mode != srcCopy || mask != nullptr || src->pixelSize != dst->pixelSize ||
        !IsSupportedDepth(src->pixelSize))
        return paramErr;
    const int64_t srcW = Width(*srcRect), srcH = Height(*srcRect);
    const int64_t dstW = Width(*dstRect), dstH = Height(*dstRect);
    if (srcW <= 0 || srcH <= 0 || dstW <= 0 || dstH <= 0) return noErr;

    const AxisMap cols = MapAxis(srcRect->left, srcW, src->bounds.left, src->bounds.right,
                                 dstRect->left, dstW, dst->bounds.left, dst->bounds.right);
    const AxisMap rows = MapAxis(srcRect->top, srcH, src->bounds.top, src->bounds.bottom,
                                 dstRect->top, dstH, dst->bounds.top, dst->bounds.bottom);
    if (cols.first >= cols.last || rows.first >= rows.last) return noErr;

    const int32_t pixelBytes = src->pixelSize / 8;
    const int64_t count = cols.last - cols.first;
    const int64_t srcX0 = cols.SourceOf(cols.first);
    const bool sameWidth = srcW == dstW;
    std::vector<int32_t> sourceOffsets;
    if (!sameWidth) {
        // Offsets from the first source pixel of a row, so one table serves every row; they
        // stay within one row of the source, whose byte count fits in 32 bits.
        sourceOffsets.resize(size_t(count));
        for (int64_t i = 0; i < count; ++i)
            sourceOffsets[size_t(i)] =
                int32_t((cols.SourceOf(cols.first + i) - srcX0) * pixelBytes);
    }

    // Rows are walked so that a same-size copy within one map never reads a row it has
    // already overwritten.
    const bool upward = src->baseAddr == dst->baseAddr && dstRect->top > srcRect->top;
    for (int64_t n = 0; n < rows.last - rows.first; ++n) {
        const int64_t y = upward ? rows.last - 1 - n : rows.first + n;
        const char* from = PixelAt(*src, srcX0, rows.SourceOf(y), pixelBytes);
        char* to = PixelAt(*dst, cols.first, y, pixelBytes);
        if (sameWidth)
            std::memmove(to, from, size_t(count * pixelBytes));
        else if (pixelBytes == 4)
            GatherRow<uint32_t>(from, to, sourceOffsets.data(), count);
        else
            GatherRow<uint8_t>(from, to, sourceOffsets.data(), count);
    }
    return noErr;
}

void SetRect(Rect* r, int32_t left, int32_t top, int32_t right, int32_t bottom) {
    r->left = left;
    r->top = top;
    r->right = right;
    r->bottom = bottom;
}

void OffsetRect(Rect* r, int32_t dh, int32_t dv) {
    r->left += dh;
    r->right += dh;
    r->top += dv;
    r->bottom += dv;
}

void SetPt(Point* pt, int32_t h, int32_t v) {
    pt->h = h;
    pt->v = v;
}

bool PtInRect(Point pt, const Rect* r) {
    return pt.h >= r->left && pt.h < r->right && pt.v >= r->top && pt.v < r->bottom;
}
