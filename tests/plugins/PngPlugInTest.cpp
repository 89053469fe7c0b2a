// The PNG codec on files its own writer never makes: Adam7 interlacing (decoded up front, with
// progress) and an embedded ICC profile.
#include <gtest/gtest.h>

#include <png.h>

#include "CodecTestSupport.h"
#include "vandrel/MessageProc.h"
#include "vandrel/TagDB.h"
#include "vandrel/Variant.h"

namespace vxtest {
namespace {

// Writes RGB(A) `img` with libpng itself, interlaced or not, with an optional ICC profile.
void WritePng(const std::string& path, const Image& img, bool interlaced,
              const std::vector<unsigned char>& icc = {}) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    const int bits = img.depth == 48 ? 16 : 8;
    const int channels = img.alphaDepth ? 4 : 3;
    png_set_IHDR(png, info, uint32_t(img.width), uint32_t(img.height), bits,
                 img.alphaDepth ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB,
                 interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (!icc.empty()) png_set_iCCP(png, info, "test", 0, icc.data(), png_uint_32(icc.size()));
    png_write_info(png, info);
    if (bits == 16) png_set_swap(png);
    const size_t bytes = size_t(bits) / 8;
    std::vector<std::vector<unsigned char>> rows(
        size_t(img.height), std::vector<unsigned char>(size_t(img.width) * channels * bytes));
    std::vector<png_bytep> pointers;
    for (int32_t y = 0; y < img.height; ++y) {
        for (int32_t x = 0; x < img.width; ++x) {
            unsigned char* dst = rows[size_t(y)].data() + size_t(x) * channels * bytes;
            std::memcpy(dst, img.color.data() + y * img.ColorRowBytes() + x * 3 * bytes, 3 * bytes);
            if (img.alphaDepth)
                std::memcpy(dst + 3 * bytes, img.alpha.data() + y * img.AlphaRowBytes() + x * bytes,
                            bytes);
        }
        pointers.push_back(rows[size_t(y)].data());
    }
    png_write_image(png, pointers.data());
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
}

// A profile libpng accepts: the 128-byte header, a one-entry tag table and a payload that does
// not compress to almost nothing (libpng refuses a chunk it reads whole in its first gulp).
std::vector<unsigned char> MakeIccProfile(uint32_t size) {
    std::vector<unsigned char> icc(size);
    for (uint32_t i = 0; i < size; ++i)
        icc[i] = static_cast<unsigned char>(i * 7 + (i >> 3) * 13);
    std::fill(icc.begin(), icc.begin() + 144, 0);
    auto put32 = [&](size_t at, uint32_t v) {
        for (int i = 0; i < 4; ++i)
            icc[at + size_t(i)] = static_cast<unsigned char>(v >> (24 - 8 * i));
    };
    put32(0, size);
    put32(8, 0x02100000);  // version 2.1
    std::memcpy(&icc[12], "mntr", 4);
    std::memcpy(&icc[16], "RGB ", 4);
    std::memcpy(&icc[20], "XYZ ", 4);
    std::memcpy(&icc[36], "acsp", 4);
    put32(68, 0x0000F6D6);  // D50 illuminant
    put32(72, 0x00010000);
    put32(76, 0x0000D32D);
    put32(128, 1);  // one tag: the white point, 20 bytes at 144
    std::memcpy(&icc[132], "wtpt", 4);
    put32(136, 144);
    put32(140, 20);
    return icc;
}

class CountingListener : public IMessageProc {
public:
    int32_t MessageProc(int message, void* data) override {
        (message == 1 ? announced : lines) += 1;
        last = *static_cast<int32_t*>(data);
        return 1;
    }
    int announced = 0;
    int lines = 0;
    int32_t last = 0;
};

TEST(PngPlugIn, InterlacedFilesDecodeWholeAndReportProgress) {
    ScratchDir dir;
    for (int32_t depth : {24, 48}) {
        SCOPED_TRACE(depth);
        Image source = MakeImage(29, 31, depth, depth / 3);
        WritePng(dir.file("i.png"), source, true);
        CountingListener listener;
        CURequest request;
        request.pMessageProc = &listener;
        Decoded d = DecodeFile(Png(), dir.file("i.png"), request);
        ASSERT_EQ(d.code, 1);
        EXPECT_TRUE(d.image.color == source.color);
        EXPECT_TRUE(d.image.alpha == source.alpha);
        EXPECT_EQ(listener.announced, 1);
        EXPECT_EQ(listener.lines, 31);
        EXPECT_EQ(listener.last, 31);

        WritePng(dir.file("n.png"), source, false);
        CountingListener quiet;
        request.pMessageProc = &quiet;
        ASSERT_EQ(DecodeFile(Png(), dir.file("n.png"), request).code, 1);
        EXPECT_EQ(quiet.announced + quiet.lines, 0);
    }
}

// An interlaced image is in memory, so it seeks both ways; a streamed one only forward.
TEST(PngPlugIn, SeekingFollowsHowTheFileIsDecoded) {
    ScratchDir dir;
    Image source = MakeImage(12, 40, 24, 0);
    for (bool interlaced : {false, true}) {
        SCOPED_TRACE(interlaced ? "interlaced" : "streamed");
        WritePng(dir.file("s.png"), source, interlaced);
        Instance plugIn(Png(), dir.file("s.png"));
        CUImageFileStatus status;
        ASSERT_EQ(plugIn->GetFileStatus(&status), 1);
        plugIn->SetRequest(CURequest(), status);
        ASSERT_EQ(plugIn->Open("r"), 1);
        std::vector<unsigned char> line(size_t(status.info.RowBytes()));
        auto expectLine = [&](int32_t y) {
            ASSERT_EQ(plugIn->ReadLine(line.data(), nullptr), 1);
            EXPECT_EQ(0, std::memcmp(line.data(), source.color.data() + y * source.ColorRowBytes(),
                                     source.ColorRowBytes()))
                << "line " << y;
        };
        ASSERT_EQ(plugIn->SeekLine(30, 0), 1);
        expectLine(30);
        ASSERT_EQ(plugIn->SeekLine(2, 1), 1);
        expectLine(33);
        int32_t back = plugIn->SeekLine(5, 0);
        if (interlaced) {
            ASSERT_EQ(back, 1);
            expectLine(5);
        } else {
            EXPECT_EQ(back, kVxErrCannotSeek);
            expectLine(34);
        }
        EXPECT_EQ(plugIn->SeekLine(41, 0), kVxErrCannotSeek);
    }
}

TEST(PngPlugIn, IccProfileIsInflatedIntoTheTagDatabase) {
    ScratchDir dir;
    std::vector<unsigned char> icc = MakeIccProfile(1500);
    WritePng(dir.file("icc.png"), MakeImage(5, 5, 24, 0), false, icc);
    Instance plugIn(Png(), dir.file("icc.png"));
    CUCameraInfo camera;
    ASSERT_EQ(plugIn->GetCameraInfo(&camera), 1);
    ASSERT_NE(camera.pTagDB, nullptr);
    CUtilVariant value;
    ASSERT_GT(camera.pTagDB->GetTagValue(kVxTagGroupIfd0, 0x8773, value), 0);
    ASSERT_EQ(value.size(), icc.size());
    EXPECT_EQ(0, std::memcmp(value.data(), icc.data(), icc.size()));

    WritePng(dir.file("plain.png"), MakeImage(5, 5, 24, 0), false);
    Instance plain(Png(), dir.file("plain.png"));
    ASSERT_EQ(plain->GetCameraInfo(&camera), 1);
    EXPECT_EQ(camera.pTagDB, nullptr);
}

}  // namespace
}  // namespace vxtest
