// The image and the resize cases of our resample benchmark.
#ifndef VANDREL_BENCH_RESAMPLECASES_H
#define VANDREL_BENCH_RESAMPLECASES_H

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace resamplebench {

constexpr int kWidth = 4032;
constexpr int kHeight = 3024;
constexpr int kChannels = 3;

struct Scale {
    const char* name;
    int width, height;
};
// 1/2, 1/4, about 1/10, x1.1 and x4 of a 12-megapixel camera frame.
inline const Scale kScales[] = {
    {"half", 2016, 1512}, {"quarter", 1008, 756}, {"tenth", 403, 302},
    {"x1.1", 4435, 3326}, {"x4", 16128, 12096},
};

struct Method {
    const char* name;
    int ours;  // EXRESIZE_METHOD
};
inline const Method kMethods[] = {{"nearest", 0}, {"bilinear", 1}, {"bicubic", 5}};

inline std::string CaseName(const Method& m, int bits, const Scale& s) {
    return std::string(m.name) + "/" + std::to_string(bits) + "bit/" + s.name;
}

// A photograph-like frame: smooth gradients with some texture, identical on every run.
template <typename Sample>
std::vector<Sample> MakeFrame(int bits) {
    std::vector<Sample> frame(size_t(kWidth) * kHeight * kChannels);
    const double top = bits == 8 ? 255.0 : 65535.0;
    uint32_t state = 12345;
    size_t i = 0;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
            for (int c = 0; c < kChannels; ++c) {
                state = state * 1664525u + 1013904223u;
                const double wave = 0.5 + 0.35 * std::sin(x * 0.004 * (c + 1) + y * 0.003);
                const double grain = ((state >> 16) & 0xff) / 255.0 * 0.15;
                frame[i++] = Sample(std::fmin(top, (wave + grain) * top));
            }
    return frame;
}

}  // namespace resamplebench

#endif
