#include "RecordingService.h"
#include "vandrel/MessageProc.h"

namespace {

using vxtest::DeliveredLine;
using vxtest::RecordingService;

CUImageInfo Layout(int32_t depth, int32_t native = 0, const char* space = "RGB") {
    CUImageInfo info;
    info.lWidth = 5;
    info.lColorDepth = depth;
    info.bNative = native;
    info.strColorSpace = space;
    return info;
}

CURequest Wanting(int32_t depth, int32_t native = 0, const char* space = "RGB") {
    CURequest r;
    r.info = Layout(depth, native, space);
    return r;
}

TEST(AnalyzeRequest, ConversionBitsAndRefusals) {
    const int32_t bad = kVxErrInvalidArgument;
    struct Case {
        const char* mode;
        CUImageInfo file;
        CURequest request;
        int32_t expected;
    } cases[] = {
        {"r", Layout(24), Wanting(48), kVxConvWiden},
        {"r", Layout(48), Wanting(24), kVxConvNarrow},
        {"r", Layout(24), Wanting(32, 1), kVxConvLogicalToNative},  // no widening to native
        {"r", Layout(48), Wanting(32, 1), kVxConvLogicalToNative | kVxConvNarrow},
        {"r", Layout(32, 1), Wanting(24), kVxConvNativeToLogical},  // no narrowing from native
        {"r", Layout(24), Wanting(24, 0, "ycc"), kVxConvRgbToYcc},
        {"r", Layout(48, 0, "YCC"), Wanting(24), kVxConvYccToRgb | kVxConvNarrow},
        {"r", Layout(24, 0, "YCC"), Wanting(48, 0, "rgb"), kVxConvYccToRgb | kVxConvWiden},
        {"r", Layout(24, 0, "YCCK"), Wanting(24, 0, "YCC"), 0},  // names compare as whole words
        {"r", Layout(24), Wanting(24, 1), bad},                  // native lines are 32-bit
        {"r", Layout(24), Wanting(32, 1, "YCC"), bad},           // and RGB
        {"r", Layout(16), Wanting(16), bad},                     // logical grey even from grey
        {"r", Layout(8), Wanting(8), bad},
        {"r", Layout(24), Wanting(32), bad},
        {"r", Layout(48), Wanting(64), bad},
        {"w", Layout(24), Wanting(32, 1), bad},  // nothing is written native
        {"x", Layout(24), Wanting(32, 1), bad},  // anything but 'r' writes
        {"w", Layout(32, 1), Wanting(24), kVxConvNativeToLogical},
        {"w", Layout(24), Wanting(48, 0, "YCC"), kVxConvWiden | kVxConvRgbToYcc},
        {"read", Layout(24), Wanting(32, 1), kVxConvLogicalToNative},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(CVandrel::AnalyzeRequest(c.mode, c.file, c.request), c.expected)
            << c.mode << " " << c.file.lColorDepth << "/" << c.file.strColorSpace.c_str() << " -> "
            << c.request.info.lColorDepth << "/" << c.request.info.bNative << "/"
            << c.request.info.strColorSpace.c_str();
    }
}

using ReadTest = RecordingService;

// What BeginReadLine tells the caller, for a 10-pixel file with an 8-bit second plane.
TEST_F(ReadTest, BeginTellsTheLayoutOfTheLinesToCome) {
    struct Case {
        int32_t fileDepth;
        const char* fileSpace;
        CURequest request;
        int32_t bits, depth, native, rowBytes;
        const char* space;
        int32_t depth2, native2, rowBytes2;
    } cases[] = {
        {24, "RGB", Wanting(24), 0, 24, 0, 32, "RGB", 8, 0, 12},
        {24, "RGB", Wanting(48), kVxConvWiden, 48, 0, 60, "RGB", 16, 0, 20},
        {48, "RGB", Wanting(24), kVxConvNarrow, 24, 0, 32, "RGB", 8, 0, 10},
        {24, "RGB", Wanting(32, 1), kVxConvLogicalToNative, 32, 1, 40, "RGB", 8, 1, 12},
        {48, "RGB", Wanting(32, 1), kVxConvLogicalToNative | kVxConvNarrow, 32, 1, 40, "RGB", 8, 1,
         10},
        {24, "RGB", Wanting(24, 0, "YCC"), kVxConvRgbToYcc, 24, 0, 32, "YCC", 8, 0, 12},
        {48, "YCC", Wanting(24), kVxConvYccToRgb | kVxConvNarrow, 24, 0, 32, "RGB", 8, 0, 10},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.fileDepth) + " -> " +
                     std::to_string(c.request.info.lColorDepth));
        rec->Reset();
        Image(10, 3, c.fileDepth, c.fileSpace, 8);
        rec->status.info2.lRowBytes = 12;  // as the codec says; only main rows are recomputed
        int32_t h = Open();
        CUImageInfo info, info2;
        ASSERT_EQ(service->BeginReadLine(h, c.request, &info, &info2), 1);
        CParam* p = Param(h);
        EXPECT_EQ(p->lConvert, c.bits);
        EXPECT_EQ(info.lColorDepth, c.depth);
        EXPECT_EQ(info.bNative, c.native);
        EXPECT_EQ(info.lRowBytes, c.rowBytes);
        EXPECT_STREQ(info.strColorSpace, c.space);
        EXPECT_EQ(info2.lColorDepth, c.depth2);
        EXPECT_EQ(info2.bNative, c.native2);
        EXPECT_EQ(info2.lRowBytes, c.rowBytes2);
        EXPECT_EQ(p->bufConv.bAlloc, c.bits != 0 ? 1 : 0);
        EXPECT_EQ(p->bufRead2.bAlloc, 1);
        EXPECT_EQ(service->EndReadLine(h), 1);
        EXPECT_EQ(p->bufRead.bAlloc + p->bufRead2.bAlloc + p->bufConv.bAlloc, 0);
        EXPECT_EQ(service->DeleteImageHandle(h), 1);
    }
}

