// vandrel.read: an image file decoded whole into a numpy array through the service's line
// reading, at the file's own sample depth.
#ifndef VANDREL_PYTHON_IMAGEREAD_H
#define VANDREL_PYTHON_IMAGEREAD_H

#include <string>

#include <pybind11/numpy.h>

namespace vxpy {

// H x W x 3, H x W x 4 when the file has an alpha plane, H x W for a file stored as grey
// without alpha; uint16 for 16-bit files, uint8 otherwise. Throws CFailure.
pybind11::array ReadImage(const std::string& path);

}  // namespace vxpy

#endif
