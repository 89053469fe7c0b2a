// `vandrel convert` on photographs: the Exif orientation turns pictures upright, metadata goes
// along (or not, with --strip), grey stays grey, YCC files say so, alpha is flattened where the
// format has none, writer options must fit the writer, and damage the decoder steps over is
// reported.
#include <gtest/gtest.h>

#include <libexif/exif-data.h>

#include <cstdlib>
#include <memory>

#include <nlohmann/json.hpp>

#include "MetadataCarrier.h"
#include "PlugInShelf.h"
#include "ToolRunner.h"
#include "ToolService.h"

namespace {

using nlohmann::json;
using vxtest::ReadPnm;
using vxtest::RunTool;
using vxtest::ToolRun;

std::string U16(uint32_t v) {
    return std::string{char(v & 0xFF), char(v >> 8 & 0xFF)};
}
std::string U32(uint32_t v) {
    return U16(v & 0xFFFF) + U16(v >> 16);
}

// A little-endian 8-bit RGB TIFF in one strip with an Orientation field.
std::string OrientedTiff(int w, int h, uint16_t orientation, const std::string& rgb) {
    const uint32_t bitsAt = 8 + 2 + 10 * 12 + 4, pixelsAt = bitsAt + 6;
    auto entry = [](uint16_t tag, uint16_t type, uint32_t count, uint32_t value) {
        return U16(tag) + U16(type) + U32(count) +
               (type == 3 && count == 1 ? U16(value) + U16(0) : U32(value));
    };
    std::string f = "II" + U16(42) + U32(8) + U16(10);
    f += entry(0x0100, 3, 1, uint32_t(w)) + entry(0x0101, 3, 1, uint32_t(h)) +
         entry(0x0102, 3, 3, bitsAt) + entry(0x0103, 3, 1, 1) + entry(0x0106, 3, 1, 2) +
         entry(0x0111, 4, 1, pixelsAt) + entry(0x0112, 3, 1, orientation) + entry(0x0115, 3, 1, 3) +
         entry(0x0116, 3, 1, uint32_t(h)) + entry(0x0117, 4, 1, uint32_t(rgb.size()));
    f += U32(0) + U16(8) + U16(8) + U16(8);
    return f + rgb;
}

// Where upright pixel (x, y) of a w x h picture is stored under each Exif orientation, written
// out from the orientations' definitions (row 0 / column 0 of the stored picture).
void StoredAt(int orientation, int w, int h, int x, int y, int* sx, int* sy) {
    switch (orientation) {
        case 2:
            *sx = w - 1 - x, *sy = y;
            break;
        case 3:
            *sx = w - 1 - x, *sy = h - 1 - y;
            break;
        case 4:
            *sx = x, *sy = h - 1 - y;
            break;
        case 5:
            *sx = y, *sy = x;
            break;
        case 6:
            *sx = y, *sy = w - 1 - x;
            break;
        case 7:
            *sx = h - 1 - y, *sy = w - 1 - x;
            break;
        case 8:
            *sx = h - 1 - y, *sy = x;
            break;
        default:
            *sx = x, *sy = y;
            break;
    }
}

std::string Pixel(int x, int y) {
    return {char(x * 50), char(y * 100), char((x + y) * 20 + 7)};
}

json InfoOf(const std::string& path) {
    const ToolRun run = RunTool({"info", path, "--json"});
    return run.exit == 0 ? json::parse(run.out).at(0) : json();
}

// The metadata a plug-in reads back from a written file.
vxtool::CSourceMetadata MetadataOf(const std::string& path) {
    const vxtool::CPlugInShelf shelf(vxtool::DefaultPlugInFolder());
    return vxtool::ReadSourceMetadata(shelf, path);
}

std::string ExifText(const std::string& block, ExifIfd ifd, ExifTag tag) {
    std::string prefixed = std::string("Exif\0\0", 6) + block;
    ExifData* data = exif_data_new_from_data(
        reinterpret_cast<const unsigned char*>(prefixed.data()), unsigned(prefixed.size()));
    if (data == nullptr) return "";
    ExifEntry* e = exif_content_get_entry(data->ifd[ifd], tag);
    std::string text;
    if (e != nullptr && e->format == EXIF_FORMAT_ASCII)
        text.assign(reinterpret_cast<const char*>(e->data), std::strlen((const char*)e->data));
    exif_data_unref(data);
    return text;
}

class ToolPhotoTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(RunTool({"chart", Out("chart.ppm"), "--size", "48x32"}).exit, 0);
        ASSERT_EQ(RunTool({"convert", Out("chart.ppm"), Out("chart.jpg")}).exit, 0);
    }
    std::string Out(const std::string& name) const { return m_dir.file(name); }
    static std::string Corpus(const std::string& name) {
        const std::string root = vxtest::TestDataDir();
        return root.empty() ? root : root + "/" + name;
    }
    vxtest::ScratchDir m_dir;
};

