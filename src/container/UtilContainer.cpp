#include "container/UtilContainer.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

#include "platform/OSLib.h"

namespace {

void* const kNoFile = reinterpret_cast<void*>(intptr_t(-1));

int32_t PieceShiftFor(int pieceSize) {
    switch (pieceSize) {
        case 256:
            return 8;
        case 512:
            return 9;
        case 1024:
            return 10;
        default:
            return 7;
    }
}

int64_t PaddedRowBytes(int64_t width, int64_t bitsPerPixel) {
    return ((width * bitsPerPixel + 31) >> 5) * 4;
}

// Depths below one byte per pixel are not supported; a line or a piece must stay addressable
// with 32-bit sizes, as the file layer moves them.
bool IsStorable(const CUImageInfo& info, int32_t pieceSize) {
    if (info.lWidth < 0 || info.lHeight < 0 || info.lColorDepth < 8) return false;
    return PaddedRowBytes(info.lWidth, info.lColorDepth) <= INT32_MAX &&
           PaddedRowBytes(pieceSize, info.lColorDepth) * pieceSize <= INT32_MAX;
}

}  // namespace

CUtilContainer::CUtilContainer() : m_hTempFile(kNoFile) {
    m_szTempPath[0] = 0;
}

CUtilContainer::~CUtilContainer() {
    Clear();
}

int32_t CUtilContainer::Create(const CUImageInfo& info, int cacheCount, int pieceSize) {
    Clear();
    const int32_t shift = PieceShiftFor(pieceSize);
    if (!IsStorable(info, int32_t(1) << shift)) return kVxErrInvalidArgument;
    m_lPieceShift = shift;
    m_lPieceSize = int32_t(1) << shift;
    m_info = info;
    m_info.lRowBytes = int32_t(PaddedRowBytes(info.lWidth, info.lColorDepth));
    m_lBytesPerPixel = info.lColorDepth >> 3;
    // Always one more column and row than whole pieces need: when the size is an exact
    // multiple, the last column or row is simply empty.
    m_lAcross = (info.lWidth >> shift) + 1;
    m_lDown = (info.lHeight >> shift) + 1;
    m_lCacheCount = std::max(cacheCount, int(m_lAcross));  // a whole row of pieces always fits
    if (!LayOutPieces() || !m_lineBuffer.Create(m_info.lRowBytes) ||
        !m_resident.Create(m_lCacheCount)) {
        Clear();
        return kVxErrContainerMemory;
    }
    std::fill_n(m_resident.Get(), m_lCacheCount, nullptr);
    return 1;
}

bool CUtilContainer::LayOutPieces() {
    const int64_t count = int64_t(m_lAcross) * m_lDown;
    if (count > INT32_MAX || !m_pieces.Create(int32_t(count))) return false;
    const int32_t mask = m_lPieceSize - 1;
    for (int32_t row = 0; row < m_lDown; ++row) {
        const int32_t height = row < m_lDown - 1 ? m_lPieceSize : (m_info.lHeight & mask);
        for (int32_t column = 0; column < m_lAcross; ++column) {
            const int32_t width = column < m_lAcross - 1 ? m_lPieceSize : (m_info.lWidth & mask);
            CUtilContainerPiece* piece = PieceAt(column, row);
            piece->Shape(m_info, width, height);
            piece->Place(column << m_lPieceShift, row << m_lPieceShift);
        }
    }
    return true;
}

void CUtilContainer::Clear() {
    if (m_hTempFile != kNoFile) OSLib::VxFclose(m_hTempFile);
    if (m_szTempPath[0] != 0) OSLib::VxFdelete(m_szTempPath);
    m_pieces.Free();
    m_resident.Free();
    m_lineBuffer.Free();
    m_szTempPath[0] = 0;
    m_hTempFile = kNoFile;
    m_lAcross = m_lDown = 0;
    m_lPieceSize = m_lPieceShift = 0;
    m_lCacheCount = 0;
    m_bHasImage = 0;
    m_lBytesPerPixel = 0;
    m_lResident = 0;
    m_pLastPiece = nullptr;
    // The image info stays: callers still ask a cleared container what it held.
}

void CUtilContainer::Delete() {
    delete this;
}

