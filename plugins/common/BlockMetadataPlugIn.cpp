#include "BlockMetadataPlugIn.h"

#include <new>

#include "vandrel/CodecProperties.h"

namespace vxcodec {

namespace {

constexpr uint32_t kHeldBlocks =
    CMetadataBlocks::kIcc | CMetadataBlocks::kExif | CMetadataBlocks::kXmp;

}  // namespace

int32_t CBlockMetadataPlugIn::GetProperty(int32_t id, void* value) {
    if ((CMetadataBlocks::BlockBit(id) & kHeldBlocks) != 0) return m_fileBlocks.Get(id, value);
    if (id == kVxPropMemoryBudget) return m_budget.Get(value);
    return GetCodecProperty(id, value);
}

int32_t CBlockMetadataPlugIn::SetProperty(int32_t id, const void* value) {
    if (id == kVxPropExif) return SetExif(value);
    if ((CMetadataBlocks::BlockBit(id) & kHeldBlocks) != 0)
        return m_writeBlocks.Set(id, value, kHeldBlocks);
    if (id == kVxPropMemoryBudget) return m_budget.Set(value);
    return SetCodecProperty(id, value);
}

// A caller may hand over the block with its JPEG-style prefix; the file gets the TIFF
// structure alone, which is what both containers expect.
int32_t CBlockMetadataPlugIn::SetExif(const void* value) {
    const VxByteBlock* in = static_cast<const VxByteBlock*>(value);
    if (in == nullptr || (in->data == nullptr && in->size != 0)) return kVxErrInvalidArgument;
    if (in->size == 0) return m_writeBlocks.Set(kVxPropExif, value, kHeldBlocks);
    const unsigned char* tiff = FindTiffHeader(in->data, in->size);
    if (tiff == nullptr) return kVxErrInvalidArgument;
    const size_t size = in->size - size_t(tiff - in->data);
    return m_writeBlocks.Keep(kVxPropExif, tiff, size) ? 1 : kVxErrCodecMemory;
}

int32_t CBlockMetadataPlugIn::GetCameraInfo(CUCameraInfo* info) {
    if (info == nullptr) return kVxErrInvalidArgument;
    try {
        if (!m_tagDB) m_tagDB.reset(new CBlockTagDirectory(m_reader));
    } catch (const std::bad_alloc&) {
        return kVxErrCodecMemory;
    }
    const int32_t loaded = m_tagDB->Load(FileName());
    if (loaded < 0) return loaded;
    *info = CUCameraInfo();
    m_tagDB->FillCameraInfo(info);
    info->pTagDB = m_tagDB->Empty() ? nullptr : m_tagDB.get();
    return 1;
}

IUTagDB* CBlockMetadataPlugIn::CreateTagDB() {
    return new (std::nothrow) CBlockTagDirectory(m_reader);
}

}  // namespace vxcodec
