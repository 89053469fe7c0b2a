// WebP and AVIF written by their plug-ins and read back: lossless WebP is exact, lossy files
// stay above a stated PSNR, the metadata blocks come back byte for byte, and decoded pixels
// agree with what the Debian tools (cwebp/dwebp, img2webp, heif-enc/heif-convert, gif2rgb)
// make of the same files.
#include <gtest/gtest.h>

#include "HeifWebpGifSupport.h"

namespace vxtest {
namespace {

struct RoundTrip {
    const char* name;
    IPlugIn* (*prototype)();
    const char* extension;
    int32_t depth;
    int32_t alphaDepth;
    int32_t quality;
    int32_t lossless;
    int32_t sampleBits;  // AVIF bits per sample, 0 = the plug-in's choice
    double minPsnr;      // of the 8-bit samples; 0 = exact
};

// The PSNR floors hold with a margin of several dB over what the libraries give at these
// settings on the test pattern.
const RoundTrip kRoundTrips[] = {
    {"webp lossless", Webp, ".webp", 24, 0, 75, 1, 0, 0},
    {"webp lossless, alpha", Webp, ".webp", 24, 8, 75, 1, 0, 0},
    {"webp lossy", Webp, ".webp", 24, 0, 90, 0, 0, 38},
    {"webp lossy, alpha", Webp, ".webp", 24, 8, 90, 0, 0, 38},
    {"avif 8-bit", Avif, ".avif", 24, 0, 90, 0, 0, 40},
    {"avif 8-bit, alpha", Avif, ".avif", 24, 8, 90, 0, 8, 40},
    {"avif 10-bit", Avif, ".avif", 48, 0, 90, 0, 10, 40},
    {"avif 12-bit, alpha", Avif, ".avif", 48, 16, 90, 0, 0, 40},
};

TEST(HeifWebpRoundTrip, DecodedPixelsMatchTheWrittenOnes) {
    ScratchDir dir;
    for (const RoundTrip& row : kRoundTrips) {
        SCOPED_TRACE(row.name);
        const Image img = MakeImage(64, 48, row.depth, row.alphaDepth);
        const std::string path = dir.file(std::string("rt") + row.extension);
        Properties properties = {{kVxPropLossless, &row.lossless}};
        if (row.sampleBits != 0) properties.push_back({kVxPropSampleBits, &row.sampleBits});
        ASSERT_EQ(EncodeWith(row.prototype(), path, img, row.quality, properties), 1);
        const Decoded d = DecodeFile(row.prototype(), path);
        ASSERT_EQ(d.code, 1);
        EXPECT_EQ(d.image.width, img.width);
        EXPECT_EQ(d.image.depth, img.depth);
        EXPECT_EQ(d.image.alphaDepth, img.alphaDepth);
        if (row.prototype == Webp) {
            Instance reader(Webp(), path);
            CUImageFileStatus status;
            int32_t lossless = -1;
            ASSERT_EQ(reader->GetFileStatus(&status), 1);
            EXPECT_EQ(reader->GetProperty(kVxPropLossless, &lossless), 1);
            EXPECT_EQ(lossless, row.lossless);
        }
        if (row.minPsnr == 0) {
            EXPECT_TRUE(d.image.color == img.color);
            EXPECT_TRUE(d.image.alpha == img.alpha);
            continue;
        }
        const int bits = img.depth == 48 ? 16 : 8;
        const double colour = Psnr(AsEightBit(d.image.color, bits), AsEightBit(img.color, bits));
        EXPECT_GE(colour, row.minPsnr);
        if (img.alphaDepth != 0) {
            EXPECT_GE(Psnr(AsEightBit(d.image.alpha, bits), AsEightBit(img.alpha, bits)),
                      row.minPsnr);
        }
        RecordProperty(std::string(row.name) + " PSNR", std::to_string(colour));
    }
}

TEST(HeifWebpRoundTrip, WriterSettingsOutsideTheirRangeAreRefused) {
    ScratchDir dir;
    const Image img = MakeImage(8, 8, 24, 0);
    const int32_t eleven = 11, ten = 10, two = 2;
    EXPECT_EQ(EncodeWith(Avif(), dir.file("x.avif"), img, 75, {{kVxPropSampleBits, &eleven}}),
              kVxErrInvalidArgument);
    // The AV1 encoder of Debian 12 takes no alpha image at 10 bits.
    EXPECT_EQ(EncodeWith(Avif(), dir.file("x.avif"), MakeImage(8, 8, 48, 16), 75,
                         {{kVxPropSampleBits, &ten}}),
              kVxErrCodecUnsupported);
    EXPECT_EQ(EncodeWith(Webp(), dir.file("x.webp"), img, 75, {{kVxPropLossless, &two}}),
              kVxErrInvalidArgument);
    // 16-bit samples do not fit WebP; the caller asks again at 24 bits.
    EXPECT_EQ(EncodeFile(Webp(), dir.file("y.webp"), MakeImage(8, 8, 48, 0)),
              kVxErrCodecUnsupported);
    EXPECT_FALSE(Exists(dir.file("y.webp")));
    // The HEVC module reads only.
    EXPECT_EQ(EncodeFile(Heif(), dir.file("z.heic"), img), kVxErrCodecUnsupported);
}

std::string BlockOf(IPlugIn* instance, int32_t id) {
    VxByteBlock block;
    if (instance->GetProperty(id, &block) != 1) return std::string();
    return std::string(reinterpret_cast<const char*>(block.data), block.size);
}

// The ICC profile, the Exif block and the XMP packet handed to the writer come back from the
// reader (the Exif block without the prefix it was handed with), the camera information and
// the tag database read the Exif block, and only HEIF says that its decoder already turned the
// pixels upright.
TEST(HeifWebpRoundTrip, MetadataBlocksTravelThroughTheFile) {
    struct Row {
        IPlugIn* (*prototype)();
        const char* extension;
        int32_t orientationApplied;  // GetProperty result for kVxPropOrientationApplied
    };
    const Row rows[] = {{Webp, ".webp", 0}, {Avif, ".avif", 1}};
    std::string icc(300, '\x11');
    icc.replace(0, 4, std::string("\0\0\x01\x2c", 4));
    icc.replace(36, 4, "acsp");
    TiffBlock tiff(true, 2);
    tiff.Text(0, 0x010F, "Vandrel Optics");
    tiff.Numbers(0, 0x0112, TiffBlock::kShort, {6});
    tiff.Link(0, 0x8769, 1);
    tiff.Text(1, 0x9003, "2026:11:23 10:20:30");
    const std::string exif = tiff.Build();
    const std::string prefixed = std::string("Exif\0\0", 6) + exif;
    const VxByteBlock iccBlock = {reinterpret_cast<const unsigned char*>(icc.data()),
                                  uint32_t(icc.size())};
    const VxByteBlock exifBlock = {reinterpret_cast<const unsigned char*>(prefixed.data()),
                                   uint32_t(prefixed.size())};
    const std::string xmp = "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF/></x:xmpmeta>";
    const VxByteBlock xmpBlock = {reinterpret_cast<const unsigned char*>(xmp.data()),
                                  uint32_t(xmp.size())};
    ScratchDir dir;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.extension);
        const std::string path = dir.file(std::string("meta") + row.extension);
        ASSERT_EQ(EncodeWith(row.prototype(), path, MakeImage(16, 16, 24, 0), 80,
                             {{kVxPropIccProfile, &iccBlock},
                              {kVxPropExif, &exifBlock},
                              {kVxPropXmp, &xmpBlock}}),
                  1);
        Instance reader(row.prototype(), path);
        CUImageFileStatus status;
        ASSERT_EQ(reader->GetFileStatus(&status), 1);
        EXPECT_TRUE(BlockOf(reader.get(), kVxPropIccProfile) == icc);
        EXPECT_TRUE(BlockOf(reader.get(), kVxPropExif) == exif);
        EXPECT_TRUE(BlockOf(reader.get(), kVxPropXmp) == xmp);
        int32_t applied = -1;
        EXPECT_EQ(reader->GetProperty(kVxPropOrientationApplied, &applied), row.orientationApplied);
        CUCameraInfo camera;
        ASSERT_EQ(reader->GetCameraInfo(&camera), 1);
        EXPECT_STREQ(camera.strMaker.c_str(), "Vandrel Optics");
        EXPECT_EQ(camera.lOrientation, 6);
        ASSERT_NE(camera.pTagDB, nullptr);
        IUTagDB* db = row.prototype()->CreateTagDB();
        ASSERT_NE(db, nullptr);
        EXPECT_EQ(db->Load(path.c_str()), 1);
        CUtilVariant date, profile;
        EXPECT_EQ(db->GetTagValue(kVxTagGroupExif, 0x9003, date), 1);
        EXPECT_STREQ(date.text(), "2026:11:23 10:20:30");
        EXPECT_EQ(db->GetTagValue(kVxTagGroupIfd0, 0x8773, profile), 1);
        EXPECT_EQ(profile.count(), icc.size());
        db->Delete();
    }
}

