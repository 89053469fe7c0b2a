// The tag database over hand-made metadata: directories in both byte orders, links between them,
// value types, APP2 segments by index, the camera fields, and the editing operations.
#include <gtest/gtest.h>

#include <memory>

#include "CodecTestSupport.h"
#include "vandrel/TagDB.h"
#include "vandrel/Variant.h"

namespace vxtest {
namespace {

struct DeleteTagDB {
    void operator()(IUTagDB* db) const { db->Delete(); }
};
using TagDBPtr = std::unique_ptr<IUTagDB, DeleteTagDB>;

// First directory, Exif and interoperability directories as a camera would write them.
std::string CameraBlock(bool bigEndian, const std::string& interopIndex) {
    TiffBlock block(bigEndian, 3);
    block.Text(0, 0x010F, "Maker Corp");
    block.Text(0, 0x0110, "Model X");
    block.Numbers(0, 0x0112, TiffBlock::kShort, {6});
    block.Numbers(0, 0x011A, TiffBlock::kRational, {300, 1});
    block.Link(0, 0x8769, 1);
    block.Text(1, 0x9003, "2004:07:15 12:30:00");
    block.Numbers(1, 0xA001, TiffBlock::kShort, {0xFFFF});
    block.Numbers(1, 0xA002, TiffBlock::kLong, {640});
    block.Numbers(1, 0xA003, TiffBlock::kShort, {480});
    block.Bytes(1, 0x9000, TiffBlock::kUndefined, "0230");
    block.Link(1, 0xA005, 2);
    block.Text(2, 0x0001, interopIndex);
    return block.Build();
}

// A JPEG written by the codec with an Exif APP1 and the given APP2 segments put after its SOI.
std::string JpegWithSegments(const ScratchDir& dir, const std::string& exif,
                             const std::vector<std::string>& app2) {
    Image img = MakeImage(16, 16, 24, 0);
    EXPECT_EQ(EncodeFile(Jpeg(), dir.file("plain.jpg"), img), 1);
    std::string jpeg = ReadFile(dir.file("plain.jpg"));
    auto segment = [](char marker, const std::string& payload) {
        size_t length = payload.size() + 2;
        return std::string{char(0xFF), marker, char(length >> 8), char(length & 0xFF)} + payload;
    };
    std::string inserted = segment(char(0xE1), std::string("Exif\0\0", 6) + exif);
    for (const std::string& s : app2)
        inserted += segment(char(0xE2), s);
    return jpeg.substr(0, 2) + inserted + jpeg.substr(2);
}

std::string IccChunk(int index, int count, size_t bytes) {
    std::string chunk = std::string("ICC_PROFILE\0", 12) + char(index) + char(count);
    for (size_t i = 0; i < bytes; ++i)
        chunk += char(i * 31 + index);
    return chunk;
}

TEST(CodecTags, ExifDirectoriesLoadInBothByteOrdersAndBothContainers) {
    ScratchDir dir;
    for (bool bigEndian : {false, true}) {
        for (bool inJpeg : {false, true}) {
            SCOPED_TRACE(testing::Message()
                         << (bigEndian ? "MM" : "II") << (inJpeg ? " jpeg" : " tiff"));
            std::string block = CameraBlock(bigEndian, "R03");
            std::string path = dir.file(inJpeg ? "cam.jpg" : "cam.tif");
            WriteFile(path, inJpeg ? JpegWithSegments(dir, block, {}) : block);
            TagDBPtr db(Tiff()->CreateTagDB());
            ASSERT_EQ(db->Load(path.c_str()), 1);
            EXPECT_EQ(db->GetGroupCount(), 3);
            EXPECT_EQ(db->GetTagCount(kVxTagGroupIfd0), 5);
            EXPECT_EQ(db->GetTagCount(kVxTagGroupExif), 6);
            EXPECT_EQ(db->GetTagCount(kVxTagGroupInterop), 1);

            CUtilVariant v;
            ASSERT_GT(db->GetTagValue(kVxTagGroupIfd0, 0x0112, v), 0);
            EXPECT_EQ(v.type(), CUtilVariant::kShort);
            EXPECT_EQ(v.uintAt(0), 6u);
            ASSERT_GT(db->GetTagValue(kVxTagGroupIfd0, 0x011A, v), 0);
            EXPECT_EQ(v.type(), CUtilVariant::kRational);
            EXPECT_EQ(v.count(), 1u);
            EXPECT_EQ(v.uintAt(0), 300u);
            ASSERT_GT(db->GetTagValue(kVxTagGroupExif, 0xA002, v), 0);
            EXPECT_EQ(v.type(), CUtilVariant::kLong);
            EXPECT_EQ(v.uintAt(0), 640u);
            ASSERT_GT(db->GetTagValue(kVxTagGroupExif, 0x9000, v), 0);
            EXPECT_EQ(v.type(), CUtilVariant::kUndefined);
            EXPECT_EQ(std::string(reinterpret_cast<const char*>(v.data()), v.size()), "0230");
            ASSERT_GT(db->GetTagValue(kVxTagGroupInterop, 0x0001, v), 0);
            EXPECT_EQ(v.type(), CUtilVariant::kAscii);
            EXPECT_STREQ(v.text(), "R03");
            EXPECT_EQ(db->GetTagValue(kVxTagGroupExif, 0x9004, v), 0);
        }
    }
}

TEST(CodecTags, CameraInfoComesFromTheFilesMetadata) {
    ScratchDir dir;
    const struct {
        const char* interop;
        int32_t adobeFlag;
    } cases[] = {{"R03", 1}, {"R98", 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.interop);
        WriteFile(dir.file("cam.jpg"), JpegWithSegments(dir, CameraBlock(true, c.interop), {}));
        Instance plugIn(Jpeg(), dir.file("cam.jpg"));
        CUCameraInfo camera;
        ASSERT_EQ(plugIn->GetCameraInfo(&camera), 1);
        EXPECT_STREQ(camera.strMaker.c_str(), "Maker Corp");
        EXPECT_STREQ(camera.strModel.c_str(), "Model X");
        EXPECT_STREQ(camera.strDateTime.c_str(), "2004:07:15 12:30:00");
        EXPECT_EQ(camera.lOrientation, 6);
        EXPECT_EQ(camera.lExifWidth, 640);
        EXPECT_EQ(camera.lExifHeight, 480);
        EXPECT_EQ(camera.bColorFlag2, c.adobeFlag);
        EXPECT_EQ(camera.bCameraData, 0);
        ASSERT_NE(camera.pTagDB, nullptr);
        // The database belongs to the instance: asking again gives the same, reloaded one.
        IUTagDB* first = camera.pTagDB;
        ASSERT_EQ(plugIn->GetCameraInfo(&camera), 1);
        EXPECT_EQ(camera.pTagDB, first);
        EXPECT_EQ(camera.pTagDB->GetTagCount(kVxTagGroupExif), 6);
    }
}

TEST(CodecTags, App2SegmentsAreKeptByIndexWithTheirLength) {
    ScratchDir dir;
    const std::vector<std::string> segments = {IccChunk(1, 2, 60000), IccChunk(2, 2, 1000),
                                               std::string("FPXR\0\0", 6)};
    WriteFile(dir.file("icc.jpg"), JpegWithSegments(dir, CameraBlock(false, "R98"), segments));
    TagDBPtr db(Jpeg()->CreateTagDB());
    ASSERT_EQ(db->Load(dir.file("icc.jpg").c_str()), 1);
    ASSERT_EQ(db->GetTagCount(kVxTagGroupApp2), 3);
    for (int32_t i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        CUtilVariant v;
        ASSERT_GT(db->GetTagValue(kVxTagGroupApp2, i, v), 0);
        EXPECT_EQ(v.type(), CUtilVariant::kUndefined);
        const std::string& payload = segments[size_t(i)];
        ASSERT_EQ(v.size(), payload.size() + 2);
        EXPECT_EQ(size_t(v.data()[0]) << 8 | v.data()[1], payload.size() + 2);
        EXPECT_EQ(0, std::memcmp(v.data() + 2, payload.data(), payload.size()));
        EXPECT_EQ(db->GetTagId(kVxTagGroupApp2, i), i);
    }
}

TEST(CodecTags, EditingOperationsChangeOnlyWhatTheyName) {
    ScratchDir dir;
    WriteFile(dir.file("cam.tif"), CameraBlock(false, "R98"));
    TagDBPtr db(Png()->CreateTagDB());
    ASSERT_EQ(db->Load(dir.file("cam.tif").c_str()), 1);
    EXPECT_EQ(db->GetTagId(kVxTagGroupIfd0, 0), 0x010F);
    EXPECT_EQ(db->GetTagId(kVxTagGroupIfd0, 4), 0x8769);
    EXPECT_EQ(db->GetTagId(kVxTagGroupIfd0, 5), -1);
    EXPECT_EQ(db->GetTagId(kVxTagGroupGps, 0), -1);

    CUtilVariant value;
    value.set(CUtilVariant::kShort, "\x01\x00", 1);
    EXPECT_EQ(db->SetTagValue(kVxTagGroupExif, 0xA001, value), 1);
    ASSERT_GT(db->GetTagValue(kVxTagGroupExif, 0xA001, value), 0);
    EXPECT_EQ(value.uintAt(0), 1u);
    EXPECT_EQ(db->GetTagCount(kVxTagGroupExif), 6);

    EXPECT_EQ(db->RemoveTag(kVxTagGroupInterop, 0x0001), 1);
    EXPECT_EQ(db->RemoveTag(kVxTagGroupInterop, 0x0001), 0);
    EXPECT_EQ(db->GetGroupCount(), 2);
    db->Clear();
    EXPECT_EQ(db->GetGroupCount(), 0);
    EXPECT_EQ(db->GetTagValue(kVxTagGroupIfd0, 0x010F, value), 0);
}

TEST(CodecTags, DamagedDirectoriesLoadWhatIsIntact) {
    ScratchDir dir;
    std::string block = CameraBlock(false, "R98");
    // Cut after the first directory: its inline values survive, the rest is gone.
    WriteFile(dir.file("cut.tif"), block.substr(0, 8 + 2 + 12 * 5 + 4));
    TagDBPtr db(Tiff()->CreateTagDB());
    ASSERT_EQ(db->Load(dir.file("cut.tif").c_str()), 1);
    EXPECT_EQ(db->GetTagCount(kVxTagGroupExif), 0);
    EXPECT_GT(db->GetTagCount(kVxTagGroupIfd0), 0);
    // A directory linking to itself is read once.
    TiffBlock loop(true, 1);
    loop.Numbers(0, 0x0100, TiffBlock::kShort, {7});
    loop.Link(0, 0x8769, 0);
    WriteFile(dir.file("loop.tif"), loop.Build());
    ASSERT_EQ(db->Load(dir.file("loop.tif").c_str()), 1);
    EXPECT_EQ(db->GetTagCount(kVxTagGroupIfd0), 2);
    EXPECT_EQ(db->GetTagCount(kVxTagGroupExif), 2);
    // Neither a known format nor a file.
    WriteFile(dir.file("words.txt"), "hello");
    EXPECT_EQ(db->Load(dir.file("words.txt").c_str()), kVxErrCodecFormat);
    EXPECT_EQ(db->Load(dir.file("none").c_str()), kVxErrCodecOpen);
    EXPECT_EQ(db->GetGroupCount(), 0);
}

}  // namespace
}  // namespace vxtest
