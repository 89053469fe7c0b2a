// Throughput of the line resamplers on a 12-megapixel RGB frame, in destination megapixels
// per second (items_per_second). bench/peers.sh sets resizes of the same frame against
// OpenCV's cv::resize.
#include <benchmark/benchmark.h>

#include <vector>

#include "ResampleCases.h"
#include "vandrel/ExResize.h"

namespace {

using namespace resamplebench;

template <typename Sample>
const std::vector<Sample>& Frame(int bits) {
    static const std::vector<Sample> frame = MakeFrame<Sample>(bits);
    return frame;
}

template <typename Sample>
void ResizeFrame(benchmark::State& state, int bits, Scale scale, int method) {
    const std::vector<Sample>& frame = Frame<Sample>(bits);
    const uint32_t format = bits == 8 ? EXFORMAT_RGB24 : EXFORMAT_RGB48;
    const EXIMAGEINFO source = {kWidth, kHeight, format};
    const EXIMAGEINFO destination = {scale.width, scale.height, format};
    std::vector<Sample> out(size_t(scale.width) * kChannels);
    const size_t lineSamples = size_t(kWidth) * kChannels;
    int64_t produced = 0;
    for (auto _ : state) {
        EXRESIZE_HANDLE* h = nullptr;
        if (ExCreateResizeHandle(&h) != 0 ||
            ExBeginResize(&source, &destination, method, 0, h) != 0) {
            state.SkipWithError("begin failed");
            break;
        }
        int32_t lines = 0;
        for (int y = 0; y < kHeight && lines < scale.height; ++y) {
            const int32_t ready = ExResizeSetLine(frame.data() + y * lineSamples, h);
            for (int32_t i = 0; i < ready; ++i)
                ExResizeGetLine(out.data(), h, nullptr);
            if (ready > 0) lines += ready;
        }
        benchmark::DoNotOptimize(out.data());
        ExDisposeResizeHandle(h);
        produced += int64_t(scale.width) * scale.height;
    }
    state.SetItemsProcessed(produced);
}

void RegisterAll() {
    for (const Method& m : kMethods)
        for (int bits : {8, 16})
            for (const Scale& s : kScales) {
                auto* b =
                    bits == 8
                        ? benchmark::RegisterBenchmark(CaseName(m, bits, s).c_str(),
                                                       ResizeFrame<uint8_t>, bits, s, m.ours)
                        : benchmark::RegisterBenchmark(CaseName(m, bits, s).c_str(),
                                                       ResizeFrame<uint16_t>, bits, s, m.ours);
                b->Unit(benchmark::kMillisecond);
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
