// The records behind the opaque resampling handles. Only the resampling code and its tests
// look inside; callers of the C interface see pointers.
#ifndef VANDREL_RESAMPLE_EXHANDLES_H
#define VANDREL_RESAMPLE_EXHANDLES_H

#include <cstdint>

#include "resample/ResampleKernels.h"
#include "vandrel/ExResize.h"

typedef int32_t (*ExEnginePush)(const void* line, void* engine);
typedef int32_t (*ExEnginePull)(void* line, void* engine, void* extra);
typedef int32_t (*ExEngineDispose)(void* engine);

struct EXRESIZE_HANDLE {
    EXIMAGEINFO current;  // what the engine consumes (the intermediate size behind a pre-reducer)
    EXIMAGEINFO destination;
    EXIMAGEINFO given;         // the source geometry passed to begin
    EXIMAGEINFO smoothTarget;  // narrowed to the intermediate size by the pre-reducer set-up
    int32_t lMode;             // line selection: 1, 2 keep even lines, 3 odd ones, others all
    int32_t bEnded;
    int32_t lComponent[4];  // byte positions from the destination format word
    void* pEngine;
    EXRESIZE_METHOD lMethod;
    ExEnginePush pfnPush;
    ExEnginePull pfnPull;
    int32_t lRemaining;  // destination lines not yet pulled
    int32_t lLinesIn;    // pushed lines, skipped ones included
    int32_t lReady;      // destination lines that may be pulled now
    EXSMOOTHLINE_HANDLE* pSmooth;
    ExEngineDispose pfnDispose;  // releases pEngine; set together with it
};

struct EXNEAREST_HANDLE {
    EXIMAGEINFO source;
    EXIMAGEINFO destination;
    unsigned char* pLine;  // the most recently kept source line
    int32_t lComponent[4];
    int32_t lChannels;
    int32_t lNextDst;
    int32_t lNextSrc;
    int32_t lReady;
    int32_t lPushed;
    int32_t* pColumnMap;                         // source column per destination column
    int32_t* pRowMap;                            // source line per destination line
    const vxresample::NearestKernels* pKernels;  // chosen when the handle is made
    vxresample::AcrossMap across;                // the column map, also flattened per sample
    int32_t* pSampleFirst;
};

struct EXBILINEAR_HANDLE {
    EXIMAGEINFO source;
    EXIMAGEINFO destination;
    unsigned char* pBlock;  // two line slots, each with one spare pixel on the right
    unsigned char* pUpper;  // the older line of the band
    unsigned char* pLower;  // the newest line
    int32_t lComponent[4];
    int32_t lChannels;
    int32_t lNextDst;
    int32_t lNextSrc;
    int32_t lReady;
    int32_t lBandBase;
    int32_t* pColumnIndex;     // source pixel left of each destination column
    int32_t* pColumnFraction;  // 0-1023 towards the right neighbour
    int64_t* pRowMap;          // source line position, 10 fraction bits
    int32_t lSlotBytes;
    // How a line is blended; every order gives the same integers (see ExBilinear.cpp).
    int32_t lStrategy;
    unsigned char* pLineUsed;  // per source line: 1 when some destination line reads it
    uint32_t* pBlend;          // vertical blend of the band (vertical-first order)
    uint32_t* pRowBlock;       // two horizontally blended lines (horizontal-first order)
    uint32_t* pRowUpper;
    uint32_t* pRowLower;
    const vxresample::BilinearKernels* pKernels;  // chosen when the handle is made
    vxresample::AcrossMap across;                 // the column maps, also flattened per sample
    int32_t* pSampleFirst;
    int32_t* pSampleFraction;
    int32_t* pWindowBase;  // 8-bit lines: the pair windows of the across map
    uint8_t* pWindowShuffle;
};

struct EXBICUBIC_HANDLE {
    EXIMAGEINFO source;
    EXIMAGEINFO destination;
    unsigned char* pBlock;    // four line slots
    unsigned char* pSlot[4];  // oldest (tap 0) to newest (tap 3)
    int32_t lComponent[4];
    int32_t lChannels;
    int32_t lNextDst;
    int32_t lNextSrc;
    int32_t lReady;
    int32_t lBandBase;
    int32_t* pColumnIndex;
    int32_t* pColumnPhase;            // 0-63
    int64_t* pRowMap;                 // source line position, 6 fraction bits
    int32_t* pColumns;                // vertical pass: (width + 3) pixels, one pad left, two right
    const int16_t (*pHorizontal)[4];  // first row of the horizontal sub-table
    const int16_t (*pVertical)[4];    // first row of the vertical sub-table
    unsigned char* pLineUsed;         // per source line: 1 when some destination line reads it
    // Enlarging across, each source line is filtered across once when it arrives and the
    // four filtered rows follow the slots; see ExBicubic.cpp.
    int32_t bAcrossFirst;
    int32_t* pRowBlock;
    int32_t* pRow[4];  // filtered rows of slot 0 to 3, destination width × channels
    const vxresample::BicubicKernels* pKernels;  // chosen when the handle is made
    vxresample::AcrossMap across;                // the column maps, also flattened per sample
    int32_t* pSampleFirst;
    int32_t* pSamplePhase;
};

struct EXSMOOTHLINE_HANDLE {
    EXIMAGEINFO source;
    EXIMAGEINFO output;  // the intermediate size
    uint32_t* pSums;     // output width × channels: the sums of the finished blocks
    int32_t lChannels;
    int32_t lProduced;
    int32_t lAccumulated;
    int32_t bComplete;  // a reduced line waits to be pulled
    int32_t lPushed;
    int32_t lFactorX;
    int32_t lFactorY;
    int32_t (*pfnPush)(const void* line, EXSMOOTHLINE_HANDLE* handle);
    int32_t (*pfnPull)(void* line, EXSMOOTHLINE_HANDLE* handle);
    unsigned char* pReduced;  // where the resize handle receives reduced lines
    uint32_t* pColumnSums;    // source width × channels: the block's lines added up
    const vxresample::SmoothKernels* pKernels;  // chosen when the handle is made
};

#endif
