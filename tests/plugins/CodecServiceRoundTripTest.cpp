// Files written line by line through the image-file service, with the codec chosen by format
// name and the caller's lines converted on the way, then read back through the service in the
// caller's own layout.
#include <gtest/gtest.h>

#include "CodecTestSupport.h"

namespace vxtest {
namespace {

constexpr int32_t kWidth = 61, kHeight = 43;  // odd sizes: lines need padding at 24 bits

struct RoundTrip {
    const char* format;
    const char* extension;
    int32_t fileDepth;    // what the file stores: 24 or 48
    bool alpha;           // a second plane travels with the lines
    int32_t callerDepth;  // the caller's lines: 24 or 48 logical, 32 native
    const char* space;    // the caller's colour space
    bool describeLines;   // false: no layout given, lines go to the codec untouched
    int32_t quality;
    double minPsnr;  // 0: every sample comes back unchanged
};

const RoundTrip kRoundTrips[] = {
    {"PNG", ".png", 24, false, 24, "RGB", false, 75, 0},
    {"PNG", ".png", 24, true, 32, "RGB", true, 75, 0},
    {"PNG", ".png", 48, true, 48, "RGB", true, 75, 0},
    {"PNG", ".png", 48, false, 24, "RGB", true, 75, 0},  // widened on the way out and back in
    {"TIFF", ".tif", 24, true, 24, "RGB", false, 75, 0},
    {"TIFF", ".tif", 24, false, 32, "RGB", true, 75, 0},
    {"TIFF", ".tif", 48, false, 48, "RGB", false, 75, 0},
    {"TIFF", ".tif", 48, true, 24, "RGB", true, 75, 0},
    {"jpeg", ".jpg", 24, false, 24, "RGB", true, 75, 37.0},
    {"jpg", ".jpg", 24, false, 24, "RGB", true, 95, 43.0},
    {"JPEG", ".jpg", 24, false, 48, "RGB", true, 95, 43.0},  // narrowed with the dither
    {"JPEG", ".jpg", 24, false, 32, "RGB", true, 75, 37.0},
    {"JPEG", ".jpg", 24, false, 24, "YCC", true, 95, 43.0},  // converted back to RGB in place
};

bool IsNative(int32_t depth) {
    return depth == 32;
}
int32_t AlphaBits(int32_t depth) {
    return depth == 48 ? 16 : 8;
}

CUImageInfo Layout(int32_t depth, const char* space) {
    CUImageInfo info;
    info.lWidth = kWidth;
    info.lHeight = kHeight;
    info.lColorDepth = depth;
    info.bNative = IsNative(depth) ? 1 : 0;
    info.strColorSpace = space;
    return info;
}

// The caller's picture in its own layout, packed: native lines are 0, R, G, B per pixel, YCC
// lines are the RGB picture converted by the service's own converter.
Image CallerImage(IVandrelIF* service, const RoundTrip& c) {
    const int32_t logical = IsNative(c.callerDepth) ? 24 : c.callerDepth;
    Image img = MakeImage(kWidth, kHeight, logical, c.alpha ? AlphaBits(c.callerDepth) : 0);
    if (VxSameColorSpace(c.space, "YCC")) {
        CUImageInfo rgb = Layout(logical, "RGB");
        rgb.lWidth = kWidth * kHeight;  // the whole picture as one line
        service->ConvertRgbToYcc(img.color.data(), img.color.data(), rgb);
    }
    if (IsNative(c.callerDepth)) {
        std::vector<unsigned char> native(size_t(kWidth) * kHeight * 4, 0);
        for (size_t i = 0; i < size_t(kWidth) * kHeight; ++i)
            std::memcpy(&native[i * 4 + 1], &img.color[i * 3], 3);
        img.color = native;
        img.depth = 32;
    }
    return img;
}

// Lines as the service copies them: whole 32-bit words, so each row is padded.
int32_t WriteThroughService(IVandrelIF* service, const std::string& path, const RoundTrip& c,
                            const Image& img) {
    CURequest request;
    request.strFormatName = c.format;
    request.info = Layout(c.fileDepth, "RGB");
    request.lQuality = c.quality;
    request.lOption3 = c.alpha ? 1 : 0;
    const CUImageInfo lines = Layout(c.callerDepth, c.space);
    CUImageInfo lines2 = Layout(AlphaBits(c.callerDepth), c.space);
    lines2.bNative = 0;
    const int32_t handle = service->BeginWriteLine(
        path.c_str(), request, c.describeLines ? &lines : nullptr, c.alpha ? &lines2 : nullptr);
    if (handle < 0) return handle;
    std::vector<unsigned char> line(size_t(lines.RowBytes()), 0);
    std::vector<unsigned char> line2(size_t(lines2.RowBytes()), 0);
    int32_t result = 1;
    for (int32_t y = 0; y < kHeight && result == 1; ++y) {
        std::memcpy(line.data(), &img.color[y * img.ColorRowBytes()], img.ColorRowBytes());
        if (c.alpha)
            std::memcpy(line2.data(), &img.alpha[y * img.AlphaRowBytes()], img.AlphaRowBytes());
        result = service->WriteLine(handle, line.data(), c.alpha ? line2.data() : nullptr);
    }
    const int32_t ended = service->EndWriteLine(handle);
    service->DeleteImageHandle(handle);
    return result != 1 ? result : ended;
}

// The 8-bit view of samples for the quality measure: high bytes of 16-bit samples, and native
// pixels without their unused first byte.
std::vector<unsigned char> EightBitSamples(const std::vector<unsigned char>& samples,
                                           int32_t depth) {
    std::vector<unsigned char> out;
    if (depth == 48) {
        for (size_t i = 1; i < samples.size(); i += 2)
            out.push_back(samples[i]);
    } else if (depth == 32) {
        for (size_t i = 0; i < samples.size(); ++i)
            if (i % 4 != 0) out.push_back(samples[i]);
    } else {
        out = samples;
    }
    return out;
}

TEST(CodecServiceRoundTrip, LinesComeBackInTheCallersLayout) {
    ServicePtr service = CodecService();
    ASSERT_NE(service, nullptr);
    ScratchDir dir;
    for (const RoundTrip& c : kRoundTrips) {
        SCOPED_TRACE(testing::Message()
                     << c.format << " file " << c.fileDepth << (c.alpha ? " + alpha" : "")
                     << ", caller " << c.callerDepth << " " << c.space
                     << (c.describeLines ? "" : " undescribed") << ", quality " << c.quality);
        const Image source = CallerImage(service.get(), c);
        const std::string path = dir.file(std::string("rt") + c.extension);
        ASSERT_EQ(WriteThroughService(service.get(), path, c, source), 1);

        CURequest request;
        request.info = Layout(c.callerDepth, c.space);
        ServiceDecoded back = ReadThroughService(service.get(), path, request);
        ASSERT_EQ(back.code, 1);
        ASSERT_EQ(back.fault, "");
        EXPECT_EQ(back.status.info.lColorDepth, c.fileDepth) << "the file's own depth";
        EXPECT_EQ(back.status.lValue1, c.fileDepth + (c.alpha ? c.fileDepth / 3 : 0));
        EXPECT_EQ(back.info.lColorDepth, c.callerDepth);
        EXPECT_EQ(back.info2.lColorDepth, c.alpha ? AlphaBits(c.callerDepth) : 0);
        ASSERT_EQ(back.color.size(), source.color.size());
        if (c.minPsnr == 0) {
            EXPECT_TRUE(back.color == source.color);
            EXPECT_TRUE(back.alpha == source.alpha);
        } else {
            const double psnr = Psnr(EightBitSamples(back.color, c.callerDepth),
                                     EightBitSamples(source.color, c.callerDepth));
            EXPECT_GT(psnr, c.minPsnr);
            EXPECT_LT(psnr, 99.0) << "a lossy codec gave every sample back";
        }
    }
}

}  // namespace
}  // namespace vxtest
