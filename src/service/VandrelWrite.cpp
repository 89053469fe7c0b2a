// Line writing: the caller hands over lines in its own layout; the service brings each one into
// the layout of the file being written before the plug-in encodes it.
#include <algorithm>
#include <cstring>

#include "service/Vandrel.h"

namespace {

// The caller's line in logical form: a native 32-bit line becomes 24-bit RGB, 64 becomes 48.
CUImageInfo LogicalLayoutOf(const CUImageInfo& info) {
    CUImageInfo logical = info;
    if (logical.lColorDepth == 32) logical.lColorDepth = 24;
    if (logical.lColorDepth == 64) logical.lColorDepth = 48;
    return logical;
}

// Bytes of a caller's line as the service copies it: whole 32-bit words of its pixels.
size_t CopiedBytes(const CUImageInfo& layout) {
    return size_t(std::max(VxPaddedRowBytes(layout.lWidth, layout.lColorDepth), 0));
}

}  // namespace

int32_t CVandrel::BeginWriteLine(const char* fileName, const CURequest& request,
                                 const CUImageInfo* info, const CUImageInfo* info2) {
    if (fileName == nullptr) return kVxErrInvalidArgument;
    const int32_t handle = GetImageHandle(fileName, request.strFormatName);
    if (handle < 0) return handle;
    CParam* p = nullptr;
    if (GetParameter(&p, handle, request) != 1) {
        DeleteImageHandle(handle);
        return kVxErrBadHandle;
    }
    IPlugIn* plugIn = p->pPlugIn;
    // A refused request leaves the handle open; the caller never learns its number.
    int32_t result = plugIn->SetRequest(CURequest(request), CUImageFileStatus());
    if (result < 0) return result;
    if (plugIn->Open("w") < 0) {
        DeleteImageHandle(handle);
        return kVxErrOpenForWrite;
    }

    const int32_t bits = info == nullptr ? 0 : AnalyzeRequest("w", *info, request);
    if (bits < 0) {
        plugIn->Close();
        DeleteImageHandle(handle);
        return bits;
    }
    p->lConvert = bits;
    if (bits != 0) {
        const CUImageInfo callerSide = LogicalLayoutOf(*info);
        CUImageInfo callerSide2;
        if (info2 != nullptr) {
            callerSide2 = *info2;
        } else {
            callerSide2.lColorDepth = 0;
        }
        bool created = CreateLogicalBuffer(p, &callerSide, &callerSide2) == 1;
        p->status.info = *info;
        p->status.info2 = callerSide2;

        const CUImageInfo& fileSide = request.info;
        CUImageInfo fileSide2 = callerSide2;
        if (info2 != nullptr) fileSide2.lColorDepth = request.info.lColorDepth == 24 ? 8 : 16;
        created = created && CreateConvertBuffer(p, &fileSide, &fileSide2) == 1;
        if (!created) {
            p->DeleteBuffer();
            plugIn->Close();
            DeleteImageHandle(handle);
            return kVxErrLineBuffer;
        }
    }
    p->lLine = 0;
    return handle;
}

int32_t CVandrel::ConvertImage(CParam* p, const void* line, const void* line2) {
    unsigned char* src = p->bufRead.pBuffer;
    unsigned char* src2 = p->bufRead2.pBuffer;
    unsigned char* dst = p->bufConv.pBuffer;
    unsigned char* dst2 = p->bufConv2.pBuffer;
    const bool second = line2 != nullptr && src2 != nullptr;
    if (p->lConvert & kVxConvNativeToLogical) {
        ConvertNativeToLogical(src, static_cast<const unsigned char*>(line), p->status.info);
        p->bufRead.info.bNative = 0;
        if (second) {
            std::memcpy(src2, line2, CopiedBytes(p->status.info2));
            p->bufRead2.info.bNative = 0;
        }
    } else {
        std::memcpy(src, line, CopiedBytes(p->status.info));
        if (second) std::memcpy(src2, line2, CopiedBytes(p->status.info2));
    }

    // The second plane follows the main one only when both of its buffers exist.
    const bool plane2 = src2 != nullptr && dst2 != nullptr;
    const int32_t w = p->bufRead.info.lWidth;
    const int32_t w2 = p->bufRead2.info.lWidth;
    const int32_t n = p->lLine;
    auto* dst16 = reinterpret_cast<unsigned short*>(dst);
    auto* dst2x16 = reinterpret_cast<unsigned short*>(dst2);
    auto* src16 = reinterpret_cast<const unsigned short*>(src);
    auto* src2x16 = reinterpret_cast<const unsigned short*>(src2);
    switch (p->lConvert & ~kVxConvNativeToLogical) {
        case kVxConvWiden:
            Convert8To16(src, dst16, w * 3);
            if (plane2) Convert8To16(src2, dst2x16, w2);
            return 1;
        case kVxConvNarrow:
            Convert16To8(src16, dst, w, 3, n);
            if (plane2) Convert16To8(src2x16, dst2, w2, 1, n);
            return 1;
        case kVxConvRgbToYcc:
            ConvertRgbToYcc(src, src, p->bufRead.info);
            return 0;
        case kVxConvYccToRgb:
            ConvertYccToRgb(src, src, p->bufRead.info);
            return 0;
        case kVxConvRgbToYcc | kVxConvWiden:
            ConvertRgb8ToYcc16(src, dst16, w);
            if (plane2) Convert8To16(src2, dst2x16, w2);
            return 1;
        case kVxConvRgbToYcc | kVxConvNarrow:
            ConvertRgb16ToYcc8(src16, dst, w, n);
            if (plane2) Convert16To8(src2x16, dst2, w2, 1, n);
            return 1;
        case kVxConvYccToRgb | kVxConvWiden:
            ConvertYcc8ToRgb16(src, dst16, w);
            if (plane2) Convert8To16(src2, dst2x16, w2);
            return 1;
        case kVxConvYccToRgb | kVxConvNarrow:
            ConvertYcc16ToRgb8(src16, dst, w, n);
            if (plane2) Convert16To8(src2x16, dst2, w2, 1, n);
            return 1;
        default:
            return 0;
    }
}

int32_t CVandrel::WriteLine(int32_t handle, const void* line, const void* line2) {
    CParam* p = nullptr;
    if (GetParameter(&p, handle) != 1) return kVxErrBadHandle;
    const void* out = line;
    const void* out2 = line2;
    if (p->lConvert != 0) {
        if (line == nullptr) return kVxErrInvalidArgument;
        const bool converted = ConvertImage(p, line, line2) != 0;
        out = converted ? p->bufConv.pBuffer : p->bufRead.pBuffer;
        const unsigned char* second = converted ? p->bufConv2.pBuffer : p->bufRead2.pBuffer;
        out2 = line2 != nullptr ? second : nullptr;
    }
    const int32_t result = p->pPlugIn->WriteLine(out, out2);
    if (result < 0) return result;
    ++p->lLine;
    return kVxOk;
}

int32_t CVandrel::EndWriteLine(int32_t handle) {
    return EndLines(handle);
}
