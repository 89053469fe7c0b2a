// Encode pipelines: containers written to a file line by line, resized or rotated on their way
// into the encoder, and the file-to-file chains that decode first.
//
// The file gets the size of the lines written: the request handed to the encoder is a copy
// whose size is that of the output lines (the container's, the resized or the rotated size).
#include "macro/EnginePair.h"
#include "macro/MacroSupport.h"
#include "macro/TempContainers.h"
#include "macro/UtilMacro.h"
#include "vandrel/UtilResizeIF.h"
#include "vandrel/UtilRotateIF.h"

using namespace vxmacro;

namespace {

CUImageInfo PaddedInfoOf(const IUtilContainerIF* container) {
    CUImageInfo info;
    container->GetImageInfo(info);
    info.lRowBytes = VxPaddedRowBytes(info.lWidth, info.lColorDepth);
    return info;
}

// An open write: ended and its handle deleted however the lines went.
class WriteSession {
public:
    explicit WriteSession(IVandrelIF* service) : m_service(service) {}
    ~WriteSession() { Finish(); }
    WriteSession(const WriteSession&) = delete;
    WriteSession& operator=(const WriteSession&) = delete;

    int32_t Begin(const char* path, CURequest& request, const CUImageInfo& info,
                  const CUImageInfo* alphaInfo) {
        request.info.lWidth = info.lWidth;
        request.info.lHeight = info.lHeight;
        const int32_t handle = m_service->BeginWriteLine(path, request, &info, alphaInfo);
        if (handle >= 0) m_handle = handle;
        return handle;
    }
    int32_t Write(const void* line, const void* alphaLine) {
        return m_service->WriteLine(m_handle, line, alphaLine) < 0 ? kVxErrMacroLineIO : 1;
    }
    // The result of EndWriteLine; the handle is gone afterwards.
    int32_t Finish() {
        if (m_handle < 0) return 1;
        const int32_t r = m_service->EndWriteLine(m_handle);
        m_service->DeleteImageHandle(m_handle);
        m_handle = -1;
        return r;
    }

private:
    IVandrelIF* m_service;
    int32_t m_handle = -1;
};

// Writes height line pairs that next(y, line, alphaLine) supplies, reporting `stages` stages
// per line; kVxErrMacroLineIO when a line is missing or refused.
template <typename Next>
int32_t WriteLines(CUtilMacro& macro, WriteSession& write, int32_t height, bool withAlpha,
                   uint32_t stages, Next next) {
    if (height == 0) return kVxErrMacroNoImage;
    const uint32_t inc = stages * (CUtilMacro::kStageUnits / uint32_t(height));
    uint32_t acc = 0;
    for (int32_t y = 0; y < height; ++y) {
        const void* line = nullptr;
        const void* alphaLine = nullptr;
        next(y, line, alphaLine);
        if (line == nullptr || (withAlpha && alphaLine == nullptr)) return kVxErrMacroLineIO;
        if (write.Write(line, alphaLine) < 0) return kVxErrMacroLineIO;
        if (!macro.ProcessLine(acc, inc)) return kVxErrCancelled;
    }
    if (!macro.ProcessLineEnd(acc, CUtilMacro::kStageSteps)) return kVxErrCancelled;
    return 1;
}

// Ends the write, then the engines, then the stage: the end of the write has the last word on
// a success, and a cancel at the stage's end turns any success into kVxErrCancelled.
template <typename EndEngines>
int32_t EndEncode(CUtilMacro& macro, WriteSession& write, int32_t status, EndEngines endEngines) {
    const int32_t ended = write.Finish();
    endEngines();
    if (status > 0) status = ended;
    const bool goOn = macro.EndProcess();
    if (VxSucceeded(status) && !goOn) return kVxErrCancelled;
    return status;
}

}  // namespace

