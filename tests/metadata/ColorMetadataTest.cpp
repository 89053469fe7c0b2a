#include "metadata/ColorMetadata.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "metadata/CaseName.h"
#include "vandrel/Variant.h"

namespace {

constexpr int32_t kApp2 = kVxTagGroupApp2;
constexpr int32_t kIfd0 = kVxTagGroupIfd0;
constexpr int32_t kExif = kVxTagGroupExif;
constexpr int32_t kInterop = kVxTagGroupInterop;

// A tag database held in a map, as a codec plug-in would serve one; the count of a group can
// be forced to something other than the number of its values.
class FakeTagDB : public IUTagDB {
public:
    void Delete() override {}
    int32_t Load(const char*) override { return 1; }
    int32_t GetTagValue(int32_t group, int32_t tag, CUtilVariant& value) override {
        ++reads;
        auto it = m_values.find({group, tag});
        if (it == m_values.end()) return 0;
        value = it->second;
        return 1;
    }
    int32_t SetTagValue(int32_t group, int32_t tag, const CUtilVariant& value) override {
        m_values[{group, tag}] = value;
        return 1;
    }
    int32_t RemoveTag(int32_t group, int32_t tag) override {
        return int32_t(m_values.erase({group, tag}));
    }
    int32_t GetTagId(int32_t, int32_t) override { return 0; }
    void Clear() override { m_values.clear(); }
    int32_t GetGroupCount() override { return 0; }
    int32_t GetTagCount(int32_t group) override {
        auto forced = m_forcedCounts.find(group);
        if (forced != m_forcedCounts.end()) return forced->second;
        int32_t n = 0;
        for (const auto& entry : m_values)
            n += entry.first.first == group;
        return n;
    }

    void set(int32_t group, int32_t tag, CUtilVariant::Type type, const std::string& bytes,
             uint32_t count) {
        CUtilVariant v;
        v.set(type, bytes.data(), count);
        SetTagValue(group, tag, v);
    }
    void text(int32_t group, int32_t tag, const std::string& s) {
        set(group, tag, CUtilVariant::kAscii, s, uint32_t(s.size()));
    }
    void shortValue(int32_t group, int32_t tag, uint16_t value) {
        set(group, tag, CUtilVariant::kShort, std::string(reinterpret_cast<char*>(&value), 2), 1);
    }
    void addApp2(const std::string& segment) {
        set(kApp2, GetTagCount(kApp2), CUtilVariant::kUndefined, segment, uint32_t(segment.size()));
    }
    void forceCount(int32_t group, int32_t count) { m_forcedCounts[group] = count; }

