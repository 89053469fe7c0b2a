// Alpha going into a format that has none: the picture is composed over a background colour,
// so what transparent pixels hid never shows.
#ifndef VANDREL_TOOL_ALPHAFLATTEN_H
#define VANDREL_TOOL_ALPHAFLATTEN_H

#include <cstdint>

#include "vandrel/UtilContainerIF.h"

namespace vxtool {

// Composes a 24- or 48-bit RGB container over background (0x00BBGGRR) with the alpha
// container of the same size and sample depth, in place; 1, or a failing code.
int32_t FlattenOver(IUtilContainerIF* image, const IUtilContainerIF* alpha, int32_t background);

}  // namespace vxtool

#endif
