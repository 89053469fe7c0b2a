// Decode pipelines: an open image file read line by line into containers, resized, squeezed,
// trimmed or rotated on the way.
#include <vector>

#include "macro/EnginePair.h"
#include "macro/MacroSupport.h"
#include "macro/TempContainers.h"
#include "macro/UtilMacro.h"
#include "vandrel/UtilResizeIF.h"
#include "vandrel/UtilRotateIF.h"

// The frame every decode shares: the decode stage reported to the callback, the request lent
// a parameter list (when it has none) and the macro's message face for the decoder, the read
// begun, and at the end the read ended and the request given back its own list and message
// procedure.
class CUtilMacro::DecodeFrame {
public:
    DecodeFrame(CUtilMacro& macro, int32_t handle, CURequest& request)
        : m_macro(macro), m_handle(handle), m_request(request) {}
    DecodeFrame(const DecodeFrame&) = delete;
    DecodeFrame& operator=(const DecodeFrame&) = delete;

    // Begins the read. True when the lines may be read; otherwise Result() is the code and the
    // frame has already wound up what it started.
    bool Open(CUImageInfo& info, CUImageInfo& alphaInfo) {
        if (!m_macro.BeginProcess(IMacroCallback::ProcessDecode)) {
            m_result = kVxErrCancelled;
            return false;
        }
        m_ownParamList = m_request.pParamList;
        m_ownMessageProc = m_request.pMessageProc;
        if (m_request.pParamList == nullptr) {
            m_request.pParamList = &m_paramList;
            m_macro.m_savedMessageProc = nullptr;
        } else if (m_request.pMessageProc == m_macro.MessageFace()) {
            m_macro.EndProcess();  // a decode from inside a decode of this macro
            m_result = kVxErrMacroUnsupported;
            return false;
        } else {
            m_macro.m_savedMessageProc = m_request.pMessageProc;
        }
        m_request.pMessageProc = m_macro.MessageFace();
        m_macro.m_decoderProgress = 0;
        m_macro.m_progress = 0;
        m_macro.m_current = m_request;

        const int32_t r = m_macro.m_service->BeginReadLine(m_handle, m_request, &info, &alphaInfo);
        if (VxIsFailure(r)) {
            RestoreRequest();
            m_macro.EndProcess();
            m_result = r;
            return false;
        }
        if (VxIsWarning(r)) m_warning = r;
        if (info.lHeight == 0) {
            // Left as it stands, deliberately: the read stays begun, the stage is not ended and
            // the request keeps the lent list and the face. Nothing must reuse that request.
            m_result = kVxErrMacroNoImage;
            return false;
        }
        return true;
    }

    // Ends the read after the lines were handled with `status`: the warning of the begin
    // when all went well, otherwise the status (kVxErrCancelled when the stage end cancels).
    int32_t Close(int32_t status) {
        m_macro.m_service->EndReadLine(m_handle);
        RestoreRequest();
        const bool goOn = m_macro.EndProcess();
        if (!VxSucceeded(status)) return status;
        if (!goOn) return kVxErrCancelled;
        return m_warning != 0 ? m_warning : status;
    }

    int32_t Result() const { return m_result; }

    // 0x20000 units a stage, or 0x40000 for two; the decoder reports a quarter of two stages
    // (half of one) itself when it says so.
    uint32_t LineIncrement(uint32_t stages, int32_t lines) const {
        uint32_t total = stages * kStageUnits;
        if (m_macro.m_decoderProgress != 0) total -= kStageUnits / 2;
        return lines > 0 ? total / uint32_t(lines) : 0;
    }

private:
    // The request gets its own links back; the decode is over, so nothing is forwarded any
    // more either.
    void RestoreRequest() {
        m_request.pParamList = m_ownParamList;
        m_request.pMessageProc = m_ownMessageProc;
        m_macro.m_savedMessageProc = nullptr;
    }

