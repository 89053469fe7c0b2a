// Tag values for `vandrel tags`: a fast search of chosen TIFF/Exif tags, or everything the
// plug-in's tag database holds, as text or JSON.
#ifndef VANDREL_TOOL_TAGREPORT_H
#define VANDREL_TOOL_TAGREPORT_H

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "vandrel/TagDB.h"
#include "vandrel/Variant.h"

namespace vxtool {

// The tags asked for when none are named: who, when, how and the colour-space markers.
const std::vector<uint16_t>& DefaultTags();

// "DateTimeOriginal", or "" for a tag without a name here. Names belong to a directory:
// tag 1 is InteropIndex in the interoperability directory and GPSLatitudeRef in the GPS one.
const char* TagName(uint16_t tag, int32_t group);
// The TIFF field type (1-10) of a variant type; 0 for an empty one.
int32_t TiffFieldType(CUtilVariant::Type type);

// "0x9003"
std::string TagHex(int32_t tag);

// {"type": N, "tiffType": N, "typeName": "SHORT", "count": N, "values": [...]} with "text" instead
// of "values" for ASCII. Rationals are [numerator, denominator] pairs; signed types keep their
// sign.
nlohmann::ordered_json TagValueToJson(const CUtilVariant& value);

// "ASCII[6] "Canon"", "SHORT[1] 1", "RATIONAL[1] 1/250"; long lists are cut after a few values.
std::string TagValueText(const CUtilVariant& value);

struct CTagHit {
    uint16_t tag = 0;
    CUtilVariant value;  // type 0 when the tag was not found
};

// FastTagSearch over tags; returns its result (1, 0 or -1) and one hit per tag asked for.
int32_t SearchTags(const std::string& path, const std::vector<uint16_t>& tags,
                   std::vector<CTagHit>* hits);

// The search's result and every hit as {"typeNumbering": "...", "result": R, "0x9003": {...}};
// tags not found are left out.
nlohmann::ordered_json HitsToJson(int32_t result, const std::vector<CTagHit>& hits);
void PrintHits(const std::string& path, int32_t result, const std::vector<CTagHit>& hits,
               std::ostream& out);

// Every group of a loaded database: {"ifd0": {"0x010F": {...}}, "exif": {...}, ...}; groups
// without tags are left out.
nlohmann::ordered_json DatabaseToJson(IUTagDB* db);
void PrintDatabase(const std::string& path, IUTagDB* db, std::ostream& out);

}  // namespace vxtool

#endif
