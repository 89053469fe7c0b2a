// Operations on images already held in containers: resize, rotate, both, depth and
// colour-space conversion, the logical/native layout conversions and alpha blending.
#include <algorithm>
#include <cstring>
#include <vector>

#include "macro/EnginePair.h"
#include "macro/MacroSupport.h"
#include "macro/TempContainers.h"
#include "macro/UtilMacro.h"
#include "vandrel/UtilResizeIF.h"
#include "vandrel/UtilRotateIF.h"

using namespace vxmacro;

namespace {

// Ends a container operation's stage: what it filled is emptied again when it failed, and a
// cancel at the stage's end turns a success into kVxErrCancelled.
int32_t EndContainerStage(CUtilMacro& macro, int32_t status, IUtilContainerIF* dst,
                          IUtilContainerIF* dstAlpha) {
    const bool goOn = macro.EndProcess();
    ClearIfFailed(status, dst, dstAlpha);
    if (status > 0 && !goOn) return kVxErrCancelled;
    return status;
}

// A resizer that has made every output line refuses the source lines it no longer needs (the
// box pre-reduction drops the last few, deliberately); those yield nothing. A refusal while
// output lines are still missing is a real failure (memory, state) and ends the stage.
int32_t ResizerRefusal(int32_t code, int32_t linesOut, const IUtilContainerIF* dst) {
    CUImageInfo info;
    dst->GetImageInfo(info);
    return linesOut >= info.lHeight ? int32_t(1) : code;
}

// Runs step(y) over the lines of one stage, reporting progress after each; the first failing
// code of a step, kVxErrCancelled, or 1.
template <typename LineStep>
int32_t RunStage(CUtilMacro& macro, int32_t height, LineStep step) {
    const uint32_t inc = CUtilMacro::kStageUnits / uint32_t(height);
    uint32_t acc = 0;
    for (int32_t y = 0; y < height; ++y) {
        const int32_t r = step(y);
        if (r < 0) return r;
        if (!macro.ProcessLine(acc, inc)) return kVxErrCancelled;
    }
    if (!macro.ProcessLineEnd(acc, CUtilMacro::kStageSteps)) return kVxErrCancelled;
    return 1;
}

}  // namespace

// --- Resize. ---

int32_t CUtilMacro::ResizeLine(IUtilResizeIF* resizer, const void* line, IUtilContainerIF* dst,
                               int32_t& outY) {
    const int32_t ready = resizer->SetLine(line);
    if (ready < 0) return ResizerRefusal(ready, outY, dst);
    if (ready == 0) return 1;  // still collecting input
    for (int32_t i = 0; i < ready; ++i) {
        const void* out = resizer->GetLine();
        if (out == nullptr) return kVxErrMacroSqueezeLine;
        // The line counts as written even when the container refuses it.
        const int32_t stored = StoreLine(dst, out, outY++, kVxErrMacroSqueezeLine);
        if (stored < 1) return stored;
    }
    return 1;
}

