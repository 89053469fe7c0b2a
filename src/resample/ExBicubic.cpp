// Bicubic engine: a four-line band of the source, corner-aligned maps with 64 phases, and
// separable four-tap filtering from BicTable, vertically into a 32-bit column buffer and then
// horizontally, with rounding at 20 fraction bits and clamping to the sample range.
//
// Nothing is rounded before the final shift, so the double sum over the 4 × 4 taps may be
// taken in either order with the same result. When the destination is wider than the source,
// each source line is filtered across once as it arrives (it serves several destination
// lines) and every destination line is then a straight four-row sum; otherwise the four band
// lines are summed down first and filtered across once per destination line.
#include <algorithm>
#include <cstring>

#include "resample/ExHandles.h"
#include "resample/ResampleCommon.h"
#include "resample/ResampleKernels.h"

using namespace vxresample;

namespace {

constexpr int32_t kPhases = 1 << kPhaseBits;

// Which of the three curves an axis uses. The named methods pick by scale factor: factors of
// two or more either way get the soft curve, 1.2 to 2 the medium one, and near identity the
// sharpest, which is the identity at phase 0.
int32_t SubTableFor(EXRESIZE_METHOD method, int64_t source, int64_t destination) {
    if (method == EXRESIZE_BICUBIC_SOFT) return 0;
    if (method == EXRESIZE_BICUBIC_MEDIUM) return 1;
    if (method == EXRESIZE_BICUBIC_SHARP) return 2;
    if (source / destination >= 2 || destination / source >= 2) return 0;
    if ((5 * source) / destination < 6) return (5 * destination) / source > 5 ? 1 : 2;
    return 1;
}

// Corner-aligned positions with 6 fraction bits: (i × (S − 1) × 64) div (D − 1).
void BuildPhasePositions(int32_t source, int32_t destination, int64_t* position) {
    const int64_t span = int64_t(source - 1) * kPhases;
    for (int32_t i = 0; i < destination; ++i)
        position[i] = ScaledPosition(i, span, destination - 1);
}

// The same split into source pixel and phase, for the column maps.
void BuildColumnPhases(int32_t source, int32_t destination, int32_t* index, int32_t* phase) {
    const int64_t span = int64_t(source - 1) * kPhases;
    for (int32_t i = 0; i < destination; ++i) {
        const int64_t p = ScaledPosition(i, span, destination - 1);
        index[i] = int32_t(p >> kPhaseBits);
        phase[i] = int32_t(p & kPhaseMask);
    }
}

// A source line is read when it lies within the four taps of some destination line; lines
// nobody reads are not copied in (their slot then holds an older line, weighted by nobody).
void MarkUsedLines(const EXBICUBIC_HANDLE* h, unsigned char* used) {
    const int32_t last = h->source.lHeight - 1;
    for (int32_t k = 0; k < h->destination.lHeight; ++k) {
        const int32_t y0 = int32_t(h->pRowMap[k] >> kPhaseBits);
        for (int32_t y = y0 - 1; y <= y0 + 2; ++y)
            used[y < 0 ? 0 : (y > last ? last : y)] = 1;
    }
}

// One row of the vertical pass: four source lines weighted into 32-bit sums. Even at 16 bits
// the largest sum (65535 × 1592) stays far inside the signed range.
template <typename Sample>
void VerticalPass(int32_t* out, const Sample* const lines[4], const int16_t weight[4],
                  int64_t count) {
    const Sample *s0 = lines[0], *s1 = lines[1], *s2 = lines[2], *s3 = lines[3];
    const int32_t w0 = weight[0], w1 = weight[1], w2 = weight[2], w3 = weight[3];
    for (int64_t i = 0; i < count; ++i)
        out[i] =
            w0 * int32_t(s0[i]) + w1 * int32_t(s1[i]) + w2 * int32_t(s2[i]) + w3 * int32_t(s3[i]);
}

// 8-bit sums of two table rows over 8-bit columns stay below 2^31 (the tests check the table
// for it), so the 8-bit kernel stays in 32 bits; the 16-bit one needs 64.
template <typename Sample>
struct HorizontalTraits;
template <>
struct HorizontalTraits<uint8_t> {
    using Sum = int32_t;
    static constexpr int32_t kMax = 255;
};
template <>
struct HorizontalTraits<uint16_t> {
    using Sum = int64_t;
    static constexpr int32_t kMax = 65535;
};

template <typename Sample, int Channels>
void HorizontalPass(Sample* out, const int32_t* columns, const AcrossMap& map,
                    const int16_t (*table)[4]) {
    using Traits = HorizontalTraits<Sample>;
    using Sum = typename Traits::Sum;
    const int32_t channels = Channels > 0 ? Channels : map.channels;
    for (int32_t x = 0; x < map.width; ++x) {
        const int32_t* p = columns + int64_t(map.index[x]) * channels;
        const int16_t* h = table[map.weight[x]];
        for (int32_t c = 0; c < channels; ++c) {
            const Sum sum = Sum(h[0]) * p[c] + Sum(h[1]) * p[c + channels] +
                            Sum(h[2]) * p[c + 2 * channels] + Sum(h[3]) * p[c + 3 * channels];
            const Sum value = (sum + kProductHalf) >> kProductBits;
            out[c] = Sample(std::min<Sum>(std::max<Sum>(value, 0), Traits::kMax));
        }
        out += channels;
    }
}

// Filters one padded row across without rounding: the first half of the across-first order.
// Sums of raw samples stay below 2160 × 65535, far inside 32 bits.
template <typename Sample, int Channels>
void HorizontalSums(int32_t* out, const int32_t* columns, const AcrossMap& map,
                    const int16_t (*table)[4]) {
    const int32_t channels = Channels > 0 ? Channels : map.channels;
    for (int32_t x = 0; x < map.width; ++x) {
        const int32_t* p = columns + int64_t(map.index[x]) * channels;
        const int16_t* h = table[map.weight[x]];
        for (int32_t c = 0; c < channels; ++c)
            out[c] = h[0] * p[c] + h[1] * p[c + channels] + h[2] * p[c + 2 * channels] +
                     h[3] * p[c + 3 * channels];
        out += channels;
    }
}

// The second half: four filtered rows summed down, rounded and clamped.
template <typename Sample>
void VerticalFinish(Sample* out, const int32_t* const rows[4], const int16_t weight[4],
                    int64_t count) {
    using Traits = HorizontalTraits<Sample>;
    using Sum = typename Traits::Sum;
    const Sum w0 = weight[0], w1 = weight[1], w2 = weight[2], w3 = weight[3];
    const int32_t *r0 = rows[0], *r1 = rows[1], *r2 = rows[2], *r3 = rows[3];
    for (int64_t i = 0; i < count; ++i) {
        const Sum value =
            (w0 * r0[i] + w1 * r1[i] + w2 * r2[i] + w3 * r3[i] + kProductHalf) >> kProductBits;
        out[i] = Sample(std::min<Sum>(std::max<Sum>(value, 0), Traits::kMax));
    }
}

template <typename Sample>
void HorizontalPassLine(Sample* out, const int32_t* columns, const AcrossMap& map,
                        const int16_t (*table)[4]) {
    VX_BY_CHANNELS(HorizontalPass, map.channels, out, columns, map, table)
}

void HorizontalSumsLine(int32_t* out, const int32_t* columns, const AcrossMap& map,
                        const int16_t (*table)[4]) {
    using Sample = int32_t;  // the channel switch names it; the sums take widened samples
    VX_BY_CHANNELS(HorizontalSums, map.channels, out, columns, map, table)
}

template <typename Sample>
constexpr BicubicOps<Sample> PlainOps() {
    return {VerticalPass<Sample>, HorizontalPassLine<Sample>, VerticalFinish<Sample>};
}

// Edge pixels: the first right pad repeats the last pixel, the left pad the first one.
void PadEdges(int32_t* columns, int64_t samples, int32_t channels) {
    ExMemCopy(columns + samples, columns + samples + channels,
              size_t(2 * channels) * sizeof(int32_t));
    std::memcpy(columns, columns + channels, size_t(channels) * sizeof(int32_t));
}

// Across-first: widens the arriving line into the padded column buffer and filters it into
// the row that belongs to slot 3.
template <typename Sample>
void FilterArrivingLine(EXBICUBIC_HANDLE* h, const Sample* line) {
    const int32_t channels = h->lChannels;
    const int64_t samples = int64_t(h->source.lWidth) * channels;
    int32_t* columns = h->pColumns;
    for (int64_t i = 0; i < samples; ++i)
        columns[channels + i] = line[i];
    PadEdges(columns, samples, channels);
    h->pKernels->horizontalSums(h->pRow[3], columns, h->across, h->pHorizontal);
}

template <typename Sample>
void FilterLine(Sample* out, EXBICUBIC_HANDLE* h, int32_t phase) {
    const int32_t channels = h->lChannels;
    const BicubicOps<Sample>& ops = h->pKernels->For<Sample>();
    if (h->bAcrossFirst != 0) {
        ops.verticalFinish(out, h->pRow, h->pVertical[phase],
                           int64_t(h->destination.lWidth) * channels);
        return;
    }
    const int64_t samples = int64_t(h->source.lWidth) * channels;
    int32_t* columns = h->pColumns;
    const Sample* const lines[4] = {
        reinterpret_cast<const Sample*>(h->pSlot[0]), reinterpret_cast<const Sample*>(h->pSlot[1]),
        reinterpret_cast<const Sample*>(h->pSlot[2]), reinterpret_cast<const Sample*>(h->pSlot[3])};
    ops.verticalPass(columns + channels, lines, h->pVertical[phase], samples);
    PadEdges(columns, samples, channels);
    ops.horizontalPass(out, columns, h->across, h->pHorizontal);
}

// Slot 0 := slot 1, 1 := 2, 2 := 3, 3 := the old slot 0, with the filtered rows alongside.
void RotateBand(EXBICUBIC_HANDLE* h) {
    unsigned char* oldest = h->pSlot[0];
    int32_t* oldestRow = h->pRow[0];
    for (int i = 0; i < 3; ++i) {
        h->pSlot[i] = h->pSlot[i + 1];
        h->pRow[i] = h->pRow[i + 1];
    }
    h->pSlot[3] = oldest;
    h->pRow[3] = oldestRow;
}

template <typename Sample>
int32_t PushBicubic(const void* line, EXBICUBIC_HANDLE* h) {
    if (line == nullptr) return kErrNullBuffer;
    if (h->lReady > 0) return kErrArgument;
    if (h->lNextDst >= h->destination.lHeight) return kErrMoment;
    const int64_t* rows = h->pRowMap;
    const int32_t lastLine = h->source.lHeight - 1;
    const int32_t ready = CountReadyLines(h->lNextSrc, h->source.lHeight, h->lNextDst,
                                          h->destination.lHeight, [rows, lastLine](int32_t k) {
                                              const int32_t lowest =
                                                  int32_t(rows[k] >> kPhaseBits) + 2;
                                              return lowest < lastLine ? lowest : lastLine;
                                          });
    RotateBand(h);
    const bool across = h->bAcrossFirst != 0;
    const size_t bytes = across ? size_t(h->destination.lWidth) * h->lChannels * sizeof(int32_t)
                                : size_t(h->source.lWidth) * h->lChannels * sizeof(Sample);
    if (h->pLineUsed[h->lNextSrc] != 0) {
        if (across)
            FilterArrivingLine(h, static_cast<const Sample*>(line));
        else
            std::memcpy(h->pSlot[3], line, bytes);
    }
    if (h->lNextSrc == 0) {
        // The top line stands in for the lines above the image.
        if (across)
            std::memcpy(h->pRow[2], h->pRow[3], bytes);
        else
            std::memcpy(h->pSlot[2], h->pSlot[3], bytes);
        h->lBandBase = -2;
    }
    ++h->lNextSrc;
    h->lReady = ready;
    ++h->lBandBase;
    return ready;
}

// After the last source line the band can only move by repeating lines. d counts how far the
// wanted line lies past the band base; 3 − d of the three slot moves are made, in order. With
// d = 1 that gives (n−3, n−2, n−2, n−1), so a strong reduction ends on source line n−2.
void SettleBandAtEnd(EXBICUBIC_HANDLE* h, int32_t lineAtTap1) {
    const int32_t d = lineAtTap1 - h->lBandBase;
    if (d < 0 || h->lNextSrc != h->source.lHeight) return;
    const int32_t moves = 3 - d;
    for (int32_t i = 0; i < moves && i < 3; ++i) {
        h->pSlot[i] = h->pSlot[i + 1];
        h->pRow[i] = h->pRow[i + 1];
    }
    ++h->lBandBase;
}

template <typename Sample>
int32_t PullBicubic(void* line, EXBICUBIC_HANDLE* h) {
    if (line == nullptr) return kErrNullBuffer;
    if (h->lReady < 1) return kErrMoment;
    const int64_t position = h->pRowMap[h->lNextDst];
    SettleBandAtEnd(h, int32_t(position >> kPhaseBits));
    FilterLine(static_cast<Sample*>(line), h, int32_t(position & kPhaseMask));
    ++h->lNextDst;
    --h->lReady;
    return 0;
}

}  // namespace

