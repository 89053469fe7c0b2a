// The tool's own test picture: a zone plate (concentric rings whose frequency rises from zero at
// the centre to the sampling limit at the edges, which shows every resampler's aliasing and
// blur), a hue field running through white and black, and grey and primary ramps.
#ifndef VANDREL_TOOL_TESTCHART_H
#define VANDREL_TOOL_TESTCHART_H

#include <cstdint>
#include <string>
#include <vector>

#include "vandrel/VandrelIF.h"

namespace vxtool {

class CTestChart {
public:
    CTestChart(int32_t width, int32_t height);

    int32_t width() const { return m_width; }
    int32_t height() const { return m_height; }
    // Side of the zone plate square in the top-left corner.
    int32_t plateSide() const { return m_plate; }

    // Line y as R, G, B samples of 16 bits (full range 0..65535).
    void Line48(int32_t y, uint16_t* rgb) const;
    // Line y as R, G, B samples of 8 bits, rounded from the same values.
    void Line24(int32_t y, uint8_t* rgb) const;
    // An alpha plane: opaque in the middle, fading towards the corners.
    void Alpha16(int32_t y, uint16_t* alpha) const;
    void Alpha8(int32_t y, uint8_t* alpha) const;

    // Writes the chart through the service as format at depth 24 or 48, with an alpha plane
    // when alpha is set. 1 or the service's code.
    int32_t Write(IVandrelIF* service, const std::string& path, const std::string& format,
                  int32_t depth, bool alpha) const;

private:
    // One pixel in the range 0..1.
    void Pixel(int32_t x, int32_t y, double rgb[3]) const;
    double AlphaAt(int32_t x, int32_t y) const;

    int32_t m_width;
    int32_t m_height;
    int32_t m_plate;
};

}  // namespace vxtool

#endif
