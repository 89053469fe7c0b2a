// The resize handle: method choice, the optional box pre-reducer, line selection and the
// push/pull protocol in front of one engine; plus the exported constants and memory calls.
#include <cstdlib>
#include <cstring>

#include "resample/ExHandles.h"
#include "resample/ResampleCommon.h"

using namespace vxresample;

extern "C" {

const int32_t EXNEAREST_SHIFT_BIT = kNearestShift;
const int32_t EXNEAREST_SHIFT_PRECISION = kNearestShift;
const int32_t EXBILINEAR_SHIFT_BIT = kLinearBits;
const int32_t EXBILINEAR_SHIFT_VALUE = kLinearOne;
const int32_t EXBILINEAR_SHIFTBIT_MAX = kLinearMask;
const int32_t EXBILINEAR_SHIFT_BIT2X = kProductBits;
const int32_t EXBILINEAR_SHIFT_PRECISION = kProductHalf;
const int32_t EXRESIZE_SHIFT_BIT = kProductBits;
const int32_t EXRESIZE_SHIFT_PRECISION = kProductHalf;
const int32_t EXRESIZE_TABLEBIT = kPhaseBits;
const int32_t EXRESIZE_TABLEMAXVALUE = kPhaseMask;
const int32_t EXRSMOOTHLINE_MIN_SIZE = kSmoothMinSize;
const int32_t EXRSMOOTHLINE_MAX_FACTOR = kSmoothMaxFactor;
const int32_t BITPERPIXEL_08 = 8;
const int32_t BITPERPIXEL_16 = 16;

}  // extern "C"

namespace {

// The handle keeps one untyped engine; these adapt each engine's typed calls to it.
template <typename Engine, int32_t (*Push)(const void*, Engine*)>
int32_t PushThrough(const void* line, void* engine) {
    return Push(line, static_cast<Engine*>(engine));
}
template <typename Engine, int32_t (*Pull)(void*, Engine*)>
int32_t PullThrough(void* line, void* engine, void* /*extra: engines take none*/) {
    return Pull(line, static_cast<Engine*>(engine));
}
template <typename Engine, int32_t (*Dispose)(Engine*)>
int32_t DisposeThrough(void* engine) {
    return Dispose(static_cast<Engine*>(engine));
}

struct EngineCalls {
    ExEnginePush push8, push16;
    ExEnginePull pull8, pull16;
    ExEngineDispose dispose;
};

const EngineCalls kNearestCalls = {PushThrough<EXNEAREST_HANDLE, ExSetlineNearest8>,
                                   PushThrough<EXNEAREST_HANDLE, ExSetlineNearest16>,
                                   PullThrough<EXNEAREST_HANDLE, ExGetlineNearest8>,
                                   PullThrough<EXNEAREST_HANDLE, ExGetlineNearest16>,
                                   DisposeThrough<EXNEAREST_HANDLE, ExDisposeNearestHandle>};
const EngineCalls kBilinearCalls = {PushThrough<EXBILINEAR_HANDLE, ExSetlineBilinear8>,
                                    PushThrough<EXBILINEAR_HANDLE, ExSetlineBilinear16>,
                                    PullThrough<EXBILINEAR_HANDLE, ExGetlineBilinear8>,
                                    PullThrough<EXBILINEAR_HANDLE, ExGetlineBilinear16>,
                                    DisposeThrough<EXBILINEAR_HANDLE, ExDisposeBilinearHandle>};
const EngineCalls kBicubicCalls = {PushThrough<EXBICUBIC_HANDLE, ExSetlineBicubic8>,
                                   PushThrough<EXBICUBIC_HANDLE, ExSetlineBicubic16>,
                                   PullThrough<EXBICUBIC_HANDLE, ExGetlineBicubic8>,
                                   PullThrough<EXBICUBIC_HANDLE, ExGetlineBicubic16>,
                                   DisposeThrough<EXBICUBIC_HANDLE, ExDisposeBicubicHandle>};

void ReleaseEngines(EXRESIZE_HANDLE* h) {
    if (h->pEngine != nullptr && h->pfnDispose != nullptr) h->pfnDispose(h->pEngine);
    h->pEngine = nullptr;
    h->pfnDispose = nullptr;
    ExDisposeSmoothLineHandle(&h->pSmooth);
}

// Creates the engine for the method; 0, or the engine's error with no engine kept.
int32_t CreateEngine(EXRESIZE_HANDLE* h) {
    const EngineCalls* calls = nullptr;
    int32_t result = kErrArgument;
    switch (h->lMethod) {
        case EXRESIZE_NEAREST:
            result = ExCreateNearestHandle(&h->current, &h->destination,
                                           reinterpret_cast<EXNEAREST_HANDLE**>(&h->pEngine));
            calls = &kNearestCalls;
            break;
        case EXRESIZE_BILINEAR:
            result = ExCreateBilinearHandle(&h->current, &h->destination,
                                            reinterpret_cast<EXBILINEAR_HANDLE**>(&h->pEngine));
            calls = &kBilinearCalls;
            break;
        default:
            result = ExCreateBicubicHandle(&h->current, &h->destination,
                                           reinterpret_cast<EXBICUBIC_HANDLE**>(&h->pEngine),
                                           h->lMethod);
            calls = &kBicubicCalls;
            break;
    }
    if (result != 0) {
        h->pEngine = nullptr;
        return result;
    }
    const bool eightBit = IsEightBit(h->given.ulFormat);
    h->pfnPush = eightBit ? calls->push8 : calls->push16;
    h->pfnPull = eightBit ? calls->pull8 : calls->pull16;
    h->pfnDispose = calls->dispose;
    return 0;
}

// Modes 1 and 2 keep the lines with an even count, mode 3 those with an odd one.
bool SkipsLine(int32_t mode, int32_t counter) {
    if (mode == 1 || mode == 2) return (counter & 1) != 0;
    if (mode == 3) return (counter & 1) == 0;
    return false;
}

}  // namespace

