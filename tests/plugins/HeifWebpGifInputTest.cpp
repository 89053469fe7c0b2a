// Reading HEIF, WebP and GIF files the plug-ins did not write: the HEIC corpus to the exact
// pixels of its manifest, GIFs made with giflib's own writer, files chosen by their content
// rather than their name, and damaged, truncated or oversized files answered with codes.
#include <gtest/gtest.h>

#include <gif_lib.h>

#include "HeifWebpGifSupport.h"

namespace vxtest {
namespace {

TEST(HeifWebpGifInput, HeicCorpusDecodesToTheManifestPixels) {
    const std::string data = TestDataDir();
    if (data.empty() || !Exists(data + "/heic/heic.tsv")) GTEST_SKIP() << "no HEIC corpus";
    const auto rows = ReadManifest(data + "/heic/heic.tsv");
    ASSERT_FALSE(rows.empty());
    for (const auto& row : rows) {
        SCOPED_TRACE(row.at("file"));
        const Decoded d = DecodeFile(Heif(), data + "/" + row.at("file"));
        ASSERT_EQ(d.code, 1);
        EXPECT_EQ(d.image.width, std::stoi(row.at("width")));
        EXPECT_EQ(d.image.height, std::stoi(row.at("height")));
        EXPECT_EQ(d.image.alphaDepth, 0);
        EXPECT_EQ(Md5Hex(d.image.color), row.at("md5"));
    }
}

// The phone photo carries an ICC profile and Exif: both come out whole, the Exif block
// starting at its TIFF header, and the camera information agrees with the tag database.
TEST(HeifWebpGifInput, HeicPhotoHandsOutItsProfileAndExif) {
    const std::string data = TestDataDir();
    const std::string path = data + "/heic/IMG_5195.HEIC";
    if (data.empty() || !Exists(path)) GTEST_SKIP() << "no HEIC corpus";
    Instance reader(Heif(), path);
    CUImageFileStatus status;
    ASSERT_EQ(reader->GetFileStatus(&status), 1);
    VxByteBlock icc, exif;
    ASSERT_EQ(reader->GetProperty(kVxPropIccProfile, &icc), 1);
    ASSERT_GE(icc.size, 128u);
    const uint32_t declared = uint32_t(icc.data[0]) << 24 | uint32_t(icc.data[1]) << 16 |
                              uint32_t(icc.data[2]) << 8 | icc.data[3];
    EXPECT_EQ(declared, icc.size);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(icc.data) + 36, 4), "acsp");
    ASSERT_EQ(reader->GetProperty(kVxPropExif, &exif), 1);
    const std::string head(reinterpret_cast<const char*>(exif.data), 4);
    EXPECT_TRUE(head == std::string("II*\0", 4) || head == std::string("MM\0*", 4));
    CUCameraInfo camera;
    ASSERT_EQ(reader->GetCameraInfo(&camera), 1);
    ASSERT_NE(camera.pTagDB, nullptr);
    CUtilVariant make;
    ASSERT_EQ(camera.pTagDB->GetTagValue(kVxTagGroupIfd0, 0x010F, make), 1);
    EXPECT_STREQ(camera.strMaker.c_str(), make.text());
    EXPECT_GT(camera.pTagDB->GetTagCount(kVxTagGroupExif), 0);
}

// --- GIFs from giflib's writer. ---

struct GifFrame {
    int left, top, width, height;
    bool interlaced;
    int transparent;  // NO_TRANSPARENT_COLOR for none
};

const GifColorType kPalette[4] = {{10, 20, 30}, {200, 100, 0}, {0, 255, 64}, {90, 90, 90}};

int IndexAt(int x, int y) {
    return (x * 3 + y) % 4;
}

// A screen with one frame, then (when asked) a second frame covering the screen with index 1,
// which a reader of the first frame must not show.
bool WriteGif(const std::string& path, int width, int height, const GifFrame& f,
              bool secondFrame = true) {
    int error = 0;
    GifFileType* gif = EGifOpenFileName(path.c_str(), false, &error);
    if (gif == nullptr) return false;
    ColorMapObject* map = GifMakeMapObject(4, kPalette);
    EGifSetGifVersion(gif, true);
    bool ok = EGifPutScreenDesc(gif, width, height, 2, 0, nullptr) == GIF_OK;
    if (f.transparent != NO_TRANSPARENT_COLOR) {
        GraphicsControlBlock control = {DISPOSAL_UNSPECIFIED, false, 0, f.transparent};
        GifByteType extension[4];
        EGifGCBToExtension(&control, extension);
        ok = ok && EGifPutExtension(gif, GRAPHICS_EXT_FUNC_CODE, 4, extension) == GIF_OK;
    }
    ok = ok && EGifPutImageDesc(gif, f.left, f.top, f.width, f.height, f.interlaced, map) == GIF_OK;
    const int starts[4] = {0, 4, 2, 1}, steps[4] = {8, 8, 4, 2};
    std::vector<GifPixelType> line(size_t(std::max(f.width, width)));
    for (int pass = 0; pass < (f.interlaced ? 4 : 1); ++pass) {
        for (int y = f.interlaced ? starts[pass] : 0; y < f.height;
             y += f.interlaced ? steps[pass] : 1) {
            for (int x = 0; x < f.width; ++x)
                line[size_t(x)] = GifPixelType(IndexAt(x, y));
            ok = ok && EGifPutLine(gif, line.data(), f.width) == GIF_OK;
        }
    }
    if (secondFrame) {
        ok = ok && EGifPutImageDesc(gif, 0, 0, width, height, false, map) == GIF_OK;
        std::fill(line.begin(), line.end(), GifPixelType(1));
        for (int y = 0; y < height; ++y)
            ok = ok && EGifPutLine(gif, line.data(), width) == GIF_OK;
    }
    GifFreeMapObject(map);
    return EGifCloseFile(gif, &error) == GIF_OK && ok;
}

