// The one place where the resampling engines' kernels are chosen.
#include "resample/ResampleKernels.h"

#include <atomic>

#include "platform/CpuFeatures.h"

namespace vxresample {

namespace {

std::atomic<bool> g_useVector{CpuHasAvx2()};

// Builds for other processors have no vector tables at all.
#if VX_X86_VECTOR
#define VX_AVX2_TABLE(table) (&(table))
#else
#define VX_AVX2_TABLE(table) nullptr
#endif

template <typename Table>
const Table& Choose(const Table& plain, const Table* vector) {
    if (vector != nullptr && g_useVector.load(std::memory_order_relaxed)) return *vector;
    return plain;
}

}  // namespace

const BilinearKernels& BilinearKernelsForNewHandles() {
    return Choose(kBilinearPlain, VX_AVX2_TABLE(kBilinearAvx2));
}
const BicubicKernels& BicubicKernelsForNewHandles() {
    return Choose(kBicubicPlain, VX_AVX2_TABLE(kBicubicAvx2));
}
const SmoothKernels& SmoothKernelsForNewHandles() {
    return Choose(kSmoothPlain, VX_AVX2_TABLE(kSmoothAvx2));
}
const NearestKernels& NearestKernelsForNewHandles() {
    return Choose(kNearestPlain, VX_AVX2_TABLE(kNearestAvx2));
}

bool EnableVectorKernels(bool enable) {
    return g_useVector.exchange(enable && CpuHasAvx2());
}

bool VectorKernelsAvailable() {
    return CpuHasAvx2();
}

}  // namespace vxresample
