// Parsers for the values of the tool's options. Each answers false for text it cannot take
// whole, so a typo never turns into a silent default.
#ifndef VANDREL_TOOL_OPTIONPARSERS_H
#define VANDREL_TOOL_OPTIONPARSERS_H

#include <cstdint>
#include <string>

namespace vxtool {

// "640x480" (x or X); one side may be left out ("640x", "x480") and then comes back as 0.
bool ParseSize(const std::string& text, int32_t* width, int32_t* height);

// "RRGGBB" in hex, with or without a leading '#', into the packed 0x00BBGGRR of a request.
bool ParseColor(const std::string& text, int32_t* packed);

// A tag number in hex ("0x9003") or decimal ("36867"), from 1 to 0xFFFF.
bool ParseTag(const std::string& text, uint16_t* tag);

// nearest | bilinear | bicubic | quorix | squeeze, any letter case, into the method name a
// request carries ("Bicubic").
bool ParseMethod(const std::string& text, std::string* method);

// The output size of a resize. Both sides given: as given. One side given: the other follows
// the source's aspect ratio, rounded, at least 1. Neither: 0 x 0, meaning the source's size.
void FitSize(int32_t sourceWidth, int32_t sourceHeight, int32_t width, int32_t height,
             int32_t* outWidth, int32_t* outHeight);

}  // namespace vxtool

#endif
