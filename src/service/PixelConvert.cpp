#include "service/PixelConvert.h"

#include <atomic>
#include <cstring>

#include "platform/CpuFeatures.h"
#include "vandrel/Status.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define VX_PIXEL_X86 1
#define VX_AVX2 __attribute__((target("avx2")))
#endif

const int32_t CPixelConvert::kDither[3][4] = {
    {0, 128, 32, 160},
    {192, 64, 224, 96},
    {48, 176, 16, 144},
};

namespace {

// ---------------------------------------------------------------------------------------------
// Per-pixel arithmetic. Right shifts of negative sums round toward minus infinity; the forward
// direction has no rounding term, the inverse adds half a unit.

constexpr int32_t kHalf8 = 128;
constexpr int32_t kHalf16 = 32768;

struct Triple {
    int32_t a, b, c;
};

// RGB to Y and centred chroma (add the half-range offset for stored chroma).
inline Triple Forward(int32_t r, int32_t g, int32_t b) {
    return {(306 * r + 601 * g + 117 * b) >> 10, (-173 * r - 339 * g + 512 * b) >> 10,
            (512 * r - 429 * g - 83 * b) >> 10};
}

inline int32_t ClampTo(int32_t v, int32_t maxValue) {
    return v < 0 ? 0 : (v > maxValue ? maxValue : v);
}

// Y and centred chroma to RGB, clamped to 0..maxValue.
inline Triple Inverse(int32_t y, int32_t cb, int32_t cr, int32_t maxValue) {
    return {ClampTo((1024 * y + 1436 * cr + 512) >> 10, maxValue),
            ClampTo((1024 * y - 352 * cb - 731 * cr + 512) >> 10, maxValue),
            ClampTo((1024 * y + 1815 * cb + 512) >> 10, maxValue)};
}

inline uint8_t Reduce(int32_t v, int32_t dither) {
    int32_t t = (v + dither) >> 8;
    return uint8_t(t > 255 ? 255 : t);
}

inline const int32_t* DitherRow(int32_t line) {
    return CPixelConvert::kDither[line % 3];
}

// ---------------------------------------------------------------------------------------------
// Portable kernels. Each converts pixels [first, count) so that it can also finish the tail a
// vector kernel leaves; pixel indices stay absolute because they select the dither column.

template <typename T>
void RgbToYccPortable(const T* src, T* dst, int32_t first, int32_t count, int32_t half) {
    for (int32_t i = first; i < count; ++i) {
        const T* s = src + 3 * i;
        Triple t = Forward(s[0], s[1], s[2]);
        T* d = dst + 3 * i;
        d[0] = T(t.a);
        d[1] = T(t.b + half);
        d[2] = T(t.c + half);
    }
}

template <typename T>
void YccToRgbPortable(const T* src, T* dst, int32_t first, int32_t count, int32_t half,
                      int32_t maxValue) {
    for (int32_t i = first; i < count; ++i) {
        const T* s = src + 3 * i;
        Triple t = Inverse(s[0], s[1] - half, s[2] - half, maxValue);
        T* d = dst + 3 * i;
        d[0] = T(t.a);
        d[1] = T(t.b);
        d[2] = T(t.c);
    }
}

void Widen8To16Portable(const uint8_t* src, uint16_t* dst, int32_t first, int32_t count) {
    for (int32_t i = first; i < count; ++i)
        dst[i] = uint16_t(src[i] << 8);
}

void Reduce16To8Portable(const uint16_t* src, uint8_t* dst, int32_t first, int32_t count,
                         int32_t channels, const int32_t* row) {
    for (int32_t i = first; i < count; ++i) {
        int32_t d = row[i & 3];
        for (int32_t c = 0; c < channels; ++c) {
            int64_t k = int64_t(i) * channels + c;
            dst[k] = Reduce(src[k], d);
        }
    }
}

void Rgb8ToYcc16Portable(const uint8_t* src, uint16_t* dst, int32_t first, int32_t count) {
    for (int32_t i = first; i < count; ++i) {
        const uint8_t* s = src + 3 * i;
        Triple t = Forward(s[0], s[1], s[2]);
        uint16_t* d = dst + 3 * i;
        d[0] = uint16_t(t.a << 8);
        d[1] = uint16_t((t.b + kHalf8) << 8);
        d[2] = uint16_t((t.c + kHalf8) << 8);
    }
}

void Rgb16ToYcc8Portable(const uint16_t* src, uint8_t* dst, int32_t first, int32_t count,
                         const int32_t* row) {
    for (int32_t i = first; i < count; ++i) {
        const uint16_t* s = src + 3 * i;
        Triple t = Forward(s[0], s[1], s[2]);
        int32_t dither = row[i & 3];
        uint8_t* d = dst + 3 * i;
        d[0] = Reduce(t.a, dither);
        d[1] = Reduce(t.b + kHalf16, dither);
        d[2] = Reduce(t.c + kHalf16, dither);
    }
}

void Ycc8ToRgb16Portable(const uint8_t* src, uint16_t* dst, int32_t first, int32_t count) {
    for (int32_t i = first; i < count; ++i) {
        const uint8_t* s = src + 3 * i;
        Triple t = Inverse(s[0], s[1] - kHalf8, s[2] - kHalf8, 255);
        uint16_t* d = dst + 3 * i;
        d[0] = uint16_t(t.a << 8);
        d[1] = uint16_t(t.b << 8);
        d[2] = uint16_t(t.c << 8);
    }
}

void Ycc16ToRgb8Portable(const uint16_t* src, uint8_t* dst, int32_t first, int32_t count,
                         const int32_t* row) {
    for (int32_t i = first; i < count; ++i) {
        const uint16_t* s = src + 3 * i;
        Triple t = Inverse(s[0], s[1] - kHalf16, s[2] - kHalf16, 65535);
        int32_t dither = row[i & 3];
        uint8_t* d = dst + 3 * i;
        d[0] = Reduce(t.a, dither);
        d[1] = Reduce(t.b, dither);
        d[2] = Reduce(t.c, dither);
    }
}

inline void PutNative(uint8_t* d, int32_t r, int32_t g, int32_t b) {
    d[0] = 0;
    d[1] = uint8_t(r);
    d[2] = uint8_t(g);
    d[3] = uint8_t(b);
}

void Rgb8ToNativePortable(uint8_t* dst, const uint8_t* src, int32_t first, int32_t count) {
    for (int32_t i = first; i < count; ++i) {
        const uint8_t* s = src + 3 * i;
        PutNative(dst + 4 * i, s[0], s[1], s[2]);
    }
}

void Rgb16ToNativePortable(uint8_t* dst, const uint16_t* src, int32_t first, int32_t count,
                           const int32_t* row) {
    for (int32_t i = first; i < count; ++i) {
        const uint16_t* s = src + 3 * i;
        int32_t dither = row[i & 3];
        PutNative(dst + 4 * i, Reduce(s[0], dither), Reduce(s[1], dither), Reduce(s[2], dither));
    }
}

void Ycc8ToNativePortable(uint8_t* dst, const uint8_t* src, int32_t first, int32_t count) {
    for (int32_t i = first; i < count; ++i) {
        const uint8_t* s = src + 3 * i;
        Triple t = Inverse(s[0], s[1] - kHalf8, s[2] - kHalf8, 255);
        PutNative(dst + 4 * i, t.a, t.b, t.c);
    }
}

void Ycc16ToNativePortable(uint8_t* dst, const uint16_t* src, int32_t first, int32_t count,
                           const int32_t* row) {
    for (int32_t i = first; i < count; ++i) {
        const uint16_t* s = src + 3 * i;
        Triple t = Inverse(s[0], s[1] - kHalf16, s[2] - kHalf16, 65535);
        int32_t dither = row[i & 3];
        PutNative(dst + 4 * i, Reduce(t.a, dither), Reduce(t.b, dither), Reduce(t.c, dither));
    }
}

void NativeToRgb8Portable(uint8_t* dst, const uint8_t* src, int32_t first, int32_t count) {
    for (int32_t i = first; i < count; ++i) {
        const uint8_t* s = src + 4 * i;
        uint8_t* d = dst + 3 * i;
        d[0] = s[1];
        d[1] = s[2];
        d[2] = s[3];
    }
}

// ---------------------------------------------------------------------------------------------
// AVX2 kernels. Each handles whole blocks of 16 pixels and answers how many pixels it did; the
// portable kernel finishes the rest. Blocks start at multiples of 16, so lane k of a block
// always takes dither column k & 3.
//
// Samples travel through three stages: unpack 16 interleaved pixels into one vector per
// channel (16 lanes of 16 bits), do the fixed-point arithmetic with pmaddwd (pairs of 16-bit
// products summed into 32 bits, exact for every input), and pack back. 16-bit samples enter
// the multiplier offset by -32768 so that they fit signed lanes; because the luma weights add
// up to 1024 and the chroma weights to 0, the offset comes out as an exact constant.

#ifdef VX_PIXEL_X86

// Byte shuffles that move 16 pixels of three interleaved samples (1 or 2 bytes each) into one
// register per channel and back, computed once at compile time.
struct ShuffleMasks {
    alignas(16) int8_t split[2][3][3][16] = {};  // [16-bit][channel][source register]
    alignas(16) int8_t join[2][3][3][16] = {};   // [16-bit][target register][channel]
    alignas(16) int8_t toNative[4][16] = {};     // 12 packed bytes -> 4 pixels 0,R,G,B
    alignas(16) int8_t fromNative[16] = {};      // 4 pixels 0,R,G,B -> 12 packed bytes
    static constexpr int32_t kNativeLoad[4] = {0, 12, 24, 32};

