// The line converters of the image-file service: YCC <-> RGB, 8 <-> 16 bits per sample, and
// the packed "logical" layout <-> the host's 32-bit "native" layout (bytes 0, R, G, B).
//
// All arithmetic is integer fixed point with a scale of 1024; every reduction from 16 to 8 bits
// adds an entry of one 3 x 4 ordered dither table chosen by line (row) and pixel (column).
// The operations are pure functions of their arguments and keep no state, so the service simply
// forwards its public conversion slots here. Results are byte-for-byte the same whichever kernel
// (portable or vectorised) runs.
//
// Argument order follows the service's interface: the space and native converters take the
// destination first; the depth converters and the per-pixel templates take the source first.
// Only ConvertNativeToLogical refuses a null line (kVxErrMissingBuffer); every other converter
// takes it as nothing to do. Depths a converter does not handle answer kVxErrUnsupportedDepth.
#ifndef VANDREL_SERVICE_PIXELCONVERT_H
#define VANDREL_SERVICE_PIXELCONVERT_H

#include <cstdint>

#include "vandrel/Records.h"

class CPixelConvert {
public:
    // The dither added before a 16-bit sample is shifted down to 8 bits:
    // kDither[line % 3][pixel & 3]. One entry serves all samples of a pixel.
    static const int32_t kDither[3][4];
    static int32_t DitherFor(int32_t line, int32_t pixel) {
        return kDither[DitherRowIndex(line)][pixel & 3];
    }
    // The public converters take any line number; a negative one continues the pattern
    // upwards (line -1 uses row 2) instead of reading before the table.
    static int32_t DitherRowIndex(int32_t line) { return int32_t(((int64_t(line) % 3) + 3) % 3); }

    // --- Operations the service exposes unchanged (1 = success or an error code). ---

    // YCC line to RGB line of the same depth (24 or 48 bits); dst may equal src. Answers 1 and
    // leaves the line alone when it already is "RGB" or is in native layout.
    static int32_t ConvertYccToRgb(void* dst, void* src, const CUImageInfo& info);
    // RGB line to YCC line; the mirror image of ConvertYccToRgb.
    static int32_t ConvertRgbToYcc(void* dst, void* src, const CUImageInfo& info);
    // Native 32-bit line (info.lColorDepth 32) to packed 24-bit RGB.
    static int32_t ConvertNativeToLogical(void* dst, const unsigned char* src,
                                          const CUImageInfo& info);
    // Logical line to native layout. Grey lines (8, 16 bits) stay one byte per pixel.
    // Missing buffers mean there is nothing to do.
    static int32_t ConvertLogicalToNative(unsigned char* dst, const void* src,
                                          const CUImageInfo& info, int32_t line);
    // count samples; each v becomes v << 8, so 255 becomes 65280 (not 65535).
    static int32_t Convert8To16(const unsigned char* src, unsigned short* dst, int32_t count);
    // count pixels of channels samples each, reduced with the pixel's dither entry.
    static int32_t Convert16To8(const unsigned short* src, unsigned char* dst, int32_t count,
                                int32_t channels, int32_t line);
    static int32_t ConvertRgb8ToYcc16(const unsigned char* src, unsigned short* dst, int32_t count);
    static int32_t ConvertRgb16ToYcc8(const unsigned short* src, unsigned char* dst, int32_t count,
                                      int32_t line);
    static int32_t ConvertYcc8ToRgb16(const unsigned char* src, unsigned short* dst, int32_t count);
    static int32_t ConvertYcc16ToRgb8(const unsigned short* src, unsigned char* dst, int32_t count,
                                      int32_t line);

    // --- Helpers of the service. ---

    // count pixels, T = unsigned char or unsigned short; src may equal dst.
    template <typename T>
    static void ConvertYccToRgb(T* src, T* dst, int32_t count);
    template <typename T>
    static void ConvertRgbToYcc(T* src, T* dst, int32_t count);

    static void ConvertRgbToNative(unsigned char* dst, const unsigned char* src, int32_t count);
    static void ConvertRgbToNative(unsigned char* dst, const unsigned short* src, int32_t count,
                                   int32_t line);
    static void ConvertYccToNative(unsigned char* dst, const unsigned char* src, int32_t count);
    static void ConvertYccToNative(unsigned char* dst, const unsigned short* src, int32_t count,
                                   int32_t line);

    // Converts the handle's current line from bufRead into bufConv (and bufRead2 into bufConv2
    // when both exist) as lConvert says; the native bit (2) is not this step's business.
    // Depth changes answer 1. A colour change alone converts bufRead in place and answers 0, so
    // the caller hands out bufRead. Any other code answers 0 and converts nothing.
    static int32_t ConvertDepthAndSpace(const CParam* param);

    // Chooses between the vectorised kernels (when the processor has them) and the portable
    // ones; answers the previous choice. Both produce the same bytes; tests run each.
    static bool EnableVectorKernels(bool enable);
    static bool VectorKernelsAvailable();
};

template <>
void CPixelConvert::ConvertYccToRgb<unsigned char>(unsigned char*, unsigned char*, int32_t);
template <>
void CPixelConvert::ConvertYccToRgb<unsigned short>(unsigned short*, unsigned short*, int32_t);
template <>
void CPixelConvert::ConvertRgbToYcc<unsigned char>(unsigned char*, unsigned char*, int32_t);
template <>
void CPixelConvert::ConvertRgbToYcc<unsigned short>(unsigned short*, unsigned short*, int32_t);

#endif
