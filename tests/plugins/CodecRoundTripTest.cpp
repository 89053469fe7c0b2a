// What the codecs do with unusual write requests and with a request to skip the alpha plane;
// the round trips themselves run through the service.
#include <gtest/gtest.h>

#include "CodecTestSupport.h"

namespace vxtest {
namespace {

struct Lossless {
    const char* codec;
    const char* extension;
    IPlugIn* (*prototype)();
};

const Lossless kLosslessCodecs[] = {{"png", ".png", Png}, {"tiff", ".tif", Tiff}};

TEST(CodecRoundTrip, AlphaSkipLeavesTheSecondPlaneUntouched) {
    ScratchDir dir;
    for (const Lossless& codec : kLosslessCodecs) {
        SCOPED_TRACE(codec.codec);
        Image source = MakeImage(19, 7, 24, 8);
        std::string path = dir.file(std::string("skip") + codec.extension);
        ASSERT_EQ(EncodeFile(codec.prototype(), path, source), 1);
        CURequest request;
        request.lOption1 = 1;
        Decoded d = DecodeFile(codec.prototype(), path, request);
        ASSERT_EQ(d.code, 1);
        EXPECT_EQ(d.status.info2.lColorDepth, 8) << "the file still says it has alpha";
        EXPECT_TRUE(d.image.color == source.color);
        EXPECT_EQ(d.image.alpha, std::vector<unsigned char>(source.alpha.size(), 0xCD));
    }
}

TEST(CodecRoundTrip, WritersRefuseLayoutsAndRemoveUnfinishedFiles) {
    const Lossless codecs[] = {{"jpeg", ".jpg", Jpeg}, kLosslessCodecs[0], kLosslessCodecs[1]};
    const struct {
        int32_t width, height, depth, native;
        int32_t opens[3];  // jpeg, png, tiff; 1 = opens, and closing without lines fails
    } cases[] = {
        {10, 10, 24, 0, {1, 1, 1}},
        {10, 10, 48, 0, {kVxErrCodecUnsupported, 1, 1}},
        {10, 10, 16, 0, {kVxErrCodecUnsupported, 1, 1}},
        {10, 10, 32, 0, {kVxErrCodecUnsupported, kVxErrCodecUnsupported, kVxErrCodecUnsupported}},
        {10, 10, 32, 1, {kVxErrCodecUnsupported, kVxErrCodecUnsupported, kVxErrCodecUnsupported}},
        {10, 0, 24, 0, {kVxErrInvalidArgument, kVxErrInvalidArgument, kVxErrInvalidArgument}},
        {70000, 10, 24, 0, {kVxErrCodecTooLarge, 1, 1}},
        {100000, 100000, 8, 0, {kVxErrCodecTooLarge, kVxErrCodecTooLarge, kVxErrCodecTooLarge}},
    };
    ScratchDir dir;
    for (int k = 0; k < 3; ++k) {
        for (const auto& c : cases) {
            SCOPED_TRACE(testing::Message() << codecs[k].codec << " " << c.width << "x" << c.height
                                            << " " << c.depth << (c.native ? " native" : ""));
            std::string path = dir.file(std::string("w") + codecs[k].extension);
            Instance plugIn(codecs[k].prototype(), path);
            CURequest request;
            request.info.lWidth = c.width;
            request.info.lHeight = c.height;
            request.info.lColorDepth = c.depth;
            request.info.bNative = c.native;
            plugIn->SetRequest(request, CUImageFileStatus());
            ASSERT_EQ(plugIn->Open("w"), c.opens[k]);
            if (c.opens[k] == 1) {
                EXPECT_EQ(plugIn->Open("w"), kVxErrCodecState) << "already open";
                EXPECT_EQ(plugIn->Close(), kVxErrCodecState) << "no line was written";
            }
            EXPECT_FALSE(Exists(path));
        }
    }
}

}  // namespace
}  // namespace vxtest