    constexpr ShuffleMasks() {
        for (int wide = 0; wide < 2; ++wide) {
            const int e = wide + 1;  // bytes per sample
            for (int c = 0; c < 3; ++c) {
                for (int r = 0; r < 3; ++r) {
                    for (int j = 0; j < 16; ++j) {
                        int g = (3 * (j / e) + c) * e + j % e;  // byte wanted, 48-byte group
                        split[wide][c][r][j] = int8_t(g / 16 == r ? g % 16 : -128);
                        int s = (16 * r + j) / e;  // sample stored at this output byte
                        join[wide][r][c][j] = int8_t(s % 3 == c ? (s / 3) * e + j % e : -128);
                    }
                }
            }
        }
        for (int q = 0; q < 4; ++q) {
            for (int j = 0; j < 16; ++j) {
                int component = j % 4;
                int byte = 3 * (4 * q + j / 4) + component - 1 - kNativeLoad[q];
                toNative[q][j] = int8_t(component == 0 ? -128 : byte);
            }
        }
        for (int j = 0; j < 16; ++j)
            fromNative[j] = int8_t(j < 12 ? 4 * (j / 3) + 1 + j % 3 : -128);
    }
};
constexpr ShuffleMasks kMasks{};

VX_AVX2 inline __m128i Load128(const void* p) {
    return _mm_loadu_si128(static_cast<const __m128i*>(p));
}
VX_AVX2 inline void Store128(void* p, __m128i v) {
    _mm_storeu_si128(static_cast<__m128i*>(p), v);
}
VX_AVX2 inline __m128i Mask(const int8_t* m) {
    return _mm_load_si128(reinterpret_cast<const __m128i*>(m));
}
VX_AVX2 inline __m256i Join(__m128i lo, __m128i hi) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1);
}
VX_AVX2 inline __m128i Low(__m256i v) {
    return _mm256_castsi256_si128(v);
}
VX_AVX2 inline __m128i High(__m256i v) {
    return _mm256_extracti128_si256(v, 1);
}

