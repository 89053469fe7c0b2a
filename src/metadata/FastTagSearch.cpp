#include "metadata/FastTagSearch.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "platform/OSLib.h"

namespace {

constexpr char kJpegExtensions[] = ".jpg;.jpeg;.jpe;.jfif;JPEG;jpeg;";
constexpr char kTiffExtensions[] = ".tif;.tiff;TIFF;tiff;";

constexpr int32_t kFtsNotSearched = 1;  // not a JPEG or TIFF by name, or no Exif block ahead
constexpr int32_t kFtsConverted = 1;
constexpr int32_t kFtsNothingFound = 0;

constexpr uint16_t kLastIfd0Tag = 0x8000;
constexpr uint16_t kExifIfdPointer = 0x8769;
constexpr uint32_t kUsualIfd0Offset = 8;  // right behind the 8-byte TIFF header
constexpr uint32_t kInlineValueBytes = 4;
constexpr uint16_t kLastKnownType = 10;

constexpr unsigned char kMarkerPrefix = 0xFF;
constexpr unsigned char kStartOfImage = 0xD8;
constexpr unsigned char kApp0 = 0xE0;
constexpr unsigned char kApp1 = 0xE1;
constexpr unsigned char kComment = 0xFE;
constexpr unsigned char kExifIdentifier[6] = {'E', 'x', 'i', 'f', 0, 0};
constexpr uint32_t kApp1HeadBytes = 2 + sizeof kExifIdentifier;  // length, identifier

constexpr bool kHostBigEndian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;

// Element sizes and the variant type of each TIFF field type, indexed by the type number.
constexpr uint32_t kTypeSizes[kLastKnownType + 1] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8};
constexpr CUtilVariant::Type kVariantTypes[kLastKnownType + 1] = {
    CUtilVariant::kEmpty, CUtilVariant::kByte,      CUtilVariant::kAscii,
    CUtilVariant::kShort, CUtilVariant::kLong,      CUtilVariant::kRational,
    CUtilVariant::kSByte, CUtilVariant::kUndefined, CUtilVariant::kSShort,
    CUtilVariant::kLong,  CUtilVariant::kSRational};

void* const kNoFile = reinterpret_cast<void*>(intptr_t(-1));

// A read position in the search's file; moving it costs nothing, reading checks the bounds.
class Cursor {
public:
    explicit Cursor(FtsFile& file) : m_file(file) {}

    uint64_t position() const { return m_position; }
    bool fits(uint64_t bytes) const { return bytes <= m_file.length() - m_position; }
    bool seek(uint64_t position) {
        if (position > m_file.length()) return false;
        m_position = position;
        return true;
    }
    bool read(void* buffer, uint32_t bytes) {
        if (!m_file.readAt(m_position, buffer, bytes)) return false;
        m_position += bytes;
        return true;
    }

private:
    FtsFile& m_file;
    uint64_t m_position = 0;  // never beyond the end of the file
};

// One image file directory: the head that gives its byte order and entry count, and the
// entries (none when the count is 0).
struct Directory {
    tagFTSHEAD head{};
    std::unique_ptr<tagFTSTAG[]> entries;
};

enum class ExifBlock { kFound, kAbsent, kBroken };

// Walks the segments behind the start marker. Only APP0 and COM segments may stand before the
// Exif APP1 segment; anything else means the metadata is not where a quick look finds it.
ExifBlock FindExifBlock(Cursor& reader, uint32_t& base) {
    unsigned char bytes[kApp1HeadBytes];
    if (!reader.read(bytes, 2) || bytes[0] != kMarkerPrefix || bytes[1] != kStartOfImage)
        return ExifBlock::kBroken;
    uint64_t offset = 2;
    for (;;) {
        if (!reader.read(bytes, 2) || bytes[0] != kMarkerPrefix) return ExifBlock::kBroken;
        switch (bytes[1]) {
            case kApp1:
                if (!reader.read(bytes, kApp1HeadBytes)) return ExifBlock::kBroken;
                if (std::memcmp(bytes + 2, kExifIdentifier, sizeof kExifIdentifier) != 0)
                    return ExifBlock::kAbsent;
                base = uint32_t(reader.position());
                return ExifBlock::kFound;
            case kApp0:
            case kComment: {
                if (!reader.read(bytes, 2)) return ExifBlock::kBroken;
                const uint32_t length = uint32_t(bytes[0]) << 8 | bytes[1];
                offset += length + 2;
                if (!reader.seek(offset)) return ExifBlock::kBroken;
                break;
            }
            default:
                return ExifBlock::kAbsent;
        }
    }
}

