// Paged container throughput on a 20000 x 15000 24-bit image with a cache of one row of pieces:
// line-by-line writing, line-by-line reading, and column-by-column reading as a right-angle
// rotation does it (one pixel at a time, bottom to top) and as a box walk does it (one-pixel
// wide column boxes). The reference is memcpy of the same bytes, line by line, between two
// buffers larger than the last-level cache, in the same run.
//
// Each phase also reports its peak resident memory (VmHWM, reset before the phase), which for
// the container phases must stay within cache x piece bytes + one line + 32 MB.
//
//   bench_container [--benchmark_filter=...]      page file goes to $TMPDIR (default /tmp)
#include <benchmark/benchmark.h>

#include <time.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "container/ContainerAccess.h"
#include "container/ImageAccess.h"
#include "container/UtilContainer.h"
#include "vandrel/UtilContainerIF.h"

namespace {

constexpr int32_t kWidth = 20000;
constexpr int32_t kHeight = 15000;
constexpr int32_t kBits = 24;
constexpr int32_t kBytesPerPixel = kBits / 8;
constexpr int64_t kImageBytes = int64_t(kWidth) * kHeight * kBytesPerPixel;
constexpr double kMB = 1024.0 * 1024.0;

struct ContainerDeleter {
    void operator()(IUtilContainerIF* c) const {
        if (c != nullptr) c->Delete();
    }
};
std::unique_ptr<IUtilContainerIF, ContainerDeleter> g_container;
int g_pieceSize = 0;

struct PhaseResult {
    double seconds = 0;
    double cpuSeconds = 0;
    double units = 0;  // boxes for the box phases; 0: the phase moves the whole image
    double peakMB = 0;
    double boundMB = 0;  // 0: no bound applies
};
std::map<std::string, PhaseResult> g_results;
std::vector<std::string> g_order;

// Peak resident memory since the last reset, in bytes.
void ResetPeakMemory() {
    std::ofstream("/proc/self/clear_refs") << "5";
}
double PeakMemoryMB() {
    std::ifstream status("/proc/self/status");
    std::string key;
    while (status >> key) {
        if (key == "VmHWM:") {
            double kb = 0;
            status >> kb;
            return kb / 1024.0;
        }
        status.ignore(1 << 20, '\n');
    }
    return 0;
}

CUImageInfo ImageInfo() {
    CUImageInfo info;
    info.lWidth = kWidth;
    info.lHeight = kHeight;
    info.lColorDepth = kBits;
    return info;
}

// A line whose bytes vary with the line, so that nothing can be skipped.
void FillLine(std::vector<char>& line, int32_t y) {
    for (size_t i = 0; i < line.size(); ++i)
        line[i] = char((i * 7 + size_t(y) * 13) >> 2);
}

double BoundMB(const IUtilContainerIF& c) {
    const double pieceBytes = double(c.GetPieceSize()) * c.GetPieceSize() * kBytesPerPixel;
    return (double(c.GetCacheSize()) * pieceBytes + c.GetNeedLineSize()) / kMB + 32.0;
}

// Process CPU time (user and system: the page file's copies happen in the kernel). The machine
// is shared, so wall time also counts waiting for a core; both are reported.
double CpuSeconds() {
    timespec t;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

class PhaseClock {
public:
    PhaseClock() : m_wall(std::chrono::steady_clock::now()), m_cpu(CpuSeconds()) {}
    double Wall() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_wall).count();
    }
    double Cpu() const { return CpuSeconds() - m_cpu; }

private:
    std::chrono::steady_clock::time_point m_wall;
    double m_cpu;
};

void Record(const std::string& name, const PhaseClock& clock, double boundMB, double units = 0) {
    const double seconds = clock.Wall(), cpu = clock.Cpu();
    PhaseResult& r = g_results[name];
    if (r.seconds == 0) g_order.push_back(name);
    // Keep the fastest repetition; the peak is the worst one.
    if (r.seconds == 0 || seconds < r.seconds) r.seconds = seconds;
    if (r.cpuSeconds == 0 || cpu < r.cpuSeconds) r.cpuSeconds = cpu;
    r.units = units;
    const double peak = PeakMemoryMB();
    if (peak > r.peakMB) r.peakMB = peak;
    r.boundMB = boundMB;
}

