#include "TagDirectory.h"

#include <cstring>
#include <iterator>
#include <new>
#include <set>

#include "vandrel/Status.h"

namespace vxcodec {

namespace {

constexpr int32_t kTagExifIfd = 0x8769;
constexpr int32_t kTagGpsIfd = 0x8825;
constexpr int32_t kTagInteropIfd = 0xA005;

// A single value larger than this is not metadata but damage; it is skipped.
constexpr uint64_t kMaxValueBytes = 64u << 20;
// Directories hold a few hundred entries at most; more means the count is garbage.
constexpr uint32_t kMaxEntries = 4096;

struct FieldKind {
    CUtilVariant::Type variant;
    uint32_t elementSize;
    uint32_t swapUnit;  // rationals swap as two 32-bit halves
};

// TIFF field types 1..10 and the variant each becomes; signed and unsigned longs share one.
bool KindOf(uint16_t tiffType, FieldKind& kind) {
    static const FieldKind kKinds[11] = {
        {CUtilVariant::kEmpty, 0, 0},     {CUtilVariant::kByte, 1, 1},
        {CUtilVariant::kAscii, 1, 1},     {CUtilVariant::kShort, 2, 2},
        {CUtilVariant::kLong, 4, 4},      {CUtilVariant::kRational, 8, 4},
        {CUtilVariant::kSByte, 1, 1},     {CUtilVariant::kUndefined, 1, 1},
        {CUtilVariant::kSShort, 2, 2},    {CUtilVariant::kLong, 4, 4},
        {CUtilVariant::kSRational, 8, 4},
    };
    // Type 13 (IFD) is a LONG that links a directory; libtiff writes its Exif links so.
    constexpr uint16_t kTiffIfd = 13;
    if (tiffType == kTiffIfd) {
        kind = kKinds[4];
        return true;
    }
    if (tiffType < 1 || tiffType > 10) return false;
    kind = kKinds[tiffType];
    return true;
}

uint16_t Read16(const unsigned char* p, bool bigEndian) {
    return bigEndian ? uint16_t(p[0] << 8 | p[1]) : uint16_t(p[1] << 8 | p[0]);
}
uint32_t Read32(const unsigned char* p, bool bigEndian) {
    return bigEndian ? uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3]
                     : uint32_t(p[3]) << 24 | uint32_t(p[2]) << 16 | uint32_t(p[1]) << 8 | p[0];
}

// Converts elements of swapUnit bytes from the file's order to the host's, in place.
void ToHostOrder(unsigned char* data, size_t bytes, uint32_t swapUnit, bool bigEndian) {
    if (swapUnit == 2) {
        for (size_t i = 0; i + 1 < bytes; i += 2) {
            uint16_t v = Read16(data + i, bigEndian);
            std::memcpy(data + i, &v, 2);
        }
    } else if (swapUnit == 4) {
        for (size_t i = 0; i + 3 < bytes; i += 4) {
            uint32_t v = Read32(data + i, bigEndian);
            std::memcpy(data + i, &v, 4);
        }
    }
}

bool ReadExact(std::FILE* file, void* buffer, size_t size) {
    return std::fread(buffer, 1, size, file) == size;
}

}  // namespace

// Random access to the bytes of a TIFF block, in memory or in a file.
class CTagDirectory::Source {
public:
    Source(const unsigned char* data, size_t size) : m_data(data), m_size(size) {}
    explicit Source(std::FILE* file) : m_file(file) {
        if (fseeko(file, 0, SEEK_END) == 0) {
            off_t end = ftello(file);
            m_size = end > 0 ? uint64_t(end) : 0;
        }
    }
    uint64_t Size() const { return m_size; }
    bool ReadAt(uint64_t offset, void* buffer, size_t size) const {
        if (offset > m_size || size > m_size - offset) return false;
        if (size == 0) return true;
        if (m_data != nullptr) {
            std::memcpy(buffer, m_data + offset, size);
            return true;
        }
        return fseeko(m_file, off_t(offset), SEEK_SET) == 0 && ReadExact(m_file, buffer, size);
    }

private:
    const unsigned char* m_data = nullptr;
    std::FILE* m_file = nullptr;
    uint64_t m_size = 0;
};

