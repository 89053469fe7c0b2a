#include "PixelArray.h"

#include <cstring>
#include <limits>

namespace py = pybind11;

namespace vxpy {
namespace {

bool IsNativeUnsigned(const py::dtype& type, int32_t* sampleBytes) {
    if (type.kind() != 'u' || (type.itemsize() != 1 && type.itemsize() != 2)) return false;
    // '|' for bytes, '=' or the host's own mark for native words; a swapped order is refused.
    const char order = type.attr("byteorder").cast<std::string>()[0];
    const char native = py::dtype::of<uint16_t>().attr("byteorder").cast<std::string>()[0];
    if (order != '|' && order != '=' && order != native) return false;
    *sampleBytes = int32_t(type.itemsize());
    return true;
}

template <typename Sample>
void Split(const Sample* rgba, int32_t width, Sample* rgb, Sample* alpha) {
    for (int32_t x = 0; x < width; ++x) {
        rgb[3 * x] = rgba[4 * x];
        rgb[3 * x + 1] = rgba[4 * x + 1];
        rgb[3 * x + 2] = rgba[4 * x + 2];
        alpha[x] = rgba[4 * x + 3];
    }
}

template <typename Sample>
void Merge(const Sample* rgb, const Sample* alpha, int32_t width, Sample* rgba) {
    for (int32_t x = 0; x < width; ++x) {
        rgba[4 * x] = rgb[3 * x];
        rgba[4 * x + 1] = rgb[3 * x + 1];
        rgba[4 * x + 2] = rgb[3 * x + 2];
        rgba[4 * x + 3] = alpha[x];
    }
}

}  // namespace

CUImageInfo CPixelShape::ColorInfo() const {
    CUImageInfo info;
    info.lWidth = width;
    info.lHeight = height;
    const int32_t colorChannels = channels == 1 ? 1 : 3;
    info.lColorDepth = 8 * sampleBytes * colorChannels;
    info.lRowBytes = width * sampleBytes * colorChannels;
    return info;
}

CUImageInfo CPixelShape::AlphaInfo() const {
    CUImageInfo info;
    info.lWidth = width;
    info.lHeight = height;
    info.lColorDepth = 8 * sampleBytes;
    info.lRowBytes = width * sampleBytes;
    return info;
}

CPixelShape InspectArray(const py::array& array, const char* what) {
    CPixelShape shape;
    if (!IsNativeUnsigned(array.dtype(), &shape.sampleBytes)) {
        throw py::type_error(std::string(what) +
                             ": expected uint8 or uint16 samples in the "
                             "machine's byte order, got " +
                             py::str(array.dtype()).cast<std::string>());
    }
    const py::ssize_t dims = array.ndim();
    const bool grey = dims == 2;
    if (!grey && !(dims == 3 && (array.shape(2) == 3 || array.shape(2) == 4))) {
        throw py::value_error(std::string(what) +
                              ": expected H x W (grey), H x W x 3 (RGB) or H x W x 4 (RGBA)");
    }
    if (!(array.flags() & py::array::c_style))
        throw py::value_error(std::string(what) +
                              ": the array must be C-contiguous (numpy.ascontiguousarray)");
    const py::ssize_t height = array.shape(0), width = array.shape(1);
    shape.channels = grey ? 1 : int32_t(array.shape(2));
    // A line must stay below 2 GB in every layout the library uses for it (padded, 16-bit).
    const py::ssize_t limit = std::numeric_limits<int32_t>::max() / 16;
    if (width < 1 || height < 1 || width > limit || height > limit)
        throw py::value_error(std::string(what) + ": sides must be 1 to " + std::to_string(limit) +
                              " pixels");
    shape.width = int32_t(width);
    shape.height = int32_t(height);
    return shape;
}

py::array MakeArray(const CPixelShape& shape) {
    std::vector<py::ssize_t> dims{shape.height, shape.width};
    if (shape.channels > 1) dims.push_back(shape.channels);
    if (shape.sampleBytes == 2) return py::array_t<uint16_t>(dims);
    return py::array_t<uint8_t>(dims);
}

void SplitAlpha(const unsigned char* rgba, int32_t width, int32_t sampleBytes, unsigned char* rgb,
                unsigned char* alpha) {
    if (sampleBytes == 2) {
        Split(reinterpret_cast<const uint16_t*>(rgba), width, reinterpret_cast<uint16_t*>(rgb),
              reinterpret_cast<uint16_t*>(alpha));
    } else {
        Split(rgba, width, rgb, alpha);
    }
}

void MergeAlpha(const unsigned char* rgb, const unsigned char* alpha, int32_t width,
                int32_t sampleBytes, unsigned char* rgba) {
    if (sampleBytes == 2) {
        Merge(reinterpret_cast<const uint16_t*>(rgb), reinterpret_cast<const uint16_t*>(alpha),
              width, reinterpret_cast<uint16_t*>(rgba));
    } else {
        Merge(rgb, alpha, width, rgba);
    }
}

CPlanes SplitPlanes(const unsigned char* rgba, const CPixelShape& shape) {
    const size_t colorRow = size_t(shape.width) * 3 * size_t(shape.sampleBytes);
    const size_t alphaRow = size_t(shape.width) * size_t(shape.sampleBytes);
    CPlanes planes;
    planes.color.resize(colorRow * size_t(shape.height));
    planes.alpha.resize(alphaRow * size_t(shape.height));
    for (size_t y = 0; y < size_t(shape.height); ++y) {
        SplitAlpha(rgba + y * size_t(shape.RowBytes()), shape.width, shape.sampleBytes,
                   planes.color.data() + y * colorRow, planes.alpha.data() + y * alphaRow);
    }
    return planes;
}

void MergePlanes(const CPlanes& planes, const CPixelShape& shape, unsigned char* rgba) {
    const size_t colorRow = size_t(shape.width) * 3 * size_t(shape.sampleBytes);
    const size_t alphaRow = size_t(shape.width) * size_t(shape.sampleBytes);
    for (size_t y = 0; y < size_t(shape.height); ++y) {
        MergeAlpha(planes.color.data() + y * colorRow, planes.alpha.data() + y * alphaRow,
                   shape.width, shape.sampleBytes, rgba + y * size_t(shape.RowBytes()));
    }
}

}  // namespace vxpy
