// The macro object itself: its engines, the public entry points, the classification of a
// request into a process kind, the dispatchers, the progress arithmetic and the decoder hook.
#include "macro/UtilMacro.h"

#include <initializer_list>

#include "macro/MacroSupport.h"
#include "macro/TempContainers.h"
#include "vandrel/UtilResizeIF.h"
#include "vandrel/UtilRotateIF.h"

using namespace vxmacro;

namespace {

template <typename Engine>
void Release(Engine*& engine) {
    if (engine != nullptr) engine->Delete();
    engine = nullptr;
}

}  // namespace

VX_EXTERN_C VX_API IUtilMacroIF* CreateUtilMacro() {
    try {
        return new CUtilMacro();
    } catch (...) {
        return nullptr;
    }
}

// --- The object. ---

void CUtilMacro::Delete() {
    Release(m_rotateA);
    Release(m_rotateB);
    Release(m_resizeA);
    Release(m_resizeB);
    delete this;
}

int32_t CUtilMacro::SetVandrelObj(IVandrelIF* service) {
    if (service == nullptr) return kVxErrMacroUnsupported;
    m_service = service;
    if (m_rotateA == nullptr) m_rotateA = CreateUtilRotate();
    if (m_rotateB == nullptr) m_rotateB = CreateUtilRotate();
    if (m_rotateA == nullptr || m_rotateB == nullptr) return kVxErrMacroEngines;
    if (m_resizeA == nullptr) m_resizeA = CreateUtilResize();
    if (m_resizeB == nullptr) m_resizeB = CreateUtilResize();
    if (m_resizeA == nullptr || m_resizeB == nullptr) return kVxErrMacroEngines;
    return 1;
}

int32_t CUtilMacro::SetCallbackObj(IMacroCallback* callback) {
    m_callback = callback;
    return 1;
}

void CUtilMacro::SetContainerInfo(int cacheCount, int pieceSize) {
    m_cacheCount = cacheCount;
    m_pieceSize = pieceSize;
}

int32_t CUtilMacro::CreateContainer(IUtilContainerIF* container, const CUImageInfo& info) const {
    return container->Create(info, m_cacheCount, m_pieceSize) < 1 ? kVxErrMacroEngines : 1;
}

// --- File and container entry points. ---

int32_t CUtilMacro::GetImage(const char* path, IUtilContainerIF* dst, IUtilContainerIF* dstAlpha) {
    if (m_service == nullptr) return kVxErrMacroUnsupported;
    const int32_t handle = m_service->GetImageHandle(path);
    if (handle < 0) return handle;
    const int32_t result = GetImage(handle, dst, dstAlpha);
    m_service->DeleteImageHandle(handle);
    return result;
}

int32_t CUtilMacro::GetImage(const char* path, const CURequest& request, IUtilContainerIF* dst,
                             IUtilContainerIF* dstAlpha) {
    if (m_service == nullptr) return kVxErrMacroUnsupported;
    const int32_t handle = m_service->GetImageHandle(path);
    if (handle < 0) return handle;
    const int32_t result = GetImage(handle, request, dst, dstAlpha);
    m_service->DeleteImageHandle(handle);
    return result;
}

// A plain decode in the file's own depth, layout and colour space.
int32_t CUtilMacro::GetImage(int32_t handle, IUtilContainerIF* dst, IUtilContainerIF* dstAlpha) {
    if (m_service == nullptr) return kVxErrMacroUnsupported;
    return Guarded([&] {
        CUImageFileStatus status;
        const int32_t r = m_service->GetFileStatus(handle, &status);
        if (r < 0) return r;
        CURequest request;
        request.info.lColorDepth = status.info.lColorDepth;
        request.info.bNative = status.info.bNative;
        request.info.strColorSpace = status.info.strColorSpace;
        return GetImage(handle, request, dst, dstAlpha);
    });
}

int32_t CUtilMacro::GetImage(int32_t handle, const CURequest& request, IUtilContainerIF* dst,
                             IUtilContainerIF* dstAlpha) {
    if (m_service == nullptr || dst == nullptr) return kVxErrMacroUnsupported;
    return AnalyzeRequest(handle, nullptr, request, nullptr, nullptr, dst, dstAlpha);
}

