// Rotation throughput on a 4032 x 3024 RGB 8-bit image (a 12-megapixel photograph) held in a
// paged container and in memory: a quarter turn, and 30 degrees with each method. Every run
// produces the whole output image line by line into one caller line buffer.
//
// Mpixel/s counts source pixels per second, so that the numbers compare directly with a peer
// rotating the same image (bench/peers.sh). The reference in the same run is memcpy
// of the source bytes, line by line, into a second image.
//
//   bench_rotate [--benchmark_filter=...]
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "vandrel/UtilContainerIF.h"
#include "vandrel/UtilRotateIF.h"

namespace {

constexpr int32_t kWidth = 4032;
constexpr int32_t kHeight = 3024;
constexpr int32_t kBits = 24;
constexpr double kMegapixels = kWidth * double(kHeight) / 1e6;

struct Source {
    CUImageInfo info;
    std::vector<uint8_t> pixels;
    IUtilContainerIF* container = nullptr;

    Source() {
        info.lWidth = kWidth;
        info.lHeight = kHeight;
        info.lColorDepth = kBits;
        info.lRowBytes = VxPaddedRowBytes(kWidth, kBits);
        pixels.resize(size_t(info.lRowBytes) * kHeight);
        uint32_t state = 12345;
        for (uint8_t& b : pixels) {
            state = state * 1664525u + 1013904223u;
            b = uint8_t(state >> 24);
        }
        container = CreateUtilContainer();
        // Enough cache for every piece: the numbers are about rotating, not about paging.
        if (container == nullptr || container->Create(info, 4096, 256) != 1) std::abort();
        for (int32_t y = 0; y < kHeight; ++y)
            container->SetLine(&pixels[size_t(y) * info.lRowBytes], y, 0, -1);
    }
};

Source& TheSource() {
    static Source source;
    return source;
}

void Report(benchmark::State& state) {
    state.counters["Mpixel/s"] =
        benchmark::Counter(kMegapixels * double(state.iterations()), benchmark::Counter::kIsRate);
}

void Rotate(benchmark::State& state, bool fromContainer, double angle, const char* method) {
    Source& source = TheSource();
    IUtilRotateIF* rotate = CreateUtilRotate();
    CURequest request;
    request.dAngle = angle;
    request.strResizeMethod = method;
    request.lBKColor = 0x808080;
    std::vector<uint8_t> line;
    for (auto _ : state) {
        const int32_t begun =
            fromContainer ? rotate->BeginRotating(source.container, request)
                          : rotate->BeginRotating(source.pixels.data(), source.info, request);
        if (begun != kVxOk) {
            state.SkipWithError("BeginRotating failed");
            break;
        }
        int32_t width = 0, height = 0;
        rotate->GetOutputImageSize(width, height);
        line.resize(size_t(width) * 3);
        for (int32_t i = 0; i < height; ++i)
            rotate->GetLine(line.data());
        benchmark::DoNotOptimize(line.data());
        rotate->EndRotating();
    }
    rotate->Delete();
    Report(state);
}

void BM_CopyReference(benchmark::State& state) {
    Source& source = TheSource();
    std::vector<uint8_t> copy(source.pixels.size());
    for (auto _ : state) {
        for (int32_t y = 0; y < kHeight; ++y)
            std::memcpy(&copy[size_t(y) * source.info.lRowBytes],
                        &source.pixels[size_t(y) * source.info.lRowBytes], size_t(kWidth) * 3);
        benchmark::DoNotOptimize(copy.data());
    }
    Report(state);
}
BENCHMARK(BM_CopyReference)->Unit(benchmark::kMillisecond);

void RegisterAll() {
    const struct {
        double angle;
        const char* method;
    } cases[] = {{90, "Nearest"}, {30, "Nearest"}, {30, "Bilinear"}, {30, "Bicubic"}};
    for (bool fromContainer : {false, true}) {
        for (const auto& c : cases) {
            const std::string name = std::string("BM_Rotate/") +
                                     (fromContainer ? "container/" : "memory/") +
                                     std::to_string(int(c.angle)) + "/" + c.method;
            benchmark::RegisterBenchmark(
                name.c_str(),
                [=](benchmark::State& state) { Rotate(state, fromContainer, c.angle, c.method); })
                ->Unit(benchmark::kMillisecond)
                ->MinTime(1.0);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    RegisterAll();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
