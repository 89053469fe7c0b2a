// What the framework costs on top of its codec: a 12-megapixel photograph-like JPEG decoded line
// by line through the plug-in interface and through the image-file service (handle, status,
// BeginReadLine, ReadLine), and in the same run straight into one buffer with libjpeg-turbo.
// The ratios of the medians are printed at the end (target: below 1.10).
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include <jpeglib.h>

#include "vandrel/PlugIn.h"
#include "vandrel/Records.h"
#include "vandrel/VandrelIF.h"

namespace {

constexpr int kWidth = 4000;
constexpr int kHeight = 3000;

// A smooth scene with texture, so the entropy decoder has realistic work.
std::string MakeTestJpeg() {
    const char* tmp = std::getenv("TMPDIR");
    std::string path = std::string(tmp && *tmp ? tmp : "/tmp") + "/vx_bench_12mp.jpg";
    jpeg_compress_struct cinfo;
    jpeg_error_mgr err;
    cinfo.err = jpeg_std_error(&err);
    jpeg_create_compress(&cinfo);
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) std::abort();
    jpeg_stdio_dest(&cinfo, file);
    cinfo.image_width = kWidth;
    cinfo.image_height = kHeight;
    cinfo.input_components = 3;
    cinfo.in_color_space = JCS_RGB;
    jpeg_set_defaults(&cinfo);
    jpeg_set_quality(&cinfo, 90, TRUE);
    jpeg_start_compress(&cinfo, TRUE);
    std::vector<unsigned char> row(size_t(kWidth) * 3);
    uint32_t noise = 1;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            noise = noise * 1664525u + 1013904223u;
            double wave = std::sin(x * 0.01) * std::cos(y * 0.013);
            for (int c = 0; c < 3; ++c) {
                int v = int(128 + 90 * wave + (c - 1) * 30 * std::sin((x + y) * 0.002)) +
                        int(noise >> (28 - c)) % 12;
                row[size_t(x) * 3 + c] = static_cast<unsigned char>(v < 0 ? 0 : v > 255 ? 255 : v);
            }
        }
        JSAMPROW rows[1] = {row.data()};
        jpeg_write_scanlines(&cinfo, rows, 1);
    }
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_compress(&cinfo);
    std::fclose(file);
    return path;
}

const std::string& TestJpeg() {
    static const std::string path = MakeTestJpeg();
    return path;
}

IPlugIn* JpegPrototype() {
    static IPlugIn* prototype = [] {
        std::string module = std::string(VANDREL_PLUGIN_DIR) + "/VxJpeg.so";
        void* handle = ::dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (handle == nullptr) return static_cast<IPlugIn*>(nullptr);
        auto create = reinterpret_cast<VxCreatePlugInProc>(::dlsym(handle, kVxPlugInEntryPoint));
        return create != nullptr ? create() : nullptr;
    }();
    return prototype;
}

void BM_JpegDirectIntoOneBuffer(benchmark::State& state) {
    const std::string& path = TestJpeg();
    std::vector<unsigned char> image(size_t(kWidth) * kHeight * 3);
    for (auto _ : state) {
        jpeg_decompress_struct cinfo;
        jpeg_error_mgr err;
        cinfo.err = jpeg_std_error(&err);
        jpeg_create_decompress(&cinfo);
        std::FILE* file = std::fopen(path.c_str(), "rb");
        jpeg_stdio_src(&cinfo, file);
        jpeg_read_header(&cinfo, TRUE);
        cinfo.out_color_space = JCS_RGB;
        cinfo.dct_method = JDCT_ISLOW;
        jpeg_start_decompress(&cinfo);
        while (cinfo.output_scanline < cinfo.output_height) {
            JSAMPROW rows[16];
            for (int i = 0; i < 16; ++i)
                rows[i] = image.data() + size_t(cinfo.output_scanline + i) * kWidth * 3;
            jpeg_read_scanlines(
                &cinfo, rows,
                std::min<JDIMENSION>(16, cinfo.output_height - cinfo.output_scanline));
        }
        jpeg_finish_decompress(&cinfo);
        jpeg_destroy_decompress(&cinfo);
        std::fclose(file);
        benchmark::DoNotOptimize(image.data());
    }
    state.SetItemsProcessed(state.iterations() * int64_t(kWidth) * kHeight);
}