// Coefficients (lo, hi) for pmaddwd over lanes interleaved as (lo-sample, hi-sample).
VX_AVX2 inline __m256i Pair(int16_t lo, int16_t hi) {
    return _mm256_set1_epi32(int32_t(uint32_t(uint16_t(hi)) << 16 | uint16_t(lo)));
}

struct Planes {
    __m256i c0, c1, c2;  // 16 lanes of 16 bits each, pixel order
};

// 48 bytes of 3 x 8-bit samples -> three 16-byte channel registers.
VX_AVX2 inline void Split8(const uint8_t* p, __m128i out[3]) {
    const __m128i in[3] = {Load128(p), Load128(p + 16), Load128(p + 32)};
    for (int c = 0; c < 3; ++c) {
        out[c] = _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(in[0], Mask(kMasks.split[0][c][0])),
                                           _mm_shuffle_epi8(in[1], Mask(kMasks.split[0][c][1]))),
                              _mm_shuffle_epi8(in[2], Mask(kMasks.split[0][c][2])));
    }
}

VX_AVX2 inline Planes Load8(const uint8_t* p) {
    __m128i ch[3];
    Split8(p, ch);
    return {_mm256_cvtepu8_epi16(ch[0]), _mm256_cvtepu8_epi16(ch[1]), _mm256_cvtepu8_epi16(ch[2])};
}

// 8 pixels of 3 x 16-bit samples (48 bytes) -> three registers of 8 samples.
VX_AVX2 inline void Split16(const uint16_t* p, __m128i out[3]) {
    const __m128i in[3] = {Load128(p), Load128(p + 8), Load128(p + 16)};
    for (int c = 0; c < 3; ++c) {
        out[c] = _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(in[0], Mask(kMasks.split[1][c][0])),
                                           _mm_shuffle_epi8(in[1], Mask(kMasks.split[1][c][1]))),
                              _mm_shuffle_epi8(in[2], Mask(kMasks.split[1][c][2])));
    }
}

VX_AVX2 inline Planes Load16(const uint16_t* p) {
    __m128i lo[3], hi[3];
    Split16(p, lo);
    Split16(p + 24, hi);
    return {Join(lo[0], hi[0]), Join(lo[1], hi[1]), Join(lo[2], hi[2])};
}

VX_AVX2 inline void Merge(const __m128i ch[3], const int8_t (*masks)[3][16], void* p) {
    for (int r = 0; r < 3; ++r) {
        __m128i v = _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(ch[0], Mask(masks[r][0])),
                                              _mm_shuffle_epi8(ch[1], Mask(masks[r][1]))),
                                 _mm_shuffle_epi8(ch[2], Mask(masks[r][2])));
        Store128(static_cast<uint8_t*>(p) + 16 * r, v);
    }
}

// 16-bit lanes holding 0..255 -> 16 bytes.
VX_AVX2 inline __m128i Narrow(__m256i v) {
    return _mm_packus_epi16(Low(v), High(v));
}

VX_AVX2 inline void Store8(uint8_t* p, const Planes& v) {
    const __m128i ch[3] = {Narrow(v.c0), Narrow(v.c1), Narrow(v.c2)};
    Merge(ch, kMasks.join[0], p);
}

VX_AVX2 inline void Store16(uint16_t* p, const Planes& v) {
    const __m128i lo[3] = {Low(v.c0), Low(v.c1), Low(v.c2)};
    const __m128i hi[3] = {High(v.c0), High(v.c1), High(v.c2)};
    Merge(lo, kMasks.join[1], p);
    Merge(hi, kMasks.join[1], p + 24);
}

// Three 16-byte channel registers -> 16 native pixels (64 bytes).
VX_AVX2 inline void StoreNative(uint8_t* p, __m128i r, __m128i g, __m128i b) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i zr[2] = {_mm_unpacklo_epi8(zero, r), _mm_unpackhi_epi8(zero, r)};
    const __m128i gb[2] = {_mm_unpacklo_epi8(g, b), _mm_unpackhi_epi8(g, b)};
    for (int h = 0; h < 2; ++h) {
        Store128(p + 32 * h, _mm_unpacklo_epi16(zr[h], gb[h]));
        Store128(p + 32 * h + 16, _mm_unpackhi_epi16(zr[h], gb[h]));
    }
}

VX_AVX2 inline void StoreNative(uint8_t* p, const Planes& v) {
    StoreNative(p, Narrow(v.c0), Narrow(v.c1), Narrow(v.c2));
}