    CUtilMacro& m_macro;
    const int32_t m_handle;
    CURequest& m_request;
    CUtilParamArray m_paramList;
    CUtilParamArray* m_ownParamList = nullptr;
    IMessageProc* m_ownMessageProc = nullptr;
    int32_t m_warning = 0;
    int32_t m_result = 0;
};

using namespace vxmacro;

// The containers a decode fills: the image always, the alpha plane when the file has one, the
// caller gave a container for it and the request does not skip it. Whatever the decode had
// begun to fill is emptied again when it fails, so that nothing partial is left.
class CUtilMacro::DecodeTargets {
public:
    DecodeTargets(const CUtilMacro& macro, const CURequest& request, const CUImageInfo& alphaInfo,
                  IUtilContainerIF* image, IUtilContainerIF* alpha)
        : m_macro(macro),
          m_image(image),
          m_alpha(alpha),
          m_keepsAlpha(alpha != nullptr && alphaInfo.lColorDepth > 0 && request.AlphaSkip() == 0) {}

    bool KeepsAlpha() const { return m_keepsAlpha; }
    IUtilContainerIF* Image() const { return m_image; }
    IUtilContainerIF* Alpha() const { return m_alpha; }

    // 1, or kVxErrMacroEngines when a container cannot be made.
    int32_t Create(const CUImageInfo& out, const CUImageInfo& alphaOut) {
        if (m_macro.CreateContainer(m_image, out) < 1) return kVxErrMacroEngines;
        if (!m_keepsAlpha) return 1;
        m_filledAlpha = m_alpha;
        return m_macro.CreateContainer(m_alpha, alphaOut) < 1 ? kVxErrMacroEngines : 1;
    }

    void ClearIfFailed(int32_t status) const {
        vxmacro::ClearIfFailed(status, m_image, m_filledAlpha);
    }

private:
    const CUtilMacro& m_macro;
    IUtilContainerIF* m_image;
    IUtilContainerIF* m_alpha;
    IUtilContainerIF* m_filledAlpha = nullptr;  // once its creation was tried
    const bool m_keepsAlpha;
};

// --- Plain decode. ---

template <typename Store>
int32_t CUtilMacro::ReadEachLine(int32_t handle, int32_t height, uint32_t inc, uint32_t stageSteps,
                                 Store store) {
    int32_t r = 1;
    for (int32_t y = 0; y < height; ++y) {
        void* line;
        void* alphaLine;
        r = ReadBothPlanes(handle, line, alphaLine);
        if (r < 1 && !VxIsWarning(r)) return r;
        const int32_t stored = store(y, line, alphaLine);
        if (stored < 0) return stored;
        if (!ProcessLine(m_progress, inc)) return kVxErrCancelled;
    }
    if (!ProcessLineEnd(m_progress, stageSteps)) return kVxErrCancelled;
    return r;
}

int32_t CUtilMacro::DecodeImage(int32_t handle, CURequest& request, IUtilContainerIF* dst,
                                IUtilContainerIF* dstAlpha) {
    DecodeFrame frame(*this, handle, request);
    CUImageInfo info, alphaInfo;
    if (!frame.Open(info, alphaInfo)) return frame.Result();
    const uint32_t inc = frame.LineIncrement(1, info.lHeight);

    DecodeTargets targets(*this, request, alphaInfo, dst, dstAlpha);
    const bool withAlpha = targets.KeepsAlpha();
    const int32_t status = [&]() -> int32_t {
        const int32_t r = targets.Create(info, alphaInfo);
        if (r < 1) return r;
        return ReadEachLine(handle, info.lHeight, inc, kStageSteps,
                            [&](int32_t y, void* line, void* alphaLine) -> int32_t {
                                const int32_t r = StoreLine(dst, line, y, kVxErrMacroSetLine);
                                if (r < 1 || !withAlpha || alphaLine == nullptr) return r;
                                return StoreLine(dstAlpha, alphaLine, y, kVxErrMacroSetLine);
                            });
    }();
    targets.ClearIfFailed(status);
    return frame.Close(status);
}

// --- Decode through the resizers. ---

