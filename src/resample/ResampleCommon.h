// Helpers shared by the resampling engines: format-word fields, buffer sizing, zeroed
// allocation and the ready-line count every engine answers a push with.
#ifndef VANDREL_RESAMPLE_RESAMPLECOMMON_H
#define VANDREL_RESAMPLE_RESAMPLECOMMON_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "resample/ResampleKernels.h"
#include "vandrel/ExResize.h"

namespace vxresample {

constexpr int32_t kErrMemory = EXERR_MEMORY;
constexpr int32_t kErrSize = EXERR_SIZE;
constexpr int32_t kErrNullBuffer = EXERR_NULL_BUFFER;
constexpr int32_t kErrMoment = EXERR_MOMENT;
constexpr int32_t kErrArgument = EXERR_ARGUMENT;

constexpr int32_t kNearestShift = 1;
constexpr int32_t kLinearBits = 10;
constexpr int32_t kLinearOne = 1 << kLinearBits;
constexpr int32_t kLinearMask = kLinearOne - 1;
constexpr int32_t kProductBits = 2 * kLinearBits;
constexpr int32_t kProductHalf = 1 << (kProductBits - 1);
constexpr int32_t kPhaseBits = 6;
constexpr int32_t kPhaseMask = (1 << kPhaseBits) - 1;
constexpr int32_t kSmoothMinSize = 60;
constexpr int32_t kSmoothMaxFactor = 16;

// Samples per pixel, read as a signed byte the way the format word is declared.
inline int32_t ChannelsOf(uint32_t format) {
    return int32_t(format) >> 24;
}
inline int32_t BytesPerSampleField(uint32_t format) {
    return int32_t((format >> 19) & 0x1f);
}
inline bool IsEightBit(uint32_t format) {
    return BytesPerSampleField(format) == 1;
}
// Every width other than one byte runs through the 16-bit kernels, so buffers are sized for
// the kernel that will touch them.
inline int32_t KernelSampleBytes(uint32_t format) {
    return IsEightBit(format) ? 1 : 2;
}

// The four 2-bit byte positions of the component fields, most significant field first.
inline void ComponentPositions(uint32_t format, int32_t positions[4]) {
    positions[0] = int32_t((format >> 12) & 3);
    positions[1] = int32_t((format >> 8) & 3);
    positions[2] = int32_t((format >> 4) & 3);
    positions[3] = int32_t(format & 3);
}

// What the engines accept: both sides present, positive sizes, one format word, and a
// channel count the kernels can walk.
inline bool IsUsablePair(const EXIMAGEINFO* source, const EXIMAGEINFO* destination) {
    return source != nullptr && destination != nullptr && source->lWidth > 0 &&
           source->lHeight > 0 && destination->lWidth > 0 && destination->lHeight > 0 &&
           source->ulFormat == destination->ulFormat && ChannelsOf(source->ulFormat) > 0;
}

// count × each bytes, or 0 when the product does not fit comfortably in memory arithmetic.
inline size_t CheckedBytes(int64_t count, int64_t each) {
    if (count <= 0 || each <= 0) return 0;
    constexpr int64_t kLimit = int64_t(1) << 40;
    if (count > kLimit / each) return 0;
    return size_t(count * each);
}

// A zero-filled block from ExMemAlloc, or null. Zeroing once at set-up means that pad pixels
// weighted 0 never read undefined memory.
inline void* AllocZeroed(size_t bytes) {
    if (bytes == 0) return nullptr;
    void* block = ExMemAlloc(bytes);
    if (block != nullptr) std::memset(block, 0, bytes);
    return block;
}

// A zeroed engine handle that already knows both images, where each component sits and how
// many samples a pixel has; null when memory runs out.
template <typename Handle>
Handle* NewEngineHandle(const EXIMAGEINFO* source, const EXIMAGEINFO* destination) {
    auto* h = static_cast<Handle*>(AllocZeroed(sizeof(Handle)));
    if (h == nullptr) return nullptr;
    h->source = *source;
    h->destination = *destination;
    ComponentPositions(source->ulFormat, h->lComponent);
    h->lChannels = ChannelsOf(source->ulFormat);
    return h;
}

// floor(index × numerator / denominator) with a 64-bit intermediate; a denominator of 0
// (a one-pixel destination reached by calling an engine directly) maps everything to 0.
// Fixed-point positions stay 64-bit: (S − 1) × 1024 passes 2^31 once a side has 2^21 + 1
// pixels, so only the whole-pixel part is narrowed, by the caller.
inline int64_t ScaledPosition(int64_t index, int64_t numerator, int64_t denominator) {
    return denominator > 0 ? index * numerator / denominator : 0;
}

// Destination lines ready after pushing source line `pushed`: all remaining ones after the
// last source line, otherwise those from `nextDst` on whose last needed line has arrived.
template <typename NeededLine>
int32_t CountReadyLines(int32_t pushed, int32_t sourceHeight, int32_t nextDst,
                        int32_t destinationHeight, NeededLine needed) {
    if (pushed == sourceHeight - 1) return destinationHeight - nextDst;
    int32_t k = nextDst;
    while (k < destinationHeight && needed(k) <= pushed)
        ++k;
    return k - nextDst;
}

// The across map of the column arrays, with its per-sample copies (ResampleKernels.h) made
// in new blocks that the caller releases (no weights when `weight` is null); false when
// memory runs out.
inline bool BuildAcrossMap(const int32_t* index, const int32_t* weight, int32_t width,
                           int32_t channels, int32_t*& first, int32_t*& sampleWeight,
                           AcrossMap& map) {
    const int64_t samples = int64_t(width) * channels;
    first = static_cast<int32_t*>(AllocZeroed(CheckedBytes(samples, 4)));
    if (weight != nullptr)
        sampleWeight = static_cast<int32_t*>(AllocZeroed(CheckedBytes(samples, 4)));
    if (first == nullptr || (weight != nullptr && sampleWeight == nullptr)) return false;
    for (int32_t x = 0; x < width; ++x)
        for (int32_t c = 0; c < channels; ++c) {
            first[int64_t(x) * channels + c] = index[x] * channels + c;
            if (weight != nullptr) sampleWeight[int64_t(x) * channels + c] = weight[x];
        }
    map = AcrossMap{index, weight, first, sampleWeight, width, channels, nullptr, nullptr};
    return true;
}

// The 16-byte windows of an 8-bit two-tap map (see AcrossMap), in new blocks the caller
// releases; the map keeps null windows when some group does not fit one. False when memory
// runs out.
inline bool BuildPairWindows(AcrossMap& map, int32_t*& base, uint8_t*& shuffle) {
    constexpr uint8_t kZero = 0x80;
    const int64_t samples = int64_t(map.width) * map.channels;
    const int64_t groups = (samples + 3) / 4;
    base = static_cast<int32_t*>(AllocZeroed(CheckedBytes(groups, 4)));
    shuffle = static_cast<uint8_t*>(AllocZeroed(CheckedBytes(groups, 16)));
    if (base == nullptr || shuffle == nullptr) return false;
    for (int64_t g = 0; g < groups; ++g) {
        base[g] = map.first[4 * g];
        for (int64_t j = 4 * g + 1; j < 4 * g + 4 && j < samples; ++j)
            base[g] = base[g] < map.first[j] ? base[g] : map.first[j];
        for (int64_t k = 0; k < 4; ++k) {
            uint8_t* control = shuffle + 16 * g + 4 * k;
            const int64_t j = 4 * g + k;
            const int64_t offset = j < samples ? map.first[j] - base[g] : 0;
            if (offset < 0 || offset + map.channels > 15) return true;
            control[0] = j < samples ? uint8_t(offset) : kZero;
            control[1] = kZero;
            control[2] = j < samples ? uint8_t(offset + map.channels) : kZero;
            control[3] = kZero;
        }
    }
    map.windowBase = base;
    map.windowShuffle = shuffle;
    return true;
}

// The vector kernels index a line with 32-bit sample offsets (and read up to four taps and a
// few bytes past the last one); longer lines keep to the plain kernels.
inline bool VectorIndexable(int32_t sourceWidth, int32_t channels) {
    return (int64_t(sourceWidth) + 8) * channels * 2 < int64_t(INT32_MAX);
}

// Room the gathers of the vector kernels may read past a line's last sample.
constexpr size_t kGatherSlack = 32;

// Runs `kernel<Sample, channels>` with the channel count as a constant for 1-4 (0: any).
#define VX_BY_CHANNELS(kernel, channels, ...) \
    switch (channels) {                       \
        case 1:                               \
            kernel<Sample, 1>(__VA_ARGS__);   \
            break;                            \
        case 2:                               \
            kernel<Sample, 2>(__VA_ARGS__);   \
            break;                            \
        case 3:                               \
            kernel<Sample, 3>(__VA_ARGS__);   \
            break;                            \
        case 4:                               \
            kernel<Sample, 4>(__VA_ARGS__);   \
            break;                            \
        default:                              \
            kernel<Sample, 0>(__VA_ARGS__);   \
            break;                            \
    }

}  // namespace vxresample

#endif
