// vandrel.write: a numpy array encoded by the writer the tool would pick, with the tool's
// options, through the service's line writing. The file appears only when complete.
#ifndef VANDREL_PYTHON_IMAGEWRITE_H
#define VANDREL_PYTHON_IMAGEWRITE_H

#include <cstdint>
#include <string>

#include <pybind11/numpy.h>

#include "ConvertOptions.h"

namespace vxpy {

struct CWriteOptions {
    std::string format;                // empty = from the path's extension
    vxtool::CConvertOptions settings;  // quality and the writer settings, as the tool takes them
    int32_t depth = 0;                 // 24 or 48 for colour arrays; 0 = the array's own
    std::string colorSpace;            // "RGB" or "YCC"; empty = RGB
};

// Throws TypeError/ValueError for an unfit array or option, CFailure for the library's refusals.
void WriteImage(const std::string& path, const pybind11::array& array,
                const CWriteOptions& options);

}  // namespace vxpy

#endif