int32_t CUtilMacro::DecodeResize(int32_t handle, CURequest& request, IUtilContainerIF* dst,
                                 IUtilContainerIF* dstAlpha) {
    DecodeFrame frame(*this, handle, request);
    CUImageInfo info, alphaInfo;
    if (!frame.Open(info, alphaInfo)) return frame.Result();
    const uint32_t inc = frame.LineIncrement(2, info.lHeight);

    DecodeTargets targets(*this, request, alphaInfo, dst, dstAlpha);
    const bool withAlpha = targets.KeepsAlpha();
    CResizerPair resizers(m_resizeA, m_resizeB);
    const int32_t status = [&]() -> int32_t {
        const int32_t width = request.info.lWidth;
        const int32_t height = request.info.lHeight;
        int32_t r = targets.Create(Resized(info, width, height), Resized(alphaInfo, width, height));
        if (r < 1) return r;
        r = resizers.Begin(request, info, alphaInfo, withAlpha);
        if (r < 0) return r;
        int32_t outY = 0;
        int32_t outAlphaY = 0;
        return ReadEachLine(handle, info.lHeight, inc, 2 * kStageSteps,
                            [&](int32_t, void* line, void* alphaLine) {
                                const int32_t resized = ResizeLine(m_resizeA, line, dst, outY);
                                if (resized < 0 || !withAlpha || alphaLine == nullptr)
                                    return resized;
                                return ResizeLine(m_resizeB, alphaLine, dstAlpha, outAlphaY);
                            });
    }();
    resizers.End();
    targets.ClearIfFailed(status);
    return frame.Close(status);
}

// --- Decode by picking pixels, skipping the lines not needed. ---

template <typename T>
void CUtilMacro::SqueezeLine(const T* in, T* out, int32_t sourceWidth, int32_t outputWidth,
                             int components) {
    if (outputWidth <= 0) return;
    const double scale = double(sourceWidth) / double(outputWidth);
    for (int32_t x = 0; x < outputWidth; ++x) {
        const T* pixel = in + int64_t(double(x) * scale) * components;
        for (int c = 0; c < components; ++c)
            out[c] = pixel[c];
        out += components;
    }
}

void CUtilMacro::SqueezeLine(const CUImageInfo& source, const CUImageInfo& output, const void* in,
                             void* out) {
    using Byte = unsigned char;
    using Word = unsigned short;
    const int32_t from = source.lWidth;
    const int32_t to = output.lWidth;
    switch (source.lColorDepth) {
        case 8:
            return SqueezeLine(static_cast<const Byte*>(in), static_cast<Byte*>(out), from, to, 1);
        case 16:
            return SqueezeLine(static_cast<const Word*>(in), static_cast<Word*>(out), from, to, 1);
        case 24:
            return SqueezeLine(static_cast<const Byte*>(in), static_cast<Byte*>(out), from, to, 3);
        case 32:
            return SqueezeLine(static_cast<const Byte*>(in), static_cast<Byte*>(out), from, to, 4);
        case 48:
            return SqueezeLine(static_cast<const Word*>(in), static_cast<Word*>(out), from, to, 3);
        case 64:
            return SqueezeLine(static_cast<const Word*>(in), static_cast<Word*>(out), from, to, 4);
        default:
            return;  // no sample layout to pick from
    }
}

namespace {

// Where a squeeze or a trim reads: it moves forward by seeking when the source can, by
// reading and discarding lines otherwise, and reads each needed line once.
class LinePicker {
public:
    LinePicker(CUtilMacro& macro, IVandrelIF* service, int32_t handle)
        : m_macro(macro), m_service(service), m_handle(handle) {}

    // Finds out whether the source can seek; the code of ChkSeek.
    int32_t CheckSeek() { return m_macro.ChkSeek(m_handle, m_canSeek); }

