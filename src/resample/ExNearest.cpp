// Nearest-neighbour engine: keeps the most recently needed source line and copies whole
// pixels through a precomputed column map. Both maps are top-left aligned: floor(i × S / D).
#include <cstring>

#include "resample/ExHandles.h"
#include "resample/ResampleCommon.h"
#include "resample/ResampleKernels.h"

using namespace vxresample;

namespace {

// The map is built at twice the resolution and halved, which equals floor(i × S / D).
int32_t* BuildNearestMap(int32_t source, int32_t destination) {
    int32_t* map = static_cast<int32_t*>(AllocZeroed(CheckedBytes(int64_t(destination) + 3, 4)));
    if (map == nullptr) return nullptr;
    for (int32_t i = 0; i < destination; ++i)
        map[i] = int32_t((int64_t(i) * 2 * source) / destination) >> kNearestShift;
    return map;
}

template <typename Sample, int Channels>
void GatherPixels(Sample* out, const Sample* line, const AcrossMap& map) {
    const int32_t channels = Channels > 0 ? Channels : map.channels;
    for (int32_t x = 0; x < map.width; ++x) {
        const Sample* pixel = line + int64_t(map.index[x]) * channels;
        for (int c = 0; c < channels; ++c)
            out[c] = pixel[c];
        out += channels;
    }
}

template <typename Sample>
void GatherLine(Sample* out, const Sample* line, const AcrossMap& map) {
    VX_BY_CHANNELS(GatherPixels, map.channels, out, line, map)
}

template <typename Sample>
int32_t PushNearest(const void* line, EXNEAREST_HANDLE* h) {
    if (line == nullptr) return kErrNullBuffer;
    if (h->lReady > 0) return kErrArgument;
    if (h->lNextDst >= h->destination.lHeight) return kErrMoment;
    const int32_t* rows = h->pRowMap;
    const int32_t ready =
        CountReadyLines(h->lNextSrc, h->source.lHeight, h->lNextDst, h->destination.lHeight,
                        [rows](int32_t k) { return rows[k]; });
    // A line no destination line samples is not kept.
    if (rows[h->lNextDst] == h->lNextSrc)
        std::memcpy(h->pLine, line, size_t(h->source.lWidth) * h->lChannels * sizeof(Sample));
    ++h->lNextSrc;
    h->lReady = ready;
    ++h->lPushed;
    return ready;
}

template <typename Sample>
int32_t PullNearest(void* line, EXNEAREST_HANDLE* h) {
    if (line == nullptr) return kErrNullBuffer;
    if (h->lReady < 1) return kErrMoment;
    h->pKernels->For<Sample>().gather(static_cast<Sample*>(line),
                                      reinterpret_cast<const Sample*>(h->pLine), h->across);
    ++h->lNextDst;
    --h->lReady;
    return 0;
}

}  // namespace

namespace vxresample {
const NearestKernels kNearestPlain = {{GatherLine<uint8_t>}, {GatherLine<uint16_t>}};
}  // namespace vxresample

extern "C" {

int32_t ExCreateNearestHandle(const EXIMAGEINFO* source, const EXIMAGEINFO* destination,
                              EXNEAREST_HANDLE** handle) {
    if (handle == nullptr || !IsUsablePair(source, destination)) return kErrArgument;
    auto* h = NewEngineHandle<EXNEAREST_HANDLE>(source, destination);
    if (h == nullptr) return kErrMemory;
    h->pLine = static_cast<unsigned char*>(AllocZeroed(
        CheckedBytes(int64_t(source->lWidth) * h->lChannels, KernelSampleBytes(source->ulFormat)) +
        kGatherSlack));
    h->pColumnMap = BuildNearestMap(source->lWidth, destination->lWidth);
    h->pRowMap = BuildNearestMap(source->lHeight, destination->lHeight);
    int32_t* noWeights = nullptr;
    if (h->pLine == nullptr || h->pColumnMap == nullptr || h->pRowMap == nullptr ||
        !BuildAcrossMap(h->pColumnMap, nullptr, destination->lWidth, h->lChannels, h->pSampleFirst,
                        noWeights, h->across)) {
        ExDisposeNearestHandle(h);
        return kErrMemory;
    }
    h->pKernels = VectorIndexable(source->lWidth, h->lChannels) ? &NearestKernelsForNewHandles()
                                                                : &kNearestPlain;
    *handle = h;
    return 0;
}

int32_t ExDisposeNearestHandle(EXNEAREST_HANDLE* handle) {
    if (handle == nullptr) return 0;
    ExMemFree(handle->pColumnMap);
    ExMemFree(handle->pRowMap);
    ExMemFree(handle->pLine);
    ExMemFree(handle->pSampleFirst);
    ExMemFree(handle);
    return 0;
}

int32_t ExSetlineNearest8(const void* line, EXNEAREST_HANDLE* handle) {
    return PushNearest<uint8_t>(line, handle);
}
int32_t ExSetlineNearest16(const void* line, EXNEAREST_HANDLE* handle) {
    return PushNearest<uint16_t>(line, handle);
}
int32_t ExGetlineNearest8(void* line, EXNEAREST_HANDLE* handle) {
    return PullNearest<uint8_t>(line, handle);
}
int32_t ExGetlineNearest16(void* line, EXNEAREST_HANDLE* handle) {
    return PullNearest<uint16_t>(line, handle);
}

}  // extern "C"
