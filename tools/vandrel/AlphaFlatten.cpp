#include "AlphaFlatten.h"

#include <cstring>
#include <vector>

#include "vandrel/Status.h"

namespace vxtool {
namespace {

// c * a + b * (top - a), rounded, over top: exact for a = 0 and a = top.
template <typename Sample>
void FlattenLine(Sample* rgb, const Sample* alpha, int32_t width, const uint32_t background[3]) {
    constexpr uint64_t top = Sample(~Sample(0));
    for (int32_t x = 0; x < width; ++x) {
        const uint64_t a = alpha[x];
        for (int c = 0; c < 3; ++c) {
            Sample& s = rgb[size_t(x) * 3 + c];
            s = Sample((uint64_t(s) * a + background[c] * (top - a) + top / 2) / top);
        }
    }
}

}  // namespace

int32_t FlattenOver(IUtilContainerIF* image, const IUtilContainerIF* alpha, int32_t background) {
    CUImageInfo info, alphaInfo;
    image->GetImageInfo(info);
    alpha->GetImageInfo(alphaInfo);
    const bool deep = info.lColorDepth == 48;
    if ((!deep && info.lColorDepth != 24) || info.bNative != 0 ||
        alphaInfo.lColorDepth != (deep ? 16 : 8) || alphaInfo.lWidth != info.lWidth ||
        alphaInfo.lHeight != info.lHeight)
        return kVxErrCodecUnsupported;
    uint32_t colour[3];
    for (int c = 0; c < 3; ++c) {
        const uint32_t v = uint32_t(background >> (8 * c)) & 0xFF;
        colour[c] = deep ? v * 257 : v;
    }
    const size_t sampleBytes = deep ? 2 : 1;
    std::vector<unsigned char> line(size_t(info.lWidth) * 3 * sampleBytes);
    std::vector<unsigned char> cover(size_t(info.lWidth) * sampleBytes);
    for (int32_t y = 0; y < info.lHeight; ++y) {
        const void* stored = image->GetLine(y, 0, -1);
        if (stored == nullptr) return kVxErrMacroLineIO;
        std::memcpy(line.data(), stored, line.size());
        const void* storedAlpha = alpha->GetLine(y, 0, -1);
        if (storedAlpha == nullptr) return kVxErrMacroLineIO;
        std::memcpy(cover.data(), storedAlpha, cover.size());
        if (deep) {
            FlattenLine(reinterpret_cast<uint16_t*>(line.data()),
                        reinterpret_cast<const uint16_t*>(cover.data()), info.lWidth, colour);
        } else {
            FlattenLine(line.data(), cover.data(), info.lWidth, colour);
        }
        if (image->SetLine(line.data(), y, 0, -1) != 1) return kVxErrMacroSetLine;
    }
    return 1;
}

}  // namespace vxtool