// One weighted sum per pixel, floor-divided by 1024, from (R, G) and (B, 0) lane pairs.
VX_AVX2 inline __m256i Weigh(const __m256i rg[2], const __m256i b0[2], int16_t wr, int16_t wg,
                             int16_t wb) {
    const __m256i cRG = Pair(wr, wg), cB = Pair(wb, 0);
    __m256i sum[2];
    for (int h = 0; h < 2; ++h)
        sum[h] = _mm256_srai_epi32(
            _mm256_add_epi32(_mm256_madd_epi16(rg[h], cRG), _mm256_madd_epi16(b0[h], cB)), 10);
    // The unpack and the pack both work within 128-bit lanes, so pixel order comes back.
    return _mm256_packs_epi32(sum[0], sum[1]);
}

// Signed 16-bit R, G, B -> floor(weighted sum / 1024) for Y, Cb, Cr, without offsets.
VX_AVX2 inline Planes Forward(const Planes& in) {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i rg[2] = {_mm256_unpacklo_epi16(in.c0, in.c1),
                           _mm256_unpackhi_epi16(in.c0, in.c1)};
    const __m256i b0[2] = {_mm256_unpacklo_epi16(in.c2, zero), _mm256_unpackhi_epi16(in.c2, zero)};
    return {Weigh(rg, b0, 306, 601, 117), Weigh(rg, b0, -173, -339, 512),
            Weigh(rg, b0, 512, -429, -83)};
}

// Signed Y' and centred Cb, Cr -> 32-bit R, G, B sums shifted down (before clamping), as
// (low, high) halves in the lane order the packs expect. bias carries the rounding half and
// whatever offset Y' has.
struct Wide {
    __m256i lo[3], hi[3];
};

VX_AVX2 inline Wide Inverse(const Planes& in, int32_t bias) {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i k = _mm256_set1_epi32(bias);
    const __m256i ycb[2] = {_mm256_unpacklo_epi16(in.c0, in.c1),
                            _mm256_unpackhi_epi16(in.c0, in.c1)};
    const __m256i ycr[2] = {_mm256_unpacklo_epi16(in.c0, in.c2),
                            _mm256_unpackhi_epi16(in.c0, in.c2)};
    const __m256i cr0[2] = {_mm256_unpacklo_epi16(in.c2, zero), _mm256_unpackhi_epi16(in.c2, zero)};
    const __m256i wr = Pair(1024, 1436), wg = Pair(1024, -352), wgCr = Pair(-731, 0),
                  wb = Pair(1024, 1815);
    Wide out;
    __m256i* half[2] = {out.lo, out.hi};
    for (int h = 0; h < 2; ++h) {
        __m256i r = _mm256_add_epi32(_mm256_madd_epi16(ycr[h], wr), k);
        __m256i g = _mm256_add_epi32(
            _mm256_add_epi32(_mm256_madd_epi16(ycb[h], wg), _mm256_madd_epi16(cr0[h], wgCr)), k);
        __m256i b = _mm256_add_epi32(_mm256_madd_epi16(ycb[h], wb), k);
        half[h][0] = _mm256_srai_epi32(r, 10);
        half[h][1] = _mm256_srai_epi32(g, 10);
        half[h][2] = _mm256_srai_epi32(b, 10);
    }
    return out;
}

VX_AVX2 inline Planes ClampTo255(const Wide& w) {
    const __m256i zero = _mm256_setzero_si256(), top = _mm256_set1_epi16(255);
    __m256i c[3];
    for (int i = 0; i < 3; ++i) {
        // The sums lie well inside 16 bits, so the saturating pack changes nothing.
        __m256i v = _mm256_packs_epi32(w.lo[i], w.hi[i]);
        c[i] = _mm256_min_epi16(_mm256_max_epi16(v, zero), top);
    }
    return {c[0], c[1], c[2]};
}

VX_AVX2 inline Planes ClampTo65535(const Wide& w) {
    return {_mm256_packus_epi32(w.lo[0], w.hi[0]), _mm256_packus_epi32(w.lo[1], w.hi[1]),
            _mm256_packus_epi32(w.lo[2], w.hi[2])};
}

// Saturating add then shift: any sum beyond 65535 ends at 255 either way.
VX_AVX2 inline __m256i Reduce(__m256i v, __m256i dither) {
    return _mm256_srli_epi16(_mm256_adds_epu16(v, dither), 8);
}

VX_AVX2 inline Planes Reduce(const Planes& v, __m256i dither) {
    return {Reduce(v.c0, dither), Reduce(v.c1, dither), Reduce(v.c2, dither)};
}

// One dither entry per pixel lane.
VX_AVX2 inline __m256i PixelDither(const int32_t* row) {
    const int16_t a = int16_t(row[0]), b = int16_t(row[1]), c = int16_t(row[2]),
                  d = int16_t(row[3]);
    return _mm256_setr_epi16(a, b, c, d, a, b, c, d, a, b, c, d, a, b, c, d);
}

VX_AVX2 inline Planes Xor(const Planes& v, __m256i m) {
    return {_mm256_xor_si256(v.c0, m), _mm256_xor_si256(v.c1, m), _mm256_xor_si256(v.c2, m)};
}

VX_AVX2 inline Planes Add(const Planes& v, __m256i a, __m256i b, __m256i c) {
    return {_mm256_add_epi16(v.c0, a), _mm256_add_epi16(v.c1, b), _mm256_add_epi16(v.c2, c)};
}

constexpr int32_t kBlock = 16;

