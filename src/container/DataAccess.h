// Read-only pixel access for algorithms that sample an image at arbitrary points (rotation,
// resizing, blending), so that they run the same on a paged container and on a plain buffer.
#ifndef VANDREL_CONTAINER_DATAACCESS_H
#define VANDREL_CONTAINER_DATAACCESS_H

#include <cstdint>

class CDataAccess {
public:
    /* 1, 2 */ virtual ~CDataAccess() = default;
    /* 3 */ virtual int32_t GetWidth() const = 0;
    /* 4 */ virtual int32_t GetHeight() const = 0;
    /* 5 */ virtual int32_t GetColorDepth() const = 0;  // bits per pixel
                                                        // Only a native flag of exactly 1 counts.
    /* 6 */ virtual bool IsNative() const = 0;
    /* 7 */ virtual const char* GetColorSpace() const = 0;
    // Copies one pixel to dst. 1, or 0 when the pixel cannot be had (dst is then untouched).
    /* 8 */ virtual int32_t GetPixelData(void* dst, int32_t x, int32_t y) = 0;
    // Copies the box with inclusive corners to dst, lines of exactly (right - left + 1) pixels
    // with no padding; points outside the image leave their bytes in dst untouched. 1 or 0.
    /* 9 */ virtual int32_t GetBoxData(void* dst, int32_t left, int32_t top, int32_t right,
                                       int32_t bottom) = 0;

protected:
    CDataAccess() = default;
    CDataAccess(const CDataAccess&) = default;
    CDataAccess& operator=(const CDataAccess&) = default;
};

#endif