int32_t CUtilMacro::ResizeImage(CURequest& request, const IUtilContainerIF* src,
                                const IUtilContainerIF* srcAlpha, IUtilContainerIF* dst,
                                IUtilContainerIF* dstAlpha) {
    if (!BeginProcess(IMacroCallback::ProcessResize)) return kVxErrCancelled;
    const CUImageInfo info = InfoOf(src);
    const bool withAlpha = HoldsImage(srcAlpha) && dstAlpha != nullptr;
    const CUImageInfo alphaInfo = withAlpha ? InfoOf(srcAlpha) : CUImageInfo();
    CResizerPair resizers(m_resizeA, m_resizeB);
    const int32_t begun = resizers.Begin(request, info, alphaInfo, withAlpha);
    if (begun < 0 || info.lHeight == 0) {
        resizers.End();
        EndProcess();
        return begun < 0 ? begun : kVxErrMacroNoImage;
    }

    const int32_t status = Guarded([&]() -> int32_t {
        const int32_t width = request.info.lWidth;
        const int32_t height = request.info.lHeight;
        if (CreateContainer(dst, Resized(info, width, height)) < 1) return kVxErrMacroEngines;
        if (withAlpha && CreateContainer(dstAlpha, Resized(alphaInfo, width, height)) < 1)
            return kVxErrMacroEngines;
        int32_t outY = 0;
        int32_t outAlphaY = 0;
        const auto resizePlane = [&](const IUtilContainerIF* from, IUtilResizeIF* resizer,
                                     IUtilContainerIF* into, int32_t& intoY, int32_t y) {
            const void* line = from->GetLine(y, 0, -1);
            return line == nullptr ? kVxErrMacroSqueezeLine
                                   : ResizeLine(resizer, line, into, intoY);
        };
        return RunStage(*this, info.lHeight, [&](int32_t y) {
            const int32_t r = resizePlane(src, m_resizeA, dst, outY, y);
            if (r < 0 || !withAlpha) return r;
            return resizePlane(srcAlpha, m_resizeB, dstAlpha, outAlphaY, y);
        });
    });
    resizers.End();
    return EndContainerStage(*this, status, dst, withAlpha ? dstAlpha : nullptr);
}

// --- Rotate. ---

int32_t CUtilMacro::RotateImage(CURequest& request, const IUtilContainerIF* src,
                                const IUtilContainerIF* srcAlpha, IUtilContainerIF* dst,
                                IUtilContainerIF* dstAlpha) {
    if (!BeginProcess(IMacroCallback::ProcessRotate)) return kVxErrCancelled;
    const bool withAlpha = HoldsImage(srcAlpha) && dstAlpha != nullptr;
    CRotatorPair rotators(m_rotateA, m_rotateB);
    const int32_t begun = rotators.Begin(request, src, srcAlpha, withAlpha);
    int32_t width = 0;
    int32_t height = 0;
    if (begun >= 0) m_rotateA->GetOutputImageSize(width, height);
    if (begun < 0 || height == 0) {
        rotators.End();
        EndProcess();
        return begun < 0 ? begun : kVxErrMacroNoImage;
    }

    const int32_t status = Guarded([&]() -> int32_t {
        if (CreateContainer(dst, Resized(InfoOf(src), width, height)) < 1)
            return kVxErrMacroEngines;
        if (withAlpha && CreateContainer(dstAlpha, Resized(InfoOf(srcAlpha), width, height)) < 1)
            return kVxErrMacroEngines;
        const auto rotatePlane = [](IUtilRotateIF* rotator, IUtilContainerIF* into, int32_t y) {
            const void* line = rotator->GetLine();
            return line == nullptr ? kVxErrMacroRotateLine
                                   : StoreLine(into, line, y, kVxErrMacroRotateLine);
        };
        return RunStage(*this, height, [&](int32_t y) {
            const int32_t r = rotatePlane(m_rotateA, dst, y);
            if (r < 0 || !withAlpha) return r;
            return rotatePlane(m_rotateB, dstAlpha, y);
        });
    });
    rotators.End();
    return EndContainerStage(*this, status, dst, withAlpha ? dstAlpha : nullptr);
}

int32_t CUtilMacro::ResizeAndRotate(CURequest& request, const IUtilContainerIF* src,
                                    const IUtilContainerIF* srcAlpha, IUtilContainerIF* dst,
                                    IUtilContainerIF* dstAlpha) {
    // Rotating first keeps the resize the last word on the output size.
    return ThroughTemporaries(
        ChainOn::kSuccess,
        [&](auto* image, auto* alpha) { return RotateImage(request, src, srcAlpha, image, alpha); },
        [&](auto* image, auto* alpha) {
            return ResizeImage(request, image, alpha, dst, dstAlpha);
        });
}

// --- Depth and colour space. ---