constexpr int32_t Blocks(int32_t count) {
    return count > 0 ? count & ~(kBlock - 1) : 0;
}

VX_AVX2 int32_t RgbToYcc8Avx2(const uint8_t* src, uint8_t* dst, int32_t count) {
    const __m256i zero = _mm256_setzero_si256(), half = _mm256_set1_epi16(kHalf8);
    const int32_t n = Blocks(count);
    for (int32_t i = 0; i < n; i += kBlock)
        Store8(dst + 3 * i, Add(Forward(Load8(src + 3 * i)), zero, half, half));
    return n;
}

VX_AVX2 int32_t RgbToYcc16Avx2(const uint16_t* src, uint16_t* dst, int32_t count) {
    const __m256i flip = _mm256_set1_epi16(int16_t(0x8000));
    const int32_t n = Blocks(count);
    for (int32_t i = 0; i < n; i += kBlock)
        Store16(dst + 3 * i, Xor(Forward(Xor(Load16(src + 3 * i), flip)), flip));
    return n;
}

VX_AVX2 inline Planes CentreChroma8(const Planes& v) {
    const __m256i half = _mm256_set1_epi16(kHalf8);
    return {v.c0, _mm256_sub_epi16(v.c1, half), _mm256_sub_epi16(v.c2, half)};
}

constexpr int32_t kBias8 = 512;
// Y enters offset by -32768: 1024 * 32768 more in every sum.
constexpr int32_t kBias16 = 512 + 1024 * kHalf16;

VX_AVX2 int32_t YccToRgb8Avx2(const uint8_t* src, uint8_t* dst, int32_t count) {
    const int32_t n = Blocks(count);
    for (int32_t i = 0; i < n; i += kBlock)
        Store8(dst + 3 * i, ClampTo255(Inverse(CentreChroma8(Load8(src + 3 * i)), kBias8)));
    return n;
}

VX_AVX2 int32_t YccToRgb16Avx2(const uint16_t* src, uint16_t* dst, int32_t count) {
    const __m256i flip = _mm256_set1_epi16(int16_t(0x8000));
    const int32_t n = Blocks(count);
    for (int32_t i = 0; i < n; i += kBlock)
        Store16(dst + 3 * i, ClampTo65535(Inverse(Xor(Load16(src + 3 * i), flip), kBias16)));
    return n;
}

VX_AVX2 int32_t Widen8To16Avx2(const uint8_t* src, uint16_t* dst, int32_t count) {
    const int32_t n = count > 0 ? count & ~31 : 0;
    for (int32_t i = 0; i < n; i += 32) {
        __m256i a = _mm256_slli_epi16(_mm256_cvtepu8_epi16(Load128(src + i)), 8);
        __m256i b = _mm256_slli_epi16(_mm256_cvtepu8_epi16(Load128(src + i + 16)), 8);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i), a);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i + 16), b);
    }
    return n;
}

// Works on the interleaved samples directly: 16 pixels of `channels` samples are `channels`
// registers, and the dither pattern of each register is fixed.
VX_AVX2 int32_t Reduce16To8Avx2(const uint16_t* src, uint8_t* dst, int32_t count, int32_t channels,
                                const int32_t* row) {
    constexpr int32_t kMaxChannels = 4;
    if (channels < 1 || channels > kMaxChannels) return 0;
    alignas(32) int16_t pattern[kMaxChannels][16];
    for (int32_t k = 0; k < channels; ++k)
        for (int32_t j = 0; j < 16; ++j)
            pattern[k][j] = int16_t(row[((16 * k + j) / channels) & 3]);
    __m256i dither[kMaxChannels];
    for (int32_t k = 0; k < channels; ++k)
        dither[k] = _mm256_load_si256(reinterpret_cast<const __m256i*>(pattern[k]));
    const int32_t n = Blocks(count);
    const int64_t samples = int64_t(n) * channels;
    for (int64_t s = 0; s < samples; s += 16 * channels) {
        for (int32_t k = 0; k < channels; ++k) {
            __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + s + 16 * k));
            Store128(dst + s + 16 * k, Narrow(Reduce(v, dither[k])));
        }
    }
    return n;
}

VX_AVX2 int32_t Rgb8ToYcc16Avx2(const uint8_t* src, uint16_t* dst, int32_t count) {
    const __m256i zero = _mm256_setzero_si256(), half = _mm256_set1_epi16(kHalf8);
    const int32_t n = Blocks(count);
    for (int32_t i = 0; i < n; i += kBlock) {
        Planes v = Add(Forward(Load8(src + 3 * i)), zero, half, half);
        Store16(dst + 3 * i, {_mm256_slli_epi16(v.c0, 8), _mm256_slli_epi16(v.c1, 8),
                              _mm256_slli_epi16(v.c2, 8)});
    }
    return n;
}

VX_AVX2 int32_t Rgb16ToYcc8Avx2(const uint16_t* src, uint8_t* dst, int32_t count,
                                const int32_t* row) {
    const __m256i flip = _mm256_set1_epi16(int16_t(0x8000)), dither = PixelDither(row);
    const int32_t n = Blocks(count);
    for (int32_t i = 0; i < n; i += kBlock)
        Store8(dst + 3 * i, Reduce(Xor(Forward(Xor(Load16(src + 3 * i), flip)), flip), dither));
    return n;
}

