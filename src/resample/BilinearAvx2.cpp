// AVX2 kernels of the bilinear engine. Every blend is rewritten as
//     g × a + f × b = (a << 10) + f × (b − a)        (g = 1024 − f)
// which is the same integer, so the rounding at the end sees the same sum. 8-bit blends stay
// in 32-bit lanes (all terms below 2^29); 16-bit ones finish in 64-bit halves. Across passes
// gather their taps through the per-sample maps and leave the last pixels (fewer than eight)
// to the plain kernels.
#include "platform/CpuFeatures.h"

#if VX_X86_VECTOR

#include "resample/Avx2Support.h"
#include "resample/ResampleCommon.h"

namespace vxresample {
namespace {

using namespace avx2;

// (a << 10) + f × (b − a), all in 32-bit lanes.
VX_AVX2 inline __m256i Weigh(__m256i a, __m256i b, __m256i f) {
    return _mm256_add_epi32(_mm256_slli_epi32(a, kLinearBits),
                            _mm256_mullo_epi32(f, _mm256_sub_epi32(b, a)));
}

VX_AVX2 inline __m256i Round20(__m256i sum) {
    return _mm256_srli_epi32(_mm256_add_epi32(sum, _mm256_set1_epi32(kProductHalf)), kProductBits);
}

VX_AVX2 void BlendRows8(uint8_t* out, const uint32_t* upper, const uint32_t* lower, int64_t count,
                        uint32_t fy) {
    const __m256i f = _mm256_set1_epi32(int32_t(fy));
    const int64_t n = count & ~int64_t(7);
    for (int64_t i = 0; i < n; i += 8)
        Store(out + i, Round20(Weigh(Load(upper + i), Load(lower + i), f)));
    kBilinearPlain.eight.blendRows(out + n, upper + n, lower + n, count - n, fy);
}

VX_AVX2 void BlendRows16(uint16_t* out, const uint32_t* upper, const uint32_t* lower, int64_t count,
                         uint32_t fy) {
    const __m256i f = _mm256_set1_epi32(int32_t(fy));
    const int64_t n = count & ~int64_t(7);
    for (int64_t i = 0; i < n; i += 8) {
        const __m256i a = Load(upper + i);
        Store(out + i, Round20Wide(a, _mm256_sub_epi32(Load(lower + i), a), f));
    }
    kBilinearPlain.sixteen.blendRows(out + n, upper + n, lower + n, count - n, fy);
}

template <typename Sample>
VX_AVX2 void BlendVertically(uint32_t* blend, const Sample* upper, const Sample* lower,
                             int64_t count, uint32_t fy) {
    const __m256i f = _mm256_set1_epi32(int32_t(fy));
    const int64_t n = count & ~int64_t(7);
    for (int64_t i = 0; i < n; i += 8)
        Store(blend + i, Weigh(Widen(upper + i), Widen(lower + i), f));
    kBilinearPlain.For<Sample>().blendVertically(blend + n, upper + n, lower + n, count - n, fy);
}

// The two taps of an across blend: the sample at `first` and the one a pixel to its right.
template <typename Sample>
VX_AVX2 inline void Taps(const Sample* line, __m256i first, __m256i step, __m256i& a, __m256i& b) {
    a = Gather(line, first);
    b = Gather(line, _mm256_add_epi32(first, step));
}

template <typename Sample>
VX_AVX2 inline void Finish(Sample* out, __m256i a, __m256i b, __m256i f);
template <>
VX_AVX2 inline void Finish(uint8_t* out, __m256i a, __m256i b, __m256i f) {
    Store(out, Round20(Weigh(a, b, f)));
}
template <>
VX_AVX2 inline void Finish(uint16_t* out, __m256i a, __m256i b, __m256i f) {
    Store(out, Round20Wide(a, _mm256_sub_epi32(b, a), f));
}

template <typename Sample>
VX_AVX2 void BlendAcross(Sample* out, const uint32_t* blend, const AcrossMap& map) {
    const int32_t pixels = VectorPixels(map);
    const int64_t n = int64_t(pixels) * map.channels;
    const __m256i step = _mm256_set1_epi32(map.channels);
    for (int64_t j = 0; j < n; j += 8) {
        __m256i a, b;
        Taps(blend, Load(map.first + j), step, a, b);
        Finish(out + j, a, b, Load(map.sampleWeight + j));
    }
    kBilinearPlain.For<Sample>().blendAcross(out + n, blend, TailMap(map, pixels));
}

// 8-bit lines of up to three samples per pixel: one four-byte read holds both taps (bytes 0
// and `channels`), paired as 16-bit words for pmaddwd against (1024 − f, f).
struct PairTaps8 {
    __m128i shift;  // bits from the first tap to the second
    explicit PairTaps8(int32_t channels) : shift(_mm_cvtsi32_si128(8 * channels)) {}
};

VX_AVX2 inline __m256i Paired(const uint8_t* line, __m256i first, const PairTaps8& taps) {
    const __m256i v = _mm256_i32gather_epi32(reinterpret_cast<const int*>(line), first, 1);
    const __m256i byte = _mm256_set1_epi32(0xff);
    return _mm256_or_si256(
        _mm256_and_si256(v, byte),
        _mm256_slli_epi32(_mm256_and_si256(_mm256_srl_epi32(v, taps.shift), byte), 16));
}

VX_AVX2 inline __m256i WeightPairs(__m256i f) {
    return _mm256_or_si256(_mm256_sub_epi32(_mm256_set1_epi32(kLinearOne), f),
                           _mm256_slli_epi32(f, 16));
}

VX_AVX2 bool InterpolateAcrossPaired(uint32_t* row, const uint8_t* line, const AcrossMap& map) {
    if (map.channels > 3) return false;
    const PairTaps8 taps(map.channels);
    const int32_t pixels = VectorPixels(map);
    const int64_t n = int64_t(pixels) * map.channels;
    if (map.windowBase != nullptr) {
        for (int64_t j = 0; j < n; j += 8)
            Store(row + j, _mm256_madd_epi16(WindowPairs(line, map, j / 4),
                                             WeightPairs(Load(map.sampleWeight + j))));
    } else {
        for (int64_t j = 0; j < n; j += 8)
            Store(row + j, _mm256_madd_epi16(Paired(line, Load(map.first + j), taps),
                                             WeightPairs(Load(map.sampleWeight + j))));
    }
    kBilinearPlain.eight.interpolateAcross(row + n, line, TailMap(map, pixels));
    return true;
}

VX_AVX2 bool BlendDirectPaired(uint8_t* out, const uint8_t* upper, const uint8_t* lower,
                               const AcrossMap& map, uint32_t fy) {
    if (map.channels > 3) return false;
    const PairTaps8 taps(map.channels);
    const int32_t pixels = VectorPixels(map);
    const int64_t n = int64_t(pixels) * map.channels;
    const __m256i f = _mm256_set1_epi32(int32_t(fy));
    for (int64_t j = 0; j < n && map.windowBase != nullptr; j += 8) {
        const __m256i w = WeightPairs(Load(map.sampleWeight + j));
        const __m256i top = _mm256_madd_epi16(WindowPairs(upper, map, j / 4), w);
        const __m256i bottom = _mm256_madd_epi16(WindowPairs(lower, map, j / 4), w);
        Store(out + j, Round20(Weigh(top, bottom, f)));
    }
    for (int64_t j = 0; j < n && map.windowBase == nullptr; j += 8) {
        const __m256i first = Load(map.first + j);
        const __m256i w = WeightPairs(Load(map.sampleWeight + j));
        const __m256i top = _mm256_madd_epi16(Paired(upper, first, taps), w);
        const __m256i bottom = _mm256_madd_epi16(Paired(lower, first, taps), w);
        Store(out + j, Round20(Weigh(top, bottom, f)));
    }
    kBilinearPlain.eight.blendDirect(out + n, upper, lower, TailMap(map, pixels), fy);
    return true;
}

VX_AVX2 bool InterpolateAcrossPaired(uint32_t*, const uint16_t*, const AcrossMap&) {
    return false;
}
VX_AVX2 bool BlendDirectPaired(uint16_t*, const uint16_t*, const uint16_t*, const AcrossMap&,
                               uint32_t) {
    return false;
}

template <typename Sample>
VX_AVX2 void InterpolateAcross(uint32_t* row, const Sample* line, const AcrossMap& map) {
    if (InterpolateAcrossPaired(row, line, map)) return;
    const int32_t pixels = VectorPixels(map);
    const int64_t n = int64_t(pixels) * map.channels;
    const __m256i step = _mm256_set1_epi32(map.channels);
    for (int64_t j = 0; j < n; j += 8) {
        __m256i a, b;
        Taps(line, Load(map.first + j), step, a, b);
        Store(row + j, Weigh(a, b, Load(map.sampleWeight + j)));
    }
    kBilinearPlain.For<Sample>().interpolateAcross(row + n, line, TailMap(map, pixels));
}

template <typename Sample>
VX_AVX2 void BlendDirect(Sample* out, const Sample* upper, const Sample* lower,
                         const AcrossMap& map, uint32_t fy) {
    if (BlendDirectPaired(out, upper, lower, map, fy)) return;
    const int32_t pixels = VectorPixels(map);
    const int64_t n = int64_t(pixels) * map.channels;
    const __m256i step = _mm256_set1_epi32(map.channels);
    const __m256i f = _mm256_set1_epi32(int32_t(fy));
    for (int64_t j = 0; j < n; j += 8) {
        const __m256i first = Load(map.first + j);
        const __m256i fx = Load(map.sampleWeight + j);
        __m256i a, b;
        Taps(upper, first, step, a, b);
        const __m256i top = Weigh(a, b, fx);
        Taps(lower, first, step, a, b);
        Finish(out + j, top, Weigh(a, b, fx), f);
    }
    kBilinearPlain.For<Sample>().blendDirect(out + n, upper, lower, TailMap(map, pixels), fy);
}

}  // namespace

const BilinearKernels kBilinearAvx2 = {
    {BlendRows8, BlendVertically<uint8_t>, BlendAcross<uint8_t>, InterpolateAcross<uint8_t>,
     BlendDirect<uint8_t>},
    {BlendRows16, BlendVertically<uint16_t>, BlendAcross<uint16_t>, InterpolateAcross<uint16_t>,
     BlendDirect<uint16_t>},
};

}  // namespace vxresample

#endif
