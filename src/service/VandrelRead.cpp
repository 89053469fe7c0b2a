// Line reading: the plug-in delivers each line in the file's layout into the handle's
// plug-in-side buffers; the service converts it once per line into the layout the caller asked
// for when the read began.
#include <algorithm>
#include <cstdint>

#include "service/PixelConvert.h"
#include "service/Vandrel.h"

namespace {

// The widest pixel any converter reads or writes: three 16-bit samples, or a native pixel.
constexpr int32_t kWidestPixelBits = 64;

// Bytes to allocate for a line of this layout and for lines of up to floorWidth pixels. A
// layout is trusted for the pixels it describes but never for memory: a line always has room
// for the widest pixel any conversion touches, so an odd depth or a short row length reported
// by a plug-in or a caller cannot make a converter run past its buffer. 0 when too large.
int32_t LineBytesToAllocate(const CUImageInfo& layout, int32_t floorWidth) {
    const int64_t width = std::max<int64_t>(std::max(layout.lWidth, floorWidth), 0);
    const int64_t bits = std::max<int64_t>(layout.lColorDepth, kWidestPixelBits);
    const int64_t bytes = std::max<int64_t>(((width * bits + 31) >> 5) * 4, layout.RowBytes());
    return bytes > INT32_MAX ? 0 : int32_t(bytes);
}

// 32-bit native pixels, four bytes each, computed wide: a width no buffer could hold gives a
// length LineBytesToAllocate refuses instead of an overflow.
int32_t NativeRowBytes(int32_t width) {
    return int32_t(std::min<int64_t>(int64_t(width) * 4, INT32_MAX));
}

// Takes the layout (its row length computed when not given) and storage for it.
bool CreateLine(CImageLineBuf* buf, const CUImageInfo& layout, int32_t floorWidth) {
    buf->info = layout;
    if (buf->info.lRowBytes < 1) buf->info.lRowBytes = buf->info.RowBytes();
    return buf->Create(LineBytesToAllocate(layout, floorWidth)) == 1;
}

bool HasSecondPlane(const CUImageInfo* info2) {
    return info2 != nullptr && info2->lColorDepth != 0;
}

}  // namespace

int32_t CVandrel::AnalyzeRequest(const char* mode, const CUImageInfo& file,
                                 const CURequest& request) {
    const bool reading = mode != nullptr && mode[0] == 'r';
    const CUImageInfo& wanted = request.info;
    if (wanted.bNative == 1) {
        // Native lines are 32-bit RGB and only ever come out of a read.
        if (!reading || wanted.lColorDepth != 32 || wanted.IsColorSpace("YCC"))
            return kVxErrInvalidArgument;
    } else {
        // Logical lines are colour lines of three samples; the converters know 24 and 48.
        switch (wanted.lColorDepth) {
            case 8:
            case 16:
            case 32:
            case 64:
                return kVxErrInvalidArgument;
            default:
                break;
        }
    }

    int32_t bits = 0;
    if (file.bNative == 0 && wanted.bNative == 1) bits |= kVxConvLogicalToNative;
    if (file.bNative == 1 && wanted.bNative == 0) bits |= kVxConvNativeToLogical;
    if (file.lColorDepth < wanted.lColorDepth && (bits & kVxConvLogicalToNative) == 0)
        bits |= kVxConvWiden;
    if (file.lColorDepth > wanted.lColorDepth && (bits & kVxConvNativeToLogical) == 0)
        bits |= kVxConvNarrow;
    if (file.IsColorSpace("RGB") && wanted.IsColorSpace("YCC")) bits |= kVxConvRgbToYcc;
    if (file.IsColorSpace("YCC") && wanted.IsColorSpace("RGB")) bits |= kVxConvYccToRgb;
    return bits;
}

