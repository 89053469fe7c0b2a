// Encode pipelines against the in-memory service: what reaches the writer, the request it is
// given, and how failures and cancels still end the write.
#include <gtest/gtest.h>

#include "macro/MacroTestSupport.h"

using namespace vxtest;

namespace {

class MacroEncodeTest : public ::testing::Test {
protected:
    void SetUp() override { macro = NewMacro(&service, &callback); }
    ScriptedService service;
    RecordingCallback callback;
    MacroPtr macro;
};

TEST_F(MacroEncodeTest, ContainersAreWrittenLineByLineWithTheirAlphaPlane) {
    MemImage image = MemImage::Make(7, 5, 24, 8);
    ContainerPtr src = ContainerOf(image);
    ContainerPtr srcAlpha = AlphaContainerOf(image);
    ASSERT_EQ(macro->SetImage("out.img", "FAKE", src.get(), srcAlpha.get()), 1);
    const MemImage& written = service.files["out.img"];
    ASSERT_EQ(written.rows.size(), 5u);
    for (size_t y = 0; y < 5; ++y) {
        EXPECT_EQ(written.rows[y], image.rows[y]);
        EXPECT_EQ(written.alphaRows[y], image.alphaRows[y]) << y;
    }
    EXPECT_STREQ(service.log.writeRequest.strFormatName.c_str(), "FAKE");
    EXPECT_EQ(service.log.writeRequest.lOption3, 1);
    EXPECT_EQ(service.log.writeRequest.info.lWidth, 7);
    EXPECT_EQ(service.log.endWrites, 1);
    EXPECT_EQ(service.log.deletedHandles, 1);
    const std::vector<std::string> expected = {"Start 128", "Begin 1", "End", "Finish"};
    EXPECT_EQ(callback.Stages(), expected);
    EXPECT_EQ(callback.TotalSteps(), 128u);
}

TEST_F(MacroEncodeTest, TheFileGetsTheLogicalDepthOfTheContainer) {
    struct Case {
        int32_t depth;
        int32_t native;
        int32_t written;
    };
    for (Case c : {Case{32, 1, 24}, Case{64, 0, 48}, Case{24, 0, 24}, Case{8, 0, 8}}) {
        CUImageInfo info;
        info.lWidth = 3;
        info.lHeight = 2;
        info.lColorDepth = c.depth;
        info.bNative = c.native;
        ContainerPtr src = NewContainer();
        src->Create(info, 1000, 128);
        std::vector<unsigned char> line(size_t(VxPaddedRowBytes(3, c.depth)), 9);
        src->SetLine(line.data(), 0, 0, -1);
        src->SetLine(line.data(), 1, 0, -1);
        ContainerPtr emptyAlpha = NewContainer();
        ASSERT_EQ(macro->SetImage("out.img", "FAKE", src.get(), emptyAlpha.get()), 1) << c.depth;
        EXPECT_EQ(service.log.writeRequest.info.lColorDepth, c.written) << c.depth;
        EXPECT_EQ(service.log.writeRequest.info.bNative, 0);
        EXPECT_EQ(service.log.writeRequest.lOption3, 0);  // an alpha container without image
        EXPECT_FALSE(service.log.writeHadAlpha);
    }
}

TEST_F(MacroEncodeTest, FailuresAndCancelsStillEndTheWrite) {
    MemImage image = MemImage::Make(4, 6);
    ContainerPtr src = ContainerOf(image);
    service.failWriteAtLine = 2;
    EXPECT_EQ(macro->SetImage("out.img", "FAKE", src.get(), nullptr), kVxErrMacroLineIO);
    EXPECT_EQ(service.log.endWrites, 1);
    EXPECT_EQ(service.log.deletedHandles, 1);

    service.failWriteAtLine = -1;
    RecordingCallback cancelling;
    cancelling.cancelAt = "Progress";
    cancelling.cancelAfter = 1;
    macro->SetCallbackObj(&cancelling);
    EXPECT_EQ(macro->SetImage("out.img", "FAKE", src.get(), nullptr), kVxErrCancelled);
    EXPECT_EQ(service.log.endWrites, 2);
    EXPECT_EQ(service.log.deletedHandles, 2);
    EXPECT_EQ(cancelling.Stages().back(), "Finish");
}

}  // namespace
