// Bilinear engine: a two-line band of the source, corner-aligned maps with 10 fraction bits,
// and four-neighbour blends whose weights sum to 1024 on each axis.
#include <cstring>

#include "resample/ExHandles.h"
#include "resample/ResampleCommon.h"

using namespace vxresample;

namespace {

// Corner-aligned position of every destination index, 10 fraction bits:
// (i × (S − 1) × 1024) div (D − 1).
void BuildLinearPositions(int32_t source, int32_t destination, int32_t* index, int32_t* fraction) {
    const int64_t span = int64_t(source - 1) * kLinearOne;
    for (int32_t i = 0; i < destination; ++i) {
        const int32_t p = ScaledPosition(i, span, destination - 1);
        if (fraction == nullptr) {
            index[i] = p;
        } else {
            index[i] = p >> kLinearBits;
            fraction[i] = p & kLinearMask;
        }
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
void BlendRow(Sample* out, const Sample* upper, const Sample* lower, const int32_t* columnIndex,
              const int32_t* columnFraction, int32_t width, int32_t channelsAtRuntime,
              uint32_t fy) {
    using Wide = typename BlendTraits<Sample>::Wide;
    const int32_t channels = Channels > 0 ? Channels : channelsAtRuntime;
    const Wide gy = Wide(kLinearOne - fy);
    for (int32_t x = 0; x < width; ++x) {
        const int64_t s = int64_t(columnIndex[x]) * channels;
        const uint32_t fx = uint32_t(columnFraction[x]);
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

// The same sum regrouped: (1024 − fx) × V(x) + fx × V(x + 1), with V = (1024 − fy) × upper +
// fy × lower blended once per source sample. Exact integers throughout, so the bytes equal the
// direct blend; it pays off once the destination is wider than half the source.
template <typename Sample>
void BlendVertically(uint32_t* blend, const Sample* upper, const Sample* lower, int64_t count,
                     uint32_t fy) {
    const uint32_t gy = uint32_t(kLinearOne) - fy;
    for (int64_t i = 0; i < count; ++i)
        blend[i] = gy * upper[i] + fy * lower[i];
}

template <typename Sample, int Channels>
void BlendHorizontally(Sample* out, const uint32_t* blend, const int32_t* columnIndex,
                       const int32_t* columnFraction, int32_t width, int32_t channelsAtRuntime) {
    using Wide = typename BlendTraits<Sample>::Wide;
    const int32_t channels = Channels > 0 ? Channels : channelsAtRuntime;
    for (int32_t x = 0; x < width; ++x) {
        const uint32_t* v = blend + int64_t(columnIndex[x]) * channels;
        const Wide fx = Wide(columnFraction[x]);
        const Wide gx = Wide(kLinearOne) - fx;
        for (int32_t c = 0; c < channels; ++c)
            out[c] = Sample((gx * v[c] + fx * v[c + channels] + kProductHalf) >> kProductBits);
        out += channels;
    }
}

template <typename Sample>
void BlendLineVerticallyFirst(Sample* out, const EXBILINEAR_HANDLE* h, uint32_t fy) {
    const int32_t ch = h->lChannels;
    // The spare pixel is blended too: the right neighbour of the last column.
    BlendVertically(h->pBlend, reinterpret_cast<const Sample*>(h->pUpper),
                    reinterpret_cast<const Sample*>(h->pLower),
                    (int64_t(h->source.lWidth) + 1) * ch, fy);
    const int32_t w = h->destination.lWidth;
    const int32_t* index = h->pColumnIndex;
    const int32_t* fraction = h->pColumnFraction;
    switch (ch) {
        case 1:
            BlendHorizontally<Sample, 1>(out, h->pBlend, index, fraction, w, 1);
            break;
        case 2:
            BlendHorizontally<Sample, 2>(out, h->pBlend, index, fraction, w, 2);
            break;
        case 3:
            BlendHorizontally<Sample, 3>(out, h->pBlend, index, fraction, w, 3);
            break;
        case 4:
            BlendHorizontally<Sample, 4>(out, h->pBlend, index, fraction, w, 4);
            break;
        default:
            BlendHorizontally<Sample, 0>(out, h->pBlend, index, fraction, w, ch);
    }
}

template <typename Sample>
void BlendLine(Sample* out, const EXBILINEAR_HANDLE* h, uint32_t fy) {
    if (h->pBlend != nullptr) {
        BlendLineVerticallyFirst(out, h, fy);
        return;
    }
    const Sample* upper = reinterpret_cast<const Sample*>(h->pUpper);
    const Sample* lower = reinterpret_cast<const Sample*>(h->pLower);
    const int32_t w = h->destination.lWidth;
    const int32_t* index = h->pColumnIndex;
    const int32_t* fraction = h->pColumnFraction;
    switch (h->lChannels) {
        case 1:
            BlendRow<Sample, 1>(out, upper, lower, index, fraction, w, 1, fy);
            break;
        case 2:
            BlendRow<Sample, 2>(out, upper, lower, index, fraction, w, 2, fy);
            break;
        case 3:
            BlendRow<Sample, 3>(out, upper, lower, index, fraction, w, 3, fy);
            break;
        case 4:
            BlendRow<Sample, 4>(out, upper, lower, index, fraction, w, 4, fy);
            break;
        default:
            BlendRow<Sample, 0>(out, upper, lower, index, fraction, w, h->lChannels, fy);
    }
}

template <typename Sample>
int32_t PushBilinear(const void* line, EXBILINEAR_HANDLE* h) {
    if (line == nullptr) return kErrNullBuffer;
    if (h->lReady > 0) return kErrArgument;
    if (h->lNextDst >= h->destination.lHeight) return kErrMoment;
    const int32_t* rows = h->pRowMap;
    const int32_t lastLine = h->source.lHeight - 1;
    const int32_t ready = CountReadyLines(h->lNextSrc, h->source.lHeight, h->lNextDst,
                                          h->destination.lHeight, [rows, lastLine](int32_t k) {
                                              const int32_t below = (rows[k] >> kLinearBits) + 1;
                                              return below < lastLine ? below : lastLine;
                                          });
    unsigned char* older = h->pLower;
    h->pLower = h->pUpper;
    h->pUpper = older;
    const size_t bytes = size_t(h->source.lWidth) * h->lChannels * sizeof(Sample);
    std::memcpy(h->pLower, line, bytes);
    if (h->lNextSrc == 0) std::memcpy(h->pUpper, h->pLower, bytes);
    ++h->lNextSrc;
    h->lReady = ready;
    ++h->lBandBase;
    return ready;
}

template <typename Sample>
int32_t PullBilinear(void* line, EXBILINEAR_HANDLE* h) {
    if (line == nullptr) return kErrNullBuffer;
    if (h->lReady < 1) return kErrMoment;
    const int32_t position = h->pRowMap[h->lNextDst];
    // Once the source is exhausted the band cannot move on by pushing; the last line then
    // serves as both neighbours.
    const int32_t d = (position >> kLinearBits) - h->lBandBase;
    if (d >= -1 && h->lNextSrc == h->source.lHeight) {
        if (d == -1) h->pUpper = h->pLower;
        ++h->lBandBase;
    }
    BlendLine(static_cast<Sample*>(line), h, uint32_t(position & kLinearMask));
    ++h->lNextDst;
    --h->lReady;
    return 0;
}

}  // namespace

extern "C" {

int32_t ExCreateBilinearHandle(const EXIMAGEINFO* source, const EXIMAGEINFO* destination,
                               EXBILINEAR_HANDLE** handle) {
    if (handle == nullptr || !IsUsablePair(source, destination)) return kErrArgument;
    auto* h = static_cast<EXBILINEAR_HANDLE*>(AllocZeroed(sizeof(EXBILINEAR_HANDLE)));
    if (h == nullptr) return kErrMemory;
    h->source = *source;
    h->destination = *destination;
    ComponentPositions(source->ulFormat, h->lComponent);
    h->lChannels = ChannelsOf(source->ulFormat);
    // One spare pixel per slot: the right neighbour of the last column, always weighted 0.
    const size_t slot = CheckedBytes(int64_t(KernelSampleBytes(source->ulFormat)) * h->lChannels *
                                             (int64_t(source->lWidth) + 1) +
                                         3,
                                     1) &
                        ~size_t(3);
    h->lSlotBytes = int32_t(slot);
    h->pBlock = static_cast<unsigned char*>(AllocZeroed(CheckedBytes(int64_t(slot), 2)));
    h->pColumnIndex = static_cast<int32_t*>(AllocZeroed(CheckedBytes(destination->lWidth, 4)));
    h->pColumnFraction = static_cast<int32_t*>(AllocZeroed(CheckedBytes(destination->lWidth, 4)));
    h->pRowMap = static_cast<int32_t*>(AllocZeroed(CheckedBytes(destination->lHeight, 4)));
    const bool verticalFirst = int64_t(destination->lWidth) * 2 > source->lWidth;
    if (verticalFirst)
        h->pBlend = static_cast<uint32_t*>(
            AllocZeroed(CheckedBytes((int64_t(source->lWidth) + 1) * h->lChannels, 4)));
    if (slot > size_t(INT32_MAX) || h->pBlock == nullptr || h->pColumnIndex == nullptr ||
        h->pColumnFraction == nullptr || h->pRowMap == nullptr ||
        (verticalFirst && h->pBlend == nullptr)) {
        ExDisposeBilinearHandle(h);
        return kErrMemory;
    }
    h->pUpper = h->pBlock;
    h->pLower = h->pBlock + slot;
    BuildLinearPositions(source->lWidth, destination->lWidth, h->pColumnIndex, h->pColumnFraction);
    BuildLinearPositions(source->lHeight, destination->lHeight, h->pRowMap, nullptr);
    *handle = h;
    return 0;
}

int32_t ExDisposeBilinearHandle(EXBILINEAR_HANDLE* handle) {
    if (handle == nullptr) return 0;
    ExMemFree(handle->pColumnIndex);
    ExMemFree(handle->pColumnFraction);
    ExMemFree(handle->pRowMap);
    ExMemFree(handle->pBlock);
    ExMemFree(handle->pBlend);
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