void CVandrel::ConvertImageInfo(int32_t bits, CUImageInfo* info, CUImageInfo* info2) {
    const bool second = HasSecondPlane(info2);
    if (bits & kVxConvLogicalToNative) {
        info->lColorDepth = 32;
        info->bNative = 1;
        info->lRowBytes = NativeRowBytes(info->lWidth);
        if (second) info2->bNative = 1;
    }
    if (bits & kVxConvNarrow) {
        if (bits & kVxConvLogicalToNative) {
            info->lColorDepth = 32;
            info->lRowBytes = NativeRowBytes(info->lWidth);
        } else {
            info->lColorDepth = 24;
            info->lRowBytes = VxPaddedRowBytes(info->lWidth, 24);
        }
        if (second) {
            info2->lColorDepth = 8;
            info2->lRowBytes = info2->lWidth;
        }
    }
    if (bits & kVxConvWiden) {
        info->lColorDepth = 48;
        info->lRowBytes = VxPaddedRowBytes(info->lWidth, 48);
        if (second) {
            info2->lColorDepth = 16;
            info2->lRowBytes = int32_t(std::min<int64_t>(int64_t(info2->lWidth) * 2, INT32_MAX));
        }
    }
    const char* space = (bits & kVxConvRgbToYcc)   ? "YCC"
                        : (bits & kVxConvYccToRgb) ? "RGB"
                                                   : nullptr;
    if (space != nullptr) {
        info->strColorSpace = space;
        if (second) info2->strColorSpace = space;
    }
}

int32_t CVandrel::CreateLogicalBuffer(CParam* p, const CUImageInfo* info,
                                      const CUImageInfo* info2) {
    if (!CreateLine(&p->bufRead, *info, 0)) return kVxNo;
    if (!HasSecondPlane(info2)) return kVxOk;
    if (!CreateLine(&p->bufRead2, *info2, 0)) {
        p->bufRead.Release();
        return kVxNo;
    }
    return kVxOk;
}

int32_t CVandrel::CreateConvertBuffer(CParam* p, const CUImageInfo* info,
                                      const CUImageInfo* info2) {
    // The converters walk the plug-in-side width, which a writer's request need not repeat.
    if (!CreateLine(&p->bufConv, *info, p->bufRead.info.lWidth)) return kVxNo;
    if (!HasSecondPlane(info2)) return kVxOk;
    if (!CreateLine(&p->bufConv2, *info2, p->bufRead2.info.lWidth)) {
        p->bufConv.Release();
        return kVxNo;
    }
    return kVxOk;
}

int32_t CVandrel::ConvertImage(CParam* p) {
    if ((p->lConvert & kVxConvLogicalToNative) == 0) return CPixelConvert::ConvertDepthAndSpace(p);
    ConvertLogicalToNative(p->bufConv.pBuffer, p->bufRead.pBuffer, p->bufRead.info, p->lLine);
    if (p->bufRead2.pBuffer != nullptr && p->bufConv2.pBuffer != nullptr)
        ConvertLogicalToNative(p->bufConv2.pBuffer, p->bufRead2.pBuffer, p->bufRead2.info,
                               p->lLine);
    return kVxOk;
}

int32_t CVandrel::BeginReadLine(int32_t handle, const CURequest& request, CUImageInfo* info,
                                CUImageInfo* info2) {
    CParam* p = nullptr;
    if (GetParameter(&p, handle, request) != 1) return kVxErrBadHandle;
    CUImageFileStatus status;
    int32_t result = GetFileStatus(handle, &status);
    if (result < 0) return result;
    if (p->request.bSubImage == 1 && (status.info3.lHeight < 1 || status.info3.lWidth < 1))
        p->request.bSubImage = 0;

    // The handle keeps its own message procedure; the decoder reports its progress to the one
    // that came with this read, so a pipeline that put itself there hears the decoder.
    CURequest forDecoder(p->request);
    forDecoder.pMessageProc = request.pMessageProc;
    IPlugIn* plugIn = p->pPlugIn;
    result = plugIn->SetRequest(forDecoder, CUImageFileStatus(status));
    if (result < 0) return result;
    const int32_t opened = plugIn->Open("r");
    if (VxIsFailure(opened)) return opened;

    CUImageInfo scratch, scratch2;
    if (info == nullptr) info = &scratch;
    if (info2 == nullptr) info2 = &scratch2;
    if (p->request.bSubImage == 1) {
        *info = status.info3;
        *info2 = CUImageInfo();
        info2->lColorDepth = 0;
    } else {
        *info = status.info;
        *info2 = status.info2;
    }

    const int32_t bits = AnalyzeRequest("r", *info, p->request);
    if (bits < 0) {
        plugIn->Close();
        return bits;
    }
    p->lConvert = bits;
    if (CreateLogicalBuffer(p, info, info2) != 1) {
        plugIn->Close();
        return kVxErrLineBuffer;
    }
    if (bits != 0) {
        ConvertImageInfo(bits, info, info2);
        if (CreateConvertBuffer(p, info, info2) != 1) {
            p->DeleteBuffer();
            plugIn->Close();
            return kVxErrLineBuffer;
        }
    }
    p->lLine = 0;
    return opened;
}

