/* Fixed-point line resamplers: the plain C interface.
 *
 * Call sequence:
 *   1. ExCreateResizeHandle(&h)
 *   2. ExBeginResize(&source, &destination, method, 0, h)
 *   3. for every source line, top to bottom: n = ExResizeSetLine(line, h), then exactly n
 *      calls of ExResizeGetLine(out, h, NULL); destination lines come out top to bottom
 *   4. ExEndResize(h) (the handle cannot be begun again afterwards)
 *   5. ExDisposeResizeHandle(h)
 *
 * Results: 0 success, a positive count of ready lines after a push, or one of the EXERR_*
 * codes. Every buffer the resamplers use comes from ExMemAlloc and goes back through ExMemFree;
 * nothing is allocated between begin and end.
 */
#ifndef VANDREL_EXRESIZE_H
#define VANDREL_EXRESIZE_H

#include <stddef.h>
#include <stdint.h>

#include "vandrel/Export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* One side of a resize. The format word packs, from the top byte down: samples per pixel
 * (bits 24-31), bytes per sample (bits 19-23; 1 selects the 8-bit kernels, anything else the
 * 16-bit ones), zero (16-18) and four 4-bit component fields (12-15, 8-11, 4-7, 0-3) whose low
 * two bits give a component's byte position and whose top bit marks a YCC format. */
typedef struct EXIMAGEINFO {
    int32_t lWidth;
    int32_t lHeight;
    uint32_t ulFormat;
} EXIMAGEINFO;

/* 0 nearest neighbour, 1 bilinear, 2-7 bicubic with different weight curves. */
typedef int32_t EXRESIZE_METHOD;

enum {
    EXRESIZE_NEAREST = 0,
    EXRESIZE_BILINEAR = 1,
    EXRESIZE_BICUBIC_SOFT = 2,
    EXRESIZE_BICUBIC_MEDIUM = 3,
    EXRESIZE_BICUBIC_SHARP = 4,
    EXRESIZE_BICUBIC = 5,
    EXRESIZE_QUORIX = 6,
    EXRESIZE_BICUBIC_ADAPTIVE = 7
};

/* Format words of the image layouts the library produces. */
#define EXFORMAT_GRAY8 0x01080333u
#define EXFORMAT_GRAY16 0x01100333u
#define EXFORMAT_RGB24 0x03080123u
#define EXFORMAT_RGB48 0x03100123u
#define EXFORMAT_RGB24_NATIVE 0x03082103u
#define EXFORMAT_RGB32_NATIVE 0x04083012u
#define EXFORMAT_RGB48_NATIVE 0x03100321u
#define EXFORMAT_RGB64_NATIVE 0x04103012u
#define EXFORMAT_YCC24 0x03084563u
#define EXFORMAT_YCC48 0x03104563u

/* Result codes. */
#define EXERR_NONE 0
#define EXERR_MEMORY (-1000)
#define EXERR_SIZE (-1001)
#define EXERR_NULL_BUFFER (-1003)
#define EXERR_MOMENT (-1004)
#define EXERR_ARGUMENT (-1005)

typedef struct EXRESIZE_HANDLE EXRESIZE_HANDLE;
typedef struct EXNEAREST_HANDLE EXNEAREST_HANDLE;
typedef struct EXBILINEAR_HANDLE EXBILINEAR_HANDLE;
typedef struct EXBICUBIC_HANDLE EXBICUBIC_HANDLE;
typedef struct EXSMOOTHLINE_HANDLE EXSMOOTHLINE_HANDLE;

/* Exported read-only constants (several names share one value). */
VX_API extern const int32_t EXNEAREST_SHIFT_BIT;        /* 1 */
VX_API extern const int32_t EXNEAREST_SHIFT_PRECISION;  /* 1 */
VX_API extern const int32_t EXBILINEAR_SHIFT_BIT;       /* 10 */
VX_API extern const int32_t EXBILINEAR_SHIFT_VALUE;     /* 1024 */
VX_API extern const int32_t EXBILINEAR_SHIFTBIT_MAX;    /* 1023 */
VX_API extern const int32_t EXBILINEAR_SHIFT_BIT2X;     /* 20 */
VX_API extern const int32_t EXBILINEAR_SHIFT_PRECISION; /* 524288 */
VX_API extern const int32_t EXRESIZE_SHIFT_BIT;         /* 20 */
VX_API extern const int32_t EXRESIZE_SHIFT_PRECISION;   /* 524288 */
VX_API extern const int32_t EXRESIZE_TABLEBIT;          /* 6 */
VX_API extern const int32_t EXRESIZE_TABLEMAXVALUE;     /* 63 */
VX_API extern const int32_t EXRSMOOTHLINE_MIN_SIZE;     /* 60 */
VX_API extern const int32_t EXRSMOOTHLINE_MAX_FACTOR;   /* 16 */
VX_API extern const int32_t BITPERPIXEL_08;             /* 8 */
VX_API extern const int32_t BITPERPIXEL_16;             /* 16 */

