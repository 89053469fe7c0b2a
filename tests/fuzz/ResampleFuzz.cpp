// The exported resampling functions with sizes, format word, method and line mode taken from
// the input: begin, push every source line, pull exactly what each push announces, end. The
// rest of the input fills the source lines. Buffers are exactly as long as the format word
// says, so any read or write beyond a line shows.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "FuzzSupport.h"
#include "vandrel/ExResize.h"

namespace {

const uint32_t kFormats[] = {EXFORMAT_GRAY8,        EXFORMAT_GRAY16,       EXFORMAT_RGB24,
                             EXFORMAT_RGB48,        EXFORMAT_RGB24_NATIVE, EXFORMAT_RGB32_NATIVE,
                             EXFORMAT_RGB48_NATIVE, EXFORMAT_RGB64_NATIVE, EXFORMAT_YCC24,
                             EXFORMAT_YCC48};

int32_t Side(FuzzedDataProvider& in) {
    // Mostly small, sometimes long and thin: the sizes where positions and line lengths grow.
    return in.ConsumeBool() ? in.ConsumeIntegralInRange<int32_t>(1, 64)
                            : in.ConsumeIntegralInRange<int32_t>(-2, 70000);
}

size_t LineBytes(int32_t width, uint32_t format) {
    const size_t samples = format >> 24;
    const size_t bytes = ((format >> 19) & 0x1F) == 1 ? 1 : 2;
    return size_t(width) * samples * bytes;
}

bool Affordable(const EXIMAGEINFO& a, const EXIMAGEINFO& b) {
    return int64_t(a.lWidth) * a.lHeight <= vxfuzz::kMaxPixels &&
           int64_t(b.lWidth) * b.lHeight <= vxfuzz::kMaxPixels;
}

void Run(FuzzedDataProvider& in) {
    const uint32_t format =
        in.ConsumeBool() ? in.PickValueInArray(kFormats) : in.ConsumeIntegral<uint32_t>();
    EXIMAGEINFO source = {Side(in), Side(in), format};
    EXIMAGEINFO destination = {Side(in), Side(in), format};
    const EXRESIZE_METHOD method = in.ConsumeIntegralInRange<int32_t>(-1, 8);
    const int32_t mode = in.ConsumeIntegralInRange<int32_t>(0, 4);
    if ((format >> 24) > 8 || !Affordable(source, destination)) return;
    EXRESIZE_HANDLE* handle = nullptr;
    if (ExCreateResizeHandle(&handle) != 0) return;
    if (ExBeginResize(&source, &destination, method, mode, handle) == 0) {
        const std::vector<uint8_t> fill = in.ConsumeRemainingBytes<uint8_t>();
        std::vector<uint8_t> line(LineBytes(source.lWidth, format));
        std::vector<uint8_t> out(LineBytes(destination.lWidth, format));
        for (size_t i = 0; i < line.size(); ++i)
            line[i] = fill.empty() ? uint8_t(i) : fill[i % fill.size()];
        for (int32_t y = 0; y < source.lHeight; ++y) {
            const int32_t ready = ExResizeSetLine(line.data(), handle);
            for (int32_t i = 0; i < ready; ++i) {
                if (ExResizeGetLine(out.data(), handle, nullptr) < 0) break;
                if (format == EXFORMAT_RGB32_NATIVE) ExTransformPixFormat(out.data(), handle);
            }
            if (!line.empty()) line[size_t(y) % line.size()] ^= 0x5A;
        }
    }
    ExEndResize(handle);
    ExDisposeResizeHandle(handle);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    Run(in);
    return 0;
}
