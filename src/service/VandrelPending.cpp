// Operations whose bodies arrive with the status, line and conversion work. Until then each
// refuses its arguments.
#include "service/Vandrel.h"

int32_t CVandrel::GetFileInfo(const char*, CUFileInfo*) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::GetFileStatus(const char*, CUImageFileStatus*) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::GetFileStatus(int32_t, CUImageFileStatus*) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::GetCameraInfo(const char*, CUCameraInfo*) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::GetCameraInfo(int32_t, CUCameraInfo*) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::BeginReadLine(int32_t, const CURequest&, CUImageInfo*, CUImageInfo*) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::ReadLine(int32_t, void**, void**) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::ReadLine(int32_t, void*, void*) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::EndReadLine(int32_t) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::SeekLine(int32_t, int32_t, int) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::BeginWriteLine(const char*, const CURequest&, const CUImageInfo*,
                                 const CUImageInfo*) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::WriteLine(int32_t, const void*, const void*) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::EndWriteLine(int32_t) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::ConvertYccToRgb(void*, void*, const CUImageInfo&) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::ConvertRgbToYcc(void*, void*, const CUImageInfo&) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::ConvertNativeToLogical(void*, const unsigned char*, const CUImageInfo&) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::ConvertLogicalToNative(unsigned char*, const void*, const CUImageInfo&, int32_t) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::Convert8To16(const unsigned char*, unsigned short*, int32_t) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::Convert16To8(const unsigned short*, unsigned char*, int32_t, int32_t, int32_t) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::ConvertRgb8ToYcc16(const unsigned char*, unsigned short*, int32_t) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::ConvertRgb16ToYcc8(const unsigned short*, unsigned char*, int32_t, int32_t) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::ConvertYcc8ToRgb16(const unsigned char*, unsigned short*, int32_t) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}

int32_t CVandrel::ConvertYcc16ToRgb8(const unsigned short*, unsigned char*, int32_t, int32_t) {
    return kVxErrInvalidArgument;  // filled in by the line/status work
}
