#include "rotate/UtilRotate.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>

#include "container/ContainerAccess.h"
#include "container/ImageAccess.h"
#include "rotate/BicubicWeights.h"

namespace {

constexpr int32_t kFractionBits = 14;
constexpr int32_t kOne = 1 << kFractionBits;
constexpr int32_t kHalf = kOne >> 1;
constexpr int32_t kFullTurn = 36000;

// Right-angle copies: `count` pixels from `from`, `step` bytes apart, packed into out. The
// common pixel sizes are fixed-size copies.
template <int kBytes>
void CopyStridedFixed(const unsigned char* from, ptrdiff_t step, int32_t count,
                      unsigned char* out) {
    for (int32_t j = 0; j < count; ++j, from += step, out += kBytes)
        std::memcpy(out, from, kBytes);
}

void CopyStrided(const unsigned char* from, ptrdiff_t step, int32_t count, int32_t pixelBytes,
                 unsigned char* out) {
    switch (pixelBytes) {
        case 1:
            return CopyStridedFixed<1>(from, step, count, out);
        case 2:
            return CopyStridedFixed<2>(from, step, count, out);
        case 3:
            return CopyStridedFixed<3>(from, step, count, out);
        case 4:
            return CopyStridedFixed<4>(from, step, count, out);
        case 6:
            return CopyStridedFixed<6>(from, step, count, out);
        case 8:
            return CopyStridedFixed<8>(from, step, count, out);
        default:
            for (int32_t j = 0; j < count; ++j, from += step, out += pixelBytes)
                std::memcpy(out, from, size_t(pixelBytes));
    }
}

// The fixed-point products of set-up are 32-bit, as in the per-pixel mapping.
int32_t Wrap32(int64_t value) {
    return int32_t(uint32_t(uint64_t(value)));
}

int32_t ClampByte(int32_t v) {
    return std::clamp(v, 0, 255);
}

}  // namespace

CUtilRotate::CUtilRotate() = default;

CUtilRotate::~CUtilRotate() = default;

void CUtilRotate::Delete() {
    delete this;
}

int32_t CUtilRotate::ReduceAngle(double degrees) {
    const double hundredths = std::trunc(degrees >= 0 ? degrees * 100 + 0.5 : degrees * 100 - 0.5);
    // fmod is exact and keeps the dividend's sign, as the integer remainder does.
    const int32_t rest = int32_t(std::fmod(hundredths, double(kFullTurn)));
    return degrees >= 0 ? rest : rest + kFullTurn;
}

int32_t CUtilRotate::Quantise(double value) {
    const double scaled = value * kOne;
    return int32_t(std::trunc(scaled >= 0 ? scaled + 0.5 : scaled - 0.5));
}

void CUtilRotate::ResetParameters() {
    m_pSampler.reset();
    m_pAccess.reset();
    m_lAngle = 0;
    m_lCos = 0;
    m_lSin = 0;
    m_lMaxValue = 0;
    std::memset(m_background, 0, sizeof(m_background));
    m_lBitsPerSample = 0;
    m_lOriginX = 0;
    m_lOriginY = 0;
    m_lSamples = 0;
    m_lRemaining = 0;
    m_bBegun = 0;
    m_pBackground = m_background;
    m_lineBuffer.Free();
    m_lLineBytes = 0;
    m_method = RotateMethod::kNone;
    m_pImage = nullptr;
    m_lImageStride = 0;
    m_block.Free();
    m_lBandFirst = 0;
    m_lBandLast = -1;
    m_group.Free();
    m_lGroupFirst = 0;
    m_lGroupCount = 0;
}

int32_t CUtilRotate::EndRotating() {
    ResetParameters();
    return kVxOk;
}

