// The road a caller takes through the image-file service for one file of one format: handle,
// status, camera and file information, every line, end, delete. Compiled once per codec module
// (VX_FUZZ_MODULE, VX_FUZZ_EXTENSION); the service loads that module alone, so the fuzzer's
// mutations stay with its codec. A byte of the input picks the request's depth, colour space,
// layout and alpha handling, so the converters run too.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "FuzzSupport.h"
#include "vandrel/CodecProperties.h"
#include "vandrel/VandrelIF.h"

namespace {

// Small enough that a forged header is refused long before the fuzzer's memory limit.
constexpr int64_t kDecoderBudget = int64_t(256) << 20;

IVandrelIF* Service() {
    static IVandrelIF* service = [] {
        IVandrelIF* made = CreateVandrel(VX_FUZZ_MODULE);
        if (made == nullptr) std::abort();
        return made;
    }();
    return service;
}

CURequest RequestFor(uint8_t pick, CUtilParamArray* params) {
    CURequest request;
    request.info.lColorDepth = (pick & 1) ? 48 : 24;
    request.info.strColorSpace = (pick & 2) ? "YCC" : "RGB";
    request.info.bNative = (pick & 4) ? 1 : 0;
    request.lOption1 = (pick & 8) ? 1 : 0;  // alpha skip
    request.pParamList = params;
    return request;
}

void ReadEveryLine(IVandrelIF* service, int32_t handle, const CUImageFileStatus& status,
                   uint8_t pick) {
    if (int64_t(status.info.lWidth) * status.info.lHeight > vxfuzz::kMaxPixels) return;
    static const int64_t budget = kDecoderBudget;
    CUtilParamArray params;
    params.Add(VxPropertyEntry(kVxPropMemoryBudget, &budget));
    const CURequest request = RequestFor(pick, &params);
    CUImageInfo info, info2;
    const int32_t begun = service->BeginReadLine(handle, request, &info, &info2);
    if (VxIsFailure(begun)) return;
    for (int32_t y = 0; y < info.lHeight; ++y) {
        void* line = nullptr;
        void* line2 = nullptr;
        if (VxIsFailure(service->ReadLine(handle, &line, &line2))) break;
    }
    service->EndReadLine(handle);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string path = vxfuzz::InputFile(data, size, "input" VX_FUZZ_EXTENSION);
    IVandrelIF* service = Service();
    const int32_t handle = service->GetImageHandle(path.c_str());
    if (handle <= 0) return 0;
    CUImageFileStatus status;
    const int32_t described = service->GetFileStatus(handle, &status);
    CUCameraInfo camera;
    service->GetCameraInfo(handle, &camera);
    CUFileInfo fileInfo;
    service->GetFileInfo(path.c_str(), &fileInfo);
    if (!VxIsFailure(described)) ReadEveryLine(service, handle, status, size ? data[size / 2] : 0);
    service->DeleteImageHandle(handle);
    return 0;
}