int32_t CUtilMacro::DepthAndSpaceConvertLine(int kind, const CUImageInfo& info, int32_t line,
                                             const void* in, void* out) {
    if (in == nullptr || out == nullptr) return kVxErrMacroUnsupported;
    using Byte = unsigned char;
    using Word = unsigned short;
    const auto* in8 = static_cast<const Byte*>(in);
    const auto* in16 = static_cast<const Word*>(in);
    auto* out8 = static_cast<Byte*>(out);
    auto* out16 = static_cast<Word*>(out);
    const int32_t width = info.lWidth;
    const bool grey = info.lColorDepth <= 16;  // one channel
    const size_t lineBytes = size_t(width) * size_t(info.lColorDepth / 8);
    IVandrelIF& s = *m_service;
    switch (kind & kConvMask) {
        case kConvDepthUp:
            s.Convert8To16(in8, out16, width * (info.lColorDepth / 8));
            break;
        case kConvDepthDown:
            s.Convert16To8(in16, out8, width, grey ? 1 : 3, line);
            break;
        case kConvRgbToYcc:
            if (grey)
                std::memcpy(out, in, lineBytes);
            else
                s.ConvertRgbToYcc(out, const_cast<void*>(in), info);
            break;
        case kConvDepthUp | kConvRgbToYcc:
            grey ? s.Convert8To16(in8, out16, width) : s.ConvertRgb8ToYcc16(in8, out16, width);
            break;
        case kConvDepthDown | kConvRgbToYcc:
            grey ? s.Convert16To8(in16, out8, width, 1, line)
                 : s.ConvertRgb16ToYcc8(in16, out8, width, line);
            break;
        case kConvYccToRgb:
            if (grey)
                std::memcpy(out, in, lineBytes);
            else
                s.ConvertYccToRgb(out, const_cast<void*>(in), info);
            break;
        case kConvDepthUp | kConvYccToRgb:
            grey ? s.Convert8To16(in8, out16, width) : s.ConvertYcc8ToRgb16(in8, out16, width);
            break;
        case kConvDepthDown | kConvYccToRgb:
            grey ? s.Convert16To8(in16, out8, width, 1, line)
                 : s.ConvertYcc16ToRgb8(in16, out8, width, line);
            break;
        default:
            return kVxErrMacroUnsupported;
    }
    return 1;
}

int32_t CUtilMacro::DepthAndSpaceConvertImage(int kind, const IUtilContainerIF* src,
                                              const IUtilContainerIF* srcAlpha,
                                              IUtilContainerIF* dst, IUtilContainerIF* dstAlpha) {
    if (!BeginProcess(IMacroCallback::ProcessResize)) return kVxErrCancelled;
    const bool withAlpha = HoldsImage(srcAlpha) && dstAlpha != nullptr;
    const CUImageInfo info = InfoOf(src);
    CUImageInfo out = info;
    if ((kind & kConvDepthUp) != 0) out.lColorDepth = 48;
    if ((kind & kConvDepthDown) != 0) out.lColorDepth = 24;
    if ((kind & kConvRgbToYcc) != 0) out.strColorSpace = "YCC";
    if ((kind & kConvYccToRgb) != 0) out.strColorSpace = "RGB";
    out.lRowBytes = VxPaddedRowBytes(out.lWidth, out.lColorDepth);
    CUImageInfo alphaInfo;
    CUImageInfo alphaOut;
    if (withAlpha) {
        alphaInfo = InfoOf(srcAlpha);
        alphaOut = alphaInfo;
        if ((kind & kConvDepthUp) != 0) alphaOut.lColorDepth = 16;
        if ((kind & kConvDepthDown) != 0) alphaOut.lColorDepth = 8;
        alphaOut.lRowBytes = VxPaddedRowBytes(alphaOut.lWidth, alphaOut.lColorDepth);
    }

    const int32_t status = Guarded([&]() -> int32_t {
        if (CreateContainer(dst, out) < 1) return kVxErrMacroEngines;
        if (withAlpha && CreateContainer(dstAlpha, alphaOut) < 1) return kVxErrMacroEngines;
        if (info.lHeight < 1) return kVxErrMacroNoImage;
        std::vector<unsigned char> buffer = LineBuffer(out);
        std::vector<unsigned char> alphaBuffer =
            withAlpha ? LineBuffer(alphaOut) : std::vector<unsigned char>();
        const auto convertPlane = [&](const IUtilContainerIF* from, const CUImageInfo& fromInfo,
                                      std::vector<unsigned char>& buffer, IUtilContainerIF* into,
                                      int32_t y) {
            const void* line = from->GetLine(y, 0, -1);
            if (line == nullptr) return kVxErrMacroSqueezeLine;
            const int32_t r = DepthAndSpaceConvertLine(kind, fromInfo, y, line, buffer.data());
            if (r < 0) return r;
            return into->SetLine(buffer.data(), y, 0, -1) == 0 ? kVxErrMacroSetLine : int32_t(1);
        };
        return RunStage(*this, info.lHeight, [&](int32_t y) {
            const int32_t r = convertPlane(src, info, buffer, dst, y);
            if (r < 0 || !withAlpha) return r;
            return convertPlane(srcAlpha, alphaInfo, alphaBuffer, dstAlpha, y);
        });
    });
    return EndContainerStage(*this, status, dst, withAlpha ? dstAlpha : nullptr);
}