IUtilContainerIF* CUtilContainer::Clone() const {
    return Clone(m_info, m_lCacheCount, m_lPieceSize);
}

IUtilContainerIF* CUtilContainer::Clone(const CUImageInfo& info, int cacheCount,
                                        int pieceSize) const {
    CUtilContainer* container = new (std::nothrow) CUtilContainer;
    if (container == nullptr) return nullptr;
    if (container->Create(info, cacheCount, pieceSize) <= 0) {
        container->Delete();
        return nullptr;
    }
    return container;
}

// Visits the pieces that hold `count` pixels of line `line` from pixel x (-1: to the end of
// the line), making each resident, and hands `step` the piece, the line and first pixel inside
// it, the pixels that fall into it (-1: to the end of its line) and the byte position of that
// run in the caller's line. Coordinates are already checked.
template <class Step>
bool CUtilContainer::WalkLine(int32_t line, int32_t x, int32_t count, Step step) const {
    const int32_t mask = m_lPieceSize - 1;
    const int32_t row = line >> m_lPieceShift;
    const int32_t lineInPiece = line & mask;
    int32_t column = x >> m_lPieceShift;
    int32_t offset = x & mask;
    const int32_t end = count == -1  ? m_lAcross
                        : count == 0 ? column
                                     : ((x + count - 1) >> m_lPieceShift) + 1;
    int32_t remaining = count;
    size_t position = 0;
    for (; column < end; ++column) {
        CUtilContainerPiece* piece = ReadyPiece(PieceAt(column, row));
        if (piece == nullptr) return false;
        int32_t n = -1;
        if (count != -1) {
            n = std::min(remaining, m_lPieceSize - offset);
            remaining -= n;
        }
        step(piece, lineInPiece, offset, n, position);
        position += size_t(m_lPieceSize - offset) * size_t(m_lBytesPerPixel);
        offset = 0;
    }
    return true;
}

int32_t CUtilContainer::SetLine(const void* src, int32_t line, int32_t x, int32_t count) {
    if (!Created() || src == nullptr || line < 0 || line >= m_info.lHeight || x < 0 ||
        x >= m_info.lWidth || count < -1 || count > m_info.lWidth - x)
        return 0;
    const char* bytes = static_cast<const char*>(src);
    const bool stored =
        WalkLine(line, x, count,
                 [&](CUtilContainerPiece* piece, int32_t y, int32_t px, int32_t n, size_t at) {
                     piece->StoreRun(bytes + at, y, px, n);
                     m_bHasImage = 1;
                 });
    return stored ? 1 : 0;
}

int32_t CUtilContainer::GetLine(void* dst, int32_t line, int32_t x) const {
    if (!Created() || dst == nullptr || line < 0 || line >= m_info.lHeight || x < 0 ||
        x >= m_info.lWidth)
        return 0;
    char* bytes = static_cast<char*>(dst);
    const bool loaded = WalkLine(
        line, x, -1, [&](CUtilContainerPiece* piece, int32_t y, int32_t px, int32_t n, size_t at) {
            piece->LoadRun(bytes + at, y, px, n);
        });
    return loaded ? 1 : 0;
}

void* CUtilContainer::GetLine(int32_t line, int32_t x, int32_t count) const {
    if (!Created() || line < 0 || line >= m_info.lHeight || x < 0 || x >= m_info.lWidth ||
        count < -1 || count > m_info.lWidth - x)
        return nullptr;
    char* bytes = m_lineBuffer.Get();
    const bool loaded = WalkLine(line, x, count,
                                 [&](CUtilContainerPiece* piece, int32_t y, int32_t px, int32_t n,
                                     size_t at) { piece->LoadRun(bytes + at, y, px, n); });
    return loaded ? bytes : nullptr;
}

void* CUtilContainer::GetPixel(int32_t x, int32_t y) const {
    return PixelAt(x, y);
}

char* CUtilContainer::PixelAfterMiss(int32_t x, int32_t y) const {
    if (!Created() || x < 0 || y < 0 || x >= m_info.lWidth || y >= m_info.lHeight) return nullptr;
    CUtilContainerPiece* piece = ReadyPiece(PieceAt(x >> m_lPieceShift, y >> m_lPieceShift));
    if (piece == nullptr) return nullptr;
    m_pLastPiece = piece;
    return piece->PixelAt(x, y);
}

