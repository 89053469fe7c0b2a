// The ICC profile a file embeds, measured and read from its tag database.
#ifndef VANDREL_TOOL_ICCPROFILE_H
#define VANDREL_TOOL_ICCPROFILE_H

#include <cstdint>
#include <string>

#include "vandrel/TagDB.h"

namespace vxtool {

// Bytes of the profile: the ICC tag of the first TIFF directory (TIFF files, and PNG files whose
// plug-in files the profile there), else the pieces spread over a JPEG's APP2 segments.
// 0 when the database is null or holds none. An APP2 segment that is not a profile piece
// means the segments hold no profile.
int32_t IccProfileBytes(IUTagDB* db);

// The profile itself, from the same places; empty when there is none.
std::string IccProfileData(IUTagDB* db);

// The profile's own description ('desc' tag, ICC v2 text or v4 multi-localised text, first
// record); empty when it has none that can be read.
std::string IccProfileDescription(const std::string& profile);

}  // namespace vxtool

#endif
