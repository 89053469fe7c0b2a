// Failures of the module's operations: a status code with the file it concerns and, where the
// code alone does not explain it, a few words. They cross into Python as vandrel.Error.
#ifndef VANDREL_PYTHON_FAILURE_H
#define VANDREL_PYTHON_FAILURE_H

#include <cstdint>
#include <string>

#include <pybind11/pybind11.h>

namespace vxpy {

struct CFailure {
    int32_t code;
    std::string file;
    std::string detail;

    // "FILE: detail: words (0x...)", the line the tool prints without its "vandrel: ".
    std::string Message() const;
};

// Throws CFailure when code is a failure; answers code otherwise (1 or a warning).
int32_t Check(int32_t code, const std::string& file, const std::string& detail = "");

// Makes vandrel.Error (a RuntimeError with the attributes code and file) and translates every
// CFailure into it.
void RegisterFailures(pybind11::module_& module);

// Issues a RuntimeWarning for a warning code; nothing for success. Needs the GIL.
void WarnAbout(int32_t code, const std::string& file);

}  // namespace vxpy

#endif