    int reads = 0;

private:
    std::map<std::pair<int32_t, int32_t>, CUtilVariant> m_values;
    std::map<int32_t, int32_t> m_forcedCounts;
};

// An APP2 value: segment length, identifier, sequence number, piece count, payload; `total`
// bytes in all.
std::string IccSegment(size_t total, char fill, int sequence = 1, int pieces = 1) {
    const std::string head = std::string("\0\0ICC_PROFILE\0", 14) + char(sequence) + char(pieces);
    return head + std::string(total - head.size(), fill);
}

TEST(JfifIccProfile, PiecesAreJoinedInIndexOrderWithoutTheirHeads) {
    FakeTagDB db;
    db.addApp2(IccSegment(60000, 'a', 1, 2));
    db.addApp2(IccSegment(1000, 'b', 2, 2));
    EXPECT_EQ(GetJfifICCProfile(&db, nullptr), 60968);

    std::vector<char> buffer(60968 + 1, '#');
    ASSERT_EQ(GetJfifICCProfile(&db, buffer.data()), 60968);
    EXPECT_EQ(std::string(buffer.begin(), buffer.begin() + 59984), std::string(59984, 'a'));
    EXPECT_EQ(std::string(buffer.begin() + 59984, buffer.end() - 1), std::string(984, 'b'));
    EXPECT_EQ(buffer.back(), '#');
}

struct JfifCase {
    const char* what;
    std::vector<std::string> segments;
    int32_t forcedCount;  // -2: the real count
    int32_t expected;
};

const std::string kFpxr = std::string("\0\0FPXR\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 20);

const JfifCase kJfifCases[] = {
    {"no APP2 segment", {}, -2, 0},
    {"one piece", {IccSegment(100, 'x')}, -2, 84},
    {"sequence numbers are not checked",
     {IccSegment(40, 'x', 7, 1), IccSegment(40, 'y', 7, 1)},
     -2,
     48},
    {"a foreign segment last cancels the profile", {IccSegment(100, 'x'), kFpxr}, -2, 0},
    {"a foreign segment first cancels the profile", {kFpxr, IccSegment(100, 'x')}, -2, 0},
    {"a piece of only its 16-byte head", {IccSegment(16, 'x')}, -2, 0},
    {"a piece of one byte", {IccSegment(17, 'x')}, -2, 1},
    {"a count beyond the segments there are", {IccSegment(100, 'x')}, 2, 0},
    {"a negative count", {IccSegment(100, 'x')}, -1, 0},
    {"only the low 16 bits of the count", {IccSegment(100, 'x')}, 0x10001, 84},
    {"the low 16 bits of the count are zero", {IccSegment(100, 'x')}, 0x10000, 0},
};

void PrintTo(const JfifCase& c, std::ostream* os) {
    *os << c.what;
}

class JfifCases : public ::testing::TestWithParam<JfifCase> {};

TEST_P(JfifCases, MeasuresTheProfile) {
    const JfifCase& c = GetParam();
    FakeTagDB db;
    for (const std::string& s : c.segments)
        db.addApp2(s);
    if (c.forcedCount != -2) db.forceCount(kApp2, c.forcedCount);
    EXPECT_EQ(GetJfifICCProfile(&db, nullptr), c.expected);
}

INSTANTIATE_TEST_SUITE_P(Cases, JfifCases, ::testing::ValuesIn(kJfifCases),
                         [](const auto& info) { return vxtest::CaseName(info.param.what); });

TEST(TiffIccProfile, SizeIsElementSizeTimesCountAndTheBytesAreCopied) {
    FakeTagDB db;
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

struct SrgbCase {
    const char* what;
    void (*fill)(FakeTagDB&);
    int32_t expected;
};

const SrgbCase kSrgbCases[] = {
    {"nothing", [](FakeTagDB&) {}, 0},
    {"interop R98", [](FakeTagDB& db) { db.text(kInterop, 1, "R98"); }, 1},
    {"interop R98 counting its zero",
     [](FakeTagDB& db) { db.set(kInterop, 1, CUtilVariant::kAscii, std::string("R98\0", 4), 4); },
     1},
    {"interop R98 stored as undefined bytes",
     [](FakeTagDB& db) { db.set(kInterop, 1, CUtilVariant::kUndefined, "R98", 3); }, 0},
    {"interop R980", [](FakeTagDB& db) { db.text(kInterop, 1, "R980"); }, 0},
    {"interop R98 in the Exif group", [](FakeTagDB& db) { db.text(kExif, 1, "R98"); }, 0},
    {"interop R03 and colour space 1",
     [](FakeTagDB& db) {
         db.text(kInterop, 1, "R03");
         db.shortValue(kExif, 0xA001, 1);
     },
     1},
    {"interop R03 and colour space uncalibrated",
     [](FakeTagDB& db) {
         db.text(kInterop, 1, "R03");
         db.shortValue(kExif, 0xA001, 0xFFFF);
     },
     0},
    {"colour space 1 alone", [](FakeTagDB& db) { db.shortValue(kExif, 0xA001, 1); }, 1},
    {"colour space 1 as a long",
     [](FakeTagDB& db) {
         const uint32_t one = 1;
         db.set(kExif, 0xA001, CUtilVariant::kLong,
                std::string(reinterpret_cast<const char*>(&one), 4), 1);
     },
     0},
    {"colour space without elements",
     [](FakeTagDB& db) { db.set(kExif, 0xA001, CUtilVariant::kShort, "", 0); }, 0},
    {"colour space 1 in IFD0", [](FakeTagDB& db) { db.shortValue(kIfd0, 0xA001, 1); }, 0},
};

void PrintTo(const SrgbCase& c, std::ostream* os) {
    *os << c.what;
}

class SrgbCases : public ::testing::TestWithParam<SrgbCase> {};

TEST_P(SrgbCases, DeclaresSrgbOnlyByInteropIndexOrColourSpace) {
    FakeTagDB db;
    GetParam().fill(db);
    EXPECT_EQ(IsEXIFsRGB(&db), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Cases, SrgbCases, ::testing::ValuesIn(kSrgbCases),
                         [](const auto& info) { return vxtest::CaseName(info.param.what); });

TEST(ColorMetadata, NoDatabaseAnswersZero) {
    char buffer[4];
    EXPECT_EQ(GetJfifICCProfile(nullptr, buffer), 0);
    EXPECT_EQ(GetTiffICCProfile(nullptr, buffer), 0);
    EXPECT_EQ(IsEXIFsRGB(nullptr), 0);
}

}  // namespace
