// The real-world corpus read the way applications read it: through the image-file service over
// the plug-in folder, compared with the hashes and tag values external tools recorded.
#include <gtest/gtest.h>

#include "CodecTestSupport.h"
#include "metadata/ColorMetadata.h"
#include "vandrel/TagDB.h"
#include "vandrel/Variant.h"

namespace vxtest {
namespace {

using Row = std::map<std::string, std::string>;

class CodecServiceCorpus : public ::testing::Test {
protected:
    void SetUp() override {
        dir = TestDataDir();
        if (dir.empty()) GTEST_SKIP() << "no test corpus";
        service = CodecService();
        ASSERT_NE(service, nullptr);
        for (const char* format : {"JPEG", "PNG", "TIFF"})
            ASSERT_NE(service->GetDecoderVersion(format), nullptr) << format << " not loaded";
    }

    std::vector<Row> Manifest(const char* name) const { return ReadManifest(dir + "/" + name); }

    std::string dir;
    ServicePtr service;
};

// The request an application makes without thinking: logical RGB lines of the file's sample
// size, 24 bits, or 48 for files of 16-bit samples.
CURequest DefaultRequest(const Row& row) {
    CURequest request;
    request.info.lColorDepth = row.at("bitdepth") == "16" ? 48 : 24;
    return request;
}

CURequest NativeRequest() {
    CURequest request;
    request.info.lColorDepth = 32;
    request.info.bNative = 1;
    return request;
}

// Grey files arrive as RGB lines whose three samples agree.
bool GreyIsReplicated(const std::vector<unsigned char>& rgb, size_t bytes) {
    for (size_t at = 0; at + 3 * bytes <= rgb.size(); at += 3 * bytes)
        if (std::memcmp(&rgb[at], &rgb[at + bytes], bytes) != 0 ||
            std::memcmp(&rgb[at], &rgb[at + 2 * bytes], bytes) != 0)
            return false;
    return true;
}

TEST_F(CodecServiceCorpus, DefaultReadsHashToTheManifestAndDamagedFilesAreReported) {
    size_t decoded = 0, refused = 0, errorRows = 0;
    for (const Row& row : Manifest("pixels.tsv")) {
        const std::string& file = row.at("file");
        SCOPED_TRACE(file);
        const std::string path = dir + "/" + file;
        if (row.at("status") == "error") {
            ++errorRows;
            ServiceDecoded d = ReadThroughService(service.get(), path, CURequest());
            EXPECT_LT(d.code, 0) << "damaged file read without complaint";
            EXPECT_EQ(d.fault, "");
            refused += d.code < 0 ? 1 : 0;
            continue;
        }
        // Lines lent by the handle: the reads of the caller's own buffers follow below.
        ServiceDecoded d =
            ReadThroughService(service.get(), path, DefaultRequest(row), LineOwner::kService);
        ASSERT_FALSE(d.Failed()) << std::hex << d.code;
        ASSERT_EQ(d.fault, "");
        if (row.at("status") == "ok") {
            EXPECT_EQ(d.code, 1);
        }
        const int channels = std::stoi(row.at("channels"));
        const int bits = std::stoi(row.at("bitdepth"));
        const bool alpha = channels == 2 || channels == 4;
        EXPECT_EQ(d.info.lWidth, std::stoi(row.at("width")));
        EXPECT_EQ(d.status.info.lHeight, std::stoi(row.at("height")));
        EXPECT_EQ(d.info.lColorDepth, 3 * bits);
        EXPECT_EQ(d.info.bNative, 0);
        EXPECT_EQ(d.info.lRowBytes, VxPaddedRowBytes(d.info.lWidth, 3 * bits));
        EXPECT_EQ(d.info2.lColorDepth, alpha ? bits : 0);
        EXPECT_EQ(Md5Hex(ManifestSamples(d.color, d.alpha, channels, bits / 8)), row.at("md5"));
        if (channels <= 2) {
            EXPECT_TRUE(GreyIsReplicated(d.color, bits / 8));
        }
        if (row.at("alpha_md5") != "-") {
            EXPECT_EQ(Md5Hex(d.alpha), row.at("alpha_md5"));
        }
        ++decoded;
    }
    EXPECT_GT(decoded, 200u);
    EXPECT_EQ(refused, errorRows);
}

// Native lines are 0, R, G, B with the alpha plane beside them. From 8-bit files they are the
// plain samples, which the manifest hashes as RGBA; from 16-bit files each sample is reduced
// with a dither of less than one step, so it is the high byte or one more.
TEST_F(CodecServiceCorpus, NativeReadsAgreeWithTheEightBitHashes) {
    size_t compared = 0;
    for (const Row& row : Manifest("pixels.tsv")) {
        if (row.at("status") == "error") continue;
        const std::string& file = row.at("file");
        SCOPED_TRACE(file);
        const std::string path = dir + "/" + file;
        ServiceDecoded native = ReadThroughService(service.get(), path, NativeRequest());
        ASSERT_FALSE(native.Failed()) << std::hex << native.code;
        ASSERT_EQ(native.fault, "");
        const int channels = std::stoi(row.at("channels"));
        const bool alpha = channels == 2 || channels == 4;
        const size_t pixels = size_t(native.info.lWidth) * size_t(native.status.info.lHeight);
        EXPECT_EQ(native.info.lColorDepth, 32);
        EXPECT_EQ(native.info.bNative, 1);
        EXPECT_EQ(native.info.lRowBytes, native.info.lWidth * 4);
        ASSERT_EQ(native.color.size(), pixels * 4);

        if (row.at("bitdepth") == "8") {
            // A one-byte alpha plane stays one byte per pixel beside the native line.
            ASSERT_EQ(native.alpha.size(), alpha ? pixels : 0);
            std::vector<unsigned char> rgba(pixels * 4);
            for (size_t i = 0; i < pixels; ++i) {
                std::memcpy(&rgba[i * 4], &native.color[i * 4 + 1], 3);
                rgba[i * 4 + 3] = alpha ? native.alpha[i] : 0xFF;
            }
            EXPECT_EQ(Md5Hex(rgba), row.at("md5_rgba8"));
        } else {
            ServiceDecoded wide = ReadThroughService(service.get(), path, DefaultRequest(row));
            ASSERT_EQ(wide.color.size(), pixels * 6);
            size_t outside = 0;
            for (size_t i = 0; i < pixels; ++i) {
                for (size_t c = 0; c < 3; ++c) {
                    uint16_t v;
                    std::memcpy(&v, &wide.color[(i * 3 + c) * 2], 2);
                    const int high = v >> 8, got = native.color[i * 4 + 1 + c];
                    outside += (got == high || got == std::min(high + 1, 255)) ? 0 : 1;
                }
            }
            EXPECT_EQ(outside, 0u);
        }
        ++compared;
    }
    EXPECT_GT(compared, 200u);
}

// The ICC profile read back through the tag database: its own header repeats its length
// (big-endian, first four bytes) and carries the signature "acsp" at byte 36.
void ExpectWholeProfile(int32_t (*read)(IUTagDB*, char*), IUTagDB* db, int32_t size) {
    std::vector<char> profile(size_t(size) + 1, 0);
    ASSERT_EQ(read(db, profile.data()), size);
    const auto* head = reinterpret_cast<const unsigned char*>(profile.data());
    EXPECT_EQ(uint32_t(head[0]) << 24 | uint32_t(head[1]) << 16 | uint32_t(head[2]) << 8 | head[3],
              uint32_t(size));
    EXPECT_EQ(std::string(profile.data() + 36, 4), "acsp");
}

// The manifest's text for a tag: its number or text, "-" when absent.
std::string TagText(IUTagDB* db, int32_t group, int32_t tag) {
    CUtilVariant value;
    if (db->GetTagValue(group, tag, value) <= 0) return "-";
    return value.type() == CUtilVariant::kAscii ? value.text() : std::to_string(value.uintAt(0));
}

// Without camera data the colour answer comes from the metadata, in this order: a TIFF
// profile, a JPEG profile, an Adobe RGB interoperability index, an sRGB declaration. The camera
// fields and the tag database agree with the manifest too.
TEST_F(CodecServiceCorpus, CameraInfoAndTagsAgreeWithTheManifest) {
    enum { kNone = 0, kSRGB = 1, kAdobe = 3, kProfile = 4 };
    enum { kFromMetadata = 0, kFromJpegProfile = 3, kFromTiffProfile = 4 };
    std::map<std::pair<int32_t, int32_t>, int> seen;
    size_t compared = 0;
    for (const Row& row : Manifest("tags.tsv")) {
        const std::string& type = row.at("FileType");
        const std::string& file = row.at("file");
        if (type != "JPEG" && type != "TIFF" && file != "png/exif2c08.png") continue;
        SCOPED_TRACE(file);
        const int32_t icc = std::stoi(row.at("ICCProfileBytes"));
        const bool declaresSRGB = row.at("ColorSpace") == "1" || row.at("InteropIndex") == "R98";
        std::pair<int32_t, int32_t> expected(kFromMetadata, kNone);  // source, result
        if (icc > 0)
            expected = {type == "JPEG" ? kFromJpegProfile : kFromTiffProfile, kProfile};
        else if (row.at("InteropIndex") == "R03")
            expected = {kFromMetadata, kAdobe};
        else if (declaresSRGB)
            expected = {kFromMetadata, kSRGB};

        // The tag database belongs to the handle's plug-in instance: asked while it is open.
        const int32_t handle = service->GetImageHandle((dir + "/" + file).c_str());
        ASSERT_GT(handle, 0);
        CUCameraInfo info;
        ASSERT_EQ(service->GetCameraInfo(handle, &info), 1);
        EXPECT_EQ(info.bCameraData, 0);
        EXPECT_EQ(info.lColorSource, expected.first);
        EXPECT_EQ(info.lColorResult, expected.second);
        EXPECT_EQ(info.lOrientation,
                  row.at("Orientation") == "-" ? 0 : std::stoi(row.at("Orientation")));
        const std::string shot = row.at("DateTimeOriginal");
        EXPECT_EQ(std::string(info.strDateTime.c_str()), shot == "-" ? "" : shot);
        ++seen[expected];
        ++compared;
        ASSERT_EQ(info.pTagDB != nullptr, row.at("ByteOrder") != "-" || icc > 0);
        if (info.pTagDB != nullptr) {
            EXPECT_EQ(TagText(info.pTagDB, kVxTagGroupExif, 0xA001), row.at("ColorSpace"));
            EXPECT_EQ(TagText(info.pTagDB, kVxTagGroupInterop, 0x0001), row.at("InteropIndex"));
            auto own = type == "JPEG" ? GetJfifICCProfile : GetTiffICCProfile;
            auto other = type == "JPEG" ? GetTiffICCProfile : GetJfifICCProfile;
            EXPECT_EQ(own(info.pTagDB, nullptr), icc);
            EXPECT_EQ(other(info.pTagDB, nullptr), 0);
            if (icc > 0) ExpectWholeProfile(own, info.pTagDB, icc);
        }
        EXPECT_EQ(service->DeleteImageHandle(handle), 1);
    }
    // Each classification the corpus can show was met at least once.
    EXPECT_GT((seen[{kFromMetadata, kSRGB}]), 0);
    EXPECT_GT((seen[{kFromJpegProfile, kProfile}]), 0);
    EXPECT_GT((seen[{kFromTiffProfile, kProfile}]), 0);
    EXPECT_GT((seen[{kFromMetadata, kNone}]), 0);
    EXPECT_EQ(compared, 42u);
}

}  // namespace
}  // namespace vxtest
