// Nearest-neighbour engine: keeps the most recently needed source line and copies whole
// pixels through a precomputed column map. Both maps are top-left aligned: floor(i × S / D).
#include <cstring>

#include "resample/ExHandles.h"
#include "resample/ResampleCommon.h"

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
void GatherPixels(Sample* out, const Sample* line, const int32_t* columnMap, int32_t width) {
    for (int32_t x = 0; x < width; ++x) {
        const Sample* pixel = line + int64_t(columnMap[x]) * Channels;
        for (int c = 0; c < Channels; ++c)
            out[c] = pixel[c];
        out += Channels;
    }
}

template <typename Sample>
void GatherPixelsAnyChannels(Sample* out, const Sample* line, const int32_t* columnMap,
                             int32_t width, int32_t channels) {
    for (int32_t x = 0; x < width; ++x) {
        std::memcpy(out, line + int64_t(columnMap[x]) * channels, sizeof(Sample) * channels);
        out += channels;
    }
}

template <typename Sample>
void GatherLine(Sample* out, const EXNEAREST_HANDLE* h) {
    const Sample* line = reinterpret_cast<const Sample*>(h->pLine);
    const int32_t width = h->destination.lWidth;
    switch (h->lChannels) {
        case 1:
            GatherPixels<Sample, 1>(out, line, h->pColumnMap, width);
            break;
        case 2:
            GatherPixels<Sample, 2>(out, line, h->pColumnMap, width);
            break;
        case 3:
            GatherPixels<Sample, 3>(out, line, h->pColumnMap, width);
            break;
        case 4:
            GatherPixels<Sample, 4>(out, line, h->pColumnMap, width);
            break;
        default:
            GatherPixelsAnyChannels(out, line, h->pColumnMap, width, h->lChannels);
    }
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
    GatherLine(static_cast<Sample*>(line), h);
    ++h->lNextDst;
    --h->lReady;
    return 0;
}

}  // namespace

extern "C" {

int32_t ExCreateNearestHandle(const EXIMAGEINFO* source, const EXIMAGEINFO* destination,
                              EXNEAREST_HANDLE** handle) {
    if (handle == nullptr || !IsUsablePair(source, destination)) return kErrArgument;
    auto* h = NewEngineHandle<EXNEAREST_HANDLE>(source, destination);
    if (h == nullptr) return kErrMemory;
    h->pLine = static_cast<unsigned char*>(AllocZeroed(
        CheckedBytes(int64_t(source->lWidth) * h->lChannels, KernelSampleBytes(source->ulFormat))));
    h->pColumnMap = BuildNearestMap(source->lWidth, destination->lWidth);
    h->pRowMap = BuildNearestMap(source->lHeight, destination->lHeight);
    if (h->pLine == nullptr || h->pColumnMap == nullptr || h->pRowMap == nullptr) {
        ExDisposeNearestHandle(h);
        return kErrMemory;
    }
    *handle = h;
    return 0;
}

int32_t ExDisposeNearestHandle(EXNEAREST_HANDLE* handle) {
    if (handle == nullptr) return 0;
    ExMemFree(handle->pColumnMap);
    ExMemFree(handle->pRowMap);
    ExMemFree(handle->pLine);
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
