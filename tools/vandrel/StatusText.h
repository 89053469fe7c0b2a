// Status codes in words, for the one-line error reports of the tool.
#ifndef VANDREL_TOOL_STATUSTEXT_H
#define VANDREL_TOOL_STATUSTEXT_H

#include <cstdint>
#include <string>

namespace vxtool {

// "no plug-in takes the file or format"; "status" for a code nobody named.
std::string StatusWords(int32_t code);

// The words followed by the code in hex: "no plug-in takes the file or format (0xE07D000B)".
std::string DescribeStatus(int32_t code);

}  // namespace vxtool

#endif
