// The tag database of a format that keeps its metadata in containers of its own (HEIF items,
// WebP chunks): the codec reads the blocks with its library, the database parses the Exif
// block in memory and keeps the ICC profile as tag 0x8773 of the first directory, where TIFF
// files keep theirs.
#ifndef VANDREL_PLUGINS_BLOCKTAGDIRECTORY_H
#define VANDREL_PLUGINS_BLOCKTAGDIRECTORY_H

#include <cstddef>

#include "MetadataBlocks.h"
#include "TagDirectory.h"

namespace vxcodec {

// Where an Exif block really starts: its TIFF header, after whatever prefix a container put
// before it ("Exif\0\0", HEIF's 4-byte offset). Null when the first bytes hold no TIFF header.
const unsigned char* FindTiffHeader(const unsigned char* data, size_t size);

// Reads the metadata of one file with the codec library; false when the file is not the
// codec's.
typedef bool (*MetadataReader)(const char* fileName, CMetadataBlocks* blocks);

class CBlockTagDirectory : public CTagDirectory {
public:
    explicit CBlockTagDirectory(MetadataReader reader) : m_reader(reader) {}
    /* 1 */ int32_t Load(const char* fileName) override;
    // The same from blocks already read.
    void LoadBlocks(const CMetadataBlocks& blocks);

private:
    MetadataReader m_reader;
};

}  // namespace vxcodec

#endif