// Outside the frame the screen is transparent black; inside, the palette, with alpha 0 on the
// transparent index. A frame that covers the screen and has no transparent index has no alpha.
TEST(HeifWebpGifInput, GifFirstFrameIsExpandedOntoItsScreen) {
    const GifFrame frames[] = {
        {0, 0, 9, 7, false, NO_TRANSPARENT_COLOR},
        {0, 0, 9, 7, true, 3},
        {2, 1, 5, 4, true, NO_TRANSPARENT_COLOR},
        {3, 2, 6, 5, false, 0},
    };
    ScratchDir dir;
    for (const GifFrame& f : frames) {
        SCOPED_TRACE(testing::Message()
                     << f.left << "," << f.top << " " << f.width << "x" << f.height
                     << " interlaced " << f.interlaced << " transparent " << f.transparent);
        const std::string path = dir.file("f.gif");
        ASSERT_TRUE(WriteGif(path, 9, 7, f));
        const Decoded d = DecodeFile(Gif(), path);
        ASSERT_EQ(d.code, 1);
        const bool alpha = f.transparent != NO_TRANSPARENT_COLOR || f.width != 9;
        ASSERT_EQ(d.image.alphaDepth, alpha ? 8 : 0);
        std::vector<unsigned char> colour, opacity;
        for (int y = 0; y < 7; ++y) {
            for (int x = 0; x < 9; ++x) {
                const bool inside =
                    x >= f.left && x < f.left + f.width && y >= f.top && y < f.top + f.height;
                const int index = inside ? IndexAt(x - f.left, y - f.top) : -1;
                const GifColorType c = inside ? kPalette[index] : GifColorType{0, 0, 0};
                colour.insert(colour.end(), {c.Red, c.Green, c.Blue});
                opacity.push_back(inside && index != f.transparent ? 255 : 0);
            }
        }
        EXPECT_TRUE(d.image.color == colour);
        if (alpha) {
            EXPECT_TRUE(d.image.alpha == opacity);
        }
    }
}

// --- Choosing the codec by content. ---

