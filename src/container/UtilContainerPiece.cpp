#include "container/UtilContainerPiece.h"

#include <climits>
#include <cstring>
#include <new>
#include <utility>

#include "platform/OSLib.h"

namespace {

// Pieces made by Clone or Clip stand alone; they take these, like any fresh container would.
constexpr int kDefaultCacheCount = 1000;
constexpr int kDefaultPieceSize = 128;

void* const kNoFile = reinterpret_cast<void*>(intptr_t(-1));

// The file layer seeks by signed 32-bit offsets; slots beyond 2 GB are reached in two steps.
bool SeekToSlot(void* file, uint32_t offset) {
    using namespace OSLib;
    if (offset <= uint32_t(INT32_MAX)) return VxFseek(file, int32_t(offset), kVxFromStart, nullptr);
    return VxFseek(file, INT32_MAX, kVxFromStart, nullptr) &&
           VxFseek(file, int32_t(offset - uint32_t(INT32_MAX)), kVxFromMark, nullptr);
}

}  // namespace

int32_t CUtilContainerPiece::Create(const CUImageInfo& info, int, int) {
    const int64_t rowBytes = (int64_t(info.lWidth) * info.lColorDepth + 31) >> 5 << 2;
    if (info.lWidth < 0 || info.lHeight < 0 || info.lColorDepth < 0 ||
        rowBytes * info.lHeight > INT32_MAX)
        return kVxErrInvalidArgument;
    if (!AdoptColorSpace(info.strColorSpace)) return kVxErrContainerMemory;
    Clear();
    m_shape.lWidth = info.lWidth;
    m_shape.lRowBytes = int32_t(rowBytes);
    m_shape.lHeight = info.lHeight;
    m_shape.lColorDepth = info.lColorDepth;
    m_shape.bNative = info.bNative;
    m_lBytesPerPixel = info.lColorDepth >> 3;
    Place(m_lLeft, m_lTop);
    return 1;
}

void CUtilContainerPiece::Shape(const CUImageInfo& containerInfo, int32_t width, int32_t height) {
    Clear();
    m_shape.lWidth = width;
    m_shape.lRowBytes = VxPaddedRowBytes(width, containerInfo.lColorDepth);
    m_shape.lHeight = height;
    m_shape.lColorDepth = containerInfo.lColorDepth;
    m_shape.bNative = containerInfo.bNative;
    m_lBytesPerPixel = containerInfo.lColorDepth >> 3;
    m_ownColorSpace.reset();
    m_pColorSpace = &containerInfo.strColorSpace;
}

const ministring& CUtilContainerPiece::DefaultColorSpace() {
    static const ministring rgb("RGB");
    return rgb;
}

// A piece that stands alone keeps its own copy of the name.
bool CUtilContainerPiece::AdoptColorSpace(const ministring& name) {
    if (m_ownColorSpace == nullptr) {
        m_ownColorSpace.reset(new (std::nothrow) ministring);
        if (m_ownColorSpace == nullptr) return false;
    }
    *m_ownColorSpace = name;
    m_pColorSpace = m_ownColorSpace.get();
    return true;
}

void CUtilContainerPiece::GetImageInfo(CUImageInfo& info) const {
    info.lWidth = m_shape.lWidth;
    info.lRowBytes = m_shape.lRowBytes;
    info.lHeight = m_shape.lHeight;
    info.lColorDepth = m_shape.lColorDepth;
    info.bNative = m_shape.bNative;
    info.strColorSpace = *m_pColorSpace;
}

void CUtilContainerPiece::Clear() {
    if (!HoldsMemory()) return;
    m_buffer.Free();
    m_pData = nullptr;
    m_bAlloc = 0;
    // Whatever was not saved is gone with the memory; there is nothing left to write out.
    m_bDirty = 0;
}

void CUtilContainerPiece::Delete() {
    delete this;
}

IUtilContainerIF* CUtilContainerPiece::Clone() const {
    CUImageInfo info;
    GetImageInfo(info);
    return Clone(info, kDefaultCacheCount, kDefaultPieceSize);
}

IUtilContainerIF* CUtilContainerPiece::Clone(const CUImageInfo& info, int cacheCount,
                                             int pieceSize) const {
    CUtilContainerPiece* piece = new (std::nothrow) CUtilContainerPiece;
    if (piece == nullptr) return nullptr;
    if (piece->Create(info, cacheCount, pieceSize) <= 0) {
        piece->Delete();
        return nullptr;
    }
    return piece;
}

int32_t CUtilContainerPiece::SetLine(const void* src, int32_t line, int32_t x, int32_t count) {
    if (src == nullptr || !HoldsMemory() || line < 0 || line >= m_shape.lHeight || x < 0 ||
        x >= m_shape.lWidth || count < -1 || count > m_shape.lWidth - x)
        return 0;
    StoreRun(src, line, x, count);
    return 1;
}

int32_t CUtilContainerPiece::GetLine(void* dst, int32_t line, int32_t x) const {
    if (dst == nullptr || GetLine(line, x, -1) == nullptr) return 0;
    LoadRun(dst, line, x, -1);
    return 1;
}

void* CUtilContainerPiece::GetLine(int32_t line, int32_t x, int32_t) const {
    if (!HoldsMemory() || line < 0 || line >= m_shape.lHeight || x < 0 || x >= m_shape.lWidth)
        return nullptr;
    return RowAt(line, x);
}