int32_t CUtilMacro::GetImage(const CURequest& request, const IUtilContainerIF* src,
                             const IUtilContainerIF* srcAlpha, IUtilContainerIF* dst,
                             IUtilContainerIF* dstAlpha) {
    if (m_service == nullptr || dst == nullptr || src == nullptr) return kVxErrMacroUnsupported;
    return Guarded([&] {
        CUImageInfo info;
        src->GetImageInfo(info);
        const int kind = GetConvertProcess(request, info, true);
        if (kind != 0) {
            // A native-layout image cannot be depth- or colour-converted.
            if (info.bNative == 1 && (kind & kConvMask) != 0) return kVxErrMacroUnsupported;
            return AnalyzeRequest(-1, nullptr, request, src, srcAlpha, dst, dstAlpha);
        }
        *dst = *src;
        if (!HoldsImage(dst)) return kVxErrMacroNoImage;
        if (dstAlpha != nullptr && HoldsImage(srcAlpha)) {
            *dstAlpha = *srcAlpha;
            if (!HoldsImage(dstAlpha)) return kVxErrMacroNoImage;
        }
        return int32_t(1);
    });
}

int32_t CUtilMacro::SetImage(const char* srcPath, const char* dstPath, const CURequest& request) {
    if (m_service == nullptr || srcPath == nullptr || dstPath == nullptr)
        return kVxErrMacroUnsupported;
    const int32_t handle = m_service->GetImageHandle(srcPath);
    if (handle < 0) return handle;
    const int32_t result =
        AnalyzeRequest(handle, dstPath, request, nullptr, nullptr, nullptr, nullptr);
    m_service->DeleteImageHandle(handle);
    return result;
}

// The file takes the container's size and colour space in logical layout.
int32_t CUtilMacro::SetImage(const char* dstPath, const char* fileType, const IUtilContainerIF* src,
                             const IUtilContainerIF* srcAlpha) {
    if (m_service == nullptr || dstPath == nullptr || fileType == nullptr || src == nullptr)
        return kVxErrMacroUnsupported;
    return Guarded([&] {
        CURequest request;
        CUImageInfo info;
        src->GetImageInfo(info);
        request.info.lWidth = info.lWidth;
        request.info.lHeight = info.lHeight;
        request.info.lColorDepth = info.lColorDepth;
        request.info.strColorSpace = info.strColorSpace;
        request.strFormatName = fileType;
        request.info.bNative = 0;
        if (request.info.lColorDepth == 32) request.info.lColorDepth = 24;
        if (request.info.lColorDepth == 64) request.info.lColorDepth = 48;
        if (HoldsImage(srcAlpha)) request.lOption3 = 1;
        return AnalyzeRequest(-1, dstPath, request, src, srcAlpha, nullptr, nullptr);
    });
}

int32_t CUtilMacro::SetImage(const char* dstPath, const CURequest& request,
                             const IUtilContainerIF* src, const IUtilContainerIF* srcAlpha) {
    if (m_service == nullptr || dstPath == nullptr || src == nullptr) return kVxErrMacroUnsupported;
    return AnalyzeRequest(-1, dstPath, request, src, srcAlpha, nullptr, nullptr);
}

// Graphics ports (slots 9 to 13, 17 and 18) are drawn in UtilMacroPort.cpp.

// --- Classification and dispatch. ---

int CUtilMacro::GetConvertProcess(const CURequest& request, const CUImageInfo& info,
                                  bool containerSource) {
    int kind = 0;
    if (request.dAngle != 0.0) kind |= kKindRotate;
    // A request naming only one size resizes unless both match: the other counts as 0.
    const CUImageInfo& want = request.info;
    if ((want.lWidth != 0 || want.lHeight != 0) &&
        (info.lWidth != want.lWidth || info.lHeight != want.lHeight))
        kind |= kKindResize;
    if (!containerSource) return kind;  // the service converts a file while reading it
    if (info.lColorDepth < want.lColorDepth) kind |= kConvDepthUp;
    if (info.lColorDepth > want.lColorDepth) kind |= kConvDepthDown;
    if (info.IsColorSpace("RGB") && want.IsColorSpace("YCC")) kind |= kConvRgbToYcc;
    if (info.IsColorSpace("YCC") && want.IsColorSpace("RGB")) kind |= kConvYccToRgb;
    return kind;
}

