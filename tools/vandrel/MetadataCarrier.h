// The metadata a conversion carries from its source to its output: the ICC profile, the Exif
// block and the XMP packet, read through a reader instance of the tool's own (CPlugInShelf)
// and handed to the writer as properties (CodecProperties.h). The Exif block is brought up to
// date on the way with libexif: orientation and pixel dimensions.
#ifndef VANDREL_TOOL_METADATACARRIER_H
#define VANDREL_TOOL_METADATACARRIER_H

#include <cstdint>
#include <string>

#include "PlugInShelf.h"

namespace vxtool {

struct CSourceMetadata {
    std::string icc;
    std::string exif;  // TIFF-structured, no "Exif\0\0" prefix
    std::string xmp;
    uint16_t orientation = 0;  // the Exif orientation 1-8; 0 = none
    bool upright = false;      // the decoder applies the orientation itself
};

// What the source holds, as far as a plug-in of the shelf can tell; empty when none reads it.
CSourceMetadata ReadSourceMetadata(const CPlugInShelf& shelf, const std::string& path);

// The orientation (1-8) a block records, 0 when it records none or an undefined value.
uint16_t ExifOrientation(const std::string& exif);

// The block for an output of width x height: orientation 1 when the pixels were turned upright,
// the pixel dimensions of the written image, and no thumbnail (it would still show the stored
// orientation and size). Empty when libexif cannot read the block.
std::string UpdateExif(const std::string& exif, bool upright, int32_t width, int32_t height);

}  // namespace vxtool

#endif