void BM_JpegPlugInLineByLine(benchmark::State& state) {
    const std::string& path = TestJpeg();
    IPlugIn* prototype = JpegPrototype();
    if (prototype == nullptr) {
        state.SkipWithError("JPEG plug-in not found");
        return;
    }
    std::vector<unsigned char> line(size_t(VxPaddedRowBytes(kWidth, 24)));
    for (auto _ : state) {
        IPlugIn* plugIn = prototype->CreateInstance();
        plugIn->SetFileName(path.c_str());
        CUImageFileStatus status;
        plugIn->GetFileStatus(&status);
        plugIn->SetRequest(CURequest(), status);
        if (plugIn->Open("r") != 1) {
            state.SkipWithError("open failed");
            plugIn->Delete();
            return;
        }
        for (int y = 0; y < status.info.lHeight; ++y)
            plugIn->ReadLine(line.data(), nullptr);
        plugIn->Close();
        plugIn->Delete();
        benchmark::DoNotOptimize(line.data());
    }
    state.SetItemsProcessed(state.iterations() * int64_t(kWidth) * kHeight);
}

// One service for the whole run, as an application keeps it; deleted at the end of main.
IVandrelIF*& Service() {
    static IVandrelIF* service = CreateVandrel(VANDREL_PLUGIN_DIR);
    return service;
}

// An application's road: per decode a handle, the status, a default request (24-bit logical
// RGB, the file's own layout, so no conversion), and every line.
void DecodeThroughService(benchmark::State& state, bool lentLines) {
    const std::string& path = TestJpeg();
    IVandrelIF* service = Service();
    if (service == nullptr || service->GetDecoderVersion("JPEG") == nullptr) {
        state.SkipWithError("service or its JPEG plug-in not found");
        return;
    }
    std::vector<unsigned char> line(size_t(VxPaddedRowBytes(kWidth, 24)));
    for (auto _ : state) {
        const int32_t handle = service->GetImageHandle(path.c_str());
        CUImageInfo info;
        if (handle < 0 || service->BeginReadLine(handle, CURequest(), &info, nullptr) != 1) {
            state.SkipWithError("BeginReadLine failed");
            if (handle > 0) service->DeleteImageHandle(handle);
            return;
        }
        for (int y = 0; y < kHeight; ++y) {
            if (lentLines) {
                void* lent = nullptr;
                service->ReadLine(handle, &lent, nullptr);
                benchmark::DoNotOptimize(lent);
            } else {
                service->ReadLine(handle, static_cast<void*>(line.data()), nullptr);
            }
        }
        service->EndReadLine(handle);
        service->DeleteImageHandle(handle);
        benchmark::DoNotOptimize(line.data());
    }
    state.SetItemsProcessed(state.iterations() * int64_t(kWidth) * kHeight);
}

void BM_JpegServiceIntoCallersLine(benchmark::State& state) {
    DecodeThroughService(state, false);
}

void BM_JpegServiceLentLines(benchmark::State& state) {
    DecodeThroughService(state, true);
}

BENCHMARK(BM_JpegDirectIntoOneBuffer)->Unit(benchmark::kMillisecond)->Repetitions(7);
BENCHMARK(BM_JpegPlugInLineByLine)->Unit(benchmark::kMillisecond)->Repetitions(7);
BENCHMARK(BM_JpegServiceIntoCallersLine)->Unit(benchmark::kMillisecond)->Repetitions(7);
BENCHMARK(BM_JpegServiceLentLines)->Unit(benchmark::kMillisecond)->Repetitions(7);

// Keeps the medians of each benchmark so the ratio can be printed after the run. The machine is
// shared, so CPU time (the decoding thread's own) is the fairer measure; wall time is shown too.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.aggregate_name != "median") continue;
            cpu[run.run_name.function_name] = run.GetAdjustedCPUTime();
            wall[run.run_name.function_name] = run.GetAdjustedRealTime();
        }
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> cpu;
    std::map<std::string, double> wall;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    const char* kDirect = "BM_JpegDirectIntoOneBuffer";
    const char* const kFramework[][2] = {
        {"BM_JpegPlugInLineByLine", "plug-in line by line"},
        {"BM_JpegServiceIntoCallersLine", "service into the caller's line"},
        {"BM_JpegServiceLentLines", "service, lines lent by the handle"},
    };
    for (const auto& entry : kFramework) {
        const char* name = entry[0];
        if (reporter.cpu.count(kDirect) == 0 || reporter.cpu.count(name) == 0) continue;
        std::printf("%s / libjpeg-turbo into one buffer, medians: CPU time %.3f, wall time %.3f\n",
                    entry[1], reporter.cpu[name] / reporter.cpu[kDirect],
                    reporter.wall[name] / reporter.wall[kDirect]);
    }
    if (Service() != nullptr) Service()->Delete();
    std::remove(TestJpeg().c_str());
    benchmark::Shutdown();
    return 0;
}
