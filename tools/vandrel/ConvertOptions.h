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
    std::string method = "Bicubic";
    double angle = 0.0;
    int32_t background = 0;  // 0x00BBGGRR: behind rotated corners and under flattened alpha
    int32_t depth = 0;       // 24 or 48; 0 = the source's own
    std::string colorSpace;  // "RGB" or "YCC"; empty = the source's own
    int32_t quality = 0;     // 1-100 for JPEG and TIFF-JPEG; 0 = the writer's default (75)
    // Writer settings; empty or 0 = the writer's default. compression is a PNG zlib level
    // "0".."9" or a TIFF scheme "none", "lzw", "deflate", "jpeg".
    std::string compression;
    bool progressive = false;    // JPEG
    int32_t subsample = 0;       // JPEG chroma subsampling 444, 422 or 420
    bool strip = false;          // drop the ICC profile, the Exif block and the XMP packet
    bool noRotate = false;       // keep the stored pixels and the Exif orientation
    bool failOnWarning = false;  // damage the decoder stepped over fails the conversion
};

// The quality a writer is given when the options name none.
constexpr int32_t kDefaultQuality = 75;

}  // namespace vxtool

#endif
