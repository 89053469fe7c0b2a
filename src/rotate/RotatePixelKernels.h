// The arithmetic of one output pixel of the bilinear and bicubic rotation kernels, given its
// taps. In every tap row the pixels lie side by side (N samples of type T each).
//
// The plain versions are the definition. For 8-bit colour pixels the same integer expressions
// run on SSE2, all channels of a pixel at once: every product and sum is the same 32-bit value,
// so the bytes are the same.
#ifndef VANDREL_ROTATE_ROTATEPIXELKERNELS_H
#define VANDREL_ROTATE_ROTATEPIXELKERNELS_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace rotatekernels {

// Samples are read and written through memcpy: 16-bit lines may start at any byte.
template <class T>
inline int32_t Load(const unsigned char* p) {
    T v;
    std::memcpy(&v, p, sizeof(T));
    return int32_t(v);
}

template <class T>
inline void Store(unsigned char* p, int32_t v) {
    const T t = T(v);
    std::memcpy(p, &t, sizeof(T));
}

// Bilinear: taps (0,0) and (1,0) at row0, (0,1) and (1,1) at row1; fractions of 10 bits.
template <class T, int N>
inline void Blend(const unsigned char* row0, const unsigned char* row1, int32_t fx, int32_t fy,
                  unsigned char* out) {
    constexpr ptrdiff_t kPixel = N * sizeof(T);
    const int32_t gx = 1024 - fx;
    const int32_t gy = 1024 - fy;
    for (int n = 0; n < N; ++n) {
        const ptrdiff_t at = n * ptrdiff_t(sizeof(T));
        const int32_t top = (Load<T>(row0 + at) * gx + Load<T>(row0 + at + kPixel) * fx + 32) >> 6;
        const int32_t bottom =
            (Load<T>(row1 + at) * gx + Load<T>(row1 + at + kPixel) * fx + 32) >> 6;
        Store<T>(out + at, (top * gy + bottom * fy + 8192) >> 14);
    }
}

// Bicubic: four rows of four taps (source offsets -1 .. +2), 6-bit phase weight rows wx and
// wy; the result is clamped to 0 .. maxValue.
template <class T, int N>
inline void Cubic(const unsigned char* const rows[4], const int16_t* wx, const int16_t* wy,
                  int32_t maxValue, unsigned char* out) {
    constexpr ptrdiff_t kPixel = N * sizeof(T);
    for (int n = 0; n < N; ++n) {
        const ptrdiff_t at = n * ptrdiff_t(sizeof(T));
        int32_t sum = 0;
        for (int r = 0; r < 4; ++r) {
            const unsigned char* p = rows[r] + at;
            const int32_t h =
                (Load<T>(p) * wx[0] + Load<T>(p + kPixel) * wx[1] +
                 Load<T>(p + 2 * kPixel) * wx[2] + Load<T>(p + 3 * kPixel) * wx[3] + 32) >>
                6;
            sum += h * wy[r];
        }
        Store<T>(out + at, std::clamp((sum + 8192) >> 14, 0, maxValue));
    }
}

#if defined(__SSE2__)

// Two neighbouring 8-bit pixels of N samples, widened to 16 bits and paired sample by sample:
// (a0, b0, a1, b1, ...) for pixels a and b. Reads exactly 2 N bytes.
template <int N>
inline uint64_t LoadPixelPair(const unsigned char* p);

template <>
inline uint64_t LoadPixelPair<4>(const unsigned char* p) {
    uint64_t bytes;
    std::memcpy(&bytes, p, 8);
    return bytes;
}

// Assembled in registers: a 6-byte copy through memory would stall the 8-byte read after it.
template <>
inline uint64_t LoadPixelPair<3>(const unsigned char* p) {
    uint32_t low;
    uint16_t high;
    std::memcpy(&low, p, 4);
    std::memcpy(&high, p + 4, 2);
    return uint64_t(low) | uint64_t(high) << 32;
}

template <int N>
inline __m128i PairedNeighbours(const unsigned char* p) {
    const uint64_t bytes = LoadPixelPair<N>(p);
    const __m128i wide = _mm_unpacklo_epi8(_mm_cvtsi64_si128(int64_t(bytes)), _mm_setzero_si128());
    return _mm_unpacklo_epi16(wide, _mm_srli_si128(wide, 2 * N));
}

