// What `vandrel convert` is asked to do.
#ifndef VANDREL_TOOL_CONVERTOPTIONS_H
#define VANDREL_TOOL_CONVERTOPTIONS_H

#include <cstdint>
#include <string>

namespace vxtool {

struct CConvertOptions {
    std::string input;
    std::string output;
    std::string alphaOutput;  // the alpha plane as a grey file; empty = not written
    std::string format;       // empty = from the output's extension
    int32_t width = 0;        // 0 = from the height and the aspect ratio, or the source's
    int32_t height = 0;
    std::string method = "Nearest";
    double angle = 0.0;
    int32_t background = 0;  // 0x00BBGGRR
    int32_t depth = 0;       // 24 or 48; 0 = the source's own
    std::string colorSpace;  // "RGB" or "YCC"; empty = the source's own
    int32_t quality = 75;
    bool shrinkOnLoad = true;  // JPEG reductions decode at a reduced DCT scale first
};

}  // namespace vxtool

#endif