int32_t CUtilMacro::EncodeImage(const char* dstPath, CURequest& request,
                                const IUtilContainerIF* src, const IUtilContainerIF* srcAlpha) {
    CURequest copy(request);
    if (!BeginProcess(IMacroCallback::ProcessEncode)) return kVxErrCancelled;
    const CUImageInfo info = PaddedInfoOf(src);
    const bool withAlpha = HoldsImage(srcAlpha);
    const CUImageInfo alphaInfo = withAlpha ? PaddedInfoOf(srcAlpha) : CUImageInfo();

    WriteSession write(m_service);
    int32_t status = write.Begin(dstPath, copy, info, withAlpha ? &alphaInfo : nullptr);
    if (status >= 0) {
        status = Guarded([&] {
            return WriteLines(*this, write, info.lHeight, withAlpha, 1,
                              [&](int32_t y, const void*& line, const void*& alphaLine) {
                                  line = src->GetLine(y, 0, -1);
                                  if (withAlpha) alphaLine = srcAlpha->GetLine(y, 0, -1);
                              });
        });
    }
    return EndEncode(*this, write, status, [] {});
}

// One stage report covers resizing and encoding: every source line counts twice, and the
// closing top-up is that of a single stage, so it never adds to the 256 steps.
int32_t CUtilMacro::ResizeEncode(const char* dstPath, CURequest& request,
                                 const IUtilContainerIF* src, const IUtilContainerIF* srcAlpha) {
    CURequest copy(request);
    if (!BeginProcess(IMacroCallback::ProcessEncode)) return kVxErrCancelled;
    const CUImageInfo info = PaddedInfoOf(src);
    const bool withAlpha = HoldsImage(srcAlpha);
    const CUImageInfo alphaInfo = withAlpha ? PaddedInfoOf(srcAlpha) : CUImageInfo();
    const CUImageInfo out = Resized(info, copy.info.lWidth, copy.info.lHeight);
    const CUImageInfo alphaOut = Resized(alphaInfo, out.lWidth, out.lHeight);

    WriteSession write(m_service);
    int32_t status = write.Begin(dstPath, copy, out, withAlpha ? &alphaOut : nullptr);
    if (status < 0) {
        EndProcess();
        return status;
    }
    CResizerPair resizers(m_resizeA, m_resizeB);
    status = Guarded([&]() -> int32_t {
        if (info.lHeight == 0) return kVxErrMacroNoImage;
        const int32_t begun = resizers.Begin(copy, info, alphaInfo, withAlpha);
        if (begun < 0) return begun;
        const uint32_t inc = 2 * (kStageUnits / uint32_t(info.lHeight));
        uint32_t acc = 0;
        int32_t linesOut = 0;
        for (int32_t y = 0; y < info.lHeight; ++y) {
            const void* line = src->GetLine(y, 0, -1);
            const void* alphaLine = withAlpha ? srcAlpha->GetLine(y, 0, -1) : nullptr;
            if (line == nullptr || (withAlpha && alphaLine == nullptr)) return kVxErrMacroLineIO;
            // A resizer that has made every output line refuses further input; those lines
            // simply yield nothing, as in ResizeLine. A refusal before that is a failure.
            const int32_t ready = m_resizeA->SetLine(line);
            const int32_t readyAlpha = withAlpha ? m_resizeB->SetLine(alphaLine) : 0;
            const int32_t refused = ready < 0 ? ready : readyAlpha < 0 ? readyAlpha : 0;
            if (refused < 0 && linesOut < out.lHeight) return refused;
            for (int32_t i = 0; i < ready; ++i, ++linesOut) {
                const void* outLine = m_resizeA->GetLine();
                const void* outAlpha = withAlpha ? m_resizeB->GetLine() : nullptr;
                if (outLine == nullptr || (withAlpha && outAlpha == nullptr))
                    return kVxErrMacroLineIO;
                if (write.Write(outLine, outAlpha) < 0) return kVxErrMacroLineIO;
            }
            if (!ProcessLine(acc, inc)) return kVxErrCancelled;
        }
        if (!ProcessLineEnd(acc, kStageSteps)) return kVxErrCancelled;
        return 1;
    });
    return EndEncode(*this, write, status, [&] { resizers.End(); });
}