// Reads the entries that follow the reader's position; the count is checked against what is
// left of the file before anything is allocated.
bool LoadEntries(Cursor& reader, Directory& directory) {
    const uint32_t count = Swap(directory.head.wOrder, directory.head.wEntryCount);
    if (count == 0) return true;
    const uint32_t bytes = count * uint32_t(sizeof(tagFTSTAG));
    if (!reader.fits(bytes)) return false;
    directory.entries.reset(new (std::nothrow) tagFTSTAG[count]);
    return directory.entries != nullptr && reader.read(directory.entries.get(), bytes);
}

// IFD0 usually follows the 8-byte header at once; then the head's last two bytes are already
// its entry count and no seek is needed.
bool LoadIfd0(Cursor& reader, uint32_t base, Directory& ifd0) {
    if (!reader.read(&ifd0.head, sizeof ifd0.head)) return false;
    const uint32_t offset = Swap(ifd0.head.wOrder, ifd0.head.lIfdOffset);
    if (offset != kUsualIfd0Offset) {
        if (!reader.seek(uint64_t(base) + offset)) return false;
        if (!reader.read(&ifd0.head.wEntryCount, sizeof ifd0.head.wEntryCount)) return false;
    }
    return LoadEntries(reader, ifd0);
}

// The Exif directory is the one IFD0 points to with tag 0x8769. Without that tag it stays
// empty and every tag asked of it is absent; false means a broken file.
bool LoadExifDirectory(Cursor& reader, uint32_t base, const Directory& ifd0, Directory& exif) {
    exif.head = ifd0.head;
    exif.head.wEntryCount = 0;
    tagFTSTAG pointer{};
    pointer.wTag = kExifIfdPointer;
    if (FtsGetTag(&ifd0.head, ifd0.entries.get(), pointer) == 0) return true;
    const uint32_t offset = Swap(ifd0.head.wOrder, pointer.lValue);
    if (!reader.seek(uint64_t(base) + offset)) return false;
    if (!reader.read(&exif.head.wEntryCount, sizeof exif.head.wEntryCount)) return false;
    return LoadEntries(reader, exif);
}

// Copies the elements into the variant, converting 16-bit and 32-bit words (both halves of a
// rational are 32-bit words) from the file's byte order.
void StoreElements(CUtilVariant& value, CUtilVariant::Type type, uint32_t count,
                   const unsigned char* source, uint32_t elementBytes, uint16_t order) {
    value.set(type, nullptr, count);
    unsigned char* target = value.data();
    if (target == nullptr) return;
    const uint32_t bytes = elementBytes * count;
    if (elementBytes == 1) {
        std::memcpy(target, source, bytes);
    } else if (elementBytes == 2) {
        for (uint32_t at = 0; at < bytes; at += 2) {
            uint16_t word;
            std::memcpy(&word, source + at, 2);
            word = Swap(order, word);
            std::memcpy(target + at, &word, 2);
        }
    } else {
        for (uint32_t at = 0; at < bytes; at += 4) {
            uint32_t word;
            std::memcpy(&word, source + at, 4);
            word = Swap(order, word);
            std::memcpy(target + at, &word, 4);
        }
    }
}

}  // namespace

FtsFile::FtsFile(const char* path) : m_handle(kNoFile) {
    if (OSLib::VxFopen(&m_handle, path, "r") != 1) {
        m_handle = kNoFile;
        return;
    }
    int32_t end = 0;
    if (OSLib::VxFseek(m_handle, 0, OSLib::kVxFromEnd, &end) == 1)
        m_length = end < 0 ? uint64_t(INT32_MAX) : uint64_t(end);
}

FtsFile::~FtsFile() {
    OSLib::VxFclose(m_handle);
}

bool FtsFile::isOpen() const {
    return m_handle != kNoFile;
}

bool FtsFile::readAt(uint64_t position, void* buffer, uint32_t bytes) {
    if (position > m_length || bytes > m_length - position) return false;
    if (bytes == 0) return true;
    const bool inWindow =
        position >= m_windowStart && position + bytes <= m_windowStart + m_windowBytes;
    if (!inWindow) {
        if (bytes > kWindowBytes) return readDirect(position, buffer, bytes);
        const uint32_t fill = uint32_t(std::min<uint64_t>(kWindowBytes, m_length - position));
        m_windowBytes = 0;
        if (!readDirect(position, m_window, fill)) return false;
        m_windowStart = position;
        m_windowBytes = fill;
    }
    std::memcpy(buffer, m_window + (position - m_windowStart), bytes);
    return true;
}

