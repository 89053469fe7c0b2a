// The pieces of the fast tag search: the on-disk directory records, byte-order conversion,
// the binary search over a directory and the conversion of one entry into a variant.
#ifndef VANDREL_METADATA_FASTTAGSEARCH_H
#define VANDREL_METADATA_FASTTAGSEARCH_H

#include <cstdint>

#include "vandrel/TagSearch.h"
#include "vandrel/Variant.h"

// Byte-order mark of a big-endian ("MM") TIFF block; anything else reads as little-endian.
constexpr uint16_t kFtsOrderMotorola = 0x4D4D;

#pragma pack(push, 1)
// The TIFF header followed by the entry count of the directory it names, as stored in the
// file: every field except wOrder is in the file's byte order until converted with Swap.
struct tagFTSHEAD {
    uint16_t wOrder;       // 0x4D4D "MM" or 0x4949 "II" (the same in either host order)
    uint16_t wMagic;       // 42, never checked
    uint32_t lIfdOffset;   // of IFD0, from the start of the TIFF block
    uint16_t wEntryCount;  // of the directory searched with this head
};
#pragma pack(pop)
static_assert(sizeof(tagFTSHEAD) == 10, "the head is read from the file as it is");

// One 12-byte directory entry. After FtsGetTag finds one, wType and lCount are in host order
// and lValue is still the raw value-or-offset field.
struct tagFTSTAG {
    uint16_t wTag;
    uint16_t wType;
    uint32_t lCount;
    uint32_t lValue;  // the value itself when it fits in 4 bytes, else its offset
};
static_assert(sizeof(tagFTSTAG) == 12, "entries are read from the file as they are");

// The file of one search, opened read-only and closed with the object. A directory walk makes
// many small reads close together, so reads are served from one window of the file's bytes
// that is refilled only when a read leaves it. Nothing beyond the end of the file is ever
// asked for, so no count or offset taken from the file can cause a large allocation or a seek
// that would grow the file.
class FtsFile {
public:
    explicit FtsFile(const char* path);
    ~FtsFile();
    FtsFile(const FtsFile&) = delete;
    FtsFile& operator=(const FtsFile&) = delete;

    bool isOpen() const;
    // The file layer's positions are 32-bit: a file of 2 GB or more is read only as far as a
    // seek can reach.
    uint64_t length() const { return m_length; }
    // Copies the bytes [position, position + bytes); false when any lies beyond the end or the
    // file cannot be read.
    bool readAt(uint64_t position, void* buffer, uint32_t bytes);

private:
    static constexpr uint32_t kWindowBytes = 4096;

    bool readDirect(uint64_t position, void* buffer, uint32_t bytes);

    void* m_handle;
    uint64_t m_length = 0;
    uint64_t m_windowStart = 0;
    uint32_t m_windowBytes = 0;
    unsigned char m_window[kWindowBytes];
};

// Converts a word read from a file of the given byte order into host order.
uint16_t Swap(uint16_t order, uint16_t value);
uint32_t Swap(uint16_t order, uint32_t value);

// Bytes per element of a TIFF field type; 0 for types this reader does not know.
uint32_t FtsGetTypeSize(uint16_t type);

// Binary search for tag.wTag over head->wEntryCount entries sorted by tag number. Returns the
// tag number when found (and fills tag as described above), else 0.
uint16_t FtsGetTag(const tagFTSHEAD* head, const tagFTSTAG* entries, tagFTSTAG& tag);

// Converts a found entry into value, reading an out-of-line value from base + its offset.
// 1 when value holds a value afterwards, kVxFtsFailed otherwise.
int32_t FtsMakeVariant(CUtilVariant& value, FtsFile& file, uint32_t base, const tagFTSHEAD* head,
                       const tagFTSTAG* tag);

#endif
