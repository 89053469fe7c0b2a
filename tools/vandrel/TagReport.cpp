#include "TagReport.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "vandrel/TagSearch.h"

namespace vxtool {
namespace {

struct NamedTag {
    uint16_t tag;
    const char* name;
};

// Interoperability and GPS directories number their tags from 1 again, so each has its names.
const NamedTag kInteropNames[] = {
    {0x0001, "InteropIndex"},
    {0x0002, "InteropVersion"},
};

const NamedTag kGpsNames[] = {
    {0x0000, "GPSVersionID"},    {0x0001, "GPSLatitudeRef"}, {0x0002, "GPSLatitude"},
    {0x0003, "GPSLongitudeRef"}, {0x0004, "GPSLongitude"},   {0x0005, "GPSAltitudeRef"},
    {0x0006, "GPSAltitude"},     {0x0007, "GPSTimeStamp"},   {0x0008, "GPSSatellites"},
    {0x0009, "GPSStatus"},       {0x000A, "GPSMeasureMode"}, {0x000B, "GPSDOP"},
    {0x000C, "GPSSpeedRef"},     {0x000D, "GPSSpeed"},       {0x0010, "GPSImgDirectionRef"},
    {0x0011, "GPSImgDirection"}, {0x0012, "GPSMapDatum"},    {0x001B, "GPSProcessingMethod"},
    {0x001D, "GPSDateStamp"},
};

// The first image's directory and the Exif directory share one numbering.
const NamedTag kTagNames[] = {
    {0x0100, "ImageWidth"},
    {0x0101, "ImageLength"},
    {0x0102, "BitsPerSample"},
    {0x0103, "Compression"},
    {0x0106, "Photometric"},
    {0x010E, "ImageDescription"},
    {0x010F, "Make"},
    {0x0110, "Model"},
    {0x0112, "Orientation"},
    {0x0115, "SamplesPerPixel"},
    {0x011A, "XResolution"},
    {0x011B, "YResolution"},
    {0x0128, "ResolutionUnit"},
    {0x0131, "Software"},
    {0x0132, "DateTime"},
    {0x013B, "Artist"},
    {0x0213, "YCbCrPositioning"},
    {0x8298, "Copyright"},
    {0x829A, "ExposureTime"},
    {0x829D, "FNumber"},
    {0x8769, "ExifIFD"},
    {0x8773, "ICCProfile"},
    {0x8822, "ExposureProgram"},
    {0x8825, "GPSIFD"},
    {0x8827, "ISOSpeed"},
    {0x9000, "ExifVersion"},
    {0x9003, "DateTimeOriginal"},
    {0x9004, "DateTimeDigitized"},
    {0x9201, "ShutterSpeed"},
    {0x9202, "Aperture"},
    {0x9204, "ExposureBias"},
    {0x9207, "MeteringMode"},
    {0x9209, "Flash"},
    {0x920A, "FocalLength"},
    {0x927C, "MakerNote"},
    {0x9286, "UserComment"},
    {0xA000, "FlashpixVersion"},
    {0xA001, "ColorSpace"},
    {0xA002, "PixelXDimension"},
    {0xA003, "PixelYDimension"},
    {0xA005, "InteropIFD"},
    {0xA402, "ExposureMode"},
    {0xA403, "WhiteBalance"},
    {0xA405, "FocalLength35mm"},
    {0xA434, "LensModel"},
};

struct NamedGroup {
    int32_t group;
    const char* key;
    const char* title;
};

const NamedGroup kGroups[] = {
    {kVxTagGroupIfd0, "ifd0", "first image directory"},
    {kVxTagGroupExif, "exif", "Exif directory"},
    {kVxTagGroupGps, "gps", "GPS directory"},
    {kVxTagGroupInterop, "interop", "interoperability directory"},
    {kVxTagGroupApp2, "app2", "JPEG APP2 segments"},
};

const char* TypeName(CUtilVariant::Type type) {
    static const char* const kNames[] = {"EMPTY",    "BYTE",      "SBYTE",    "ASCII",
                                         "SHORT",    "SSHORT",    "LONG",     "LONG",
                                         "RATIONAL", "SRATIONAL", "UNDEFINED"};
    return type >= 0 && type <= 10 ? kNames[type] : "UNKNOWN";
}

bool IsSigned(CUtilVariant::Type type) {
    return type == CUtilVariant::kSByte || type == CUtilVariant::kSShort ||
           type == CUtilVariant::kSRational;
}

bool IsRational(CUtilVariant::Type type) {
    return type == CUtilVariant::kRational || type == CUtilVariant::kSRational;
}

// The i-th 32-bit word of the stored data (the halves of rationals), 0 outside it.
uint32_t WordAt(const CUtilVariant& value, uint32_t word) {
    if (value.data() == nullptr || (uint64_t(word) + 1) * 4 > value.size()) return 0;
    uint32_t v;
    std::memcpy(&v, value.data() + size_t(word) * 4, 4);
    return v;
}

int64_t Signed(const CUtilVariant& value, uint32_t v) {
    switch (value.type()) {
        case CUtilVariant::kSByte:
            return int8_t(uint8_t(v));
        case CUtilVariant::kSShort:
            return int16_t(uint16_t(v));
        default:
            return int32_t(v);
    }
}

// Elements the stored bytes really hold (a count can claim more than was kept).
uint32_t StoredCount(const CUtilVariant& value) {
    const uint32_t size = value.valuesize();
    if (size == 0 || value.data() == nullptr) return 0;
    const uint32_t held = value.size() / size;
    return held < value.count() ? held : value.count();
}

nlohmann::ordered_json ElementJson(const CUtilVariant& value, uint32_t i) {
    const CUtilVariant::Type type = value.type();
    if (IsRational(type)) {
        const uint32_t n = WordAt(value, 2 * i), d = WordAt(value, 2 * i + 1);
        if (type == CUtilVariant::kSRational) return {int64_t(int32_t(n)), int64_t(int32_t(d))};
        return {n, d};
    }
    const uint32_t v = value.uintAt(i);
    if (IsSigned(type)) return Signed(value, v);
    return v;
}

std::string ElementText(const CUtilVariant& value, uint32_t i) {
    const CUtilVariant::Type type = value.type();
    if (IsRational(type)) {
        const uint32_t n = WordAt(value, 2 * i), d = WordAt(value, 2 * i + 1);
        if (type == CUtilVariant::kSRational)
            return std::to_string(int32_t(n)) + "/" + std::to_string(int32_t(d));
        return std::to_string(n) + "/" + std::to_string(d);
    }
    const uint32_t v = value.uintAt(i);
    if (IsSigned(type)) return std::to_string(Signed(value, v));
    if (type == CUtilVariant::kByte || type == CUtilVariant::kUndefined) {
        char hex[4];
        std::snprintf(hex, sizeof hex, "%02x", v & 0xFF);
        return hex;
    }
    return std::to_string(v);
}

template <size_t N>
const char* Lookup(const NamedTag (&names)[N], uint16_t tag) {
    for (const NamedTag& named : names)
        if (named.tag == tag) return named.name;
    return "";
}

// Said once per JSON answer, so nobody mistakes one numbering for the other.
const char kTypeNumbering[] =
    "type: the tag database's value type (1 BYTE, 2 SBYTE, 3 ASCII, 4 SHORT, 5 SSHORT, 6 LONG, "
    "7 LONG, 8 RATIONAL, 9 SRATIONAL, 10 UNDEFINED); tiffType: the TIFF field type";

}  // namespace

const std::vector<uint16_t>& DefaultTags() {
    static const std::vector<uint16_t> kTags = {0x010F, 0x0110, 0x0112, 0x011A, 0x011B, 0x0128,
                                                0x0131, 0x0132, 0x829A, 0x829D, 0x8827, 0x9003,
                                                0x9004, 0x920A, 0xA001, 0xA002, 0xA003};
    return kTags;
}

const char* TagName(uint16_t tag, int32_t group) {
    if (group == kVxTagGroupGps) return Lookup(kGpsNames, tag);
    if (group == kVxTagGroupInterop) return Lookup(kInteropNames, tag);
    if (group == kVxTagGroupApp2) return "";
    return Lookup(kTagNames, tag);
}

int32_t TiffFieldType(CUtilVariant::Type type) {
    // BYTE, SBYTE, ASCII, SHORT, SSHORT, LONG, LONG (a 32-bit value), RATIONAL, SRATIONAL,
    // UNDEFINED; the variant keeps signed longs as LONG too.
    static const int32_t kTiffTypes[11] = {0, 1, 6, 2, 3, 8, 4, 4, 5, 10, 7};
    return type >= 0 && type <= 10 ? kTiffTypes[type] : 0;
}

std::string TagHex(int32_t tag) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%04X", unsigned(tag));
    return text;
}

