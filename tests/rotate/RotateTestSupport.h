// Helpers for the rotation suites: patterned images at every depth, containers holding them,
// a driver that collects every output line, and the oracle: rotation computed the plain way,
// one adapter call per pixel or per box, straight from the fixed-point definitions, with its
// own set-up. The engine's fast paths must give the same bytes.
#ifndef VANDREL_TESTS_ROTATE_ROTATETESTSUPPORT_H
#define VANDREL_TESTS_ROTATE_ROTATETESTSUPPORT_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "container/ContainerTestSupport.h"
#include "container/DataAccess.h"
#include "vandrel/ExResize.h"
#include "vandrel/Records.h"
#include "vandrel/UtilContainerIF.h"
#include "vandrel/UtilRotateIF.h"

namespace vxtest {

inline uint8_t HashByte(uint32_t x, uint32_t y, uint32_t k) {
    uint32_t h = x * 0x9E3779B1u ^ y * 0x85EBCA77u ^ k * 0xC2B2AE3Du;
    h ^= h >> 15;
    return uint8_t(h * 0x2C1B3C6Du >> 24);
}

inline CUImageInfo ImageInfo(int32_t width, int32_t height, int32_t bits, const char* space = "RGB",
                             int32_t native = 0) {
    CUImageInfo info;
    info.lWidth = width;
    info.lHeight = height;
    info.lColorDepth = bits;
    info.lRowBytes = VxPaddedRowBytes(width, bits);
    info.bNative = native;
    info.strColorSpace = space;
    return info;
}

// Lines of hashed bytes, padded with zeros.
inline std::vector<uint8_t> HashImage(const CUImageInfo& info, uint32_t seed = 0) {
    std::vector<uint8_t> image(size_t(info.RowBytes()) * size_t(info.lHeight));
    const int32_t lineBytes = info.lWidth * (info.lColorDepth >> 3);
    for (int32_t y = 0; y < info.lHeight; ++y) {
        for (int32_t i = 0; i < lineBytes; ++i)
            image[size_t(y) * info.RowBytes() + i] = HashByte(uint32_t(i), uint32_t(y), seed);
    }
    return image;
}

struct RotateDeleter {
    void operator()(IUtilRotateIF* r) const {
        if (r != nullptr) r->Delete();
    }
};
using RotatePtr = std::unique_ptr<IUtilRotateIF, RotateDeleter>;

inline ContainerPtr ContainerOf(const CUImageInfo& info, const std::vector<uint8_t>& image,
                                int cacheCount = 1000, int pieceSize = 128) {
    ContainerPtr c(CreateUtilContainer());
    if (!c || c->Create(info, cacheCount, pieceSize) != 1) return nullptr;
    for (int32_t y = 0; y < info.lHeight; ++y) {
        if (c->SetLine(image.data() + size_t(y) * info.RowBytes(), y, 0, -1) != 1) return nullptr;
    }
    return c;
}

inline CURequest RotateRequest(double angle, const char* method = "Nearest",
                               int32_t background = 0) {
    CURequest request;
    request.dAngle = angle;
    request.strResizeMethod = method;
    request.lBKColor = background;
    return request;
}

// A whole rotated image: its size and its lines packed without padding.
struct Rotated {
    int32_t status = 0;
    int32_t width = 0;
    int32_t height = 0;
    std::vector<uint8_t> pixels;
};

inline Rotated Drain(IUtilRotateIF& rotate, int32_t status, int32_t bits) {
    Rotated out;
    out.status = status;
    if (status != kVxOk) return out;
    rotate.GetOutputImageSize(out.width, out.height);
    const size_t lineBytes = size_t(out.width) * size_t(bits >> 3);
    out.pixels.resize(lineBytes * size_t(out.height));
    for (int32_t i = 0; i < out.height; ++i) {
        const int32_t got = rotate.GetLine(out.pixels.data() + i * lineBytes);
        if (got != kVxOk) {
            out.status = got;
            return out;
        }
    }
    return out;
}

inline Rotated RotateMemory(const CUImageInfo& info, const std::vector<uint8_t>& image,
                            const CURequest& request) {
    RotatePtr rotate(CreateUtilRotate());
    return Drain(*rotate, rotate->BeginRotating(image.data(), info, request), info.lColorDepth);
}

inline Rotated RotateContainer(const IUtilContainerIF& container, const CURequest& request) {
    RotatePtr rotate(CreateUtilRotate());
    CUImageInfo info;
    container.GetImageInfo(info);
    return Drain(*rotate, rotate->BeginRotating(&container, request), info.lColorDepth);
}

// The oracle's set-up, from the angle in degrees.
struct OracleFrame {
    int32_t angle = 0;
    int32_t c = 0;
    int32_t s = 0;
    int32_t originX = 0;
    int32_t originY = 0;
    int32_t outWidth = 0;
    int32_t outHeight = 0;