TEST_F(ToolPhotoTest, EveryOrientationComesOutUprightAndTheStoredPixelsStayWithNoRotate) {
    const int w = 5, h = 3;
    std::string upright;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            upright += Pixel(x, y);
    for (int orientation = 1; orientation <= 8; ++orientation) {
        SCOPED_TRACE(orientation);
        const bool turned = orientation >= 5;
        const int sw = turned ? h : w, sh = turned ? w : h;
        std::string stored(upright.size(), '\0');
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                int sx = 0, sy = 0;
                StoredAt(orientation, w, h, x, y, &sx, &sy);
                stored.replace(size_t(sy * sw + sx) * 3, 3, Pixel(x, y));
            }
        const std::string tif = Out("o" + std::to_string(orientation) + ".tif");
        vxtest::WriteFile(tif, OrientedTiff(sw, sh, uint16_t(orientation), stored));
        ASSERT_EQ(RunTool({"convert", tif, Out("up.ppm")}).exit, 0);
        const vxtest::Pnm up = ReadPnm(Out("up.ppm"));
        EXPECT_EQ(up.width, w);
        EXPECT_EQ(up.height, h);
        EXPECT_TRUE(up.samples == upright);
        ASSERT_EQ(RunTool({"convert", tif, Out("kept.ppm"), "--no-rotate"}).exit, 0);
        EXPECT_TRUE(ReadPnm(Out("kept.ppm")).samples == stored);
    }
}

TEST_F(ToolPhotoTest, CorpusOrientationsAreReportedAndTurnedLikeTheUprightFile) {
    const std::string folder = Corpus("exif/jpg/orientation");
    if (folder.empty()) GTEST_SKIP() << "no test corpus";
    ASSERT_EQ(RunTool({"convert", folder + "/landscape_1.jpg", Out("ref.ppm")}).exit, 0);
    const vxtest::Pnm reference = ReadPnm(Out("ref.ppm"));
    for (int n = 1; n <= 8; ++n) {
        SCOPED_TRACE(n);
        const std::string file = folder + "/landscape_" + std::to_string(n) + ".jpg";
        EXPECT_EQ(InfoOf(file)["fileInfo"]["orientation"], n);
        ASSERT_EQ(RunTool({"convert", file, Out("l.png")}).exit, 0);
        EXPECT_EQ(MetadataOf(Out("l.png")).orientation, 1);
        ASSERT_EQ(RunTool({"convert", Out("l.png"), Out("l.ppm")}).exit, 0);
        // The files are separate exposures (about 15 levels apart on average); a picture
        // turned or mirrored the wrong way differs by 50 or more.
        const double difference = vxtest::MeanDifference(ReadPnm(Out("l.ppm")), reference);
        EXPECT_GE(difference, 0.0);  // same shape
        EXPECT_LT(difference, 25.0);
    }
}

TEST_F(ToolPhotoTest, CameraMetadataIsCarriedUpdatedOrStripped) {
    const std::string camera = Corpus("exif/jpg/Canon_40D.jpg");
    if (camera.empty()) GTEST_SKIP() << "no test corpus";
    const vxtool::CSourceMetadata source = MetadataOf(camera);
    ASSERT_FALSE(source.icc.empty());
    ASSERT_FALSE(source.exif.empty());
    // TIFF keeps Exif as directories of its own and takes the profile only.
    const struct {
        const char* ext;
        bool exif;
    } outputs[] = {{"jpg", true}, {"png", true}, {"tif", false}};
    for (const auto& o : outputs) {
        SCOPED_TRACE(o.ext);
        const std::string out = Out(std::string("kept.") + o.ext);
        const ToolRun run = RunTool({"convert", camera, out, "--width", "40"});
        ASSERT_EQ(run.exit, 0) << run.err;
        const vxtool::CSourceMetadata kept = MetadataOf(out);
        EXPECT_TRUE(kept.icc == source.icc);
        if (o.exif) {
            EXPECT_EQ(kept.orientation, 1);
            for (ExifTag tag : {EXIF_TAG_MAKE, EXIF_TAG_MODEL, EXIF_TAG_DATE_TIME}) {
                EXPECT_FALSE(ExifText(source.exif, EXIF_IFD_0, tag).empty());
                EXPECT_EQ(ExifText(kept.exif, EXIF_IFD_0, tag),
                          ExifText(source.exif, EXIF_IFD_0, tag));
            }
            EXPECT_EQ(ExifText(kept.exif, EXIF_IFD_EXIF, EXIF_TAG_DATE_TIME_ORIGINAL),
                      ExifText(source.exif, EXIF_IFD_EXIF, EXIF_TAG_DATE_TIME_ORIGINAL));
        }

        ASSERT_EQ(RunTool({"convert", camera, out, "--strip"}).exit, 0);
        const vxtool::CSourceMetadata stripped = MetadataOf(out);
        EXPECT_TRUE(stripped.icc.empty() && stripped.exif.empty() && stripped.xmp.empty());
    }
    // PNM holds none of it and says so.
    const ToolRun pnm = RunTool({"convert", camera, Out("c.ppm")});
    EXPECT_EQ(pnm.exit, 0);
    EXPECT_NE(pnm.err.find("cannot hold the ICC profile"), std::string::npos) << pnm.err;
}

