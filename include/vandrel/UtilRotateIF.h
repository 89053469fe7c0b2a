// Rotation of a whole image by any angle, produced line by line. Made by CreateUtilRotate,
// released by Delete().
//
// The angle (degrees, clockwise on screen for positive values, CURequest::dAngle) is
// reduced to hundredths of a degree in 0..36000; 90, 180 and 270 are exact index mappings,
// every other angle (0 included) maps each output pixel back into the source with 14-bit
// fixed-point sine and cosine and samples it with the request's method ("Nearest",
// "Bilinear" or "Bicubic", any case). Areas the source does not cover take CURequest::lBKColor
// (0x00BBGGRR) in the source's colour space; one-sample (grey) images always get black.
//
// The source (a container or a caller's memory image) must stay unchanged and alive until
// EndRotating. An object serves one thread at a time.
#ifndef VANDREL_UTILROTATEIF_H
#define VANDREL_UTILROTATEIF_H

#include <cstdint>

#include "vandrel/Export.h"
#include "vandrel/Records.h"
#include "vandrel/Status.h"
#include "vandrel/UtilContainerIF.h"

class IUtilRotateIF {
public:
    /* 0 */ virtual void Delete() = 0;
    // Starts rotating the container's image by request.dAngle with request.strResizeMethod.
    // 1; kVxErrRotateState when already begun or source is null; kVxErrRotateRequest for a
    // source side of 0 or over 92681 pixels, an unknown method or a depth other than 8, 16,
    // 24, 32, 48 or 64 bits per pixel; kVxErrRotateTooLarge when the output would exceed 2 GB;
    // kVxErrAccessMemory when memory is short.
    /* 1 */ virtual int32_t BeginRotating(const IUtilContainerIF* source,
                                          const CURequest& request) = 0;
    // The same over a memory image laid out line after line, info.RowBytes() per line.
    /* 2 */ virtual int32_t BeginRotating(const void* image, const CUImageInfo& info,
                                          const CURequest& request) = 0;
    // Writes the next output line (output width x samples, 8 or 16 bits each, no padding).
    // 1; kVxErrRotateRequest for a null line; kVxErrRotateNoLine when every line has been had.
    /* 3 */ virtual int32_t GetLine(void* line) = 0;
    // The next output line in the object's own buffer (valid until the next call), or null.
    /* 4 */ virtual void* GetLine() = 0;
    // Releases the source and the buffers; the object may be begun again. Always 1.
    /* 5 */ virtual int32_t EndRotating() = 0;
    // 1, or kVxErrRotateState when not begun.
    /* 6 */ virtual int32_t GetOutputImageSize(int32_t& width, int32_t& height) = 0;
    // Maps a source position to its position in the output image (the nearest output pixel
    // of the rotated point, origin at the output's top left). 1, or kVxErrRotateState when not
    // begun.
    /* 7 */ virtual int32_t GetPosition(int32_t& x, int32_t& y) = 0;
    /* 8, 9 */ virtual ~IUtilRotateIF() = default;

protected:
    IUtilRotateIF() = default;
    IUtilRotateIF(const IUtilRotateIF&) = default;
    IUtilRotateIF& operator=(const IUtilRotateIF&) = default;
};

// A new rotation object, or null when it cannot be made.
VX_EXTERN_C VX_API IUtilRotateIF* CreateUtilRotate();

#endif
