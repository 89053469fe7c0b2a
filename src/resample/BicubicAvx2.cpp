// AVX2 kernels of the bicubic engine. 8-bit vertical sums pair two lines per pmaddwd (16-bit
// samples and weights); the other passes multiply 32-bit lanes. Where the plain kernel sums
// in 64 bits (16-bit samples across and in the final vertical sum), the lanes split into
// 64-bit halves, and the arithmetic shift of a possibly negative sum is taken as a logical
// shift of the sum lifted by 2^40 (far above any sum), which floors the same way. Across
// passes gather their taps and weights through the per-sample maps and leave the last pixels
// (fewer than eight) to the plain kernels.
#include "platform/CpuFeatures.h"

#if VX_X86_VECTOR

#include "resample/Avx2Support.h"
#include "resample/ResampleCommon.h"

namespace vxresample {
namespace {

using namespace avx2;

constexpr int32_t kLiftShift = 20;  // sums are lifted by 2^(20 + kLiftShift) before the shift

VX_AVX2 inline __m256i Broadcast(int16_t w) {
    return _mm256_set1_epi32(w);
}

// Two weights as 16-bit pairs, for pmaddwd.
VX_AVX2 inline __m256i WeightPair(int16_t first, int16_t second) {
    return _mm256_set1_epi32(int32_t(uint32_t(uint16_t(first)) | uint32_t(uint16_t(second)) << 16));
}

// Eight 8-bit samples of two lines as 16-bit pairs (a0, b0, a1, b1, ...), in sample order.
VX_AVX2 inline __m256i PairLines(const uint8_t* a, const uint8_t* b) {
    const __m128i wa = _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(a)));
    const __m128i wb = _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(b)));
    return _mm256_set_m128i(_mm_unpackhi_epi16(wa, wb), _mm_unpacklo_epi16(wa, wb));
}

VX_AVX2 void VerticalPass8(int32_t* out, const uint8_t* const lines[4], const int16_t weight[4],
                           int64_t count) {
    const __m256i w01 = WeightPair(weight[0], weight[1]);
    const __m256i w23 = WeightPair(weight[2], weight[3]);
    const int64_t n = count & ~int64_t(7);
    for (int64_t i = 0; i < n; i += 8) {
        const __m256i upper = _mm256_madd_epi16(PairLines(lines[0] + i, lines[1] + i), w01);
        const __m256i lower = _mm256_madd_epi16(PairLines(lines[2] + i, lines[3] + i), w23);
        Store(out + i, _mm256_add_epi32(upper, lower));
    }
    const uint8_t* const rest[4] = {lines[0] + n, lines[1] + n, lines[2] + n, lines[3] + n};
    kBicubicPlain.eight.verticalPass(out + n, rest, weight, count - n);
}

VX_AVX2 void VerticalPass16(int32_t* out, const uint16_t* const lines[4], const int16_t weight[4],
                            int64_t count) {
    const __m256i w0 = Broadcast(weight[0]), w1 = Broadcast(weight[1]);
    const __m256i w2 = Broadcast(weight[2]), w3 = Broadcast(weight[3]);
    const int64_t n = count & ~int64_t(7);
    for (int64_t i = 0; i < n; i += 8) {
        const __m256i a = _mm256_add_epi32(_mm256_mullo_epi32(w0, Widen(lines[0] + i)),
                                           _mm256_mullo_epi32(w1, Widen(lines[1] + i)));
        const __m256i b = _mm256_add_epi32(_mm256_mullo_epi32(w2, Widen(lines[2] + i)),
                                           _mm256_mullo_epi32(w3, Widen(lines[3] + i)));
        Store(out + i, _mm256_add_epi32(a, b));
    }
    const uint16_t* const rest[4] = {lines[0] + n, lines[1] + n, lines[2] + n, lines[3] + n};
    kBicubicPlain.sixteen.verticalPass(out + n, rest, weight, count - n);
}

// Four taps and four weights per lane.
struct Taps {
    __m256i p[4];
    __m256i w[4];
};

// The taps of eight samples of an across pass and the weights of their phases, gathered from
// the table rows (two 16-bit weights per 32-bit read, sign-extended apart).
VX_AVX2 inline Taps GatherTaps(const int32_t* columns, const int16_t (*table)[4],
                               const AcrossMap& map, int64_t j) {
    Taps t;
    const __m256i step = _mm256_set1_epi32(map.channels);
    __m256i at = Load(map.first + j);
    for (int k = 0; k < 4; ++k, at = _mm256_add_epi32(at, step))
        t.p[k] = Gather(columns, at);
    const __m256i row = _mm256_slli_epi32(Load(map.sampleWeight + j), 1);
    const int* words = reinterpret_cast<const int*>(table);
    const __m256i w01 = _mm256_i32gather_epi32(words, row, 4);
    const __m256i w23 =
        _mm256_i32gather_epi32(words, _mm256_add_epi32(row, _mm256_set1_epi32(1)), 4);
    t.w[0] = _mm256_srai_epi32(_mm256_slli_epi32(w01, 16), 16);
    t.w[1] = _mm256_srai_epi32(w01, 16);
    t.w[2] = _mm256_srai_epi32(_mm256_slli_epi32(w23, 16), 16);
    t.w[3] = _mm256_srai_epi32(w23, 16);
    return t;
}