int32_t CVandrel::ReadLine(int32_t handle, void** line, void** line2) {
    CParam* p = nullptr;
    if (GetParameter(&p, handle) != 1) return kVxErrBadHandle;
    if (line == nullptr) return kVxErrInvalidArgument;
    const int32_t result = p->pPlugIn->ReadLine(p->bufRead.pBuffer, p->bufRead2.pBuffer);
    if (VxIsFailure(result)) return result;

    if (p->lConvert != 0 && ConvertImage(p) != 0) {
        *line = p->bufConv.pBuffer;
        if (line2 != nullptr && p->bufConv2.pBuffer != nullptr) *line2 = p->bufConv2.pBuffer;
    } else {
        *line = p->bufRead.pBuffer;
        // After a conversion that left the line where it was, the second plane is handed out
        // only when a converted one exists; kept so.
        const unsigned char* gate = p->lConvert != 0 ? p->bufConv2.pBuffer : p->bufRead2.pBuffer;
        if (line2 != nullptr && gate != nullptr) *line2 = p->bufRead2.pBuffer;
    }
    ++p->lLine;
    return result;
}

int32_t CVandrel::ReadLine(int32_t handle, void* line, void* line2) {
    CParam* p = nullptr;
    if (GetParameter(&p, handle) != 1) return kVxErrBadHandle;
    if (line == nullptr) return kVxErrInvalidArgument;
    auto* out = static_cast<unsigned char*>(line);
    auto* out2 = static_cast<unsigned char*>(line2);
    int32_t result;

    if (p->lConvert == 0) {
        result = p->pPlugIn->ReadLine(line, line2);
        if (VxIsFailure(result)) return result;
    } else if ((p->lConvert & (kVxConvLogicalToNative | kVxConvWiden | kVxConvNarrow)) == 0) {
        // Same depth and layout: the plug-in reads into the caller's line and the colour
        // conversion runs there.
        unsigned char* main = p->bufRead.pBuffer;
        // The second plug-in-side pointer ends up on the main storage below; its own storage
        // goes now, so that nothing is freed twice or lost.
        p->bufRead2.Release();
        p->bufRead.pBuffer = out;
        p->bufRead2.pBuffer = out2;
        result = p->pPlugIn->ReadLine(out, out2);
        if (VxIsFailure(result)) {
            // The plug-in-side pointers stay on the caller's lines; the handle's own storage
            // is given up so that ending the read never frees the caller's memory.
            if (p->bufRead.bAlloc == 1) delete[] main;
            p->bufRead.bAlloc = 0;
            return result;
        }
        ConvertImage(p);
        // Both plug-in-side pointers go back to the main storage, the second one included.
        p->bufRead.pBuffer = main;
        p->bufRead2.pBuffer = main;
    } else {
        result = p->pPlugIn->ReadLine(p->bufRead.pBuffer, p->bufRead2.pBuffer);
        if (VxIsFailure(result)) return result;
        unsigned char* conv = p->bufConv.pBuffer;
        unsigned char* conv2 = p->bufConv2.pBuffer;
        p->bufConv.pBuffer = out;
        p->bufConv2.pBuffer = out2;
        ConvertImage(p);
        p->bufConv.pBuffer = conv;
        p->bufConv2.pBuffer = conv2;
    }
    ++p->lLine;
    return result;
}

int32_t CVandrel::EndReadLine(int32_t handle) {
    return EndLines(handle);
}

int32_t CVandrel::EndLines(int32_t handle) {
    CParam* p = nullptr;
    if (GetParameter(&p, handle) != 1) return kVxErrBadHandle;
    p->DeleteBuffer();
    const int32_t result = p->pPlugIn->Close();
    return result < 0 ? result : kVxOk;
}

int32_t CVandrel::SeekLine(int32_t handle, int32_t line, int origin) {
    IPlugIn* instance = GetPluginObj(handle);
    if (instance == nullptr) return kVxErrBadHandle;
    const int32_t result = instance->SeekLine(line, origin);
    return result < 0 ? result : kVxOk;
}