VX_AVX2 int32_t Ycc8ToRgb16Avx2(const uint8_t* src, uint16_t* dst, int32_t count) {
    const int32_t n = Blocks(count);
    for (int32_t i = 0; i < n; i += kBlock) {
        Planes v = ClampTo255(Inverse(CentreChroma8(Load8(src + 3 * i)), kBias8));
        Store16(dst + 3 * i, {_mm256_slli_epi16(v.c0, 8), _mm256_slli_epi16(v.c1, 8),
                              _mm256_slli_epi16(v.c2, 8)});
    }
    return n;
}

VX_AVX2 int32_t Ycc16ToRgb8Avx2(const uint16_t* src, uint8_t* dst, int32_t count,
                                const int32_t* row) {
    const __m256i flip = _mm256_set1_epi16(int16_t(0x8000)), dither = PixelDither(row);
    const int32_t n = Blocks(count);
    for (int32_t i = 0; i < n; i += kBlock) {
        Planes rgb = ClampTo65535(Inverse(Xor(Load16(src + 3 * i), flip), kBias16));
        Store8(dst + 3 * i, Reduce(rgb, dither));
    }
    return n;
}

VX_AVX2 int32_t Rgb8ToNativeAvx2(uint8_t* dst, const uint8_t* src, int32_t count) {
    const int32_t n = Blocks(count);
    for (int32_t i = 0; i < n; i += kBlock) {
        const uint8_t* s = src + 3 * i;
        uint8_t* d = dst + 4 * i;
        for (int q = 0; q < 4; ++q) {
            __m128i v = Load128(s + ShuffleMasks::kNativeLoad[q]);
            Store128(d + 16 * q, _mm_shuffle_epi8(v, Mask(kMasks.toNative[q])));
        }
    }
    return n;
}

VX_AVX2 int32_t Rgb16ToNativeAvx2(uint8_t* dst, const uint16_t* src, int32_t count,
                                  const int32_t* row) {
    const __m256i dither = PixelDither(row);
    const int32_t n = Blocks(count);
    for (int32_t i = 0; i < n; i += kBlock)
        StoreNative(dst + 4 * i, Reduce(Load16(src + 3 * i), dither));
    return n;
}

VX_AVX2 int32_t Ycc8ToNativeAvx2(uint8_t* dst, const uint8_t* src, int32_t count) {
    const int32_t n = Blocks(count);
    for (int32_t i = 0; i < n; i += kBlock)
        StoreNative(dst + 4 * i, ClampTo255(Inverse(CentreChroma8(Load8(src + 3 * i)), kBias8)));
    return n;
}

VX_AVX2 int32_t Ycc16ToNativeAvx2(uint8_t* dst, const uint16_t* src, int32_t count,
                                  const int32_t* row) {
    const __m256i flip = _mm256_set1_epi16(int16_t(0x8000)), dither = PixelDither(row);
    const int32_t n = Blocks(count);
    for (int32_t i = 0; i < n; i += kBlock) {
        Planes rgb = ClampTo65535(Inverse(Xor(Load16(src + 3 * i), flip), kBias16));
        StoreNative(dst + 4 * i, Reduce(rgb, dither));
    }
    return n;
}

VX_AVX2 int32_t NativeToRgb8Avx2(uint8_t* dst, const uint8_t* src, int32_t count) {
    const __m128i pack = Mask(kMasks.fromNative);
    const int32_t n = Blocks(count);
    for (int32_t i = 0; i < n; i += kBlock) {
        const uint8_t* s = src + 4 * i;
        // Each register keeps 12 bytes at its start and zeros after them.
        const __m128i a = _mm_shuffle_epi8(Load128(s), pack);
        const __m128i b = _mm_shuffle_epi8(Load128(s + 16), pack);
        const __m128i c = _mm_shuffle_epi8(Load128(s + 32), pack);
        const __m128i d = _mm_shuffle_epi8(Load128(s + 48), pack);
        uint8_t* o = dst + 3 * i;
        Store128(o, _mm_or_si128(a, _mm_slli_si128(b, 12)));
        Store128(o + 16, _mm_or_si128(_mm_srli_si128(b, 4), _mm_slli_si128(c, 8)));
        Store128(o + 32, _mm_or_si128(_mm_srli_si128(c, 8), _mm_slli_si128(d, 4)));
    }
    return n;
}

bool DetectAvx2() {
    return CpuHasAvx2();
}

#else

bool DetectAvx2() {
    return false;
}

#endif  // VX_PIXEL_X86

const bool g_avx2Available = DetectAvx2();
std::atomic<bool> g_useVector{g_avx2Available};

inline bool UseVector() {
    return g_useVector.load(std::memory_order_relaxed);
}

// Runs the vector kernel when enabled, and answers the first pixel it left undone.
#ifdef VX_PIXEL_X86
#define VX_VECTOR_PART(call) (UseVector() ? (call) : 0)
#else
#define VX_VECTOR_PART(call) 0
#endif

}  // namespace

// ---------------------------------------------------------------------------------------------

bool CPixelConvert::VectorKernelsAvailable() {
    return g_avx2Available;
}

bool CPixelConvert::EnableVectorKernels(bool enable) {
    return g_useVector.exchange(enable && g_avx2Available);
}

template <>
void CPixelConvert::ConvertRgbToYcc<unsigned char>(unsigned char* src, unsigned char* dst,
                                                   int32_t count) {
    int32_t done = VX_VECTOR_PART(RgbToYcc8Avx2(src, dst, count));
    RgbToYccPortable<uint8_t>(src, dst, done, count, kHalf8);
}