// Lines are made before the clock starts; a few distinct ones in turn keep every piece's
// bytes varied without timing the pattern generator.
const std::vector<std::vector<char>>& SourceLines(size_t lineBytes) {
    static std::vector<std::vector<char>> lines;
    if (lines.empty() || lines[0].size() != lineBytes) {
        lines.assign(7, std::vector<char>(lineBytes));
        for (size_t i = 0; i < lines.size(); ++i)
            FillLine(lines[i], int32_t(i));
    }
    return lines;
}

bool WriteAllLines(IUtilContainerIF& c, const std::vector<std::vector<char>>& lines) {
    for (int32_t y = 0; y < kHeight; ++y)
        if (c.SetLine(lines[size_t(y) % lines.size()].data(), y, 0, -1) != 1) return false;
    return true;
}

// The container the read phases work on, written once by the write phase.
IUtilContainerIF* FilledContainer(int pieceSize) {
    if (g_container && g_pieceSize == pieceSize && g_container->hasImage())
        return g_container.get();
    g_container.reset(CreateUtilContainer());
    g_pieceSize = pieceSize;
    if (!g_container || g_container->Create(ImageInfo(), 1, pieceSize) != 1 ||
        !WriteAllLines(*g_container, SourceLines(size_t(g_container->GetNeedLineSize())))) {
        g_container.reset();
        return nullptr;
    }
    return g_container.get();
}

std::string PhaseName(const char* phase, int pieceSize) {
    return std::string(phase) + " (piece " + std::to_string(pieceSize) + ")";
}

void BM_WriteLines(benchmark::State& state) {
    const int pieceSize = int(state.range(0));
    g_container.reset();  // its page file goes before the next one is made
    const auto& lines = SourceLines(size_t(ImageInfo().RowBytes()));
    ResetPeakMemory();
    for (auto _ : state) {
        g_container.reset(CreateUtilContainer());
        g_pieceSize = pieceSize;
        const PhaseClock clock;
        if (!g_container || g_container->Create(ImageInfo(), 1, pieceSize) != 1 ||
            !WriteAllLines(*g_container, lines)) {
            state.SkipWithError("the container refused a line");
            g_container.reset();
            return;
        }
        state.SetIterationTime(clock.Wall());
        Record(PhaseName("write lines", pieceSize), clock, BoundMB(*g_container));
    }
    state.SetBytesProcessed(state.iterations() * kImageBytes);
    state.counters["peak_MB"] = PeakMemoryMB();
    state.counters["bound_MB"] = BoundMB(*g_container);
}

void BM_ReadLines(benchmark::State& state) {
    const int pieceSize = int(state.range(0));
    IUtilContainerIF* c = FilledContainer(pieceSize);
    if (c == nullptr) {
        state.SkipWithError("no container");
        return;
    }
    ResetPeakMemory();
    std::vector<char> line(size_t(c->GetNeedLineSize()));
    for (auto _ : state) {
        const PhaseClock clock;
        for (int32_t y = 0; y < kHeight; ++y) {
            if (c->GetLine(line.data(), y, 0) != 1) {
                state.SkipWithError("a line could not be read");
                return;
            }
            benchmark::DoNotOptimize(line.data());
        }
        state.SetIterationTime(clock.Wall());
        Record(PhaseName("read lines", pieceSize), clock, BoundMB(*c));
    }
    state.SetBytesProcessed(state.iterations() * kImageBytes);
    state.counters["peak_MB"] = PeakMemoryMB();
    state.counters["bound_MB"] = BoundMB(*c);
}

// Source column i read from the bottom up, one pixel at a time through the access adapter:
// output line i of a 90-degree rotation.
void BM_ReadColumnsByPixel(benchmark::State& state) {
    const int pieceSize = int(state.range(0));
    IUtilContainerIF* c = FilledContainer(pieceSize);
    if (c == nullptr) {
        state.SkipWithError("no container");
        return;
    }
    ResetPeakMemory();
    CContainerAccess access(c);
    std::vector<char> out(size_t(kHeight) * kBytesPerPixel);
    for (auto _ : state) {
        const PhaseClock clock;
        for (int32_t x = 0; x < kWidth; ++x) {
            char* to = out.data();
            for (int32_t y = kHeight - 1; y >= 0; --y, to += kBytesPerPixel)
                access.GetPixelData(to, x, y);
            benchmark::DoNotOptimize(out.data());
        }
        state.SetIterationTime(clock.Wall());
        Record(PhaseName("read columns by pixel", pieceSize), clock, BoundMB(*c));
    }
    state.SetBytesProcessed(state.iterations() * kImageBytes);
    state.counters["peak_MB"] = PeakMemoryMB();
    state.counters["bound_MB"] = BoundMB(*c);
}