// Small boxes (the 2 x 2 and 4 x 4 neighbourhoods of resampling) mostly lie inside the piece
// that answered last; they are copied without walking the piece grid.
bool CUtilContainer::CopyBoxFromLastPiece(char* dst, int32_t left, int32_t top, int32_t right,
                                          int32_t bottom) const {
    const CUtilContainerPiece* piece = m_pLastPiece;
    if (piece == nullptr || !piece->HoldsMemory() || left < piece->Left() || top < piece->Top() ||
        right >= piece->Right() || bottom >= piece->Bottom() || left > right || top > bottom)
        return false;
    const size_t runBytes = size_t(right - left + 1) * size_t(m_lBytesPerPixel);
    const ptrdiff_t stride = piece->GetNeedLineSize();
    const char* from = piece->PixelAt(left, top);
    for (int32_t y = top; y <= bottom; ++y, dst += runBytes, from += stride)
        std::memcpy(dst, from, runBytes);
    return true;
}

int32_t CUtilContainer::GetBoxData(void* dst, int32_t left, int32_t top, int32_t right,
                                   int32_t bottom) const {
    if (!Created() || dst == nullptr) return 0;
    if (CopyBoxFromLastPiece(static_cast<char*>(dst), left, top, right, bottom)) return 1;
    const int64_t dstLineBytes = (int64_t(right) - left + 1) * m_lBytesPerPixel;
    const int32_t firstColumn = std::max(left, 0) >> m_lPieceShift;
    const int32_t endColumn = std::min(m_lAcross, (std::max(right, 0) >> m_lPieceShift) + 1);
    const int32_t firstRow = std::max(top, 0) >> m_lPieceShift;
    const int32_t endRow = std::min(m_lDown, (std::max(bottom, 0) >> m_lPieceShift) + 1);
    char* out = static_cast<char*>(dst);
    for (int32_t row = firstRow; row < endRow; ++row) {
        for (int32_t column = firstColumn; column < endColumn; ++column) {
            CUtilContainerPiece* piece = PieceAt(column, row);
            const int32_t x0 = std::max(left, piece->Left());
            const int32_t x1 = std::min(right, piece->Right() - 1);
            const int32_t y0 = std::max(top, piece->Top());
            const int32_t y1 = std::min(bottom, piece->Bottom() - 1);
            if (x0 > x1 || y0 > y1) continue;  // no point of the box lies in this piece
            if (ReadyPiece(piece) == nullptr) return 0;
            m_pLastPiece = piece;
            const size_t runBytes = size_t(x1 - x0 + 1) * size_t(m_lBytesPerPixel);
            char* to =
                out + (int64_t(x0) - left) * m_lBytesPerPixel + (int64_t(y0) - top) * dstLineBytes;
            const ptrdiff_t stride = piece->GetNeedLineSize();
            const char* from = piece->PixelAt(x0, y0);
            for (int32_t y = y0; y <= y1; ++y, to += dstLineBytes, from += stride)
                std::memcpy(to, from, runBytes);
        }
    }
    return 1;
}

int32_t CUtilContainer::PageOut() {
    int32_t saved = 0;
    bool ok = true;
    for (; saved < m_lResident; ++saved) {
        CUtilContainerPiece* piece = m_resident[saved];
        if (!piece->Save(m_szTempPath, m_hTempFile)) {
            ok = false;
            break;
        }
        piece->Clear();
        piece->SetListed(false);
    }
    // Pieces that could not be written stay resident, still first in line.
    CUtilContainerPiece** list = m_resident.Get();
    std::copy(list + saved, list + m_lResident, list);
    std::fill(list + m_lResident - saved, list + m_lResident, nullptr);
    m_lResident -= saved;
    return ok ? 1 : 0;
}