template <>
void CPixelConvert::ConvertRgbToYcc<unsigned short>(unsigned short* src, unsigned short* dst,
                                                    int32_t count) {
    int32_t done = VX_VECTOR_PART(RgbToYcc16Avx2(src, dst, count));
    RgbToYccPortable<uint16_t>(src, dst, done, count, kHalf16);
}

template <>
void CPixelConvert::ConvertYccToRgb<unsigned char>(unsigned char* src, unsigned char* dst,
                                                   int32_t count) {
    int32_t done = VX_VECTOR_PART(YccToRgb8Avx2(src, dst, count));
    YccToRgbPortable<uint8_t>(src, dst, done, count, kHalf8, 255);
}

template <>
void CPixelConvert::ConvertYccToRgb<unsigned short>(unsigned short* src, unsigned short* dst,
                                                    int32_t count) {
    int32_t done = VX_VECTOR_PART(YccToRgb16Avx2(src, dst, count));
    YccToRgbPortable<uint16_t>(src, dst, done, count, kHalf16, 65535);
}

namespace {

// The shared shape of the two public colour-space converters: nothing to do when the line is
// already in the target space or in native layout, else by depth.
template <typename Convert8, typename Convert16>
int32_t ConvertSpace(void* dst, void* src, const CUImageInfo& info, const char* target,
                     Convert8 convert8, Convert16 convert16) {
    if (info.IsColorSpace(target) || info.bNative == 1) return kVxOk;
    switch (info.lColorDepth) {
        case 24:
            if (src != nullptr && dst != nullptr)
                convert8(static_cast<unsigned char*>(src), static_cast<unsigned char*>(dst),
                         info.lWidth);
            return kVxOk;
        case 48:
            if (src != nullptr && dst != nullptr)
                convert16(static_cast<unsigned short*>(src), static_cast<unsigned short*>(dst),
                          info.lWidth);
            return kVxOk;
        default:
            return kVxErrUnsupportedDepth;
    }
}

}  // namespace

int32_t CPixelConvert::ConvertYccToRgb(void* dst, void* src, const CUImageInfo& info) {
    return ConvertSpace(dst, src, info, "RGB", ConvertYccToRgb<unsigned char>,
                        ConvertYccToRgb<unsigned short>);
}

int32_t CPixelConvert::ConvertRgbToYcc(void* dst, void* src, const CUImageInfo& info) {
    return ConvertSpace(dst, src, info, "YCC", ConvertRgbToYcc<unsigned char>,
                        ConvertRgbToYcc<unsigned short>);
}

int32_t CPixelConvert::ConvertNativeToLogical(void* dst, const unsigned char* src,
                                              const CUImageInfo& info) {
    if (dst == nullptr || src == nullptr) return kVxErrMissingBuffer;
    if (info.lColorDepth != 32) return kVxErrUnsupportedDepth;
    auto* out = static_cast<unsigned char*>(dst);
    int32_t done = VX_VECTOR_PART(NativeToRgb8Avx2(out, src, info.lWidth));
    NativeToRgb8Portable(out, src, done, info.lWidth);
    return kVxOk;
}

int32_t CPixelConvert::ConvertLogicalToNative(unsigned char* dst, const void* src,
                                              const CUImageInfo& info, int32_t line) {
    if (dst == nullptr || src == nullptr) return kVxOk;
    const int32_t width = info.lWidth;
    const bool rgb = info.IsColorSpace("RGB");
    switch (info.lColorDepth) {
        case 8:
            if (width > 0) std::memcpy(dst, src, size_t(width));
            return kVxOk;
        case 16:
            return Convert16To8(static_cast<const unsigned short*>(src), dst, width, 1, line);
        case 24: {
            auto* s = static_cast<const unsigned char*>(src);
            if (rgb)
                ConvertRgbToNative(dst, s, width);
            else
                ConvertYccToNative(dst, s, width);
            return kVxOk;
        }
        case 48: {
            auto* s = static_cast<const unsigned short*>(src);
            if (rgb)
                ConvertRgbToNative(dst, s, width, line);
            else
                ConvertYccToNative(dst, s, width, line);
            return kVxOk;
        }
        default:
            return kVxErrUnsupportedDepth;
    }
}

int32_t CPixelConvert::Convert8To16(const unsigned char* src, unsigned short* dst, int32_t count) {
    if (src == nullptr || dst == nullptr) return kVxOk;
    int32_t done = VX_VECTOR_PART(Widen8To16Avx2(src, dst, count));
    Widen8To16Portable(src, dst, done, count);
    return kVxOk;
}

int32_t CPixelConvert::Convert16To8(const unsigned short* src, unsigned char* dst, int32_t count,
                                    int32_t channels, int32_t line) {
    if (src == nullptr || dst == nullptr) return kVxOk;
    const int32_t* row = DitherRow(line);
    int32_t done = VX_VECTOR_PART(Reduce16To8Avx2(src, dst, count, channels, row));
    Reduce16To8Portable(src, dst, done, count, channels, row);
    return kVxOk;
}

int32_t CPixelConvert::ConvertRgb8ToYcc16(const unsigned char* src, unsigned short* dst,
                                          int32_t count) {
    if (src == nullptr || dst == nullptr) return kVxOk;
    int32_t done = VX_VECTOR_PART(Rgb8ToYcc16Avx2(src, dst, count));
    Rgb8ToYcc16Portable(src, dst, done, count);
    return kVxOk;
}