// --- The Debian tools on the same files. ---

enum class Reference {
    kSource,  // the image the file was made from
    kPng,     // ref.png, as the reference command wrote it
    kRgb,     // ref.rgb, packed 8-bit RGB
};

struct CrossCheck {
    const char* name;
    std::vector<std::string> tools;
    IPlugIn* (*reader)();
    const char* file;  // made from in.png / in2.png / in.rgb, or by our writer when make is empty
    IPlugIn* (*writer)();
    std::string make;
    std::string reference;
    Reference kind;
    int32_t depth;  // of the source image
    int32_t alphaDepth;
    int comparedBits;  // 16-bit samples are compared in their top bits
};

const CrossCheck kCrossChecks[] = {
    {"cwebp lossless",
     {"cwebp"},
     Webp,
     "x.webp",
     nullptr,
     "cwebp -quiet -lossless -exact in.png -o x.webp",
     "",
     Reference::kSource,
     24,
     8,
     8},
    {"cwebp lossy, dwebp",
     {"cwebp", "dwebp"},
     Webp,
     "x.webp",
     nullptr,
     "cwebp -quiet -q 80 in.png -o x.webp",
     "dwebp -quiet x.webp -o ref.png",
     Reference::kPng,
     24,
     8,
     8},
    {"img2webp animation, first frame",
     {"img2webp"},
     Webp,
     "x.webp",
     nullptr,
     "img2webp -lossless -d 80 in.png in2.png -o x.webp",
     "",
     Reference::kSource,
     24,
     0,
     8},
    {"our lossy webp, dwebp",
     {"dwebp"},
     Webp,
     "x.webp",
     Webp,
     "",
     "dwebp -quiet x.webp -o ref.png",
     Reference::kPng,
     24,
     8,
     8},
    {"heif-enc avif, heif-convert",
     {"heif-enc", "heif-convert"},
     Avif,
     "x.avif",
     nullptr,
     "heif-enc -A -q 80 in.png -o x.avif",
     "heif-convert x.avif ref.png",
     Reference::kPng,
     24,
     8,
     8},
    {"heif-enc 10-bit heic, heif-convert",
     {"heif-enc", "heif-convert"},
     Heif,
     "x.heic",
     nullptr,
     "heif-enc -b 10 -q 80 in.png -o x.heic",
     "heif-convert x.heic ref.png",
     Reference::kPng,
     48,
     0,
     10},
    {"our avif, heif-convert",
     {"heif-convert"},
     Avif,
     "x.avif",
     Avif,
     "",
     "heif-convert x.avif ref.png",
     Reference::kPng,
     24,
     8,
     8},
    {"gif2rgb",
     {"gif2rgb"},
     Gif,
     "x.gif",
     nullptr,
     "gif2rgb -1 -s 64 48 in.rgb > x.gif",
     "gif2rgb -1 -o ref.rgb x.gif",
     Reference::kRgb,
     24,
     0,
     8},
};

