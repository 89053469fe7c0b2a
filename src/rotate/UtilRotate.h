// Rotation of a whole image by any angle, one output line per call.
//
// Set-up reduces the angle to hundredths of a degree, quantises sine and cosine to 14 fraction
// bits and places the output frame so that the rotated source's top-left lands at the origin
// of its quadrant. Right angles copy pixels by index; every other angle samples through
// CRotateSampler.
//
// The source is read in blocks, so that no output pixel costs an adapter call of its own: a
// band of source columns for quarter turns, one source row for a half turn (read in place from
// memory), and for other angles the pixels under one tile of output, the tiles of a group of
// output lines being rendered together and handed out one line per call.
#ifndef VANDREL_ROTATE_UTILROTATE_H
#define VANDREL_ROTATE_UTILROTATE_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "container/AutoArray.h"
#include "container/DataAccess.h"
#include "rotate/RotateSampler.h"
#include "vandrel/Records.h"
#include "vandrel/UtilRotateIF.h"

class CUtilRotate : public IUtilRotateIF {
public:
    // No source side may exceed this divided by the square root of 2 (92681 pixels is the
    // largest accepted), so that a rotated side stays below it.
    static constexpr double kMaxRotatedSide = 131072.0;
    // Output lines rendered together from a container, and the width of one tile of them.
    static constexpr int32_t kGroupLines = 64;
    static constexpr int32_t kTileWidth = 64;
    // Upper bound for the group buffer and a right-angle column band.
    static constexpr int64_t kBlockBudget = int64_t(16) << 20;

    CUtilRotate();
    ~CUtilRotate() override;
    CUtilRotate(const CUtilRotate&) = delete;
    CUtilRotate& operator=(const CUtilRotate&) = delete;

    /* 0 */ void Delete() override;
    /* 1 */ int32_t BeginRotating(const IUtilContainerIF* source,
                                  const CURequest& request) override;
    /* 2 */ int32_t BeginRotating(const void* image, const CUImageInfo& info,
                                  const CURequest& request) override;
    /* 3 */ int32_t GetLine(void* line) override;
    /* 4 */ void* GetLine() override;
    /* 5 */ int32_t EndRotating() override;
    /* 6 */ int32_t GetOutputImageSize(int32_t& width, int32_t& height) override;
    /* 7 */ int32_t GetPosition(int32_t& x, int32_t& y) override;

    // The angle in hundredths of a degree, 0..36000, for dAngle: rounded half away from zero;
    // a negative angle lands in 1..36000, so -360 and -0.001 give 36000, not 0.
    static int32_t ReduceAngle(double degrees);
    // sin or cos x 16384, rounded half away from zero.
    static int32_t Quantise(double value);

private:
    void ResetParameters();
    int32_t BeginCommon();
    int32_t TakeDepth(int32_t bitsPerPixel);
    void PlaceOrigin();
    void PrepareBackground(const char* colorSpace, bool native);
    bool PrepareBlocks();
    int32_t PixelBytes() const { return m_lSamples * (m_lBitsPerSample >> 3); }
    bool IsRightAngle() const { return m_lAngle == 9000 || m_lAngle == 18000 || m_lAngle == 27000; }

    void TurnLine(int32_t line, unsigned char* out);
    const unsigned char* SourceColumn(int32_t column, bool bottomUp, ptrdiff_t& step);
    const unsigned char* SourceRowReversed(int32_t row, ptrdiff_t& step);
    void SampleLine(int32_t line, unsigned char* out);
    void RenderGroup(int32_t first);

    CURequest m_request;
    std::unique_ptr<CDataAccess> m_pAccess;
    CAutoArray<unsigned char> m_lineBuffer;
    int32_t m_lLineBytes = 0;
    int32_t m_lAngle = 0;
    int32_t m_lCos = 0;
    int32_t m_lSin = 0;
    int32_t m_lMaxValue = 0;
    unsigned char m_background[5] = {};
    const unsigned char* m_pBackground = m_background;
    int32_t m_lRemaining = 0;
    int32_t m_lBitsPerSample = 0;
    int32_t m_lOriginX = 0;
    int32_t m_lOriginY = 0;
    int32_t m_lSamples = 0;
    int32_t m_lWidth = 0;
    int32_t m_lHeight = 0;
    int32_t m_lOutWidth = 0;
    int32_t m_lOutHeight = 0;
    int32_t m_lBitsPerPixel = 0;
    int32_t m_bBegun = 0;

    // How the source is read.
    RotateMethod m_method = RotateMethod::kNone;
    const unsigned char* m_pImage = nullptr;  // a memory source, read in place
    ptrdiff_t m_lImageStride = 0;
    std::unique_ptr<CRotateSampler> m_pSampler;
    CAutoArray<unsigned char> m_block;  // source pixels copied out of a container
    int32_t m_lBandFirst = 0;           // source columns (right angles) now in m_block
    int32_t m_lBandLast = -1;
    int32_t m_lBandColumns = 1;
    CAutoArray<unsigned char> m_group;  // output lines rendered together from a container
    int32_t m_lGroupFirst = 0;
    int32_t m_lGroupCount = 0;
    int32_t m_lGroupLines = 1;
};

#endif
