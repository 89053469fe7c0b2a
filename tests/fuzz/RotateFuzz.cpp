// Rotation set-up over a memory image with angle, size, depth, method and background taken
// from the input; when the output is small enough, every output line is fetched as well.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "FuzzSupport.h"
#include "vandrel/UtilRotateIF.h"

namespace {

const int32_t kDepths[] = {8, 16, 24, 32, 48, 64};
const char* const kMethods[] = {"Nearest", "Bilinear", "Bicubic", "bicubic", "Quorix", ""};
const double kAngles[] = {0.0, 90.0, 180.0, 270.0, -90.0, 360.0, 45.0, 0.005, 359.995, 1e9};

IUtilRotateIF* Rotator() {
    static IUtilRotateIF* rotator = [] {
        IUtilRotateIF* made = CreateUtilRotate();
        if (made == nullptr) std::abort();
        return made;
    }();
    return rotator;
}

void Run(FuzzedDataProvider& in) {
    CUImageInfo info;
    const bool thin = in.ConsumeBool();
    info.lWidth = thin ? in.ConsumeIntegralInRange<int32_t>(-1, 100000)
                       : in.ConsumeIntegralInRange<int32_t>(0, 96);
    info.lHeight = in.ConsumeIntegralInRange<int32_t>(0, thin ? 4 : 96);
    if (in.ConsumeBool()) std::swap(info.lWidth, info.lHeight);
    info.lColorDepth =
        in.ConsumeBool() ? in.PickValueInArray(kDepths) : in.ConsumeIntegralInRange(-8, 72);
    info.bNative = in.ConsumeBool() ? 1 : 0;
    info.strColorSpace = in.ConsumeBool() ? "RGB" : "YCC";
    info.lRowBytes = 0;
    CURequest request;
    request.dAngle =
        in.ConsumeBool() ? in.PickValueInArray(kAngles) : in.ConsumeFloatingPoint<double>();
    request.strResizeMethod = in.PickValueInArray(kMethods);
    request.lBKColor = in.ConsumeIntegral<int32_t>();
    if (info.lWidth < 0 || info.lHeight < 0 || info.lColorDepth < 0) return;
    const int64_t bytes = int64_t(info.RowBytes()) * info.lHeight;
    if (bytes > (int64_t(1) << 24)) return;
    std::vector<uint8_t> image(size_t(bytes) + 1);
    const std::vector<uint8_t> fill = in.ConsumeRemainingBytes<uint8_t>();
    for (size_t i = 0; i < image.size(); ++i)
        image[i] = fill.empty() ? uint8_t(i * 7) : fill[i % fill.size()];

    IUtilRotateIF* rotator = Rotator();
    if (rotator->BeginRotating(image.data(), info, request) == 1) {
        int32_t width = 0, height = 0;
        rotator->GetOutputImageSize(width, height);
        int32_t x = info.lWidth / 2, y = info.lHeight / 2;
        rotator->GetPosition(x, y);
        if (int64_t(width) * height <= vxfuzz::kMaxPixels) {
            for (int32_t row = 0; row < height; ++row)
                if (rotator->GetLine() == nullptr) break;
        }
    }
    rotator->EndRotating();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    Run(in);
    return 0;
}