// The same columns as one-pixel-wide boxes.
void BM_ReadColumnsByBox(benchmark::State& state) {
    const int pieceSize = int(state.range(0));
    IUtilContainerIF* c = FilledContainer(pieceSize);
    if (c == nullptr) {
        state.SkipWithError("no container");
        return;
    }
    ResetPeakMemory();
    CContainerAccess access(c);
    std::vector<char> out(size_t(kHeight) * kBytesPerPixel);
    for (auto _ : state) {
        const PhaseClock clock;
        for (int32_t x = 0; x < kWidth; ++x) {
            if (access.GetBoxData(out.data(), x, 0, x, kHeight - 1) != 1) {
                state.SkipWithError("a column could not be read");
                return;
            }
            benchmark::DoNotOptimize(out.data());
        }
        state.SetIterationTime(clock.Wall());
        Record(PhaseName("read columns by box", pieceSize), clock, BoundMB(*c));
    }
    state.SetBytesProcessed(state.iterations() * kImageBytes);
    state.counters["peak_MB"] = PeakMemoryMB();
    state.counters["bound_MB"] = BoundMB(*c);
}

// 2 x 2 neighbourhoods along the first lines, as bilinear sampling near 0 degrees reads them;
// the reference is the same boxes from a plain buffer holding the same lines.
constexpr int32_t kBandLines = 1000;
constexpr double kBoxes = double(kWidth - 1) * double(kBandLines - 1);

unsigned WalkBoxes(CDataAccess& access) {
    unsigned char box[2 * 2 * kBytesPerPixel];
    unsigned sum = 0;
    for (int32_t y = 0; y + 1 < kBandLines; ++y)
        for (int32_t x = 0; x + 1 < kWidth; ++x) {
            access.GetBoxData(box, x, y, x + 1, y + 1);
            sum += box[0] + box[11];
        }
    return sum;
}

void BM_Boxes2x2Container(benchmark::State& state) {
    const int pieceSize = int(state.range(0));
    IUtilContainerIF* c = FilledContainer(pieceSize);
    if (c == nullptr) {
        state.SkipWithError("no container");
        return;
    }
    ResetPeakMemory();
    CContainerAccess access(c);
    for (auto _ : state) {
        const PhaseClock clock;
        benchmark::DoNotOptimize(WalkBoxes(access));
        state.SetIterationTime(clock.Wall());
        Record(PhaseName("2x2 boxes", pieceSize), clock, BoundMB(*c), kBoxes);
    }
    state.SetItemsProcessed(int64_t(state.iterations() * kBoxes));
    state.counters["peak_MB"] = PeakMemoryMB();
}

void BM_Boxes2x2Image(benchmark::State& state) {
    g_container.reset();
    ResetPeakMemory();
    CUImageInfo info = ImageInfo();
    info.lHeight = kBandLines;
    const size_t lineBytes = size_t(info.RowBytes());
    std::vector<char> image(lineBytes * kBandLines), line(lineBytes);
    for (int32_t y = 0; y < kBandLines; ++y) {
        FillLine(line, y);
        std::memcpy(image.data() + size_t(y) * lineBytes, line.data(), lineBytes);
    }
    CImageAccess access(image.data(), info);
    for (auto _ : state) {
        const PhaseClock clock;
        benchmark::DoNotOptimize(WalkBoxes(access));
        state.SetIterationTime(clock.Wall());
        Record("2x2 boxes from a plain buffer", clock, 0, kBoxes);
    }
    state.SetItemsProcessed(int64_t(state.iterations() * kBoxes));
    state.counters["peak_MB"] = PeakMemoryMB();
}

// The same bytes moved by memcpy, line by line, between two 64 MB rings (twice the
// last-level cache), so that both sides go to memory as the container's pieces do.
void BM_MemcpyLines(benchmark::State& state) {
    g_container.reset();
    ResetPeakMemory();
    const size_t lineBytes = size_t(kWidth) * kBytesPerPixel;
    const size_t ringLines = (64u << 20) / lineBytes;
    std::vector<char> from(ringLines * lineBytes), to(ringLines * lineBytes);
    for (size_t i = 0; i < from.size(); ++i)
        from[i] = char(i * 7 >> 2);
    for (auto _ : state) {
        const PhaseClock clock;
        for (int32_t y = 0; y < kHeight; ++y) {
            const size_t at = size_t(y) % ringLines * lineBytes;
            std::memcpy(to.data() + at,
                        from.data() + (ringLines - 1 - size_t(y) % ringLines) * lineBytes,
                        lineBytes);
            benchmark::DoNotOptimize(to.data());
        }
        state.SetIterationTime(clock.Wall());
        Record("memcpy lines (reference)", clock, 0);
    }
    state.SetBytesProcessed(state.iterations() * kImageBytes);
    state.counters["peak_MB"] = PeakMemoryMB();
}

