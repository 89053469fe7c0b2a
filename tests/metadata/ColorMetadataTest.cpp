#include "metadata/ColorMetadata.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "metadata/MapTagDB.h"
#include "vandrel/Variant.h"

namespace {

using vxtest::MapTagDB;

constexpr int32_t kApp2 = kVxTagGroupApp2;
constexpr int32_t kIfd0 = kVxTagGroupIfd0;
constexpr int32_t kExif = kVxTagGroupExif;
constexpr int32_t kInterop = kVxTagGroupInterop;

// An APP2 value: segment length, identifier, sequence number, piece count, payload; `total`
// bytes in all.
std::string IccSegment(size_t total, char fill, int sequence = 1, int pieces = 1) {
    const std::string head = std::string("\0\0ICC_PROFILE\0", 14) + char(sequence) + char(pieces);
    return head + std::string(total - head.size(), fill);
}

TEST(JfifIccProfile, PiecesAreJoinedInIndexOrderWithoutTheirHeads) {
    MapTagDB db;
    db.addApp2(IccSegment(60000, 'a', 1, 2));
    db.addApp2(IccSegment(1000, 'b', 2, 2));
    EXPECT_EQ(GetJfifICCProfile(&db, nullptr), 60968);

    std::vector<char> buffer(60968 + 1, '#');
    ASSERT_EQ(GetJfifICCProfile(&db, buffer.data()), 60968);
    EXPECT_EQ(std::string(buffer.begin(), buffer.begin() + 59984), std::string(59984, 'a'));
    EXPECT_EQ(std::string(buffer.begin() + 59984, buffer.end() - 1), std::string(984, 'b'));
    EXPECT_EQ(buffer.back(), '#');
}

const std::string kFpxr = std::string("\0\0FPXR", 6) + std::string(14, '\0');

TEST(JfifIccProfile, MeasuresTheProfile) {
    const struct {
        const char* what;
        std::vector<std::string> segments;
        int32_t forcedCount;  // -2: the real count
        int32_t expected;
    } cases[] = {
        {"no APP2 segment", {}, -2, 0},
        {"one piece", {IccSegment(100, 'x')}, -2, 84},
        {"no sequence check", {IccSegment(40, 'x', 7, 1), IccSegment(40, 'y', 7, 1)}, -2, 48},
        {"a foreign segment last cancels", {IccSegment(100, 'x'), kFpxr}, -2, 0},
        {"a foreign segment first cancels", {kFpxr, IccSegment(100, 'x')}, -2, 0},
        {"a piece of only its 16-byte head", {IccSegment(16, 'x')}, -2, 0},
        {"a piece of one byte", {IccSegment(17, 'x')}, -2, 1},
        {"a count beyond the segments", {IccSegment(100, 'x')}, 2, 0},
        {"a negative count", {IccSegment(100, 'x')}, -1, 0},
        {"only the low 16 bits of the count", {IccSegment(100, 'x')}, 0x10001, 84},
        {"low 16 bits of the count zero", {IccSegment(100, 'x')}, 0x10000, 0},
    };
    for (const auto& c : cases) {
        MapTagDB db;
        for (const std::string& s : c.segments)
            db.addApp2(s);
        if (c.forcedCount != -2) db.forceCount(kApp2, c.forcedCount);
        EXPECT_EQ(GetJfifICCProfile(&db, nullptr), c.expected) << c.what;
    }
}

TEST(TiffIccProfile, SizeIsElementSizeTimesCountAndTheBytesAreCopied) {
    MapTagDB db;
    EXPECT_EQ(GetTiffICCProfile(&db, nullptr), 0);

    const std::string profile = "0123456789abcdef";
    db.set(kIfd0, 0x8773, CUtilVariant::kUndefined, profile, 16);
    char buffer[17] = {};
    EXPECT_EQ(GetTiffICCProfile(&db, nullptr), 16);
    EXPECT_EQ(GetTiffICCProfile(&db, buffer), 16);
    EXPECT_EQ(std::string(buffer), profile);

    db.set(kIfd0, 0x8773, CUtilVariant::kLong, profile, 3);  // stored as longs: 12 bytes
    EXPECT_EQ(GetTiffICCProfile(&db, nullptr), 12);

    db.set(kExif, 0x8773, CUtilVariant::kUndefined, profile, 16);  // only IFD0 counts
    db.RemoveTag(kIfd0, 0x8773);
    EXPECT_EQ(GetTiffICCProfile(&db, nullptr), 0);
}

TEST(ExifSrgb, DeclaredOnlyByInteropIndexOrColourSpace) {
    const struct {
        const char* what;
        void (*fill)(MapTagDB&);
        int32_t expected;
    } cases[] = {
        {"nothing", [](auto&) {}, 0},
        {"interop R98", [](auto& d) { d.text(kInterop, 1, "R98"); }, 1},
        {"R98 with its zero",
         [](auto& d) {
             d.set(kInterop, 1, CUtilVariant::kAscii, {"R98", 4}, 4);
         },
         1},
        {"interop R98 as undefined bytes",
         [](auto& d) { d.set(kInterop, 1, CUtilVariant::kUndefined, "R98", 3); }, 0},
        {"interop R980", [](auto& d) { d.text(kInterop, 1, "R980"); }, 0},
        {"interop R98 in the Exif group", [](auto& d) { d.text(kExif, 1, "R98"); }, 0},
        {"R03, colour space 1",
         [](auto& d) { d.text(kInterop, 1, "R03"), d.shortValue(kExif, 0xA001, 1); }, 1},
        {"R03, uncalibrated",
         [](auto& d) { d.text(kInterop, 1, "R03"), d.shortValue(kExif, 0xA001, 0xFFFF); }, 0},
        {"colour space 1 alone", [](auto& d) { d.shortValue(kExif, 0xA001, 1); }, 1},
        {"1 as a long",
         [](auto& d) {
             d.set(kExif, 0xA001, CUtilVariant::kLong, {"\1\0\0", 4}, 1);
         },
         0},
        {"colour space without elements",
         [](auto& d) { d.set(kExif, 0xA001, CUtilVariant::kShort, "", 0); }, 0},
        {"colour space 1 in IFD0", [](auto& d) { d.shortValue(kIfd0, 0xA001, 1); }, 0},
    };
    for (const auto& c : cases) {
        MapTagDB db;
        c.fill(db);
        EXPECT_EQ(IsEXIFsRGB(&db), c.expected) << c.what;
    }
}

TEST(ColorMetadata, NoDatabaseAnswersZero) {
    char buffer[4];
    EXPECT_EQ(GetJfifICCProfile(nullptr, buffer), 0);
    EXPECT_EQ(GetTiffICCProfile(nullptr, buffer), 0);
    EXPECT_EQ(IsEXIFsRGB(nullptr), 0);
}

}  // namespace