VX_AVX2 inline __m256i Sum32(const Taps& t) {
    return _mm256_add_epi32(
        _mm256_add_epi32(_mm256_mullo_epi32(t.w[0], t.p[0]), _mm256_mullo_epi32(t.w[1], t.p[1])),
        _mm256_add_epi32(_mm256_mullo_epi32(t.w[2], t.p[2]), _mm256_mullo_epi32(t.w[3], t.p[3])));
}

VX_AVX2 inline __m256i Round20(__m256i sum) {
    return _mm256_srai_epi32(_mm256_add_epi32(sum, _mm256_set1_epi32(kProductHalf)), kProductBits);
}

// Σ w[k] × p[k] in 64-bit halves, rounded at 20 bits: the 16-bit sums. Lanes come back as
// 32-bit values (far inside the range; the store clamps).
VX_AVX2 inline __m256i Round20Of64(const __m256i w[4], const __m256i p[4]) {
    const __m256i lift =
        _mm256_set1_epi64x((int64_t(1) << (kProductBits + kLiftShift)) + kProductHalf);
    __m256i even = lift, odd = lift;
    for (int k = 0; k < 4; ++k) {
        even = _mm256_add_epi64(even, _mm256_mul_epi32(w[k], p[k]));
        odd = _mm256_add_epi64(
            odd, _mm256_mul_epi32(_mm256_srli_epi64(w[k], 32), _mm256_srli_epi64(p[k], 32)));
    }
    const __m256i low32 = _mm256_set1_epi64x(0xffffffff);
    const __m256i e = _mm256_and_si256(_mm256_srli_epi64(even, kProductBits), low32);
    const __m256i o = _mm256_slli_epi64(_mm256_srli_epi64(odd, kProductBits), 32);
    return _mm256_sub_epi32(_mm256_or_si256(e, o), _mm256_set1_epi32(1 << kLiftShift));
}

VX_AVX2 void HorizontalPass8(uint8_t* out, const int32_t* columns, const AcrossMap& map,
                             const int16_t (*table)[4]) {
    const int32_t pixels = VectorPixels(map);
    const int64_t n = int64_t(pixels) * map.channels;
    for (int64_t j = 0; j < n; j += 8)
        Store(out + j, Round20(Sum32(GatherTaps(columns, table, map, j))));
    kBicubicPlain.eight.horizontalPass(out + n, columns, TailMap(map, pixels), table);
}

VX_AVX2 void HorizontalPass16(uint16_t* out, const int32_t* columns, const AcrossMap& map,
                              const int16_t (*table)[4]) {
    const int32_t pixels = VectorPixels(map);
    const int64_t n = int64_t(pixels) * map.channels;
    for (int64_t j = 0; j < n; j += 8) {
        const Taps t = GatherTaps(columns, table, map, j);
        Store(out + j, Round20Of64(t.w, t.p));
    }
    kBicubicPlain.sixteen.horizontalPass(out + n, columns, TailMap(map, pixels), table);
}

VX_AVX2 void HorizontalSums(int32_t* out, const int32_t* columns, const AcrossMap& map,
                            const int16_t (*table)[4]) {
    const int32_t pixels = VectorPixels(map);
    const int64_t n = int64_t(pixels) * map.channels;
    for (int64_t j = 0; j < n; j += 8)
        Store(out + j, Sum32(GatherTaps(columns, table, map, j)));
    kBicubicPlain.horizontalSums(out + n, columns, TailMap(map, pixels), table);
}

VX_AVX2 void VerticalFinish8(uint8_t* out, const int32_t* const rows[4], const int16_t weight[4],
                             int64_t count) {
    Taps t;
    for (int k = 0; k < 4; ++k)
        t.w[k] = Broadcast(weight[k]);
    const int64_t n = count & ~int64_t(7);
    for (int64_t i = 0; i < n; i += 8) {
        for (int k = 0; k < 4; ++k)
            t.p[k] = Load(rows[k] + i);
        Store(out + i, Round20(Sum32(t)));
    }
    const int32_t* const rest[4] = {rows[0] + n, rows[1] + n, rows[2] + n, rows[3] + n};
    kBicubicPlain.eight.verticalFinish(out + n, rest, weight, count - n);
}

VX_AVX2 void VerticalFinish16(uint16_t* out, const int32_t* const rows[4], const int16_t weight[4],
                              int64_t count) {
    __m256i w[4], p[4];
    for (int k = 0; k < 4; ++k)
        w[k] = Broadcast(weight[k]);
    const int64_t n = count & ~int64_t(7);
    for (int64_t i = 0; i < n; i += 8) {
        for (int k = 0; k < 4; ++k)
            p[k] = Load(rows[k] + i);
        Store(out + i, Round20Of64(w, p));
    }
    const int32_t* const rest[4] = {rows[0] + n, rows[1] + n, rows[2] + n, rows[3] + n};
    kBicubicPlain.sixteen.verticalFinish(out + n, rest, weight, count - n);
}

}  // namespace

const BicubicKernels kBicubicAvx2 = {
    {{VerticalPass8, HorizontalPass8, VerticalFinish8},
     {VerticalPass16, HorizontalPass16, VerticalFinish16}},
    HorizontalSums,
};

}  // namespace vxresample

#endif
