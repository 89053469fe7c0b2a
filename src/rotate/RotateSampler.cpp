#include "rotate/RotateSampler.h"

#include "rotate/RotatePixelKernels.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <limits>

namespace {

using rotatekernels::Blend;
using rotatekernels::Cubic;
using rotatekernels::Store;

constexpr int32_t kFractionBits = 14;
constexpr uint32_t kHalf = 1u << (kFractionBits - 1);
constexpr int64_t kOne = int64_t(1) << kFractionBits;

inline bool Fits32(int64_t v) {
    return v >= std::numeric_limits<int32_t>::min() && v <= std::numeric_limits<int32_t>::max();
}

inline int64_t FloorDiv(int64_t a, int64_t b) {
    const int64_t q = a / b;
    return (a % b != 0 && ((a < 0) != (b < 0))) ? q - 1 : q;
}

inline int64_t CeilDiv(int64_t a, int64_t b) {
    return -FloorDiv(-a, b);
}

// The 32-bit accumulators wrap as the fixed-point arithmetic always has; reading one as a
// signed value gives the position the kernels shift.
inline int32_t Signed(uint32_t v) {
    return int32_t(v);
}

bool SameName(const char* a, const char* b) {
    const size_t n = std::strlen(a);
    if (n != std::strlen(b)) return false;
    for (size_t i = 0; i < n; ++i) {
        if (std::tolower(static_cast<unsigned char>(a[i])) !=
            std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    }
    return true;
}

}  // namespace

RotateMethod RotateMethodFromName(const char* name) {
    if (name == nullptr) return RotateMethod::kNone;
    if (SameName(name, "Nearest")) return RotateMethod::kNearest;
    if (SameName(name, "Bilinear")) return RotateMethod::kBilinear;
    if (SameName(name, "Bicubic")) return RotateMethod::kBicubic;
    return RotateMethod::kNone;
}

CRotateSampler::CRotateSampler(const RotateFrame& frame, CDataAccess& source,
                               const int16_t (*weights)[4])
    : m_frame(frame),
      m_source(source),
      m_weights(weights),
      m_lPixelBytes(frame.samples * (frame.bitsPerSample >> 3)),
      m_background{} {
    for (int32_t n = 0; n < frame.samples && n < 4; ++n) {
        if (frame.bitsPerSample == 16)
            Store<uint16_t>(m_background + 2 * n, frame.background[n]);
        else
            m_background[n] = static_cast<unsigned char>(frame.background[n]);
    }
}

const unsigned char* CRotateSampler::Tap(const SourceWindow& window, int32_t x, int32_t y,
                                         unsigned char* scratch) const {
    if (x >= window.left && x <= window.right && y >= window.top && y <= window.bottom)
        return window.pixels + ptrdiff_t(y - window.top) * window.stride +
               ptrdiff_t(x - window.left) * m_lPixelBytes;
    if (x < 0 || y < 0 || x >= m_frame.width || y >= m_frame.height) return m_background;
    std::memset(scratch, 0, size_t(m_lPixelBytes));
    m_source.GetPixelData(scratch, x, y);
    return scratch;
}

template <class T, int N, bool kChecked>
void CRotateSampler::Nearest(const SourceWindow& window, uint32_t x, uint32_t y, int32_t count,
                             unsigned char* out) const {
    constexpr ptrdiff_t kPixel = N * sizeof(T);
    const uint32_t c = uint32_t(m_frame.cosine);
    const uint32_t s = uint32_t(m_frame.sine);
    unsigned char scratch[kPixel];
    for (int32_t j = 0; j < count; ++j, x += c, y -= s, out += kPixel) {
        const int32_t sx = Signed(x + kHalf) >> kFractionBits;
        const int32_t sy = Signed(y + kHalf) >> kFractionBits;
        if (kChecked)
            std::memcpy(out, Tap(window, sx, sy, scratch), kPixel);
        else
            std::memcpy(out,
                        window.pixels + ptrdiff_t(sy - window.top) * window.stride +
                            ptrdiff_t(sx - window.left) * kPixel,
                        kPixel);
    }
}

template <class T, int N, bool kChecked>
void CRotateSampler::Bilinear(const SourceWindow& window, uint32_t x, uint32_t y, int32_t count,
                              unsigned char* out) const {
    constexpr ptrdiff_t kPixel = N * sizeof(T);
    const uint32_t c = uint32_t(m_frame.cosine);
    const uint32_t s = uint32_t(m_frame.sine);
    const int32_t width = m_frame.width;
    const int32_t height = m_frame.height;
    const ptrdiff_t stride = window.stride;
    unsigned char block[4 * kPixel];
    unsigned char scratch[kPixel];
    for (int32_t j = 0; j < count; ++j, x += c, y -= s, out += kPixel) {
        const int32_t sx = Signed(x) >> kFractionBits;
        const int32_t sy = Signed(y) >> kFractionBits;
        const int32_t fx = (Signed(x) >> 4) & 1023;
        const int32_t fy = (Signed(y) >> 4) & 1023;
        // Unchecked runs hold only positions whose 2 x 2 taps lie in the window.
        if (!kChecked ||
            (sx >= window.left && sx < window.right && sy >= window.top && sy < window.bottom)) {
            const unsigned char* row0 = window.pixels + ptrdiff_t(sy - window.top) * stride +
                                        ptrdiff_t(sx - window.left) * kPixel;
            Blend<T, N>(row0, row0 + stride, fx, fy, out);
            continue;
        }
        if (sx < -1 || sx > width - 1 || sy < -1 || sy > height - 1) {
            std::memcpy(out, m_background, kPixel);
            continue;
        }
        for (int32_t r = 0; r < 2; ++r) {
            for (int32_t k = 0; k < 2; ++k) {
                std::memcpy(block + (2 * r + k) * kPixel, Tap(window, sx + k, sy + r, scratch),
                            kPixel);
            }
        }
        Blend<T, N>(block, block + 2 * kPixel, fx, fy, out);
    }
}

template <class T, int N, bool kChecked>
void CRotateSampler::Bicubic(const SourceWindow& window, uint32_t x, uint32_t y, int32_t count,
                             unsigned char* out) const {
    constexpr ptrdiff_t kPixel = N * sizeof(T);
    const uint32_t c = uint32_t(m_frame.cosine);
    const uint32_t s = uint32_t(m_frame.sine);
    const int32_t width = m_frame.width;
    const int32_t height = m_frame.height;
    const int32_t maxValue = m_frame.maxValue;
    const ptrdiff_t stride = window.stride;
    unsigned char block[16 * kPixel];
    unsigned char scratch[kPixel];
    const unsigned char* rows[4];
    for (int32_t j = 0; j < count; ++j, x += c, y -= s, out += kPixel) {
        const int32_t sx = Signed(x) >> kFractionBits;
        const int32_t sy = Signed(y) >> kFractionBits;
        const int16_t* wx = m_weights[(Signed(x) >> 8) & 63];
        const int16_t* wy = m_weights[(Signed(y) >> 8) & 63];
        // Unchecked runs hold only positions whose taps from -1 to +2 lie in the window.
        if (!kChecked || (sx > window.left && sx + 2 <= window.right && sy > window.top &&
                          sy + 2 <= window.bottom)) {
            rows[0] = window.pixels + ptrdiff_t(sy - 1 - window.top) * stride +
                      ptrdiff_t(sx - 1 - window.left) * kPixel;
            rows[1] = rows[0] + stride;
            rows[2] = rows[1] + stride;
            rows[3] = rows[2] + stride;
            Cubic<T, N>(rows, wx, wy, maxValue, out);
            continue;
        }
        if (sx < -2 || sx > width || sy < -2 || sy > height) {
            std::memcpy(out, m_background, kPixel);
            continue;
        }
        for (int32_t r = 0; r < 4; ++r) {
            for (int32_t k = 0; k < 4; ++k) {
                std::memcpy(block + (4 * r + k) * kPixel,
                            Tap(window, sx - 1 + k, sy - 1 + r, scratch), kPixel);
            }
            rows[r] = block + 4 * r * kPixel;
        }
        Cubic<T, N>(rows, wx, wy, maxValue, out);
    }
}

// Output pixels j in [0, count) whose positions ((start + j * step + offset) >> 14) lie in
// [low, high], as [first, end). The positions are taken without 32-bit wrapping.
void CRotateSampler::Span(int64_t start, int64_t step, int64_t low, int64_t high, int32_t count,
                          int32_t& first, int32_t& end) {
    const int64_t lo = low * kOne - start;
    const int64_t hi = high * kOne + (kOne - 1) - start;
    int64_t jMin = 0;
    int64_t jMax = count - 1;
    if (step > 0) {
        jMin = CeilDiv(lo, step);
        jMax = FloorDiv(hi, step);
    } else if (step < 0) {
        jMin = CeilDiv(hi, step);
        jMax = FloorDiv(lo, step);
    } else if (lo > 0 || hi < 0) {
        jMax = -1;
    }
    first = int32_t(std::clamp<int64_t>(jMin, 0, count));
    end = int32_t(std::clamp<int64_t>(jMax + 1, first, count));
}

// A run falls into up to five parts along the output line: background, checked samples near
// the image's edge, unchecked samples inside the window, checked samples, background. The
// parts come from the linear mapping; where the 32-bit positions could wrap, the whole run is
// checked sample by sample.
template <class T, int N>
void CRotateSampler::Run(RotateMethod method, const SourceWindow& window, const Walk& walk,
                         int32_t count, unsigned char* out) const {
    // Taps reach `before` pixels left of (above) the sampled position and `after` right of it.
    int32_t before = 0;
    int32_t after = 0;
    int64_t offset = 0;
    if (method == RotateMethod::kNearest) {
        offset = kHalf;
    } else if (method == RotateMethod::kBilinear) {
        after = 1;
    } else {
        before = 1;
        after = 2;
    }
    const int64_t c = m_frame.cosine;
    const int64_t s = m_frame.sine;
    const int64_t last = count - 1;
    int32_t touch = 0;  // samples [touch, away) have a tap in the image
    int32_t away = count;
    int32_t first = count;  // samples [first, end) have every tap in the window
    int32_t end = count;
    const bool wraps = !Fits32(walk.x) || !Fits32(walk.y) || !Fits32(walk.x + last * c) ||
                       !Fits32(walk.y - last * s);
    if (!wraps) {
        int32_t xFirst = 0, xEnd = 0, yFirst = 0, yEnd = 0;
        Span(walk.x + offset, c, -after, int64_t(m_frame.width) - 1 + before, count, xFirst, xEnd);
        Span(walk.y + offset, -s, -after, int64_t(m_frame.height) - 1 + before, count, yFirst,
             yEnd);
        touch = std::max(xFirst, yFirst);
        away = std::max(touch, std::min(xEnd, yEnd));
        first = end = away;
        if (!window.Empty()) {
            Span(walk.x + offset, c, window.left + before, int64_t(window.right) - after, count,
                 xFirst, xEnd);
            Span(walk.y + offset, -s, window.top + before, int64_t(window.bottom) - after, count,
                 yFirst, yEnd);
            first = std::clamp(std::max(xFirst, yFirst), touch, away);
            end = std::clamp(std::min(xEnd, yEnd), first, away);
        }
    }
    constexpr ptrdiff_t kPixel = N * sizeof(T);
    auto sample = [&](bool checked, int32_t from, int32_t to) {
        if (to <= from) return;
        const uint32_t x = uint32_t(walk.x) + uint32_t(from) * uint32_t(c);
        const uint32_t y = uint32_t(walk.y) - uint32_t(from) * uint32_t(s);
        unsigned char* at = out + from * kPixel;
        switch (method) {
            case RotateMethod::kNearest:
                return checked ? Nearest<T, N, true>(window, x, y, to - from, at)
                               : Nearest<T, N, false>(window, x, y, to - from, at);
            case RotateMethod::kBilinear:
                return checked ? Bilinear<T, N, true>(window, x, y, to - from, at)
                               : Bilinear<T, N, false>(window, x, y, to - from, at);
            case RotateMethod::kBicubic:
                return checked ? Bicubic<T, N, true>(window, x, y, to - from, at)
                               : Bicubic<T, N, false>(window, x, y, to - from, at);
            case RotateMethod::kNone:
                return;
        }
    };
    // One background pixel, then copies of what is already filled, doubling each time.
    auto fill = [&](int32_t from, int32_t to) {
        if (to <= from) return;
        unsigned char* at = out + from * kPixel;
        const size_t total = size_t(to - from) * kPixel;
        std::memcpy(at, m_background, kPixel);
        for (size_t filled = kPixel; filled < total; filled *= 2)
            std::memcpy(at + filled, at, std::min(filled, total - filled));
    };
    fill(0, touch);
    sample(true, touch, first);
    sample(false, first, end);
    sample(true, end, away);
    fill(away, count);
}

template <class T>
void CRotateSampler::Dispatch(RotateMethod method, const SourceWindow& window, const Walk& walk,
                              int32_t count, unsigned char* out) const {
    switch (m_frame.samples) {
        case 1:
            return Run<T, 1>(method, window, walk, count, out);
        case 3:
            return Run<T, 3>(method, window, walk, count, out);
        case 4:
            return Run<T, 4>(method, window, walk, count, out);
        default:
            return;
    }
}

void CRotateSampler::SampleRun(RotateMethod method, const SourceWindow& window, int32_t line,
                               int32_t first, int32_t count, void* out) const {
    if (method == RotateMethod::kBicubic && m_weights == nullptr) return;
    const int64_t ox = int64_t(m_frame.originX) + first;
    const int64_t oy = int64_t(m_frame.originY) + line;
    Walk walk;
    walk.x = ox * m_frame.cosine + oy * m_frame.sine;
    walk.y = oy * m_frame.cosine - ox * m_frame.sine;
    unsigned char* bytes = static_cast<unsigned char*>(out);
    if (m_frame.bitsPerSample == 16)
        Dispatch<uint16_t>(method, window, walk, count, bytes);
    else
        Dispatch<uint8_t>(method, window, walk, count, bytes);
}

SourceWindow CRotateSampler::Footprint(RotateMethod method, int32_t line, int32_t lines,
                                       int32_t first, int32_t count) const {
    const int64_t c = m_frame.cosine;
    const int64_t s = m_frame.sine;
    const int64_t ox0 = int64_t(m_frame.originX) + first;
    const int64_t ox1 = ox0 + count - 1;
    const int64_t oy0 = int64_t(m_frame.originY) + line;
    const int64_t oy1 = oy0 + lines - 1;
    // The mapping is linear, so its extremes over the rectangle lie at the corners.
    const int64_t xs[4] = {ox0 * c + oy0 * s, ox1 * c + oy0 * s, ox0 * c + oy1 * s,
                           ox1 * c + oy1 * s};
    const int64_t ys[4] = {oy0 * c - ox0 * s, oy0 * c - ox1 * s, oy1 * c - ox0 * s,
                           oy1 * c - ox1 * s};
    int64_t xMin = *std::min_element(xs, xs + 4);
    int64_t xMax = *std::max_element(xs, xs + 4);
    int64_t yMin = *std::min_element(ys, ys + 4);
    int64_t yMax = *std::max_element(ys, ys + 4);
    int64_t before = 0;  // taps left of / above the sampled position
    int64_t after = 0;   // taps right of / below it
    if (method == RotateMethod::kNearest) {
        xMin += kHalf, xMax += kHalf, yMin += kHalf, yMax += kHalf;
    } else if (method == RotateMethod::kBilinear) {
        after = 1;
    } else {
        before = 1;
        after = 2;
    }
    SourceWindow window;
    window.left = int32_t(std::max<int64_t>((xMin >> kFractionBits) - before, 0));
    window.right = int32_t(std::min<int64_t>((xMax >> kFractionBits) + after, m_frame.width - 1));
    window.top = int32_t(std::max<int64_t>((yMin >> kFractionBits) - before, 0));
    window.bottom = int32_t(std::min<int64_t>((yMax >> kFractionBits) + after, m_frame.height - 1));
    if (window.Empty()) window = SourceWindow();
    return window;
}

void CRotateSampler::MaxFootprint(int32_t lines, int32_t count, int64_t& width,
                                  int64_t& height) const {
    const int64_t c = m_frame.cosine < 0 ? -int64_t(m_frame.cosine) : m_frame.cosine;
    const int64_t s = m_frame.sine < 0 ? -int64_t(m_frame.sine) : m_frame.sine;
    // The span of positions, one more for flooring, three more for the widest kernel.
    width = (((count - 1) * c + (lines - 1) * s) >> kFractionBits) + 5;
    height = (((count - 1) * s + (lines - 1) * c) >> kFractionBits) + 5;
    width = std::min<int64_t>(width, m_frame.width);
    height = std::min<int64_t>(height, m_frame.height);
}
