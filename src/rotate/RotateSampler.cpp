#include "rotate/RotateSampler.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace {

constexpr int32_t kFractionBits = 14;
constexpr uint32_t kHalf = 1u << (kFractionBits - 1);

// Samples are read and written through memcpy: 16-bit lines may start at any byte.
template <class T>
inline int32_t Load(const unsigned char* p) {
    T v;
    std::memcpy(&v, p, sizeof(T));
    return int32_t(v);
}

template <class T>
inline void Store(unsigned char* p, int32_t v) {
    const T t = T(v);
    std::memcpy(p, &t, sizeof(T));
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

// Bilinear blend of one pixel: taps (0,0) and (1,0) at row0 and row0 + step, (0,1) and (1,1)
// at row1 and row1 + step.
template <class T, int N>
inline void Blend(const unsigned char* row0, const unsigned char* row1, ptrdiff_t step, int32_t fx,
                  int32_t fy, unsigned char* out) {
    const int32_t gx = 1024 - fx;
    const int32_t gy = 1024 - fy;
    for (int n = 0; n < N; ++n) {
        const ptrdiff_t at = n * ptrdiff_t(sizeof(T));
        const int32_t top = (Load<T>(row0 + at) * gx + Load<T>(row0 + at + step) * fx + 32) >> 6;
        const int32_t bottom = (Load<T>(row1 + at) * gx + Load<T>(row1 + at + step) * fx + 32) >> 6;
        Store<T>(out + at, (top * gy + bottom * fy + 8192) >> 14);
    }
}

// Bicubic filter of one pixel over four rows of four taps, `step` bytes apart in each row.
template <class T, int N>
inline void Cubic(const unsigned char* const rows[4], ptrdiff_t step, const int16_t* wx,
                  const int16_t* wy, int32_t maxValue, unsigned char* out) {
    for (int n = 0; n < N; ++n) {
        const ptrdiff_t at = n * ptrdiff_t(sizeof(T));
        int32_t sum = 0;
        for (int r = 0; r < 4; ++r) {
            const unsigned char* p = rows[r] + at;
            const int32_t h =
                (Load<T>(p) * wx[0] + Load<T>(p + step) * wx[1] + Load<T>(p + 2 * step) * wx[2] +
                 Load<T>(p + 3 * step) * wx[3] + 32) >>
                6;
            sum += h * wy[r];
        }
        Store<T>(out + at, std::clamp((sum + 8192) >> 14, 0, maxValue));
    }
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

template <class T, int N>
void CRotateSampler::Nearest(const SourceWindow& window, uint32_t x, uint32_t y, int32_t count,
                             unsigned char* out) const {
    constexpr ptrdiff_t kPixel = N * sizeof(T);
    const uint32_t c = uint32_t(m_frame.cosine);
    const uint32_t s = uint32_t(m_frame.sine);
    unsigned char scratch[kPixel];
    for (int32_t j = 0; j < count; ++j, x += c, y -= s, out += kPixel) {
        const int32_t sx = Signed(x + kHalf) >> kFractionBits;
        const int32_t sy = Signed(y + kHalf) >> kFractionBits;
        std::memcpy(out, Tap(window, sx, sy, scratch), kPixel);
    }
}

template <class T, int N>
void CRotateSampler::Bilinear(const SourceWindow& window, uint32_t x, uint32_t y, int32_t count,
                              unsigned char* out) const {
    constexpr ptrdiff_t kPixel = N * sizeof(T);
    const uint32_t c = uint32_t(m_frame.cosine);
    const uint32_t s = uint32_t(m_frame.sine);
    const int32_t width = m_frame.width;
    const int32_t height = m_frame.height;
    // Positions whose 2 x 2 taps all lie in the window.
    const int32_t left = window.left;
    const int32_t right = window.right - 1;
    const int32_t top = window.top;
    const int32_t bottom = window.bottom - 1;
    unsigned char block[4 * kPixel];
    unsigned char scratch[kPixel];
    for (int32_t j = 0; j < count; ++j, x += c, y -= s, out += kPixel) {
        const int32_t sx = Signed(x) >> kFractionBits;
        const int32_t sy = Signed(y) >> kFractionBits;
        const int32_t fx = (Signed(x) >> 4) & 1023;
        const int32_t fy = (Signed(y) >> 4) & 1023;
        if (sx >= left && sx <= right && sy >= top && sy <= bottom) {
            const unsigned char* row0 =
                window.pixels + ptrdiff_t(sy - top) * window.stride + ptrdiff_t(sx - left) * kPixel;
            Blend<T, N>(row0, row0 + window.stride, kPixel, fx, fy, out);
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
        Blend<T, N>(block, block + 2 * kPixel, kPixel, fx, fy, out);
    }
}

template <class T, int N>
void CRotateSampler::Bicubic(const SourceWindow& window, uint32_t x, uint32_t y, int32_t count,
                             unsigned char* out) const {
    constexpr ptrdiff_t kPixel = N * sizeof(T);
    const uint32_t c = uint32_t(m_frame.cosine);
    const uint32_t s = uint32_t(m_frame.sine);
    const int32_t width = m_frame.width;
    const int32_t height = m_frame.height;
    const int32_t maxValue = m_frame.maxValue;
    // Positions whose 4 x 4 taps (from -1 to +2) all lie in the window.
    const int32_t left = window.left + 1;
    const int32_t right = window.right - 2;
    const int32_t top = window.top + 1;
    const int32_t bottom = window.bottom - 2;
    unsigned char block[16 * kPixel];
    unsigned char scratch[kPixel];
    const unsigned char* rows[4];
    for (int32_t j = 0; j < count; ++j, x += c, y -= s, out += kPixel) {
        const int32_t sx = Signed(x) >> kFractionBits;
        const int32_t sy = Signed(y) >> kFractionBits;
        const int16_t* wx = m_weights[(Signed(x) >> 8) & 63];
        const int16_t* wy = m_weights[(Signed(y) >> 8) & 63];
        if (sx >= left && sx <= right && sy >= top && sy <= bottom) {
            rows[0] = window.pixels + ptrdiff_t(sy - 1 - window.top) * window.stride +
                      ptrdiff_t(sx - 1 - window.left) * kPixel;
            rows[1] = rows[0] + window.stride;
            rows[2] = rows[1] + window.stride;
            rows[3] = rows[2] + window.stride;
            Cubic<T, N>(rows, kPixel, wx, wy, maxValue, out);
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
        Cubic<T, N>(rows, kPixel, wx, wy, maxValue, out);
    }
}

template <class T, int N>
void CRotateSampler::DispatchMethod(RotateMethod method, const SourceWindow& window, uint32_t x,
                                    uint32_t y, int32_t count, unsigned char* out) const {
    switch (method) {
        case RotateMethod::kNearest:
            Nearest<T, N>(window, x, y, count, out);
            break;
        case RotateMethod::kBilinear:
            Bilinear<T, N>(window, x, y, count, out);
            break;
        case RotateMethod::kBicubic:
            Bicubic<T, N>(window, x, y, count, out);
            break;
        case RotateMethod::kNone:
            break;
    }
}

template <class T>
void CRotateSampler::Dispatch(RotateMethod method, const SourceWindow& window, uint32_t x,
                              uint32_t y, int32_t count, unsigned char* out) const {
    switch (m_frame.samples) {
        case 1:
            DispatchMethod<T, 1>(method, window, x, y, count, out);
            break;
        case 3:
            DispatchMethod<T, 3>(method, window, x, y, count, out);
            break;
        case 4:
            DispatchMethod<T, 4>(method, window, x, y, count, out);
            break;
        default:
            break;
    }
}

void CRotateSampler::SampleRun(RotateMethod method, const SourceWindow& window, int32_t line,
                               int32_t first, int32_t count, void* out) const {
    if (method == RotateMethod::kBicubic && m_weights == nullptr) return;
    const uint32_t ox = uint32_t(m_frame.originX) + uint32_t(first);
    const uint32_t oy = uint32_t(m_frame.originY) + uint32_t(line);
    const uint32_t c = uint32_t(m_frame.cosine);
    const uint32_t s = uint32_t(m_frame.sine);
    const uint32_t x = ox * c + oy * s;
    const uint32_t y = oy * c - ox * s;
    unsigned char* bytes = static_cast<unsigned char*>(out);
    if (m_frame.bitsPerSample == 16)
        Dispatch<uint16_t>(method, window, x, y, count, bytes);
    else
        Dispatch<uint8_t>(method, window, x, y, count, bytes);
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
