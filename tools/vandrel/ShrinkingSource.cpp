#include "ShrinkingSource.h"

#include <vector>

#include "Interrupt.h"
#include "vandrel/CodecProperties.h"

namespace vxtool {
namespace {

constexpr int32_t kStageSteps = 128;  // what the macro reports for one stage

int32_t Reduced(int32_t side, int32_t factor) {
    return int32_t((int64_t(side) + factor - 1) / factor);
}

int32_t Worse(int32_t kept, int32_t code) {
    return VxIsWarning(code) && !VxIsWarning(kept) ? code : kept;
}

}  // namespace

CShrinkingSource::CShrinkingSource(const CPlugInShelf* shelf, IMacroCallback* callback)
    : m_shelf(shelf), m_callback(callback) {}

int32_t CShrinkingSource::FactorFor(int32_t sourceWidth, int32_t sourceHeight, int32_t width,
                                    int32_t height) {
    if (width < 1 || height < 1) return 1;
    if (int64_t(width) * 2 > sourceWidth || int64_t(height) * 2 > sourceHeight) return 1;
    for (int32_t factor : {8, 4, 2})
        if (Reduced(sourceWidth, factor) >= width && Reduced(sourceHeight, factor) >= height)
            return factor;
    return 1;
}

int32_t CShrinkingSource::Decode(const std::string& path, int32_t factor, IUtilContainerIF* dst) {
    PlugInPtr reader = m_shelf != nullptr ? m_shelf->ReaderFor(path) : nullptr;
    if (reader == nullptr || reader->SetProperty(kVxPropShrinkFactor, &factor) != 1) return 0;
    CUImageFileStatus status;
    int32_t result = reader->GetFileStatus(&status);
    if (VxIsFailure(result)) return result;
    // Only the plain colour lines the decoder hands out go straight into the container.
    if (status.info.lColorDepth != 24 || status.info.bNative != 0 || status.info2.lColorDepth != 0)
        return 0;
    int32_t code = reader->SetRequest(CURequest(), status);
    if (code < 0) return code;
    code = reader->Open("r");
    if (VxIsFailure(code)) return code;
    result = Worse(result, code);
    CUImageInfo info = status.info;
    info.lRowBytes = 0;
    code = ReadLines(reader.get(), info, dst);
    const int32_t closed = reader->Close();
    if (VxIsFailure(code)) return code;
    if (VxIsFailure(closed)) return closed;
    return Worse(Worse(result, code), closed);
}

int32_t CShrinkingSource::ReadLines(IPlugIn* reader, const CUImageInfo& info,
                                    IUtilContainerIF* dst) {
    if (dst->Create(info, 1000, 128) < 1) return kVxErrMacroEngines;
    if (m_callback != nullptr && (!GoOn(m_callback->Start(kStageSteps)) ||
                                  !GoOn(m_callback->BeginProcess(IMacroCallback::ProcessDecode))))
        return kVxErrCancelled;
    std::vector<unsigned char> line(size_t(VxPaddedRowBytes(info.lWidth, info.lColorDepth)));
    int32_t result = 1;
    uint32_t reported = 0;
    for (int32_t y = 0; y < info.lHeight; ++y) {
        const int32_t code = reader->ReadLine(line.data(), nullptr);
        if (VxIsFailure(code)) return code;
        result = Worse(result, code);
        if (dst->SetLine(line.data(), y, 0, -1) != 1) return kVxErrMacroSetLine;
        const uint32_t due = uint32_t(int64_t(y + 1) * kStageSteps / info.lHeight);
        if (m_callback != nullptr && due > reported) {
            if (!GoOn(m_callback->Progress(due - reported))) return kVxErrCancelled;
            reported = due;
        }
        if (CInterruptGuard::Requested()) return kVxErrCancelled;
    }
    if (m_callback != nullptr && (!GoOn(m_callback->EndProcess()) || !GoOn(m_callback->Finish())))
        return kVxErrCancelled;
    return result;
}

}  // namespace vxtool
