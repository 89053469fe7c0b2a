#include "container/ImageAccess.h"

#include <algorithm>
#include <cstring>

CImageAccess::CImageAccess(const void* data, const CUImageInfo& info)
    : m_pData(static_cast<const unsigned char*>(data)),
      m_info(info),
      m_lBytesPerPixel(info.lColorDepth >> 3),
      m_lLineBytes(info.RowBytes()) {}

int32_t CImageAccess::GetPixelData(void* dst, int32_t x, int32_t y) {
    if (m_pData == nullptr || dst == nullptr) return 0;
    CopyPixel(dst, PixelAt(x, y), m_lBytesPerPixel);
    return 1;
}

int32_t CImageAccess::GetBoxData(void* dst, int32_t left, int32_t top, int32_t right,
                                 int32_t bottom) {
    if (m_pData == nullptr || dst == nullptr) return 0;
    if (top > bottom || left > right) return 1;
    const int64_t dstLineBytes = (int64_t(right) - left + 1) * m_lBytesPerPixel;
    // Only the part of each line inside the image is copied; the rest keeps its bytes.
    const int32_t x0 = std::max(left, 0);
    const int32_t x1 = std::min(right, m_info.lWidth - 1);
    const int32_t y0 = std::max(top, 0);
    const int32_t y1 = std::min(bottom, m_info.lHeight - 1);
    if (x0 > x1 || y0 > y1) return 1;
    const size_t runBytes = size_t(x1 - x0 + 1) * size_t(m_lBytesPerPixel);
    unsigned char* to = static_cast<unsigned char*>(dst) + (int64_t(x0) - left) * m_lBytesPerPixel +
                        (int64_t(y0) - top) * dstLineBytes;
    for (int32_t y = y0; y <= y1; ++y, to += dstLineBytes)
        std::memcpy(to, PixelAt(x0, y), runBytes);
    return 1;
}
