// The TIFF codec on storage layouts its own writer never makes: tiles, separate planes, white
// as zero, palettes, associated alpha, odd strip heights, JPEG-compressed YCbCr.
#include <gtest/gtest.h>

#include <tiffio.h>

#include "CodecTestSupport.h"

namespace vxtest {
namespace {

struct Layout {
    const char* name;
    int bits;
    int colour;  // 1 grey, 3 RGB
    bool alpha;
    bool separate;
    bool tiled;
    uint16_t photometric;
    uint16_t compression;
};

uint16_t SampleAt(const Image& img, size_t index, int bits) {
    if (bits == 8) return img.color[index];
    uint16_t v;
    std::memcpy(&v, &img.color[index * 2], 2);
    return v;
}
uint16_t AlphaAt(const Image& img, size_t index, int bits) {
    if (bits == 8) return img.alpha[index];
    uint16_t v;
    std::memcpy(&v, &img.alpha[index * 2], 2);
    return v;
}

// Writes `img` with libtiff in the given layout (tiles of 16 x 16, strips of 5 rows).
void WriteTiff(const std::string& path, const Image& img, const Layout& l) {
    TIFF* tif = TIFFOpen(path.c_str(), "w");
    ASSERT_NE(tif, nullptr);
    const int spp = l.colour + (l.alpha ? 1 : 0);
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, uint32_t(img.width));
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, uint32_t(img.height));
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, uint16_t(spp));
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, uint16_t(l.bits));
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, l.photometric);
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG,
                 l.separate ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
    TIFFSetField(tif, TIFFTAG_COMPRESSION, l.compression);
    if (l.alpha) {
        uint16_t kind = EXTRASAMPLE_ASSOCALPHA;
        TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, uint16_t(1), &kind);
    }
    std::vector<uint16_t> map[3];
    if (l.photometric == PHOTOMETRIC_PALETTE) {
        for (int c = 0; c < 3; ++c) {
            map[c].resize(256);
            for (int i = 0; i < 256; ++i)
                map[c][size_t(i)] = uint16_t(((i * (c + 3)) & 255) * 257);
        }
        TIFFSetField(tif, TIFFTAG_COLORMAP, map[0].data(), map[1].data(), map[2].data());
    }
    const int planes = l.separate ? spp : 1;
    const int inPlane = l.separate ? 1 : spp;
    const size_t bytes = size_t(l.bits) / 8;
    // Sample s of pixel (x, y) as the file stores it.
    auto sample = [&](int32_t x, int32_t y, int s) -> uint16_t {
        size_t px = size_t(y) * img.width + x;
        if (s == l.colour) return AlphaAt(img, px, l.bits);
        return SampleAt(img, px * l.colour + s, l.bits);
    };
    auto put = [&](unsigned char* dst, uint16_t v) {
        if (bytes == 1)
            *dst = static_cast<unsigned char>(v);
        else
            std::memcpy(dst, &v, 2);
    };
    if (l.tiled) {
        const int32_t tile = 16;
        TIFFSetField(tif, TIFFTAG_TILEWIDTH, uint32_t(tile));
        TIFFSetField(tif, TIFFTAG_TILELENGTH, uint32_t(tile));
        std::vector<unsigned char> buf(size_t(tile) * tile * inPlane * bytes);
        for (int p = 0; p < planes; ++p)
            for (int32_t ty = 0; ty < img.height; ty += tile)
                for (int32_t tx = 0; tx < img.width; tx += tile) {
                    std::fill(buf.begin(), buf.end(), 0);
                    for (int32_t y = ty; y < std::min(ty + tile, img.height); ++y)
                        for (int32_t x = tx; x < std::min(tx + tile, img.width); ++x)
                            for (int s = 0; s < inPlane; ++s)
                                put(&buf[(size_t((y - ty) * tile + (x - tx)) * inPlane + s) *
                                         bytes],
                                    sample(x, y, l.separate ? p : s));
                    TIFFWriteTile(tif, buf.data(), uint32_t(tx), uint32_t(ty), 0, uint16_t(p));
                }
    } else {
        TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, uint32_t(5));
        std::vector<unsigned char> row(size_t(img.width) * inPlane * bytes);
        for (int p = 0; p < planes; ++p)
            for (int32_t y = 0; y < img.height; ++y) {
                for (int32_t x = 0; x < img.width; ++x)
                    for (int s = 0; s < inPlane; ++s)
                        put(&row[(size_t(x) * inPlane + s) * bytes],
                            sample(x, y, l.separate ? p : s));
                TIFFWriteScanline(tif, row.data(), uint32_t(y), uint16_t(p));
            }
    }
    TIFFClose(tif);
}