int32_t CUtilRotate::BeginRotating(const IUtilContainerIF* source, const CURequest& request) {
    if (m_bBegun != 0 || source == nullptr) return kVxErrRotateState;
    ResetParameters();
    m_pAccess.reset(new (std::nothrow) CContainerAccess(source));
    if (m_pAccess == nullptr) return kVxErrAccessMemory;
    m_request = request;
    return BeginCommon();
}

int32_t CUtilRotate::BeginRotating(const void* image, const CUImageInfo& info,
                                   const CURequest& request) {
    if (m_bBegun != 0 || image == nullptr) return kVxErrRotateState;
    ResetParameters();
    m_pAccess.reset(new (std::nothrow) CImageAccess(image, info));
    if (m_pAccess == nullptr) return kVxErrAccessMemory;
    m_pImage = static_cast<const unsigned char*>(image);
    m_lImageStride = info.RowBytes();
    m_request = request;
    return BeginCommon();
}

int32_t CUtilRotate::TakeDepth(int32_t bitsPerPixel) {
    struct Depth {
        int32_t bitsPerPixel, samples, maxValue, bitsPerSample;
    };
    static constexpr Depth kDepths[] = {{8, 1, 255, 8},  {16, 1, 65535, 16}, {24, 3, 255, 8},
                                        {32, 4, 255, 8}, {48, 3, 65535, 16}, {64, 4, 65535, 16}};
    for (const Depth& d : kDepths) {
        if (d.bitsPerPixel != bitsPerPixel) continue;
        m_lSamples = d.samples;
        m_lMaxValue = d.maxValue;
        m_lBitsPerSample = d.bitsPerSample;
        return kVxOk;
    }
    return kVxErrRotateRequest;
}

// The output frame starts at the rotated source's leftmost and topmost corners; which corners
// those are depends on the quadrant of the angle.
void CUtilRotate::PlaceOrigin() {
    const int64_t c = m_lCos;
    const int64_t s = m_lSin;
    auto X = [&](int64_t px, int64_t py) { return Wrap32(px * c - py * s) >> kFractionBits; };
    auto Y = [&](int64_t px, int64_t py) { return Wrap32(px * s + py * c) >> kFractionBits; };
    const int64_t w = m_lWidth - 1;
    const int64_t h = m_lHeight - 1;
    if (m_lAngle >= 1 && m_lAngle <= 9000) {
        m_lOriginX = X(0, h);
        m_lOriginY = 0;
    } else if (m_lAngle >= 9001 && m_lAngle <= 18000) {
        m_lOriginX = X(w, h);
        m_lOriginY = Y(0, h);
    } else if (m_lAngle >= 18001 && m_lAngle <= 27000) {
        m_lOriginX = X(w, 0);
        m_lOriginY = Y(w, h);
    } else {
        m_lOriginX = 0;
        m_lOriginY = Y(w, 0);
    }
}

// lBKColor is 0x00BBGGRR. Grey images point at the fifth byte, which stays 0: their background
// is black whatever the colour.
void CUtilRotate::PrepareBackground(const char* colorSpace, bool native) {
    const int32_t r = m_request.lBKColor & 0xFF;
    const int32_t g = (m_request.lBKColor >> 8) & 0xFF;
    const int32_t b = (m_request.lBKColor >> 16) & 0xFF;
    const int32_t y = ((306 * r + 601 * g + 117 * b) >> 10) & 0xFF;
    int32_t bytes[4];
    if (VxSameColorSpace(colorSpace, "RGB")) {
        if (native) {
            bytes[0] = 0, bytes[1] = r, bytes[2] = g, bytes[3] = b;
        } else {
            bytes[0] = r, bytes[1] = g, bytes[2] = b, bytes[3] = y;
        }
    } else {
        const int32_t cb = ClampByte(((-173 * r - 339 * g + 512 * b) >> 10) + 128);
        const int32_t cr = ClampByte(((512 * r - 429 * g - 83 * b) >> 10) + 128);
        bytes[0] = y, bytes[1] = cb, bytes[2] = cr, bytes[3] = y;
    }
    for (int i = 0; i < 4; ++i)
        m_background[i] = static_cast<unsigned char>(bytes[i]);
    m_background[4] = 0;
    m_pBackground = m_lSamples == 1 ? m_background + 4 : m_background;
}

