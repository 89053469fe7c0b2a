// Decodes an image file line by line, resizes it with the bicubic resampler and encodes the
// result in another format, through the public interfaces only.
//
//   vandrel_resize IN OUT FORMAT WIDTH HEIGHT      e.g. vandrel_resize chart.ppm small.png PNG 320
//   240
#include <cstdio>
#include <cstdlib>

#include <vandrel/UtilResizeIF.h>
#include <vandrel/VandrelIF.h>

namespace {

int Fail(const char* what, const char* file, int32_t code) {
    std::fprintf(stderr, "vandrel_resize: %s: %s failed with 0x%08X\n", file, what, unsigned(code));
    return 1;
}

// Pushes every source line through the resizer and writes each output line it yields.
int32_t Pump(IVandrelIF* service, int32_t in, int32_t out, IUtilResizeIF* resizer,
             int32_t sourceLines, int32_t wanted, int32_t* written) {
    // A reducing resizer may deliver its last output line before the last source line.
    for (int32_t y = 0; y < sourceLines && *written < wanted; ++y) {
        void* line = nullptr;
        int32_t result = service->ReadLine(in, &line, nullptr);
        if (VxIsFailure(result)) return result;
        int32_t ready = resizer->SetLine(line);
        if (ready < 0) return ready;
        for (; ready > 0; --ready) {
            result = service->WriteLine(out, resizer->GetLine(), nullptr);
            if (result < 0) return result;
            ++*written;
        }
    }
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        std::fprintf(stderr, "usage: vandrel_resize IN OUT FORMAT WIDTH HEIGHT\n");
        return 2;
    }
    const char* input = argv[1];
    const char* output = argv[2];
    IVandrelIF* service = CreateVandrel(VANDREL_PLUGIN_DIR);
    IUtilResizeIF* resizer = CreateUtilResize();
    if (service == nullptr || resizer == nullptr)
        return Fail("start", VANDREL_PLUGIN_DIR, kVxErrNoPlugIn);

    const int32_t in = service->GetImageHandle(input);
    if (in < 0) return Fail("open", input, in);
    CURequest read;  // 24-bit RGB lines in the file's own size
    CUImageInfo source, alpha;
    int32_t result = service->BeginReadLine(in, read, &source, &alpha);
    if (VxIsFailure(result)) return Fail("read", input, result);

    CURequest write;
    write.info = source;
    write.info.lWidth = std::atoi(argv[4]);
    write.info.lHeight = std::atoi(argv[5]);
    write.info.lRowBytes = 0;
    write.strResizeMethod = "Bicubic";
    write.strFormatName = argv[3];
    result = resizer->BeginResize(source, write);
    if (result < 0) return Fail("resize", input, result);
    const int32_t out = service->BeginWriteLine(output, write, &write.info, nullptr);
    if (out < 0) return Fail("write", output, out);

    int32_t written = 0;
    result = Pump(service, in, out, resizer, source.lHeight, write.info.lHeight, &written);
    const int32_t ended = service->EndWriteLine(out);
    service->DeleteImageHandle(out);
    service->EndReadLine(in);
    service->DeleteImageHandle(in);
    resizer->EndResize();
    resizer->Delete();
    service->Delete();
    if (VxIsFailure(result)) return Fail("resize", input, result);
    if (ended < 0) return Fail("write", output, ended);
    std::printf("%s: %d x %d -> %s: %d x %d, %d lines written\n", input, source.lWidth,
                source.lHeight, output, write.info.lWidth, write.info.lHeight, written);
    return written == write.info.lHeight ? 0 : 1;
}