TEST_F(ReadTest, BeginAsksStatusThenRequestThenOpens) {
    Image(4, 2, 24);
    rec->openResult = kVxWarnCodecData;  // a warning goes on and is passed back
    int32_t h = Open();
    CURequest request = Wanting(48);
    request.lQuality = 33;
    request.bSubImage = 1;  // the file has no third image
    IMessageProc listener;
    request.pMessageProc = &listener;
    EXPECT_EQ(service->BeginReadLine(h, request, nullptr, nullptr), kVxWarnCodecData);
    EXPECT_EQ(rec->request.pMessageProc, &listener)
        << "the decoder reports to this read's listener";
    EXPECT_EQ(Param(h)->request.pMessageProc, nullptr) << "the handle keeps its own";
    EXPECT_EQ(rec->calls, (std::vector<std::string>{"GetFileStatus", "SetRequest", "Open r"}));
    EXPECT_EQ(rec->request.lQuality, 33);
    EXPECT_EQ(rec->request.bSubImage, 0);
    EXPECT_EQ(rec->requestStatus.info.lWidth, 4);
    EXPECT_EQ(Param(h)->request.bSubImage, 0);
    EXPECT_EQ(service->EndReadLine(h), 1);
}

TEST_F(ReadTest, TheThirdImageIsReadWhenAskedForAndPresent) {
    Image(8, 2, 24, "RGB", 8);
    rec->status.info3.lWidth = 3;
    rec->status.info3.lHeight = 2;
    rec->status.info3.lColorDepth = 48;
    int32_t h = Open();
    CURequest request;
    request.bSubImage = 1;
    CUImageInfo info, info2;
    ASSERT_EQ(service->BeginReadLine(h, request, &info, &info2), 1);
    EXPECT_EQ(info.lWidth, 3);
    EXPECT_EQ(info.lColorDepth, 24);  // narrowed from the third image's 48 bits
    EXPECT_EQ(info2.lColorDepth, 0);
    void* line = nullptr;
    void* line2 = nullptr;
    ASSERT_EQ(service->ReadLine(h, &line, &line2), 1);
    EXPECT_EQ(rec->lines2.back(), nullptr);
    EXPECT_EQ(line2, nullptr);
    EXPECT_EQ(service->EndReadLine(h), 1);
}