int32_t CUtilRotate::BeginCommon() {
    m_lWidth = m_pAccess->GetWidth();
    m_lHeight = m_pAccess->GetHeight();
    m_lBitsPerPixel = m_pAccess->GetColorDepth();
    const double maxSide = kMaxRotatedSide / std::sqrt(2.0);
    if (m_lWidth < 1 || m_lHeight < 1 || m_lWidth > maxSide || m_lHeight > maxSide)
        return kVxErrRotateRequest;
    m_method = RotateMethodFromName(m_request.strResizeMethod);
    if (m_method == RotateMethod::kNone) return kVxErrRotateRequest;
    if (TakeDepth(m_lBitsPerPixel) != kVxOk) return kVxErrRotateRequest;
    // An angle whose hundredths are not finite has no reduction; it is a request we cannot take.
    if (!std::isfinite(m_request.dAngle * 100)) return kVxErrRotateRequest;

    m_lAngle = ReduceAngle(m_request.dAngle);
    const double radians = m_lAngle / 100.0 * 3.141592653589793 / 180.0;
    m_lSin = Quantise(std::sin(radians));
    m_lCos = Quantise(std::cos(radians));
    PlaceOrigin();
    ministring colorSpace(m_pAccess->GetColorSpace());
    PrepareBackground(colorSpace, m_pAccess->IsNative());

    m_bBegun = 1;
    GetOutputImageSize(m_lOutWidth, m_lOutHeight);
    const int64_t rowBytes = ((int64_t(m_lOutWidth) * m_lBitsPerPixel + 31) >> 5) * 4;
    if (rowBytes * m_lOutHeight > std::numeric_limits<int32_t>::max()) {
        m_bBegun = 0;
        return kVxErrRotateTooLarge;
    }
    m_lLineBytes = int32_t(rowBytes);
    if ((rowBytes >= 1 && m_lineBuffer.Create(m_lLineBytes) == 0) || !PrepareBlocks()) {
        m_bBegun = 0;
        return kVxErrAccessMemory;
    }
    m_lRemaining = m_lOutHeight;
    return kVxOk;
}

// The sampler, and the blocks the source is read through.
bool CUtilRotate::PrepareBlocks() {
    RotateFrame frame;
    frame.cosine = m_lCos;
    frame.sine = m_lSin;
    frame.width = m_lWidth;
    frame.height = m_lHeight;
    frame.originX = m_lOriginX;
    frame.originY = m_lOriginY;
    frame.samples = m_lSamples;
    frame.bitsPerSample = m_lBitsPerSample;
    frame.maxValue = m_lMaxValue;
    for (int32_t n = 0; n < m_lSamples; ++n)
        frame.background[n] = uint16_t(m_pBackground[n] << (m_lBitsPerSample - 8));
    const int16_t(*weights)[4] =
        m_method == RotateMethod::kBicubic ? RotateBicubicWeights() : nullptr;
    m_pSampler.reset(new (std::nothrow) CRotateSampler(frame, *m_pAccess, weights));
    if (m_pSampler == nullptr) return false;

    const int64_t pixelBytes = PixelBytes();
    int64_t blockBytes = 0;
    if (m_lAngle == 18000) {
        // A memory row is reversed in place; a container row is copied out first.
        if (m_pImage == nullptr) blockBytes = m_lWidth * pixelBytes;
    } else if (IsRightAngle()) {
        // Columns are read from a band of them copied out together, even from memory: walking
        // a column in place touches a new page at every pixel.
        const int64_t columnBytes = m_lHeight * pixelBytes;
        m_lBandColumns = int32_t(std::clamp<int64_t>(kBlockBudget / columnBytes, 1, kGroupLines));
        m_lBandColumns = std::min(m_lBandColumns, m_lWidth);
        blockBytes = m_lBandColumns * columnBytes;
    } else {
        // Output lines are rendered in groups, tile by tile, so that the source pixels under a
        // tile are copied out once and read while they are still in the cache.
        const int64_t lineBytes = std::max<int64_t>(int64_t(m_lOutWidth) * pixelBytes, 1);
        m_lGroupLines = int32_t(std::clamp<int64_t>(kBlockBudget / lineBytes, 1, kGroupLines));
        m_lGroupLines = std::min(m_lGroupLines, std::max(m_lOutHeight, 1));
        if (m_group.Create(int32_t(m_lGroupLines * lineBytes)) == 0) return false;
        int64_t width = 0;
        int64_t height = 0;
        m_pSampler->MaxFootprint(m_lGroupLines, kTileWidth, width, height);
        blockBytes = width * height * pixelBytes;
    }
    if (blockBytes > std::numeric_limits<int32_t>::max()) return false;
    return blockBytes < 1 || m_block.Create(int32_t(blockBytes)) != 0;
}

