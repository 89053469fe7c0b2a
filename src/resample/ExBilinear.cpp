// Bilinear engine: a two-line band of the source, corner-aligned maps with 10 fraction bits,
// and four-neighbour blends whose weights sum to 1024 on each axis.
//
// The blend of one destination sample is
//     ((1024 − fy) × ((1024 − fx) × U0 + fx × U1) + fy × ((1024 − fx) × L0 + fx × L1) + 2^19) >> 20
// over the upper line U and the lower line L. No step rounds before the final shift, so the
// sum may be grouped in whichever order costs least, and the bytes stay the same:
// - direct: the whole expression per destination pixel (strong reductions);
// - vertical first: V = (1024 − fy) × U + fy × L once per source sample, then
//   (1024 − fx) × V0 + fx × V1 per destination pixel (reductions down to a half);
// - horizontal first: H = (1024 − fx) × P0 + fx × P1 once per arriving source line, then
//   (1024 − fy) × Hu + fy × Hl per destination line, a straight run the vectoriser takes
//   (enlargements, where each source line serves several destination lines).
#include <cstring>

#include "resample/ExHandles.h"
#include "resample/ResampleCommon.h"
#include "resample/ResampleKernels.h"

using namespace vxresample;

namespace {

enum BlendStrategy : int32_t { kDirect = 0, kVerticalFirst = 1, kHorizontalFirst = 2 };

BlendStrategy StrategyFor(int32_t sourceWidth, int32_t destinationWidth) {
    if (destinationWidth > sourceWidth) return kHorizontalFirst;
    if (int64_t(destinationWidth) * 2 >= sourceWidth) return kVerticalFirst;
    return kDirect;
}

// Corner-aligned position of every destination index, 10 fraction bits:
// (i × (S − 1) × 1024) div (D − 1), split into the source pixel and the fraction.
void BuildLinearPositions(int32_t source, int32_t destination, int32_t* index, int32_t* fraction) {
    const int64_t span = int64_t(source - 1) * kLinearOne;
    for (int32_t i = 0; i < destination; ++i) {
        const int64_t p = ScaledPosition(i, span, destination - 1);
        index[i] = int32_t(p >> kLinearBits);
        fraction[i] = int32_t(p & kLinearMask);
    }
}

void BuildLinearRowMap(int32_t source, int32_t destination, int64_t* position) {
    const int64_t span = int64_t(source - 1) * kLinearOne;
    for (int32_t i = 0; i < destination; ++i)
        position[i] = ScaledPosition(i, span, destination - 1);
}

// A source line is read when it is the upper line of some destination line, or its lower
// line with a non-zero weight. Lines nobody reads are not copied in.
void MarkUsedLines(const EXBILINEAR_HANDLE* h, unsigned char* used) {
    const int32_t last = h->source.lHeight - 1;
    for (int32_t k = 0; k < h->destination.lHeight; ++k) {
        const int32_t y0 = int32_t(h->pRowMap[k] >> kLinearBits);
        used[y0] = 1;
        if ((h->pRowMap[k] & kLinearMask) != 0) used[y0 < last ? y0 + 1 : last] = 1;
    }
}

// The 8-bit blend fits unsigned 32-bit arithmetic (1024 × 1024 × 255 + half < 2^32); the
// 16-bit one needs a 64-bit product.
template <typename Sample>
struct BlendTraits;
template <>
struct BlendTraits<uint8_t> {
    using Wide = uint32_t;
};
template <>
struct BlendTraits<uint16_t> {
    using Wide = uint64_t;
};

template <typename Sample, int Channels>
void BlendDirect(Sample* out, const Sample* upper, const Sample* lower, const AcrossMap& map,
                 uint32_t fy) {
    using Wide = typename BlendTraits<Sample>::Wide;
    const int32_t channels = Channels > 0 ? Channels : map.channels;
    const Wide gy = Wide(kLinearOne - fy);
    for (int32_t x = 0; x < map.width; ++x) {
        const int64_t s = int64_t(map.index[x]) * channels;
        const uint32_t fx = uint32_t(map.weight[x]);
        const uint32_t gx = uint32_t(kLinearOne) - fx;
        const Sample* u = upper + s;
        const Sample* l = lower + s;
        for (int32_t c = 0; c < channels; ++c) {
            const uint32_t top = gx * u[c] + fx * u[c + channels];
            const uint32_t bottom = gx * l[c] + fx * l[c + channels];
            out[c] = Sample((gy * top + Wide(fy) * bottom + kProductHalf) >> kProductBits);
        }
        out += channels;
    }
}

template <typename Sample>
void BlendVertically(uint32_t* blend, const Sample* upper, const Sample* lower, int64_t count,
                     uint32_t fy) {
    const uint32_t gy = uint32_t(kLinearOne) - fy;
    for (int64_t i = 0; i < count; ++i)
        blend[i] = gy * upper[i] + fy * lower[i];
}

// Second half of the vertical-first order: weighted neighbours of an already blended row.
template <typename Sample, int Channels>
void BlendAcross(Sample* out, const uint32_t* blend, const AcrossMap& map) {
    using Wide = typename BlendTraits<Sample>::Wide;
    const int32_t channels = Channels > 0 ? Channels : map.channels;
    for (int32_t x = 0; x < map.width; ++x) {
        const uint32_t* v = blend + int64_t(map.index[x]) * channels;
        const Wide fx = Wide(map.weight[x]);
        const Wide gx = Wide(kLinearOne) - fx;
        for (int32_t c = 0; c < channels; ++c)
            out[c] = Sample((gx * v[c] + fx * v[c + channels] + kProductHalf) >> kProductBits);
        out += channels;
    }
}

// First half of the horizontal-first order: one source line blended across, unrounded.
template <typename Sample, int Channels>
void InterpolateAcross(uint32_t* row, const Sample* line, const AcrossMap& map) {
    const int32_t channels = Channels > 0 ? Channels : map.channels;
    for (int32_t x = 0; x < map.width; ++x) {
        const Sample* p = line + int64_t(map.index[x]) * channels;
        const uint32_t fx = uint32_t(map.weight[x]);
        const uint32_t gx = uint32_t(kLinearOne) - fx;
        for (int32_t c = 0; c < channels; ++c)
            row[c] = gx * p[c] + fx * p[c + channels];
        row += channels;
    }
}

template <typename Sample>
void BlendRows(Sample* out, const uint32_t* upper, const uint32_t* lower, int64_t count,
               uint32_t fy) {
    using Wide = typename BlendTraits<Sample>::Wide;
    const Wide gy = Wide(kLinearOne - fy);
    for (int64_t i = 0; i < count; ++i)
        out[i] = Sample((gy * upper[i] + Wide(fy) * lower[i] + kProductHalf) >> kProductBits);
}

template <typename Sample>
void BlendAcrossLine(Sample* out, const uint32_t* blend, const AcrossMap& map) {
    VX_BY_CHANNELS(BlendAcross, map.channels, out, blend, map)
}
template <typename Sample>
void InterpolateAcrossLine(uint32_t* row, const Sample* line, const AcrossMap& map) {
    VX_BY_CHANNELS(InterpolateAcross, map.channels, row, line, map)
}
template <typename Sample>
void BlendDirectLine(Sample* out, const Sample* upper, const Sample* lower, const AcrossMap& map,
                     uint32_t fy) {
    VX_BY_CHANNELS(BlendDirect, map.channels, out, upper, lower, map, fy)
}

template <typename Sample>
constexpr BilinearOps<Sample> PlainOps() {
    return {BlendRows<Sample>, BlendVertically<Sample>, BlendAcrossLine<Sample>,
            InterpolateAcrossLine<Sample>, BlendDirectLine<Sample>};
}

template <typename Sample>
void TakeLine(EXBILINEAR_HANDLE* h, const void* line) {
    // Into the slot first: its spare pixel is the right neighbour of the last column, which the
    // caller's line does not have.
    std::memcpy(h->pLower, line, size_t(h->source.lWidth) * h->lChannels * sizeof(Sample));
    if (h->lStrategy == kHorizontalFirst)
        h->pKernels->For<Sample>().interpolateAcross(
            h->pRowLower, reinterpret_cast<const Sample*>(h->pLower), h->across);
}

template <typename Sample>
void BlendLine(Sample* out, const EXBILINEAR_HANDLE* h, uint32_t fy) {
    const int32_t ch = h->lChannels;
    const Sample* upper = reinterpret_cast<const Sample*>(h->pUpper);
    const Sample* lower = reinterpret_cast<const Sample*>(h->pLower);
    const BilinearOps<Sample>& ops = h->pKernels->For<Sample>();
    switch (h->lStrategy) {
        case kHorizontalFirst:
            ops.blendRows(out, h->pRowUpper, h->pRowLower, int64_t(h->destination.lWidth) * ch, fy);
            break;
        case kVerticalFirst:
            // The spare pixel is blended too: the right neighbour of the last column.
            ops.blendVertically(h->pBlend, upper, lower, (int64_t(h->source.lWidth) + 1) * ch, fy);
            ops.blendAcross(out, h->pBlend, h->across);
            break;
        default:
            ops.blendDirect(out, upper, lower, h->across, fy);
            break;
    }
}

template <typename Sample>
int32_t PushBilinear(const void* line, EXBILINEAR_HANDLE* h) {
    if (line == nullptr) return kErrNullBuffer;
    if (h->lReady > 0) return kErrArgument;
    if (h->lNextDst >= h->destination.lHeight) return kErrMoment;
    const int64_t* rows = h->pRowMap;
    const int32_t lastLine = h->source.lHeight - 1;
    const int32_t ready = CountReadyLines(h->lNextSrc, h->source.lHeight, h->lNextDst,
                                          h->destination.lHeight, [rows, lastLine](int32_t k) {
                                              const int32_t below =
                                                  int32_t(rows[k] >> kLinearBits) + 1;
                                              return below < lastLine ? below : lastLine;
                                          });
    unsigned char* older = h->pLower;
    h->pLower = h->pUpper;
    h->pUpper = older;
    uint32_t* olderRow = h->pRowLower;
    h->pRowLower = h->pRowUpper;
    h->pRowUpper = olderRow;
    if (h->pLineUsed[h->lNextSrc] != 0) TakeLine<Sample>(h, line);
    if (h->lNextSrc == 0) {
        if (h->lStrategy == kHorizontalFirst)
            std::memcpy(h->pRowUpper, h->pRowLower,
                        size_t(h->destination.lWidth) * h->lChannels * sizeof(uint32_t));
        else
            std::memcpy(h->pUpper, h->pLower,
                        size_t(h->source.lWidth) * h->lChannels * sizeof(Sample));
    }
    ++h->lNextSrc;
    h->lReady = ready;
    ++h->lBandBase;
    return ready;
}

template <typename Sample>
int32_t PullBilinear(void* line, EXBILINEAR_HANDLE* h) {
    if (line == nullptr) return kErrNullBuffer;
    if (h->lReady < 1) return kErrMoment;
    const int64_t position = h->pRowMap[h->lNextDst];
    // Once the source is exhausted the band cannot move on by pushing; the last line then
    // serves as both neighbours.
    const int32_t d = int32_t(position >> kLinearBits) - h->lBandBase;
    if (d >= -1 && h->lNextSrc == h->source.lHeight) {
        if (d == -1) {
            h->pUpper = h->pLower;
            h->pRowUpper = h->pRowLower;
        }
        ++h->lBandBase;
    }
    BlendLine(static_cast<Sample*>(line), h, uint32_t(position & kLinearMask));
    ++h->lNextDst;
    --h->lReady;
    return 0;
}

}  // namespace

