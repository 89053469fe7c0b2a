#include "InfoReport.h"

#include <cstdio>
#include <ctime>

#include "IccProfile.h"

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

// What the colour classification of the camera information says, in words.
const char* ColorResultWords(int32_t result) {
    switch (result) {
        case 0:
            return "unknown";
        case 1:
            return "sRGB";
        case 3:
            return "Adobe RGB-like";
        case 4:
            return "wide gamut or own profile";
        default:
            return "other";
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
    if (result >= 0) {
        // Camera information is a bonus: a file whose metadata cannot be read is still described.
        if (service->GetCameraInfo(handle, &facts->camera) == 1) {
            facts->iccProfileBytes = IccProfileBytes(facts->camera.pTagDB);
        } else {
            facts->camera = CUCameraInfo();
        }
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
                     {"orientation", f.wOrientation}};
    j["camera"] = {{"colorResult", facts.camera.lColorResult},
                   {"colorSource", facts.camera.lColorSource},
                   {"maker", facts.camera.strMaker.c_str()},
                   {"model", facts.camera.strModel.c_str()}};
    j["iccProfileBytes"] = facts.iccProfileBytes;
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
    out << "  shooting time  " << LocalTime(f.lShootingTime) << "\n";
    out << "  orientation    " << f.wOrientation << " (" << OrientationWords(f.wOrientation)
        << ")\n";
    if (!c.strMaker.empty() || !c.strModel.empty())
        out << "  camera         " << c.strMaker.c_str() << " " << c.strModel.c_str() << "\n";
    out << "  colour         " << c.lColorResult << " (" << ColorResultWords(c.lColorResult)
        << "), from " << c.lColorSource << " (" << ColorSourceWords(c.lColorSource) << ")\n";
    out << "  ICC profile    ";
    if (facts.iccProfileBytes > 0)
        out << facts.iccProfileBytes << " bytes\n";
    else
        out << "none\n";
}

}  // namespace vxtool
