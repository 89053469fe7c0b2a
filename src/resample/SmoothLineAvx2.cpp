// AVX2 kernels of the box pre-reducer: adding lines, folding each block's columns together
// and the narrowing shift. All are exact integer sums, so any grouping gives the same bytes.
#include "platform/CpuFeatures.h"

#if VX_X86_VECTOR

#include "resample/Avx2Support.h"
#include "resample/ResampleCommon.h"

namespace vxresample {
namespace {

using namespace avx2;

template <typename Sample>
VX_AVX2 void AddLine(uint32_t* sums, const Sample* line, int64_t count) {
    const int64_t n = count & ~int64_t(7);
    for (int64_t i = 0; i < n; i += 8)
        Store(sums + i, _mm256_add_epi32(Load(sums + i), Widen(line + i)));
    kSmoothPlain.For<Sample>().addLine(sums + n, line + n, count - n);
}

template <typename Sample>
VX_AVX2 void Narrow(Sample* out, const uint32_t* sums, int64_t count, int32_t shift) {
    const __m128i by = _mm_cvtsi32_si128(shift);
    const int64_t n = count & ~int64_t(7);
    for (int64_t i = 0; i < n; i += 8)
        Store(out + i, _mm256_srl_epi32(Load(sums + i), by));
    kSmoothPlain.For<Sample>().narrow(out + n, sums + n, count - n, shift);
}

// Blocks of eight destination pixels: their 8 × channels samples fill `channels` vectors,
// vector v reading, for its lane k, the column sum of sample 8v + k of the block's first
// source pixel; the factor's pixels follow `channels` samples apart.
VX_AVX2 void FoldColumns(uint32_t* sums, const uint32_t* columnSums, int32_t width, int32_t factor,
                         int32_t channels) {
    const int32_t blocks = width / 8;
    if (blocks > 0 && channels <= 4) {
        alignas(32) int32_t start[4][8];
        for (int32_t v = 0; v < channels; ++v)
            for (int32_t k = 0; k < 8; ++k) {
                const int32_t sample = 8 * v + k;
                start[v][k] = sample / channels * factor * channels + sample % channels;
            }
        const __m256i next = _mm256_set1_epi32(channels);
        const int64_t blockSamples = int64_t(8) * channels;
        for (int32_t b = 0; b < blocks; ++b) {
            const uint32_t* in = columnSums + b * blockSamples * factor;
            uint32_t* out = sums + b * blockSamples;
            for (int32_t v = 0; v < channels; ++v) {
                __m256i at = _mm256_load_si256(reinterpret_cast<const __m256i*>(start[v]));
                __m256i sum = Gather(in, at);
                for (int32_t i = 1; i < factor; ++i) {
                    at = _mm256_add_epi32(at, next);
                    sum = _mm256_add_epi32(sum, Gather(in, at));
                }
                Store(out + 8 * v, sum);
            }
        }
    }
    const int32_t done = channels <= 4 ? blocks * 8 : 0;
    const int64_t offset = int64_t(done) * channels;
    kSmoothPlain.foldColumns(sums + offset, columnSums + offset * factor, width - done, factor,
                             channels);
}

}  // namespace

const SmoothKernels kSmoothAvx2 = {
    {{AddLine<uint8_t>, Narrow<uint8_t>}, {AddLine<uint16_t>, Narrow<uint16_t>}},
    FoldColumns,
};

}  // namespace vxresample

#endif