namespace vxresample {
const BilinearKernels kBilinearPlain = {PlainOps<uint8_t>(), PlainOps<uint16_t>()};
}  // namespace vxresample

extern "C" {

int32_t ExCreateBilinearHandle(const EXIMAGEINFO* source, const EXIMAGEINFO* destination,
                               EXBILINEAR_HANDLE** handle) {
    if (handle == nullptr || !IsUsablePair(source, destination)) return kErrArgument;
    auto* h = NewEngineHandle<EXBILINEAR_HANDLE>(source, destination);
    if (h == nullptr) return kErrMemory;
    const int32_t ch = h->lChannels;
    h->lStrategy = StrategyFor(source->lWidth, destination->lWidth);
    // One spare pixel per slot: the right neighbour of the last column, always weighted 0.
    const size_t slot =
        CheckedBytes(
            int64_t(KernelSampleBytes(source->ulFormat)) * ch * (int64_t(source->lWidth) + 1) + 3,
            1) &
        ~size_t(3);
    h->lSlotBytes = int32_t(slot);
    h->pBlock =
        static_cast<unsigned char*>(AllocZeroed(CheckedBytes(int64_t(slot), 2) + kGatherSlack));
    h->pColumnIndex = static_cast<int32_t*>(AllocZeroed(CheckedBytes(destination->lWidth, 4)));
    h->pColumnFraction = static_cast<int32_t*>(AllocZeroed(CheckedBytes(destination->lWidth, 4)));
    h->pRowMap = static_cast<int64_t*>(AllocZeroed(CheckedBytes(destination->lHeight, 8)));
    h->pLineUsed = static_cast<unsigned char*>(AllocZeroed(CheckedBytes(source->lHeight, 1)));
    bool ready = slot <= size_t(INT32_MAX) && h->pBlock != nullptr && h->pColumnIndex != nullptr &&
                 h->pColumnFraction != nullptr && h->pRowMap != nullptr && h->pLineUsed != nullptr;
    if (ready && h->lStrategy == kVerticalFirst) {
        h->pBlend = static_cast<uint32_t*>(
            AllocZeroed(CheckedBytes((int64_t(source->lWidth) + 1) * ch, 4)));
        ready = h->pBlend != nullptr;
    }
    if (ready && h->lStrategy == kHorizontalFirst) {
        const int64_t samples = int64_t(destination->lWidth) * ch;
        h->pRowBlock = static_cast<uint32_t*>(AllocZeroed(CheckedBytes(2 * samples, 4)));
        h->pRowUpper = h->pRowBlock;
        h->pRowLower = h->pRowBlock + samples;
        ready = h->pRowBlock != nullptr;
    }
    if (!ready) {
        ExDisposeBilinearHandle(h);
        return kErrMemory;
    }
    h->pUpper = h->pBlock;
    h->pLower = h->pBlock + slot;
    BuildLinearPositions(source->lWidth, destination->lWidth, h->pColumnIndex, h->pColumnFraction);
    h->pKernels =
        VectorIndexable(source->lWidth, ch) ? &BilinearKernelsForNewHandles() : &kBilinearPlain;
    if (!BuildAcrossMap(h->pColumnIndex, h->pColumnFraction, destination->lWidth, ch,
                        h->pSampleFirst, h->pSampleFraction, h->across) ||
        (IsEightBit(source->ulFormat) &&
         !BuildPairWindows(h->across, h->pWindowBase, h->pWindowShuffle))) {
        ExDisposeBilinearHandle(h);
        return kErrMemory;
    }
    // With both taps in reach of a shuffle, the direct order reads fewer bytes than
    // blending the whole band down first; the integers are the same.
    if (h->lStrategy == kVerticalFirst && h->pKernels != &kBilinearPlain &&
        h->across.windowBase != nullptr)
        h->lStrategy = kDirect;
    BuildLinearRowMap(source->lHeight, destination->lHeight, h->pRowMap);
    MarkUsedLines(h, h->pLineUsed);
    *handle = h;
    return 0;
}

int32_t ExDisposeBilinearHandle(EXBILINEAR_HANDLE* handle) {
    if (handle == nullptr) return 0;
    ExMemFree(handle->pColumnIndex);
    ExMemFree(handle->pColumnFraction);
    ExMemFree(handle->pRowMap);
    ExMemFree(handle->pBlock);
    ExMemFree(handle->pLineUsed);
    ExMemFree(handle->pBlend);
    ExMemFree(handle->pRowBlock);
    ExMemFree(handle->pSampleFirst);
    ExMemFree(handle->pSampleFraction);
    ExMemFree(handle->pWindowBase);
    ExMemFree(handle->pWindowShuffle);
    ExMemFree(handle);
    return 0;
}

int32_t ExSetlineBilinear8(const void* line, EXBILINEAR_HANDLE* handle) {
    return PushBilinear<uint8_t>(line, handle);
}
int32_t ExSetlineBilinear16(const void* line, EXBILINEAR_HANDLE* handle) {
    return PushBilinear<uint16_t>(line, handle);
}
int32_t ExGetlineBilinear8(void* line, EXBILINEAR_HANDLE* handle) {
    return PullBilinear<uint8_t>(line, handle);
}
int32_t ExGetlineBilinear16(void* line, EXBILINEAR_HANDLE* handle) {
    return PullBilinear<uint16_t>(line, handle);
}

}  // extern "C"
