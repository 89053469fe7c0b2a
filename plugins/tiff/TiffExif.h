// A TIFF file keeps its camera metadata as directories of its own; readers of other formats
// want it as one Exif block. This builds that block from the directories the tag database
// reads, through libexif.
#ifndef VANDREL_PLUGINS_TIFFEXIF_H
#define VANDREL_PLUGINS_TIFFEXIF_H

#include <vector>

namespace vxcodec {

// A TIFF-structured Exif block (from "II*\0", no "Exif\0\0" prefix) holding the descriptive
// fields of the first directory (maker, model, time, orientation, resolution, authorship) and
// the Exif, GPS and interoperability directories. False when the file has none of them.
bool BuildExifBlock(const char* fileName, std::vector<unsigned char>* block);

}  // namespace vxcodec

#endif
