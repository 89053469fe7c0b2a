// The bytes a decoder may hold at once for one image (kVxPropMemoryBudget). Each codec spends
// it where its library buffers: libjpeg's coefficient arrays of a multi-scan file, libpng's
// chunk allocations and the whole image of an interlaced file, libtiff's strip and tile
// buffers. A file that needs more fails with kVxErrCodecTooLarge instead of taking the
// machine's memory or temporary disk.
#ifndef VANDREL_PLUGINS_MEMORYBUDGET_H
#define VANDREL_PLUGINS_MEMORYBUDGET_H

#include <cstdint>

#include "vandrel/CodecProperties.h"
#include "vandrel/Status.h"

namespace vxcodec {

class CMemoryBudget {
public:
    // 1, or kVxErrInvalidArgument for a null or negative value; 0 restores the default.
    int32_t Set(const void* value) {
        if (value == nullptr) return kVxErrInvalidArgument;
        const int64_t bytes = *static_cast<const int64_t*>(value);
        if (bytes < 0) return kVxErrInvalidArgument;
        m_bytes = bytes == 0 ? kVxDefaultMemoryBudget : bytes;
        return 1;
    }
    int32_t Get(void* value) const {
        if (value == nullptr) return kVxErrInvalidArgument;
        *static_cast<int64_t*>(value) = m_bytes;
        return 1;
    }
    uint64_t Bytes() const { return uint64_t(m_bytes); }
    bool Allows(uint64_t bytes) const { return bytes <= uint64_t(m_bytes); }

private:
    int64_t m_bytes = kVxDefaultMemoryBudget;
};

}  // namespace vxcodec

#endif
