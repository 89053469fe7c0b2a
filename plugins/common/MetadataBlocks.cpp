#include "MetadataBlocks.h"

#include <cstring>
#include <new>

#include "vandrel/CodecProperties.h"
#include "vandrel/Status.h"

namespace vxcodec {

namespace {

// Prefixes seen before the TIFF header are short; anything further away is not Exif.
constexpr size_t kMaxExifPrefix = 64;

std::vector<unsigned char>* BlockFor(MetadataBlocks* blocks, int32_t id) {
    if (id == kVxPropIccProfile) return &blocks->icc;
    if (id == kVxPropExif) return &blocks->exif;
    return nullptr;
}

}  // namespace

const int64_t CMemoryBudget::kDefault = kVxDefaultMemoryBudget;

bool MetadataBlocks::Handles(int32_t id) const {
    return id == kVxPropIccProfile || id == kVxPropExif;
}

int32_t MetadataBlocks::Get(int32_t id, void* value) const {
    const std::vector<unsigned char>* block = BlockFor(const_cast<MetadataBlocks*>(this), id);
    if (block == nullptr) return 0;
    if (value == nullptr) return kVxErrInvalidArgument;
    if (block->empty()) return 0;
    VxByteBlock* out = static_cast<VxByteBlock*>(value);
    out->data = block->data();
    out->size = uint32_t(block->size());
    return 1;
}

int32_t MetadataBlocks::Set(int32_t id, const void* value) {
    std::vector<unsigned char>* block = BlockFor(this, id);
    if (block == nullptr) return 0;
    const VxByteBlock* in = static_cast<const VxByteBlock*>(value);
    if (in == nullptr || in->data == nullptr || in->size == 0) return kVxErrInvalidArgument;
    const unsigned char* start = in->data;
    size_t size = in->size;
    if (id == kVxPropExif) {
        // A caller may hand over the block with its JPEG-style prefix; the file gets TIFF.
        start = FindTiffHeader(in->data, in->size);
        if (start == nullptr) return kVxErrInvalidArgument;
        size -= size_t(start - in->data);
    }
    try {
        block->assign(start, start + size);
    } catch (const std::bad_alloc&) {
        return kVxErrCodecMemory;
    }
    return 1;
}

const unsigned char* FindTiffHeader(const unsigned char* data, size_t size) {
    if (data == nullptr) return nullptr;
    const size_t last = size < kMaxExifPrefix + 4 ? size : kMaxExifPrefix + 4;
    for (size_t i = 0; i + 4 <= last; ++i) {
        const unsigned char* p = data + i;
        if ((p[0] == 'I' && p[1] == 'I' && p[2] == 42 && p[3] == 0) ||
            (p[0] == 'M' && p[1] == 'M' && p[2] == 0 && p[3] == 42))
            return p;
    }
    return nullptr;
}

int32_t CBlockTagDirectory::Load(const char* fileName) {
    try {
        Clear();
        if (fileName == nullptr) return kVxErrInvalidArgument;
        MetadataBlocks blocks;
        if (m_reader == nullptr || !m_reader(fileName, &blocks)) return kVxErrCodecFormat;
        LoadBlocks(blocks);
        return 1;
    } catch (const std::bad_alloc&) {
        Clear();
        return kVxErrCodecMemory;
    }
}

void CBlockTagDirectory::LoadBlocks(const MetadataBlocks& blocks) {
    Clear();
    if (!blocks.exif.empty()) ParseTiffBlock(blocks.exif.data(), blocks.exif.size());
    if (!blocks.icc.empty()) {
        CUtilVariant profile;
        profile.set(CUtilVariant::kUndefined, blocks.icc.data(), uint32_t(blocks.icc.size()));
        SetTagValue(kVxTagGroupIfd0, kTagIccProfile, profile);
    }
}

int32_t CMemoryBudget::Set(const void* value) {
    if (value == nullptr) return kVxErrInvalidArgument;
    int64_t bytes;
    std::memcpy(&bytes, value, sizeof bytes);
    if (bytes < 0) return kVxErrInvalidArgument;
    m_bytes = bytes == 0 ? kDefault : bytes;
    return 1;
}

int32_t CMemoryBudget::Get(void* value) const {
    if (value == nullptr) return kVxErrInvalidArgument;
    std::memcpy(value, &m_bytes, sizeof m_bytes);
    return 1;
}

}  // namespace vxcodec
