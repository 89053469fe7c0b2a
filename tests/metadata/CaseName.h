// Test-case names for table-driven suites: the description of a row, as an identifier.
#ifndef VANDREL_TESTS_METADATA_CASENAME_H
#define VANDREL_TESTS_METADATA_CASENAME_H

#include <cctype>
#include <string>

namespace vxtest {

// "ifd0 count beyond the end" -> "Ifd0CountBeyondTheEnd"
inline std::string CaseName(const char* what) {
    std::string out;
    bool upper = true;
    for (const char* p = what; *p; ++p) {
        const unsigned char c = static_cast<unsigned char>(*p);
        if (!std::isalnum(c)) {
            upper = true;
            continue;
        }
        out += upper ? char(std::toupper(c)) : char(c);
        upper = false;
    }
    return out;
}

}  // namespace vxtest

#endif
