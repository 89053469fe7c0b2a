#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <vector>

#include "ResampleOracle.h"
#include "ResizeDriver.h"
#include "resample/ExHandles.h"
#include "vandrel/ExResize.h"

extern "C" int ExResizeSumFromC(void);

namespace {

// A handle that is created, and disposed when the test ends.
struct Handle {
    EXRESIZE_HANDLE* h = nullptr;
    Handle() { EXPECT_EQ(ExCreateResizeHandle(&h), 0); }
    ~Handle() { ExDisposeResizeHandle(h); }
};

TEST(ExResize, BeginChecksInItsOwnOrder) {
    const uint32_t rgb = EXFORMAT_RGB24;
    struct Case {
        EXIMAGEINFO source, destination;
        EXRESIZE_METHOD method;
        int32_t expected;
    } cases[] = {
        {{10, 10, rgb}, {5, 0, EXFORMAT_RGB48}, 5, EXERR_ARGUMENT},  // formats before sizes
        {{10, 10, rgb}, {5, 0, rgb}, 5, EXERR_SIZE},
        {{0, 10, rgb}, {5, 5, rgb}, 1, EXERR_SIZE},
        {{10, 10, rgb}, {5, 5, rgb}, 8, EXERR_ARGUMENT},
        {{10, 10, rgb}, {5, 5, rgb}, -1, EXERR_ARGUMENT},
        {{10, 10, rgb}, {5, 5, rgb}, 7, 0},
    };
    for (const Case& c : cases) {
        Handle handle;
        EXPECT_EQ(ExBeginResize(&c.source, &c.destination, c.method, 0, handle.h), c.expected);
        EXPECT_EQ(handle.h->lMethod, c.method);  // stored before any check
    }
    Handle handle;
    const EXIMAGEINFO s = {10, 10, rgb};
    EXPECT_EQ(ExBeginResize(nullptr, &s, 0, 0, handle.h), EXERR_ARGUMENT);
    EXPECT_EQ(ExBeginResize(&s, &s, 0, 0, handle.h), 0);
    EXPECT_EQ(ExEndResize(handle.h), 0);
    EXPECT_EQ(handle.h->bEnded, 1);
    EXPECT_EQ(ExBeginResize(&s, &s, 0, 0, handle.h), EXERR_ARGUMENT);  // ended handles stay ended
}

TEST(ExResize, PushAndPullRefuseTheWrongMoment) {
    Handle handle;
    const EXIMAGEINFO s = {6, 2, EXFORMAT_RGB24};
    const EXIMAGEINFO d = {5, 5, EXFORMAT_RGB24};
    ASSERT_EQ(ExBeginResize(&s, &d, 1, 0, handle.h), 0);
    unsigned char line[32] = {};
    EXPECT_EQ(ExResizeGetLine(line, handle.h, nullptr), EXERR_MOMENT);
    EXPECT_EQ(ExResizeSetLine(line, handle.h), 0);
    EXPECT_EQ(ExResizeSetLine(line, handle.h), 5);
    EXPECT_EQ(ExResizeSetLine(line, handle.h), EXERR_MOMENT);
    EXPECT_EQ(ExResizeSetLine(nullptr, handle.h), EXERR_NULL_BUFFER);
    EXPECT_EQ(ExResizeGetLine(nullptr, handle.h, nullptr), EXERR_NULL_BUFFER);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(ExResizeGetLine(line, handle.h, nullptr), 0);
    EXPECT_EQ(handle.h->lRemaining, 0);
    EXPECT_EQ(ExResizeGetLine(line, handle.h, nullptr), EXERR_MOMENT);
    EXPECT_EQ(ExResizeSetLine(line, handle.h), EXERR_MOMENT);  // destination complete
    EXPECT_EQ(ExEndResize(handle.h), 0);
    EXPECT_EQ(ExResizeSetLine(nullptr, handle.h), EXERR_NULL_BUFFER);  // null is checked first
    EXPECT_EQ(ExResizeSetLine(line, handle.h), EXERR_ARGUMENT);
}

TEST(ExResize, LineSelectionModesSkipEveryOtherLine) {
    struct Case {
        int32_t mode;
        std::vector<int32_t> keptLines;
    } cases[] = {{1, {0, 2, 4, 6}}, {2, {0, 2, 4, 6}}, {3, {1, 3, 5, 7}}, {4, {0, 1, 2, 3}}};
    const oracle::Image all = driver::Noise(5, 8, 1, 8, 2);
    for (const Case& c : cases) {
        const driver::Run run = driver::Resize(all, 8, 5, 4, 0, c.mode, 4);
        ASSERT_EQ(run.linesOut, 4) << "mode " << c.mode;
        for (int32_t y = 0; y < 4; ++y)
            for (int32_t x = 0; x < 5; ++x)
                EXPECT_EQ(run.image.at(x, y, 0), all.at(x, c.keptLines[y], 0)) << "mode " << c.mode;
        // Mode 3 skips the first line, mode 2 the second.
        if (c.mode == 2 || c.mode == 3) {
            EXPECT_EQ(run.pushes[c.mode == 3 ? 0 : 1], 0) << c.mode;
        }
    }
}

TEST(ExResize, TransformRepacksFourBytePixelsByTheDestinationPositions) {
    struct Case {
        uint32_t format;
        unsigned char expected[6];
    } cases[] = {
        {EXFORMAT_RGB24_NATIVE, {1, 2, 3, 5, 6, 7}},  // positions 0, 1, 2: bytes kept in order
        {EXFORMAT_RGB24, {3, 2, 1, 7, 6, 5}},         // positions 2, 1, 0: reversed
    };
    for (const Case& c : cases) {
        Handle handle;
        const EXIMAGEINFO info = {2, 4, c.format};
        ASSERT_EQ(ExBeginResize(&info, &info, 0, 0, handle.h), 0);
        unsigned char line[8] = {1, 2, 3, 4, 5, 6, 7, 8};
        ExTransformPixFormat(line, handle.h);
        EXPECT_EQ(std::memcmp(line, c.expected, 6), 0) << std::hex << c.format;
    }
}

TEST(ExResize, MemCopyTakesTheSourceFirstAndToleratesOverlap) {
    char a[8] = "abcdefg", b[8] = "0123456";
    ExMemCopy(a, b, 3);
    EXPECT_STREQ(b, "abc3456");
    ExMemCopy(a, a + 2, 4);
    EXPECT_STREQ(a, "ababcdg");
    EXPECT_EQ(ExEndResize(nullptr), 0);
    EXPECT_EQ(ExDisposeResizeHandle(nullptr), 0);
}

TEST(ExResize, HeaderCompilesAsPlainC) {
    oracle::Image ramp = oracle::Blank(6, 6, 1);
    for (int32_t y = 0; y < 6; ++y)
        for (int32_t x = 0; x < 6; ++x)
            ramp.at(x, y, 0) = uint32_t(10 * x + y);
    const oracle::Image expected = oracle::Bilinear(ramp, 4, 4);
    EXPECT_EQ(ExResizeSumFromC(),
              int(std::accumulate(expected.samples.begin(), expected.samples.end(), 0u)));
}

}  // namespace
