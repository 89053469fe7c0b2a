// vandrel.resize and vandrel.rotate: arrays through the library's resize and rotation objects,
// the engines the macro pipelines run. An alpha plane goes through its own engine with the same
// request, as the macro's engine pairs do, so the bytes are those of the C++ pipelines.
#ifndef VANDREL_PYTHON_GEOMETRY_H
#define VANDREL_PYTHON_GEOMETRY_H

#include <cstdint>
#include <string>

#include <pybind11/numpy.h>

namespace vxpy {

// width or height 0 follows the other side and the aspect ratio, as the tool's --width does.
pybind11::array ResizeArray(const pybind11::array& array, int32_t width, int32_t height,
                            const std::string& method);

// background: 0x00BBGGRR, as a request carries it.
pybind11::array RotateArray(const pybind11::array& array, double degrees, const std::string& method,
                            int32_t background);

}  // namespace vxpy

#endif
