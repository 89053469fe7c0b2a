// The service does not read a file whose header drew a warning (its line reading begins with
// the status and stops at any code below 1), yet such a file decodes: libjpeg steps over a few
// stray bytes before a table. The tool then reads it through its own instance of the plug-in,
// line by line, into containers, and goes on from there as from any decoded image.
#ifndef VANDREL_TOOL_PLUGINDECODE_H
#define VANDREL_TOOL_PLUGINDECODE_H

#include <cstdint>
#include <string>

#include "PlugInShelf.h"
#include "vandrel/MessageProc.h"
#include "vandrel/UtilContainerIF.h"

namespace vxtool {

// Fills image (and alpha, when not null and the file has an alpha plane) at the file's own
// size and depth. listener hears the decoder's messages. 1 or the first warning, or the
// failing code.
int32_t DecodeThroughPlugIn(const CPlugInShelf& shelf, const std::string& path,
                            IMessageProc* listener, IUtilContainerIF* image,
                            IUtilContainerIF* alpha);

}  // namespace vxtool

#endif
