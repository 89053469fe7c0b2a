// Line converters over a 12-megapixel photo-sized image (4032 x 3024), line by line as the
// service runs them, against memcpy of the same source bytes in the same run.
//
//   bench_convert [--benchmark_filter=...]
//
// Each converter runs with the vectorised kernels (/1) and the portable ones (/0). Besides the
// usual table, a summary prints Mpixel/s and the time relative to memcpy of the source bytes.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "service/PixelConvert.h"

namespace {

constexpr int32_t kWidth = 4032;
constexpr int32_t kHeight = 3024;
constexpr double kPixels = double(kWidth) * kHeight;

struct Image {
    std::vector<uint8_t> rgb8;    // 3 bytes per pixel
    std::vector<uint16_t> rgb16;  // 6 bytes per pixel
    std::vector<uint8_t> out;     // room for any result (6 bytes per pixel)

    Image() : rgb8(size_t(kWidth) * kHeight * 3), rgb16(rgb8.size()), out(rgb8.size() * 2) {
        std::mt19937 rng(1);
        for (auto& v : rgb8)
            v = uint8_t(rng());
        for (auto& v : rgb16)
            v = uint16_t(rng());
    }
};

Image& TheImage() {
    static Image image;
    return image;
}

// Source bytes per pixel of each converter, to pick the memcpy of the same bytes.
const std::map<std::string, int> kSourceBytes = {
    {"BM_RgbToYcc8", 3}, {"BM_YccToRgb8", 3},       {"BM_16To8Dither", 6},
    {"BM_8To16", 3},     {"BM_LogicalToNative", 3}, {"BM_Ycc16ToRgb8", 6},
};

template <typename Line>
void RunLines(benchmark::State& state, Line convertLine) {
    const bool vector = state.range(0) != 0;
    if (vector && !CPixelConvert::VectorKernelsAvailable()) {
        state.SkipWithError("no vector kernels on this processor");
        return;
    }
    const bool previous = CPixelConvert::EnableVectorKernels(vector);
    Image& image = TheImage();
    for (auto _ : state) {
        for (int32_t y = 0; y < kHeight; ++y)
            convertLine(image, y);
        benchmark::ClobberMemory();
    }
    CPixelConvert::EnableVectorKernels(previous);
    state.counters["Mpix/s"] =
        benchmark::Counter(kPixels / 1e6, benchmark::Counter::kIsIterationInvariantRate);
}

void BM_Memcpy(benchmark::State& state) {
    const size_t lineBytes = size_t(kWidth) * size_t(state.range(0));
    Image& image = TheImage();
    const auto* src = reinterpret_cast<const uint8_t*>(image.rgb16.data());
    for (auto _ : state) {
        for (int32_t y = 0; y < kHeight; ++y)
            std::memcpy(image.out.data() + y * lineBytes, src + y * lineBytes, lineBytes);
        benchmark::ClobberMemory();
    }
    state.counters["Mpix/s"] =
        benchmark::Counter(kPixels / 1e6, benchmark::Counter::kIsIterationInvariantRate);
}

void BM_RgbToYcc8(benchmark::State& state) {
    RunLines(state, [](Image& im, int32_t y) {
        size_t at = size_t(y) * kWidth * 3;
        CPixelConvert::ConvertRgbToYcc(im.rgb8.data() + at, im.out.data() + at, kWidth);
    });
}

void BM_YccToRgb8(benchmark::State& state) {
    RunLines(state, [](Image& im, int32_t y) {
        size_t at = size_t(y) * kWidth * 3;
        CPixelConvert::ConvertYccToRgb(im.rgb8.data() + at, im.out.data() + at, kWidth);
    });
}

void BM_16To8Dither(benchmark::State& state) {
    RunLines(state, [](Image& im, int32_t y) {
        size_t at = size_t(y) * kWidth * 3;
        CPixelConvert::Convert16To8(im.rgb16.data() + at, im.out.data() + at, kWidth, 3, y);
    });
}

void BM_8To16(benchmark::State& state) {
    RunLines(state, [](Image& im, int32_t y) {
        size_t at = size_t(y) * kWidth * 3;
        CPixelConvert::Convert8To16(im.rgb8.data() + at,
                                    reinterpret_cast<uint16_t*>(im.out.data()) + at, kWidth * 3);
    });
}

void BM_LogicalToNative(benchmark::State& state) {
    CUImageInfo info;
    info.lWidth = kWidth;
    info.lColorDepth = 24;
    RunLines(state, [&info](Image& im, int32_t y) {
        CPixelConvert::ConvertLogicalToNative(im.out.data() + size_t(y) * kWidth * 4,
                                              im.rgb8.data() + size_t(y) * kWidth * 3, info, y);
    });
}

void BM_Ycc16ToRgb8(benchmark::State& state) {
    RunLines(state, [](Image& im, int32_t y) {
        size_t at = size_t(y) * kWidth * 3;
        CPixelConvert::ConvertYcc16ToRgb8(im.rgb16.data() + at, im.out.data() + at, kWidth, y);
    });
}

BENCHMARK(BM_Memcpy)->Arg(3)->Arg(6)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_RgbToYcc8)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_YccToRgb8)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_16To8Dither)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_8To16)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_LogicalToNative)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Ycc16ToRgb8)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();

// Keeps the console table and adds, at the end, each converter's time relative to memcpy of
// its source bytes (medians when repetitions are asked for, else the single run).
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.error_occurred) continue;
            const bool aggregate = run.run_type == Run::RT_Aggregate;
            if (aggregate && run.aggregate_name != "median") continue;
            // Single runs come first, so a median replaces them.
            m_ms[run.run_name.str()] = run.GetAdjustedRealTime();
        }
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        std::printf("\n%-28s %10s %10s %14s\n", "converter", "ms/image", "Mpix/s", "x memcpy time");
        for (const auto& [name, ms] : m_ms) {
            auto bytes = kSourceBytes.find(name.substr(0, name.find('/')));
            auto copy = m_ms.end();
            if (bytes != kSourceBytes.end())
                copy = m_ms.find("BM_Memcpy/" + std::to_string(bytes->second) + "/real_time");
            std::printf("%-28s %10.2f %10.0f", name.c_str(), ms, kPixels / 1e3 / ms);
            if (copy != m_ms.end()) std::printf(" %14.2f", ms / copy->second);
            std::printf("\n");
        }
    }

private:
    std::map<std::string, double> m_ms;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    TheImage();
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
