// Pixel access over a paged container. The container stays the caller's.
#ifndef VANDREL_CONTAINER_CONTAINERACCESS_H
#define VANDREL_CONTAINER_CONTAINERACCESS_H

#include "container/DataAccess.h"
#include "container/UtilContainer.h"
#include "vandrel/Records.h"
#include "vandrel/UtilContainerIF.h"

class CContainerAccess : public CDataAccess {
public:
    explicit CContainerAccess(const IUtilContainerIF* container);

    int32_t GetWidth() const override { return m_info.lWidth; }
    int32_t GetHeight() const override { return m_info.lHeight; }
    int32_t GetColorDepth() const override { return m_info.lColorDepth; }
    bool IsNative() const override { return m_info.bNative == 1; }
    const char* GetColorSpace() const override { return m_info.strColorSpace.c_str(); }
    int32_t GetPixelData(void* dst, int32_t x, int32_t y) override;
    int32_t GetBoxData(void* dst, int32_t left, int32_t top, int32_t right,
                       int32_t bottom) override;

private:
    const IUtilContainerIF* m_pContainer;
    // The same container when it is the paged one: its pixels are reached without virtual calls.
    const CUtilContainer* m_pPaged;
    CUImageInfo m_info;
    int32_t m_lBytesPerPixel;
};

#endif