    OracleFrame(double degrees, int32_t w, int32_t h) {
        const int32_t hundredths =
            int32_t(degrees >= 0 ? degrees * 100 + 0.5 : degrees * 100 - 0.5);
        angle = degrees >= 0 ? hundredths % 36000 : hundredths % 36000 + 36000;
        const double x = angle / 100.0 * 3.141592653589793 / 180.0;
        auto round = [](double v) { return int32_t(v >= 0 ? v + 0.5 : v - 0.5); };
        s = round(std::sin(x) * 16384);
        c = round(std::cos(x) * 16384);
        auto X = [&](int32_t px, int32_t py) { return (px * c - py * s) >> 14; };
        auto Y = [&](int32_t px, int32_t py) { return (px * s + py * c) >> 14; };
        if (angle >= 1 && angle <= 9000) {
            originX = X(0, h - 1);
        } else if (angle >= 9001 && angle <= 18000) {
            originX = X(w - 1, h - 1);
            originY = Y(0, h - 1);
        } else if (angle >= 18001 && angle <= 27000) {
            originX = X(w - 1, 0);
            originY = Y(w - 1, h - 1);
        } else {
            originY = Y(w - 1, 0);
        }
        const int32_t a = std::abs(w * c + h * s);
        const int32_t b = std::max(w * c - h * s, h * s - w * c);
        const int32_t w1 = (a + 8192) >> 14;
        const int32_t w2 = (b + 8192) >> 14;
        outWidth = w2 > w1 ? w2 : w1;
        outHeight = ((w2 > w1 ? std::abs(w * s - h * c) : std::abs(w * s + h * c)) + 8192) >> 14;
    }
};

// Rotation by the plain definitions through an adapter.
class Oracle {
public:
    Oracle(CDataAccess& source, const CURequest& request)
        : m_src(source),
          m_frame(request.dAngle, source.GetWidth(), source.GetHeight()),
          m_method(request.strResizeMethod.c_str()) {
        const int32_t bits = source.GetColorDepth();
        m_samples = bits == 8 || bits == 16 ? 1 : bits == 32 || bits == 64 ? 4 : 3;
        m_sampleBytes = bits >= 48 || bits == 16 ? 2 : 1;
        m_max = m_sampleBytes == 2 ? 65535 : 255;
        const int32_t r = request.lBKColor & 255, g = (request.lBKColor >> 8) & 255,
                      b = (request.lBKColor >> 16) & 255;
        const int32_t luma = ((306 * r + 601 * g + 117 * b) >> 10) & 255;
        int32_t bg[4];
        if (VxSameColorSpace(source.GetColorSpace(), "RGB")) {
            if (source.IsNative()) {
                bg[0] = 0, bg[1] = r, bg[2] = g, bg[3] = b;
            } else {
                bg[0] = r, bg[1] = g, bg[2] = b, bg[3] = luma;
            }
        } else {
            bg[0] = luma;
            bg[1] = std::clamp(((-173 * r - 339 * g + 512 * b) >> 10) + 128, 0, 255);
            bg[2] = std::clamp(((512 * r - 429 * g - 83 * b) >> 10) + 128, 0, 255);
            bg[3] = luma;
        }
        for (int k = 0; k < 4; ++k)
            m_bg[k] = m_samples == 1 ? 0 : bg[k] << (m_sampleBytes * 8 - 8);
    }

    const OracleFrame& Frame() const { return m_frame; }

    std::vector<uint8_t> Image() {
        std::vector<uint8_t> out;
        for (int32_t i = 0; i < m_frame.outHeight; ++i) {
            for (int32_t j = 0; j < m_frame.outWidth; ++j) {
                int32_t v[4] = {};
                Pixel(i, j, v);
                for (int32_t k = 0; k < m_samples; ++k) {
                    out.push_back(uint8_t(v[k]));
                    if (m_sampleBytes == 2) out.push_back(uint8_t(v[k] >> 8));
                }
            }
        }
        return out;
    }

private:
    int32_t Sample(const uint8_t* p, int32_t k) const {
        return m_sampleBytes == 2 ? p[2 * k] | p[2 * k + 1] << 8 : p[k];
    }
    bool Inside(int32_t x, int32_t y) const {
        return x >= 0 && y >= 0 && x < m_src.GetWidth() && y < m_src.GetHeight();
    }
    void Fetch(int32_t x, int32_t y, int32_t* v) {
        uint8_t p[8] = {};
        m_src.GetPixelData(p, x, y);
        for (int32_t k = 0; k < m_samples; ++k)
            v[k] = Sample(p, k);
    }