int32_t CUtilMacro::AnalyzeRequest(int32_t handle, const char* dstPath, const CURequest& request,
                                   const IUtilContainerIF* src, const IUtilContainerIF* srcAlpha,
                                   IUtilContainerIF* dst, IUtilContainerIF* dstAlpha) {
    return Guarded([&] {
        const CURequest wanted(request);
        CUImageInfo info;
        if (src == nullptr) {
            CUImageFileStatus status;
            const int32_t r = m_service->GetFileStatus(handle, &status);
            if (r < 0) return r;
            info = status.info;
        } else {
            src->GetImageInfo(info);
        }
        int kind = (handle != -1 ? kKindDecode : 0) | (dstPath != nullptr ? kKindEncode : 0);
        kind |= GetConvertProcess(wanted, info, handle == -1 && dstPath == nullptr);
        if (kind == 0) return kVxErrMacroUnsupported;  // nothing to do

        if (m_callback != nullptr) {
            int32_t total = 0;
            for (int bit : {kKindDecode, kKindEncode, kKindResize, kKindRotate, kConvMask})
                if ((kind & bit) != 0) total += int32_t(kStageSteps);
            if (m_callback->Start(total) < 1) return kVxErrCancelled;
        }

        int32_t result;
        if ((kind & kKindEncode) != 0) {
            result = ProcessForEncode(kind, handle, dstPath, wanted, src, srcAlpha);
        } else if ((kind & kConvMask) == 0) {
            result = ProcessForDecode(kind, handle, wanted, src, srcAlpha, dst, dstAlpha);
        } else if ((kind & kKindTransform) == 0) {
            result = DepthAndSpaceConvertImage(kind, src, srcAlpha, dst, dstAlpha);
        } else {
            // Convert into temporaries first, then resize or rotate from them.
            result = ThroughTemporaries(
                ChainOn::kSuccess,
                [&](auto* image, auto* alpha) {
                    return DepthAndSpaceConvertImage(kind, src, srcAlpha, image, alpha);
                },
                [&](auto* image, auto* alpha) {
                    return ProcessForDecode(kind & ~kConvMask, handle, wanted, image, alpha, dst,
                                            dstAlpha);
                },
                HoldsImage(srcAlpha));
        }

        if (m_callback != nullptr && m_callback->Finish() < 1) result = kVxErrCancelled;
        return result;
    });
}

int32_t CUtilMacro::DecodeResizeOrSqueeze(int32_t handle, CURequest& request, IUtilContainerIF* dst,
                                          IUtilContainerIF* dstAlpha) {
    return IsSqueeze(request) ? DecodeSqueeze(handle, request, dst, dstAlpha)
                              : DecodeResize(handle, request, dst, dstAlpha);
}

int32_t CUtilMacro::ProcessForDecode(int kind, int32_t handle, const CURequest& request,
                                     const IUtilContainerIF* src, const IUtilContainerIF* srcAlpha,
                                     IUtilContainerIF* dst, IUtilContainerIF* dstAlpha) {
    CURequest copy(request);
    switch (kind) {
        case kKindDecode:
            return DecodeImage(handle, copy, dst, dstAlpha);
        case kKindResize:
            return ResizeImage(copy, src, srcAlpha, dst, dstAlpha);
        case kKindRotate:
            return RotateImage(copy, src, srcAlpha, dst, dstAlpha);
        case kKindDecode | kKindResize:
            return DecodeResizeOrSqueeze(handle, copy, dst, dstAlpha);
        case kKindDecode | kKindRotate:
            return DecodeAndRotate(handle, copy, dst, dstAlpha);
        case kKindResize | kKindRotate:
            return ResizeAndRotate(copy, src, srcAlpha, dst, dstAlpha);
        case kKindDecode | kKindResize | kKindRotate:
            return DecodeImageToResizeAndRotate(handle, copy, dst, dstAlpha);
        default:
            return kVxErrMacroUnsupported;
    }
}