    // Makes `line` the current one; 1 or a warning, or the failing code.
    int32_t Pick(int32_t line) {
        if (line == m_current) return 1;
        if (line != m_next) {
            const int32_t r = m_canSeek ? m_service->SeekLine(m_handle, line, 0)
                                        : m_macro.DummyReadLine(m_handle, line - m_next);
            if (VxIsFailure(r)) return r;
        }
        m_line = nullptr;
        m_alphaLine = nullptr;
        const int32_t r = m_service->ReadLine(m_handle, &m_line, &m_alphaLine);
        if (r < 1 && !VxIsWarning(r)) return r;
        m_current = line;
        m_next = line + 1;
        m_lastRead = r;
        return r;
    }
    const void* Line() const { return m_line; }
    const void* AlphaLine() const { return m_alphaLine; }
    int32_t LastRead() const { return m_lastRead; }

private:
    CUtilMacro& m_macro;
    IVandrelIF* m_service;
    const int32_t m_handle;
    bool m_canSeek = false;
    int32_t m_current = -1;  // the line held
    int32_t m_next = 0;      // the line the next read delivers
    void* m_line = nullptr;
    void* m_alphaLine = nullptr;
    int32_t m_lastRead = 1;
};

}  // namespace

// The part of the source a squeeze or a trim reads, in both planes, from column `left` and
// line `top`, and the size it is squeezed to.
struct CUtilMacro::PickedArea {
    CUImageInfo cut, cutAlpha;
    CUImageInfo out, outAlpha;
    int32_t left = 0;
    int32_t top = 0;
};

int32_t CUtilMacro::PickAndSqueeze(int32_t handle, const PickedArea& area, DecodeTargets& targets,
                                   uint32_t inc, uint32_t stageSteps) {
    LinePicker picker(*this, m_service, handle);
    const int32_t seek = picker.CheckSeek();
    if (seek < 0) return seek;
    const CUImageInfo& out = area.out;
    const CUImageInfo& outAlpha = area.outAlpha;
    const int32_t created = targets.Create(out, outAlpha);
    if (created < 1) return created;
    std::vector<unsigned char> buffer = LineBuffer(out);
    std::vector<unsigned char> alphaBuffer = LineBuffer(outAlpha);
    const int64_t offset = int64_t(area.left) * (area.cut.lColorDepth >> 3);
    const int64_t alphaOffset = int64_t(area.left) * (area.cutAlpha.lColorDepth >> 3);

    const double step = double(area.cut.lHeight) / double(out.lHeight);
    for (int32_t y = 0; y < out.lHeight; ++y) {
        const int32_t r = picker.Pick(area.top + int32_t(double(y) * step));
        if (VxIsFailure(r)) return r;
        const auto* line = static_cast<const unsigned char*>(picker.Line());
        SqueezeLine(area.cut, out, line + offset, buffer.data());
        const int32_t stored = StoreLine(targets.Image(), buffer.data(), y, kVxErrMacroSqueezeLine);
        if (stored < 1) return stored;
        if (targets.KeepsAlpha() && picker.AlphaLine() != nullptr) {
            const auto* alphaLine = static_cast<const unsigned char*>(picker.AlphaLine());
            SqueezeLine(area.cutAlpha, outAlpha, alphaLine + alphaOffset, alphaBuffer.data());
            if (targets.Alpha()->SetLine(alphaBuffer.data(), y, 0, -1) == 0)
                return kVxErrMacroSqueezeLine;
        }
        if (!ProcessLine(m_progress, inc)) return kVxErrCancelled;
    }
    if (!ProcessLineEnd(m_progress, stageSteps)) return kVxErrCancelled;
    return picker.LastRead();
}

int32_t CUtilMacro::DecodeSqueeze(int32_t handle, CURequest& request, IUtilContainerIF* dst,
                                  IUtilContainerIF* dstAlpha) {
    DecodeFrame frame(*this, handle, request);
    CUImageInfo info, alphaInfo;
    if (!frame.Open(info, alphaInfo)) return frame.Result();
    PickedArea area;
    area.cut = info;
    area.cutAlpha = alphaInfo;
    area.out = Resized(info, request.info.lWidth, request.info.lHeight);
    area.outAlpha = Resized(alphaInfo, area.out.lWidth, area.out.lHeight);
    const uint32_t inc = frame.LineIncrement(2, area.out.lHeight);

    DecodeTargets targets(*this, request, alphaInfo, dst, dstAlpha);
    const int32_t status = Guarded([&]() -> int32_t {
        if (area.out.lWidth < 1 || area.out.lHeight < 1) return kVxErrMacroNoImage;
        return PickAndSqueeze(handle, area, targets, inc, 2 * kStageSteps);
    });
    targets.ClearIfFailed(status);
    return frame.Close(status);
}

