// vandrel.formats, vandrel.info, vandrel.tags and vandrel.thumbnail: the tool's own reports and
// per-file convert job, so the module answers and converts exactly as `vandrel formats --json`,
// `vandrel info --json`, `vandrel tags --json` and `vandrel convert` do.
#ifndef VANDREL_PYTHON_FILEREPORTS_H
#define VANDREL_PYTHON_FILEREPORTS_H

#include <cstdint>
#include <string>
#include <vector>

#include <pybind11/pybind11.h>

#include "ConvertOptions.h"

namespace vxpy {

// The array of `vandrel formats --json`: name, read, write, extensions, version.
pybind11::list Formats();

// The object of `vandrel info FILE --json`, as a dict.
pybind11::dict FileInfo(const std::string& path);

// The object of `vandrel tags FILE TAG... --json`; tags are numbers or texts ("0x9003"),
// none = the tool's default set.
pybind11::dict FileTags(const std::string& path, const pybind11::list& tags);

// Runs the convert job for one file; answers 1 or the warning of a conversion that went
// through (also issued as a RuntimeWarning). Throws CFailure naming the file and the reason
// the tool would print.
int32_t Thumbnail(const vxtool::CConvertOptions& options);

}  // namespace vxpy

#endif