TEST_F(ToolPhotoTest, TagNamesBelongToTheirDirectory) {
    const std::string gps = Corpus("exif/jpg/gps/DSCN0010.jpg");
    if (gps.empty()) GTEST_SKIP() << "no test corpus";
    const ToolRun run = RunTool({"tags", gps, "--all"});
    ASSERT_EQ(run.exit, 0) << run.err;
    const size_t section = run.out.find("GPS directory");
    ASSERT_NE(section, std::string::npos) << run.out;
    EXPECT_NE(run.out.find("0x0001 GPSLatitudeRef", section), std::string::npos) << run.out;
    // Nothing in the GPS directory is called by an interoperability name.
    const size_t label = run.out.find("InteropIndex", section);
    const size_t interop = run.out.find("interoperability directory", section);
    EXPECT_TRUE(label == std::string::npos || (interop != std::string::npos && label > interop));
}

TEST_F(ToolPhotoTest, GreySourcesStayOneBand) {
    const struct {
        const char* magic;
        int maxValue;
        int storedBits;
    } sources[] = {{"P5", 255, 8}, {"P5", 65535, 16}};
    for (const auto& s : sources) {
        const int bytes = s.maxValue > 255 ? 2 : 1;
        std::string pgm = std::string(s.magic) + "\n8 4\n" + std::to_string(s.maxValue) + "\n";
        for (int i = 0; i < 8 * 4 * bytes; ++i)
            pgm += char(i * 7);
        vxtest::WriteFile(Out("g.pgm"), pgm);
        for (const char* ext : {"png", "tif"}) {
            SCOPED_TRACE(std::string(ext) + " " + std::to_string(s.storedBits));
            const std::string out = Out(std::string("g.") + ext);
            ASSERT_EQ(RunTool({"convert", Out("g.pgm"), out}).exit, 0);
            EXPECT_EQ(InfoOf(out)["storedDepth"], s.storedBits);
            ASSERT_EQ(RunTool({"convert", Out("g.pgm"), out, "--colorspace", "rgb"}).exit, 0);
            EXPECT_EQ(InfoOf(out)["storedDepth"], 3 * s.storedBits);
        }
    }
}

TEST_F(ToolPhotoTest, YccTiffSaysYCbCrAndReadsBackAsTheSameRgb) {
    ASSERT_EQ(RunTool({"convert", Out("chart.ppm"), Out("ycc.tif"), "--colorspace", "ycc"}).exit,
              0);
    const ToolRun tags = RunTool({"tags", Out("ycc.tif"), "0x0106", "--json"});
    ASSERT_EQ(tags.exit, 0);
    EXPECT_EQ(json::parse(tags.out)["0x0106"]["values"][0], 6);  // Photometric YCbCr
    ASSERT_EQ(RunTool({"convert", Out("ycc.tif"), Out("back.ppm")}).exit, 0);
    const vxtest::Pnm back = ReadPnm(Out("back.ppm")), chart = ReadPnm(Out("chart.ppm"));
    ASSERT_EQ(back.samples.size(), chart.samples.size());
    int worst = 0;
    for (size_t i = 0; i < back.samples.size(); ++i)
        worst = std::max(worst,
                         std::abs(int(uint8_t(back.samples[i])) - int(uint8_t(chart.samples[i]))));
    EXPECT_LE(worst, 3);  // truncating forward, rounding back
}

