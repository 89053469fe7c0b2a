// The object face of a resampler: made from a method name, begun with two image records,
// fed and drained line by line. Results are the resampling functions' own codes (0 success,
// ready counts after a push, negative errors); the resize object translates them.
#ifndef VANDREL_RESIZE_RESIZEENGINE_H
#define VANDREL_RESIZE_RESIZEENGINE_H

#include <cstdint>

#include "vandrel/Records.h"

class CResizeEngine {
public:
    /* 0, 1 */ virtual ~CResizeEngine() = default;
    /* 2 */ virtual CResizeEngine* Clone() = 0;
    /* 3 */ virtual int32_t BeginResize(const CUImageInfo* source,
                                        const CUImageInfo* destination) = 0;
    /* 4 */ virtual int32_t EndResize() = 0;
    /* 5 */ virtual int32_t SetLine(const void* line) = 0;
    /* 6 */ virtual int32_t GetLine(void* line) = 0;
    /* 7 */ virtual const char* GetInterpolation() = 0;
};

#endif
