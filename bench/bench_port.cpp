// CopyBits between offscreen worlds, against memcpy of the bytes it writes: a same-size copy
// should run at memcpy speed, a scaled one at a small multiple of it. Sizes are a 1920 x 1080
// destination, 32-bit and 8-bit.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "vandrel/GraphicsPort.h"

namespace {

constexpr int32_t kWidth = 1920;
constexpr int32_t kHeight = 1080;

OpaqueGrafPtr* World(int32_t depth, int32_t width, int32_t height) {
    Rect bounds;
    SetRect(&bounds, 0, 0, width, height);
    OpaqueGrafPtr* world = nullptr;
    NewGWorld(&world, depth, &bounds, 0);
    return world;
}

// range(0): depth; range(1): source size in percent of the destination (100 = same size).
void BM_CopyBits(benchmark::State& state) {
    const int32_t depth = int32_t(state.range(0));
    const int32_t srcWidth = kWidth * int32_t(state.range(1)) / 100;
    const int32_t srcHeight = kHeight * int32_t(state.range(1)) / 100;
    OpaqueGrafPtr* src = World(depth, srcWidth, srcHeight);
    OpaqueGrafPtr* dst = World(depth, kWidth, kHeight);
    Rect from, to;
    SetRect(&from, 0, 0, srcWidth, srcHeight);
    SetRect(&to, 0, 0, kWidth, kHeight);
    for (auto _ : state) {
        CopyBits(GetPortBitMapForCopyBits(src), GetPortBitMapForCopyBits(dst), &from, &to, srcCopy,
                 nullptr);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kWidth * kHeight * (depth / 8));
    DisposeGWorld(src);
    DisposeGWorld(dst);
}
BENCHMARK(BM_CopyBits)
    ->ArgsProduct({{32, 8}, {100, 50, 200}})
    ->ArgNames({"depth", "srcPercent"})
    ->Unit(benchmark::kMicrosecond);

// The reference: the destination's bytes moved by memcpy.
void BM_Memcpy(benchmark::State& state) {
    const size_t bytes = size_t(kWidth) * kHeight * size_t(state.range(0) / 8);
    std::vector<char> a(bytes, 1), b(bytes, 0);
    for (auto _ : state) {
        std::memcpy(b.data(), a.data(), bytes);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
}
BENCHMARK(BM_Memcpy)->Arg(32)->Arg(8)->ArgName("depth")->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