TEST(HeifWebpGifInput, HeifAndAvifAreToldApartByTheirBrands) {
    ScratchDir dir;
    ASSERT_EQ(EncodeFile(Avif(), dir.file("real.avif"), MakeImage(16, 16, 24, 0)), 1);
    ASSERT_EQ(EncodeFile(Png(), dir.file("real.png"), MakeImage(16, 16, 24, 0)), 1);
    const std::string avif = ReadFile(dir.file("real.avif"));
    // An 'ftyp' box of the HEVC family: major brand heic, compatible mif1 and heic.
    const std::string heic = std::string(
                                 "\0\0\0\x18"
                                 "ftypheic\0\0\0\0mif1heic",
                                 24) +
                             std::string(64, '\0');
    struct Row {
        const char* name;
        std::string bytes;
        int32_t heif, avif;
    };
    const Row rows[] = {
        {"avif.heic", avif, 0, 1},
        {"heic.avif", heic, 1, 0},
        {"png.avif", ReadFile(dir.file("real.png")), 0, 0},
        {"short.heic", std::string(3, '\0'), 1, 0},  // too short to tell: the name decides
        {"short.avif", std::string(3, '\0'), 0, 1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        WriteFile(dir.file(row.name), row.bytes);
        EXPECT_EQ(Heif()->IsSupportedFile(dir.file(row.name).c_str()), row.heif);
        EXPECT_EQ(Avif()->IsSupportedFile(dir.file(row.name).c_str()), row.avif);
    }
    // Through the service the AVIF content named .heic is read by the AVIF codec.
    ServicePtr service = CodecService();
    CUImageFileStatus status;
    ASSERT_EQ(service->GetFileStatus(dir.file("avif.heic").c_str(), &status), 1);
    EXPECT_STREQ(status.strFormat.c_str(), "AVIF");
}

// --- Damage, truncation and budgets. ---

struct Sample {
    const char* name;
    IPlugIn* (*reader)();
    std::string bytes;
};

std::vector<Sample> ValidSamples(const ScratchDir& dir) {
    const int32_t lossless = 1;
    EXPECT_EQ(EncodeWith(Webp(), dir.file("l.webp"), MakeImage(64, 48, 24, 8), 75,
                         {{kVxPropLossless, &lossless}}),
              1);
    EXPECT_EQ(EncodeFile(Webp(), dir.file("q.webp"), MakeImage(64, 48, 24, 8), 75), 1);
    EXPECT_EQ(EncodeFile(Avif(), dir.file("a.avif"), MakeImage(64, 48, 48, 16), 75), 1);
    EXPECT_TRUE(WriteGif(dir.file("g.gif"), 64, 48, {0, 0, 64, 48, true, 2}, false));
    std::vector<Sample> samples = {
        {"lossless webp", Webp, ReadFile(dir.file("l.webp"))},
        {"lossy webp", Webp, ReadFile(dir.file("q.webp"))},
        {"avif", Avif, ReadFile(dir.file("a.avif"))},
        {"gif", Gif, ReadFile(dir.file("g.gif"))},
    };
    const std::string data = TestDataDir();
    if (!data.empty() && Exists(data + "/heic/samplefilehub.heif"))
        samples.push_back({"heic", Heif, ReadFile(data + "/heic/samplefilehub.heif")});
    return samples;
}

// Every cut gives a failure or a warning; a GIF cut inside its pixels still delivers every
// line, with a warning, and one that lost only its trailer after the frame reads whole. Bytes
// overwritten in the middle give any code but never a crash.
TEST(HeifWebpGifInput, TruncatedAndDamagedFilesGiveCodes) {
    ScratchDir dir;
    for (const Sample& sample : ValidSamples(dir)) {
        ASSERT_GT(sample.bytes.size(), 150u) << sample.name;
        const size_t size = sample.bytes.size();
        const size_t cuts[] = {0, 3, 11, 20, 100, size / 2, size * 9 / 10, size - 1};
        for (size_t cut : cuts) {
            SCOPED_TRACE(testing::Message() << sample.name << " cut at " << cut << " of " << size);
            WriteFile(dir.file("cut"), sample.bytes.substr(0, cut));
            const Decoded d = DecodeFile(sample.reader(), dir.file("cut"));
            if (sample.reader == Gif && cut == size - 1) {
                EXPECT_EQ(d.code, 1);
                continue;
            }
            EXPECT_LT(d.code, 0);
            if (cut <= 20) {
                EXPECT_TRUE(d.Failed());
            }
            if (sample.reader == Gif && cut >= size / 2) {
                EXPECT_EQ(d.code, kVxWarnCodecData);
                EXPECT_EQ(d.image.color.size(), size_t(64 * 48 * 3));
            }
        }
        for (size_t at = size / 4; at < size; at += size / 4) {
            std::string damaged = sample.bytes;
            for (size_t i = at; i < std::min(size, at + 16); ++i)
                damaged[i] = char(damaged[i] ^ 0x5A);
            WriteFile(dir.file("damaged"), damaged);
            DecodeFile(sample.reader(), dir.file("damaged"));
        }
    }
}

// A budget below the decoded size refuses the file before decoding; 0 brings the default
// back; a negative budget is the caller's mistake. A GIF screen of 65535 x 65535 is refused
// from its header alone.
TEST(HeifWebpGifInput, MemoryBudgetBoundsTheDecodedImage) {
    ScratchDir dir;
    for (const Sample& sample : ValidSamples(dir)) {
        SCOPED_TRACE(sample.name);
        WriteFile(dir.file("valid"), sample.bytes);
        Instance reader(sample.reader(), dir.file("valid"));
        const int64_t small = 1000, none = 0, negative = -1;
        int64_t answered = 0;
        CUImageFileStatus status;
        ASSERT_EQ(reader->SetProperty(kVxPropMemoryBudget, &small), 1);
        EXPECT_EQ(reader->GetFileStatus(&status), kVxErrCodecTooLarge);
        EXPECT_EQ(reader->SetProperty(kVxPropMemoryBudget, &negative), kVxErrInvalidArgument);
        ASSERT_EQ(reader->SetProperty(kVxPropMemoryBudget, &none), 1);
        ASSERT_EQ(reader->GetProperty(kVxPropMemoryBudget, &answered), 1);
        EXPECT_EQ(answered, kVxDefaultMemoryBudget);
        EXPECT_EQ(reader->GetFileStatus(&status), 1);
    }
    std::string bomb = ReadFile(dir.file("g.gif"));
    bomb.replace(6, 4, "\xff\xff\xff\xff");
    WriteFile(dir.file("bomb.gif"), bomb);
    EXPECT_EQ(DecodeFile(Gif(), dir.file("bomb.gif")).code, kVxErrCodecTooLarge);
}

}  // namespace
}  // namespace vxtest
