// Lossless codecs give back exactly what they were given, for every depth, grey or colour,
// with or without the alpha plane.
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

TEST(CodecRoundTrip, LosslessCodecsReturnEverySampleUnchanged) {
    const int32_t depths[] = {8, 16, 24, 48};
    ScratchDir dir;
    for (const Lossless& codec : kLosslessCodecs) {
        for (int32_t depth : depths) {
            for (bool alpha : {false, true}) {
                const int32_t sampleBits = depth == 8 || depth == 24 ? 8 : 16;
                SCOPED_TRACE(testing::Message() << codec.codec << " " << depth << " bits"
                                                << (alpha ? " + alpha" : ""));
                Image source = MakeImage(37, 23, depth, alpha ? sampleBits : 0);
                std::string path = dir.file(std::string("rt") + codec.extension);
                ASSERT_EQ(EncodeFile(codec.prototype(), path, source), 1);
                Decoded d = DecodeFile(codec.prototype(), path);
                ASSERT_EQ(d.code, 1);
                EXPECT_EQ(d.image.width, 37);
                EXPECT_EQ(d.image.height, 23);
                EXPECT_EQ(d.image.depth, 3 * sampleBits);
                EXPECT_EQ(d.status.info.lRowBytes, VxPaddedRowBytes(37, 3 * sampleBits));
                EXPECT_EQ(d.status.lValue1, depth + (alpha ? sampleBits : 0));
                const bool grey = depth == 8 || depth == 16;
                EXPECT_TRUE(d.image.color == (grey ? GreyAsRgb(source) : source.color));
                EXPECT_EQ(d.image.alphaDepth, alpha ? sampleBits : 0);
                EXPECT_TRUE(d.image.alpha == source.alpha);
            }
        }
    }
}

// Sixteen-bit lines are in host order on both sides: a value written as 0x0102 reads back as
// 0x0102, whatever order the file keeps.
TEST(CodecRoundTrip, SixteenBitSamplesTravelInHostOrder) {
    ScratchDir dir;
    for (const Lossless& codec : kLosslessCodecs) {
        SCOPED_TRACE(codec.codec);
        Image source;
        source.width = 2;
        source.height = 1;
        source.depth = 48;
        const uint16_t samples[6] = {0x0102, 0xFF00, 0x00FF, 0x8000, 0x0001, 0xFFFF};
        source.color.resize(12);
        std::memcpy(source.color.data(), samples, 12);
        std::string path = dir.file(std::string("order") + codec.extension);
        ASSERT_EQ(EncodeFile(codec.prototype(), path, source), 1);
        Decoded d = DecodeFile(codec.prototype(), path);
        ASSERT_EQ(d.code, 1);
        uint16_t back[6];
        std::memcpy(back, d.image.color.data(), 12);
        EXPECT_EQ(0, std::memcmp(back, samples, 12));
    }
}

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
    ScratchDir dir;
    for (const Lossless& codec : kLosslessCodecs) {
        SCOPED_TRACE(codec.codec);
        struct Case {
            int32_t width, height, depth, native;
            int32_t expected;
        } cases[] = {
            {10, 10, 32, 0, kVxErrCodecUnsupported}, {10, 10, 32, 1, kVxErrCodecUnsupported},
            {10, 10, 12, 0, kVxErrCodecUnsupported}, {10, 0, 24, 0, kVxErrCodecTooLarge},
            {100000, 100000, 24, 0, kVxErrCodecTooLarge},
        };
        for (const Case& c : cases) {
            std::string path = dir.file(std::string("bad") + codec.extension);
            Instance plugIn(codec.prototype(), path);
            CURequest request;
            request.info.lWidth = c.width;
            request.info.lHeight = c.height;
            request.info.lColorDepth = c.depth;
            request.info.bNative = c.native;
            plugIn->SetRequest(request, CUImageFileStatus());
            EXPECT_EQ(plugIn->Open("w"), c.expected);
            EXPECT_FALSE(Exists(path));
        }
        Image source = MakeImage(8, 8, 24, 0);
        std::string path = dir.file(std::string("short") + codec.extension);
        Instance plugIn(codec.prototype(), path);
        CURequest request;
        request.info.lWidth = 8;
        request.info.lHeight = 8;
        plugIn->SetRequest(request, CUImageFileStatus());
        ASSERT_EQ(plugIn->Open("w"), 1);
        EXPECT_EQ(plugIn->Open("w"), kVxErrCodecState) << "already open";
        ASSERT_EQ(plugIn->WriteLine(source.color.data(), nullptr), 1);
        EXPECT_EQ(plugIn->Close(), kVxErrCodecState);
        EXPECT_FALSE(Exists(path));
    }
}

}  // namespace
}  // namespace vxtest