    void Pixel(int32_t i, int32_t j, int32_t* v) {
        const int32_t w = m_src.GetWidth(), h = m_src.GetHeight();
        switch (m_frame.angle) {
            case 9000:
                return Fetch(i, h - 1 - j, v);
            case 18000:
                return Fetch(w - 1 - j, h - 1 - i, v);
            case 27000:
                return Fetch(w - 1 - i, j, v);
        }
        const int32_t ox = m_frame.originX + j, oy = m_frame.originY + i;
        const int32_t X = ox * m_frame.c + oy * m_frame.s;
        const int32_t Y = oy * m_frame.c - ox * m_frame.s;
        std::copy(m_bg, m_bg + 4, v);
        if (VxSameColorSpace(m_method.c_str(), "Nearest")) {
            const int32_t sx = (X + 8192) >> 14, sy = (Y + 8192) >> 14;
            if (Inside(sx, sy)) Fetch(sx, sy, v);
        } else if (VxSameColorSpace(m_method.c_str(), "Bilinear")) {
            Bilinear(X, Y, v);
        } else {
            Bicubic(X, Y, v);
        }
    }

    // A zeroed box through the adapter, taps outside the image replaced by the background.
    std::vector<int32_t> Box(int32_t left, int32_t top, int32_t size) {
        const int32_t pixelBytes = m_samples * m_sampleBytes;
        std::vector<uint8_t> box(size_t(size * size * pixelBytes), 0);
        m_src.GetBoxData(box.data(), left, top, left + size - 1, top + size - 1);
        std::vector<int32_t> taps(size_t(size * size * m_samples));
        for (int32_t r = 0; r < size; ++r)
            for (int32_t q = 0; q < size; ++q)
                for (int32_t k = 0; k < m_samples; ++k)
                    taps[(r * size + q) * m_samples + k] =
                        Inside(left + q, top + r)
                            ? Sample(box.data() + (r * size + q) * pixelBytes, k)
                            : m_bg[k];
        return taps;
    }

    void Bilinear(int32_t X, int32_t Y, int32_t* v) {
        const int32_t sx = X >> 14, sy = Y >> 14, fx = (X >> 4) & 1023, fy = (Y >> 4) & 1023;
        if (sx < -1 || sx > m_src.GetWidth() - 1 || sy < -1 || sy > m_src.GetHeight() - 1) return;
        const std::vector<int32_t> p = Box(sx, sy, 2);
        const int32_t n = m_samples;
        for (int32_t k = 0; k < n; ++k) {
            const int32_t top = (p[k] * (1024 - fx) + p[n + k] * fx + 32) >> 6;
            const int32_t bottom = (p[2 * n + k] * (1024 - fx) + p[3 * n + k] * fx + 32) >> 6;
            v[k] = (top * (1024 - fy) + bottom * fy + 8192) >> 14;
        }
    }

    void Bicubic(int32_t X, int32_t Y, int32_t* v) {
        const int16_t(*table)[4] = BicTable;  // the soft curve: sub-table 0
        const int32_t sx = X >> 14, sy = Y >> 14;
        const int16_t* wx = table[(X >> 8) & 63];
        const int16_t* wy = table[(Y >> 8) & 63];
        if (sx < -2 || sx > m_src.GetWidth() || sy < -2 || sy > m_src.GetHeight()) return;
        const std::vector<int32_t> p = Box(sx - 1, sy - 1, 4);
        const int32_t n = m_samples;
        for (int32_t k = 0; k < n; ++k) {
            int32_t sum = 0;
            for (int32_t r = 0; r < 4; ++r) {
                int32_t h = 0;
                for (int32_t q = 0; q < 4; ++q)
                    h += p[(r * 4 + q) * n + k] * wx[q];
                sum += ((h + 32) >> 6) * wy[r];
            }
            v[k] = std::clamp((sum + 8192) >> 14, 0, m_max);
        }
    }

    CDataAccess& m_src;
    OracleFrame m_frame;
    std::string m_method;
    int32_t m_samples = 3;
    int32_t m_sampleBytes = 1;
    int32_t m_max = 255;
    int32_t m_bg[4] = {};
};

}  // namespace vxtest

#endif