TEST_F(ReadTest, RefusedRequestsCloseTheCodecAndKeepNoBuffers) {
    Image(4, 2, 16);
    int32_t h = Open();
    for (const CURequest& request : {Wanting(24, 1), Wanting(32, 1, "YCC"), Wanting(16)}) {
        rec->calls.clear();
        EXPECT_EQ(service->BeginReadLine(h, request, nullptr, nullptr), kVxErrInvalidArgument);
        EXPECT_EQ(rec->calls.back(), "Close");
        EXPECT_EQ(Param(h)->bufRead.bAlloc, 0);
    }
    EXPECT_EQ(service->BeginReadLine(h + 1, Wanting(24), nullptr, nullptr), kVxErrBadHandle);
    rec->statusResult = kVxErrCodecFormat;  // a fresh handle has no status yet
    rec->calls.clear();
    EXPECT_EQ(service->BeginReadLine(Open(), Wanting(24), nullptr, nullptr), kVxErrCodecFormat);
    EXPECT_EQ(rec->Count("Open r"), 0);
}

// A delivered line as the caller sees it: the same bytes, or each widened to its high byte.
void ExpectLine(const void* line, const std::vector<unsigned char>& delivered, bool widened) {
    const auto* got = static_cast<const unsigned char*>(line);
    for (size_t i = 0; i < delivered.size(); ++i) {
        uint16_t word = got[i];
        if (widened) std::memcpy(&word, got + 2 * i, 2);
        ASSERT_EQ(word, widened ? delivered[i] << 8 : delivered[i]) << i;
    }
}

// Lines are lent from the handle (the codec's or the converted ones) or read into the caller's;
// a caller who gives no second line gets only the main plane.
TEST_F(ReadTest, LinesAreLentOrReadIntoTheCallersBuffers) {
    const int32_t width = 6;
    Image(width, 3, 24, "RGB", 8);
    for (bool widen : {false, true}) {
        for (bool lent : {false, true}) {
            SCOPED_TRACE(testing::Message() << (widen ? "widened" : "as stored")
                                            << (lent ? ", lent" : ", caller's line"));
            int32_t h = Open();
            CUImageInfo info;
            ASSERT_EQ(service->BeginReadLine(h, Wanting(widen ? 48 : 24), &info, nullptr), 1);
            CParam* p = Param(h);
            unsigned char* conv = p->bufConv.pBuffer;
            std::vector<unsigned char> own(size_t(info.lRowBytes), 0xEE);
            for (int32_t y = 0; y < 3; ++y) {
                void* line = own.data();
                void* line2 = nullptr;
                if (lent) {
                    ASSERT_EQ(service->ReadLine(h, &line, &line2), 1);
                    EXPECT_EQ(line, widen ? p->bufConv.pBuffer : p->bufRead.pBuffer);
                    EXPECT_EQ(line2, widen ? p->bufConv2.pBuffer : p->bufRead2.pBuffer);
                    EXPECT_EQ(rec->lines2.back(), p->bufRead2.pBuffer);
                    ExpectLine(line2, DeliveredLine(1, y, width), widen);
                } else {
                    ASSERT_EQ(service->ReadLine(h, line, nullptr), 1);
                    EXPECT_EQ(p->bufConv.pBuffer, conv);  // lent to the caller's line for one line
                    if (!widen) {
                        EXPECT_EQ(rec->lines2.back(), nullptr);
                    }
                }
                EXPECT_EQ(rec->lines.back(), widen || lent ? p->bufRead.pBuffer : own.data());
                ExpectLine(line, DeliveredLine(0, y, width * 3), widen);
            }
            EXPECT_EQ(p->lLine, 3);
            EXPECT_EQ(service->EndReadLine(h), 1);
            EXPECT_EQ(service->DeleteImageHandle(h), 1);
        }
    }
}

