// A codec whose file format keeps the ICC profile, the Exif block and the XMP packet in
// containers of its own (HEIF items, WebP chunks). It answers the metadata and memory-budget
// properties, fills the camera information from the Exif block and makes tag databases over it; the
// codec reads the blocks with its library (a MetadataReader, and FileBlocks() in GetFileStatus) and
// writes what SetProperty left in BlocksToWrite().
#ifndef VANDREL_PLUGINS_BLOCKMETADATAPLUGIN_H
#define VANDREL_PLUGINS_BLOCKMETADATAPLUGIN_H

#include <cstdint>
#include <memory>

#include "BlockTagDirectory.h"
#include "MemoryBudget.h"
#include "MetadataBlocks.h"
#include "ReaderWriterPlugIn.h"

namespace vxcodec {

class CBlockMetadataPlugIn : public CReaderWriterPlugIn {
public:
    CBlockMetadataPlugIn(const CodecIdentity& identity, MetadataReader reader)
        : CReaderWriterPlugIn(identity), m_reader(reader) {}

    /* 10 */ int32_t GetProperty(int32_t id, void* value) override;
    /* 11 */ int32_t SetProperty(int32_t id, const void* value) override;
    /* 13 */ int32_t GetCameraInfo(CUCameraInfo* info) override;
    /* 24 */ IUTagDB* CreateTagDB() override;

protected:
    ~CBlockMetadataPlugIn() override = default;

    // The codec's own properties; 0 for ids it does not know.
    virtual int32_t GetCodecProperty(int32_t, void*) { return 0; }
    virtual int32_t SetCodecProperty(int32_t, const void*) { return 0; }

    // The file's blocks, as GetFileStatus found them.
    CMetadataBlocks& FileBlocks() { return m_fileBlocks; }
    const CMetadataBlocks& BlocksToWrite() const { return m_writeBlocks; }
    const CMemoryBudget& Budget() const { return m_budget; }

private:
    int32_t SetExif(const void* value);

    MetadataReader m_reader;
    CMetadataBlocks m_fileBlocks;
    CMetadataBlocks m_writeBlocks;
    CMemoryBudget m_budget;
    std::unique_ptr<CBlockTagDirectory> m_tagDB;
};

}  // namespace vxcodec

#endif
