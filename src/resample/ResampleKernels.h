// The line kernels of the resampling engines, gathered in one table per instruction set. A
// handle takes its table once, when it is made (KernelsForNewHandles); the plain table is the
// definition the vector ones must match byte for byte, and also finishes their tails.
#ifndef VANDREL_RESAMPLE_RESAMPLEKERNELS_H
#define VANDREL_RESAMPLE_RESAMPLEKERNELS_H

#include <cstdint>

namespace vxresample {

// How destination samples read a source line across: pixel x starts at source pixel index[x]
// with fraction (or phase) weight[x]. The flat arrays repeat that per sample, channels
// included: sample j = x × channels + c starts at source sample first[j] = index[x] × channels
// + c, weighted by sampleWeight[j] = weight[x].
//
// Where the two taps of every four consecutive samples of an 8-bit line lie within 16 bytes
// (enlargements, moderate reductions), windowBase holds the first byte of that window per
// group of four and windowShuffle the byte order that pairs each sample's taps as 16-bit
// words, so a vector kernel reads them with two loads and one shuffle instead of gathers.
// Both are null otherwise.
struct AcrossMap {
    const int32_t* index;
    const int32_t* weight;
    const int32_t* first;
    const int32_t* sampleWeight;
    int32_t width;
    int32_t channels;
    const int32_t* windowBase;
    const uint8_t* windowShuffle;
};

template <typename Sample>
struct BilinearOps {
    // (gy × upper + fy × lower + half) >> 20 over straight runs of unrounded across-blends.
    void (*blendRows)(Sample* out, const uint32_t* upper, const uint32_t* lower, int64_t count,
                      uint32_t fy);
    // gy × upper + fy × lower, unrounded.
    void (*blendVertically)(uint32_t* blend, const Sample* upper, const Sample* lower,
                            int64_t count, uint32_t fy);
    void (*blendAcross)(Sample* out, const uint32_t* blend, const AcrossMap& map);
    void (*interpolateAcross)(uint32_t* row, const Sample* line, const AcrossMap& map);
    void (*blendDirect)(Sample* out, const Sample* upper, const Sample* lower, const AcrossMap& map,
                        uint32_t fy);
};

template <typename Sample>
struct BicubicOps {
    void (*verticalPass)(int32_t* out, const Sample* const lines[4], const int16_t weight[4],
                         int64_t count);
    // Filters the padded column sums across, rounds and clamps.
    void (*horizontalPass)(Sample* out, const int32_t* columns, const AcrossMap& map,
                           const int16_t (*table)[4]);
    void (*verticalFinish)(Sample* out, const int32_t* const rows[4], const int16_t weight[4],
                           int64_t count);
};

template <typename Sample>
struct SmoothOps {
    void (*addLine)(uint32_t* sums, const Sample* line, int64_t count);
    void (*narrow)(Sample* out, const uint32_t* sums, int64_t count, int32_t shift);
};

template <typename Sample>
struct NearestOps {
    // Whole pixels through the column map.
    void (*gather)(Sample* out, const Sample* line, const AcrossMap& map);
};

// One table per engine family and instruction set. The plain tables live beside their
// engines (ExBilinear.cpp, ...), the vector ones in <Family>Avx2.cpp.
template <template <typename> class Ops>
struct KernelTable {
    Ops<uint8_t> eight;
    Ops<uint16_t> sixteen;
    template <typename Sample>
    const Ops<Sample>& For() const;
};
template <template <typename> class Ops>
template <typename Sample>
const Ops<Sample>& KernelTable<Ops>::For() const {
    if constexpr (sizeof(Sample) == 1)
        return eight;
    else
        return sixteen;
}

using BilinearKernels = KernelTable<BilinearOps>;
using NearestKernels = KernelTable<NearestOps>;

struct BicubicKernels : KernelTable<BicubicOps> {
    // Across filtering of widened samples (both depths), unrounded.
    void (*horizontalSums)(int32_t* out, const int32_t* columns, const AcrossMap& map,
                           const int16_t (*table)[4]);
};

struct SmoothKernels : KernelTable<SmoothOps> {
    // Adds each run of `factor` neighbouring pixels of the column sums.
    void (*foldColumns)(uint32_t* sums, const uint32_t* columnSums, int32_t width, int32_t factor,
                        int32_t channels);
};

extern const BilinearKernels kBilinearPlain;
extern const BicubicKernels kBicubicPlain;
extern const SmoothKernels kSmoothPlain;
extern const NearestKernels kNearestPlain;
extern const BilinearKernels kBilinearAvx2;
extern const BicubicKernels kBicubicAvx2;
extern const SmoothKernels kSmoothAvx2;
extern const NearestKernels kNearestAvx2;

// The one dispatch point (ResampleKernels.cpp): the table a handle made now takes, AVX2 when
// the processor has it and vector kernels are enabled (the default), else the plain one.
const BilinearKernels& BilinearKernelsForNewHandles();
const BicubicKernels& BicubicKernelsForNewHandles();
const SmoothKernels& SmoothKernelsForNewHandles();
const NearestKernels& NearestKernelsForNewHandles();
// Tests compare both: turns the vector kernels off or back on (on only where the processor
// has them) and answers the previous setting.
bool EnableVectorKernels(bool enable);
bool VectorKernelsAvailable();

}  // namespace vxresample

#endif
