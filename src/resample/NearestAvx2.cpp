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

template <typename Sample>
VX_AVX2 void GatherLine(Sample* out, const Sample* line, const AcrossMap& map) {
    const int32_t pixels = VectorPixels(map);
    const int64_t n = int64_t(pixels) * map.channels;
    for (int64_t j = 0; j < n; j += 8)
        Store(out + j, Gather(line, Load(map.first + j)));
    kNearestPlain.For<Sample>().gather(out + n, line, TailMap(map, pixels));
}

}  // namespace

const NearestKernels kNearestAvx2 = {{GatherLine<uint8_t>}, {GatherLine<uint16_t>}};

}  // namespace vxresample

#endif