namespace vxresample {
const BicubicKernels kBicubicPlain = {{PlainOps<uint8_t>(), PlainOps<uint16_t>()},
                                      HorizontalSumsLine};
}  // namespace vxresample

extern "C" {

int32_t ExCreateBicubicHandle(const EXIMAGEINFO* source, const EXIMAGEINFO* destination,
                              EXBICUBIC_HANDLE** handle, EXRESIZE_METHOD method) {
    if (handle == nullptr || !IsUsablePair(source, destination) || method < 2 || method > 7)
        return kErrArgument;
    auto* h = NewEngineHandle<EXBICUBIC_HANDLE>(source, destination);
    if (h == nullptr) return kErrMemory;
    const size_t slot =
        CheckedBytes(int64_t(source->lWidth) * h->lChannels, KernelSampleBytes(source->ulFormat));
    h->pBlock = static_cast<unsigned char*>(AllocZeroed(CheckedBytes(int64_t(slot), 4)));
    h->pColumnIndex = static_cast<int32_t*>(AllocZeroed(CheckedBytes(destination->lWidth, 4)));
    h->pColumnPhase = static_cast<int32_t*>(AllocZeroed(CheckedBytes(destination->lWidth, 4)));
    h->pRowMap = static_cast<int64_t*>(AllocZeroed(CheckedBytes(destination->lHeight, 8)));
    h->pColumns = static_cast<int32_t*>(
        AllocZeroed(CheckedBytes((int64_t(source->lWidth) + 3) * h->lChannels, 4) + kGatherSlack));
    h->pLineUsed = static_cast<unsigned char*>(AllocZeroed(CheckedBytes(source->lHeight, 1)));
    h->bAcrossFirst = destination->lWidth > source->lWidth ? 1 : 0;
    const int64_t rowSamples = int64_t(destination->lWidth) * h->lChannels;
    if (h->bAcrossFirst != 0) {
        h->pRowBlock = static_cast<int32_t*>(AllocZeroed(CheckedBytes(4 * rowSamples, 4)));
        for (int i = 0; h->pRowBlock != nullptr && i < 4; ++i)
            h->pRow[i] = h->pRowBlock + i * rowSamples;
    }
    if ((h->bAcrossFirst != 0 && h->pRowBlock == nullptr) || h->pLineUsed == nullptr ||
        h->pBlock == nullptr || h->pColumnIndex == nullptr || h->pColumnPhase == nullptr ||
        h->pRowMap == nullptr || h->pColumns == nullptr) {
        ExDisposeBicubicHandle(h);
        return kErrMemory;
    }
    for (int i = 0; i < 4; ++i)
        h->pSlot[i] = h->pBlock + i * slot;
    BuildColumnPhases(source->lWidth, destination->lWidth, h->pColumnIndex, h->pColumnPhase);
    h->pKernels = VectorIndexable(source->lWidth, h->lChannels) ? &BicubicKernelsForNewHandles()
                                                                : &kBicubicPlain;
    if (!BuildAcrossMap(h->pColumnIndex, h->pColumnPhase, destination->lWidth, h->lChannels,
                        h->pSampleFirst, h->pSamplePhase, h->across)) {
        ExDisposeBicubicHandle(h);
        return kErrMemory;
    }
    BuildPhasePositions(source->lHeight, destination->lHeight, h->pRowMap);
    MarkUsedLines(h, h->pLineUsed);
    h->pHorizontal = BicTable + kPhases * SubTableFor(method, source->lWidth, destination->lWidth);
    h->pVertical = BicTable + kPhases * SubTableFor(method, source->lHeight, destination->lHeight);
    *handle = h;
    return 0;
}

int32_t ExDisposeBicubicHandle(EXBICUBIC_HANDLE* handle) {
    if (handle == nullptr) return 0;
    ExMemFree(handle->pColumnIndex);
    ExMemFree(handle->pColumnPhase);
    ExMemFree(handle->pRowMap);
    ExMemFree(handle->pColumns);
    ExMemFree(handle->pBlock);
    ExMemFree(handle->pLineUsed);
    ExMemFree(handle->pRowBlock);
    ExMemFree(handle->pSampleFirst);
    ExMemFree(handle->pSamplePhase);
    ExMemFree(handle);
    return 0;
}

int32_t ExSetlineBicubic8(const void* line, EXBICUBIC_HANDLE* handle) {
    return PushBicubic<uint8_t>(line, handle);
}
int32_t ExSetlineBicubic16(const void* line, EXBICUBIC_HANDLE* handle) {
    return PushBicubic<uint16_t>(line, handle);
}
int32_t ExGetlineBicubic8(void* line, EXBICUBIC_HANDLE* handle) {
    return PullBicubic<uint8_t>(line, handle);
}
int32_t ExGetlineBicubic16(void* line, EXBICUBIC_HANDLE* handle) {
    return PullBicubic<uint16_t>(line, handle);
}

}  // extern "C"