int32_t CTagDirectory::Load(const char* fileName) {
    try {
        Clear();
        if (fileName == nullptr) return kVxErrInvalidArgument;
        std::FILE* file = std::fopen(fileName, "rb");
        if (file == nullptr) return kVxErrCodecOpen;
        unsigned char head[12] = {};
        size_t got = std::fread(head, 1, sizeof head, file);
        static const unsigned char kPng[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
        bool known = true;
        if (got >= 3 && head[0] == 0xFF && head[1] == 0xD8 && head[2] == 0xFF) {
            std::fseek(file, 2, SEEK_SET);
            LoadJpeg(file);
        } else if (got >= 8 && std::memcmp(head, kPng, 8) == 0) {
            std::fseek(file, 8, SEEK_SET);
            LoadPng(file, fileName);
        } else if (got == 12 && std::memcmp(head, "RIFF", 4) == 0 &&
                   std::memcmp(head + 8, "WEBP", 4) == 0) {
            LoadWebp(file);
        } else if (got >= 4 &&
                   ((head[0] == 'I' && head[1] == 'I' && head[2] == 42 && head[3] == 0) ||
                    (head[0] == 'M' && head[1] == 'M' && head[2] == 0 && head[3] == 42))) {
            Source source(file);
            ParseTiff(source);
        } else {
            known = false;
        }
        std::fclose(file);
        return known ? 1 : kVxErrCodecFormat;
    } catch (const std::bad_alloc&) {
        Clear();
        return kVxErrCodecMemory;
    }
}

bool CTagDirectory::LoadJpeg(std::FILE* file) {
    int32_t app2Index = 0;
    bool exifSeen = false;
    std::vector<unsigned char> payload;
    for (;;) {
        int c = std::fgetc(file);
        if (c != 0xFF) return true;
        int marker;
        do {
            marker = std::fgetc(file);
        } while (marker == 0xFF);
        if (marker == EOF || marker == 0xDA || marker == 0xD9) return true;
        if ((marker >= 0xD0 && marker <= 0xD7) || marker == 0x01) continue;
        unsigned char lengthBytes[2];
        if (!ReadExact(file, lengthBytes, 2)) return false;
        uint32_t length = uint32_t(lengthBytes[0]) << 8 | lengthBytes[1];
        if (length < 2) return false;
        const bool wanted = marker == 0xE2 || (marker == 0xE1 && !exifSeen);
        if (!wanted) {
            if (std::fseek(file, long(length - 2), SEEK_CUR) != 0) return false;
            continue;
        }
        payload.resize(length);
        payload[0] = lengthBytes[0];
        payload[1] = lengthBytes[1];
        if (!ReadExact(file, payload.data() + 2, length - 2)) return false;
        if (marker == 0xE2) {
            CUtilVariant segment;
            segment.set(CUtilVariant::kUndefined, payload.data(), length);
            Store(kVxTagGroupApp2, app2Index++, segment);
        } else if (length >= 8 && std::memcmp(payload.data() + 2, "Exif\0\0", 6) == 0) {
            exifSeen = true;
            ParseTiffBlock(payload.data() + 8, length - 8);
        }
    }
}

bool CTagDirectory::LoadPng(std::FILE* file, const char* fileName) {
    std::vector<unsigned char> data;
    for (;;) {
        unsigned char header[8];
        if (!ReadExact(file, header, 8)) break;
        uint32_t length = Read32(header, true);
        if (length > 0x7FFFFFFFu) break;
        if (std::memcmp(header + 4, "IEND", 4) == 0) break;
        if (std::memcmp(header + 4, "eXIf", 4) == 0 && length <= kMaxValueBytes) {
            data.resize(length);
            if (!ReadExact(file, data.data(), length)) break;
            ParseTiffBlock(data.data(), data.size());
            if (std::fseek(file, 4, SEEK_CUR) != 0) break;
            continue;
        }
        if (fseeko(file, off_t(length) + 4, SEEK_CUR) != 0) break;
    }
    if (m_pngProfileReader != nullptr) {
        std::vector<unsigned char> profile;
        if (m_pngProfileReader(fileName, profile) && !profile.empty()) {
            CUtilVariant value;
            value.set(CUtilVariant::kUndefined, profile.data(), uint32_t(profile.size()));
            Store(kVxTagGroupIfd0, kTagIccProfile, value);
        }
    }
    return true;
}

// WebP keeps its metadata in RIFF chunks after the 12-byte header: "ICCP" holds the profile,
// "EXIF" the TIFF block (some writers put "Exif\0\0" before it). Chunks are padded to even
// sizes. The profile joins the first directory only after the Exif block has been parsed,
// since a directory is parsed only while it is not there yet.
bool CTagDirectory::LoadWebp(std::FILE* file) {
    std::vector<unsigned char> data, profile;
    bool whole = true;
    for (;;) {
        unsigned char header[8];
        if (!ReadExact(file, header, 8)) break;
        const uint32_t length = Read32(header + 4, false);
        const bool icc = std::memcmp(header, "ICCP", 4) == 0;
        const bool exif = std::memcmp(header, "EXIF", 4) == 0;
        const off_t padding = length & 1;
        if ((icc || exif) && length <= kMaxValueBytes) {
            std::vector<unsigned char>& target = icc ? profile : data;
            target.resize(length);
            if (!ReadExact(file, target.data(), length)) {
                target.clear();
                whole = false;
                break;
            }
            if (exif) {
                const size_t skip =
                    length >= 6 && std::memcmp(data.data(), "Exif\0\0", 6) == 0 ? 6 : 0;
                ParseTiffBlock(data.data() + skip, length - skip);
            }
        } else if (fseeko(file, off_t(length), SEEK_CUR) != 0) {
            break;
        }
        if (fseeko(file, padding, SEEK_CUR) != 0) break;
    }
    if (!profile.empty()) {
        CUtilVariant value;
        value.set(CUtilVariant::kUndefined, profile.data(), uint32_t(profile.size()));
        Store(kVxTagGroupIfd0, kTagIccProfile, value);
    }
    return whole;
}

bool CTagDirectory::ParseTiffBlock(const unsigned char* data, size_t size) {
    Source source(data, size);
    return ParseTiff(source);
}

bool CTagDirectory::ParseTiff(Source& source) {
    unsigned char header[8];
    if (!source.ReadAt(0, header, 8)) return false;
    bool bigEndian;
    if (header[0] == 'M' && header[1] == 'M') {
        bigEndian = true;
    } else if (header[0] == 'I' && header[1] == 'I') {
        bigEndian = false;
    } else {
        return false;
    }
    if (Read16(header + 2, bigEndian) != 42) return false;  // BigTIFF carries no Exif here
    ParseDirectory(source, bigEndian, Read32(header + 4, bigEndian), kVxTagGroupIfd0);
    return true;
}

void CTagDirectory::ParseDirectory(Source& source, bool bigEndian, uint64_t offset, int32_t group) {
    if (m_groups.count(group) != 0) return;  // each directory once: no loops through links
    unsigned char countBytes[2];
    if (!source.ReadAt(offset, countBytes, 2)) return;
    uint32_t count = Read16(countBytes, bigEndian);
    if (count == 0 || count > kMaxEntries) return;
    std::vector<unsigned char> entries(size_t(count) * 12);
    if (!source.ReadAt(offset + 2, entries.data(), entries.size())) return;
    m_groups[group];  // marks the directory as visited even if no entry survives

    std::vector<std::pair<int32_t, uint32_t>> links;
    std::vector<unsigned char> value;
    // Values are taken only where the block holds them, and one directory copies at most
    // kMaxValueBytes in all: thousands of entries claiming large values (or all naming the same
    // large one) would otherwise cost minutes of clearing and copying for a small file.
    uint64_t spent = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const unsigned char* entry = entries.data() + size_t(i) * 12;
        const int32_t tag = Read16(entry, bigEndian);
        FieldKind kind;
        if (!KindOf(Read16(entry + 2, bigEndian), kind)) continue;
        const uint32_t elements = Read32(entry + 4, bigEndian);
        const uint64_t bytes = uint64_t(kind.elementSize) * elements;
        if (bytes > kMaxValueBytes - spent) continue;
        if (bytes > 4 && uint64_t(Read32(entry + 8, bigEndian)) + bytes > source.Size()) continue;
        spent += bytes;
        value.resize(size_t(bytes));
        if (bytes == 0) {
            // an empty value: nothing to copy
        } else if (bytes <= 4) {
            std::memcpy(value.data(), entry + 8, size_t(bytes));
        } else if (!source.ReadAt(Read32(entry + 8, bigEndian), value.data(), size_t(bytes))) {
            continue;
        }
        ToHostOrder(value.data(), value.size(), kind.swapUnit, bigEndian);
        CUtilVariant variant;
        variant.set(kind.variant, value.data(), elements);
        Store(group, tag, variant);

        const bool isLink =
            (group == kVxTagGroupIfd0 && (tag == kTagExifIfd || tag == kTagGpsIfd)) ||
            (group == kVxTagGroupExif && tag == kTagInteropIfd);
        if (isLink && elements >= 1 && kind.elementSize == 4)
            links.emplace_back(tag, variant.uintAt(0));
    }
    for (const auto& link : links) {
        int32_t target = link.first == kTagExifIfd  ? kVxTagGroupExif
                         : link.first == kTagGpsIfd ? kVxTagGroupGps
                                                    : kVxTagGroupInterop;
        ParseDirectory(source, bigEndian, link.second, target);
    }
}