IUtilContainerIF* CUtilContainerPiece::Clip(int32_t left, int32_t top, int32_t right,
                                            int32_t bottom) const {
    if (left > right) std::swap(left, right);
    if (top > bottom) std::swap(top, bottom);
    if (!HoldsMemory() || left < 0 || top < 0 || right > m_shape.lWidth || bottom > m_shape.lHeight)
        return nullptr;
    CUImageInfo info;
    GetImageInfo(info);
    info.lWidth = right - left;
    info.lHeight = bottom - top;
    auto* piece =
        static_cast<CUtilContainerPiece*>(Clone(info, kDefaultCacheCount, kDefaultPieceSize));
    if (piece == nullptr) return nullptr;
    if (!piece->Allocate()) {
        piece->Delete();
        return nullptr;
    }
    for (int32_t y = top; y < bottom; ++y)
        piece->StoreRun(RowAt(y, left), y - top, 0, info.lWidth);
    return piece;
}

IUtilContainerIF& CUtilContainerPiece::operator=(const IUtilContainerIF& src) {
    const auto* piece = dynamic_cast<const CUtilContainerPiece*>(&src);
    if (piece != nullptr) *this = *piece;
    return *this;
}

CUtilContainerPiece& CUtilContainerPiece::operator=(const CUtilContainerPiece& src) {
    if (&src == this) return *this;
    Clear();
    if (!src.HoldsMemory()) return *this;
    // The shape comes from the source; the place in the container and the file slot stay.
    m_shape = src.m_shape;
    m_lBytesPerPixel = src.m_lBytesPerPixel;
    // Pieces of one container share its name; a different name needs a copy of its own.
    if (m_ownColorSpace != nullptr || std::strcmp(*m_pColorSpace, *src.m_pColorSpace) != 0)
        AdoptColorSpace(*src.m_pColorSpace);
    if (!Allocate()) return *this;
    const uint32_t bytes = ByteCount();
    if (bytes != 0) std::memcpy(m_pData, src.m_pData, bytes);
    m_bDirty = 1;
    return *this;
}

int32_t CUtilContainerPiece::Save(char* tempPath, void*& fileHandle) {
    using namespace OSLib;
    const uint32_t bytes = ByteCount();
    if (m_bDirty == 0 || bytes == 0) {
        m_bDirty = 0;
        return 1;
    }
    if (fileHandle == kNoFile) {
        // Decoded pixels are private: the page file is the container's alone.
        void* opened = kNoFile;
        if (!VxFcreatetemp(&opened, tempPath, nullptr, nullptr)) {
            tempPath[0] = 0;  // never created: nobody may later delete a namesake
            return 0;
        }
        fileHandle = opened;
    }
    uint32_t offset = m_ulFileOffset;
    if (offset == kNoFileSlot) {
        // A new slot goes at the end. The file stays below 4 GB, so 32-bit positions are exact.
        int32_t end = 0;
        if (!VxFseek(fileHandle, 0, kVxFromEnd, &end)) return 0;
        offset = uint32_t(end);
        if (uint64_t(offset) + bytes >= uint64_t(kNoFileSlot)) return 0;
    } else if (!SeekToSlot(fileHandle, offset)) {
        return 0;
    }
    if (uint32_t(VxFwrite(fileHandle, m_pData, bytes)) != bytes) return 0;
    // The slot is taken only once it holds the whole piece: a write cut short (a full disk)
    // must not leave a slot that the next appended piece would overlap.
    m_ulFileOffset = offset;
    m_bDirty = 0;
    return 1;
}

void CUtilContainerPiece::Place(int32_t left, int32_t top) {
    m_lLeft = left;
    m_lTop = top;
    m_lRight = left + m_shape.lWidth;
    m_lBottom = top + m_shape.lHeight;
}

bool CUtilContainerPiece::Allocate() {
    if (HoldsMemory()) return true;
    // New memory is deliberately not cleared: a piece never written has unspecified pixels.
    if (!m_buffer.Create(int32_t(ByteCount()))) return false;
    m_pData = m_buffer.Get();
    m_bAlloc = 1;
    return true;
}

bool CUtilContainerPiece::Load(void* fileHandle) {
    if (!HasFileSlot()) return true;
    const uint32_t bytes = ByteCount();
    if (bytes == 0) return true;
    if (!SeekToSlot(fileHandle, m_ulFileOffset) ||
        uint32_t(OSLib::VxFread(fileHandle, m_pData, bytes)) != bytes) {
        Clear();
        return false;
    }
    return true;
}

size_t CUtilContainerPiece::RunBytes(int32_t x, int32_t count) const {
    if (count == -1) return size_t(m_shape.lRowBytes) - size_t(x) * size_t(m_lBytesPerPixel);
    return size_t(count) * size_t(m_lBytesPerPixel);
}

void CUtilContainerPiece::StoreRun(const void* src, int32_t line, int32_t x, int32_t count) {
    m_bDirty = 1;
    const size_t bytes = RunBytes(x, count);
    if (bytes != 0) std::memcpy(RowAt(line, x), src, bytes);
}

void CUtilContainerPiece::LoadRun(void* dst, int32_t line, int32_t x, int32_t count) const {
    const size_t bytes = RunBytes(x, count);
    if (bytes != 0) std::memcpy(dst, RowAt(line, x), bytes);
}