extern "C" {

void* ExMemAlloc(size_t size) {
    return std::malloc(size);
}

void ExMemFree(void* block) {
    std::free(block);
}

void ExMemCopy(const void* source, void* destination, size_t count) {
    std::memmove(destination, source, count);
}

int32_t ExCreateResizeHandle(EXRESIZE_HANDLE** handle) {
    if (handle == nullptr) return kErrArgument;
    auto* h = static_cast<EXRESIZE_HANDLE*>(AllocZeroed(sizeof(EXRESIZE_HANDLE)));
    if (h == nullptr) return kErrMemory;
    *handle = h;
    return 0;
}

int32_t ExBeginResize(const EXIMAGEINFO* source, const EXIMAGEINFO* destination,
                      EXRESIZE_METHOD method, int32_t mode, EXRESIZE_HANDLE* h) {
    if (h == nullptr) return kErrArgument;
    if (h->bEnded == 1) return kErrArgument;
    // A handle begun twice without an end gives up its first engine here rather than leak it.
    ReleaseEngines(h);
    h->lReady = 0;
    h->lLinesIn = 0;
    h->lMethod = method;
    if (source == nullptr || destination == nullptr) return kErrArgument;
    if (source->ulFormat != destination->ulFormat) return kErrArgument;
    if (source->lWidth < 1 || source->lHeight < 1 || destination->lWidth < 1 ||
        destination->lHeight < 1)
        return kErrSize;
    // Interpolating engines need room for their corner-aligned maps.
    if (destination->lWidth < 4 || destination->lHeight < 4) h->lMethod = EXRESIZE_NEAREST;

    h->current = *source;
    h->destination = *destination;
    h->given = *source;
    h->smoothTarget = *destination;
    h->lMode = mode;
    if (mode == 0) {
        const int32_t made =
            ExCreateSmoothLineHandle(&h->current, &h->smoothTarget, h->lMethod, &h->pSmooth);
        if (made < 0) {
            h->pEngine = nullptr;
            return made;
        }
        if (made == 0) h->current = h->smoothTarget;
    } else {
        h->smoothTarget = *destination;
    }
    h->lRemaining = destination->lHeight;
    if (uint32_t(h->lMethod) > 7u) return kErrArgument;
    const int32_t created = CreateEngine(h);
    if (created != 0) return created;
    ComponentPositions(destination->ulFormat, h->lComponent);
    h->bEnded = 0;
    return 0;
}

int32_t ExResizeSetLine(const void* line, EXRESIZE_HANDLE* h) {
    if (line == nullptr) return kErrNullBuffer;
    if (h == nullptr) return kErrArgument;
    if (h->lReady > 0) return kErrMoment;
    if (h->bEnded == 1) return kErrArgument;
    if (h->pEngine == nullptr) return kErrArgument;
    if (SkipsLine(h->lMode, h->lLinesIn)) {
        ++h->lLinesIn;
        return 0;
    }
    const void* engineLine = line;
    if (h->pSmooth != nullptr) {
        const int32_t complete = ExSetlineSmooth(line, h->pSmooth, nullptr);
        if (complete < 0) return complete;
        if (complete == 0) {
            ++h->lLinesIn;
            return 0;
        }
        const int32_t pulled = ExGetlineSmooth(h->pSmooth->pReduced, h->pSmooth);
        if (pulled < 0) return pulled;
        engineLine = h->pSmooth->pReduced;
    }
    const int32_t ready = h->pfnPush(engineLine, h->pEngine);
    ++h->lLinesIn;
    if (ready < 0) return ready;
    h->lReady = ready;
    return ready;
}

int32_t ExResizeGetLine(void* line, EXRESIZE_HANDLE* h, void* extra) {
    if (line == nullptr) return kErrNullBuffer;
    if (h == nullptr) return kErrArgument;
    if (h->lReady < 1) return kErrMoment;
    if (h->bEnded == 1) return kErrArgument;
    int32_t result = 0;
    if (h->pEngine != nullptr) result = h->pfnPull(line, h->pEngine, extra);
    --h->lReady;
    --h->lRemaining;
    return result;
}

void ExTransformPixFormat(unsigned char* line, EXRESIZE_HANDLE* h) {
    if (line == nullptr || h == nullptr) return;
    const int32_t first = h->lComponent[2];
    const int32_t second = h->lComponent[1];
    const int32_t third = h->lComponent[0];
    // Writing three bytes per pixel behind a reader that advances by four never overwrites
    // a byte still to be read.
    for (int32_t i = 0; i < h->destination.lWidth; ++i) {
        const unsigned char* in = line + 4 * int64_t(i);
        const unsigned char a = in[0], b = in[1], c = in[2];
        unsigned char* out = line + 3 * int64_t(i);
        out[first] = a;
        out[second] = b;
        out[third] = c;
    }
}

int32_t ExEndResize(EXRESIZE_HANDLE* h) {
    if (h == nullptr) return 0;
    ReleaseEngines(h);
    std::memset(h, 0, sizeof(*h));
    h->bEnded = 1;
    return 0;
}

int32_t ExDisposeResizeHandle(EXRESIZE_HANDLE* h) {
    if (h == nullptr) return 0;
    ExEndResize(h);
    ExMemFree(h);
    return 0;
}

}  // extern "C"