// Registered phase by phase so that, per piece size, reads follow the write that fed them.
void RegisterAll() {
    for (int pieceSize : {128, 512}) {
        auto one = [pieceSize](benchmark::internal::Benchmark* b) {
            b->Arg(pieceSize)->Iterations(1)->Repetitions(3)->UseManualTime()->Unit(
                benchmark::kMillisecond);
        };
        one(benchmark::RegisterBenchmark("BM_WriteLines", BM_WriteLines));
        one(benchmark::RegisterBenchmark("BM_ReadLines", BM_ReadLines));
        one(benchmark::RegisterBenchmark("BM_ReadColumnsByPixel", BM_ReadColumnsByPixel));
        one(benchmark::RegisterBenchmark("BM_ReadColumnsByBox", BM_ReadColumnsByBox));
        one(benchmark::RegisterBenchmark("BM_Boxes2x2Container", BM_Boxes2x2Container));
    }
    benchmark::RegisterBenchmark("BM_Boxes2x2Image", BM_Boxes2x2Image)
        ->Iterations(1)
        ->Repetitions(3)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("BM_MemcpyLines", BM_MemcpyLines)
        ->Iterations(1)
        ->Repetitions(3)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

void PrintSummary() {
    const PhaseResult* ref = nullptr;
    const PhaseResult* boxRef = nullptr;
    for (const auto& [name, r] : g_results) {
        if (name == "memcpy lines (reference)") ref = &r;
        if (name == "2x2 boxes from a plain buffer") boxRef = &r;
    }
    std::printf(
        "\nBest of 3; wall time counts waiting for a core on a shared machine, CPU time"
        " is user + system of the process.\n");
    std::printf("%-34s %9s %9s %9s %9s %8s %8s\n", "whole-image phase", "MB/s wall", "x memcpy",
                "MB/s CPU", "x memcpy", "peak MB", "bound MB");
    for (const std::string& name : g_order) {
        const PhaseResult& r = g_results[name];
        if (r.units != 0) continue;
        const double wall = kImageBytes / kMB / r.seconds, cpu = kImageBytes / kMB / r.cpuSeconds;
        std::printf("%-34s %9.0f %9.3f %9.0f %9.3f %8.1f ", name.c_str(), wall,
                    ref ? wall * ref->seconds / (kImageBytes / kMB) : 0, cpu,
                    ref ? cpu * ref->cpuSeconds / (kImageBytes / kMB) : 0, r.peakMB);
        if (r.boundMB > 0)
            std::printf("%8.1f %s\n", r.boundMB, r.peakMB <= r.boundMB ? "within" : "EXCEEDED");
        else
            std::printf("%8s\n", "-");
    }
    std::printf("\n%-34s %9s %9s %9s %9s %8s %8s\n", "box phase", "ns wall", "x buffer", "ns CPU",
                "x buffer", "peak MB", "bound MB");
    for (const std::string& name : g_order) {
        const PhaseResult& r = g_results[name];
        if (r.units == 0) continue;
        const double wall = r.seconds * 1e9 / r.units, cpu = r.cpuSeconds * 1e9 / r.units;
        std::printf("%-34s %9.1f %9.2f %9.1f %9.2f %8.1f ", name.c_str(), wall,
                    boxRef ? r.seconds / boxRef->seconds : 0, cpu,
                    boxRef ? r.cpuSeconds / boxRef->cpuSeconds : 0, r.peakMB);
        if (r.boundMB > 0)
            std::printf("%8.1f %s\n", r.boundMB, r.peakMB <= r.boundMB ? "within" : "EXCEEDED");
        else
            std::printf("%8s\n", "-");
    }
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RegisterAll();
    benchmark::RunSpecifiedBenchmarks();
    g_container.reset();  // removes the page file
    benchmark::Shutdown();
    PrintSummary();
    return 0;
}
