#include <fcntl.h>
#include <sys/stat.h>

#include <fstream>
#include <map>
#include <sstream>

#include "RecordingService.h"
#include "platform/OSLib.h"
#include "vandrel/TagDB.h"
#include "vandrel/Variant.h"

namespace {

using StatusTest = vxtest::RecordingService;

// Moves the file's modification time by the given seconds.
void Touch(const std::string& path, int seconds) {
    struct stat st;
    ASSERT_EQ(::stat(path.c_str(), &st), 0);
    struct timespec times[2] = {st.st_atim, st.st_mtim};
    times[1].tv_sec += seconds;
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

TEST_F(StatusTest, TheStatusIsAskedOnceWhileTheFileStaysTheSame) {
    Image(7, 3, 48);
    rec->status.strFormat = "REC48";
    int32_t h = Open();
    CUImageFileStatus first, second;
    ASSERT_EQ(service->GetFileStatus(h, &first), 1);
    ASSERT_EQ(service->GetFileStatus(h, &second), 1);
    EXPECT_EQ(rec->Count("GetFileStatus"), 1);
    EXPECT_STREQ(second.strFormat, "REC48");
    EXPECT_EQ(second.info.lColorDepth, 48);

    struct stat st;
    ASSERT_EQ(::stat(file.c_str(), &st), 0);
    EXPECT_EQ(second.fileInfo.lModifyTime, int32_t(st.st_mtim.tv_sec));
    EXPECT_EQ(second.fileInfo.lSize, int32_t(st.st_size));

    Touch(file, -100);
    rec->status.strFormat = "CHANGED";
    ASSERT_EQ(service->GetFileStatus(h, &second), 1);
    EXPECT_EQ(rec->Count("GetFileStatus"), 2);
    EXPECT_STREQ(second.strFormat, "CHANGED");
    EXPECT_EQ(second.fileInfo.lModifyTime, int32_t(st.st_mtim.tv_sec) - 100);
    ASSERT_EQ(service->GetFileStatus(h, &second), 1);
    EXPECT_EQ(rec->Count("GetFileStatus"), 2);

    // Each handle keeps its own copy.
    int32_t other = Open();
    ASSERT_EQ(service->GetFileStatus(other, &second), 1);
    EXPECT_EQ(rec->Count("GetFileStatus"), 3);
}

TEST_F(StatusTest, RowLengthsAreRecomputedWhateverTheCodecSays) {
    struct Case {
        int32_t rowBytes, width3, height3, rowBytes3;
        int32_t expected, expected3;
    } cases[] = {
        {0, 5, 4, 0, 32, 16},    // 10 x 24 bits = 30 bytes, padded; 5 x 24 = 15 -> 16
        {-4, 0, 4, 99, 32, 99},  // an empty third image keeps what was said
        {999, 5, 0, 7, 32, 7},
        {1, 5, 4, 1000, 32, 16},
    };
    for (const Case& c : cases) {
        Image(10, 2, 24);
        rec->status.info.lRowBytes = c.rowBytes;
        rec->status.info2.lRowBytes = 77;  // the second plane is the codec's business
        rec->status.info3.lWidth = c.width3;
        rec->status.info3.lHeight = c.height3;
        rec->status.info3.lRowBytes = c.rowBytes3;
        CUImageFileStatus status;
        ASSERT_EQ(service->GetFileStatus(file.c_str(), &status), 1);
        EXPECT_EQ(status.info.lRowBytes, c.expected);
        EXPECT_EQ(status.info2.lRowBytes, 77);
        EXPECT_EQ(status.info3.lRowBytes, c.expected3);
    }
    EXPECT_EQ(InUse(), 0);  // the by-name form closes its handle
}

TEST_F(StatusTest, FailuresAreNotCached) {
    int32_t h = Open();
    CUImageFileStatus status;
    rec->statusResult = kVxErrCodecFormat;
    EXPECT_EQ(service->GetFileStatus(h, &status), kVxErrCodecFormat);
    rec->statusResult = 1;
    EXPECT_EQ(service->GetFileStatus(h, &status), 1);
    EXPECT_EQ(rec->Count("GetFileStatus"), 2);
    EXPECT_EQ(service->GetFileStatus(h + 1, &status), kVxErrBadHandle);

    vxtest::WriteFile(dir.file("other.txt"), "x");
    EXPECT_EQ(service->GetFileStatus(dir.file("missing.rec").c_str(), &status), kVxErrBadHandle);
    EXPECT_EQ(service->GetFileStatus(dir.file("other.txt").c_str(), &status), kVxErrNoPlugIn);
    CUCameraInfo camera;
    EXPECT_EQ(service->GetCameraInfo(dir.file("missing.rec").c_str(), &camera), kVxErrBadHandle);
    EXPECT_EQ(service->GetCameraInfo(h + 1, &camera), kVxErrBadHandle);
}

// A tag database holding what a case puts in it.
class TestTagDB : public IUTagDB {
public:
    std::map<std::pair<int32_t, int32_t>, CUtilVariant> tags;

    void Delete() override {}
    int32_t Load(const char*) override { return 1; }
    int32_t GetTagValue(int32_t group, int32_t tag, CUtilVariant& value) override {
        auto it = tags.find({group, tag});
        if (it == tags.end()) return 0;
        value = it->second;
        return 1;
    }
    int32_t SetTagValue(int32_t, int32_t, const CUtilVariant&) override { return 0; }
    int32_t RemoveTag(int32_t, int32_t) override { return 0; }
    int32_t GetTagId(int32_t, int32_t) override { return 0; }
    void Clear() override {}
    int32_t GetGroupCount() override { return 0; }
    int32_t GetTagCount(int32_t group) override {
        int32_t n = 0;
        for (const auto& entry : tags)
            n += entry.first.first == group ? 1 : 0;
        return n;
    }
};

enum Metadata { kNone = 0, kSRGB = 1, kTiffIcc = 2, kJfifIcc = 4 };

void Fill(TestTagDB* db, int metadata) {
    if (metadata & kSRGB) {
        const uint16_t one = 1;
        db->tags[{kVxTagGroupExif, 0xA001}].set(CUtilVariant::kShort, &one, 1);
    }
    if (metadata & kTiffIcc)
        db->tags[{kVxTagGroupIfd0, 0x8773}].set(CUtilVariant::kUndefined, "icc", 3);
    if (metadata & kJfifIcc) {
        std::string segment =
            std::string("\0\x20", 2) + std::string("ICC_PROFILE\0\x01\x01", 14) + "profile";
        db->tags[{kVxTagGroupApp2, 0}].set(CUtilVariant::kUndefined, segment.data(),
                                           uint32_t(segment.size()));
    }
}

TEST_F(StatusTest, CameraColourClassification) {
    struct Case {
        int32_t cameraData, mode, code, flag1, flag2, metadata;
        int32_t result, source;
    } cases[] = {
        // Camera data: the code decides, with 2 and 4 swapped; the mode gives the source.
        {1, 1, 2, 0, 0, kNone, 4, 1},
        {1, 0, 4, 0, 0, kNone, 2, 2},
        {1, 0, 3, 1, 1, kTiffIcc, 3, 2},
        {1, 1, 7, 0, 0, kSRGB, 1, 1},
        {1, 0, 0, 0, 0, kTiffIcc | kJfifIcc, 0, 2},
        // No camera data: the first flag, then embedded profiles, then the second flag.
        {0, 1, 2, 1, 1, kTiffIcc | kSRGB, 4, 0},
        {0, 0, 0, 0, 1, kTiffIcc | kJfifIcc, 4, 4},
        {0, 0, 0, 0, 1, kJfifIcc | kSRGB, 4, 3},
        {0, 0, 0, 0, 1, kSRGB, 3, 0},
        {0, 0, 0, 0, 0, kSRGB, 1, 0},
        {0, 1, 3, 0, 0, kNone, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("data " + std::to_string(c.cameraData) + " code " + std::to_string(c.code) +
                     " metadata " + std::to_string(c.metadata));
        TestTagDB db;
        Fill(&db, c.metadata);
        CUCameraInfo& camera = rec->camera;
        camera.bCameraData = c.cameraData;
        camera.lCameraMode = c.mode;
        camera.lColorCode = c.code;
        camera.bColorFlag1 = c.flag1;
        camera.bColorFlag2 = c.flag2;
        camera.pTagDB = &db;
        camera.lColorResult = camera.lColorSource = 9;
        CUCameraInfo info;
        ASSERT_EQ(service->GetCameraInfo(file.c_str(), &info), 1);
        EXPECT_EQ(info.lColorResult, c.result);
        EXPECT_EQ(info.lColorSource, c.source);
        rec->camera = CUCameraInfo();
    }
}

TEST_F(StatusTest, CameraInformationWithoutTagsOrWithACodecFailure) {
    rec->camera.bColorFlag1 = 1;
    rec->camera.lColorResult = rec->camera.lColorSource = 9;
    int32_t h = Open();
    CUCameraInfo info;
    ASSERT_EQ(service->GetCameraInfo(h, &info), 1);
    EXPECT_EQ(info.lColorResult, 0);  // no tag database: nothing is classified
    EXPECT_EQ(info.lColorSource, 0);
    EXPECT_EQ(info.bColorFlag1, 1);
    for (int32_t answer : {0, 2, int32_t(kVxErrCodecData)}) {
        rec->cameraResult = answer;
        EXPECT_EQ(service->GetCameraInfo(h, &info), answer);
        EXPECT_EQ(info.lColorResult, 9);  // left as the codec gave it
    }
}

// --- File information: the file's attributes and its Exif orientation and dates. ---

std::string Le16(uint32_t v) {
    return std::string{char(v & 0xFF), char((v >> 8) & 0xFF)};
}
std::string Le32(uint32_t v) {
    return Le16(v & 0xFFFF) + Le16(v >> 16);
}

struct Entry {
    uint16_t tag, type;
    uint32_t count;
    std::string data;
};
Entry Ascii(uint16_t tag, const std::string& text) {
    return {tag, 2, uint32_t(text.size() + 1), text + '\0'};
}

// A little-endian TIFF block: IFD0 (with a pointer to the Exif directory when one is given),
// the Exif directory, then the values that do not fit in an entry.
std::string TiffBlock(std::vector<Entry> ifd0, const std::vector<Entry>& exif) {
    auto dirSize = [](size_t n) { return 2 + 12 * n + 4; };
    const size_t n0 = ifd0.size() + (exif.empty() ? 0 : 1);
    const size_t exifAt = 8 + dirSize(n0);
    if (!exif.empty()) ifd0.push_back({0x8769, 4, 1, Le32(uint32_t(exifAt))});
    size_t dataAt = exifAt + (exif.empty() ? 0 : dirSize(exif.size()));
    std::string data;
    auto directory = [&](const std::vector<Entry>& entries) {
        std::string out = Le16(uint32_t(entries.size()));
        for (const Entry& e : entries) {
            out += Le16(e.tag) + Le16(e.type) + Le32(e.count);
            if (e.data.size() <= 4) {
                out += e.data + std::string(4 - e.data.size(), '\0');
            } else {
                out += Le32(uint32_t(dataAt + data.size()));
                data += e.data;
            }
        }
        return out + Le32(0);
    };
    std::string block = std::string("II\x2A\0", 4) + Le32(8) + directory(ifd0);
    if (!exif.empty()) block += directory(exif);
    return block + data;
}

std::string ExifJpeg(const std::string& tiff) {
    const std::string app1 = std::string("Exif\0\0", 6) + tiff;
    const uint32_t length = uint32_t(app1.size() + 2);
    return std::string("\xFF\xD8\xFF\xE1", 4) + char(length >> 8) + char(length & 0xFF) + app1 +
           std::string("\xFF\xD9", 2);
}

int32_t LocalTime(const char* text) {
    int32_t t = 0;
    OSLib::VxFstrtotime(text, &t);
    return t;
}

TEST_F(StatusTest, FileInformationTakesTheFirstPresentDate) {
    const char* modified = "2001:01:01 01:01:01";
    const char* original = "2002:02:02 02:02:02";
    const char* digitized = "2003:03:03 03:03:03";
    const std::string orientation = Le16(6);
    struct Case {
        const char* name;
        std::vector<Entry> ifd0, exif;
        uint16_t orientation;
        int32_t shot;
    } cases[] = {
        {"all dates",
         {{0x0112, 3, 1, orientation}, Ascii(0x0132, modified)},
         {Ascii(0x9003, original), Ascii(0x9004, digitized)},
         6,
         LocalTime(original)},
        {"digitised",
         {Ascii(0x0132, modified)},
         {Ascii(0x9004, digitized)},
         0,
         LocalTime(digitized)},
        {"file date", {Ascii(0x0132, modified)}, {}, 0, LocalTime(modified)},
        {"short date", {{0x0112, 3, 1, orientation}}, {Ascii(0x9003, "2002:02:02")}, 6, 0},
        {"nothing", {}, {}, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = dir.file("photo.jpg");
        vxtest::WriteFile(path, ExifJpeg(TiffBlock(c.ifd0, c.exif)));
        ::chmod(path.c_str(), 0640);
        CUFileInfo info;
        ASSERT_EQ(service->GetFileInfo(path.c_str(), &info), 1);
        EXPECT_EQ(info.wOrientation, c.orientation);
        EXPECT_EQ(info.lShootingTime, c.shot);
        struct stat st;
        ASSERT_EQ(::stat(path.c_str(), &st), 0);
        EXPECT_EQ(info.lSize, int32_t(st.st_size));
        EXPECT_EQ(info.lModifyTime, int32_t(st.st_mtim.tv_sec));
        EXPECT_EQ(info.lAccessTime, info.lModifyTime);
        EXPECT_EQ(info.wPermissions, 0640);
    }
    CUFileInfo untouched;
    untouched.lShootingTime = 5;
    ASSERT_EQ(service->GetFileInfo(file.c_str(), &untouched), 1);  // not a tagged file type
    EXPECT_EQ(untouched.lShootingTime, 5);
    EXPECT_EQ(service->GetFileInfo(dir.file("missing.jpg").c_str(), &untouched),
              kVxErrFileAttributes);
}

std::vector<std::map<std::string, std::string>> ReadManifest(const std::string& path) {
    std::ifstream in(path);
    std::string line;
    std::vector<std::string> header;
    std::vector<std::map<std::string, std::string>> rows;
    while (std::getline(in, line)) {
        std::vector<std::string> fields;
        std::stringstream cells(line);
        for (std::string cell; std::getline(cells, cell, '\t');)
            fields.push_back(cell);
        if (header.empty()) {
            header = fields;
            continue;
        }
        std::map<std::string, std::string> row;
        for (size_t i = 0; i < header.size() && i < fields.size(); ++i)
            row[header[i]] = fields[i];
        rows.push_back(row);
    }
    return rows;
}

// Camera JPEGs: orientation and shooting time as the manifest reads them, for every file whose
// Exif block comes before any segment other than APP0 and comments.
TEST_F(StatusTest, FileInformationOfCameraJpegs) {
    const std::string data = vxtest::TestDataDir();
    if (data.empty()) GTEST_SKIP() << "no test corpus";
    int checked = 0;
    for (auto& row : ReadManifest(data + "/tags.tsv")) {
        if (row["FileType"] != "JPEG") continue;
        SCOPED_TRACE(row["file"]);
        const bool reachable = row["ExifViaAPP0COM"] == "yes";
        uint16_t orientation = 0;
        if (reachable && row["Orientation"] != "-")
            orientation = uint16_t(std::stoi(row["Orientation"]));
        int32_t shot = 0;
        for (const char* column : {"DateTimeOriginal", "CreateDate", "ModifyDate"}) {
            if (!reachable || row[column] == "-") continue;
            if (row[column].size() == 19) shot = LocalTime(row[column].c_str());
            break;
        }
        CUFileInfo info;
        ASSERT_EQ(service->GetFileInfo((data + "/" + row["file"]).c_str(), &info), 1);
        EXPECT_EQ(info.wOrientation, orientation);
        EXPECT_EQ(info.lShootingTime, shot);
        ++checked;
    }
    EXPECT_GT(checked, 30);
}

}  // namespace
