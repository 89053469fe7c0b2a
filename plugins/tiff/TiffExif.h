// A TIFF file keeps its camera metadata as directories of its own; other formats carry it as one
// Exif block. These turn the directories into a block (from what the tag database reads) and a
// block into directories (through libtiff's own Exif directory), both with libexif.
#ifndef VANDREL_PLUGINS_TIFFEXIF_H
#define VANDREL_PLUGINS_TIFFEXIF_H

#include <vector>

#include <tiffio.h>

namespace vxcodec {

// A TIFF-structured Exif block (from "II*\0", no "Exif\0\0" prefix) holding the descriptive
// fields of the first directory (maker, model, time, orientation, resolution, authorship) and
// the Exif, GPS and interoperability directories. False when the file has none of them.
bool BuildExifBlock(const char* fileName, std::vector<unsigned char>* block);

// The descriptive fields of the block's first directory (maker, model, time, authorship,
// orientation) as fields of the image being written; call before its first line.
void SetPictureFields(TIFF* tif, const std::vector<unsigned char>& block);

// Writes the image's directory, then the block's Exif directory with every field libtiff
// knows, and links the two; call after the last line. False when libtiff refused.
bool WriteExifDirectory(TIFF* tif, const std::vector<unsigned char>& block);

}  // namespace vxcodec

#endif