TEST_F(ToolPhotoTest, AlphaIntoAFormatWithoutAlphaIsFlattenedOverTheBackground) {
    ASSERT_EQ(RunTool({"chart", Out("a.png"), "--size", "48x32", "--alpha"}).exit, 0);
    ASSERT_EQ(RunTool({"convert", Out("a.png"), Out("black.ppm"), "--alpha", Out("a.pgm")}).exit,
              0);
    ASSERT_EQ(RunTool({"convert", Out("a.png"), Out("white.ppm"), "--background", "ffffff"}).exit,
              0);
    const vxtest::Pnm black = ReadPnm(Out("black.ppm")), white = ReadPnm(Out("white.ppm")),
                      alpha = ReadPnm(Out("a.pgm"));
    ASSERT_EQ(black.samples.size(), alpha.samples.size() * 3);
    ASSERT_EQ(white.samples.size(), black.samples.size());
    int worst = 0;
    for (size_t i = 0; i < black.samples.size(); ++i) {
        const int cover = 255 - uint8_t(alpha.samples[i / 3]);
        const int shown = uint8_t(white.samples[i]) - uint8_t(black.samples[i]);
        worst = std::max(worst, std::abs(shown - cover));
    }
    EXPECT_LE(worst, 1);
}

TEST_F(ToolPhotoTest, OptionsTheWriterCannotUseAreUsageErrors) {
    const std::vector<std::vector<std::string>> misuses = {
        {"x.png", "--quality", "50"},      {"x.jpg", "--compression", "6"},
        {"x.png", "--subsample", "422"},   {"x.tif", "--progressive"},
        {"x.jpg", "--depth", "48"},        {"x.png", "--colorspace", "ycc"},
        {"x.png", "--compression", "lzw"}, {"x.tif", "--quality", "80"},
    };
    for (const auto& m : misuses) {
        std::vector<std::string> args = {"convert", Out("chart.ppm"), Out(m[0])};
        args.insert(args.end(), m.begin() + 1, m.end());
        const ToolRun run = RunTool(args);
        EXPECT_EQ(run.exit, 2) << m[0] << " " << m[1] << ": " << run.err;
        EXPECT_EQ(run.ErrLines(), 1u) << run.err;
        EXPECT_FALSE(vxtest::Exists(Out(m[0])));
    }
    const std::vector<std::vector<std::string>> fits = {
        {"x.png", "--compression", "9"},
        {"x.tif", "--compression", "jpeg", "--quality", "60"},
        {"x.jpg", "--progressive", "--subsample", "444", "--quality", "90"},
    };
    for (const auto& f : fits) {
        std::vector<std::string> args = {"convert", Out("chart.ppm"), Out(f[0])};
        args.insert(args.end(), f.begin() + 1, f.end());
        EXPECT_EQ(RunTool(args).exit, 0) << f[1];
        EXPECT_TRUE(vxtest::Exists(Out(f[0])));
        std::remove(Out(f[0]).c_str());
    }
}

TEST_F(ToolPhotoTest, DamageTheDecoderStepsOverIsANoteOrWithFailOnAFailure) {
    const std::string jpeg = vxtest::ReadFile(Out("chart.jpg"));
    // Two stray bytes before the first table draw a warning from the header; a cut-off file
    // draws one from the lines.
    const size_t table = jpeg.find("\xFF\xDB");
    ASSERT_NE(table, std::string::npos);
    vxtest::WriteFile(Out("junk.jpg"), jpeg.substr(0, table) + "\x01\x02" + jpeg.substr(table));
    vxtest::WriteFile(Out("cut.jpg"), jpeg.substr(0, jpeg.size() * 2 / 3));
    for (const char* name : {"junk.jpg", "cut.jpg"}) {
        SCOPED_TRACE(name);
        const ToolRun noted = RunTool({"convert", Out(name), Out("n.png")});
        EXPECT_EQ(noted.exit, 0);
        EXPECT_EQ(noted.ErrLines(), 1u) << noted.err;
        EXPECT_EQ(noted.err.rfind("vandrel: " + Out(name) + ": warning", 0), 0u) << noted.err;
        EXPECT_TRUE(vxtest::Exists(Out("n.png")));
        const ToolRun failed =
            RunTool({"convert", Out(name), Out("f.png"), "--fail-on", "warning"});
        EXPECT_EQ(failed.exit, 1);
        EXPECT_FALSE(vxtest::Exists(Out("f.png")));
    }
}

}  // namespace
