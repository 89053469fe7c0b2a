#include "BlockMetadataPlugIn.h"

#include <new>

#include "vandrel/CodecProperties.h"

namespace vxcodec {

int32_t CBlockMetadataPlugIn::GetProperty(int32_t id, void* value) {
    if (m_fileBlocks.Handles(id)) return m_fileBlocks.Get(id, value);
    if (id == kVxPropMemoryBudget) return m_budget.Get(value);
    return GetCodecProperty(id, value);
}

int32_t CBlockMetadataPlugIn::SetProperty(int32_t id, const void* value) {
    if (m_writeBlocks.Handles(id)) return m_writeBlocks.Set(id, value);
    if (id == kVxPropMemoryBudget) return m_budget.Set(value);
    return SetCodecProperty(id, value);
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
