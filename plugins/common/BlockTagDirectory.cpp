#include "BlockTagDirectory.h"

#include <new>

#include "vandrel/Status.h"

namespace vxcodec {

namespace {

// Prefixes seen before the TIFF header are short; anything further away is not Exif.
constexpr size_t kMaxExifPrefix = 64;

}  // namespace

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
        CMetadataBlocks blocks;
        if (m_reader == nullptr || !m_reader(fileName, &blocks)) return kVxErrCodecFormat;
        LoadBlocks(blocks);
        return 1;
    } catch (const std::bad_alloc&) {
        Clear();
        return kVxErrCodecMemory;
    }
}

void CBlockTagDirectory::LoadBlocks(const CMetadataBlocks& blocks) {
    Clear();
    if (!blocks.Exif().empty()) ParseTiffBlock(blocks.Exif().data(), blocks.Exif().size());
    if (!blocks.Icc().empty()) {
        CUtilVariant profile;
        profile.set(CUtilVariant::kUndefined, blocks.Icc().data(), uint32_t(blocks.Icc().size()));
        SetTagValue(kVxTagGroupIfd0, kTagIccProfile, profile);
    }
}

}  // namespace vxcodec
