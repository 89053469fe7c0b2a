// Pixel access over a caller-owned buffer laid out line after line, each line the info's line
// size long. The buffer stays the caller's.
#ifndef VANDREL_CONTAINER_IMAGEACCESS_H
#define VANDREL_CONTAINER_IMAGEACCESS_H

#include <cstddef>

#include "container/DataAccess.h"
#include "vandrel/Records.h"

class CImageAccess : public CDataAccess {
public:
    CImageAccess(const void* data, const CUImageInfo& info);

    int32_t GetWidth() const override { return m_info.lWidth; }
    int32_t GetHeight() const override { return m_info.lHeight; }
    int32_t GetColorDepth() const override { return m_info.lColorDepth; }
    bool IsNative() const override { return m_info.bNative == 1; }
    const char* GetColorSpace() const override { return m_info.strColorSpace.c_str(); }
    // Unchecked: callers pass points inside the image.
    int32_t GetPixelData(void* dst, int32_t x, int32_t y) override;
    int32_t GetBoxData(void* dst, int32_t left, int32_t top, int32_t right,
                       int32_t bottom) override;

private:
    const unsigned char* PixelAt(int32_t x, int32_t y) const {
        return m_pData + ptrdiff_t(y) * m_lLineBytes + ptrdiff_t(x) * m_lBytesPerPixel;
    }

    const unsigned char* m_pData;
    CUImageInfo m_info;
    int32_t m_lBytesPerPixel;
    int32_t m_lLineBytes;  // the given line size, or the padded one when none is given
};

#endif
