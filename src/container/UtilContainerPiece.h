// One square piece of a paged container: a small, unpaged image with its own pixel buffer, its
// place in the container and its slot in the container's temporary file. It answers the
// container interface too, but the whole-image operations (boxes, caching, paging) are the
// container's business and answer 0 here.
#ifndef VANDREL_CONTAINER_UTILCONTAINERPIECE_H
#define VANDREL_CONTAINER_UTILCONTAINERPIECE_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "container/AutoArray.h"
#include "vandrel/UtilContainerIF.h"

class CUtilContainerPiece : public IUtilContainerIF {
public:
    // The file offset of a piece that has never been written out.
    static constexpr uint32_t kNoFileSlot = 0xFFFFFFFFu;

    CUtilContainerPiece() = default;
    ~CUtilContainerPiece() override = default;
    CUtilContainerPiece(const CUtilContainerPiece&) = delete;
    CUtilContainerPiece& operator=(const CUtilContainerPiece& src);

    /* 0 */ int32_t Create(const CUImageInfo& info, int, int) override;
    /* 1 */ void Clear() override;
    /* 2 */ void Delete() override;
    /* 3 */ IUtilContainerIF* Clone() const override;
    /* 4 */ IUtilContainerIF* Clone(const CUImageInfo& info, int cacheCount,
                                    int pieceSize) const override;
    /* 5 */ int32_t SetLine(const void* src, int32_t line, int32_t x, int32_t count) override;
    /* 6 */ int32_t GetLine(void* dst, int32_t line, int32_t x) const override;
    /* 7 */ void* GetLine(int32_t line, int32_t x, int32_t count) const override;
    // Container coordinates: null unless the piece holds memory and covers the point.
    /* 8 */ void* GetPixel(int32_t x, int32_t y) const override { return PixelAt(x, y); }
    /* 9 */ int32_t GetBoxData(void*, int32_t, int32_t, int32_t, int32_t) const override {
        return 0;
    }
    /* 10 */ int32_t hasImage() const override { return 0; }
    /* 11 */ void GetImageInfo(CUImageInfo& info) const override;
    /* 12 */ int32_t GetNeedLineSize() const override { return m_shape.lRowBytes; }
    /* 13 */ int32_t GetCacheSize() const override { return 0; }
    /* 14 */ int32_t GetPieceSize() const override { return 0; }
    /* 15 */ int32_t PageOut() override { return 0; }
    // Unlike the container's, the corners are exclusive at the right and the bottom.
    /* 16 */ IUtilContainerIF* Clip(int32_t left, int32_t top, int32_t right,
                                    int32_t bottom) const override;
    /* 17 */ IUtilContainerIF& operator=(const IUtilContainerIF& src) override;

    // Writes the pixels to the piece's slot in the container's temporary file, making the file
    // (named into tempPath) and the slot on first use. A clean piece is not written. 1 or 0;
    // on failure the piece keeps its pixels and stays dirty.
    int32_t Save(char* tempPath, void*& fileHandle);

    // What the owning container uses to lay out, fill and page the piece. A piece of a
    // container takes its depth, layout and colour-space name from the container's info, which
    // outlives it; only its own size is kept.
    void Shape(const CUImageInfo& containerInfo, int32_t width, int32_t height);
    void Place(int32_t left, int32_t top);
    bool Allocate();
    // Reads the pixels back from the piece's slot, if it has one; clears the piece on failure.
    bool Load(void* fileHandle);
    bool HoldsMemory() const { return m_bAlloc != 0; }
    bool IsDirty() const { return m_bDirty != 0; }
    bool HasFileSlot() const { return m_ulFileOffset != kNoFileSlot; }
    uint32_t FileOffset() const { return m_ulFileOffset; }
    // Whether the piece is in its container's resident list; kept by the container.
    bool IsListed() const { return m_bListed; }
    void SetListed(bool listed) { m_bListed = listed; }

    int32_t Width() const { return m_shape.lWidth; }
    int32_t Height() const { return m_shape.lHeight; }
    int32_t Left() const { return m_lLeft; }
    int32_t Top() const { return m_lTop; }
    int32_t Right() const { return m_lRight; }
    int32_t Bottom() const { return m_lBottom; }
    uint32_t ByteCount() const { return uint32_t(m_shape.lRowBytes) * uint32_t(m_shape.lHeight); }

    // The hot path of pixel reads: one range test against the piece's place.
    char* PixelAt(int32_t x, int32_t y) const {
        if (m_bAlloc == 0 || x < m_lLeft || x >= m_lRight || y < m_lTop || y >= m_lBottom)
            return nullptr;
        return m_pData + ptrdiff_t(y - m_lTop) * m_shape.lRowBytes +
               ptrdiff_t(x - m_lLeft) * m_lBytesPerPixel;
    }
    // Piece coordinates, unchecked: the container has placed line and x inside the piece.
    char* RowAt(int32_t line, int32_t x) const {
        return m_pData + ptrdiff_t(line) * m_shape.lRowBytes + ptrdiff_t(x) * m_lBytesPerPixel;
    }
    // Copies count pixels (-1: to the end of the line, padding included) into the piece at
    // (line, x) and marks it dirty; unchecked, for the container.
    void StoreRun(const void* src, int32_t line, int32_t x, int32_t count);
    // Copies count pixels (-1: to the end of the line, padding included) out of the piece.
    void LoadRun(void* dst, int32_t line, int32_t x, int32_t count) const;

private:
    size_t RunBytes(int32_t x, int32_t count) const;

    // The piece's image info, kept small: a container holds many thousands of pieces, and a
    // full info record carries a 1 KiB colour-space name.
    struct Geometry {
        int32_t lWidth = 0;
        int32_t lRowBytes = 0;
        int32_t lHeight = 0;
        int32_t lColorDepth = 24;
        int32_t bNative = 0;
    };
    static const ministring& DefaultColorSpace();
    bool AdoptColorSpace(const ministring& name);

    Geometry m_shape;
    const ministring* m_pColorSpace = &DefaultColorSpace();
    std::unique_ptr<ministring> m_ownColorSpace;  // for a piece that stands alone
    int32_t m_lBytesPerPixel = 0;
    int32_t m_lLeft = 0;
    int32_t m_lRight = 0;
    int32_t m_lTop = 0;
    int32_t m_lBottom = 0;
    uint32_t m_ulFileOffset = kNoFileSlot;
    int32_t m_bDirty = 0;
    int32_t m_bAlloc = 0;
    char* m_pData = nullptr;
    CAutoArray<char> m_buffer;
    bool m_bListed = false;
};

#endif
