// The paged image container. The image is cut into square pieces (128 to 1024 pixels a side)
// so that line walks and column walks both touch few of them. At most `cache count` pieces hold
// memory at a time; they enter a resident list in the order they were loaded and leave it first
// in, first out. A dirty piece that leaves memory is written to its own fixed slot in one
// temporary file per container, which is made only when that first happens.
#ifndef VANDREL_CONTAINER_UTILCONTAINER_H
#define VANDREL_CONTAINER_UTILCONTAINER_H

#include <cstdint>

#include "container/AutoArray.h"
#include "container/UtilContainerPiece.h"
#include "vandrel/UtilContainerIF.h"

class CUtilContainer : public IUtilContainerIF {
public:
    // operator= always builds the copy with these, whatever the source used.
    static constexpr int kAssignCacheCount = 1000;
    static constexpr int kAssignPieceSize = 128;

    CUtilContainer();
    ~CUtilContainer() override;
    CUtilContainer(const CUtilContainer&) = delete;
    CUtilContainer& operator=(const CUtilContainer& src) {
        *this = static_cast<const IUtilContainerIF&>(src);
        return *this;
    }

    /* 0 */ int32_t Create(const CUImageInfo& info, int cacheCount, int pieceSize) override;
    /* 1 */ void Clear() override;
    /* 2 */ void Delete() override;
    /* 3 */ IUtilContainerIF* Clone() const override;
    /* 4 */ IUtilContainerIF* Clone(const CUImageInfo& info, int cacheCount,
                                    int pieceSize) const override;
    /* 5 */ int32_t SetLine(const void* src, int32_t line, int32_t x, int32_t count) override;
    /* 6 */ int32_t GetLine(void* dst, int32_t line, int32_t x) const override;
    /* 7 */ void* GetLine(int32_t line, int32_t x, int32_t count) const override;
    /* 8 */ void* GetPixel(int32_t x, int32_t y) const override;
    /* 9 */ int32_t GetBoxData(void* dst, int32_t left, int32_t top, int32_t right,
                               int32_t bottom) const override;
    /* 10 */ int32_t hasImage() const override { return m_bHasImage; }
    /* 11 */ void GetImageInfo(CUImageInfo& info) const override { info = m_info; }
    /* 12 */ int32_t GetNeedLineSize() const override { return m_info.lRowBytes; }
    /* 13 */ int32_t GetCacheSize() const override { return m_lCacheCount; }
    /* 14 */ int32_t GetPieceSize() const override { return m_lPieceSize; }
    /* 15 */ int32_t PageOut() override;
    /* 16 */ IUtilContainerIF* Clip(int32_t left, int32_t top, int32_t right,
                                    int32_t bottom) const override;
    /* 17 */ IUtilContainerIF& operator=(const IUtilContainerIF& src) override;
    // Null for an index outside the grid.
    /* 20 */ virtual CUtilContainerPiece* GetPiece(int32_t index) const;
    /* 21 */ virtual void GetPieceCount(int32_t& count, int32_t& across, int32_t& down) const;

    // GetPixel without the virtual call, for adapters that sample pixel by pixel: runs of
    // neighbouring pixels mostly stay in the piece that answered last.
    char* PixelAt(int32_t x, int32_t y) const {
        if (m_pLastPiece != nullptr) {
            if (char* pixel = m_pLastPiece->PixelAt(x, y)) return pixel;
        }
        return PixelAfterMiss(x, y);
    }

    // Makes the piece resident: a piece already in memory answers at once; otherwise the
    // oldest resident piece may have to be written out to make room, and the piece is read
    // back from its file slot. Null when memory or the temporary file fails.
    CUtilContainerPiece* ReadyPiece(CUtilContainerPiece* piece) const;

private:
    bool Created() const { return m_lPieceSize != 0; }
    char* PixelAfterMiss(int32_t x, int32_t y) const;
    bool CopyBoxFromLastPiece(char* dst, int32_t left, int32_t top, int32_t right,
                              int32_t bottom) const;
    CUtilContainerPiece* PieceAt(int32_t column, int32_t row) const {
        return &m_pieces[row * m_lAcross + column];
    }
    bool LayOutPieces();
    bool EvictOldest() const;
    void Enlist(CUtilContainerPiece* piece) const;
    template <class Step>
    bool WalkLine(int32_t line, int32_t x, int32_t count, Step step) const;
    bool CopyPiecesFrom(const CUtilContainer& src);
    bool CopyLinesFrom(const CUtilContainer& src);

    CUImageInfo m_info;
    int32_t m_lBytesPerPixel = 0;
    mutable char m_szTempPath[1024];
    mutable void* m_hTempFile;
    int32_t m_lAcross = 0;
    int32_t m_lDown = 0;
    int32_t m_lPieceSize = 0;
    int32_t m_lPieceShift = 0;
    int32_t m_lCacheCount = 0;
    int32_t m_bHasImage = 0;
    CAutoArray<char> m_lineBuffer;
    CAutoArray<CUtilContainerPiece> m_pieces;
    // Oldest first, packed at the front; m_lResident entries are in use, the rest are null.
    CAutoArray<CUtilContainerPiece*> m_resident;
    mutable int32_t m_lResident = 0;
    mutable CUtilContainerPiece* m_pLastPiece = nullptr;
};

#endif
