// The macro's classification of requests, its dispatch, progress arithmetic, cancelling, the
// decoder hook and the restoring of the request's links.
#include <gtest/gtest.h>

#include "macro/MacroTestSupport.h"

using namespace vxtest;

namespace {

CUImageInfo Info(int32_t w, int32_t h, int32_t depth = 24, const char* space = "RGB") {
    CUImageInfo info;
    info.lWidth = w;
    info.lHeight = h;
    info.lColorDepth = depth;
    info.strColorSpace = space;
    return info;
}

CURequest Request(int32_t w, int32_t h, double angle = 0.0, int32_t depth = 24,
                  const char* space = "RGB") {
    CURequest r;
    r.info = Info(w, h, depth, space);
    r.dAngle = angle;
    return r;
}

struct KindCase {
    const char* what;
    CURequest request;
    CUImageInfo source;
    bool container;
    int kind;
};

TEST(MacroKind, ConvertProcessFollowsSizeAngleDepthAndSpace) {
    const KindCase cases[] = {
        {"same size, no angle", Request(10, 8), Info(10, 8), false, 0},
        {"both sizes zero never resize", Request(0, 0), Info(10, 8), false, 0},
        {"one size named counts the other as 0", Request(10, 0), Info(10, 8), false, 0x400},
        {"different size", Request(20, 8), Info(10, 8), false, 0x400},
        {"any angle rotates", Request(0, 0, -0.001), Info(10, 8), false, 0x800},
        {"file sources carry no conversion", Request(10, 8, 0, 48, "YCC"), Info(10, 8), false, 0},
        {"deeper wanted", Request(10, 8, 0, 48), Info(10, 8), true, 0x004},
        {"shallower wanted", Request(10, 8, 0, 24), Info(10, 8, 48), true, 0x008},
        {"RGB to YCC, any case", Request(10, 8, 0, 24, "ycc"), Info(10, 8), true, 0x010},
        {"YCC to RGB", Request(10, 8, 0, 24, "RGB"), Info(10, 8, 24, "YCC"), true, 0x020},
        {"unknown space pairs set nothing", Request(10, 8, 0, 24, "YCCK"), Info(10, 8), true, 0},
        {"everything", Request(5, 5, 90, 48, "YCC"), Info(10, 8), true, 0xc14},
    };
    for (const KindCase& c : cases)
        EXPECT_EQ(CUtilMacro::GetConvertProcess(c.request, c.source, c.container), c.kind)
            << c.what;
}

class MacroTest : public ::testing::Test {
protected:
    void SetUp() override {
        service.files["a.img"] = MemImage::Make(6, 3);
        macro = NewMacro(&service, &callback);
    }
    ScriptedService service;
    RecordingCallback callback;
    MacroPtr macro;
};

TEST_F(MacroTest, EveryEntryNeedsAServiceAndItsArguments) {
    MacroPtr bare(static_cast<CUtilMacro*>(CreateUtilMacro()));
    ContainerPtr dst = NewContainer();
    ContainerPtr src = ContainerOf(MemImage::Make(2, 2));
    CURequest request;
    EXPECT_EQ(bare->GetImage("a.img", dst.get(), nullptr), kVxErrMacroUnsupported);
    EXPECT_EQ(bare->GetImage(request, src.get(), nullptr, dst.get(), nullptr),
              kVxErrMacroUnsupported);
    EXPECT_EQ(bare->SetImage("a.img", "b.img", request), kVxErrMacroUnsupported);
    EXPECT_EQ(bare->SetVandrelObj(nullptr), kVxErrMacroUnsupported);

    EXPECT_EQ(macro->GetImage(1, request, nullptr, nullptr), kVxErrMacroUnsupported);
    EXPECT_EQ(macro->GetImage(request, nullptr, nullptr, dst.get(), nullptr),
              kVxErrMacroUnsupported);
    EXPECT_EQ(macro->SetImage(nullptr, "b.img", request), kVxErrMacroUnsupported);
    EXPECT_EQ(macro->SetImage("out", nullptr, src.get(), nullptr), kVxErrMacroUnsupported);
    EXPECT_EQ(macro->SetImage("out", request, nullptr, nullptr), kVxErrMacroUnsupported);
    EXPECT_EQ(macro->GetImage("missing.img", dst.get(), nullptr), kVxErrBadHandle);
    EXPECT_TRUE(callback.calls.empty());
}

TEST_F(MacroTest, ThreeLinesReportFortyTwoFortyThreeFortyTwoThenTheMissingOne) {
    ContainerPtr dst = NewContainer();
    ASSERT_EQ(macro->GetImage("a.img", dst.get(), nullptr), 1);
    const std::vector<std::string> expected = {"Start 128",   "Begin 0",     "Progress 42",
                                               "Progress 43", "Progress 42", "Progress 1",
                                               "End",         "Finish"};
    EXPECT_EQ(callback.calls, expected);
    EXPECT_EQ(service.OpenHandles(), 0);
}

TEST_F(MacroTest, AFileToFileCopyIsRefusedWithoutAnyStage) {
    CURequest request = Request(6, 3);
    EXPECT_EQ(macro->SetImage("a.img", "b.img", request), kVxErrMacroUnsupported);
    EXPECT_EQ(callback.calls, (std::vector<std::string>{"Start 256", "Finish"}));
    EXPECT_EQ(service.log.beginReads, 0);
    EXPECT_EQ(service.OpenHandles(), 0);
}

TEST_F(MacroTest, NothingToDoFromAContainerIsACopyWithoutCallbacks) {
    MemImage image = MemImage::Make(5, 4, 24, 8);
    ContainerPtr src = ContainerOf(image);
    ContainerPtr srcAlpha = AlphaContainerOf(image);
    ContainerPtr dst = NewContainer();
    ContainerPtr dstAlpha = NewContainer();
    CURequest request = Request(5, 4);
    ASSERT_EQ(macro->GetImage(request, src.get(), srcAlpha.get(), dst.get(), dstAlpha.get()), 1);
    EXPECT_TRUE(callback.calls.empty());
    EXPECT_EQ(LineOf(dst.get(), 3), LineOf(src.get(), 3));
    EXPECT_EQ(LineOf(dstAlpha.get(), 2), LineOf(srcAlpha.get(), 2));

    // With nothing to do the analysis itself refuses.
    EXPECT_EQ(macro->AnalyzeRequest(-1, nullptr, request, src.get(), nullptr, dst.get(), nullptr),
              kVxErrMacroUnsupported);
}

TEST_F(MacroTest, ANativeContainerIsNotConvertedInDepthOrSpace) {
    ContainerPtr native = NewContainer();
    CUImageInfo info = Info(4, 2, 32);
    info.bNative = 1;
    native->Create(info, 1000, 128);
    ContainerPtr dst = NewContainer();
    EXPECT_EQ(macro->GetImage(Request(4, 2, 0, 48), native.get(), nullptr, dst.get(), nullptr),
              kVxErrMacroUnsupported);
}

struct CancelCase {
    const char* call;
    int32_t after;  // matching calls that go through first
};

TEST_F(MacroTest, AnsweringZeroAnywhereCancelsAndLeavesNothingBehind) {
    const CancelCase cases[] = {{"Start", 0},    {"Begin", 0}, {"Progress", 0},
                                {"Progress", 2}, {"End", 0},   {"Finish", 0}};
    for (const CancelCase& c : cases) {
        RecordingCallback cancelling;
        cancelling.cancelAt = c.call;
        cancelling.cancelAfter = c.after;
        macro->SetCallbackObj(&cancelling);
        ContainerPtr dst = NewContainer();
        EXPECT_EQ(macro->GetImage("a.img", dst.get(), nullptr), kVxErrCancelled) << c.call;
        EXPECT_EQ(service.OpenHandles(), 0) << c.call;
        // Only a cancel after the lines were stored leaves them; the others clear dst.
        const bool linesKept = std::string(c.call) == "End" || std::string(c.call) == "Finish";
        EXPECT_EQ(dst->hasImage() != 0, linesKept) << c.call;
        // Whatever cancelled, a started request is finished and a started stage is ended.
        const std::vector<std::string> stages = cancelling.Stages();
        if (std::string(c.call) != "Start") {
            EXPECT_EQ(stages.back(), "Finish") << c.call;
            if (std::string(c.call) != "Begin") {
                EXPECT_EQ(stages[stages.size() - 2], "End") << c.call;
            }
        } else {
            EXPECT_EQ(stages.size(), 1u);
        }
        EXPECT_EQ(service.log.beginReads, service.log.endReads) << c.call;
    }
}

// Success, a warning, a failed begin and a cancel all give the request its own links back; during
// the read the decoder saw a list (one made up when the request had none) and the macro's face.
TEST_F(MacroTest, TheRequestGetsItsLinksBackWhateverTheOutcome) {
    CUtilParamArray list;
    CountingMessageProc client;
    const int32_t handle = service.GetImageHandle("a.img");
    struct Case {
        int32_t beginResult;
        const char* cancelAt;
        CUtilParamArray* given;
    };
    const Case cases[] = {{1, "", &list},
                          {kVxErrCodecFormat, "", &list},
                          {kVxWarnCodecData, "", &list},  // a warning is the successful result
                          {1, "Progress", nullptr},
                          {1, "Progress", &list}};
    for (const Case& c : cases) {
        service.beginReadResult = c.beginResult;
        RecordingCallback answering;
        answering.cancelAt = c.cancelAt;
        macro->SetCallbackObj(&answering);
        CURequest request;
        request.pParamList = c.given;
        request.pMessageProc = &client;
        ContainerPtr dst = NewContainer();
        const bool cancelled = *c.cancelAt != 0;
        EXPECT_EQ(macro->DecodeImage(handle, request, dst.get(), nullptr),
                  cancelled ? kVxErrCancelled : c.beginResult);
        EXPECT_EQ(dst->hasImage() != 0, !VxIsFailure(c.beginResult) && !cancelled);
        EXPECT_EQ(request.pParamList, c.given);
        EXPECT_EQ(request.pMessageProc, &client);
        EXPECT_NE(service.log.paramListAtBegin, nullptr);
        EXPECT_EQ(service.log.messageProcAtBegin, macro->MessageFace());
    }
}

TEST_F(MacroTest, ADecodeFromInsideADecodeOfTheSameMacroIsRefused) {
    CUtilParamArray list;
    CURequest request;
    request.pParamList = &list;
    request.pMessageProc = macro->MessageFace();
    ContainerPtr dst = NewContainer();
    EXPECT_EQ(macro->GetImage("a.img", request, dst.get(), nullptr), kVxErrMacroUnsupported);
    EXPECT_EQ(service.log.beginReads, 0);
    const std::vector<std::string> expected = {"Start 128", "Begin 0", "End", "Finish"};
    EXPECT_EQ(callback.calls, expected);
}

TEST_F(MacroTest, AnImageWithoutLinesStopsAtOnceLeavingTheReadBegun) {
    service.files["empty.img"] = MemImage::Make(4, 0);
    ContainerPtr dst = NewContainer();
    EXPECT_EQ(macro->GetImage("empty.img", dst.get(), nullptr), kVxErrMacroNoImage);
    EXPECT_EQ(service.log.beginReads, 1);
    EXPECT_EQ(service.log.endReads, 0);
    const std::vector<std::string> expected = {"Start 128", "Begin 0", "Finish"};
    EXPECT_EQ(callback.calls, expected);
}

TEST_F(MacroTest, ADecoderThatReportsProgressFillsHalfTheStage) {
    CountingMessageProc client;
    CUtilParamArray list;
    service.decoderProgressFlag = 1;
    service.sendLineMessages = true;
    CURequest request;
    request.pParamList = &list;
    request.pMessageProc = &client;
    ContainerPtr dst = NewContainer();
    ASSERT_EQ(macro->GetImage("a.img", request, dst.get(), nullptr), 1);
    EXPECT_EQ(macro->DecoderReportsProgress(), 1);
    EXPECT_EQ(callback.TotalSteps(), 128u);
    // Three messages of (0x20000 / 3) / 2 and three lines of 0x10000 / 3 fill 127 steps.
    EXPECT_EQ(macro->ProgressUnits(), 6u * 21845u);
    EXPECT_EQ(client.lineMessages, 3);  // forwarded to the client's own procedure
}

TEST_F(MacroTest, ACancelledDecoderMessageAnswersMinusOne) {
    RecordingCallback cancelling;
    cancelling.cancelAt = "Progress";
    macro->SetCallbackObj(&cancelling);
    int32_t lines = 1;  // a whole stage in one message: half of it is 64 steps
    EXPECT_EQ(macro->RawMessageProc(2, &lines), -1);
    EXPECT_EQ(macro->MessageProc(2, &lines), 1);  // the one cancel is spent
    EXPECT_EQ(macro->MessageProc(7, &lines), 0);  // others keep the base answer
    EXPECT_EQ(macro->RawMessageProc(7, &lines), 1);
    int32_t flag = 5;
    EXPECT_EQ(macro->MessageProc(1, &flag), 1);
    EXPECT_EQ(macro->DecoderReportsProgress(), 5);
}

}  // namespace
