// Offscreen graphics ports: a small pixel map of 32-bit or 8-bit pixels that the macro object
// draws into, with the rectangle and point arithmetic and the scaling copy that go with it.
// The names follow the classic offscreen-world calls so that code written against them reads
// the same here; the types are our own and exist on any platform.
//
// Pixels: 32-bit pixels hold four bytes in memory order alpha (or 0), red, green, blue, the
// native 32-bit layout of the line converters; 8-bit pixels hold one sample (an alpha plane).
// Rows run top to bottom, rowBytes apart; the pixel at (bounds.left, bounds.top) is the first
// byte of the base address.
//
// Rectangles: left, top, right, bottom with right and bottom exclusive, so a rectangle is
// (right - left) pixels wide and (bottom - top) rows high, and a point is inside when
// left <= h < right and top <= v < bottom. Coordinates are 32-bit, since images exceed the
// 16-bit range. The fields are laid out top, left, bottom, right, points v then h, as the
// classic records were.
//
// A world is used by one thread at a time.
#ifndef VANDREL_GRAPHICSPORT_H
#define VANDREL_GRAPHICSPORT_H

#include <cstdint>

#include "vandrel/Export.h"

struct Point {
    int32_t v;
    int32_t h;
};

struct Rect {
    int32_t top;
    int32_t left;
    int32_t bottom;
    int32_t right;
};

// The pixel map of a world: where its pixels are and how they are laid out.
struct PixMap {
    char* baseAddr;
    int32_t rowBytes;
    Rect bounds;
    int32_t pixelSize;  // bits per pixel: 32 or 8
};
// There are no relocatable handles here: a pixel map handle is a plain pointer that stays
// valid as long as its world.
using PixMapHandle = PixMap*;
// What CopyBits reads and writes.
using BitMap = PixMap;

// An offscreen world (a graphics port). Made by NewGWorld or NewGWorldFromPtr, released by
// DisposeGWorld; its fields are read through the calls below.
struct OpaqueGrafPtr {
    PixMap pixMap;
    char* ownedPixels;  // null when the pixels are the caller's (NewGWorldFromPtr)
    int32_t lockCount;
};
using GWorldPtr = OpaqueGrafPtr*;
using CGrafPtr = OpaqueGrafPtr*;

// Results of the calls that can fail, in the classic values.
constexpr int32_t noErr = 0;
constexpr int32_t paramErr = -50;     // depth, bounds, row bytes, mode or mask not accepted
constexpr int32_t memFullErr = -108;  // no memory for the pixels

// Flags of NewGWorld. Pixels always come from the ordinary heap; the flag is accepted so that
// callers can say what they mean.
constexpr uint32_t useTempMem = 4;

// Transfer mode of CopyBits: a plain copy, the only mode there is.
constexpr int32_t srcCopy = 0;

// A mask region of CopyBits. Masks are not supported; pass null.
struct MacRegion;
using RgnHandle = MacRegion*;

extern "C" {
// A world of depth 32 or 8 over bounds, pixels zeroed, rows padded to 4 bytes. noErr and the
// world in *world, or paramErr / memFullErr and null.
VX_API int32_t NewGWorld(OpaqueGrafPtr** world, int32_t depth, const Rect* bounds, uint32_t flags);
// A world over the caller's pixels (a framebuffer, a window's backing store): depth 32 or 8,
// rowBytes at least one row of bounds' width. The buffer stays the caller's and must outlive
// the world. noErr, or paramErr and null.
VX_API int32_t NewGWorldFromPtr(OpaqueGrafPtr** world, int32_t depth, const Rect* bounds,
                                void* buffer, int32_t rowBytes);
// Releases a world (and its pixels when it owns them); null is ignored.
VX_API void DisposeGWorld(OpaqueGrafPtr* world);

VX_API PixMapHandle GetGWorldPixMap(OpaqueGrafPtr* world);
// Pixels never move here; locking only counts, so that a drawing can say where it writes
// directly. Answers 1.
VX_API int32_t LockPixels(PixMapHandle pixMap);
VX_API void UnlockPixels(PixMapHandle pixMap);
VX_API char* GetPixBaseAddr(PixMapHandle pixMap);
VX_API int32_t GetPixRowBytes(PixMapHandle pixMap);
VX_API const BitMap* GetPortBitMapForCopyBits(OpaqueGrafPtr* port);

// Copies srcRect of src onto dstRect of dst, scaling by nearest neighbour: destination pixel
// (x, y) takes source pixel (srcRect.left + (x - dstRect.left) * srcWidth / dstWidth,
// srcRect.top + (y - dstRect.top) * srcHeight / dstHeight), quotients truncated. Pixels whose
// destination lies outside dst's bounds, or whose source lies outside src's, are left alone.
// Both maps must have the same depth, the mode must be srcCopy and the mask null; otherwise
// nothing is drawn and the answer is paramErr. Empty rectangles draw nothing (noErr). Within
// one map, a same-size copy may overlap itself; a scaled one must not.
VX_API int32_t CopyBits(const BitMap* src, const BitMap* dst, const Rect* srcRect,
                        const Rect* dstRect, int32_t mode, RgnHandle mask);

VX_API void SetRect(Rect* r, int32_t left, int32_t top, int32_t right, int32_t bottom);
VX_API void OffsetRect(Rect* r, int32_t dh, int32_t dv);
VX_API void SetPt(Point* pt, int32_t h, int32_t v);
VX_API bool PtInRect(Point pt, const Rect* r);
}

#endif