// A colour change alone runs in the caller's lines; afterwards both plug-in-side pointers are
// left on the handle's main line.
TEST_F(ReadTest, InPlaceReadingLeavesBothPlugInPointersOnTheMainLine) {
    const int32_t width = 4;
    Image(width, 2, 24, "RGB", 8);
    int32_t h = Open();
    CUImageInfo info, info2;
    ASSERT_EQ(service->BeginReadLine(h, Wanting(24, 0, "YCC"), &info, &info2), 1);
    CParam* p = Param(h);
    unsigned char* own = p->bufRead.pBuffer;
    std::vector<unsigned char> line(size_t(info.RowBytes())), line2(size_t(info2.RowBytes()));
    ASSERT_EQ(service->ReadLine(h, static_cast<void*>(line.data()), line2.data()), 1);
    EXPECT_EQ(rec->lines.back(), line.data());
    EXPECT_EQ(rec->lines2.back(), line2.data());
    EXPECT_EQ(p->bufRead.pBuffer, own);
    EXPECT_EQ(p->bufRead2.pBuffer, own);

    auto ycc = DeliveredLine(0, 0, width * 3);
    CPixelConvert::ConvertRgbToYcc(ycc.data(), ycc.data(), width);
    EXPECT_TRUE(std::equal(ycc.begin(), ycc.end(), line.begin()));
    auto second = DeliveredLine(1, 0, width);
    EXPECT_TRUE(std::equal(second.begin(), second.end(), line2.begin()));
    EXPECT_EQ(service->EndReadLine(h), 1);  // frees each storage once
}

TEST_F(ReadTest, AFailedInPlaceReadKeepsTheCallersPointersWithoutOwningThem) {
    Image(4, 2, 24, "RGB", 8);
    int32_t h = Open();
    ASSERT_EQ(service->BeginReadLine(h, Wanting(24, 0, "YCC"), nullptr, nullptr), 1);
    CParam* p = Param(h);
    rec->readResult = kVxErrCodecData;
    std::vector<unsigned char> line(64), line2(64);
    EXPECT_EQ(service->ReadLine(h, static_cast<void*>(line.data()), line2.data()), kVxErrCodecData);
    EXPECT_EQ(p->bufRead.pBuffer, line.data());
    EXPECT_EQ(p->bufRead2.pBuffer, line2.data());
    EXPECT_EQ(p->lLine, 0);
    EXPECT_EQ(service->EndReadLine(h), 1);  // must not free the caller's lines
    EXPECT_EQ(service->DeleteImageHandle(h), 1);
}

TEST_F(ReadTest, ReadResultsAndArguments) {
    Image(4, 5, 24);
    int32_t h = Open();
    ASSERT_EQ(service->BeginReadLine(h, Wanting(24), nullptr, nullptr), 1);
    void* line = nullptr;
    rec->readResult = kVxWarnCodecData;  // damaged but delivered
    EXPECT_EQ(service->ReadLine(h, &line, nullptr), kVxWarnCodecData);
    EXPECT_NE(line, nullptr);
    rec->readResult = kVxErrCodecData;
    EXPECT_EQ(service->ReadLine(h, &line, nullptr), kVxErrCodecData);
    EXPECT_EQ(Param(h)->lLine, 1);
    EXPECT_EQ(service->ReadLine(h, static_cast<void*>(nullptr), nullptr), kVxErrInvalidArgument);
    EXPECT_EQ(service->ReadLine(h + 1, &line, nullptr), kVxErrBadHandle);
    rec->closeResult = kVxErrCodecIO;
    EXPECT_EQ(service->EndReadLine(h), kVxErrCodecIO);
    EXPECT_EQ(service->EndReadLine(h + 1), kVxErrBadHandle);
}

TEST_F(ReadTest, SeekingIsTheCodecsBusinessAndLeavesTheLineCount) {
    Image(4, 9, 24);
    int32_t h = Open();
    ASSERT_EQ(service->BeginReadLine(h, Wanting(24), nullptr, nullptr), 1);
    void* line = nullptr;
    ASSERT_EQ(service->ReadLine(h, &line, nullptr), 1);
    struct Case {
        int32_t codecResult, expected;
    } cases[] = {{1, 1}, {7, 1}, {kVxErrCannotSeek, kVxErrCannotSeek}};
    for (const Case& c : cases) {
        rec->seekResult = c.codecResult;
        EXPECT_EQ(service->SeekLine(h, -3, 2), c.expected);
        EXPECT_EQ(rec->seekLine, -3);
        EXPECT_EQ(rec->seekOrigin, 2);
        EXPECT_EQ(Param(h)->lLine, 1);
    }
    EXPECT_EQ(service->SeekLine(h + 1, 0, 1), kVxErrBadHandle);
    EXPECT_EQ(service->EndReadLine(h), 1);
}

}  // namespace
