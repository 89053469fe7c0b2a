// The colour-management questions about an open image, answered from the tag database its codec
// supplies: the embedded ICC profile of a JPEG or a TIFF file, and whether Exif declares sRGB.
#ifndef VANDREL_METADATA_COLORMETADATA_H
#define VANDREL_METADATA_COLORMETADATA_H

#include <cstdint>

#include "vandrel/TagDB.h"

// The identifier that opens the data of every APP2 segment holding a piece of an ICC profile.
constexpr char JFIF_HEADER_ICC_PROFILE[] = "ICC_PROFILE";

// Size in bytes of the profile spread over the JPEG's APP2 segments (0 when there is none, or
// when any APP2 segment is not a piece of it). With buffer null it only measures; otherwise the
// pieces are written back to back into buffer, which must hold the measured size.
int32_t GetJfifICCProfile(IUTagDB* db, char* buffer);

// The same for the profile a TIFF file keeps in tag 0x8773 of its first directory.
int32_t GetTiffICCProfile(IUTagDB* db, char* buffer);

// 1 when the interoperability index is "R98" or the Exif colour space is 1 (sRGB), else 0.
int32_t IsEXIFsRGB(IUTagDB* db);

#endif
