// Small helpers every codec module compiles in: plug-ins never link the core library, so the
// few things they share with it (extension matching, size budgets) live here as inline code.
#ifndef VANDREL_PLUGINS_CODECSUPPORT_H
#define VANDREL_PLUGINS_CODECSUPPORT_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "vandrel/Status.h"
#include "vandrel/Variant.h"

namespace vxcodec {

// A header may claim any size; nothing is allocated for an image above this many pixels.
// Half a gigapixel still leaves room for panoramas while refusing the forged headers that ask
// for many gigabytes.
constexpr uint64_t kMaxImagePixels = uint64_t(1) << 29;
constexpr uint32_t kMaxImageSide = 0x7FFFFFFFu / 8;  // a 64-bit pixel line stays below 2 GB

inline bool AcceptableSize(uint64_t width, uint64_t height) {
    return width >= 1 && height >= 1 && width <= kMaxImageSide && height <= kMaxImageSide &&
           width * height <= kMaxImagePixels;
}

// The size a writer is asked for: 1, an argument error for an empty image, or too large.
inline int32_t CheckWriteSize(int32_t width, int32_t height, int32_t maxSide = 0x7FFFFFFF) {
    if (width < 1 || height < 1) return kVxErrInvalidArgument;
    if (width > maxSide || height > maxSide || !AcceptableSize(uint64_t(width), uint64_t(height)))
        return kVxErrCodecTooLarge;
    return 1;
}

// The samples a writer stores for the depth of a request: 8 and 16 bits are grey, 24 and 48 RGB.
struct WrittenSamples {
    int channels;
    int bits;  // per sample: 8 or 16
};

// False for a depth no writer of this tree stores.
inline bool SamplesForDepth(int32_t depth, WrittenSamples* samples) {
    if (depth != 8 && depth != 16 && depth != 24 && depth != 48) return false;
    samples->channels = depth <= 16 ? 1 : 3;
    samples->bits = depth == 16 || depth == 48 ? 16 : 8;
    return true;
}

inline bool HostIsLittleEndian() {
    const uint16_t probe = 1;
    unsigned char first;
    std::memcpy(&first, &probe, 1);
    return first == 1;
}

// Calls test with each entry of a ';'-separated list, cut to 63 characters and terminated, until
// it answers true; false when no entry does.
template <typename Test>
bool AnyListEntry(const char* list, Test test) {
    const char* entry = list;
    while (*entry != 0) {
        const char* end = std::strchr(entry, ';');
        size_t length = end != nullptr ? size_t(end - entry) : std::strlen(entry);
        char buffer[64];
        size_t kept = length < sizeof buffer - 1 ? length : sizeof buffer - 1;
        std::memcpy(buffer, entry, kept);
        buffer[kept] = 0;
        if (test(static_cast<const char*>(buffer))) return true;
        if (end == nullptr) break;
        entry = end + 1;
    }
    return false;
}

// The extension of a path runs from the last '.' of the whole path to the end of that path
// component; entries of the list that begin with '.' match it regardless of case. Other entries
// are four-character type codes, which files on this platform never carry.
inline bool MatchesExtensionList(const char* path, const char* list) {
    if (path == nullptr || list == nullptr) return false;
    const char* dot = std::strrchr(path, '.');
    char extension[256] = "";
    if (dot != nullptr) {
        size_t length = std::strcspn(dot, "/");
        if (length >= sizeof extension) length = sizeof extension - 1;
        std::memcpy(extension, dot, length);
        extension[length] = 0;
    }
    return AnyListEntry(list, [&extension](const char* entry) {
        return entry[0] == '.' && extension[0] != 0 && __stricmp(entry, extension) == 0;
    });
}

// True when name equals one entry of the ';' list, ignoring case and a leading dot on either
// side: "jpg", ".JPG" and "JPEG" all name the format whose list holds ".jpg;JPEG;".
inline bool NamesListEntry(const char* name, const char* list) {
    if (name == nullptr || list == nullptr || *name == 0) return false;
    if (*name == '.') ++name;
    return AnyListEntry(list, [name](const char* entry) {
        const char* bare = entry[0] == '.' ? entry + 1 : entry;
        return *bare != 0 && __stricmp(bare, name) == 0;
    });
}

// Reads up to size leading bytes of a file; the count read, or -1 when it cannot be opened.
inline long ReadFileHead(const char* path, unsigned char* buffer, size_t size) {
    if (path == nullptr) return -1;
    std::FILE* file = std::fopen(path, "rb");
    if (file == nullptr) return -1;
    size_t got = std::fread(buffer, 1, size, file);
    std::fclose(file);
    return long(got);
}

// Samples of 16-bit lines travel in host order; these move them without alignment demands.
inline uint16_t LoadU16(const unsigned char* p) {
    uint16_t v;
    std::memcpy(&v, p, 2);
    return v;
}
inline void StoreU16(unsigned char* p, uint16_t v) {
    std::memcpy(p, &v, 2);
}

// Splits interleaved pixels of `channels` samples (the last one alpha) into a colour line and
// an alpha line. bytesPerSample is 1 or 2; alpha may be null.
inline void SplitAlpha(const unsigned char* src, int32_t width, int32_t channels,
                       int32_t bytesPerSample, unsigned char* colour, unsigned char* alpha) {
    const size_t colourBytes = size_t(channels - 1) * bytesPerSample;
    const size_t pixelBytes = colourBytes + bytesPerSample;
    for (int32_t x = 0; x < width; ++x) {
        std::memcpy(colour + x * colourBytes, src + x * pixelBytes, colourBytes);
    }
    if (alpha == nullptr) return;
    for (int32_t x = 0; x < width; ++x) {
        std::memcpy(alpha + size_t(x) * bytesPerSample, src + x * pixelBytes + colourBytes,
                    size_t(bytesPerSample));
    }
}

// The inverse of SplitAlpha; a null alpha line writes opaque samples.
inline void JoinAlpha(const unsigned char* colour, const unsigned char* alpha, int32_t width,
                      int32_t channels, int32_t bytesPerSample, unsigned char* dst) {
    const size_t colourBytes = size_t(channels - 1) * bytesPerSample;
    const size_t pixelBytes = colourBytes + bytesPerSample;
    for (int32_t x = 0; x < width; ++x) {
        unsigned char* out = dst + x * pixelBytes;
        std::memcpy(out, colour + x * colourBytes, colourBytes);
        if (alpha != nullptr) {
            std::memcpy(out + colourBytes, alpha + size_t(x) * bytesPerSample,
                        size_t(bytesPerSample));
        } else {
            std::memset(out + colourBytes, 0xFF, size_t(bytesPerSample));
        }
    }
}

// Line targets of SeekLine: origin 0 counts from the first line, 1 from the current one, 2 from
// the end (line 0 of origin 2 is just past the last line). -1 when the origin is unknown.
inline int64_t SeekTarget(int32_t line, int origin, int32_t current, int32_t height) {
    switch (origin) {
        case 0:
            return line;
        case 1:
            return int64_t(current) + line;
        case 2:
            return int64_t(height) + line;
        default:
            return -1;
    }
}

}  // namespace vxcodec

#endif