IUtilContainerIF* CUtilContainer::Clip(int32_t left, int32_t top, int32_t right,
                                       int32_t bottom) const {
    if (left > right) std::swap(left, right);
    if (top > bottom) std::swap(top, bottom);
    if (!Created() || left < 0 || top < 0 || right >= m_info.lWidth || bottom >= m_info.lHeight)
        return nullptr;
    CUImageInfo info = m_info;
    info.lWidth = right - left + 1;
    info.lHeight = bottom - top + 1;
    IUtilContainerIF* clip = Clone(info, m_lCacheCount, m_lPieceSize);
    if (clip == nullptr) return nullptr;
    for (int32_t y = top; y <= bottom; ++y) {
        const void* line = GetLine(y, left, info.lWidth);
        if (line == nullptr || !clip->SetLine(line, y - top, 0, info.lWidth)) {
            clip->Delete();
            return nullptr;
        }
    }
    return clip;
}

IUtilContainerIF& CUtilContainer::operator=(const IUtilContainerIF& src) {
    const auto* source = dynamic_cast<const CUtilContainer*>(&src);
    if (source == nullptr || source == this) return *this;
    if (Created()) Clear();
    CUImageInfo info;
    source->GetImageInfo(info);
    if (Create(info, kAssignCacheCount, kAssignPieceSize) <= 0) return *this;
    // Pieces of the same size map one to one; pieces of another size do not, so their
    // pixels are carried over line by line instead.
    const bool copied =
        source->m_lPieceSize == m_lPieceSize ? CopyPiecesFrom(*source) : CopyLinesFrom(*source);
    if (!copied) {
        Clear();
        return *this;
    }
    m_bHasImage = 1;
    return *this;
}

bool CUtilContainer::CopyPiecesFrom(const CUtilContainer& src) {
    const int32_t count = m_pieces.Count();
    for (int32_t index = 0; index < count; ++index) {
        const CUtilContainerPiece* from = src.ReadyPiece(src.PieceAt(index, 0));
        if (from == nullptr) return false;
        CUtilContainerPiece* to = PieceAt(index, 0);
        if (!from->HoldsMemory()) {
            to->Clear();
            continue;
        }
        *to = *from;
        if (!to->HoldsMemory()) return false;
        // The first pieces stay in memory; the rest go straight to the temporary file.
        if (index < m_lCacheCount) {
            Enlist(to);
        } else {
            if (!to->Save(m_szTempPath, m_hTempFile)) return false;
            to->Clear();
        }
    }
    return true;
}

bool CUtilContainer::CopyLinesFrom(const CUtilContainer& src) {
    if (m_info.lWidth == 0 || m_info.lHeight == 0) return true;
    for (int32_t y = 0; y < m_info.lHeight; ++y) {
        const void* line = src.GetLine(y, 0, -1);
        if (line == nullptr || !SetLine(line, y, 0, -1)) return false;
    }
    return true;
}

CUtilContainerPiece* CUtilContainer::GetPiece(int32_t index) const {
    if (index < 0 || index >= m_pieces.Count()) return nullptr;
    return &m_pieces[index];
}

void CUtilContainer::GetPieceCount(int32_t& count, int32_t& across, int32_t& down) const {
    count = m_pieces.Count();
    across = m_lAcross;
    down = m_lDown;
}

CUtilContainerPiece* CUtilContainer::ReadyPiece(CUtilContainerPiece* piece) const {
    if (piece == nullptr) return nullptr;
    // A hit does not move the piece: the list keeps the order in which pieces were loaded.
    if (piece->IsListed()) return piece;
    if (m_lResident == m_lCacheCount && !EvictOldest()) return nullptr;
    if (!piece->HoldsMemory()) {
        if (!piece->Allocate()) return nullptr;
        if (!piece->Load(m_hTempFile)) return nullptr;
    }
    Enlist(piece);
    return piece;
}

bool CUtilContainer::EvictOldest() const {
    CUtilContainerPiece** list = m_resident.Get();
    CUtilContainerPiece* oldest = list[0];
    // A piece that cannot be written keeps its pixels and its place at the front.
    if (!oldest->Save(m_szTempPath, m_hTempFile)) return false;
    oldest->Clear();
    oldest->SetListed(false);
    std::copy(list + 1, list + m_lResident, list);
    list[--m_lResident] = nullptr;
    return true;
}

void CUtilContainer::Enlist(CUtilContainerPiece* piece) const {
    m_resident[m_lResident++] = piece;
    piece->SetListed(true);
}

IUtilContainerIF* CreateUtilContainer() {
    try {
        return new CUtilContainer;
    } catch (...) {
        return nullptr;
    }
}
