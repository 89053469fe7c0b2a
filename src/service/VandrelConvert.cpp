// The public line converters of the service. They are virtual so that a derived service can
// replace one; the arithmetic itself is stateless and lives in CPixelConvert.
#include "service/PixelConvert.h"
#include "service/Vandrel.h"

int32_t CVandrel::ConvertYccToRgb(void* dst, void* src, const CUImageInfo& info) {
    return CPixelConvert::ConvertYccToRgb(dst, src, info);
}

int32_t CVandrel::ConvertRgbToYcc(void* dst, void* src, const CUImageInfo& info) {
    return CPixelConvert::ConvertRgbToYcc(dst, src, info);
}

int32_t CVandrel::ConvertNativeToLogical(void* dst, const unsigned char* src,
                                         const CUImageInfo& info) {
    return CPixelConvert::ConvertNativeToLogical(dst, src, info);
}

int32_t CVandrel::ConvertLogicalToNative(unsigned char* dst, const void* src,
                                         const CUImageInfo& info, int32_t line) {
    return CPixelConvert::ConvertLogicalToNative(dst, src, info, line);
}

int32_t CVandrel::Convert8To16(const unsigned char* src, unsigned short* dst, int32_t count) {
    return CPixelConvert::Convert8To16(src, dst, count);
}

int32_t CVandrel::Convert16To8(const unsigned short* src, unsigned char* dst, int32_t count,
                               int32_t channels, int32_t line) {
    return CPixelConvert::Convert16To8(src, dst, count, channels, line);
}

int32_t CVandrel::ConvertRgb8ToYcc16(const unsigned char* src, unsigned short* dst, int32_t count) {
    return CPixelConvert::ConvertRgb8ToYcc16(src, dst, count);
}

int32_t CVandrel::ConvertRgb16ToYcc8(const unsigned short* src, unsigned char* dst, int32_t count,
                                     int32_t line) {
    return CPixelConvert::ConvertRgb16ToYcc8(src, dst, count, line);
}

int32_t CVandrel::ConvertYcc8ToRgb16(const unsigned char* src, unsigned short* dst, int32_t count) {
    return CPixelConvert::ConvertYcc8ToRgb16(src, dst, count);
}

int32_t CVandrel::ConvertYcc16ToRgb8(const unsigned short* src, unsigned char* dst, int32_t count,
                                     int32_t line) {
    return CPixelConvert::ConvertYcc16ToRgb8(src, dst, count, line);
}
