// `vandrel convert` for a library built without the macro object: one streaming pass over the
// service's line reading and writing, through the resize object when the size changes.
// Rotation, the squeeze method and separate grey or alpha files need the macro object and are
// refused with kVxErrMacroUnsupported. Outputs appear only when complete.
#ifndef VANDREL_TOOL_LINECONVERT_H
#define VANDREL_TOOL_LINECONVERT_H

#include <cstdint>
#include <string>

#include "ConvertOptions.h"
#include "vandrel/UtilResizeIF.h"
#include "vandrel/VandrelIF.h"

namespace vxtool {

class CLineConvert {
public:
    explicit CLineConvert(IVandrelIF* service) : m_service(service) {}

    // 1 or the code of the first failure; failedFile() and detail() then say where and why.
    int32_t Run(const CConvertOptions& options);

    const std::string& failedFile() const { return m_failedFile; }
    const std::string& detail() const { return m_detail; }

private:
    struct Pass;

    int32_t Fail(const std::string& file, int32_t code, const std::string& detail = "");
    int32_t Stream(const CConvertOptions& options, const std::string& format,
                   const std::string& partial);
    int32_t Write(Pass& pass, const std::string& partial, int32_t depth);

    IVandrelIF* m_service;
    std::string m_failedFile;
    std::string m_detail;
};

}  // namespace vxtool

#endif
