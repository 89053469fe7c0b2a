// AVX2 kernel of the nearest-neighbour engine: eight samples per gather through the
// per-sample column map, narrowed back to the sample width; the last pixels (fewer than
// eight) go through the plain kernel.
#include "platform/CpuFeatures.h"

#if VX_X86_VECTOR

#include "resample/Avx2Support.h"
#include "resample/ResampleCommon.h"

namespace vxresample {
namespace {

using namespace avx2;

// 8-bit pixels of two to four samples: one four-byte read per pixel, the bytes of the pixel
// kept and packed together. Three-sample blocks write four bytes past their 24 (the next
// block's), so they stop two pixels before the end of the line.
template <int Channels>
VX_AVX2 int32_t GatherPixels8(uint8_t* out, const uint8_t* line, const AcrossMap& map) {
    const int32_t width = map.width - (Channels == 3 ? 2 : 0);
    const int32_t pixels = width > 0 ? width & ~7 : 0;
    const __m256i pack =
        Channels == 3 ? _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1, 0,
                                         1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1)
                      : _mm256_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1,
                                         0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m256i scale = _mm256_set1_epi32(Channels);
    for (int32_t x = 0; x < pixels; x += 8) {
        const __m256i at = _mm256_mullo_epi32(Load(map.index + x), scale);
        const __m256i v = _mm256_i32gather_epi32(reinterpret_cast<const int*>(line), at, 1);
        uint8_t* o = out + int64_t(x) * Channels;
        if (Channels == 4) {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(o), v);
            continue;
        }
        const __m256i packed = _mm256_shuffle_epi8(v, pack);
        const __m128i low = _mm256_castsi256_si128(packed);
        const __m128i high = _mm256_extracti128_si256(packed, 1);
        if (Channels == 3) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(o), low);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(o + 12), high);
        } else {
            _mm_storel_epi64(reinterpret_cast<__m128i*>(o), low);
            _mm_storel_epi64(reinterpret_cast<__m128i*>(o + 8), high);
        }
    }
    return pixels;
}

VX_AVX2 void GatherLine8(uint8_t* out, const uint8_t* line, const AcrossMap& map) {
    int32_t pixels = 0;
    switch (map.channels) {
        case 2:
            pixels = GatherPixels8<2>(out, line, map);
            break;
        case 3:
            pixels = GatherPixels8<3>(out, line, map);
            break;
        case 4:
            pixels = GatherPixels8<4>(out, line, map);
            break;
        default:
            pixels = VectorPixels(map);
            for (int64_t j = 0; j < int64_t(pixels) * map.channels; j += 8)
                Store(out + j, Gather(line, Load(map.first + j)));
    }
    kNearestPlain.eight.gather(out + int64_t(pixels) * map.channels, line, TailMap(map, pixels));
}

template <typename Sample>
VX_AVX2 void GatherLine(Sample* out, const Sample* line, const AcrossMap& map) {
    const int32_t pixels = VectorPixels(map);
    const int64_t n = int64_t(pixels) * map.channels;
    for (int64_t j = 0; j < n; j += 8)
        Store(out + j, Gather(line, Load(map.first + j)));
    kNearestPlain.For<Sample>().gather(out + n, line, TailMap(map, pixels));
}

}  // namespace

const NearestKernels kNearestAvx2 = {{GatherLine8}, {GatherLine<uint16_t>}};

}  // namespace vxresample

#endif