void CTagDirectory::Store(int32_t group, int32_t tag, const CUtilVariant& value) {
    m_groups[group][tag] = value;
}

const CUtilVariant* CTagDirectory::Find(int32_t group, int32_t tag) const {
    auto g = m_groups.find(group);
    if (g == m_groups.end()) return nullptr;
    auto t = g->second.find(tag);
    return t == g->second.end() ? nullptr : &t->second;
}

int32_t CTagDirectory::GetTagValue(int32_t group, int32_t tag, CUtilVariant& value) {
    const CUtilVariant* found = Find(group, tag);
    if (found == nullptr) return 0;
    value.set(found->type(), found->data(), found->count());
    return 1;
}

int32_t CTagDirectory::SetTagValue(int32_t group, int32_t tag, const CUtilVariant& value) {
    try {
        Store(group, tag, value);
        return 1;
    } catch (const std::bad_alloc&) {
        return kVxErrCodecMemory;
    }
}

int32_t CTagDirectory::RemoveTag(int32_t group, int32_t tag) {
    auto g = m_groups.find(group);
    if (g == m_groups.end() || g->second.erase(tag) == 0) return 0;
    if (g->second.empty()) m_groups.erase(g);
    return 1;
}

int32_t CTagDirectory::GetTagId(int32_t group, int32_t index) {
    auto g = m_groups.find(group);
    if (g == m_groups.end() || index < 0 || size_t(index) >= g->second.size()) return -1;
    auto t = g->second.begin();
    std::advance(t, index);
    return t->first;
}

