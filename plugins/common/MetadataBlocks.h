// The metadata blocks of one instance (CodecProperties.h): a reader keeps what its file holds
// once the status has been read, a writer what its caller handed over before the file is
// opened. Which blocks a format can hold is the codec's word, given as a mask of BlockBit().
#ifndef VANDREL_PLUGINS_METADATABLOCKS_H
#define VANDREL_PLUGINS_METADATABLOCKS_H

#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

#include "vandrel/CodecProperties.h"
#include "vandrel/Status.h"

namespace vxcodec {

class CMetadataBlocks {
public:
    static constexpr uint32_t kIcc = 1u << 0;
    static constexpr uint32_t kExif = 1u << 1;
    static constexpr uint32_t kXmp = 1u << 2;

    // The mask bit of a block property, 0 for any other id.
    static uint32_t BlockBit(int32_t id) {
        switch (id) {
            case kVxPropIccProfile:
                return kIcc;
            case kVxPropExif:
                return kExif;
            case kVxPropXmp:
                return kXmp;
            default:
                return 0;
        }
    }

    // GetProperty of a block: 1 with the bytes, 0 when there are none or id is no block.
    int32_t Get(int32_t id, void* value) const {
        const std::vector<unsigned char>* block = Find(id);
        if (block == nullptr || block->empty()) return 0;
        if (value == nullptr) return kVxErrInvalidArgument;
        VxByteBlock* out = static_cast<VxByteBlock*>(value);
        out->data = block->data();
        out->size = uint32_t(block->size());
        return 1;
    }

    // SetProperty of a block: 1 when copied (an empty block removes it), 0 when id is no block
    // or not one of the `held` kinds.
    int32_t Set(int32_t id, const void* value, uint32_t held) {
        std::vector<unsigned char>* block = Find(id);
        if (block == nullptr || (BlockBit(id) & held) == 0) return 0;
        const VxByteBlock* in = static_cast<const VxByteBlock*>(value);
        if (in == nullptr || (in->data == nullptr && in->size != 0)) return kVxErrInvalidArgument;
        try {
            block->assign(in->data, in->data + in->size);
        } catch (const std::bad_alloc&) {
            return kVxErrCodecMemory;
        }
        return 1;
    }

    // A reader keeps what it found; false when memory ran out (the block is then dropped).
    bool Keep(int32_t id, const unsigned char* data, size_t size) {
        std::vector<unsigned char>* block = Find(id);
        if (block == nullptr) return false;
        try {
            block->assign(data, data + size);
        } catch (const std::bad_alloc&) {
            block->clear();
            return false;
        }
        return true;
    }

    const std::vector<unsigned char>& Icc() const { return m_icc; }
    const std::vector<unsigned char>& Exif() const { return m_exif; }
    const std::vector<unsigned char>& Xmp() const { return m_xmp; }

    void Clear() {
        m_icc.clear();
        m_exif.clear();
        m_xmp.clear();
    }

private:
    std::vector<unsigned char>* Find(int32_t id) {
        switch (id) {
            case kVxPropIccProfile:
                return &m_icc;
            case kVxPropExif:
                return &m_exif;
            case kVxPropXmp:
                return &m_xmp;
            default:
                return nullptr;
        }
    }
    const std::vector<unsigned char>* Find(int32_t id) const {
        return const_cast<CMetadataBlocks*>(this)->Find(id);
    }

    std::vector<unsigned char> m_icc;
    std::vector<unsigned char> m_exif;
    std::vector<unsigned char> m_xmp;
};

// Reading an int32_t property value; false for a null pointer.
inline bool ReadInt32Property(const void* value, int32_t* out) {
    if (value == nullptr) return false;
    *out = *static_cast<const int32_t*>(value);
    return true;
}

}  // namespace vxcodec

#endif