int32_t CUtilMacro::RotateEncode(const char* dstPath, CURequest& request,
                                 const IUtilContainerIF* src, const IUtilContainerIF* srcAlpha) {
    CURequest copy(request);
    if (!BeginProcess(IMacroCallback::ProcessEncode)) return kVxErrCancelled;
    const bool withAlpha = HoldsImage(srcAlpha);
    CRotatorPair rotators(m_rotateA, m_rotateB);
    const int32_t begun = rotators.Begin(copy, src, srcAlpha, withAlpha);
    if (begun < 0) {
        rotators.End();
        EndProcess();
        return begun;
    }
    int32_t width = 0;
    int32_t height = 0;
    m_rotateA->GetOutputImageSize(width, height);
    const CUImageInfo out = Resized(PaddedInfoOf(src), width, height);
    const CUImageInfo alphaOut =
        withAlpha ? Resized(PaddedInfoOf(srcAlpha), width, height) : CUImageInfo();

    WriteSession write(m_service);
    int32_t status = write.Begin(dstPath, copy, out, withAlpha ? &alphaOut : nullptr);
    if (status < 0) {
        rotators.End();
        EndProcess();
        return status;
    }
    status = Guarded([&] {
        return WriteLines(*this, write, height, withAlpha, 2,
                          [&](int32_t, const void*& line, const void*& alphaLine) {
                              line = m_rotateA->GetLine();
                              if (withAlpha) alphaLine = m_rotateB->GetLine();
                          });
    });
    return EndEncode(*this, write, status, [&] { rotators.End(); });
}

// --- Chains through temporary containers. ---

int32_t CUtilMacro::TransformThenEncode(TransformStep transform, EncodeStep encode,
                                        const char* dstPath, const CURequest& request,
                                        const IUtilContainerIF* src,
                                        const IUtilContainerIF* srcAlpha) {
    CURequest copy(request);
    return ThroughTemporaries(
        ChainOn::kSuccess,
        [&](auto* image, auto* alpha) {
            return (this->*transform)(copy, src, srcAlpha, image, alpha);
        },
        [&](auto* image, auto* alpha) { return (this->*encode)(dstPath, copy, image, alpha); });
}

// A warning of the decode lets the chain go on and is its answer when the encode succeeds.
int32_t CUtilMacro::DecodeThenEncode(DecodeStep decode, EncodeStep encode, int32_t handle,
                                     const char* dstPath, const CURequest& request) {
    CURequest copy(request);
    return ThroughTemporaries(
        ChainOn::kSuccessOrWarning,
        [&](auto* image, auto* alpha) { return (this->*decode)(handle, copy, image, alpha); },
        [&](auto* image, auto* alpha) { return (this->*encode)(dstPath, copy, image, alpha); });
}

int32_t CUtilMacro::RotateImageToResizeEncode(const char* dstPath, CURequest& request,
                                              const IUtilContainerIF* src,
                                              const IUtilContainerIF* srcAlpha) {
    return TransformThenEncode(&CUtilMacro::RotateImage, &CUtilMacro::ResizeEncode, dstPath,
                               request, src, srcAlpha);
}

int32_t CUtilMacro::ResizeImageToRotateEncode(const char* dstPath, CURequest& request,
                                              const IUtilContainerIF* src,
                                              const IUtilContainerIF* srcAlpha) {
    return TransformThenEncode(&CUtilMacro::ResizeImage, &CUtilMacro::RotateEncode, dstPath,
                               request, src, srcAlpha);
}

int32_t CUtilMacro::DecodeImageToResizeEncode(int32_t handle, const char* dstPath,
                                              CURequest& request) {
    return DecodeThenEncode(&CUtilMacro::DecodeImage, &CUtilMacro::ResizeEncode, handle, dstPath,
                            request);
}

int32_t CUtilMacro::DecodeResizeToEncodeImage(int32_t handle, const char* dstPath,
                                              CURequest& request) {
    return DecodeThenEncode(&CUtilMacro::DecodeResizeOrSqueeze, &CUtilMacro::EncodeImage, handle,
                            dstPath, request);
}

int32_t CUtilMacro::DecodeImageToRotateEncode(int32_t handle, const char* dstPath,
                                              CURequest& request) {
    return DecodeThenEncode(&CUtilMacro::DecodeImage, &CUtilMacro::RotateEncode, handle, dstPath,
                            request);
}

int32_t CUtilMacro::DecodeAndRotateToResizeEncode(int32_t handle, const char* dstPath,
                                                  CURequest& request) {
    return DecodeThenEncode(&CUtilMacro::DecodeAndRotate, &CUtilMacro::ResizeEncode, handle,
                            dstPath, request);
}

int32_t CUtilMacro::DecodeResizeToRotateEncode(int32_t handle, const char* dstPath,
                                               CURequest& request) {
    return DecodeThenEncode(&CUtilMacro::DecodeResizeOrSqueeze, &CUtilMacro::RotateEncode, handle,
                            dstPath, request);
}
