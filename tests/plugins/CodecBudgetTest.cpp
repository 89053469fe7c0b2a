// What a decoder may hold for one image: the memory-budget property of each codec, and small
// hostile files that once cost gigabytes, measured in a child process's peak memory.
#include <gtest/gtest.h>
#include <jpeglib.h>
#include <png.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <tiffio.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "CodecTestSupport.h"
#include "vandrel/CodecProperties.h"

namespace vxtest {
namespace {

// A progressive RGB JPEG (4:2:0), written by libjpeg into memory.
std::string ProgressiveJpeg(int width, int height) {
    jpeg_compress_struct cinfo;
    jpeg_error_mgr err;
    cinfo.err = jpeg_std_error(&err);
    jpeg_create_compress(&cinfo);
    unsigned char* buffer = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&cinfo, &buffer, &size);
    cinfo.image_width = JDIMENSION(width);
    cinfo.image_height = JDIMENSION(height);
    cinfo.input_components = 3;
    cinfo.in_color_space = JCS_RGB;
    jpeg_set_defaults(&cinfo);
    jpeg_simple_progression(&cinfo);
    jpeg_start_compress(&cinfo, TRUE);
    std::vector<unsigned char> row(size_t(width) * 3);
    for (int y = 0; y < height; ++y) {
        for (size_t i = 0; i < row.size(); ++i)
            row[i] = static_cast<unsigned char>(i * 7 + y * 3);
        JSAMPROW rows[] = {row.data()};
        jpeg_write_scanlines(&cinfo, rows, 1);
    }
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_compress(&cinfo);
    std::string bytes(reinterpret_cast<char*>(buffer), size);
    std::free(buffer);
    return bytes;
}

void WriteInterlacedPng(const std::string& path, int width, int height) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_set_IHDR(png, info, png_uint_32(width), png_uint_32(height), 8, PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_ADAM7, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    std::vector<unsigned char> pixels(size_t(width) * 3 * height, 0x80);
    std::vector<png_bytep> rows;
    for (int y = 0; y < height; ++y)
        rows.push_back(pixels.data() + size_t(y) * width * 3);
    png_write_image(png, rows.data());
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
}

// The whole image in one compressed strip, so a line read needs all of it at once.
void WriteOneStripTiff(const std::string& path, int width, int height) {
    TIFF* tif = TIFFOpen(path.c_str(), "w");
    ASSERT_NE(tif, nullptr);
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, uint32_t(width));
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, uint32_t(height));
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, uint16_t(3));
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, uint16_t(8));
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, uint32_t(height));
    TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);  // uncompressed is chopped
    std::vector<unsigned char> row(size_t(width) * 3, 0x40);
    for (int y = 0; y < height; ++y)
        TIFFWriteScanline(tif, row.data(), uint32_t(y), 0);
    TIFFClose(tif);
}

// Each holds about 768 KiB while decoding: the coefficients of the progressive JPEG, the whole
// interlaced PNG, the one TIFF strip.
TEST(CodecBudget, ADecoderRefusesAFileThatNeedsMoreThanItsBudget) {
    ScratchDir dir;
    WriteFile(dir.file("p.jpg"), ProgressiveJpeg(512, 512));
    WriteInterlacedPng(dir.file("i.png"), 512, 512);
    WriteOneStripTiff(dir.file("s.tif"), 512, 512);
    const struct {
        const char* file;
        IPlugIn* (*prototype)();
    } cases[] = {{"p.jpg", Jpeg}, {"i.png", Png}, {"s.tif", Tiff}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        for (const int64_t budget : {int64_t(0), int64_t(2) << 20, int64_t(256) << 10}) {
            SCOPED_TRACE(budget);
            Instance plugIn(c.prototype(), dir.file(c.file));
            int64_t got = -1;
            ASSERT_EQ(plugIn->SetProperty(kVxPropMemoryBudget, &budget), 1);
            ASSERT_EQ(plugIn->GetProperty(kVxPropMemoryBudget, &got), 1);
            EXPECT_EQ(got, budget == 0 ? kVxDefaultMemoryBudget : budget);
            CUImageFileStatus status;
            ASSERT_EQ(plugIn->GetFileStatus(&status), 1);
            plugIn->SetRequest(CURequest(), status);
            EXPECT_EQ(plugIn->Open("r"), budget == (int64_t(256) << 10) ? kVxErrCodecTooLarge : 1);
        }
        const int64_t negative = -1;
        Instance plugIn(c.prototype(), dir.file(c.file));
        EXPECT_EQ(plugIn->SetProperty(kVxPropMemoryBudget, &negative), kVxErrInvalidArgument);
    }
}

// Runs `step` in a child process; its exit code and its peak memory in MiB.
std::pair<int, long> InChild(const std::function<int()>& step) {
    const pid_t pid = ::fork();
    if (pid == 0) ::_exit(step());
    int status = 0;
    struct rusage usage {};
    ::wait4(pid, &status, 0, &usage);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 100, usage.ru_maxrss / 1024};
}

std::string PngChunk(const char* type, const std::string& data, uint32_t claimed) {
    auto be32 = [](uint32_t v) {
        return std::string{char(v >> 24), char(v >> 16), char(v >> 8), char(v)};
    };
    const std::string body = std::string(type, 4) + data;
    const uLong crc = crc32(0, reinterpret_cast<const Bytef*>(body.data()), uInt(body.size()));
    return be32(claimed) + body + be32(uint32_t(crc));
}

// A 1 x 1 PNG whose first ancillary chunk claims nearly 2 GB.
std::string PngWithGiantText(const char* type) {
    const std::string ihdr = {0, 0, 0, 1, 0, 0, 0, 1, 8, 2, 0, 0, 0};
    const std::string text("Comment\0\0\0\0\0x", 13);
    return std::string("\x89PNG\r\n\x1A\n", 8) + PngChunk("IHDR", ihdr, 13) +
           PngChunk(type, text, 0x7FFFFFF0u);
}

// A small progressive file whose frame header claims 20000 x 20000 pixels.
std::string ProgressiveJpegClaiming20000() {
    std::string bytes = ProgressiveJpeg(64, 64);
    const size_t sof = bytes.find("\xFF\xC2");
    if (sof == std::string::npos) return "";
    bytes[sof + 5] = bytes[sof + 7] = char(20000 >> 8);
    bytes[sof + 6] = bytes[sof + 8] = char(20000 & 0xFF);
    return bytes;
}

// Each once took one to two gigabytes (and seconds) before failing or while decoding.
TEST(CodecBudget, SmallHostileFilesFailFastInLittleMemory) {
    ScratchDir dir;
    const struct {
        const char* file;
        IPlugIn* (*prototype)();
        std::string bytes;
        int32_t code;  // of the decode: the status, or the open after it
    } cases[] = {
        {"itxt.png", Png, PngWithGiantText("iTXt"), kVxErrCodecFormat},
        {"ztxt.png", Png, PngWithGiantText("zTXt"), kVxErrCodecFormat},
        {"claim.jpg", Jpeg, ProgressiveJpegClaiming20000(), kVxErrCodecTooLarge},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        ASSERT_FALSE(c.bytes.empty());
        WriteFile(dir.file(c.file), c.bytes);
        const auto [exit, peakMiB] = InChild(
            [&] { return DecodeFile(c.prototype(), dir.file(c.file)).code == c.code ? 0 : 1; });
        EXPECT_EQ(exit, 0);
        EXPECT_LT(peakMiB, 400);
    }
}

}  // namespace
}  // namespace vxtest
