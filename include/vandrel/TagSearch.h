// Reads selected TIFF tags straight from a TIFF file, or from the Exif block of a JPEG file,
// without any codec: cheap camera and colour metadata.
#ifndef VANDREL_TAGSEARCH_H
#define VANDREL_TAGSEARCH_H

#include <cstdint>

#include "vandrel/Export.h"
#include "vandrel/Variant.h"

// Results of FastTagSearch besides 1 (a tag was converted, or the file is not a JPEG/TIFF by
// name, or a JPEG keeps no Exif block ahead of its other segments) and 0 (no tag present).
constexpr int32_t kVxFtsFailed = -1;  // cannot open, truncated or malformed, or no memory

// Looks up tags[i] for i < count and stores each one found in values[i], converted to host
// byte order; values of tags not found are left as they were. Tags up to 0x8000 come from the
// first image directory, tags above it from the Exif directory. A JPEG is searched only when
// its Exif APP1 segment follows the start marker with nothing but APP0 and COM segments
// between. A null path, or null arrays with a non-zero count, give kVxFtsFailed.
VX_EXTERN_C VX_API int32_t FastTagSearch(const char* path, const unsigned short* tags,
                                         uint32_t count, CUtilVariant* values);

#endif