TEST(TiffPlugIn, EveryStorageLayoutDecodesToTheSameLines) {
    const Layout layouts[] = {
        {"rgb8 strips", 8, 3, false, false, false, PHOTOMETRIC_RGB, COMPRESSION_NONE},
        {"rgba8 strips lzw", 8, 3, true, false, false, PHOTOMETRIC_RGB, COMPRESSION_LZW},
        {"rgba16 separate strips", 16, 3, true, true, false, PHOTOMETRIC_RGB,
         COMPRESSION_ADOBE_DEFLATE},
        {"rgb8 tiles", 8, 3, false, false, true, PHOTOMETRIC_RGB, COMPRESSION_PACKBITS},
        {"rgba16 tiles", 16, 3, true, false, true, PHOTOMETRIC_RGB, COMPRESSION_NONE},
        {"rgba8 separate tiles", 8, 3, true, true, true, PHOTOMETRIC_RGB, COMPRESSION_LZW},
        {"grey8 strips", 8, 1, false, false, false, PHOTOMETRIC_MINISBLACK, COMPRESSION_NONE},
        {"grey16 + alpha tiles", 16, 1, true, false, true, PHOTOMETRIC_MINISBLACK,
         COMPRESSION_NONE},
        {"grey8 + alpha separate", 8, 1, true, true, false, PHOTOMETRIC_MINISBLACK,
         COMPRESSION_NONE},
        {"white-is-zero 16", 16, 1, false, false, false, PHOTOMETRIC_MINISWHITE, COMPRESSION_NONE},
        {"palette", 8, 1, false, false, false, PHOTOMETRIC_PALETTE, COMPRESSION_NONE},
    };
    ScratchDir dir;
    for (const Layout& l : layouts) {
        SCOPED_TRACE(l.name);
        const int32_t depth = l.bits * l.colour;
        Image source = MakeImage(37, 21, depth, l.alpha ? l.bits : 0);  // partial tiles, strips
        std::string path = dir.file("layout.tif");
        WriteTiff(path, source, l);
        Decoded d = DecodeFile(Tiff(), path);
        ASSERT_EQ(d.code, 1);
        ASSERT_EQ(d.image.depth, 3 * l.bits);
        std::vector<unsigned char> expected = l.colour == 1 ? GreyAsRgb(source) : source.color;
        if (l.photometric == PHOTOMETRIC_MINISWHITE) {
            for (size_t i = 0; i < expected.size(); ++i)
                expected[i] = static_cast<unsigned char>(~expected[i]);
        }
        if (l.photometric == PHOTOMETRIC_PALETTE) {
            for (size_t i = 0; i < expected.size(); ++i) {
                int c = int(i % 3);
                expected[i] = static_cast<unsigned char>((expected[i] * (c + 3)) & 255);
            }
        }
        EXPECT_TRUE(d.image.color == expected);
        EXPECT_EQ(d.image.alphaDepth, l.alpha ? l.bits : 0);
        EXPECT_TRUE(d.image.alpha == source.alpha);
    }
}

TEST(TiffPlugIn, AnyLineCanBeSoughtInEitherDirection) {
    ScratchDir dir;
    Image source = MakeImage(20, 30, 24, 0);
    const Layout tiled = {"tiles", 8, 3, false, false, true, PHOTOMETRIC_RGB, COMPRESSION_LZW};
    WriteTiff(dir.file("s.tif"), source, tiled);
    Instance plugIn(Tiff(), dir.file("s.tif"));
    CUImageFileStatus status;
    ASSERT_EQ(plugIn->GetFileStatus(&status), 1);
    plugIn->SetRequest(CURequest(), status);
    ASSERT_EQ(plugIn->Open("r"), 1);
    std::vector<unsigned char> line(size_t(status.info.RowBytes()));
    const struct {
        int32_t line;
        int origin;
        int32_t landsOn;
    } seeks[] = {{25, 0, 25}, {3, 0, 3}, {-1, 2, 29}, {-10, 1, 20}, {31, 0, -1}, {-40, 1, -1}};
    int32_t current = 0;
    for (const auto& s : seeks) {
        SCOPED_TRACE(testing::Message() << s.line << "/" << s.origin);
        int32_t code = plugIn->SeekLine(s.line, s.origin);
        if (s.landsOn < 0) {
            EXPECT_EQ(code, kVxErrCannotSeek);
            continue;
        }
        ASSERT_EQ(code, 1);
        ASSERT_EQ(plugIn->ReadLine(line.data(), nullptr), 1);
        EXPECT_EQ(0,
                  std::memcmp(line.data(), source.color.data() + s.landsOn * source.ColorRowBytes(),
                              source.ColorRowBytes()));
        current = s.landsOn + 1;
    }
    EXPECT_EQ(current, 21);
}

// JPEG-compressed YCbCr strips come out as RGB through libtiff's own JPEG codec.
TEST(TiffPlugIn, JpegCompressedYCbCrArrivesAsRgb) {
    ScratchDir dir;
    Image source = MakeImage(48, 32, 24, 0);
    TIFF* tif = TIFFOpen(dir.file("ycc.tif").c_str(), "w");
    ASSERT_NE(tif, nullptr);
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, uint32_t(48));
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, uint32_t(32));
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, uint16_t(3));
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, uint16_t(8));
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_JPEG);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_YCBCR);
    TIFFSetField(tif, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    TIFFSetField(tif, TIFFTAG_JPEGQUALITY, 95);
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, uint32_t(16));
    for (uint32_t y = 0; y < 32; ++y)
        TIFFWriteScanline(tif, source.color.data() + y * source.ColorRowBytes(), y, 0);
    TIFFClose(tif);
    Decoded d = DecodeFile(Tiff(), dir.file("ycc.tif"));
    ASSERT_EQ(d.code, 1);
    EXPECT_EQ(d.image.depth, 24);
    EXPECT_GT(Psnr(d.image.color, source.color), 35.0);
}

}  // namespace
}  // namespace vxtest
