// Cost of one fast tag search for the four tags the file information asks for, next to the
// least any file-based reader pays: open the file, read its first 4 KB, close it.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include "vandrel/TagSearch.h"

namespace {

constexpr unsigned short kTags[] = {0x0112, 0x0132, 0x9003, 0x9004};
constexpr uint32_t kTagCount = sizeof kTags / sizeof kTags[0];

std::string CorpusJpeg() {
    const char* env = std::getenv("VANDREL_TESTDATA");
    const std::string here = __FILE__;
    const std::string root =
        env && *env ? env : here.substr(0, here.rfind('/')) + "/../../shared/testdata";
    const std::string path = root + "/exif/jpg/Canon_40D.jpg";
    return std::ifstream(path).good() ? path : std::string();
}

std::string U16(uint32_t v) {
    return {char(v & 0xFF), char(v >> 8)};
}
std::string U32(uint32_t v) {
    return U16(v & 0xFFFF) + U16(v >> 16);
}
std::string Entry(uint16_t tag, uint16_t type, uint32_t count, uint32_t value) {
    return U16(tag) + U16(type) + U32(count) + U32(value);
}

// A little-endian camera-like JPEG: APP0, then Exif with orientation, a date in IFD0 and two
// dates in the Exif directory, then 60 KB standing for the image.
std::string GeneratedJpeg() {
    const std::string date("2008:05:30 15:56:01\0", 20);
    const uint32_t ifd0 = 8, exif = ifd0 + 2 + 3 * 12 + 4, values = exif + 2 + 2 * 12 + 4;
    std::string tiff = "II" + U16(42) + U32(ifd0);
    tiff += U16(3) + Entry(0x0112, 3, 1, 6) + Entry(0x0132, 2, 20, values) +
            Entry(0x8769, 4, 1, exif) + U32(0);
    tiff += U16(2) + Entry(0x9003, 2, 20, values + 20) + Entry(0x9004, 2, 20, values + 40) + U32(0);
    tiff += date + date + date;
    const std::string app1 = std::string("Exif\0\0", 6) + tiff;
    std::string jpeg("\xFF\xD8\xFF\xE0\x00\x10JFIF\0\x01\x01\0\0\x01\0\x01\0\0", 20);
    jpeg += std::string("\xFF\xE1", 2) + char((app1.size() + 2) >> 8) +
            char((app1.size() + 2) & 0xFF) + app1;
    return jpeg + std::string("\xFF\xDB", 2) + std::string(60000, '\x11') + "\xFF\xD9";
}

std::string GeneratedPath() {
    static const std::string path = [] {
        const char* dir = std::getenv("TMPDIR");
        std::string p = std::string(dir && *dir ? dir : "/tmp") + "/vx_bench_tagsearch.jpg";
        std::ofstream(p, std::ios::binary) << GeneratedJpeg();
        return p;
    }();
    return path;
}

void Search(benchmark::State& state, const std::string& path) {
    if (path.empty()) {
        state.SkipWithError("no corpus JPEG");
        return;
    }
    CUtilVariant values[kTagCount];
    for (auto _ : state) {
        const int32_t result = FastTagSearch(path.c_str(), kTags, kTagCount, values);
        benchmark::DoNotOptimize(result);
        if (result != 1) {
            state.SkipWithError("search found nothing");
            return;
        }
    }
    state.SetItemsProcessed(state.iterations());
}

void OpenReadClose(benchmark::State& state, const std::string& path) {
    if (path.empty()) {
        state.SkipWithError("no corpus JPEG");
        return;
    }
    char buffer[4096];
    for (auto _ : state) {
        const int fd = ::open(path.c_str(), O_RDONLY);
        benchmark::DoNotOptimize(::read(fd, buffer, sizeof buffer));
        ::close(fd);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_TagSearchCorpusJpeg(benchmark::State& state) {
    Search(state, CorpusJpeg());
}
void BM_TagSearchGeneratedJpeg(benchmark::State& state) {
    Search(state, GeneratedPath());
}
void BM_OpenRead4KClose(benchmark::State& state) {
    OpenReadClose(state, GeneratedPath());
}

BENCHMARK(BM_TagSearchCorpusJpeg);
BENCHMARK(BM_TagSearchGeneratedJpeg);
BENCHMARK(BM_OpenRead4KClose);

}  // namespace

BENCHMARK_MAIN();
