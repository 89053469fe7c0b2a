// The JPEG codec beyond the corpus: colour models the cameras do not use, progressive files,
// seeking and progress messages.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include <jpeglib.h>

#include "CodecTestSupport.h"
#include "vandrel/CodecProperties.h"
#include "vandrel/MessageProc.h"

namespace vxtest {
namespace {

enum class Model { kRgb, kGrey, kCmykAdobe, kCmykPlain, kYcck };

// Writes `rgb` (8-bit, packed) with libjpeg itself, in the given colour model. CMYK samples are
// chosen so that a correct reader gets the RGB back: Adobe files store inverted ink, so
// C,M,Y = R,G,B with no black; plain files store ink, so C,M,Y = 255 - R,G,B.
void WriteJpeg(const std::string& path, const Image& rgb, Model model, bool progressive,
               int quality = 90) {
    jpeg_compress_struct cinfo;
    jpeg_error_mgr err;
    cinfo.err = jpeg_std_error(&err);
    jpeg_create_compress(&cinfo);
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    jpeg_stdio_dest(&cinfo, file);
    cinfo.image_width = JDIMENSION(rgb.width);
    cinfo.image_height = JDIMENSION(rgb.height);
    const bool cmyk =
        model == Model::kCmykAdobe || model == Model::kCmykPlain || model == Model::kYcck;
    cinfo.input_components = model == Model::kGrey ? 1 : cmyk ? 4 : 3;
    cinfo.in_color_space = model == Model::kGrey ? JCS_GRAYSCALE : cmyk ? JCS_CMYK : JCS_RGB;
    jpeg_set_defaults(&cinfo);
    jpeg_set_quality(&cinfo, quality, TRUE);
    if (model == Model::kYcck) jpeg_set_colorspace(&cinfo, JCS_YCCK);
    if (model == Model::kCmykPlain) cinfo.write_Adobe_marker = FALSE;
    if (progressive) jpeg_simple_progression(&cinfo);
    jpeg_start_compress(&cinfo, TRUE);
    std::vector<unsigned char> row(size_t(rgb.width) * 4);
    for (int32_t y = 0; y < rgb.height; ++y) {
        const unsigned char* src = rgb.color.data() + y * rgb.ColorRowBytes();
        for (int32_t x = 0; x < rgb.width; ++x) {
            const unsigned char* px = src + x * 3;
            switch (model) {
                case Model::kRgb:
                    std::memcpy(&row[x * 3], px, 3);
                    break;
                case Model::kGrey:
                    row[x] = px[1];
                    break;
                case Model::kCmykPlain:
                    for (int c = 0; c < 3; ++c)
                        row[x * 4 + c] = static_cast<unsigned char>(255 - px[c]);
                    row[x * 4 + 3] = 0;
                    break;
                default:
                    std::memcpy(&row[x * 4], px, 3);
                    row[x * 4 + 3] = 255;
                    break;
            }
        }
        JSAMPROW rows[1] = {row.data()};
        jpeg_write_scanlines(&cinfo, rows, 1);
    }
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_compress(&cinfo);
    std::fclose(file);
}

// Every decoded line of a file, read straight through.
std::vector<std::vector<unsigned char>> AllLines(const std::string& path) {
    Decoded d = DecodeFile(Jpeg(), path);
    std::vector<std::vector<unsigned char>> lines;
    for (int32_t y = 0; y < d.image.height; ++y) {
        auto begin = d.image.color.begin() + long(y * d.image.ColorRowBytes());
        lines.emplace_back(begin, begin + long(d.image.ColorRowBytes()));
    }
    return lines;
}

TEST(JpegPlugIn, ColourModelsAllArriveAsRgb) {
    struct Case {
        const char* name;
        Model model;
        int32_t storedBits;
    } cases[] = {
        {"rgb", Model::kRgb, 24},
        {"grey", Model::kGrey, 8},
        {"cmyk-adobe", Model::kCmykAdobe, 32},
        {"cmyk-plain", Model::kCmykPlain, 32},
        {"ycck", Model::kYcck, 32},
    };
    ScratchDir dir;
    Image source = MakeImage(61, 47, 24, 0);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::string path = dir.file(std::string(c.name) + ".jpg");
        WriteJpeg(path, source, c.model, false, 95);
        Decoded d = DecodeFile(Jpeg(), path);
        ASSERT_EQ(d.code, 1);
        EXPECT_EQ(d.status.info.lColorDepth, 24);
        EXPECT_EQ(d.status.info2.lColorDepth, 0);
        EXPECT_EQ(d.status.lValue1, c.storedBits);
        EXPECT_STREQ(d.status.strFormat.c_str(), "JPEG");
        if (c.model == Model::kGrey) {
            Image grey = source;
            grey.depth = 8;
            grey.color.clear();
            for (size_t i = 1; i < source.color.size(); i += 3)
                grey.color.push_back(source.color[i]);
            EXPECT_GT(Psnr(d.image.color, GreyAsRgb(grey)), 40.0);
        } else {
            EXPECT_GT(Psnr(d.image.color, source.color), 30.0);
        }
    }
}

class RecordingListener : public IMessageProc {
public:
    explicit RecordingListener(int cancelAt = -1) : m_cancelAt(cancelAt) {}
    int32_t MessageProc(int message, void* data) override {
        int32_t value = *static_cast<int32_t*>(data);
        if (message == 1) selfReporting.push_back(value);
        if (message == 2) {
            lineCounts.push_back(value);
            if (int(lineCounts.size()) == m_cancelAt) return -1;
        }
        return 1;
    }
    std::vector<int32_t> selfReporting;
    std::vector<int32_t> lineCounts;

private:
    int m_cancelAt;
};

TEST(JpegPlugIn, ProgressiveFileReportsItsPrePassThroughTheMessageProcedure) {
    ScratchDir dir;
    Image source = MakeImage(40, 77, 24, 0);
    WriteJpeg(dir.file("prog.jpg"), source, Model::kRgb, true);
    WriteJpeg(dir.file("base.jpg"), source, Model::kRgb, false);

    RecordingListener listener;
    CURequest request;
    request.pMessageProc = &listener;
    Decoded prog = DecodeFile(Jpeg(), dir.file("prog.jpg"), request);
    ASSERT_EQ(prog.code, 1);
    EXPECT_EQ(listener.selfReporting, std::vector<int32_t>{1});
    EXPECT_EQ(listener.lineCounts, std::vector<int32_t>(77, 77));

    RecordingListener quiet;
    request.pMessageProc = &quiet;
    ASSERT_EQ(DecodeFile(Jpeg(), dir.file("base.jpg"), request).code, 1);
    EXPECT_TRUE(quiet.selfReporting.empty());
    EXPECT_TRUE(quiet.lineCounts.empty());

    RecordingListener cancelling(3);
    request.pMessageProc = &cancelling;
    EXPECT_EQ(DecodeFile(Jpeg(), dir.file("prog.jpg"), request).code, kVxErrCancelled);
    EXPECT_EQ(cancelling.lineCounts.size(), 3u);
}

// Progressive files decode to the pixels of baseline ones, and seeking in either lands on the
// lines a straight read gives.
TEST(JpegPlugIn, ProgressiveMatchesBaselineAndSeekingLandsOnTheSamePixels) {
    struct Case {
        int32_t readFirst;
        int32_t line;
        int origin;
        int32_t landsOn;  // -1: the seek is refused
    } cases[] = {
        {0, 0, 0, 0},    {0, 1, 0, 1},    {0, 37, 0, 37},  {5, 16, 0, 16},
        {16, 17, 0, 17}, {3, 10, 1, 13},  {0, -1, 2, 99},  {0, 100, 0, 100},
        {20, 19, 0, -1}, {20, -1, 1, -1}, {0, 101, 0, -1}, {0, 0, 7, -1},
    };
    ScratchDir dir;
    Image source = MakeImage(50, 100, 24, 0);
    WriteJpeg(dir.file("b.jpg"), source, Model::kRgb, false);  // 4:2:0, so lines share context
    WriteJpeg(dir.file("p.jpg"), source, Model::kRgb, true);
    const auto reference = AllLines(dir.file("b.jpg"));
    ASSERT_EQ(reference.size(), 100u);
    ASSERT_EQ(AllLines(dir.file("p.jpg")), reference);
    for (bool progressive : {false, true}) {
        std::string path = dir.file(progressive ? "p.jpg" : "b.jpg");
        for (const Case& c : cases) {
            SCOPED_TRACE(testing::Message()
                         << "progressive " << progressive << " after " << c.readFirst << " seek "
                         << c.line << "/" << c.origin);
            Instance plugIn(Jpeg(), path);
            CUImageFileStatus status;
            ASSERT_EQ(plugIn->GetFileStatus(&status), 1);
            plugIn->SetRequest(CURequest(), status);
            ASSERT_EQ(plugIn->Open("r"), 1);
            std::vector<unsigned char> line(size_t(status.info.RowBytes()));
            for (int32_t y = 0; y < c.readFirst; ++y)
                ASSERT_EQ(plugIn->ReadLine(line.data(), nullptr), 1);
            int32_t code = plugIn->SeekLine(c.line, c.origin);
            if (c.landsOn < 0) {
                EXPECT_EQ(code, kVxErrCannotSeek);
                EXPECT_EQ(VxClass(code), 0x7e);
                continue;
            }
            ASSERT_EQ(code, 1);
            for (int32_t y = c.landsOn; y < 100; ++y) {
                ASSERT_EQ(plugIn->ReadLine(line.data(), nullptr), 1);
                ASSERT_EQ(
                    0, std::memcmp(line.data(), reference[size_t(y)].data(), reference[0].size()))
                    << "line " << y;
            }
            EXPECT_LT(plugIn->ReadLine(line.data(), nullptr), 0) << "read past the last line";
        }
    }
}

// The mean of each factor x factor block of a full decode, as the scaled inverse DCT
// approximates it; blocks cut by the right or bottom edge average what they hold.
std::vector<unsigned char> BlockMeans(const Image& full, int32_t factor, int32_t width,
                                      int32_t height) {
    std::vector<unsigned char> means;
    for (int32_t by = 0; by < height; ++by)
        for (int32_t bx = 0; bx < width; ++bx)
            for (int c = 0; c < 3; ++c) {
                int sum = 0, count = 0;
                for (int32_t y = by * factor; y < std::min(full.height, (by + 1) * factor); ++y)
                    for (int32_t x = bx * factor; x < std::min(full.width, (bx + 1) * factor);
                         ++x, ++count)
                        sum += full.color[(size_t(y) * full.width + x) * 3 + c];
                means.push_back(static_cast<unsigned char>((sum + count / 2) / count));
            }
    return means;
}

TEST(JpegPlugIn, ShrinkFactorDecodesTheSamePictureAtAFraction) {
    const struct { int32_t factor, width, height; } cases[] = {{2, 31, 24}, {4, 16, 12}, {8, 8, 6}};
    ScratchDir dir;
    WriteJpeg(dir.file("b.jpg"), MakeImage(61, 47, 24, 0), Model::kRgb, false);
    WriteJpeg(dir.file("p.jpg"), MakeImage(61, 47, 24, 0), Model::kRgb, true);
    for (const char* name : {"b.jpg", "p.jpg"}) {
        const Decoded full = DecodeFile(Jpeg(), dir.file(name));
        ASSERT_EQ(full.code, 1);
        for (const auto& c : cases) {
            SCOPED_TRACE(testing::Message() << name << " 1/" << c.factor);
            Instance plugIn(Jpeg(), dir.file(name));
            ASSERT_EQ(plugIn->SetProperty(kVxPropShrinkFactor, &c.factor), 1);
            CUImageFileStatus status;
            ASSERT_EQ(plugIn->GetFileStatus(&status), 1);
            EXPECT_EQ(status.info.lWidth, c.width);
            EXPECT_EQ(status.info.lHeight, c.height);
            plugIn->SetRequest(CURequest(), status);
            ASSERT_EQ(plugIn->Open("r"), 1);
            std::vector<unsigned char> shrunk, line(size_t(status.info.RowBytes()));
            for (int32_t y = 0; y < c.height; ++y) {
                ASSERT_EQ(plugIn->ReadLine(line.data(), nullptr), 1) << "line " << y;
                shrunk.insert(shrunk.end(), line.begin(), line.begin() + c.width * 3);
            }
            EXPECT_LT(plugIn->ReadLine(line.data(), nullptr), 0) << "read past the last line";
            EXPECT_GT(Psnr(shrunk, BlockMeans(full.image, c.factor, c.width, c.height)), 30.0);
        }
    }
}

// Only 1, 2, 4 and 8, and never a change once a size went out: the caller sized its lines by
// it (so a factor in a request's parameter list, which arrives after the status, is refused).
TEST(JpegPlugIn, ShrinkFactorIsRefusedWhenOddOrLate) {
    ScratchDir dir;
    WriteJpeg(dir.file("b.jpg"), MakeImage(16, 16, 24, 0), Model::kRgb, false);
    Instance plugIn(Jpeg(), dir.file("b.jpg"));
    for (int32_t odd : {0, 3, 16, -2})
        EXPECT_EQ(plugIn->SetProperty(kVxPropShrinkFactor, &odd), kVxErrInvalidArgument) << odd;
    int32_t factor = 0;
    ASSERT_EQ(plugIn->GetProperty(kVxPropShrinkFactor, &factor), 1);
    EXPECT_EQ(factor, 1);
    CUImageFileStatus status;
    ASSERT_EQ(plugIn->GetFileStatus(&status), 1);
    const int32_t two = 2;
    EXPECT_EQ(plugIn->SetProperty(kVxPropShrinkFactor, &two), kVxErrCodecState);
    EXPECT_EQ(plugIn->SetProperty(kVxPropShrinkFactor, &factor), 1);
}

}  // namespace
}  // namespace vxtest