int32_t CUtilRotate::GetOutputImageSize(int32_t& width, int32_t& height) {
    if (m_bBegun == 0) return kVxErrRotateState;
    const int64_t c = m_lCos;
    const int64_t s = m_lSin;
    const int64_t w = m_lWidth;
    const int64_t h = m_lHeight;
    const int64_t a = std::abs(w * c + h * s);
    const int64_t b = std::max(w * c - h * s, h * s - w * c);
    const int64_t w1 = (a + kHalf) >> kFractionBits;
    const int64_t w2 = (b + kHalf) >> kFractionBits;
    if (w2 > w1) {
        width = int32_t(w2);
        height = int32_t((std::abs(w * s - h * c) + kHalf) >> kFractionBits);
    } else {
        width = int32_t(w1);
        height = int32_t((std::abs(w * s + h * c) + kHalf) >> kFractionBits);
    }
    return kVxOk;
}

// A source point rotates to (x c - y s, x s + y c); its nearest output pixel is that point,
// rounded, less the origin set-up placed at the output's top left.
int32_t CUtilRotate::GetPosition(int32_t& x, int32_t& y) {
    if (m_bBegun == 0) return kVxErrRotateState;
    const int64_t px = x;
    const int64_t py = y;
    const int64_t rx = px * m_lCos - py * m_lSin;
    const int64_t ry = px * m_lSin + py * m_lCos;
    x = int32_t(((rx + kHalf) >> kFractionBits) - m_lOriginX);
    y = int32_t(((ry + kHalf) >> kFractionBits) - m_lOriginY);
    return kVxOk;
}

void* CUtilRotate::GetLine() {
    unsigned char* line = m_lineBuffer.Get();
    return GetLine(line) < 0 ? nullptr : line;
}

int32_t CUtilRotate::GetLine(void* line) {
    if (line == nullptr) return kVxErrRotateRequest;
    if (m_lRemaining < 1) return kVxErrRotateNoLine;
    const int32_t index = m_lOutHeight - m_lRemaining;
    unsigned char* out = static_cast<unsigned char*>(line);
    if (IsRightAngle()) {
        TurnLine(index, out);
    } else {
        if (m_method == RotateMethod::kNone) return kVxErrRotateRequest;
        SampleLine(index, out);
    }
    --m_lRemaining;
    return kVxOk;
}

// 90: output line i is source column i read upwards; 270: column W-1-i read downwards; 180:
// source row H-1-i read from the right.
void CUtilRotate::TurnLine(int32_t line, unsigned char* out) {
    ptrdiff_t step = 0;
    const unsigned char* from = nullptr;
    int32_t count = 0;
    if (m_lAngle == 9000) {
        from = SourceColumn(line, true, step);
        count = m_lHeight;
    } else if (m_lAngle == 27000) {
        from = SourceColumn(m_lWidth - 1 - line, false, step);
        count = m_lHeight;
    } else {
        from = SourceRowReversed(m_lHeight - 1 - line, step);
        count = m_lWidth;
    }
    CopyStrided(from, step, count, PixelBytes(), out);
}

