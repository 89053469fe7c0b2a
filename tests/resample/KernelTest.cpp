#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ResampleOracle.h"
#include "ResizeDriver.h"
#include "resample/ExHandles.h"
#include "vandrel/ExResize.h"

namespace {

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
                    SCOPED_TRACE(::testing::Message()
                                 << "method " << method << ", " << bits << " bit, " << ch << " ch, "
                                 << g.sw << "x" << g.sh << " -> " << g.dw << "x" << g.dh);
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
                    SCOPED_TRACE(::testing::Message()
                                 << "method " << method << ", " << bits << " bit, value " << value
                                 << ", width " << g.sw);
                    const driver::Run run = driver::Resize(oracle::Blank(g.sw, g.sh, 3, value),
                                                           bits, g.dw, g.dh, method);
                    ASSERT_EQ(run.linesOut, g.dh);
                    EXPECT_EQ(run.image.samples, oracle::Blank(g.dw, g.dh, 3, value).samples);
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

// Fixed-point positions of a side of 2^21 + 1 pixels pass 2^31 (10 fraction bits); one grey
// line or column of that length keeps the images small enough to check against the oracle.
TEST(ResampleEngines, SidesBeyondTwoMillionPixelsResizeLikeTheOracle) {
    const Geometry sizes[] = {{4, 2097153, 4, 8}, {2200000, 4, 5, 4}};
    for (const Geometry& g : sizes) {
        const oracle::Image src = driver::Noise(g.sw, g.sh, 1, 8, 5);
        for (int method = 0; method <= 7; ++method) {
            SCOPED_TRACE(::testing::Message() << g.sw << "x" << g.sh << " method " << method);
            const driver::Run run = driver::Resize(src, 8, g.dw, g.dh, method);
            ASSERT_EQ(run.begin, 0);
            ASSERT_EQ(run.linesOut, g.dh);
            EXPECT_EQ(run.image.samples, Expected(src, 8, g.dw, g.dh, method).samples);
        }
    }
}

// Bicubic positions (6 fraction bits) pass 2^31 at 2^25 + 1 lines: the map still ends on the
// last line. Only the handle is made; pushing that many lines would cost seconds.
TEST(ResampleMaps, BicubicRowMapOfThirtyThreeMillionLinesEndsOnTheLastLine) {
    const EXIMAGEINFO s = {4, 33554433, EXFORMAT_GRAY8};
    const EXIMAGEINFO d = {4, 8, EXFORMAT_GRAY8};
    EXBICUBIC_HANDLE* h = nullptr;
    ASSERT_EQ(ExCreateBicubicHandle(&s, &d, &h, 5), 0);
    EXPECT_EQ(h->pRowMap[7] >> 6, 33554432);
    EXPECT_EQ(h->pLineUsed[33554432], 1);
    ExDisposeBicubicHandle(h);
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
    // Index and fraction of columns 0, 1 and 399 (99 × 1024 / 399 = 254), rows 4 and 8.
    EXPECT_EQ(
        std::vector<int32_t>({h->pColumnIndex[0], h->pColumnFraction[0], h->pColumnIndex[1],
                              h->pColumnFraction[1], h->pColumnIndex[399], h->pColumnFraction[399],
                              int32_t(h->pRowMap[4]), int32_t(h->pRowMap[8])}),
        std::vector<int32_t>({0, 0, 0, 254, 99, 0, 1024, 2048}));
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
    EXBILINEAR_HANDLE* bilinear = nullptr;
    EXPECT_EQ(ExCreateBilinearHandle(&empty, &d, &bilinear), EXERR_ARGUMENT);

    ASSERT_EQ(ExCreateBilinearHandle(&s, &d, &bilinear), 0);
    unsigned char line[64] = {};
    EXPECT_EQ(ExSetlineBilinear8(line, bilinear), 0);
    EXPECT_EQ(ExSetlineBilinear8(line, bilinear), 5);
    EXPECT_EQ(ExSetlineBilinear8(line, bilinear), EXERR_ARGUMENT);  // lines still waiting
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(ExGetlineBilinear8(line, bilinear), 0);
    EXPECT_EQ(ExSetlineBilinear8(line, bilinear), EXERR_MOMENT);  // destination complete
    EXPECT_EQ(ExDisposeBilinearHandle(bilinear), 0);
    EXPECT_EQ(ExDisposeBicubicHandle(nullptr), 0);
}

}  // namespace
