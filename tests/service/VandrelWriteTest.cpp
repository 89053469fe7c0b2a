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

using Bytes = std::vector<unsigned char>;

Bytes Logical(const Bytes& native) {
    Bytes out;
    for (size_t x = 0; x + 3 < native.size(); x += 4)
        out.insert(out.end(), &native[x + 1], &native[x + 4]);
    return out;
}
Bytes Ycc(const Bytes& rgb) {
    Bytes out;
    for (size_t x = 0; x + 2 < rgb.size(); x += 3) {
        const int in[3] = {rgb[x], rgb[x + 1], rgb[x + 2]};
        int ycc[3];
        vxtest::ref::RgbToYcc(in, 128, ycc);
        out.insert(out.end(), ycc, ycc + 3);
    }
    return out;
}
Bytes Widened(const Bytes& in) {
    Bytes out;
    for (unsigned char b : in) {
        const uint16_t word = uint16_t(b << 8);
        const auto* bytes = reinterpret_cast<const unsigned char*>(&word);
        out.insert(out.end(), bytes, bytes + 2);
    }
    return out;
}

// The codec is handed the converted line, from the handle's own storage; the caller's line is
// left as it was, and a second plane travels only with the lines that bring one.
TEST_F(WriteTest, CallersLinesReachTheCodecConverted) {
    const int32_t width = 4;
    const struct {
        const char* name;
        CURequest file;
        CUImageInfo caller;
        bool second;
        int32_t convert;
        Bytes (*expected)(const Bytes&);
        bool fromConverted;  // from the handle's converted lines, else from its read lines
    } cases[] = {
        {"native", FileOf(width, 24), CallerLines(width, 32, 1), false, kVxConvNativeToLogical,
         Logical, false},
        {"to YCC", FileOf(width, 24, "YCC"), CallerLines(width, 24), false, kVxConvRgbToYcc, Ycc,
         false},
        {"widened", FileOf(width, 48), CallerLines(width, 24), true, kVxConvWiden, Widened, true},
    };
    const CUImageInfo caller2 = CallerLines(width, 8);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        rec->Reset();
        int32_t h = service->BeginWriteLine(dir.file("out.rec").c_str(), c.file, &c.caller,
                                            c.second ? &caller2 : nullptr);
        ASSERT_GT(h, 0);
        CParam* p = Param(h);
        EXPECT_EQ(p->lConvert, c.convert);
        // Callers' lines are padded to whole words, as every line is.
        const Bytes main = Pattern(size_t(VxPaddedRowBytes(width, c.caller.lColorDepth)), 1);
        const Bytes second = Pattern(size_t(VxPaddedRowBytes(width, 8)), 2);
        const Bytes wantMain =
            c.expected(Bytes(main.begin(), main.begin() + width * c.caller.lColorDepth / 8));
        rec->keepBytes = wantMain.size();
        rec->keepBytes2 = size_t(2 * width);
        for (int y = 0; y < 2; ++y) {
            const bool withSecond = c.second && y == 0;
            Bytes line = main;
            ASSERT_EQ(service->WriteLine(h, line.data(), withSecond ? second.data() : nullptr), 1);
            EXPECT_EQ(line, main) << "the caller's line is copied first";
            EXPECT_EQ(rec->lines.back(), c.fromConverted ? p->bufConv.pBuffer : p->bufRead.pBuffer);
            EXPECT_EQ(rec->written.back(), wantMain);
            EXPECT_EQ(rec->lines2.back(), withSecond ? p->bufConv2.pBuffer : nullptr);
            if (withSecond) {
                EXPECT_EQ(rec->written2.back(),
                          Widened(Bytes(second.begin(), second.begin() + width)));
            }
        }
        EXPECT_EQ(p->lLine, 2);
        EXPECT_EQ(service->EndWriteLine(h), 1);
        EXPECT_EQ(p->bufRead.bAlloc + p->bufConv.bAlloc, 0);
        EXPECT_EQ(service->DeleteImageHandle(h), 1);
    }
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
