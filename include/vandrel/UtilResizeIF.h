// The resize object: turns a source description and a request into a running resampler, takes
// source lines and hands out resized ones, and offers a one-call resize of an image in memory.
// Made by CreateUtilResize, released by Delete(). One thread at a time per object.
#ifndef VANDREL_UTILRESIZEIF_H
#define VANDREL_UTILRESIZEIF_H

#include <cstdint>

#include "vandrel/Export.h"
#include "vandrel/Records.h"
#include "vandrel/Status.h"

class IUtilResizeIF {
public:
    /* 0 */ virtual void Delete() = 0;
    // Starts resizing lines of `source` to the request's width and height with the request's
    // method ("Nearest", "Bilinear", "Bicubic", "Quorix", any letter case). Depth, layout and
    // colour space stay those of the source. 1 or a code.
    /* 1 */ virtual int32_t BeginResize(const CUImageInfo& source, const CURequest& request) = 0;
    /* 2 */ virtual int32_t EndResize() = 0;
    // Pushes one source line; answers how many output lines are now ready (>= 0) or a code.
    /* 3 */ virtual int32_t SetLine(const void* line) = 0;
    // Writes the next ready output line; 1 (also when none is ready, leaving `line` alone).
    /* 4 */ virtual int32_t GetLine(void* line) = 0;
    // The next ready output line in the object's own buffer (valid until the next call), or
    // null when none is ready.
    /* 5 */ virtual void* GetLine() = 0;
    // Resizes a whole image: `pixels` holds source.lHeight lines of source.RowBytes() bytes,
    // `output` receives the output lines at the padded output line size. Independent of any
    // begun resize.
    /* 6 */ virtual int32_t GetImage(const CUImageInfo& source, const void* pixels,
                                     const CURequest& request, void* output) = 0;
    /* 7, 8 */ virtual ~IUtilResizeIF() = default;
};

VX_EXTERN_C VX_API IUtilResizeIF* CreateUtilResize();

#endif
