// Helpers for the container suites: patterned images whose every byte depends on its place,
// containers that release themselves, and a private temporary folder for page files.
#ifndef VANDREL_TESTS_CONTAINER_CONTAINERTESTSUPPORT_H
#define VANDREL_TESTS_CONTAINER_CONTAINERTESTSUPPORT_H

#include <dirent.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "container/UtilContainer.h"
#include "vandrel/UtilContainerIF.h"

namespace vxtest {

// A byte that changes with the pixel's column, line and sample, so that a misplaced copy shows.
inline uint8_t PatternByte(int32_t x, int32_t y, int32_t byte) {
    uint32_t h =
        uint32_t(x) * 0x9E3779B1u ^ uint32_t(y) * 0x85EBCA77u ^ uint32_t(byte) * 0xC2B2AE3Du;
    h ^= h >> 15;
    return uint8_t(h * 0x2C1B3C6Du >> 24);
}

inline CUImageInfo MakeInfo(int32_t width, int32_t height, int32_t bits) {
    CUImageInfo info;
    info.lWidth = width;
    info.lHeight = height;
    info.lColorDepth = bits;
    info.lRowBytes = VxPaddedRowBytes(width, bits);
    return info;
}

// One padded line of the pattern; padding bytes are patterned too, as they travel with it.
inline std::vector<uint8_t> PatternLine(const CUImageInfo& info, int32_t y) {
    const int32_t bpp = info.lColorDepth >> 3;
    std::vector<uint8_t> line(size_t(info.RowBytes()));
    for (size_t i = 0; i < line.size(); ++i)
        line[i] = PatternByte(int32_t(i) / bpp, y, int32_t(i) % bpp);
    return line;
}

// The whole pattern image as one buffer of padded lines.
inline std::vector<uint8_t> PatternImage(const CUImageInfo& info) {
    std::vector<uint8_t> image;
    for (int32_t y = 0; y < info.lHeight; ++y)
        for (uint8_t b : PatternLine(info, y))
            image.push_back(b);
    return image;
}

struct ContainerDeleter {
    void operator()(IUtilContainerIF* c) const {
        if (c != nullptr) c->Delete();
    }
};
using ContainerPtr = std::unique_ptr<IUtilContainerIF, ContainerDeleter>;

inline CUtilContainer* AsPaged(const ContainerPtr& c) {
    return static_cast<CUtilContainer*>(c.get());
}

inline ContainerPtr MakeContainer(const CUImageInfo& info, int cacheCount, int pieceSize) {
    ContainerPtr c(CreateUtilContainer());
    if (c && c->Create(info, cacheCount, pieceSize) != 1) c.reset();
    return c;
}

// Writes pattern lines from `from` on; the first line refused, or the height.
inline int32_t FirstRefusedLine(IUtilContainerIF& c, int32_t from = 0) {
    CUImageInfo info;
    c.GetImageInfo(info);
    for (int32_t y = from; y < info.lHeight; ++y)
        if (c.SetLine(PatternLine(info, y).data(), y, 0, -1) != 1) return y;
    return info.lHeight;
}

inline bool FillWithPattern(IUtilContainerIF& c) {
    CUImageInfo info;
    c.GetImageInfo(info);
    return FirstRefusedLine(c) == info.lHeight;
}

// The first line (or -1) whose bytes, padding included, differ from the pattern.
inline int32_t FirstLineNotMatchingPattern(const IUtilContainerIF& c) {
    CUImageInfo info;
    c.GetImageInfo(info);
    std::vector<uint8_t> got(size_t(info.RowBytes()));
    for (int32_t y = 0; y < info.lHeight; ++y) {
        std::fill(got.begin(), got.end(), 0);
        if (c.GetLine(got.data(), y, 0) != 1 || got != PatternLine(info, y)) return y;
    }
    return -1;
}

// Points the temporary folder at a fresh scratch folder for the lifetime of the object.
class ScopedTempDir {
public:
    ScopedTempDir()
        : m_had(std::getenv("TMPDIR") != nullptr), m_old(m_had ? std::getenv("TMPDIR") : "") {
        ::setenv("TMPDIR", m_dir.path().c_str(), 1);
    }
    ~ScopedTempDir() { m_had ? ::setenv("TMPDIR", m_old.c_str(), 1) : ::unsetenv("TMPDIR"); }
    const std::string& path() const { return m_dir.path(); }
    // Page files ("vxtmp...") currently in the folder.
    std::vector<std::string> PageFiles() const {
        std::vector<std::string> names;
        if (DIR* d = ::opendir(m_dir.path().c_str())) {
            while (dirent* e = ::readdir(d))
                if (std::strncmp(e->d_name, "vxtmp", 5) == 0)
                    names.push_back(m_dir.file(e->d_name));
            ::closedir(d);
        }
        return names;
    }

private:
    ScratchDir m_dir;
    bool m_had;
    std::string m_old;
};

}  // namespace vxtest

#endif
