// Runs whole images through the resize handle's push/pull protocol and back into oracle
// images, recording what every push answered.
#ifndef VANDREL_TESTS_RESAMPLE_RESIZEDRIVER_H
#define VANDREL_TESTS_RESAMPLE_RESIZEDRIVER_H

#include <cstdint>
#include <cstring>
#include <vector>

#include "ResampleOracle.h"
#include "vandrel/ExResize.h"

namespace driver {

inline uint32_t FormatWord(int32_t channels, int bits) {
    return (uint32_t(channels) << 24) | (uint32_t(bits / 8) << 19) | 0x0123u;
}

inline oracle::Image Noise(int32_t w, int32_t h, int32_t ch, int bits, uint32_t seed) {
    oracle::Image img = oracle::Blank(w, h, ch);
    uint32_t state = seed * 2654435761u + 1;
    for (uint32_t& s : img.samples) {
        state = state * 1664525u + 1013904223u;
        s = (state >> 8) & (bits == 8 ? 0xffu : 0xffffu);
    }
    return img;
}

inline void UnpackLine(oracle::Image& img, int32_t y, const unsigned char* bytes, int bits) {
    const size_t n = size_t(img.width) * img.channels;
    for (size_t i = 0; i < n; ++i) {
        uint16_t s = 0;
        std::memcpy(&s, bytes + i * (bits / 8), size_t(bits / 8));  // the low byte first
        img.samples[size_t(y) * n + i] = s;
    }
}

struct Run {
    int32_t begin = 0;
    std::vector<int32_t> pushes;  // what every push answered
    int32_t pullFailures = 0;
    oracle::Image image;  // the lines that came out, in order
    int32_t linesOut = 0;
};

// With a line-selection mode the caller describes only the `described` lines that reach the
// engine, yet pushes them all.
inline Run Resize(const oracle::Image& src, int bits, int32_t dw, int32_t dh, int method,
                  int32_t mode = 0, int32_t described = 0) {
    Run run;
    run.image = oracle::Blank(dw, dh, src.channels);
    EXRESIZE_HANDLE* h = nullptr;
    if (ExCreateResizeHandle(&h) != 0) return run;
    const EXIMAGEINFO s = {src.width, described ? described : src.height,
                           FormatWord(src.channels, bits)};
    const EXIMAGEINFO d = {dw, dh, s.ulFormat};
    run.begin = ExBeginResize(&s, &d, method, mode, h);
    std::vector<unsigned char> out(size_t(dw) * src.channels * (bits / 8) + 16);
    // Packed once: images of millions of lines would otherwise cost an allocation per line.
    const size_t lineBytes = size_t(src.width) * src.channels * (bits / 8);
    std::vector<unsigned char> packed(lineBytes * src.height);
    for (size_t i = 0; i < src.samples.size(); ++i) {
        const uint16_t v = uint16_t(src.samples[i]);
        std::memcpy(&packed[i * (bits / 8)], &v, size_t(bits / 8));  // the low byte first
    }
    for (int32_t y = 0; run.begin == 0 && y < src.height; ++y) {
        const int32_t ready = ExResizeSetLine(&packed[y * lineBytes], h);
        run.pushes.push_back(ready);
        for (int32_t i = 0; i < ready; ++i) {
            if (ExResizeGetLine(out.data(), h, nullptr) != 0) ++run.pullFailures;
            if (run.linesOut < dh) UnpackLine(run.image, run.linesOut, out.data(), bits);
            ++run.linesOut;
        }
    }
    ExDisposeResizeHandle(h);
    return run;
}

}  // namespace driver

#endif
