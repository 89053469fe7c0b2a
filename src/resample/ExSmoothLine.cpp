// Box pre-reducer in front of the sharper bicubic curves: averages blocks of fx × fy source
// pixels (powers of two up to 16) so the bicubic engine only covers the remaining factor.
#include <cmath>
#include <cstring>

#include "resample/ExHandles.h"
#include "resample/ResampleCommon.h"
#include "resample/ResampleKernels.h"

using namespace vxresample;

namespace {

// Factor for one axis: the whole reduction ratio, one less when it divides the source
// exactly (so the bicubic stage keeps some work to do), clamped to 1-16 and rounded down to a
// power of two. The 0.05 keeps exact powers from slipping below themselves.
int32_t SmoothFactor(int32_t source, int32_t target) {
    if (source < target) return 1;
    int32_t factor = source / target;
    if (source % factor == 0) --factor;
    if (factor < 1) factor = 1;
    if (factor > kSmoothMaxFactor) factor = kSmoothMaxFactor;
    return 1 << int(std::log(double(factor)) / std::log(2.0) + 0.05);
}

inline bool PassesThrough(const EXSMOOTHLINE_HANDLE* h) {
    return h->lFactorX == 1 && h->lFactorY == 1;
}

// Source samples inside whole blocks: the pixels right of the last block are ignored.
inline size_t UsedColumnSamples(const EXSMOOTHLINE_HANDLE* h) {
    return size_t(h->output.lWidth) * size_t(h->lFactorX) * size_t(h->lChannels);
}

inline size_t ReducedLineBytes(const EXSMOOTHLINE_HANDLE* h, size_t sampleBytes) {
    return size_t(h->output.lWidth) * size_t(h->lChannels) * sampleBytes;
}

// Lines are added up sample by sample (a straight run the vectoriser takes); the block's
// columns are folded together once, when its last line arrives. Integer sums do not care about
// the order, so this equals adding each block pixel by pixel.
template <typename Sample>
void AddLine(uint32_t* columnSums, const Sample* line, int64_t count) {
    for (int64_t i = 0; i < count; ++i)
        columnSums[i] += line[i];
}

template <typename Sample, int Channels>
void FoldColumns(uint32_t* sums, const uint32_t* columnSums, int32_t width, int32_t factor,
                 int32_t channelsAtRuntime) {
    const int32_t channels = Channels > 0 ? Channels : channelsAtRuntime;
    for (int32_t x = 0; x < width; ++x) {
        for (int32_t c = 0; c < channels; ++c)
            sums[c] = 0;
        for (int32_t i = 0; i < factor; ++i) {
            for (int32_t c = 0; c < channels; ++c)
                sums[c] += columnSums[c];
            columnSums += channels;
        }
        sums += channels;
    }
}

void FoldColumnsLine(uint32_t* sums, const uint32_t* columnSums, int32_t width, int32_t factor,
                     int32_t channels) {
    using Sample = uint32_t;  // the channel switch names it; the sums are all 32-bit
    VX_BY_CHANNELS(FoldColumns, channels, sums, columnSums, width, factor, channels)
}

// Both factors are powers of two, so the truncating division by the block area is a shift.
template <typename Sample>
void Narrow(Sample* out, const uint32_t* sums, int64_t count, int32_t shift) {
    for (int64_t i = 0; i < count; ++i)
        out[i] = Sample(sums[i] >> shift);
}

template <typename Sample>
constexpr SmoothOps<Sample> PlainOps() {
    return {AddLine<Sample>, Narrow<Sample>};
}

void FoldBlock(EXSMOOTHLINE_HANDLE* h) {
    h->pKernels->foldColumns(h->pSums, h->pColumnSums, h->output.lWidth, h->lFactorX, h->lChannels);
    std::memset(h->pColumnSums, 0, UsedColumnSamples(h) * sizeof(uint32_t));
}

template <typename Sample>
int32_t PushSmooth(const void* line, EXSMOOTHLINE_HANDLE* h) {
    if (PassesThrough(h)) {
        // A 1 × 1 block average is the line itself: keep it as the reduced line.
        std::memcpy(h->pReduced, line, ReducedLineBytes(h, sizeof(Sample)));
        ++h->lAccumulated;
        h->bComplete = 1;
        ++h->lPushed;
        return 1;
    }
    h->pKernels->For<Sample>().addLine(h->pColumnSums, static_cast<const Sample*>(line),
                                       int64_t(UsedColumnSamples(h)));
    ++h->lAccumulated;
    h->bComplete = (h->lAccumulated % h->lFactorY == 0) ? 1 : 0;
    if (h->bComplete != 0) FoldBlock(h);
    ++h->lPushed;
    return h->bComplete;
}

template <typename Sample>
int32_t PullSmooth(void* line, EXSMOOTHLINE_HANDLE* h) {
    Sample* out = static_cast<Sample*>(line);
    if (PassesThrough(h)) {
        if (line != h->pReduced)
            std::memcpy(line, h->pReduced, ReducedLineBytes(h, sizeof(Sample)));
        return 0;
    }
    const int32_t shift = __builtin_ctz(uint32_t(h->lFactorX) * uint32_t(h->lFactorY));
    h->pKernels->For<Sample>().narrow(out, h->pSums, int64_t(h->output.lWidth) * h->lChannels,
                                      shift);
    return 0;
}

}  // namespace

