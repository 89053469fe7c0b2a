// The general-angle kernels of rotation: each output pixel is mapped back into the source with
// 14-bit fixed-point sine and cosine and sampled by nearest neighbour, bilinear or bicubic
// weights.
//
// The kernels read the source from a window of pixels they can index directly (a memory image,
// or a block copied out of a container once for a whole tile of output). A sample whose taps
// all lie inside the window is computed straight from it; any other sample takes the slow,
// literal route: taps outside the image become the background, taps inside the image but
// outside the window are fetched one by one through the access adapter. Both routes compute
// the same fixed-point expression, so the window only decides speed, never bytes.
#ifndef VANDREL_ROTATE_ROTATESAMPLER_H
#define VANDREL_ROTATE_ROTATESAMPLER_H

#include <cstddef>
#include <cstdint>

#include "container/DataAccess.h"

enum class RotateMethod { kNone, kNearest, kBilinear, kBicubic };

// "Nearest", "Bilinear" or "Bicubic" in any case, whole names only; kNone otherwise.
RotateMethod RotateMethodFromName(const char* name);

// Everything the kernels need, fixed when rotation begins.
struct RotateFrame {
    int32_t cosine = 0;  // x 16384
    int32_t sine = 0;    // x 16384
    int32_t width = 0;   // source
    int32_t height = 0;
    int32_t originX = 0;  // rotated-frame position of output pixel (0, 0)
    int32_t originY = 0;
    int32_t samples = 0;  // per pixel: 1, 3 or 4
    int32_t bitsPerSample = 8;
    int32_t maxValue = 255;
    uint16_t background[4] = {};  // in the image's depth
};

// Source pixels (x, y) with left <= x <= right and top <= y <= bottom, pixel (left, top) at
// `pixels`, lines `stride` bytes apart. Empty when right < left or bottom < top.
struct SourceWindow {
    const unsigned char* pixels = nullptr;
    ptrdiff_t stride = 0;
    int32_t left = 0;
    int32_t top = 0;
    int32_t right = -1;
    int32_t bottom = -1;

    bool Empty() const { return right < left || bottom < top; }
    int64_t Width() const { return Empty() ? 0 : int64_t(right) - left + 1; }
    int64_t Height() const { return Empty() ? 0 : int64_t(bottom) - top + 1; }
};

class CRotateSampler {
public:
    // Weights: 65 rows of four taps (the soft bicubic curve, then 0, 0, 1024, 0); only read
    // by the bicubic kernel and may be null for the others.
    CRotateSampler(const RotateFrame& frame, CDataAccess& source, const int16_t (*weights)[4]);

    // Samples output pixels first .. first + count - 1 of output line `line` into out (samples
    // of 8 or 16 bits, no padding).
    void SampleRun(RotateMethod method, const SourceWindow& window, int32_t line, int32_t first,
                   int32_t count, void* out) const;

    // The source pixels inside the image that the samples of an output rectangle (lines
    // line .. line + lines - 1, pixels first .. first + count - 1) can read. Its pixels pointer
    // and stride are left for the caller to fill.
    SourceWindow Footprint(RotateMethod method, int32_t line, int32_t lines, int32_t first,
                           int32_t count) const;

    // The largest footprint width and height of any rectangle of that size at this angle.
    void MaxFootprint(int32_t lines, int32_t count, int64_t& width, int64_t& height) const;

private:
    // The fixed-point position of a run's first pixel, as 64-bit values (the kernels take
    // them wrapped to 32 bits).
    struct Walk {
        int64_t x = 0;
        int64_t y = 0;
    };

    // kChecked runs test every sample against the window and take the slow route outside it;
    // unchecked runs hold only samples whose taps all lie in the window.
    template <class T, int N, bool kChecked>
    void Nearest(const SourceWindow& window, uint32_t x, uint32_t y, int32_t count,
                 unsigned char* out) const;
    template <class T, int N, bool kChecked>
    void Bilinear(const SourceWindow& window, uint32_t x, uint32_t y, int32_t count,
                  unsigned char* out) const;
    template <class T, int N, bool kChecked>
    void Bicubic(const SourceWindow& window, uint32_t x, uint32_t y, int32_t count,
                 unsigned char* out) const;
    template <class T, int N>
    void Run(RotateMethod method, const SourceWindow& window, const Walk& walk, int32_t count,
             unsigned char* out) const;
    template <class T>
    void Dispatch(RotateMethod method, const SourceWindow& window, const Walk& walk, int32_t count,
                  unsigned char* out) const;
    static void Span(int64_t start, int64_t step, int64_t low, int64_t high, int32_t count,
                     int32_t& first, int32_t& end);

    // One tap of the slow route: background outside the image, the window's pixel inside it,
    // else the adapter's (into scratch).
    const unsigned char* Tap(const SourceWindow& window, int32_t x, int32_t y,
                             unsigned char* scratch) const;

    RotateFrame m_frame;
    CDataAccess& m_source;
    const int16_t (*m_weights)[4];
    int32_t m_lPixelBytes;
    unsigned char m_background[8];  // one background pixel in the image's layout
};

#endif
