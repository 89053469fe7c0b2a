// Straightforward whole-image versions of the resampling formulas, written for clarity and
// used as the oracle the line engines must match byte for byte.
#ifndef VANDREL_TESTS_RESAMPLE_RESAMPLEORACLE_H
#define VANDREL_TESTS_RESAMPLE_RESAMPLEORACLE_H

#include <algorithm>
#include <cstdint>
#include <vector>

#include "vandrel/ExResize.h"

namespace oracle {

// An image of 8- or 16-bit samples, stored widened.
struct Image {
    int32_t width = 0, height = 0, channels = 0;
    std::vector<uint32_t> samples;
    uint32_t at(int32_t x, int32_t y, int32_t c) const {
        return samples[(size_t(y) * width + x) * channels + c];
    }
    uint32_t& at(int32_t x, int32_t y, int32_t c) {
        return samples[(size_t(y) * width + x) * channels + c];
    }
};

inline Image Blank(int32_t w, int32_t h, int32_t ch, uint32_t value = 0) {
    return Image{w, h, ch, std::vector<uint32_t>(size_t(w) * h * ch, value)};
}

inline int32_t Clamp(int32_t v, int32_t lo, int32_t hi) {
    return v < lo ? lo : (v > hi ? hi : v);
}

inline Image Nearest(const Image& src, int32_t dw, int32_t dh) {
    Image out = Blank(dw, dh, src.channels);
    for (int32_t y = 0; y < dh; ++y)
        for (int32_t x = 0; x < dw; ++x)
            for (int32_t c = 0; c < src.channels; ++c)
                out.at(x, y, c) = src.at(int32_t(int64_t(x) * src.width / dw),
                                         int32_t(int64_t(y) * src.height / dh), c);
    return out;
}

// Corner-aligned position in fixed point with `bits` fraction bits.
inline int64_t Position(int32_t i, int32_t source, int32_t destination, int bits) {
    return destination > 1 ? int64_t(i) * (int64_t(source - 1) << bits) / (destination - 1) : 0;
}

inline Image Bilinear(const Image& src, int32_t dw, int32_t dh) {
    Image out = Blank(dw, dh, src.channels);
    for (int32_t y = 0; y < dh; ++y) {
        const int64_t py = Position(y, src.height, dh, 10);
        const int32_t y0 = int32_t(py >> 10), y1 = std::min(y0 + 1, src.height - 1);
        const int64_t fy = py & 1023;
        for (int32_t x = 0; x < dw; ++x) {
            const int64_t px = Position(x, src.width, dw, 10);
            const int32_t x0 = int32_t(px >> 10), x1 = std::min(x0 + 1, src.width - 1);
            const int64_t fx = px & 1023;
            for (int32_t c = 0; c < src.channels; ++c) {
                const int64_t v =
                    (1024 - fy) * ((1024 - fx) * src.at(x0, y0, c) + fx * src.at(x1, y0, c)) +
                    fy * ((1024 - fx) * src.at(x0, y1, c) + fx * src.at(x1, y1, c));
                out.at(x, y, c) = uint32_t((v + 524288) >> 20);
            }
        }
    }
    return out;
}

// The curve an axis uses, by method and scale.
inline int SubTable(int method, int64_t s, int64_t d) {
    if (method >= 2 && method <= 4) return method - 2;
    if (s / d >= 2 || d / s >= 2) return 0;  // factor 2 or more either way
    if (5 * s / d >= 6) return 1;            // reduction by 1.2 or more
    return 5 * d / s > 5 ? 1 : 2;            // enlargement by 1.2 or more, else near identity
}

// Bicubic with edge lines and columns repeated. One deliberate exception: when the last
// destination line lands exactly on the last source line and no earlier destination line
// started at the line before it, the result is the line before the last.
inline Image Bicubic(const Image& src, int32_t dw, int32_t dh, int method, int bits) {
    const int32_t maxValue = bits == 8 ? 255 : 65535;
    const int16_t(*hTable)[4] = BicTable + 64 * SubTable(method, src.width, dw);
    const int16_t(*vTable)[4] = BicTable + 64 * SubTable(method, src.height, dh);
    bool someRowStartsAtSecondLast = false;
    for (int32_t y = 0; y < dh; ++y)
        if ((Position(y, src.height, dh, 6) >> 6) == src.height - 2)
            someRowStartsAtSecondLast = true;
    Image out = Blank(dw, dh, src.channels);
    for (int32_t y = 0; y < dh; ++y) {
        const int64_t py = Position(y, src.height, dh, 6);
        int32_t y0 = int32_t(py >> 6);
        if (y0 == src.height - 1 && src.height >= 2 && !someRowStartsAtSecondLast)
            y0 = src.height - 2;
        const int16_t* v = vTable[py & 63];
        for (int32_t x = 0; x < dw; ++x) {
            const int64_t px = Position(x, src.width, dw, 6);
            const int32_t x0 = int32_t(px >> 6);
            const int16_t* h = hTable[px & 63];
            for (int32_t c = 0; c < src.channels; ++c) {
                int64_t sum = 0;
                for (int i = 0; i < 4; ++i)
                    for (int j = 0; j < 4; ++j)
                        sum += int64_t(v[i]) * h[j] *
                               src.at(Clamp(x0 - 1 + j, 0, src.width - 1),
                                      Clamp(y0 - 1 + i, 0, src.height - 1), c);
                out.at(x, y, c) = uint32_t(Clamp(int32_t((sum + 524288) >> 20), 0, maxValue));
            }
        }
    }
    return out;
}

// Box average of fx × fy blocks, truncating; leftover columns and lines are dropped.
inline Image Box(const Image& src, int32_t fx, int32_t fy) {
    Image out = Blank(src.width / fx, src.height / fy, src.channels);
    for (int32_t y = 0; y < out.height; ++y)
        for (int32_t x = 0; x < out.width; ++x)
            for (int32_t c = 0; c < src.channels; ++c) {
                uint32_t sum = 0;
                for (int32_t j = 0; j < fy; ++j)
                    for (int32_t i = 0; i < fx; ++i)
                        sum += src.at(x * fx + i, y * fy + j, c);
                out.at(x, y, c) = sum / uint32_t(fx * fy);
            }
    return out;
}

}  // namespace oracle

#endif
