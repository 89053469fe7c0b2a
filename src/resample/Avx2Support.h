// Loads, stores and gathers shared by the AVX2 kernels of the resampling engines. Included
// only by the <Family>Avx2.cpp files; everything here is compiled for AVX2 and must only run
// where the processor has it.
#ifndef VANDREL_RESAMPLE_AVX2SUPPORT_H
#define VANDREL_RESAMPLE_AVX2SUPPORT_H

#include <immintrin.h>

#include <cstdint>

#include "resample/ResampleKernels.h"

#define VX_AVX2 __attribute__((target("avx2")))

namespace vxresample {
namespace avx2 {

// Eight samples widened to 32-bit lanes.
VX_AVX2 inline __m256i Widen(const uint8_t* p) {
    return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}
VX_AVX2 inline __m256i Widen(const uint16_t* p) {
    return _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}
VX_AVX2 inline __m256i Load(const int32_t* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}
VX_AVX2 inline __m256i Load(const uint32_t* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}
VX_AVX2 inline void Store(uint32_t* p, __m256i v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}
VX_AVX2 inline void Store(int32_t* p, __m256i v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}

// Eight 32-bit lanes narrowed with unsigned saturation: the clamp to the sample range for
// lanes that can leave it, and exact for lanes that cannot.
VX_AVX2 inline void Store(uint8_t* p, __m256i v) {
    const __m128i words =
        _mm_packus_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_packus_epi16(words, words));
}
VX_AVX2 inline void Store(uint16_t* p, __m256i v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p),
                     _mm_packus_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1)));
}

// Samples at eight sample offsets. A gather reads four bytes, so lines need kGatherSlack
// bytes of room after their last sample.
VX_AVX2 inline __m256i Gather(const uint8_t* base, __m256i index) {
    return _mm256_and_si256(_mm256_i32gather_epi32(reinterpret_cast<const int*>(base), index, 1),
                            _mm256_set1_epi32(0xff));
}
VX_AVX2 inline __m256i Gather(const uint16_t* base, __m256i index) {
    return _mm256_and_si256(_mm256_i32gather_epi32(reinterpret_cast<const int*>(base), index, 2),
                            _mm256_set1_epi32(0xffff));
}
VX_AVX2 inline __m256i Gather(const uint32_t* base, __m256i index) {
    return _mm256_i32gather_epi32(reinterpret_cast<const int*>(base), index, 4);
}
VX_AVX2 inline __m256i Gather(const int32_t* base, __m256i index) {
    return _mm256_i32gather_epi32(base, index, 4);
}

// ((a << 10) + f × d + 2^19) >> 20 per lane, with a < 2^27 unsigned and f × d signed and
// beyond 32 bits: the 16-bit blends, in 64-bit halves. Equals (g × a + f × b + 2^19) >> 20
// for g = 1024 − f and d = b − a.
VX_AVX2 inline __m256i Round20Wide(__m256i a, __m256i d, __m256i f) {
    const __m256i low32 = _mm256_set1_epi64x(0xffffffff);
    const __m256i half = _mm256_set1_epi64x(int64_t(1) << 19);
    const __m256i even = _mm256_add_epi64(
        _mm256_add_epi64(_mm256_slli_epi64(_mm256_and_si256(a, low32), 10), _mm256_mul_epi32(d, f)),
        half);
    const __m256i odd = _mm256_add_epi64(
        _mm256_add_epi64(_mm256_slli_epi64(_mm256_srli_epi64(a, 32), 10),
                         _mm256_mul_epi32(_mm256_srli_epi64(d, 32), _mm256_srli_epi64(f, 32))),
        half);
    return _mm256_or_si256(_mm256_srli_epi64(even, 20),
                           _mm256_slli_epi64(_mm256_srli_epi64(odd, 20), 32));
}

// The pixels a vector loop over a whole map takes (a multiple of eight, so that their samples
// are a multiple of eight too), and the map of the pixels left for the plain kernel.
inline int32_t VectorPixels(const AcrossMap& map) {
    return map.width & ~7;
}
inline AcrossMap TailMap(const AcrossMap& map, int32_t done) {
    const int64_t samples = int64_t(done) * map.channels;
    AcrossMap tail = map;
    tail.index += done;
    if (tail.weight != nullptr) tail.weight += done;
    tail.first += samples;
    if (tail.sampleWeight != nullptr) tail.sampleWeight += samples;
    tail.width -= done;
    tail.windowBase = nullptr;
    tail.windowShuffle = nullptr;
    return tail;
}

// The two taps of eight samples (group g and g + 1 of the windows) of an 8-bit line as 16-bit
// pairs (first, second).
VX_AVX2 inline __m256i WindowPairs(const uint8_t* line, const AcrossMap& map, int64_t g) {
    const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(line + map.windowBase[g]));
    const __m128i high =
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(line + map.windowBase[g + 1]));
    const __m256i control =
        _mm256_loadu_si256(reinterpret_cast<const __m256i*>(map.windowShuffle + 16 * g));
    return _mm256_shuffle_epi8(_mm256_set_m128i(high, low), control);
}

}  // namespace avx2
}  // namespace vxresample

#endif
