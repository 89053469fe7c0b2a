// The real-world corpus: camera JPEGs and TIFFs and the PNG suite, decoded through the codec
// modules and compared with the hashes and tag values external tools recorded for them.
#include <gtest/gtest.h>

#include <memory>

#include "CodecTestSupport.h"
#include "vandrel/TagDB.h"
#include "vandrel/Variant.h"

namespace vxtest {
namespace {

bool EndsWith(const std::string& s, const std::string& tail) {
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

IPlugIn* CodecForCorpusFile(const std::string& file) {
    if (EndsWith(file, ".jpg") || EndsWith(file, ".jpeg")) return Jpeg();
    if (EndsWith(file, ".png")) return Png();
    if (EndsWith(file, ".tiff") || EndsWith(file, ".tif")) return Tiff();
    return nullptr;
}

bool GreyIsReplicated(const Image& img) {
    const size_t bytes = img.depth / 24;
    for (size_t i = 0; i < size_t(img.width) * img.height; ++i) {
        const unsigned char* px = img.color.data() + i * 3 * bytes;
        if (std::memcmp(px, px + bytes, bytes) != 0 || std::memcmp(px, px + 2 * bytes, bytes) != 0)
            return false;
    }
    return true;
}

TEST(CodecCorpus, DecodedSamplesHashToTheManifest) {
    const std::string dir = TestDataDir();
    if (dir.empty()) GTEST_SKIP() << "no test corpus";
    ASSERT_NE(Jpeg(), nullptr);
    ASSERT_NE(Png(), nullptr);
    ASSERT_NE(Tiff(), nullptr);
    auto rows = ReadManifest(dir + "/pixels.tsv");
    ASSERT_GT(rows.size(), 200u);
    size_t decoded = 0, refused = 0;
    for (auto& row : rows) {
        const std::string& file = row["file"];
        SCOPED_TRACE(file);
        IPlugIn* codec = CodecForCorpusFile(file);
        ASSERT_NE(codec, nullptr);
        Decoded d = DecodeFile(codec, dir + "/" + file);
        if (row["status"] == "error") {
            EXPECT_LT(d.code, 0) << "damaged file decoded without complaint";
            ++refused;
            continue;
        }
        ASSERT_FALSE(d.Failed()) << std::hex << d.code;
        if (row["status"] == "ok") {
            EXPECT_EQ(d.code, 1);
        }
        const int channels = std::stoi(row["channels"]);
        const int bits = std::stoi(row["bitdepth"]);
        EXPECT_EQ(d.image.width, std::stoi(row["width"]));
        EXPECT_EQ(d.image.height, std::stoi(row["height"]));
        EXPECT_EQ(d.image.depth, 3 * bits);
        EXPECT_EQ(d.image.alphaDepth, (channels == 2 || channels == 4) ? bits : 0);
        if (channels <= 2) {
            EXPECT_TRUE(GreyIsReplicated(d.image));
        }
        EXPECT_EQ(Md5Hex(ManifestSamples(d.image.color, d.image.alpha, channels, bits / 8)),
                  row["md5"]);
        if (row["alpha_md5"] != "-") {
            EXPECT_EQ(Md5Hex(d.image.alpha), row["alpha_md5"]);
        }
        ++decoded;
    }
    EXPECT_EQ(decoded + refused, rows.size());
    EXPECT_EQ(refused, 14u);
}

// The profile the service assembles from a JPEG's APP2 segments: every segment must be an ICC
// chunk, each contributes what follows its 16-byte header.
int32_t JpegProfileBytes(IUTagDB* db) {
    int32_t total = 0;
    for (int32_t i = 0; i < db->GetTagCount(kVxTagGroupApp2); ++i) {
        CUtilVariant segment;
        if (db->GetTagValue(kVxTagGroupApp2, i, segment) <= 0 || segment.size() <= 16 ||
            std::memcmp(segment.data() + 2, "ICC_PROFILE", 11) != 0)
            return 0;
        total += int32_t(segment.size()) - 16;
    }
    return total;
}

struct IDestroyTagDB {
    void operator()(IUTagDB* db) const {
        if (db != nullptr) db->Delete();
    }
};

TEST(CodecCorpus, TagDatabaseAgreesWithTheManifest) {
    const std::string dir = TestDataDir();
    if (dir.empty()) GTEST_SKIP() << "no test corpus";
    auto rows = ReadManifest(dir + "/tags.tsv");
    size_t compared = 0;
    for (auto& row : rows) {
        const std::string& file = row["file"];
        if (row["FileType"] != "JPEG" && row["FileType"] != "TIFF" && file != "png/exif2c08.png")
            continue;
        SCOPED_TRACE(file);
        IPlugIn* codec = CodecForCorpusFile(file);
        Instance plugIn(codec, dir + "/" + file);
        CUCameraInfo camera;
        ASSERT_EQ(plugIn->GetCameraInfo(&camera), 1);
        IUTagDB* db = camera.pTagDB;
        const bool hasMetadata = row["ByteOrder"] != "-" || row["ICCProfileBytes"] != "0";
        ASSERT_EQ(db != nullptr, hasMetadata);
        ++compared;
        if (db == nullptr) continue;

        const int32_t icc = std::stoi(row["ICCProfileBytes"]);
        if (row["FileType"] == "JPEG") {
            EXPECT_EQ(JpegProfileBytes(db), icc);
        } else {
            CUtilVariant profile;
            int32_t found = db->GetTagValue(kVxTagGroupIfd0, 0x8773, profile);
            EXPECT_EQ(found > 0 ? int32_t(profile.size()) : 0, icc);
        }
        CUtilVariant value;
        if (row["ColorSpace"] == "-") {
            EXPECT_EQ(db->GetTagValue(kVxTagGroupExif, 0xA001, value), 0);
        } else {
            ASSERT_GT(db->GetTagValue(kVxTagGroupExif, 0xA001, value), 0);
            EXPECT_EQ(value.type(), CUtilVariant::kShort);
            EXPECT_EQ(value.uintAt(0), uint32_t(std::stoul(row["ColorSpace"])));
        }
        if (row["InteropIndex"] == "-") {
            EXPECT_EQ(db->GetTagValue(kVxTagGroupInterop, 0x0001, value), 0);
        } else {
            ASSERT_GT(db->GetTagValue(kVxTagGroupInterop, 0x0001, value), 0);
            EXPECT_EQ(value.type(), CUtilVariant::kAscii);
            EXPECT_STREQ(value.text(), row["InteropIndex"].c_str());
        }
        EXPECT_EQ(camera.lOrientation,
                  row["Orientation"] == "-" ? 0 : std::stoi(row["Orientation"]));
        EXPECT_STREQ(camera.strDateTime.c_str(),
                     row["DateTimeOriginal"] == "-" ? "" : row["DateTimeOriginal"].c_str());
        // A database made by any codec module reads the same file the same way.
        std::unique_ptr<IUTagDB, IDestroyTagDB> fresh(Png()->CreateTagDB());
        ASSERT_EQ(fresh->Load((dir + "/" + file).c_str()), 1);
        EXPECT_EQ(fresh->GetTagCount(kVxTagGroupExif), db->GetTagCount(kVxTagGroupExif));
        EXPECT_EQ(fresh->GetTagCount(kVxTagGroupApp2), db->GetTagCount(kVxTagGroupApp2));
    }
    EXPECT_EQ(compared, 42u);
}

}  // namespace
}  // namespace vxtest
