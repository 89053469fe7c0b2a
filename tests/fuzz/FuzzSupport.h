// What the harnesses share: the fuzzer's bytes as a file the library can open by name, and
// the bounds that keep one input cheap enough for hundreds of executions a second.
#ifndef VANDREL_TESTS_FUZZ_FUZZSUPPORT_H
#define VANDREL_TESTS_FUZZ_FUZZSUPPORT_H

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace vxfuzz {

// Pixels a harness decodes, resamples or rotates per input; anything larger is only set up.
constexpr int64_t kMaxPixels = int64_t(1) << 20;

// One scratch folder per process, removed at exit with what is in it. The name lives in a
// static buffer, which outlasts every exit handler.
inline const char* ScratchFolder() {
    static char folder[512] = "";
    if (folder[0] == 0) {
        const char* base = std::getenv("TMPDIR");
        std::snprintf(folder, sizeof folder, "%s/vxfuzz-XXXXXX",
                      base != nullptr && *base != 0 ? base : "/tmp");
        if (::mkdtemp(folder) == nullptr) std::abort();
        std::atexit([] {
            const std::string command = std::string("rm -rf '") + folder + "'";
            if (std::system(command.c_str()) != 0) std::fputs("scratch folder left\n", stderr);
        });
    }
    return folder;
}

// Writes the input to <scratch>/<name> and answers that path.
inline std::string InputFile(const uint8_t* data, size_t size, const std::string& name) {
    const std::string path = std::string(ScratchFolder()) + "/" + name;
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) std::abort();
    if (size != 0 && std::fwrite(data, 1, size, file) != size) std::abort();
    std::fclose(file);
    return path;
}

}  // namespace vxfuzz

#endif