// Two weights for the pairs of PairedNeighbours.
inline __m128i WeightPair(int32_t first, int32_t second) {
    return _mm_set1_epi32(int32_t(uint32_t(uint16_t(first)) | uint32_t(uint16_t(second)) << 16));
}

// Four 32-bit values (at most 16 bits wide) of rows a and b, paired lane by lane as 16 bits.
inline __m128i PairedRows(__m128i a, __m128i b) {
    const __m128i packed = _mm_packs_epi32(a, b);
    return _mm_unpacklo_epi16(packed, _mm_srli_si128(packed, 8));
}

template <int N>
inline void StoreBytes(unsigned char* out, __m128i v) {
    const uint32_t bytes = uint32_t(_mm_cvtsi128_si32(v));
    std::memcpy(out, &bytes, N);
}

template <int N>
inline void BlendBytes(const unsigned char* row0, const unsigned char* row1, int32_t fx, int32_t fy,
                       unsigned char* out) {
    const __m128i round6 = _mm_set1_epi32(32);
    const __m128i wx = WeightPair(1024 - fx, fx);
    const __m128i top =
        _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(PairedNeighbours<N>(row0), wx), round6), 6);
    const __m128i bottom =
        _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(PairedNeighbours<N>(row1), wx), round6), 6);
    const __m128i sum = _mm_add_epi32(
        _mm_madd_epi16(PairedRows(top, bottom), WeightPair(1024 - fy, fy)), _mm_set1_epi32(8192));
    const __m128i v = _mm_srai_epi32(sum, 14);
    StoreBytes<N>(out, _mm_packus_epi16(_mm_packs_epi32(v, v), _mm_setzero_si128()));
}

template <int N>
inline void CubicBytes(const unsigned char* const rows[4], const int16_t* wx, const int16_t* wy,
                       unsigned char* out) {
    const __m128i round6 = _mm_set1_epi32(32);
    const __m128i w01 = WeightPair(wx[0], wx[1]);
    const __m128i w23 = WeightPair(wx[2], wx[3]);
    __m128i h[4];
    for (int r = 0; r < 4; ++r) {
        const __m128i left = _mm_madd_epi16(PairedNeighbours<N>(rows[r]), w01);
        const __m128i right = _mm_madd_epi16(PairedNeighbours<N>(rows[r] + 2 * N), w23);
        h[r] = _mm_srai_epi32(_mm_add_epi32(_mm_add_epi32(left, right), round6), 6);
    }
    const __m128i sum = _mm_add_epi32(
        _mm_add_epi32(_mm_madd_epi16(PairedRows(h[0], h[1]), WeightPair(wy[0], wy[1])),
                      _mm_madd_epi16(PairedRows(h[2], h[3]), WeightPair(wy[2], wy[3]))),
        _mm_set1_epi32(8192));
    const __m128i v = _mm_srai_epi32(sum, 14);
    // Signed saturation to 16 bits, then unsigned to 8: the clamp to 0 .. 255.
    StoreBytes<N>(out, _mm_packus_epi16(_mm_packs_epi32(v, v), _mm_setzero_si128()));
}

template <>
inline void Blend<uint8_t, 3>(const unsigned char* row0, const unsigned char* row1, int32_t fx,
                              int32_t fy, unsigned char* out) {
    BlendBytes<3>(row0, row1, fx, fy, out);
}

template <>
inline void Blend<uint8_t, 4>(const unsigned char* row0, const unsigned char* row1, int32_t fx,
                              int32_t fy, unsigned char* out) {
    BlendBytes<4>(row0, row1, fx, fy, out);
}

template <>
inline void Cubic<uint8_t, 3>(const unsigned char* const rows[4], const int16_t* wx,
                              const int16_t* wy, int32_t, unsigned char* out) {
    CubicBytes<3>(rows, wx, wy, out);
}

template <>
inline void Cubic<uint8_t, 4>(const unsigned char* const rows[4], const int16_t* wx,
                              const int16_t* wy, int32_t, unsigned char* out) {
    CubicBytes<4>(rows, wx, wy, out);
}

#endif

}  // namespace rotatekernels

#endif
