#include <gtest/gtest.h>

#include <vector>

#include "ResampleOracle.h"
#include "ResizeDriver.h"
#include "resample/ExHandles.h"
#include "vandrel/ExResize.h"

namespace {

TEST(SmoothLine, FactorsArePowersOfTwoThatLeaveTheLastStepToTheBicubicCurve) {
    struct Case {
        int32_t sw, sh, tw, th;
        EXRESIZE_METHOD method;
        int32_t result, iw, ih;
    } cases[] = {
        {400, 400, 100, 100, 5, 0, 200, 200},  // 4 divides 400: 3, then down to 2
        {401, 401, 100, 100, 5, 0, 100, 100},  // 4 stays
        {1000, 1000, 61, 61, 6, 0, 62, 62},    // clamped to 16
        {400, 100, 100, 200, 7, 0, 200, 100},  // enlarging axis keeps factor 1
        {100, 100, 90, 90, 5, 0, 100, 100},    // factor 1 on both axes still makes a reducer
        {60, 400, 30, 100, 5, 1, 30, 100},     // a side of 60 or less: not used
        {400, 400, 100, 61, 5, 0, 200, 100},   // 6 rounds down to 4
        {400, 400, 100, 60, 5, 1, 100, 60},
        {400, 400, 100, 100, 4, 1, 100, 100},  // methods 0-4 never use it
        {400, 400, 100, 100, 8, EXERR_ARGUMENT, 100, 100},
    };
    for (const Case& c : cases) {
        const EXIMAGEINFO source = {c.sw, c.sh, EXFORMAT_RGB24};
        EXIMAGEINFO target = {c.tw, c.th, EXFORMAT_RGB24};
        EXSMOOTHLINE_HANDLE* h = nullptr;
        EXPECT_EQ(ExCreateSmoothLineHandle(&source, &target, c.method, &h), c.result)
            << c.sw << "x" << c.sh << " -> " << c.tw << "x" << c.th;
        EXPECT_EQ(target.lWidth, c.iw);
        EXPECT_EQ(target.lHeight, c.ih);
        EXPECT_EQ(h != nullptr, c.result == 0);
        ExDisposeSmoothLineHandle(&h);
        EXPECT_EQ(h, nullptr);
    }
}

TEST(SmoothLine, BlockAveragesTruncate) {
    const EXIMAGEINFO source = {200, 200, EXFORMAT_GRAY8};
    EXIMAGEINFO target = {61, 61, EXFORMAT_GRAY8};
    EXSMOOTHLINE_HANDLE* h = nullptr;
    ASSERT_EQ(ExCreateSmoothLineHandle(&source, &target, 5, &h), 0);
    ASSERT_EQ(h->lFactorX, 2);
    ASSERT_EQ(h->lFactorY, 2);
    std::vector<uint8_t> top(200, 2), bottom(200, 2), out(100, 99);
    top[0] = 1;
    EXPECT_EQ(ExGetlineSmooth(out.data(), h), EXERR_MOMENT);
    EXPECT_EQ(ExSetlineSmooth(top.data(), h, nullptr), 0);
    EXPECT_EQ(ExSetlineSmooth(bottom.data(), h, nullptr), 1);
    EXPECT_EQ(ExSetlineSmooth(bottom.data(), h, nullptr), EXERR_ARGUMENT);  // one is waiting
    EXPECT_EQ(ExGetlineSmooth(nullptr, h), EXERR_NULL_BUFFER);
    EXPECT_EQ(ExGetlineSmooth(out.data(), h), 0);
    EXPECT_EQ(out[0], 1);  // (1 + 2 + 2 + 2) / 4
    EXPECT_EQ(out[99], 2);
    ExDisposeSmoothLineHandle(&h);
}

TEST(SmoothLine, ReducedImagesMatchABoxAverageFollowedByBicubic) {
    struct Case {
        int32_t sw, sh, dw, dh, fx, fy;
        int bits, channels, method;
    } cases[] = {
        {250, 190, 70, 64, 2, 1, 16, 3, 5},
        {250, 200, 70, 64, 2, 2, 8, 4, 6},
        {301, 90, 61, 100, 4, 1, 8, 3, 7},
        {130, 263, 61, 61, 1, 4, 16, 1, 5},
    };
    for (const Case& c : cases) {
        const oracle::Image src = driver::Noise(c.sw, c.sh, c.channels, c.bits, 11);
        const driver::Run run = driver::Resize(src, c.bits, c.dw, c.dh, c.method);
        ASSERT_EQ(run.linesOut, c.dh);
        const oracle::Image reduced = oracle::Box(src, c.fx, c.fy);
        EXPECT_EQ(run.image.samples, oracle::Bicubic(reduced, c.dw, c.dh, c.method, c.bits).samples)
            << c.sw << "x" << c.sh << " -> " << c.dw << "x" << c.dh;
    }
}

TEST(SmoothLine, SourceLinesBeyondTheLastWholeBlockAreRefused) {
    // 1000 lines to 61: blocks of 16, 62 reduced lines use 992 source lines.
    const oracle::Image src = driver::Noise(70, 1000, 1, 8, 5);
    const driver::Run run = driver::Resize(src, 8, 61, 61, 5);
    ASSERT_EQ(run.pushes.size(), 1000u);
    EXPECT_EQ(run.linesOut, 61);
    for (size_t i = 992; i < 1000; ++i)
        EXPECT_EQ(run.pushes[i], EXERR_MOMENT) << i;
    EXPECT_GT(run.pushes[991], 0);
}

}  // namespace