// --- Logical and native layouts. ---
// The native form of an image is 32 bits a pixel in RGB; the logical form it goes back to is
// packed 24-bit RGB. An 8-bit alpha plane has one byte a pixel in both forms and is copied.

namespace {

enum class Layout { kToNative, kToLogical };

CUImageInfo LayoutTarget(const CUImageInfo& info, Layout to) {
    CUImageInfo out = info;
    out.lColorDepth = to == Layout::kToNative ? 32 : 24;
    out.bNative = to == Layout::kToNative ? 1 : 0;
    out.strColorSpace = "RGB";
    out.lRowBytes = VxPaddedRowBytes(out.lWidth, out.lColorDepth);
    return out;
}

// The alpha plane keeps one byte a pixel; only the layout flag changes.
CUImageInfo AlphaLayoutTarget(CUImageInfo info, Layout to) {
    info.lColorDepth = 8;
    info.bNative = to == Layout::kToNative ? 1 : 0;
    info.lRowBytes = VxPaddedRowBytes(info.lWidth, 8);
    return info;
}

int32_t ConvertLayout(IVandrelIF& service, int cacheCount, int pieceSize, Layout to,
                      const IUtilContainerIF* src, const IUtilContainerIF* srcAlpha,
                      IUtilContainerIF* dst, IUtilContainerIF* dstAlpha) {
    if (src == nullptr || dst == nullptr) return kVxErrMacroUnsupported;
    const CUImageInfo info = InfoOf(src);
    const bool withAlpha = HoldsImage(srcAlpha) && dstAlpha != nullptr;
    const CUImageInfo alphaInfo = withAlpha ? InfoOf(srcAlpha) : CUImageInfo();
    const int32_t wantNative = to == Layout::kToLogical ? 1 : 0;
    if (info.bNative != wantNative) return kVxErrMacroSameLayout;
    // A 16-bit alpha plane narrows on the way to native; back to logical only 8 bits copy.
    if (withAlpha && to == Layout::kToLogical && alphaInfo.lColorDepth != 8)
        return kVxErrMacroUnsupported;
    const CUImageInfo out = LayoutTarget(info, to);
    const CUImageInfo alphaOut = AlphaLayoutTarget(alphaInfo, to);
    if (dst->Create(out, cacheCount, pieceSize) < 1) return kVxErrMacroEngines;
    if (withAlpha && dstAlpha->Create(alphaOut, cacheCount, pieceSize) < 1)
        return kVxErrMacroEngines;
    std::vector<unsigned char> buffer = LineBuffer(out);
    std::vector<unsigned char> alphaBuffer = LineBuffer(alphaOut);

    // One plane, one line: convert into buffer and store it.
    const auto convert = [&](const IUtilContainerIF* from, IUtilContainerIF* into,
                             const CUImageInfo& fromInfo, std::vector<unsigned char>& line,
                             int32_t y, bool copyOnly) -> int32_t {
        const auto* in = static_cast<const unsigned char*>(from->GetLine(y, 0, -1));
        if (in == nullptr) return kVxErrMacroLayoutLine;
        int32_t r = 1;
        if (copyOnly)
            std::memcpy(line.data(), in, size_t(fromInfo.lWidth));
        else if (to == Layout::kToNative)
            r = service.ConvertLogicalToNative(line.data(), in, fromInfo, y);
        else
            r = service.ConvertNativeToLogical(line.data(), in, fromInfo);
        if (r < 0) return r;
        return into->SetLine(line.data(), y, 0, -1) == 0 ? kVxErrMacroLayoutLine : 1;
    };
    const bool alphaCopied = alphaInfo.lColorDepth == 8;
    for (int32_t y = 0; y < info.lHeight; ++y) {
        int32_t r = convert(src, dst, info, buffer, y, false);
        if (r < 0) return r;
        if (withAlpha) {
            r = convert(srcAlpha, dstAlpha, alphaInfo, alphaBuffer, y, alphaCopied);
            if (r < 0) return r;
        }
    }
    return 1;
}

}  // namespace