/* Bicubic weights: three sub-tables of 64 phases, four taps each (offsets -1, 0, +1, +2),
 * every row summing to 1024. Rows 0-63 soft, 64-127 medium, 128-191 strongly sharpening. */
VX_API extern const int16_t BicTable[192][4];

/* The resize handle. */
VX_API int32_t ExCreateResizeHandle(EXRESIZE_HANDLE** handle);
VX_API int32_t ExBeginResize(const EXIMAGEINFO* source, const EXIMAGEINFO* destination,
                             EXRESIZE_METHOD method, int32_t mode, EXRESIZE_HANDLE* handle);
VX_API int32_t ExResizeSetLine(const void* line, EXRESIZE_HANDLE* handle);
VX_API int32_t ExResizeGetLine(void* line, EXRESIZE_HANDLE* handle, void* extra);
VX_API void ExTransformPixFormat(unsigned char* line, EXRESIZE_HANDLE* handle);
VX_API int32_t ExEndResize(EXRESIZE_HANDLE* handle);
VX_API int32_t ExDisposeResizeHandle(EXRESIZE_HANDLE* handle);

/* Nearest neighbour. */
VX_API int32_t ExCreateNearestHandle(const EXIMAGEINFO* source, const EXIMAGEINFO* destination,
                                     EXNEAREST_HANDLE** handle);
VX_API int32_t ExDisposeNearestHandle(EXNEAREST_HANDLE* handle);
VX_API int32_t ExSetlineNearest8(const void* line, EXNEAREST_HANDLE* handle);
VX_API int32_t ExSetlineNearest16(const void* line, EXNEAREST_HANDLE* handle);
VX_API int32_t ExGetlineNearest8(void* line, EXNEAREST_HANDLE* handle);
VX_API int32_t ExGetlineNearest16(void* line, EXNEAREST_HANDLE* handle);

/* Bilinear. */
VX_API int32_t ExCreateBilinearHandle(const EXIMAGEINFO* source, const EXIMAGEINFO* destination,
                                      EXBILINEAR_HANDLE** handle);
VX_API int32_t ExDisposeBilinearHandle(EXBILINEAR_HANDLE* handle);
VX_API int32_t ExSetlineBilinear8(const void* line, EXBILINEAR_HANDLE* handle);
VX_API int32_t ExSetlineBilinear16(const void* line, EXBILINEAR_HANDLE* handle);
VX_API int32_t ExGetlineBilinear8(void* line, EXBILINEAR_HANDLE* handle);
VX_API int32_t ExGetlineBilinear16(void* line, EXBILINEAR_HANDLE* handle);

/* Bicubic (methods 2-7). */
VX_API int32_t ExCreateBicubicHandle(const EXIMAGEINFO* source, const EXIMAGEINFO* destination,
                                     EXBICUBIC_HANDLE** handle, EXRESIZE_METHOD method);
VX_API int32_t ExDisposeBicubicHandle(EXBICUBIC_HANDLE* handle);
VX_API int32_t ExSetlineBicubic8(const void* line, EXBICUBIC_HANDLE* handle);
VX_API int32_t ExSetlineBicubic16(const void* line, EXBICUBIC_HANDLE* handle);
VX_API int32_t ExGetlineBicubic8(void* line, EXBICUBIC_HANDLE* handle);
VX_API int32_t ExGetlineBicubic16(void* line, EXBICUBIC_HANDLE* handle);

/* Box pre-reduction in front of the bicubic methods 5-7. The create call answers 0 when a
 * pre-reducer was made (target narrowed to the intermediate size) and 1 when none is needed. */
VX_API int32_t ExCreateSmoothLineHandle(const EXIMAGEINFO* source, EXIMAGEINFO* target,
                                        EXRESIZE_METHOD method, EXSMOOTHLINE_HANDLE** handle);
VX_API void ExDisposeSmoothLineHandle(EXSMOOTHLINE_HANDLE** handle);
VX_API int32_t ExSetlineSmooth(const void* line, EXSMOOTHLINE_HANDLE* handle, void* extra);
VX_API int32_t ExSetlineSmooth8(const void* line, EXSMOOTHLINE_HANDLE* handle);
VX_API int32_t ExSetlineSmooth16(const void* line, EXSMOOTHLINE_HANDLE* handle);
VX_API int32_t ExGetlineSmooth(void* line, EXSMOOTHLINE_HANDLE* handle);
VX_API int32_t ExGetlineSmooth8(void* line, EXSMOOTHLINE_HANDLE* handle);
VX_API int32_t ExGetlineSmooth16(void* line, EXSMOOTHLINE_HANDLE* handle);

/* Memory: plain heap blocks (contents undefined) and an overlap-safe move. Note the order of
 * ExMemCopy's arguments: source first, destination second. */
VX_API void* ExMemAlloc(size_t size);
VX_API void ExMemFree(void* block);
VX_API void ExMemCopy(const void* source, void* destination, size_t count);

#ifdef __cplusplus
}
#endif

#endif
