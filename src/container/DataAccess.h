// Read-only pixel access for algorithms that sample an image at arbitrary points (rotation,
// resizing, blending), so that they run the same on a paged container and on a plain buffer.
#ifndef VANDREL_CONTAINER_DATAACCESS_H
#define VANDREL_CONTAINER_DATAACCESS_H

#include <cstdint>
#include <cstring>

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
    // One pixel; the common sizes are fixed-size copies the compiler turns into moves.
    static void CopyPixel(void* dst, const void* src, int32_t bytesPerPixel) {
        switch (bytesPerPixel) {
            case 1:
                std::memcpy(dst, src, 1);
                break;
            case 3:
                std::memcpy(dst, src, 3);
                break;
            case 4:
                std::memcpy(dst, src, 4);
                break;
            case 6:
                std::memcpy(dst, src, 6);
                break;
            case 8:
                std::memcpy(dst, src, 8);
                break;
            default:
                std::memcpy(dst, src, size_t(bytesPerPixel));
                break;
        }
    }
    CDataAccess(const CDataAccess&) = default;
    CDataAccess& operator=(const CDataAccess&) = default;
};

#endif
