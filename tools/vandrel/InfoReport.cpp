#include "InfoReport.h"

#include <cstdio>
#include <ctime>

#include "IccProfile.h"
#include "vandrel/Variant.h"

namespace vxtool {
namespace {

std::string LocalTime(int32_t seconds) {
    if (seconds == 0) return "none";
    const std::time_t t = seconds;
    std::tm parts{};
    if (::localtime_r(&t, &parts) == nullptr) return std::to_string(seconds);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
    return text;
}

std::string Octal(uint16_t bits) {
    char text[8];
    std::snprintf(text, sizeof text, "%04o", unsigned(bits & 07777));
    return text;
}

const char* OrientationWords(uint16_t orientation) {
    static const char* const kWords[] = {"none",         "top-left",     "top-right",
                                         "bottom-right", "bottom-left",  "left-top",
                                         "right-top",    "right-bottom", "left-bottom"};
    return orientation < 9 ? kWords[orientation] : "unknown";
}

// What the colour classification of the camera information says, in words. Result 4 means
// "the file's own profile decides", so the profile's name settles the words.
std::string ColorResultWords(const CFileFacts& facts) {
    switch (facts.camera.lColorResult) {
        case 0:
            return "unknown";
        case 1:
            return "sRGB";
        case 3:
            return "Adobe RGB";
        case 4:
            if (facts.iccProfileBytes == 0) return "wide gamut (camera setting)";
            if (facts.iccDescription.find("sRGB") != std::string::npos) return "sRGB (ICC profile)";
            return "own ICC profile";
        default:
            return "other";
    }
}

// Exif's "YYYY:MM:DD HH:MM:SS" as the service reads it: local standard time.
int32_t ExifTime(const char* text) {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    if (text == nullptr ||
        std::sscanf(text, "%4d:%2d:%2d %2d:%2d:%2d", &year, &month, &day, &hour, &minute,
                    &second) != 6 ||
        year < 1900)
        return 0;
    std::tm t{};
    t.tm_year = year - 1900;
    t.tm_mon = month - 1;
    t.tm_mday = day;
    t.tm_hour = hour;
    t.tm_min = minute;
    t.tm_sec = second;
    t.tm_isdst = 0;
    return int32_t(std::mktime(&t));
}

// The original's date, else the digitising date, else the file's date, from the database.
int32_t DatabaseShootingTime(IUTagDB* db) {
    static const struct {
        int32_t group;
        int32_t tag;
    } kDates[] = {{kVxTagGroupExif, 0x9003}, {kVxTagGroupExif, 0x9004}, {kVxTagGroupIfd0, 0x0132}};
    for (const auto& d : kDates) {
        CUtilVariant value;
        if (db->GetTagValue(d.group, d.tag, value) > 0 && value.type() == CUtilVariant::kAscii) {
            const int32_t time = ExifTime(value.text());
            if (time != 0) return time;
        }
    }
    return 0;
}

// Fills what the fast tag search left empty from the plug-in's tag database.
void FillFromDatabase(const CUCameraInfo& camera, CFileFacts* facts) {
    CUFileInfo& f = facts->status.fileInfo;
    facts->orientationSource = f.wOrientation != 0 ? "fast tag search" : "none";
    facts->shootingTimeSource = f.lShootingTime != 0 ? "fast tag search" : "none";
    if (f.wOrientation == 0 && camera.lOrientation >= 1 && camera.lOrientation <= 8) {
        f.wOrientation = uint16_t(camera.lOrientation);
        facts->orientationSource = "tag database";
    }
    if (f.lShootingTime == 0 && camera.pTagDB != nullptr) {
        f.lShootingTime = DatabaseShootingTime(camera.pTagDB);
        if (f.lShootingTime != 0) facts->shootingTimeSource = "tag database";
    }
}

const char* ColorSourceWords(int32_t source) {
    static const char* const kWords[] = {"metadata", "camera mode", "camera data",
                                         "JPEG ICC profile", "TIFF ICC profile"};
    return source >= 0 && source < 5 ? kWords[source] : "other";
}

}  // namespace

int32_t GatherFacts(IVandrelIF* service, const std::string& path, CFileFacts* facts) {
    facts->file = path;
    const int32_t handle = service->GetImageHandle(path.c_str());
    if (handle < 0) return handle;
    int32_t result = service->GetFileStatus(handle, &facts->status);
    // A header the decoder read past still describes the file.
    if (VxSucceeded(result)) {
        // Camera information is a bonus: a file whose metadata cannot be read is still described.
        if (service->GetCameraInfo(handle, &facts->camera) == 1) {
            facts->iccProfileBytes = IccProfileBytes(facts->camera.pTagDB);
            facts->iccDescription = IccProfileDescription(IccProfileData(facts->camera.pTagDB));
        } else {
            facts->camera = CUCameraInfo();
        }
        FillFromDatabase(facts->camera, facts);
        facts->camera.pTagDB = nullptr;
        result = 1;
    }
    service->DeleteImageHandle(handle);
    return result;
}

nlohmann::ordered_json FactsToJson(const CFileFacts& facts) {
    const CUImageFileStatus& s = facts.status;
    const CUFileInfo& f = s.fileInfo;
    nlohmann::ordered_json j;
    j["file"] = facts.file;
    j["format"] = s.strFormat.c_str();
    j["width"] = s.info.lWidth;
    j["height"] = s.info.lHeight;
    j["depth"] = s.info.lColorDepth;
    j["storedDepth"] = s.lValue1;
    j["colorSpace"] = s.info.strColorSpace.c_str();
    j["alphaDepth"] = s.info2.lColorDepth > 0 ? s.info2.lColorDepth : 0;
    j["fileInfo"] = {{"created", f.lCreateTime},
                     {"modified", f.lModifyTime},
                     {"size", f.lSize},
                     {"permissions", f.wPermissions},
                     {"shootingTime", f.lShootingTime},
                     {"shootingTimeSource", facts.shootingTimeSource},
                     {"orientation", f.wOrientation},
                     {"orientationSource", facts.orientationSource}};
    j["camera"] = {{"colorResult", facts.camera.lColorResult},
                   {"colorSource", facts.camera.lColorSource},
                   {"colorWords", ColorResultWords(facts)},
                   {"maker", facts.camera.strMaker.c_str()},
                   {"model", facts.camera.strModel.c_str()}};
    j["iccProfileBytes"] = facts.iccProfileBytes;
    j["iccDescription"] = facts.iccDescription;
    return j;
}

void PrintFacts(const CFileFacts& facts, std::ostream& out) {
    const CUImageFileStatus& s = facts.status;
    const CUFileInfo& f = s.fileInfo;
    const CUCameraInfo& c = facts.camera;
    out << facts.file << "\n";
    out << "  format         " << s.strFormat.c_str() << "\n";
    out << "  size           " << s.info.lWidth << " x " << s.info.lHeight << "\n";
    out << "  depth          " << s.info.lColorDepth << " bits per pixel";
    if (s.lValue1 != s.info.lColorDepth) out << " (" << s.lValue1 << " stored)";
    out << "\n";
    out << "  colour space   " << s.info.strColorSpace.c_str() << "\n";
    out << "  alpha          ";
    if (s.info2.lColorDepth > 0)
        out << s.info2.lColorDepth << " bits per pixel\n";
    else
        out << "none\n";
    out << "  file size      " << f.lSize << " bytes, permissions " << Octal(f.wPermissions)
        << "\n";
    out << "  created        " << LocalTime(f.lCreateTime) << "\n";
    out << "  modified       " << LocalTime(f.lModifyTime) << "\n";
    out << "  shooting time  " << LocalTime(f.lShootingTime);
    if (f.lShootingTime != 0) out << ", from the " << facts.shootingTimeSource;
    out << "\n";
    out << "  orientation    " << f.wOrientation << " (" << OrientationWords(f.wOrientation) << ")";
    if (f.wOrientation != 0) out << ", from the " << facts.orientationSource;
    out << "\n";
    if (!c.strMaker.empty() || !c.strModel.empty())
        out << "  camera         " << c.strMaker.c_str() << " " << c.strModel.c_str() << "\n";
    out << "  colour         " << c.lColorResult << " (" << ColorResultWords(facts) << "), from "
        << c.lColorSource << " (" << ColorSourceWords(c.lColorSource) << ")\n";
    out << "  ICC profile    ";
    if (facts.iccProfileBytes > 0)
        out << facts.iccProfileBytes << " bytes"
            << (facts.iccDescription.empty() ? "" : ", \"" + facts.iccDescription + "\"") << "\n";
    else
        out << "none\n";
}

}  // namespace vxtool
