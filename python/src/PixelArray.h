// numpy arrays as the library's images: H x W grey, H x W x 3 RGB or H x W x 4 RGBA, with
// uint8 or uint16 samples, C-contiguous. Anything else is refused with TypeError or ValueError
// before a library call sees it.
#ifndef VANDREL_PYTHON_PIXELARRAY_H
#define VANDREL_PYTHON_PIXELARRAY_H

#include <cstdint>
#include <vector>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include "vandrel/Records.h"

namespace vxpy {

struct CPixelShape {
    int32_t width = 0;
    int32_t height = 0;
    int32_t channels = 0;     // 1, 3 or 4
    int32_t sampleBytes = 0;  // 1 or 2

    int64_t RowBytes() const { return int64_t(width) * channels * sampleBytes; }
    // The colour (or grey) plane without alpha, lines unpadded.
    CUImageInfo ColorInfo() const;
    // The alpha plane alone, lines unpadded.
    CUImageInfo AlphaInfo() const;
    bool HasAlpha() const { return channels == 4; }
};

// The shape of an array the module may read; throws TypeError / ValueError otherwise.
// `what` names the argument in the message.
CPixelShape InspectArray(const pybind11::array& array, const char* what);

// A new, uninitialised array of this shape (2-D for one channel). Needs the GIL.
pybind11::array MakeArray(const CPixelShape& shape);

// Interleaved pixels <-> separate colour and alpha lines (one line of `width` pixels).
void SplitAlpha(const unsigned char* rgba, int32_t width, int32_t sampleBytes, unsigned char* rgb,
                unsigned char* alpha);
void MergeAlpha(const unsigned char* rgb, const unsigned char* alpha, int32_t width,
                int32_t sampleBytes, unsigned char* rgba);

// The colour and alpha planes of an RGBA image, each line after line without padding.
struct CPlanes {
    std::vector<unsigned char> color;
    std::vector<unsigned char> alpha;
};
CPlanes SplitPlanes(const unsigned char* rgba, const CPixelShape& shape);
void MergePlanes(const CPlanes& planes, const CPixelShape& shape, unsigned char* rgba);

}  // namespace vxpy

#endif