bool FtsFile::readDirect(uint64_t position, void* buffer, uint32_t bytes) {
    return OSLib::VxFseek(m_handle, int32_t(position), OSLib::kVxFromStart, nullptr) == 1 &&
           OSLib::VxFread(m_handle, buffer, bytes) == int32_t(bytes);
}

uint16_t Swap(uint16_t order, uint16_t value) {
    const bool fileBigEndian = order == kFtsOrderMotorola;
    return fileBigEndian == kHostBigEndian ? value : __builtin_bswap16(value);
}

uint32_t Swap(uint16_t order, uint32_t value) {
    const bool fileBigEndian = order == kFtsOrderMotorola;
    return fileBigEndian == kHostBigEndian ? value : __builtin_bswap32(value);
}

uint32_t FtsGetTypeSize(uint16_t type) {
    return type <= kLastKnownType ? kTypeSizes[type] : 0;
}

uint16_t FtsGetTag(const tagFTSHEAD* head, const tagFTSTAG* entries, tagFTSTAG& tag) {
    const uint16_t order = head->wOrder;
    uint32_t n = Swap(order, head->wEntryCount);
    if (entries == nullptr || n == 0) return 0;
    const tagFTSTAG* range = entries;
    for (;;) {
        const tagFTSTAG& probe = range[n >> 1];
        const uint16_t number = Swap(order, probe.wTag);
        if (number == tag.wTag) {
            tag.wType = Swap(order, probe.wType);
            tag.lCount = Swap(order, probe.lCount);
            tag.lValue = probe.lValue;
            return number;
        }
        if ((n >> 1) == 0) return 0;
        if (tag.wTag > number) {
            range = &probe;
            n = (n >> 1) + (n & 1);
        } else {
            n >>= 1;
        }
    }
}

int32_t FtsMakeVariant(CUtilVariant& value, FtsFile& file, uint32_t base, const tagFTSHEAD* head,
                       const tagFTSTAG* tag) {
    const uint16_t order = head->wOrder;
    const uint32_t elementBytes = FtsGetTypeSize(tag->wType);
    const uint64_t bytes = uint64_t(elementBytes) * tag->lCount;
    const unsigned char* source = reinterpret_cast<const unsigned char*>(&tag->lValue);
    std::unique_ptr<unsigned char[]> buffer;
    if (bytes > kInlineValueBytes) {
        Cursor reader(file);
        if (!reader.seek(uint64_t(base) + Swap(order, tag->lValue)) || !reader.fits(bytes))
            return kVxFtsFailed;
        buffer.reset(new (std::nothrow) unsigned char[bytes]);
        if (buffer == nullptr || !reader.read(buffer.get(), uint32_t(bytes))) return kVxFtsFailed;
        source = buffer.get();
    }
    if (elementBytes != 0)
        StoreElements(value, kVariantTypes[tag->wType], tag->lCount, source, elementBytes, order);
    return value.type() != CUtilVariant::kEmpty ? kFtsConverted : kVxFtsFailed;
}

int32_t FastTagSearch(const char* path, const unsigned short* tags, uint32_t count,
                      CUtilVariant* values) {
    if (path == nullptr || (count > 0 && (tags == nullptr || values == nullptr)))
        return kVxFtsFailed;
    const bool jpeg = OSLib::VxFconfext(path, kJpegExtensions) != 0;
    if (!jpeg && OSLib::VxFconfext(path, kTiffExtensions) == 0) return kFtsNotSearched;

    FtsFile file(path);
    if (!file.isOpen()) return kVxFtsFailed;
    Cursor reader(file);

    uint32_t base = 0;
    if (jpeg) {
        switch (FindExifBlock(reader, base)) {
            case ExifBlock::kFound:
                break;
            case ExifBlock::kAbsent:
                return kFtsNotSearched;
            case ExifBlock::kBroken:
                return kVxFtsFailed;
        }
    }

    Directory ifd0;
    if (!LoadIfd0(reader, base, ifd0)) return kVxFtsFailed;
    Directory exif;
    bool exifLoaded = false;
    int32_t result = kFtsNothingFound;
    for (uint32_t i = 0; i < count; ++i) {
        const Directory* directory = &ifd0;
        if (tags[i] > kLastIfd0Tag) {
            if (!exifLoaded && !LoadExifDirectory(reader, base, ifd0, exif)) return kVxFtsFailed;
            exifLoaded = true;
            directory = &exif;
        }
        tagFTSTAG entry{};
        entry.wTag = tags[i];
        if (FtsGetTag(&directory->head, directory->entries.get(), entry) == 0) continue;
        result = FtsMakeVariant(values[i], file, base, &directory->head, &entry);
        if (result < 0) return result;
    }
    return result;
}