int32_t CPixelConvert::ConvertRgb16ToYcc8(const unsigned short* src, unsigned char* dst,
                                          int32_t count, int32_t line) {
    if (src == nullptr || dst == nullptr) return kVxOk;
    const int32_t* row = DitherRow(line);
    int32_t done = VX_VECTOR_PART(Rgb16ToYcc8Avx2(src, dst, count, row));
    Rgb16ToYcc8Portable(src, dst, done, count, row);
    return kVxOk;
}

int32_t CPixelConvert::ConvertYcc8ToRgb16(const unsigned char* src, unsigned short* dst,
                                          int32_t count) {
    if (src == nullptr || dst == nullptr) return kVxOk;
    int32_t done = VX_VECTOR_PART(Ycc8ToRgb16Avx2(src, dst, count));
    Ycc8ToRgb16Portable(src, dst, done, count);
    return kVxOk;
}

int32_t CPixelConvert::ConvertYcc16ToRgb8(const unsigned short* src, unsigned char* dst,
                                          int32_t count, int32_t line) {
    if (src == nullptr || dst == nullptr) return kVxOk;
    const int32_t* row = DitherRow(line);
    int32_t done = VX_VECTOR_PART(Ycc16ToRgb8Avx2(src, dst, count, row));
    Ycc16ToRgb8Portable(src, dst, done, count, row);
    return kVxOk;
}

void CPixelConvert::ConvertRgbToNative(unsigned char* dst, const unsigned char* src,
                                       int32_t count) {
    int32_t done = VX_VECTOR_PART(Rgb8ToNativeAvx2(dst, src, count));
    Rgb8ToNativePortable(dst, src, done, count);
}

void CPixelConvert::ConvertRgbToNative(unsigned char* dst, const unsigned short* src, int32_t count,
                                       int32_t line) {
    const int32_t* row = DitherRow(line);
    int32_t done = VX_VECTOR_PART(Rgb16ToNativeAvx2(dst, src, count, row));
    Rgb16ToNativePortable(dst, src, done, count, row);
}

void CPixelConvert::ConvertYccToNative(unsigned char* dst, const unsigned char* src,
                                       int32_t count) {
    int32_t done = VX_VECTOR_PART(Ycc8ToNativeAvx2(dst, src, count));
    Ycc8ToNativePortable(dst, src, done, count);
}

void CPixelConvert::ConvertYccToNative(unsigned char* dst, const unsigned short* src, int32_t count,
                                       int32_t line) {
    const int32_t* row = DitherRow(line);
    int32_t done = VX_VECTOR_PART(Ycc16ToNativeAvx2(dst, src, count, row));
    Ycc16ToNativePortable(dst, src, done, count, row);
}

int32_t CPixelConvert::ConvertDepthAndSpace(const CParam* param) {
    if (param == nullptr) return kVxNo;
    const CImageLineBuf& src = param->bufRead;
    const CImageLineBuf& dst = param->bufConv;
    const CImageLineBuf& src2 = param->bufRead2;
    const CImageLineBuf& dst2 = param->bufConv2;
    const int32_t width = src.info.lWidth;
    const int32_t width2 = src2.info.lWidth;
    const int32_t line = param->lLine;
    const bool second = src2.pBuffer != nullptr && dst2.pBuffer != nullptr;
    auto* src8 = src.pBuffer;
    auto* src16 = reinterpret_cast<unsigned short*>(src.pBuffer);
    auto* dst8 = dst.pBuffer;
    auto* dst16 = reinterpret_cast<unsigned short*>(dst.pBuffer);

    // The second plane is one sample per pixel and only changes depth.
    auto widenSecond = [&] {
        if (second)
            Convert8To16(src2.pBuffer, reinterpret_cast<unsigned short*>(dst2.pBuffer), width2);
    };
    auto narrowSecond = [&] {
        if (second)
            Convert16To8(reinterpret_cast<const unsigned short*>(src2.pBuffer), dst2.pBuffer,
                         width2, 1, line);
    };

    switch (param->lConvert & ~kVxConvNativeToLogical) {
        case kVxConvWiden:
            Convert8To16(src8, dst16, width * 3);
            widenSecond();
            return kVxOk;
        case kVxConvNarrow:
            Convert16To8(src16, dst8, width, 3, line);
            narrowSecond();
            return kVxOk;
        case kVxConvRgbToYcc:
            // Converted where it lies; answering 0 makes the caller hand out the source line.
            ConvertRgbToYcc(src8, src8, src.info);
            return kVxNo;
        case kVxConvWiden | kVxConvRgbToYcc:
            ConvertRgb8ToYcc16(src8, dst16, width);
            widenSecond();
            return kVxOk;
        case kVxConvNarrow | kVxConvRgbToYcc:
            ConvertRgb16ToYcc8(src16, dst8, width, line);
            narrowSecond();
            return kVxOk;
        case kVxConvYccToRgb:
            ConvertYccToRgb(src8, src8, src.info);
            return kVxNo;
        case kVxConvWiden | kVxConvYccToRgb:
            ConvertYcc8ToRgb16(src8, dst16, width);
            widenSecond();
            return kVxOk;
        case kVxConvNarrow | kVxConvYccToRgb:
            ConvertYcc16ToRgb8(src16, dst8, width, line);
            narrowSecond();
            return kVxOk;
        default:
            return kVxNo;
    }
}
