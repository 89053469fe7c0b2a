#include "TestChart.h"

#include <algorithm>
#include <cmath>

namespace vxtool {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int32_t kGreySteps = 16;
constexpr int32_t kBandRows = 5;  // smooth grey, stepped grey, red, green, blue

uint16_t To16(double v) {
    return uint16_t(std::lround(std::clamp(v, 0.0, 1.0) * 65535.0));
}
uint8_t To8(double v) {
    return uint8_t(std::lround(std::clamp(v, 0.0, 1.0) * 255.0));
}

// Fully saturated hue h in [0, 1).
void Hue(double h, double rgb[3]) {
    const double k[3] = {5.0, 3.0, 1.0};
    for (int c = 0; c < 3; ++c) {
        const double t = std::fmod(k[c] + h * 6.0, 6.0);
        rgb[c] = 1.0 - std::max(0.0, std::min({t, 4.0 - t, 1.0}));
    }
}

double Ramp(int32_t x, int32_t width) {
    return width > 1 ? double(x) / double(width - 1) : 0.0;
}

}  // namespace

CTestChart::CTestChart(int32_t width, int32_t height)
    : m_width(width), m_height(height), m_plate(std::min(width * 5 / 8, height * 3 / 4)) {}

void CTestChart::Pixel(int32_t x, int32_t y, double rgb[3]) const {
    if (x < m_plate && y < m_plate) {
        // Local frequency r / side cycles per pixel: the sampling limit at the square's edges.
        const double dx = x + 0.5 - m_plate / 2.0, dy = y + 0.5 - m_plate / 2.0;
        const double v = 0.5 + 0.5 * std::cos(kPi * (dx * dx + dy * dy) / m_plate);
        rgb[0] = rgb[1] = rgb[2] = v;
        return;
    }
    if (y < m_plate) {
        // Hue across; white at the top, the pure hue half-way down, black at the bottom.
        Hue(Ramp(x - m_plate, m_width - m_plate) * 0.999, rgb);
        const double t = Ramp(y, m_plate) * 2.0;
        for (int c = 0; c < 3; ++c)
            rgb[c] = t < 1.0 ? 1.0 - t * (1.0 - rgb[c]) : rgb[c] * (2.0 - t);
        return;
    }
    const int32_t bandHeight = m_height - m_plate;
    const int32_t row =
        std::min(kBandRows - 1, (y - m_plate) * kBandRows / std::max(1, bandHeight));
    const double v = Ramp(x, m_width);
    rgb[0] = rgb[1] = rgb[2] = 0.0;
    switch (row) {
        case 0:
            rgb[0] = rgb[1] = rgb[2] = v;
            break;
        case 1:
            rgb[0] = rgb[1] = rgb[2] =
                double(std::min(kGreySteps - 1, x * kGreySteps / m_width)) / (kGreySteps - 1);
            break;
        default:
            rgb[row - 2] = v;
            break;
    }
}

double CTestChart::AlphaAt(int32_t x, int32_t y) const {
    const double dx = (x + 0.5) / m_width - 0.5, dy = (y + 0.5) / m_height - 0.5;
    const double r = std::sqrt(dx * dx + dy * dy) / std::sqrt(0.5);  // 0 centre, 1 corners
    return r < 0.5 ? 1.0 : 1.0 - (r - 0.5) * 2.0;
}

void CTestChart::Line48(int32_t y, uint16_t* rgb) const {
    double p[3];
    for (int32_t x = 0; x < m_width; ++x) {
        Pixel(x, y, p);
        for (int c = 0; c < 3; ++c)
            rgb[3 * x + c] = To16(p[c]);
    }
}

void CTestChart::Line24(int32_t y, uint8_t* rgb) const {
    double p[3];
    for (int32_t x = 0; x < m_width; ++x) {
        Pixel(x, y, p);
        for (int c = 0; c < 3; ++c)
            rgb[3 * x + c] = To8(p[c]);
    }
}

void CTestChart::Alpha16(int32_t y, uint16_t* alpha) const {
    for (int32_t x = 0; x < m_width; ++x)
        alpha[x] = To16(AlphaAt(x, y));
}

void CTestChart::Alpha8(int32_t y, uint8_t* alpha) const {
    for (int32_t x = 0; x < m_width; ++x)
        alpha[x] = To8(AlphaAt(x, y));
}

int32_t CTestChart::Write(IVandrelIF* service, const std::string& path, const std::string& format,
                          int32_t depth, bool alpha) const {
    if (depth != 24 && depth != 48) return kVxErrInvalidArgument;
    const bool wide = depth == 48;
    CURequest request;
    request.info.lWidth = m_width;
    request.info.lHeight = m_height;
    request.info.lColorDepth = depth;
    request.strFormatName = format.c_str();
    request.lOption3 = alpha ? 1 : 0;
    CUImageInfo lines = request.info;
    CUImageInfo alphaLines = lines;
    alphaLines.lColorDepth = wide ? 16 : 8;
    const int32_t handle =
        service->BeginWriteLine(path.c_str(), request, &lines, alpha ? &alphaLines : nullptr);
    if (handle < 0) return handle;

    // Rows padded to whole words, as the service reads them.
    std::vector<uint32_t> row(size_t(VxPaddedRowBytes(m_width, depth)) / 4 + 1);
    std::vector<uint32_t> alphaRow(size_t(VxPaddedRowBytes(m_width, alphaLines.lColorDepth)) / 4 +
                                   1);
    int32_t result = 1;
    for (int32_t y = 0; y < m_height && result >= 0; ++y) {
        if (wide) {
            Line48(y, reinterpret_cast<uint16_t*>(row.data()));
            if (alpha) Alpha16(y, reinterpret_cast<uint16_t*>(alphaRow.data()));
        } else {
            Line24(y, reinterpret_cast<uint8_t*>(row.data()));
            if (alpha) Alpha8(y, reinterpret_cast<uint8_t*>(alphaRow.data()));
        }
        result = service->WriteLine(handle, row.data(), alpha ? alphaRow.data() : nullptr);
    }
    const int32_t ended = service->EndWriteLine(handle);
    service->DeleteImageHandle(handle);
    if (result < 0) return result;
    return ended < 0 ? ended : 1;
}

}  // namespace vxtool
