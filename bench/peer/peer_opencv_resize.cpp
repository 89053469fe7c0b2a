// The peer side of bench/run_resample_peer.sh: the same frame and cases as bench_resample,
// resized with cv::resize on one thread. Built by the script against the system's OpenCV.
#include <benchmark/benchmark.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "ResampleCases.h"

namespace {

using namespace resamplebench;

int Interpolation(const Method& m) {
    if (m.ours == 0) return cv::INTER_NEAREST;
    if (m.ours == 1) return cv::INTER_LINEAR;
    return cv::INTER_CUBIC;
}

template <typename Sample>
const cv::Mat& Frame(int bits) {
    static std::vector<Sample> pixels = MakeFrame<Sample>(bits);
    static const cv::Mat frame(kHeight, kWidth, bits == 8 ? CV_8UC3 : CV_16UC3, pixels.data());
    return frame;
}

template <typename Sample>
void ResizeFrame(benchmark::State& state, int bits, Scale scale, Method method) {
    const cv::Mat& frame = Frame<Sample>(bits);
    cv::Mat out;
    int64_t produced = 0;
    for (auto _ : state) {
        cv::resize(frame, out, cv::Size(scale.width, scale.height), 0, 0, Interpolation(method));
        benchmark::DoNotOptimize(out.data);
        produced += int64_t(scale.width) * scale.height;
    }
    state.SetItemsProcessed(produced);
}

}  // namespace

int main(int argc, char** argv) {
    cv::setNumThreads(1);
    for (const Method& m : kMethods)
        for (int bits : {8, 16})
            for (const Scale& s : kScales) {
                auto* b = bits == 8
                              ? benchmark::RegisterBenchmark(CaseName(m, bits, s).c_str(),
                                                             ResizeFrame<uint8_t>, bits, s, m)
                              : benchmark::RegisterBenchmark(CaseName(m, bits, s).c_str(),
                                                             ResizeFrame<uint16_t>, bits, s, m);
                b->Unit(benchmark::kMillisecond);
            }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
