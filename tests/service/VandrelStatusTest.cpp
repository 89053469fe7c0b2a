#include <fcntl.h>
#include <sys/stat.h>

#include "RecordingService.h"
#include "metadata/MapTagDB.h"
#include "metadata/TiffBlock.h"
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

enum Metadata { kNone = 0, kSRGB = 1, kTiffIcc = 2, kJfifIcc = 4 };

void Fill(vxtest::MapTagDB* db, int metadata) {
    if (metadata & kSRGB) db->shortValue(kVxTagGroupExif, 0xA001, 1);
    if (metadata & kTiffIcc) db->set(kVxTagGroupIfd0, 0x8773, CUtilVariant::kUndefined, "icc", 3);
    if (metadata & kJfifIcc)
        db->addApp2(std::string("\0\x20", 2) + std::string("ICC_PROFILE\0\x01\x01", 14) +
                    "profile");
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
        vxtest::MapTagDB db;
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

// A JPEG holding only an Exif block: IFD0 with the orientation and file date, and an Exif
// directory with the original and digitised dates; each only when given.
std::string ExifJpeg(uint32_t orientation, const char* modified, const char* original,
                     const char* digitized) {
    using vxtest::TiffBlock;
    TiffBlock block(vxtest::ByteOrder::kLittle);
    if (orientation != 0) block.ifd0(block.shorts(0x0112, {orientation}));
    if (modified != nullptr) block.ifd0(TiffBlock::ascii(0x0132, modified));
    if (original != nullptr) block.exif(TiffBlock::ascii(0x9003, original));
    if (digitized != nullptr) block.exif(TiffBlock::ascii(0x9004, digitized));
    return vxtest::Jpeg({vxtest::ExifSegment(block.build())});
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
    struct Case {
        const char* name;
        uint32_t orientation;
        const char *modified, *original, *digitized;
        int32_t shot;
    } cases[] = {
        {"all dates", 6, modified, original, digitized, LocalTime(original)},
        {"digitised", 0, modified, nullptr, digitized, LocalTime(digitized)},
        {"file date", 0, modified, nullptr, nullptr, LocalTime(modified)},
        {"short date", 6, nullptr, "2002:02:02", nullptr, 0},
        {"nothing", 0, nullptr, nullptr, nullptr, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = dir.file("photo.jpg");
        vxtest::WriteFile(path, ExifJpeg(c.orientation, c.modified, c.original, c.digitized));
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

}  // namespace
