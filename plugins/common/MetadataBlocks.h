// The metadata a codec hands out and takes through its properties (CodecProperties.h): the ICC
// profile and the Exif block as whole byte runs, and the memory budget a decoder works within.
// Formats that keep their metadata in containers of their own (HEIF items, WebP chunks) share
// this; the tag database over such a file is the Exif block parsed in memory.
#ifndef VANDREL_PLUGINS_METADATABLOCKS_H
#define VANDREL_PLUGINS_METADATABLOCKS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "TagDirectory.h"

namespace vxcodec {

struct MetadataBlocks {
    std::vector<unsigned char> icc;
    std::vector<unsigned char> exif;  // from "II*\0" or "MM\0*"

    void Clear() {
        icc.clear();
        exif.clear();
    }
    // GetProperty of kVxPropIccProfile / kVxPropExif: 1 with the block, 0 when the file has
    // none or the id is another one.
    int32_t Get(int32_t id, void* value) const;
    // SetProperty of the same: 1, kVxErrInvalidArgument for a null or empty block, 0 for
    // another id.
    int32_t Set(int32_t id, const void* value);
    bool Handles(int32_t id) const;
};

// Where an Exif block really starts: the TIFF header, after whatever prefix the container put
// before it ("Exif\0\0", HEIF's 4-byte offset). Null when there is no TIFF header in the
// first bytes.
const unsigned char* FindTiffHeader(const unsigned char* data, size_t size);

// Reads the metadata of one file with the codec library; false when the file is not the
// codec's.
typedef bool (*MetadataReader)(const char* fileName, MetadataBlocks* blocks);

// A tag database whose Load asks the codec for the file's blocks and parses the Exif block;
// the ICC profile is kept as tag 0x8773 of the first directory, where TIFF files keep theirs.
class CBlockTagDirectory : public CTagDirectory {
public:
    explicit CBlockTagDirectory(MetadataReader reader) : m_reader(reader) {}
    /* 1 */ int32_t Load(const char* fileName) override;
    // The same from blocks already read.
    void LoadBlocks(const MetadataBlocks& blocks);

private:
    MetadataReader m_reader;
};

// kVxPropMemoryBudget: the bytes a decoder may hold for one image.
class CMemoryBudget {
public:
    int64_t Bytes() const { return m_bytes; }
    // 1, or kVxErrInvalidArgument for a negative value; 0 restores the default.
    int32_t Set(const void* value);
    int32_t Get(void* value) const;
    bool Allows(uint64_t bytes) const { return bytes <= uint64_t(m_bytes); }

private:
    int64_t m_bytes = kDefault;
    static const int64_t kDefault;
};

}  // namespace vxcodec

#endif