int32_t CTagDirectory::GetGroupCount() {
    int32_t groups = 0;
    for (const auto& g : m_groups)
        groups += g.second.empty() ? 0 : 1;
    return groups;
}

int32_t CTagDirectory::GetTagCount(int32_t group) {
    auto g = m_groups.find(group);
    return g == m_groups.end() ? 0 : int32_t(g->second.size());
}

void CTagDirectory::FillCameraInfo(CUCameraInfo* info) {
    auto text = [this](int32_t group, int32_t tag) -> const char* {
        const CUtilVariant* v = Find(group, tag);
        return v != nullptr ? v->text() : "";
    };
    auto number = [this](int32_t group, int32_t tag) -> int32_t {
        const CUtilVariant* v = Find(group, tag);
        return v != nullptr ? int32_t(v->uintAt(0)) : 0;
    };
    info->strMaker = text(kVxTagGroupIfd0, 0x010F);
    info->strModel = text(kVxTagGroupIfd0, 0x0110);
    info->strDateTime = text(kVxTagGroupExif, 0x9003);
    info->lOrientation = number(kVxTagGroupIfd0, 0x0112);
    info->lExifWidth = number(kVxTagGroupExif, 0xA002);
    info->lExifHeight = number(kVxTagGroupExif, 0xA003);
    // "R03" is how camera files declare Adobe RGB when the colour-space tag says uncalibrated.
    info->bColorFlag2 = std::strcmp(text(kVxTagGroupInterop, 0x0001), "R03") == 0 ? 1 : 0;
}

}  // namespace vxcodec
