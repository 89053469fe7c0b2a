#include "RecordingService.h"

namespace {

using WriteTest = vxtest::RecordingService;

CURequest FileOf(int32_t width, int32_t depth, const char* space = "RGB") {
    CURequest r;
    r.strFormatName = "REC";
    r.info.lWidth = width;
    r.info.lHeight = 2;
    r.info.lColorDepth = depth;
    r.info.strColorSpace = space;
    return r;
}

CUImageInfo CallerLines(int32_t width, int32_t depth, int32_t native = 0) {
    CUImageInfo info;
    info.lWidth = width;
    info.lColorDepth = depth;
    info.bNative = native;
    return info;
}

std::vector<unsigned char> Pattern(size_t bytes, int seed) {
    std::vector<unsigned char> line(bytes);
    for (size_t i = 0; i < bytes; ++i)
        line[i] = (unsigned char)(i * 11 + seed * 5 + 1);
    return line;
}

TEST_F(WriteTest, NativeLinesReachTheCodecAsLogicalOnes) {
    const int32_t width = 5;
    const CUImageInfo caller = CallerLines(width, 32, 1);
    int32_t h =
        service->BeginWriteLine(dir.file("out.rec").c_str(), FileOf(width, 24), &caller, nullptr);
    ASSERT_GT(h, 0);
    CParam* p = Param(h);
    EXPECT_EQ(p->lConvert, kVxConvNativeToLogical);
    rec->keepBytes = width * 3;
    for (int y = 0; y < 2; ++y) {
        auto native = Pattern(width * 4, y);
        ASSERT_EQ(service->WriteLine(h, native.data(), nullptr), 1);
        EXPECT_EQ(rec->lines.back(), p->bufRead.pBuffer);
        EXPECT_EQ(rec->lines2.back(), nullptr);
        std::vector<unsigned char> logical;
        for (int x = 0; x < width; ++x)
            logical.insert(logical.end(), &native[4 * x + 1], &native[4 * x + 4]);
        EXPECT_EQ(rec->written.back(), logical);
    }
    EXPECT_EQ(p->bufRead.info.bNative, 0);
    EXPECT_EQ(p->lLine, 2);
    EXPECT_EQ(service->EndWriteLine(h), 1);
    EXPECT_EQ(p->bufRead.bAlloc + p->bufConv.bAlloc, 0);
    EXPECT_EQ(service->DeleteImageHandle(h), 1);
}

TEST_F(WriteTest, RgbLinesForAYccFileAreConvertedWhereTheyLie) {
    const int32_t width = 4;
    const CUImageInfo caller = CallerLines(width, 24);
    int32_t h = service->BeginWriteLine(dir.file("out.rec").c_str(), FileOf(width, 24, "YCC"),
                                        &caller, nullptr);
    ASSERT_GT(h, 0);
    CParam* p = Param(h);
    rec->keepBytes = width * 3;
    auto rgb = Pattern(width * 3, 0);
    const auto original = rgb;
    ASSERT_EQ(service->WriteLine(h, rgb.data(), nullptr), 1);
    EXPECT_EQ(rgb, original);  // the caller's line is copied first
    EXPECT_EQ(rec->lines.back(), p->bufRead.pBuffer);
    auto ycc = rgb;
    CPixelConvert::ConvertRgbToYcc(ycc.data(), ycc.data(), width);
    EXPECT_TRUE(std::equal(ycc.begin(), ycc.end(), rec->written.back().begin()));
    EXPECT_EQ(service->EndWriteLine(h), 1);
}

TEST_F(WriteTest, WideningCarriesTheSecondPlaneWhenOneIsGiven) {
    const int32_t width = 3;
    const CUImageInfo caller = CallerLines(width, 24);
    CUImageInfo caller2 = CallerLines(width, 8);
    int32_t h =
        service->BeginWriteLine(dir.file("out.rec").c_str(), FileOf(width, 48), &caller, &caller2);
    ASSERT_GT(h, 0);
    CParam* p = Param(h);
    EXPECT_EQ(p->lConvert, kVxConvWiden);
    EXPECT_EQ(p->bufConv2.info.lColorDepth, 16);
    rec->keepBytes = width * 6;
    rec->keepBytes2 = width * 2;
    // Callers' lines are padded to whole words, as every line is.
    auto main = Pattern(size_t(VxPaddedRowBytes(width, 24)), 1);
    auto second = Pattern(size_t(VxPaddedRowBytes(width, 8)), 2);
    ASSERT_EQ(service->WriteLine(h, main.data(), second.data()), 1);
    EXPECT_EQ(rec->lines.back(), p->bufConv.pBuffer);
    EXPECT_EQ(rec->lines2.back(), p->bufConv2.pBuffer);
    auto words = vxtest::Words(rec->written.back().data(), width * 3);
    auto words2 = vxtest::Words(rec->written2.back().data(), width);
    for (int32_t i = 0; i < width * 3; ++i)
        EXPECT_EQ(words[i], main[i] << 8);
    for (int32_t i = 0; i < width; ++i)
        EXPECT_EQ(words2[i], second[i] << 8);

    ASSERT_EQ(service->WriteLine(h, main.data(), nullptr), 1);
    EXPECT_EQ(rec->lines2.back(), nullptr);  // no second line given, none handed over
    EXPECT_EQ(service->EndWriteLine(h), 1);
}

TEST_F(WriteTest, WithoutTheCallersLayoutLinesGoOverUntouched) {
    int32_t h =
        service->BeginWriteLine(dir.file("grey.rec").c_str(), FileOf(4, 8), nullptr, nullptr);
    ASSERT_GT(h, 0);
    CParam* p = Param(h);
    EXPECT_EQ(p->lConvert, 0);
    EXPECT_EQ(p->bufRead.bAlloc, 0);
    unsigned char line[4] = {1, 2, 3, 4}, line2[4] = {5, 6, 7, 8};
    ASSERT_EQ(service->WriteLine(h, line, line2), 1);
    EXPECT_EQ(rec->lines.back(), line);
    EXPECT_EQ(rec->lines2.back(), line2);
    EXPECT_EQ(rec->calls, (std::vector<std::string>{"SetRequest", "Open w", "WriteLine"}));
    EXPECT_EQ(rec->request.info.lColorDepth, 8);
    EXPECT_EQ(service->EndWriteLine(h), 1);
}

TEST_F(WriteTest, BeginningFailuresAndWhatTheyLeaveOpen) {
    const CUImageInfo caller = CallerLines(4, 24);
    const std::string out = dir.file("out.rec");
    struct Case {
        const char* name;
        CURequest request;
        int32_t setRequest, open;
        int32_t expected;
        int inUse;  // handles left open
        const char* lastCall;
    } cases[] = {
        {"open fails", FileOf(4, 24), 1, kVxErrCodecUnsupported, kVxErrOpenForWrite, 0, "Open w"},
        {"open warns", FileOf(4, 24), 1, kVxWarnCodecData, kVxErrOpenForWrite, 0, "Open w"},
        {"request refused", FileOf(4, 24), kVxErrCodecUnsupported, 1, kVxErrCodecUnsupported, 1,
         "SetRequest"},
        {"native file",
         [] {
             CURequest r = FileOf(4, 32);
             r.info.bNative = 1;
             return r;
         }(),
         1, 1, kVxErrInvalidArgument, 0, "Close"},
        {"no codec",
         [] {
             CURequest r = FileOf(4, 24);
             r.strFormatName = "GIF";
             return r;
         }(),
         1, 1, kVxErrNoPlugIn, 0, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        rec->Reset();
        rec->setRequestResult = c.setRequest;
        rec->openResult = c.open;
        EXPECT_EQ(service->BeginWriteLine(out.c_str(), c.request, &caller, nullptr), c.expected);
        EXPECT_EQ(InUse(), c.inUse);
        if (c.lastCall != nullptr) {
            ASSERT_FALSE(rec->calls.empty());
            EXPECT_EQ(rec->calls.back(), c.lastCall);
        }
        CloseAll();
    }
    EXPECT_EQ(service->BeginWriteLine(nullptr, FileOf(4, 24), &caller, nullptr),
              kVxErrInvalidArgument);
}

TEST_F(WriteTest, WriteResultsAndArguments) {
    const CUImageInfo caller = CallerLines(4, 48);
    int32_t h =
        service->BeginWriteLine(dir.file("out.rec").c_str(), FileOf(4, 24), &caller, nullptr);
    ASSERT_GT(h, 0);
    auto line = Pattern(4 * 6, 0);
    rec->writeResult = kVxWarnCodecData;  // writing passes no warning as success
    EXPECT_EQ(service->WriteLine(h, line.data(), nullptr), kVxWarnCodecData);
    EXPECT_EQ(Param(h)->lLine, 0);
    rec->writeResult = 3;
    EXPECT_EQ(service->WriteLine(h, line.data(), nullptr), 1);
    EXPECT_EQ(service->WriteLine(h, nullptr, nullptr), kVxErrInvalidArgument);
    EXPECT_EQ(service->WriteLine(h + 1, line.data(), nullptr), kVxErrBadHandle);
    rec->closeResult = kVxErrCodecState;
    EXPECT_EQ(service->EndWriteLine(h), kVxErrCodecState);
    EXPECT_EQ(service->EndWriteLine(h + 1), kVxErrBadHandle);
}

}  // namespace
