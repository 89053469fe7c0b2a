// The paged image container: a whole image held as a grid of square pieces, of which only a
// bounded number (the cache) live in memory; the rest wait in one temporary file per container.
// Made by CreateUtilContainer, usable once Create succeeds, released by Delete().
//
// Pixel addressing: x is the column (0 at the left), line or y the line (0 at the top). A pixel
// takes (bits per pixel >> 3) bytes; lines are padded to whole 32-bit words. Depths below 8 bits
// are not supported.
//
// A container is used by one thread at a time: even the const reads move pieces in and out of
// memory. Pointers returned by GetLine(line, x, count) and GetPixel stay valid only until the
// next call on the same container.
#ifndef VANDREL_UTILCONTAINERIF_H
#define VANDREL_UTILCONTAINERIF_H

#include <cstdint>

#include "vandrel/Export.h"
#include "vandrel/Records.h"
#include "vandrel/Status.h"

class IUtilContainerIF {
public:
    // Clears, then lays out the pieces for info (line size recomputed). pieceSize 256, 512 or
    // 1024; anything else means 128. cacheCount is raised to one full row of pieces.
    // 1, or kVxErrContainerMemory / kVxErrInvalidArgument (the container is left cleared).
    /* 0 */ virtual int32_t Create(const CUImageInfo& info, int cacheCount, int pieceSize) = 0;
    // Frees every piece and removes the temporary file; the image info stays.
    /* 1 */ virtual void Clear() = 0;
    /* 2 */ virtual void Delete() = 0;
    // A new, empty container of the same shape (pixels are not copied); null on failure.
    /* 3 */ virtual IUtilContainerIF* Clone() const = 0;
    /* 4 */ virtual IUtilContainerIF* Clone(const CUImageInfo& info, int cacheCount,
                                            int pieceSize) const = 0;
    // Stores count pixels of line `line` from pixel x; count -1 = to the end of the line, the
    // line's padding included. 1, or 0 for coordinates outside the image or a paging failure.
    /* 5 */ virtual int32_t SetLine(const void* src, int32_t line, int32_t x, int32_t count) = 0;
    // Copies from pixel x to the end of the line (padding included) into dst. 1 or 0.
    /* 6 */ virtual int32_t GetLine(void* dst, int32_t line, int32_t x) const = 0;
    // The container's own line buffer holding count pixels (-1: to the end) from pixel x: its
    // first byte is pixel x. Null for coordinates outside the image or a paging failure.
    /* 7 */ virtual void* GetLine(int32_t line, int32_t x, int32_t count) const = 0;
    // The first byte of pixel (x, y), or null.
    /* 8 */ virtual void* GetPixel(int32_t x, int32_t y) const = 0;
    // Copies the rectangle with inclusive corners into dst, whose lines are exactly
    // (right - left + 1) pixels with no padding. Points outside the image are left untouched.
    /* 9 */ virtual int32_t GetBoxData(void* dst, int32_t left, int32_t top, int32_t right,
                                       int32_t bottom) const = 0;
    // 1 once a line has been stored.
    /* 10 */ virtual int32_t hasImage() const = 0;
    /* 11 */ virtual void GetImageInfo(CUImageInfo& info) const = 0;
    /* 12 */ virtual int32_t GetNeedLineSize() const = 0;
    /* 13 */ virtual int32_t GetCacheSize() const = 0;
    // 0 when not created.
    /* 14 */ virtual int32_t GetPieceSize() const = 0;
    // Writes every piece in memory out to the temporary file and frees it. 1 or 0.
    /* 15 */ virtual int32_t PageOut() = 0;
    // A new container holding the rectangle with inclusive corners (put in order first); null
    // when it reaches outside the image.
    /* 16 */ virtual IUtilContainerIF* Clip(int32_t left, int32_t top, int32_t right,
                                            int32_t bottom) const = 0;
    // Takes a copy of another container's pixels, always with cache 1000 and piece size 128.
    /* 17 */ virtual IUtilContainerIF& operator=(const IUtilContainerIF& src) = 0;
    /* 18, 19 */ virtual ~IUtilContainerIF() = default;

protected:
    IUtilContainerIF() = default;
    IUtilContainerIF(const IUtilContainerIF&) = default;
};

// An empty container, or null when it cannot be made.
VX_EXTERN_C VX_API IUtilContainerIF* CreateUtilContainer();

#endif
