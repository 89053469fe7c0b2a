#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ResampleOracle.h"
#include "ResizeDriver.h"
#include "resample/ExHandles.h"
#include "vandrel/ExResize.h"

namespace {

std::string Describe(int method, int bits, int32_t ch, int32_t sw, int32_t sh, int32_t dw,
                     int32_t dh) {
    return "method " + std::to_string(method) + ", " + std::to_string(bits) + " bit, " +
           std::to_string(ch) + " ch, " + std::to_string(sw) + "x" + std::to_string(sh) + " -> " +
           std::to_string(dw) + "x" + std::to_string(dh);
}

oracle::Image Expected(const oracle::Image& src, int bits, int32_t dw, int32_t dh, int method) {
    if (dw < 4 || dh < 4 || method == 0) return oracle::Nearest(src, dw, dh);
    if (method == 1) return oracle::Bilinear(src, dw, dh);
    return oracle::Bicubic(src, dw, dh, method, bits);
}

// Sizes stay at 60 or below on some side so no box pre-reduction takes part.
struct Geometry {
    int32_t sw, sh, dw, dh;
} const kGrid[] = {
    {1, 1, 5, 5},     {1, 7, 4, 9},    {9, 1, 12, 4},    {8, 8, 4, 4},     {4, 4, 8, 8},
    {13, 11, 29, 17}, {40, 30, 7, 9},  {37, 23, 37, 23}, {50, 44, 45, 52}, {7, 5, 3, 2},
    {16, 12, 2, 12},  {12, 16, 12, 3}, {60, 2, 5, 60},   {25, 25, 100, 4}, {10, 10, 4, 4},
    {12, 60, 5, 5},   {59, 7, 6, 13},  {30, 50, 15, 9},
};

TEST(ResampleEngines, EveryMethodMatchesTheStraightforwardFormulas) {
    for (int method = 0; method <= 7; ++method)
        for (int bits : {8, 16})
            for (int32_t ch : {1, 2, 3, 4})
                for (const Geometry& g : kGrid) {
                    SCOPED_TRACE(Describe(method, bits, ch, g.sw, g.sh, g.dw, g.dh));
                    const oracle::Image src =
                        driver::Noise(g.sw, g.sh, ch, bits, g.sw * 31 + g.dh + ch);
                    const driver::Run run = driver::Resize(src, bits, g.dw, g.dh, method);
                    ASSERT_EQ(run.begin, 0);
                    EXPECT_EQ(run.linesOut, g.dh);
                    EXPECT_EQ(run.pullFailures, 0);
                    EXPECT_EQ(run.image.samples, Expected(src, bits, g.dw, g.dh, method).samples);
                }
}

TEST(ResampleEngines, ConstantImagesStayConstant) {
    const Geometry sizes[] = {
        {17, 13, 40, 31}, {40, 31, 17, 13}, {130, 90, 61, 70}, {90, 130, 180, 61}};
    for (int method = 0; method <= 7; ++method)
        for (int bits : {8, 16})
            for (uint32_t value : {0u, 1u, 200u, bits == 8 ? 255u : 65535u})
                for (const Geometry& g : sizes) {
                    SCOPED_TRACE(Describe(method, bits, 3, g.sw, g.sh, g.dw, g.dh) + " value " +
                                 std::to_string(value));
                    const driver::Run run = driver::Resize(driver::Constant(g.sw, g.sh, 3, value),
                                                           bits, g.dw, g.dh, method);
                    ASSERT_EQ(run.linesOut, g.dh);
                    EXPECT_EQ(run.image.samples, driver::Constant(g.dw, g.dh, 3, value).samples);
                }
}

TEST(ResampleEngines, BicubicAtEqualSizesReproducesTheInput) {
    for (int bits : {8, 16})
        for (const Geometry& g : {Geometry{33, 21, 33, 21}, Geometry{97, 75, 97, 75}}) {
            const oracle::Image src = driver::Noise(g.sw, g.sh, 3, bits, 7);
            EXPECT_EQ(driver::Resize(src, bits, g.dw, g.dh, 5).image.samples, src.samples) << bits;
        }
}

TEST(ResampleEngines, BicubicReductionOfTenLinesToFourEndsOnLineEight) {
    const oracle::Image src = driver::Noise(4, 10, 1, 8, 3);
    const driver::Run run = driver::Resize(src, 8, 4, 4, 5);
    ASSERT_EQ(run.linesOut, 4);
    const int32_t expectedLine[4] = {0, 3, 6, 8};
    for (int32_t y = 0; y < 4; ++y)
        for (int32_t x = 0; x < 4; ++x)
            EXPECT_EQ(run.image.at(x, y, 0), src.at(x, expectedLine[y], 0)) << y;
}

TEST(ResampleEngines, SharpestCurveOvershootIsClampedNotWrapped) {
    oracle::Image edge = oracle::Blank(8, 4, 1);
    for (int32_t y = 0; y < 4; ++y)
        for (int32_t x = 4; x < 8; ++x)
            edge.at(x, y, 0) = 255;
    const driver::Run run = driver::Resize(edge, 8, 11, 4, 4);
    ASSERT_EQ(run.linesOut, 4);
    const oracle::Image& out = run.image;
    for (int32_t x = 0; x < 11; ++x) {
        // Left of the edge nothing may wrap up to bright, right of it nothing down to dark.
        if (x < 5) {
            EXPECT_LT(out.at(x, 0, 0), 128u) << x;
        }
        if (x > 5) {
            EXPECT_GT(out.at(x, 0, 0), 127u) << x;
        }
    }
    // The unclamped curve dips below 0 and rises above 255 beside the edge.
    EXPECT_EQ(out.at(4, 0, 0), 0u);
    EXPECT_EQ(out.at(6, 0, 0), 255u);
}

TEST(ResampleMaps, NearestIsTopLeftAligned) {
    struct Case {
        int32_t source, destination;
        std::vector<int32_t> map;
    } cases[] = {
        {4, 2, {0, 2}}, {2, 5, {0, 0, 0, 1, 1}}, {5, 5, {0, 1, 2, 3, 4}}, {7, 3, {0, 2, 4}}};
    for (const Case& c : cases) {
        const EXIMAGEINFO s = {c.source, c.source, EXFORMAT_RGB24};
        const EXIMAGEINFO d = {c.destination, c.destination, EXFORMAT_RGB24};
        EXNEAREST_HANDLE* h = nullptr;
        ASSERT_EQ(ExCreateNearestHandle(&s, &d, &h), 0);
        EXPECT_EQ(std::vector<int32_t>(h->pColumnMap, h->pColumnMap + c.destination), c.map);
        EXPECT_EQ(std::vector<int32_t>(h->pRowMap, h->pRowMap + c.destination), c.map);
        ExDisposeNearestHandle(h);
    }
}

TEST(ResampleMaps, BilinearIsCornerAligned) {
    const EXIMAGEINFO s = {100, 3, EXFORMAT_GRAY8};
    const EXIMAGEINFO d = {400, 9, EXFORMAT_GRAY8};
    EXBILINEAR_HANDLE* h = nullptr;
    ASSERT_EQ(ExCreateBilinearHandle(&s, &d, &h), 0);
    EXPECT_EQ(h->pColumnIndex[0], 0);
    EXPECT_EQ(h->pColumnFraction[0], 0);
    EXPECT_EQ(h->pColumnIndex[399], 99);
    EXPECT_EQ(h->pColumnFraction[399], 0);
    EXPECT_EQ(h->pColumnIndex[1], 0);
    EXPECT_EQ(h->pColumnFraction[1], 254);  // 99 × 1024 / 399
    EXPECT_EQ(h->pRowMap[8], 2 * 1024);
    EXPECT_EQ(h->pRowMap[4], 1024);
    ExDisposeBilinearHandle(h);
}

TEST(ResampleMaps, BicubicCurveFollowsTheScaleFactor) {
    struct Case {
        int32_t source, destination;
        EXRESIZE_METHOD method;
        int subTable;
    } cases[] = {
        {100, 150, 5, 1}, {100, 250, 5, 0}, {250, 100, 6, 0}, {100, 110, 7, 2},
        {100, 100, 5, 2}, {120, 100, 5, 1}, {110, 100, 5, 2}, {100, 199, 5, 1},
        {100, 200, 5, 0}, {100, 150, 2, 0}, {100, 150, 3, 1}, {100, 150, 4, 2},
    };
    for (const Case& c : cases) {
        const EXIMAGEINFO s = {c.source, 10, EXFORMAT_GRAY8};
        const EXIMAGEINFO d = {c.destination, 10, EXFORMAT_GRAY8};
        EXBICUBIC_HANDLE* h = nullptr;
        ASSERT_EQ(ExCreateBicubicHandle(&s, &d, &h, c.method), 0);
        EXPECT_EQ(h->pHorizontal - BicTable, 64 * c.subTable)
            << c.source << " -> " << c.destination << " method " << c.method;
        ExDisposeBicubicHandle(h);
    }
}

TEST(ResampleEngines, ReadyCountsFollowTheLinesEachDestinationLineNeeds) {
    struct Case {
        int method;
        int32_t sh, dh;
        std::vector<int32_t> pushes;
    } cases[] = {
        {1, 2, 5, {0, 5}},                               // the last line makes everything ready
        {0, 1, 6, {6}},                                  // a one-line source answers at once
        {0, 8, 4, {1, 0, 1, 0, 1, 0, 1, EXERR_MOMENT}},  // unsampled lines answer 0, then
        // once every destination line is out, the rest are refused
        {1, 10, 4, {0, 1, 0, 0, 1, 0, 0, 1, 0, 1}},
        {5, 10, 4, {0, 0, 1, 0, 0, 1, 0, 0, 1, 1}},
    };
    for (const Case& c : cases) {
        const driver::Run run =
            driver::Resize(driver::Noise(5, c.sh, 1, 8, 1), 8, 5, c.dh, c.method);
        EXPECT_EQ(run.pushes, c.pushes) << "method " << c.method << " " << c.sh << " -> " << c.dh;
    }
}

TEST(ResampleEngines, DirectCallsRefuseBadArgumentsAndWrongMoments) {
    const EXIMAGEINFO s = {6, 2, EXFORMAT_RGB24};
    const EXIMAGEINFO d = {5, 5, EXFORMAT_RGB24};
    const EXIMAGEINFO other = {5, 5, EXFORMAT_RGB48};
    const EXIMAGEINFO empty = {0, 5, EXFORMAT_RGB24};
    EXBICUBIC_HANDLE* cubic = nullptr;
    EXPECT_EQ(ExCreateBicubicHandle(&s, &d, &cubic, 1), EXERR_ARGUMENT);
    EXPECT_EQ(ExCreateBicubicHandle(&s, &d, &cubic, 8), EXERR_ARGUMENT);
    EXPECT_EQ(ExCreateBicubicHandle(&s, &other, &cubic, 5), EXERR_ARGUMENT);
    EXPECT_EQ(ExCreateBicubicHandle(&s, &empty, &cubic, 5), EXERR_ARGUMENT);
    EXPECT_EQ(ExCreateBicubicHandle(nullptr, &d, &cubic, 5), EXERR_ARGUMENT);
    EXNEAREST_HANDLE* nearest = nullptr;
    EXPECT_EQ(ExCreateNearestHandle(&s, &other, &nearest), EXERR_ARGUMENT);
    EXBILINEAR_HANDLE* bilinear = nullptr;
    EXPECT_EQ(ExCreateBilinearHandle(&empty, &d, &bilinear), EXERR_ARGUMENT);

    ASSERT_EQ(ExCreateBilinearHandle(&s, &d, &bilinear), 0);
    unsigned char line[64] = {};
    EXPECT_EQ(ExGetlineBilinear8(line, bilinear), EXERR_MOMENT);
    EXPECT_EQ(ExSetlineBilinear8(nullptr, bilinear), EXERR_NULL_BUFFER);
    EXPECT_EQ(ExSetlineBilinear8(line, bilinear), 0);
    EXPECT_EQ(ExSetlineBilinear8(line, bilinear), 5);
    EXPECT_EQ(ExSetlineBilinear8(line, bilinear), EXERR_ARGUMENT);  // lines still waiting
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(ExGetlineBilinear8(line, bilinear), 0);
    EXPECT_EQ(ExGetlineBilinear8(line, bilinear), EXERR_MOMENT);
    EXPECT_EQ(ExSetlineBilinear8(line, bilinear), EXERR_MOMENT);  // destination complete
    EXPECT_EQ(ExDisposeBilinearHandle(bilinear), 0);
    EXPECT_EQ(ExDisposeBilinearHandle(nullptr), 0);
    EXPECT_EQ(ExDisposeNearestHandle(nullptr), 0);
    EXPECT_EQ(ExDisposeBicubicHandle(nullptr), 0);
}

}  // namespace