nlohmann::ordered_json TagValueToJson(const CUtilVariant& value) {
    nlohmann::ordered_json j;
    j["type"] = value.type();
    j["tiffType"] = TiffFieldType(value.type());
    j["typeName"] = TypeName(value.type());
    j["count"] = value.count();
    if (value.type() == CUtilVariant::kAscii) {
        j["text"] = std::string(value.text());
        return j;
    }
    nlohmann::ordered_json values = nlohmann::ordered_json::array();
    const uint32_t n = StoredCount(value);
    for (uint32_t i = 0; i < n; ++i)
        values.push_back(ElementJson(value, i));
    j["values"] = values;
    return j;
}

std::string TagValueText(const CUtilVariant& value) {
    std::string text =
        std::string(TypeName(value.type())) + "[" + std::to_string(value.count()) + "]";
    if (value.type() == CUtilVariant::kAscii) return text + " \"" + value.text() + "\"";
    const bool bytes =
        value.type() == CUtilVariant::kByte || value.type() == CUtilVariant::kUndefined;
    const uint32_t shown = bytes ? 16 : 8;
    const uint32_t n = StoredCount(value);
    for (uint32_t i = 0; i < n && i < shown; ++i)
        text += " " + ElementText(value, i);
    if (n > shown) text += " ...";
    return text;
}

