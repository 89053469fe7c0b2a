// Runs the built vandrel tool as a separate process and collects what it printed, and the test
// files its tests read: small hand-built TIFFs with Exif tags.
#ifndef VANDREL_TESTS_TOOL_TOOLRUNNER_H
#define VANDREL_TESTS_TOOL_TOOLRUNNER_H

#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstdint>
#include <cstdlib>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "TestSupport.h"

extern char** environ;

namespace vxtest {

struct ToolRun {
    int exit = -1;
    std::string out;
    std::string err;
    // Lines printed on stderr.
    size_t ErrLines() const {
        size_t n = 0;
        for (char c : err)
            n += c == '\n';
        return n;
    }
};

// Starts the tool with args; stdout and stderr go to files in io. The process id, or -1.
inline pid_t StartTool(const std::vector<std::string>& args, const ScratchDir& io) {
    std::vector<std::string> all;
    all.push_back(VANDREL_TOOL_PATH);
    all.insert(all.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& a : all)
        argv.push_back(&a[0]);
    argv.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 1, io.file("stdout").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&files, 2, io.file("stderr").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_t pid = -1;
    if (posix_spawn(&pid, argv[0], &files, nullptr, argv.data(), environ) != 0) pid = -1;
    posix_spawn_file_actions_destroy(&files);
    return pid;
}

inline ToolRun FinishTool(pid_t pid, const ScratchDir& io) {
    ToolRun run;
    int status = 0;
    if (pid > 0 && ::waitpid(pid, &status, 0) == pid) {
        run.exit = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }
    run.out = ReadFile(io.file("stdout"));
    run.err = ReadFile(io.file("stderr"));
    return run;
}

inline ToolRun RunTool(const std::vector<std::string>& args) {
    ScratchDir io;
    return FinishTool(StartTool(args, io), io);
}

// Names in a folder, dot files included.
inline std::set<std::string> Listing(const std::string& folder) {
    std::set<std::string> names;
    if (DIR* d = ::opendir(folder.c_str())) {
        while (dirent* e = ::readdir(d)) {
            const std::string name = e->d_name;
            if (name != "." && name != "..") names.insert(name);
        }
        ::closedir(d);
    }
    return names;
}

struct Pnm {
    std::string magic;
    int width = 0, height = 0, maxValue = 0;
    std::string samples;
};

inline Pnm ReadPnm(const std::string& path) {
    const std::string bytes = vxtest::ReadFile(path);
    std::istringstream in(bytes);
    Pnm pnm;
    in >> pnm.magic >> pnm.width >> pnm.height >> pnm.maxValue;
    in.get();
    pnm.samples = bytes.substr(size_t(in.tellg()));
    return pnm;
}

// Mean absolute difference of the samples, or -1 when the pictures differ in shape.
inline double MeanDifference(const Pnm& a, const Pnm& b) {
    if (a.magic != b.magic || a.width != b.width || a.height != b.height ||
        a.maxValue != b.maxValue || a.samples.size() != b.samples.size() || a.samples.empty())
        return -1.0;
    double sum = 0;
    for (size_t i = 0; i < a.samples.size(); ++i)
        sum += std::abs(int(uint8_t(a.samples[i])) - int(uint8_t(b.samples[i])));
    return sum / double(a.samples.size());
}

// A little-endian TIFF: 8 x 8 RGB, 8 bits, one strip, with an Exif directory.
// Orientation 6, DateTime "2024:05:06 07:08:09", Make "Vandrel", DateTimeOriginal
// "2023:01:02 03:04:05", ExposureTime 1/250, ColorSpace 1.
class ExifTiff {
public:
    static std::string Build() {
        std::vector<Entry> ifd0 = {
            Short(0x0100, 8),
            Short(0x0101, 8),
            {0x0102, 3, 3, U16(8) + U16(8) + U16(8)},
            Short(0x0103, 1),
            Short(0x0106, 2),
            Ascii(0x010F, "Vandrel"),
            Long(0x0111, 0 /* pixels, patched */),
            Short(0x0112, 6),
            Short(0x0115, 3),
            Short(0x0116, 8),
            Long(0x0117, 8 * 8 * 3),
            Rational(0x011A, 72, 1),
            Rational(0x011B, 72, 1),
            Short(0x0128, 2),
            Ascii(0x0132, "2024:05:06 07:08:09"),
            Long(0x8769, 0 /* Exif directory, patched */),
        };
        std::vector<Entry> exif = {Rational(0x829A, 1, 250), Ascii(0x9003, "2023:01:02 03:04:05"),
                                   Short(0xA001, 1)};
        const uint32_t exifAt = 8 + DirectorySize(ifd0);
        uint32_t dataAt = exifAt + DirectorySize(exif);
        uint32_t payload = 0;
        for (const auto* dir : {&ifd0, &exif})
            for (const Entry& e : *dir)
                if (e.data.size() > 4) payload += uint32_t(e.data.size() + (e.data.size() & 1));
        const uint32_t pixelsAt = dataAt + payload;
        for (Entry& e : ifd0) {
            if (e.tag == 0x0111) e.data = U32(pixelsAt);
            if (e.tag == 0x8769) e.data = U32(exifAt);
        }
        std::string data;
        std::string file = "II" + U16(42) + U32(8);
        file += Directory(ifd0, dataAt, &data);
        file += Directory(exif, dataAt, &data);
        file += data;
        for (int i = 0; i < 8 * 8; ++i) {
            file += char(i * 4);
            file += char(255 - i * 4);
            file += char(i % 8 * 32);
        }
        return file;
    }

private:
    struct Entry {
        uint16_t tag;
        uint16_t type;
        uint32_t count;
        std::string data;
    };
    static std::string U16(uint32_t v) { return std::string{char(v & 0xFF), char(v >> 8 & 0xFF)}; }
    static std::string U32(uint32_t v) { return U16(v & 0xFFFF) + U16(v >> 16); }
    static Entry Short(uint16_t tag, uint16_t v) { return {tag, 3, 1, U16(v)}; }
    static Entry Long(uint16_t tag, uint32_t v) { return {tag, 4, 1, U32(v)}; }
    static Entry Rational(uint16_t tag, uint32_t n, uint32_t d) {
        return {tag, 5, 1, U32(n) + U32(d)};
    }
    static Entry Ascii(uint16_t tag, const std::string& text) {
        return {tag, 2, uint32_t(text.size() + 1), text + std::string(1, '\0')};
    }
    static uint32_t DirectorySize(const std::vector<Entry>& entries) {
        return uint32_t(2 + 12 * entries.size() + 4);
    }
    // Values over four bytes go to the data area at *dataAt, which advances.
    static std::string Directory(const std::vector<Entry>& entries, uint32_t& dataAt,
                                 std::string* data) {
        std::string out = U16(uint32_t(entries.size()));
        for (const Entry& e : entries) {
            out += U16(e.tag) + U16(e.type) + U32(e.count);
            if (e.data.size() <= 4) {
                out += e.data + std::string(4 - e.data.size(), '\0');
            } else {
                out += U32(dataAt);
                *data += e.data;
                if (e.data.size() & 1) *data += '\0';
                dataAt += uint32_t(e.data.size() + (e.data.size() & 1));
            }
        }
        return out + U32(0);
    }
};

}  // namespace vxtest

#endif