// The first pixel of a source column and the step between its pixels, upwards or downwards.
// Columns come in bands copied out together, the next band reaching in the direction the
// columns are asked for.
const unsigned char* CUtilRotate::SourceColumn(int32_t column, bool bottomUp, ptrdiff_t& step) {
    const ptrdiff_t pixelBytes = PixelBytes();
    if (column < m_lBandFirst || column > m_lBandLast) {
        m_lBandFirst = bottomUp ? column : std::max(column - m_lBandColumns + 1, 0);
        m_lBandLast = std::min(m_lBandFirst + m_lBandColumns - 1, m_lWidth - 1);
        m_pAccess->GetBoxData(m_block.Get(), m_lBandFirst, 0, m_lBandLast, m_lHeight - 1);
    }
    const ptrdiff_t stride = (m_lBandLast - m_lBandFirst + 1) * pixelBytes;
    const unsigned char* top = m_block.Get() + (column - m_lBandFirst) * pixelBytes;
    step = bottomUp ? -stride : stride;
    return bottomUp ? top + (m_lHeight - 1) * stride : top;
}

const unsigned char* CUtilRotate::SourceRowReversed(int32_t row, ptrdiff_t& step) {
    const ptrdiff_t pixelBytes = PixelBytes();
    const unsigned char* start = nullptr;
    if (m_pImage != nullptr) {
        start = m_pImage + row * m_lImageStride;
    } else {
        m_pAccess->GetBoxData(m_block.Get(), 0, row, m_lWidth - 1, row);
        start = m_block.Get();
    }
    step = -pixelBytes;
    return start + (m_lWidth - 1) * pixelBytes;
}

void CUtilRotate::SampleLine(int32_t line, unsigned char* out) {
    if (line < m_lGroupFirst || line >= m_lGroupFirst + m_lGroupCount) RenderGroup(line);
    const size_t lineBytes = size_t(m_lOutWidth) * size_t(PixelBytes());
    std::memcpy(out, m_group.Get() + (line - m_lGroupFirst) * lineBytes, lineBytes);
}

// Renders output lines first .. first + group - 1 tile by tile, each tile from one block of
// the source pixels under it. The block is copied out even from a memory image: a compact
// block keeps the tile's reads within few cache lines and pages.
void CUtilRotate::RenderGroup(int32_t first) {
    const int32_t lines = std::min(m_lGroupLines, m_lOutHeight - first);
    const ptrdiff_t pixelBytes = PixelBytes();
    const ptrdiff_t lineBytes = m_lOutWidth * pixelBytes;
    for (int32_t left = 0; left < m_lOutWidth; left += kTileWidth) {
        const int32_t count = std::min(kTileWidth, m_lOutWidth - left);
        SourceWindow window = m_pSampler->Footprint(m_method, first, lines, left, count);
        if (!window.Empty()) {
            window.pixels = m_block.Get();
            window.stride = ptrdiff_t(window.Width()) * pixelBytes;
            // Pixels a failing container cannot give are fetched one by one instead.
            if (m_pAccess->GetBoxData(m_block.Get(), window.left, window.top, window.right,
                                      window.bottom) != 1)
                window = SourceWindow();
        }
        unsigned char* out = m_group.Get() + left * pixelBytes;
        for (int32_t row = 0; row < lines; ++row, out += lineBytes)
            m_pSampler->SampleRun(m_method, window, first + row, left, count, out);
    }
    m_lGroupFirst = first;
    m_lGroupCount = lines;
}

IUtilRotateIF* CreateUtilRotate() {
    return new (std::nothrow) CUtilRotate();
}