std::vector<unsigned char> Compared(const std::vector<unsigned char>& samples, int depthBits,
                                    int comparedBits) {
    if (depthBits == 8) return samples;
    std::vector<unsigned char> out;
    for (uint16_t v : TopBits(samples, comparedBits)) {
        out.push_back(static_cast<unsigned char>(v & 0xFF));
        out.push_back(static_cast<unsigned char>(v >> 8));
    }
    return out;
}

// 10-bit samples: heif-convert shifts them into 16 bits, the plug-in repeats the bits so that
// full scale stays full scale; the stored 10 bits agree.
TEST(HeifWebpRoundTrip, DecodedPixelsAgreeWithTheDebianTools) {
    for (const CrossCheck& row : kCrossChecks) {
        SCOPED_TRACE(row.name);
        if (!HaveTools(row.tools)) {
            ADD_FAILURE() << "missing tool for " << row.name << " (scripts/install-deps.sh)";
            continue;
        }
        ScratchDir dir;
        const Image source = MakeImage(64, 48, row.depth, row.alphaDepth);
        Image second = MakeImage(64, 48, row.depth, row.alphaDepth);
        for (unsigned char& v : second.color)
            v = static_cast<unsigned char>(255 - v);
        ASSERT_EQ(EncodeFile(Png(), dir.file("in.png"), source), 1);
        ASSERT_EQ(EncodeFile(Png(), dir.file("in2.png"), second), 1);
        WriteFile(dir.file("in.rgb"), std::string(source.color.begin(), source.color.end()));
        if (row.writer != nullptr) {
            ASSERT_EQ(EncodeFile(row.writer(), dir.file(row.file), source, 80), 1);
        } else {
            ASSERT_TRUE(RunIn(dir, row.make)) << row.make;
        }
        const Decoded ours = DecodeFile(row.reader(), dir.file(row.file));
        ASSERT_EQ(ours.code, 1);
        Image expected = source;
        if (row.kind == Reference::kPng) {
            ASSERT_TRUE(RunIn(dir, row.reference)) << row.reference;
            const Decoded ref = DecodeFile(Png(), dir.file("ref.png"));
            ASSERT_EQ(ref.code, 1);
            expected = ref.image;
        } else if (row.kind == Reference::kRgb) {
            ASSERT_TRUE(RunIn(dir, row.reference)) << row.reference;
            const std::string rgb = ReadFile(dir.file("ref.rgb"));
            expected.color.assign(rgb.begin(), rgb.end());
        }
        ASSERT_EQ(ours.image.depth, expected.depth);
        ASSERT_EQ(ours.image.alphaDepth, expected.alphaDepth);
        const int bits = expected.depth == 48 ? 16 : 8;
        EXPECT_TRUE(Compared(ours.image.color, bits, row.comparedBits) ==
                    Compared(expected.color, bits, row.comparedBits));
        EXPECT_TRUE(Compared(ours.image.alpha, bits, row.comparedBits) ==
                    Compared(expected.alpha, bits, row.comparedBits));
    }
}

}  // namespace
}  // namespace vxtest