int32_t CUtilMacro::ConvertNativeToLogical(const IUtilContainerIF* src,
                                           const IUtilContainerIF* srcAlpha, IUtilContainerIF* dst,
                                           IUtilContainerIF* dstAlpha) {
    if (m_service == nullptr) return kVxErrMacroUnsupported;
    return Guarded([&] {
        return ConvertLayout(*m_service, m_cacheCount, m_pieceSize, Layout::kToLogical, src,
                             srcAlpha, dst, dstAlpha);
    });
}

int32_t CUtilMacro::ConvertLogicalToNative(const IUtilContainerIF* src,
                                           const IUtilContainerIF* srcAlpha, IUtilContainerIF* dst,
                                           IUtilContainerIF* dstAlpha) {
    if (m_service == nullptr) return kVxErrMacroUnsupported;
    return Guarded([&] {
        return ConvertLayout(*m_service, m_cacheCount, m_pieceSize, Layout::kToNative, src,
                             srcAlpha, dst, dstAlpha);
    });
}

// --- Alpha blending. ---

int32_t CUtilMacro::AlphaBlend(const IUtilContainerIF* src, IUtilContainerIF* dst,
                               const IUtilContainerIF* alpha) {
    if (src == nullptr || dst == nullptr || alpha == nullptr) return kVxErrMacroUnsupported;
    const CUImageInfo info = InfoOf(dst);
    // Never read past the narrowest of the three lines.
    const int32_t width = std::min({info.lWidth, InfoOf(src).lWidth, InfoOf(alpha).lWidth});
    int32_t result = 1;
    for (int32_t y = 0; y < info.lHeight; ++y) {
        const auto* s = static_cast<const unsigned char*>(src->GetLine(y, 0, -1));
        auto* d = static_cast<unsigned char*>(dst->GetLine(y, 0, -1));
        const auto* a = static_cast<const unsigned char*>(alpha->GetLine(y, 0, -1));
        // A missing line stops the blend without a code of its own: 0 when the alpha line is
        // the missing one, 1 otherwise. Lines blended so far stay blended.
        if (s == nullptr || d == nullptr || a == nullptr) return a == nullptr ? 0 : 1;
        for (int32_t x = 0; x < width; ++x) {
            const int32_t v = a[x];
            unsigned char* dp = d + 3 * x;
            const unsigned char* sp = s + 3 * x;
            if (v == 0) {
                dp[0] = sp[0];
                dp[1] = sp[1];
                dp[2] = sp[2];
            } else if (v != 255) {
                // 255 keeps the destination exactly; 254 still mixes in 2/256 of the source.
                for (int c = 0; c < 3; ++c)
                    dp[c] = (unsigned char)((dp[c] * v + sp[c] * (256 - v)) >> 8);
            }
        }
        result = dst->SetLine(d, y, 0, -1);
        if (result == 0) return 0;
    }
    return result;
}