int32_t CUtilMacro::ProcessForEncode(int kind, int32_t handle, const char* dstPath,
                                     const CURequest& request, const IUtilContainerIF* src,
                                     const IUtilContainerIF* srcAlpha) {
    CURequest copy(request);
    switch (kind) {
        case kKindEncode:
            return EncodeImage(dstPath, copy, src, srcAlpha);
        case kKindEncode | kKindResize:
            return ResizeEncode(dstPath, copy, src, srcAlpha);
        case kKindEncode | kKindRotate:
            return RotateEncode(dstPath, copy, src, srcAlpha);
        case kKindEncode | kKindResize | kKindRotate:
            return RotateImageToResizeEncode(dstPath, copy, src, srcAlpha);
        case kKindDecode | kKindEncode | kKindResize: {
            // Enlarging decodes whole and resizes while encoding; shrinking (or keeping the
            // area) resizes while decoding, so the temporary stays small.
            CUImageFileStatus status;
            const int32_t r = m_service->GetFileStatus(handle, &status);
            if (r < 0) return r;
            const int64_t sourceArea = int64_t(status.info.lWidth) * status.info.lHeight;
            const int64_t wantedArea = int64_t(copy.info.lWidth) * copy.info.lHeight;
            return sourceArea < wantedArea ? DecodeImageToResizeEncode(handle, dstPath, copy)
                                           : DecodeResizeToEncodeImage(handle, dstPath, copy);
        }
        case kKindDecode | kKindEncode | kKindRotate:
            return DecodeImageToRotateEncode(handle, dstPath, copy);
        case kKindDecode | kKindEncode | kKindResize | kKindRotate:
            return DecodeAndRotateToResizeEncode(handle, dstPath, copy);
        default:
            return kVxErrMacroUnsupported;  // a plain file-to-file copy included
    }
}

// --- Progress. ---

bool CUtilMacro::BeginProcess(IMacroCallback::Process stage) {
    return m_callback == nullptr || m_callback->BeginProcess(stage) > 0;
}

bool CUtilMacro::ProcessLine(uint32_t& acc, uint32_t inc) {
    if (m_callback == nullptr) return true;
    const uint32_t before = acc / 1024;
    const uint32_t after = (acc + inc) / 1024;
    if (after != before && m_callback->Progress(after - before) < 1) return false;
    acc += inc;
    return true;
}

bool CUtilMacro::ProcessLineEnd(uint32_t acc, uint32_t total) {
    if (m_callback == nullptr || acc / 1024 >= total) return true;
    return m_callback->Progress(total - acc / 1024) > 0;
}

bool CUtilMacro::EndProcess() {
    return m_callback == nullptr || m_callback->EndProcess() > 0;
}

// --- Decoder messages. ---

int32_t CUtilMacro::RawMessageProc(int message, void* data) {
    if (data == nullptr) return 1;
    if (message == 1) {
        m_decoderProgress = *static_cast<const int32_t*>(data);
    } else if (message == 2) {
        const int32_t lines = *static_cast<const int32_t*>(data);
        if (lines > 0 && !ProcessLine(m_progress, (kStageUnits / uint32_t(lines)) / 2)) return -1;
        if (m_savedMessageProc != nullptr && m_savedMessageProc != MessageFace())
            m_savedMessageProc->MessageProc(2, data);
    }
    return 1;
}

int32_t CUtilMacro::MessageProc(int message, void* data) {
    if (message == 1 || message == 2) return RawMessageProc(message, data);
    // Messages the macro has no use for (a decoder's damage notice) are the caller's.
    if (m_savedMessageProc != nullptr && m_savedMessageProc != MessageFace())
        return m_savedMessageProc->MessageProc(message, data);
    return IMessageProc::MessageProc(message, data);
}

// --- Reading helpers. ---

int32_t CUtilMacro::ChkSeek(int32_t handle, bool& canSeek) {
    canSeek = false;
    const int32_t r = m_service->SeekLine(handle, 0, 0);
    if (r >= 1) {
        canSeek = true;
        return r;
    }
    if (r < 0 && VxClass(r) == 0x7e) return 1;  // cannot seek: read forward instead
    return r;
}

int32_t CUtilMacro::DummyReadLine(int32_t handle, int32_t count) {
    int32_t r = 1;
    for (int32_t i = 0; i < count; ++i) {
        void* line = nullptr;
        void* alphaLine = nullptr;
        r = m_service->ReadLine(handle, &line, &alphaLine);
        if (r < 0) break;
    }
    return r;
}

int32_t CUtilMacro::ReadBothPlanes(int32_t handle, void*& line, void*& alphaLine) {
    line = nullptr;
    alphaLine = nullptr;
    return m_service->ReadLine(handle, &line, &alphaLine);
}
