// What `vandrel info` tells about one image file, gathered through the service, printed as
// text or as a JSON object with stable keys.
#ifndef VANDREL_TOOL_INFOREPORT_H
#define VANDREL_TOOL_INFOREPORT_H

#include <cstdint>
#include <ostream>
#include <string>

#include <nlohmann/json.hpp>

#include "vandrel/VandrelIF.h"

namespace vxtool {

struct CFileFacts {
    std::string file;
    CUImageFileStatus status;  // fileInfo included
    CUCameraInfo camera;       // pTagDB is cleared: it dies with the handle
    int32_t iccProfileBytes = 0;
    std::string iccDescription;  // the profile's own name, "sRGB IEC61966-2.1"
    // Which reader answered for the orientation and the shooting time: "fast tag search" (the
    // service's, which stops early in some JPEGs), "tag database" (the plug-in's), or "none".
    std::string orientationSource;
    std::string shootingTimeSource;
};

// Opens the file, asks for its status, camera information and ICC profile, closes it. The
// orientation and shooting time come from the plug-in's tag database when the fast tag search
// found none.
// 1, or the service's code for a file it cannot describe.
int32_t GatherFacts(IVandrelIF* service, const std::string& path, CFileFacts* facts);

// Keys: file, format, width, height, depth, storedDepth, colorSpace, alphaDepth,
// fileInfo {created, modified, size, permissions, shootingTime, shootingTimeSource,
// orientation, orientationSource}, camera {colorResult, colorSource, colorWords, maker, model},
// iccProfileBytes, iccDescription.
nlohmann::ordered_json FactsToJson(const CFileFacts& facts);

void PrintFacts(const CFileFacts& facts, std::ostream& out);

}  // namespace vxtool

#endif
