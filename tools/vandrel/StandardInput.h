// `-` as an input: standard input copied whole into a temporary file, since the codecs read
// files (and choose themselves by the first bytes, so no name is needed). The copy is removed
// when the object dies, and by a second interrupt.
#ifndef VANDREL_TOOL_STANDARDINPUT_H
#define VANDREL_TOOL_STANDARDINPUT_H

#include <string>

namespace vxtool {

class CStandardInput {
public:
    CStandardInput() = default;
    ~CStandardInput();
    CStandardInput(const CStandardInput&) = delete;
    CStandardInput& operator=(const CStandardInput&) = delete;

    // Reads standard input to its end. False when the copy could not be made.
    bool Take();
    const std::string& path() const { return m_path; }

    // text with every mention of the copy's path shown as "-".
    std::string Shown(std::string text) const;

private:
    std::string m_path;
};

}  // namespace vxtool

#endif
