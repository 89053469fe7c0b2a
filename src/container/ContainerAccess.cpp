#include "container/ContainerAccess.h"

#include <cstring>

CContainerAccess::CContainerAccess(const IUtilContainerIF* container)
    : m_pContainer(container),
      m_pPaged(dynamic_cast<const CUtilContainer*>(container)),
      m_lBytesPerPixel(0) {
    if (m_pContainer != nullptr) m_pContainer->GetImageInfo(m_info);
    m_lBytesPerPixel = m_info.lColorDepth >> 3;
}

int32_t CContainerAccess::GetPixelData(void* dst, int32_t x, int32_t y) {
    if (m_pContainer == nullptr) return 0;
    const void* pixel =
        m_pPaged != nullptr ? m_pPaged->PixelAt(x, y) : m_pContainer->GetPixel(x, y);
    // Outside the image (or when paging fails) there is no pixel; dst keeps what it had.
    if (pixel == nullptr) return 0;
    CopyPixel(dst, pixel, m_lBytesPerPixel);
    return 1;
}

int32_t CContainerAccess::GetBoxData(void* dst, int32_t left, int32_t top, int32_t right,
                                     int32_t bottom) {
    if (m_pContainer == nullptr) return 0;
    return m_pContainer->GetBoxData(dst, left, top, right, bottom);
}
