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
};

// Opens the file, asks for its status, camera information and ICC profile size, closes it.
// 1, or the service's code for a file it cannot describe.
int32_t GatherFacts(IVandrelIF* service, const std::string& path, CFileFacts* facts);

// Keys: file, format, width, height, depth, storedDepth, colorSpace, alphaDepth,
// fileInfo {created, modified, size, permissions, shootingTime, orientation},
// camera {colorResult, colorSource, maker, model}, iccProfileBytes.
nlohmann::ordered_json FactsToJson(const CFileFacts& facts);

void PrintFacts(const CFileFacts& facts, std::ostream& out);

}  // namespace vxtool

#endif