namespace vxresample {
const SmoothKernels kSmoothPlain = {{PlainOps<uint8_t>(), PlainOps<uint16_t>()}, FoldColumnsLine};
}  // namespace vxresample

extern "C" {

int32_t ExCreateSmoothLineHandle(const EXIMAGEINFO* source, EXIMAGEINFO* target,
                                 EXRESIZE_METHOD method, EXSMOOTHLINE_HANDLE** handle) {
    if (source == nullptr || target == nullptr || handle == nullptr) return kErrArgument;
    const bool large = source->lHeight > kSmoothMinSize && source->lWidth > kSmoothMinSize &&
                       target->lHeight > kSmoothMinSize && target->lWidth > kSmoothMinSize;
    if (!large || method <= 4) return 1;
    if (method > 7) return kErrArgument;

    const int32_t fx = SmoothFactor(source->lWidth, target->lWidth);
    const int32_t fy = SmoothFactor(source->lHeight, target->lHeight);
    target->lWidth = source->lWidth / fx;
    target->lHeight = source->lHeight / fy;
    if (source->ulFormat != target->ulFormat || ChannelsOf(source->ulFormat) < 1)
        return kErrArgument;

    auto* h = static_cast<EXSMOOTHLINE_HANDLE*>(AllocZeroed(sizeof(EXSMOOTHLINE_HANDLE)));
    if (h == nullptr) return kErrMemory;
    h->source = *source;
    h->output = *target;
    h->lChannels = ChannelsOf(source->ulFormat);
    h->lFactorX = fx;
    h->lFactorY = fy;
    h->pKernels = &SmoothKernelsForNewHandles();
    const int64_t samples = int64_t(target->lWidth) * h->lChannels;
    h->pSums = static_cast<uint32_t*>(AllocZeroed(CheckedBytes(samples, 4)));
    h->pReduced = static_cast<unsigned char*>(
        AllocZeroed(CheckedBytes(samples, KernelSampleBytes(source->ulFormat))));
    h->pColumnSums = static_cast<uint32_t*>(
        AllocZeroed(CheckedBytes(int64_t(source->lWidth) * h->lChannels, 4)));
    if (h->pSums == nullptr || h->pReduced == nullptr || h->pColumnSums == nullptr) {
        ExDisposeSmoothLineHandle(&h);
        return kErrMemory;
    }
    if (IsEightBit(source->ulFormat)) {
        h->pfnPush = ExSetlineSmooth8;
        h->pfnPull = ExGetlineSmooth8;
    } else {
        h->pfnPush = ExSetlineSmooth16;
        h->pfnPull = ExGetlineSmooth16;
    }
    *handle = h;
    return 0;
}

void ExDisposeSmoothLineHandle(EXSMOOTHLINE_HANDLE** handle) {
    if (handle == nullptr || *handle == nullptr) return;
    ExMemFree((*handle)->pSums);
    ExMemFree((*handle)->pReduced);
    ExMemFree((*handle)->pColumnSums);
    ExMemFree(*handle);
    *handle = nullptr;
}

int32_t ExSetlineSmooth(const void* line, EXSMOOTHLINE_HANDLE* handle, void* /*extra*/) {
    if (line == nullptr) return kErrNullBuffer;
    if (handle->bComplete != 0) return kErrArgument;
    if (handle->lProduced >= handle->output.lHeight) return kErrMoment;
    return handle->pfnPush(line, handle);
}

int32_t ExGetlineSmooth(void* line, EXSMOOTHLINE_HANDLE* handle) {
    if (line == nullptr) return kErrNullBuffer;
    if (handle->bComplete == 0) return kErrMoment;
    handle->pfnPull(line, handle);
    handle->bComplete = 0;
    ++handle->lProduced;
    return 0;
}

int32_t ExSetlineSmooth8(const void* line, EXSMOOTHLINE_HANDLE* handle) {
    return PushSmooth<uint8_t>(line, handle);
}
int32_t ExSetlineSmooth16(const void* line, EXSMOOTHLINE_HANDLE* handle) {
    return PushSmooth<uint16_t>(line, handle);
}
int32_t ExGetlineSmooth8(void* line, EXSMOOTHLINE_HANDLE* handle) {
    return PullSmooth<uint8_t>(line, handle);
}
int32_t ExGetlineSmooth16(void* line, EXSMOOTHLINE_HANDLE* handle) {
    return PullSmooth<uint16_t>(line, handle);
}

}  // extern "C"