int32_t SearchTags(const std::string& path, const std::vector<uint16_t>& tags,
                   std::vector<CTagHit>* hits) {
    std::vector<CUtilVariant> values(tags.size());
    const int32_t result =
        FastTagSearch(path.c_str(), tags.data(), uint32_t(tags.size()), values.data());
    hits->clear();
    hits->resize(tags.size());
    for (size_t i = 0; i < tags.size(); ++i) {
        (*hits)[i].tag = tags[i];
        (*hits)[i].value = values[i];
    }
    return result;
}

nlohmann::ordered_json HitsToJson(int32_t result, const std::vector<CTagHit>& hits) {
    nlohmann::ordered_json j;
    j["typeNumbering"] = kTypeNumbering;
    j["result"] = result;
    for (const CTagHit& hit : hits) {
        if (hit.value.type() == CUtilVariant::kEmpty) continue;
        j[TagHex(hit.tag)] = TagValueToJson(hit.value);
    }
    return j;
}

void PrintHits(const std::string& path, int32_t result, const std::vector<CTagHit>& hits,
               std::ostream& out) {
    out << path << ": fast tag search result " << result << "\n";
    const bool none = std::none_of(hits.begin(), hits.end(), [](const CTagHit& hit) {
        return hit.value.type() != CUtilVariant::kEmpty;
    });
    if (none && result == 1) {
        // 1 with nothing found: not a JPEG or TIFF by name, or a JPEG without Exif up front.
        out << "  no tags: the search reads the Exif block of JPEG files and the directories of "
               "TIFF files\n";
        return;
    }
    for (const CTagHit& hit : hits) {
        char name[24];
        std::snprintf(name, sizeof name, "%-18s", TagName(hit.tag, kVxTagGroupIfd0));
        out << "  " << TagHex(hit.tag) << " " << name << " ";
        if (hit.value.type() == CUtilVariant::kEmpty)
            out << "(not found)\n";
        else
            out << TagValueText(hit.value) << "\n";
    }
}

nlohmann::ordered_json DatabaseToJson(IUTagDB* db) {
    nlohmann::ordered_json j = nlohmann::ordered_json::object();
    for (const NamedGroup& g : kGroups) {
        const int32_t count = db->GetTagCount(g.group) & 0xFFFF;
        if (count <= 0) continue;
        nlohmann::ordered_json group = nlohmann::ordered_json::object();
        for (int32_t i = 0; i < count; ++i) {
            const int32_t tag = db->GetTagId(g.group, i);
            CUtilVariant value;
            if (db->GetTagValue(g.group, tag, value) <= 0) continue;
            group[TagHex(tag)] = TagValueToJson(value);
        }
        j[g.key] = group;
    }
    return j;
}

void PrintDatabase(const std::string& path, IUTagDB* db, std::ostream& out) {
    out << path << "\n";
    bool any = false;
    for (const NamedGroup& g : kGroups) {
        const int32_t count = db->GetTagCount(g.group) & 0xFFFF;
        if (count <= 0) continue;
        any = true;
        out << "  " << g.title << " (" << count << (count == 1 ? " entry" : " entries") << ")\n";
        for (int32_t i = 0; i < count; ++i) {
            const int32_t tag = db->GetTagId(g.group, i);
            CUtilVariant value;
            if (db->GetTagValue(g.group, tag, value) <= 0) continue;
            char name[24];
            std::snprintf(name, sizeof name, "%-18s", TagName(uint16_t(tag), g.group));
            out << "    " << TagHex(tag) << " " << name << " " << TagValueText(value) << "\n";
        }
    }
    if (!any) out << "  no tags\n";
}

}  // namespace vxtool