// --- Decode of a rectangle. ---

int32_t CUtilMacro::TrimmingDecode(int32_t handle, CURequest& request, IUtilContainerIF* dst,
                                   IUtilContainerIF* dstAlpha, int32_t l1, int32_t t1, int32_t r1,
                                   int32_t b1, int32_t l2, int32_t t2, int32_t r2, int32_t b2) {
    DecodeFrame frame(*this, handle, request);
    CUImageInfo info, alphaInfo;
    if (!frame.Open(info, alphaInfo)) return frame.Result();
    // The output size, and the selection of the source.
    PickedArea area;
    area.out = Resized(info, r1 - l1 + 1, b1 - t1 + 1);
    area.outAlpha = Resized(alphaInfo, area.out.lWidth, area.out.lHeight);
    area.cut = Resized(info, r2 - l2 + 1, b2 - t2 + 1);
    area.cutAlpha = Resized(alphaInfo, area.cut.lWidth, area.cut.lHeight);
    area.left = l2;
    area.top = t2;
    const uint32_t inc = frame.LineIncrement(1, area.out.lHeight);

    DecodeTargets targets(*this, request, alphaInfo, dst, dstAlpha);
    const int32_t status = Guarded([&]() -> int32_t {
        const bool inside = l2 >= 0 && t2 >= 0 && r2 < info.lWidth && b2 < info.lHeight &&
                            area.cut.lWidth >= 1 && area.cut.lHeight >= 1;
        if (!inside || area.out.lWidth < 1 || area.out.lHeight < 1) return kVxErrMacroUnsupported;
        return PickAndSqueeze(handle, area, targets, inc, kStageSteps);
    });
    targets.ClearIfFailed(status);
    return frame.Close(status);
}

// --- Chains: decode into temporaries, then transform into the destination. A warning of
// the decode lets the chain go on and is the chain's answer when the rest succeeds. ---

int32_t CUtilMacro::DecodeThenTransform(DecodeStep decode, TransformStep transform, int32_t handle,
                                        CURequest& request, IUtilContainerIF* dst,
                                        IUtilContainerIF* dstAlpha) {
    return ThroughTemporaries(
        ChainOn::kSuccessOrWarning,
        [&](auto* image, auto* alpha) { return (this->*decode)(handle, request, image, alpha); },
        [&](auto* image, auto* alpha) {
            return (this->*transform)(request, image, alpha, dst, dstAlpha);
        });
}

int32_t CUtilMacro::DecodeAndRotate(int32_t handle, CURequest& request, IUtilContainerIF* dst,
                                    IUtilContainerIF* dstAlpha) {
    return DecodeThenTransform(&CUtilMacro::DecodeImage, &CUtilMacro::RotateImage, handle, request,
                               dst, dstAlpha);
}

int32_t CUtilMacro::DecodeImageToResizeAndRotate(int32_t handle, CURequest& request,
                                                 IUtilContainerIF* dst,
                                                 IUtilContainerIF* dstAlpha) {
    return DecodeThenTransform(&CUtilMacro::DecodeImage, &CUtilMacro::ResizeAndRotate, handle,
                               request, dst, dstAlpha);
}

int32_t CUtilMacro::DecodeResizeToRotateImage(int32_t handle, CURequest& request,
                                              IUtilContainerIF* dst, IUtilContainerIF* dstAlpha) {
    return DecodeThenTransform(&CUtilMacro::DecodeResizeOrSqueeze, &CUtilMacro::RotateImage, handle,
                               request, dst, dstAlpha);
}
