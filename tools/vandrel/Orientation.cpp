#include "Orientation.h"

#include <cmath>
#include <cstring>
#include <vector>

#include "vandrel/Status.h"

namespace vxtool {
namespace {

struct Upright {
    bool mirror;
    int clockwise;
};

// Orientation n (1-8): mirror first or not, then the clockwise turn.
constexpr Upright kUpright[9] = {{false, 0},  {false, 0},  {true, 0},  {false, 180}, {true, 180},
                                 {true, 270}, {false, 90}, {true, 90}, {false, 270}};

double Normalised(double degrees) {
    double a = std::fmod(degrees, 360.0);
    return a < 0 ? a + 360.0 : a;
}

template <size_t PixelBytes>
void MirrorLine(unsigned char* line, int32_t width) {
    unsigned char* left = line;
    unsigned char* right = line + size_t(width - 1) * PixelBytes;
    unsigned char swap[PixelBytes];
    for (; left < right; left += PixelBytes, right -= PixelBytes) {
        std::memcpy(swap, left, PixelBytes);
        std::memcpy(left, right, PixelBytes);
        std::memcpy(right, swap, PixelBytes);
    }
}

}  // namespace

COrientationSteps UprightSteps(uint16_t orientation, double userAngle) {
    const Upright u = kUpright[orientation <= 8 ? orientation : 0];
    COrientationSteps steps;
    steps.mirror = u.mirror;
    const double turn = u.clockwise + userAngle;
    steps.angle = Normalised(u.mirror ? -turn : turn);
    return steps;
}

int32_t MirrorLines(IUtilContainerIF* image) {
    CUImageInfo info;
    image->GetImageInfo(info);
    const int32_t pixelBytes = info.lColorDepth / 8;
    if (info.bNative != 0 ||
        (pixelBytes != 1 && pixelBytes != 2 && pixelBytes != 3 && pixelBytes != 6))
        return kVxErrCodecUnsupported;
    std::vector<unsigned char> line(size_t(info.lWidth) * size_t(pixelBytes));
    for (int32_t y = 0; y < info.lHeight; ++y) {
        const void* stored = image->GetLine(y, 0, -1);
        if (stored == nullptr) return kVxErrMacroLineIO;
        std::memcpy(line.data(), stored, line.size());
        switch (pixelBytes) {
            case 1:
                MirrorLine<1>(line.data(), info.lWidth);
                break;
            case 2:
                MirrorLine<2>(line.data(), info.lWidth);
                break;
            case 3:
                MirrorLine<3>(line.data(), info.lWidth);
                break;
            default:
                MirrorLine<6>(line.data(), info.lWidth);
                break;
        }
        if (image->SetLine(line.data(), y, 0, -1) != 1) return kVxErrMacroSetLine;
    }
    return 1;
}

}  // namespace vxtool
