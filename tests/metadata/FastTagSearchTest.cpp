#include "metadata/FastTagSearch.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "metadata/CaseName.h"
#include "metadata/TiffBlock.h"

namespace {

using vxtest::ByteOrder;
using vxtest::TiffBlock;

constexpr uint16_t kOrientation = 0x0112;
constexpr uint16_t kSoftware = 0x0131;
constexpr uint16_t kDateTime = 0x0132;
constexpr uint16_t kCopyright = 0x8298;
constexpr uint16_t kDateOriginal = 0x9003;
constexpr uint16_t kDateDigitized = 0x9004;
constexpr uint16_t kColorSpace = 0xA001;

constexpr uint32_t kMark = 0xDEADBEEF;

// A value the reader never produces (type 7), to see which values a search left alone.
CUtilVariant Sentinel() {
    CUtilVariant v;
    v.set(CUtilVariant::kValue32, &kMark, 1);
    return v;
}

bool Untouched(const CUtilVariant& v) {
    return v.type() == CUtilVariant::kValue32 && v.count() == 1 && v.uintAt(0) == kMark;
}

struct Outcome {
    int32_t result;
    std::vector<CUtilVariant> values;
};

Outcome Search(const std::string& path, const std::vector<uint16_t>& tags) {
    Outcome out{0, std::vector<CUtilVariant>(tags.size(), Sentinel())};
    out.result = FastTagSearch(path.c_str(), tags.data(), uint32_t(tags.size()), out.values.data());
    return out;
}

// The bytes of host-order elements, as the variant should hold them.
std::string HostBytes(const std::vector<uint32_t>& words, int bytes) {
    std::string out;
    for (uint32_t w : words) {
        if (bytes == 1) out += char(w);
        if (bytes == 2) {
            const uint16_t h = uint16_t(w);
            out.append(reinterpret_cast<const char*>(&h), 2);
        }
        if (bytes == 4) out.append(reinterpret_cast<const char*>(&w), 4);
    }
    return out;
}

std::string Bytes(const CUtilVariant& v) {
    return std::string(reinterpret_cast<const char*>(v.data()), v.size());
}

class TagSearchFiles : public ::testing::Test {
protected:
    std::string put(const std::string& name, const std::string& bytes) {
        const std::string path = m_dir.file(name);
        vxtest::WriteFile(path, bytes);
        return path;
    }
    vxtest::ScratchDir m_dir;
};

// --- Every TIFF field type, in both byte orders --------------------------------------------------

struct FieldCase {
    const char* what;
    uint16_t tiffType;
    int unitBytes;  // bytes of each word in `words` (a rational is two 4-byte words)
    std::vector<uint32_t> words;
    CUtilVariant::Type variantType;
};

const FieldCase kFieldCases[] = {
    {"bytes inline", 1, 1, {1, 2, 255}, CUtilVariant::kByte},
    {"short text inline", 2, 1, {'H', 'i', 0}, CUtilVariant::kAscii},
    {"two shorts inline", 3, 2, {0x1234, 0xFFFF}, CUtilVariant::kShort},
    {"three shorts by offset", 3, 2, {8, 8, 16}, CUtilVariant::kShort},
    {"long inline", 4, 4, {0x89ABCDEF}, CUtilVariant::kLong},
    {"longs by offset", 4, 4, {1, 0x01020304}, CUtilVariant::kLong},
    {"rational", 5, 4, {72, 1}, CUtilVariant::kRational},
    {"signed byte", 6, 1, {0xFB}, CUtilVariant::kSByte},
    {"undefined bytes", 7, 1, {'0', '2', '2', '0'}, CUtilVariant::kUndefined},
    {"undefined by offset", 7, 1, {1, 2, 3, 4, 5}, CUtilVariant::kUndefined},
    {"signed short", 8, 2, {0xFFFE}, CUtilVariant::kSShort},
    {"signed long becomes a plain long", 9, 4, {0xFFFFFFF9}, CUtilVariant::kLong},
    {"signed rationals", 10, 4, {0xFFFFFFFF, 3, 5, 0xFFFFFFF8}, CUtilVariant::kSRational},
};

class FieldTypes : public TagSearchFiles, public ::testing::WithParamInterface<ByteOrder> {};

TEST_P(FieldTypes, EachFieldTypeBecomesItsVariantTypeInHostOrder) {
    TiffBlock block(GetParam());
    std::vector<uint16_t> tags;
    for (const FieldCase& c : kFieldCases) {
        const uint16_t tag = uint16_t(0x0100 + tags.size());
        const std::string stored = vxtest::Encode(block.order(), c.words, c.unitBytes);
        const uint32_t count = uint32_t(stored.size() / FtsGetTypeSize(c.tiffType));
        block.ifd0({tag, c.tiffType, count, stored});
        tags.push_back(tag);
    }
    const Outcome got = Search(put("types.tif", block.build()), tags);
    ASSERT_EQ(got.result, 1);
    for (size_t i = 0; i < tags.size(); ++i) {
        const FieldCase& c = kFieldCases[i];
        SCOPED_TRACE(c.what);
        const std::string expected = HostBytes(c.words, c.unitBytes);
        EXPECT_EQ(got.values[i].type(), c.variantType);
        EXPECT_EQ(got.values[i].count(),
                  expected.size() / CUtilVariant::ElementSize(c.variantType));
        EXPECT_EQ(Bytes(got.values[i]), expected);
    }
}

INSTANTIATE_TEST_SUITE_P(BothByteOrders, FieldTypes,
                         ::testing::Values(ByteOrder::kLittle, ByteOrder::kBig),
                         [](const auto& info) { return std::string(vxtest::Name(info.param)); });

// --- Where the directories sit, in TIFF files and in JPEG Exif blocks -------------------------

struct Layout {
    ByteOrder order;
    uint32_t gapBeforeIfd0;
    bool jpeg;
};

void PrintTo(const Layout& l, std::ostream* os) {
    *os << vxtest::Name(l.order) << " ifd0 at " << 8 + l.gapBeforeIfd0
        << (l.jpeg ? " jpeg" : " tiff");
}

class Layouts : public TagSearchFiles, public ::testing::WithParamInterface<Layout> {};

TEST_P(Layouts, FindsIfd0AndExifTagsAndLeavesAbsentOnesAlone) {
    const Layout layout = GetParam();
    TiffBlock block(layout.order, layout.gapBeforeIfd0);
    block.ifd0(block.shorts(0x0100, {640}))
        .ifd0(block.shorts(kOrientation, {6}))
        .ifd0(TiffBlock::ascii(kDateTime, "2008:07:31 10:38:11"))
        .exif(TiffBlock::ascii(kDateOriginal, "2008:05:30 15:56:01"))
        .exif(block.shorts(kColorSpace, {0xFFFF}))
        .exif(block.longs(0xA002, {100}));
    const std::string tiff = block.build();
    const std::string path = layout.jpeg
                                 ? put("photo.jpg", vxtest::Jpeg({vxtest::Segment(0xE0, "JFIF"),
                                                                  vxtest::Segment(0xFE, "comment"),
                                                                  vxtest::ExifSegment(tiff)}))
                                 : put("photo.tiff", tiff);

    const Outcome got = Search(
        path, {kOrientation, kDateOriginal, kSoftware, kDateTime, kDateDigitized, kColorSpace});
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.values[0].type(), CUtilVariant::kShort);
    EXPECT_EQ(got.values[0].uintAt(0), 6u);
    EXPECT_STREQ(got.values[1].text(), "2008:05:30 15:56:01");
    EXPECT_TRUE(Untouched(got.values[2]));
    EXPECT_STREQ(got.values[3].text(), "2008:07:31 10:38:11");
    EXPECT_TRUE(Untouched(got.values[4]));
    EXPECT_EQ(got.values[5].uintAt(0), 0xFFFFu);
}

INSTANTIATE_TEST_SUITE_P(
    AllPlacements, Layouts,
    ::testing::Values(Layout{ByteOrder::kLittle, 0, false}, Layout{ByteOrder::kBig, 0, false},
                      Layout{ByteOrder::kLittle, 5000, false}, Layout{ByteOrder::kBig, 5000, false},
                      Layout{ByteOrder::kLittle, 0, true}, Layout{ByteOrder::kBig, 0, true},
                      Layout{ByteOrder::kBig, 300, true}),
    [](const auto& info) {
        return std::string(vxtest::Name(info.param.order)) + "_ifd0At" +
               std::to_string(8 + info.param.gapBeforeIfd0) + (info.param.jpeg ? "_jpeg" : "_tiff");
    });

// --- Rules and hostile files, as TIFF blocks
// ------------------------------------------------------

struct BlockCase {
    const char* what;
    std::string (*make)();  // the file's bytes
    std::vector<uint16_t> tags;
    int32_t result;
    std::vector<bool> found;  // per tag: false = the value is left as it was
};

TiffBlock Little(uint32_t gap = 0) {
    return TiffBlock(ByteOrder::kLittle, gap);
}

std::string WithOrientation() {
    return Little().ifd0(Little().shorts(kOrientation, {3})).build();
}

// A block that says it is little-endian by any mark other than "MM" is read as little-endian.
std::string OddByteOrderMark() {
    std::string b = WithOrientation();
    b[0] = 'x';
    b[1] = 'y';
    return b;
}

std::string HighTagInIfd0() {
    return Little().ifd0(TiffBlock::ascii(kCopyright, "me")).build();
}

std::string Tag8000InIfd0() {
    return Little().ifd0(Little().shorts(0x8000, {7})).build();
}

std::string EmptyIfd0() {
    std::string b = WithOrientation();
    b[8] = b[9] = 0;  // entry count 0
    return b;
}

std::string UnknownFieldType() {
    return Little().ifd0(TiffBlock::raw(kOrientation, 13, 1, 8)).build();
}

std::string ZeroCount() {
    return Little().ifd0(TiffBlock::raw(kOrientation, 3, 0, 0)).build();
}

std::string ExifPointerToIfd0Itself() {
    return Little().ifd0(TiffBlock::raw(TiffBlock::kExifPointer, 4, 1, 8)).build();
}

// Twelve text bytes whose offset names the entry that describes them.
std::string ValueOffsetIntoItsOwnEntry() {
    const TiffBlock b = Little();
    return Little().ifd0(TiffBlock::raw(kSoftware, 2, 12, b.ifd0EntryOffset(0))).build();
}

std::string Ifd0OffsetPastEnd() {
    std::string b = Little(100).ifd0(Little().shorts(kOrientation, {1})).build();
    b[4] = char(0xF0);  // IFD0 offset 0x...F0 far beyond the file
    b[7] = 0x10;
    return b;
}

std::string Ifd0CountBeyondEnd() {
    std::string b = WithOrientation();
    b[8] = char(0xFF);  // 0xFFFF entries in a file of one
    b[9] = char(0xFF);
    return b;
}

std::string Ifd0CountBeyondEndAfterData() {
    std::string b = Little(64).ifd0(Little().shorts(kOrientation, {1})).build();
    b[72] = 0x40;  // 0x0040 entries
    return b;
}

std::string ValueOffsetPastEnd() {
    return Little().ifd0(TiffBlock::raw(kDateTime, 2, 20, 0x7FFFFFF0)).build();
}

std::string ValueRunsPastEnd() {
    const std::string b = Little().ifd0(TiffBlock::raw(kDateTime, 2, 20, 0)).build();
    return Little().ifd0(TiffBlock::raw(kDateTime, 2, 20, uint32_t(b.size() - 10))).build();
}

// Counts whose byte size wraps around 32 bits: a reader computing the size in 32 bits would
// take the 4-byte field for gigabytes of elements.
std::string RationalCountOfFourGigabytes() {
    return Little().ifd0(TiffBlock::raw(0x011A, 5, 0x20000000, 0)).build();
}

std::string ExifPointerPastEnd() {
    return Little()
        .ifd0(Little().shorts(kOrientation, {8}))
        .ifd0(TiffBlock::raw(TiffBlock::kExifPointer, 4, 1, 0x00100000))
        .build();
}

std::string ExifCountBeyondEnd() {
    std::string b = Little().ifd0(Little().shorts(kOrientation, {8})).build();
    const uint32_t exifAt = uint32_t(b.size());
    b = Little()
            .ifd0(Little().shorts(kOrientation, {8}))
            .ifd0(TiffBlock::raw(TiffBlock::kExifPointer, 4, 1, exifAt + 12))
            .build();
    return b + std::string("\x30\x00", 2);  // 48 entries announced, none follow
}

std::string TruncatedHead() {
    return std::string("II*\0\x08", 5);
}

const BlockCase kBlockCases[] = {
    {"odd byte-order mark reads as little-endian", OddByteOrderMark, {kOrientation}, 1, {true}},
    {"exif tag without exif directory", WithOrientation, {kDateOriginal}, 0, {false}},
    {"ifd0 tag found, exif tag absent",
     WithOrientation,
     {kDateOriginal, kOrientation},
     1,
     {false, true}},
    {"tags above 0x8000 are never taken from ifd0", HighTagInIfd0, {kCopyright}, 0, {false}},
    {"tag 0x8000 is taken from ifd0", Tag8000InIfd0, {0x8000}, 1, {true}},
    {"empty ifd0", EmptyIfd0, {kOrientation, kColorSpace}, 0, {false, false}},
    {"unknown field type over a value that exists", UnknownFieldType, {kOrientation}, 1, {false}},
    {"zero count keeps its type", ZeroCount, {kOrientation}, 1, {true}},
    {"exif pointer naming ifd0 itself",
     ExifPointerToIfd0Itself,
     {kDateOriginal, TiffBlock::kExifPointer},
     1,
     {false, true}},
    {"value offset into its own entry", ValueOffsetIntoItsOwnEntry, {kSoftware}, 1, {true}},
    {"ifd0 offset past the end", Ifd0OffsetPastEnd, {kOrientation}, -1, {false}},
    {"ifd0 count beyond the end", Ifd0CountBeyondEnd, {kOrientation}, -1, {false}},
    {"ifd0 count beyond the end, ifd0 after data",
     Ifd0CountBeyondEndAfterData,
     {kOrientation},
     -1,
     {false}},
    {"value offset past the end", ValueOffsetPastEnd, {kDateTime}, -1, {false}},
    {"value running past the end", ValueRunsPastEnd, {kDateTime}, -1, {false}},
    {"rational count of 4 GB", RationalCountOfFourGigabytes, {0x011A}, -1, {false}},
    {"exif pointer past the end, exif tag asked",
     ExifPointerPastEnd,
     {kOrientation, kColorSpace},
     -1,
     {true, false}},
    {"exif pointer past the end, only ifd0 asked", ExifPointerPastEnd, {kOrientation}, 1, {true}},
    {"exif count beyond the end", ExifCountBeyondEnd, {kColorSpace}, -1, {false}},
    {"head of 5 bytes", TruncatedHead, {kOrientation}, -1, {false}},
};

void PrintTo(const BlockCase& c, std::ostream* os) {
    *os << c.what;
}

class BlockRules : public TagSearchFiles, public ::testing::WithParamInterface<BlockCase> {};

TEST_P(BlockRules, AnswersAndLeavesValuesAsTheRulesSay) {
    const BlockCase& c = GetParam();
    const Outcome got = Search(put("case.tif", c.make()), c.tags);
    EXPECT_EQ(got.result, c.result);
    for (size_t i = 0; i < c.tags.size(); ++i)
        EXPECT_EQ(!Untouched(got.values[i]), c.found[i]) << "tag 0x" << std::hex << c.tags[i];
}

INSTANTIATE_TEST_SUITE_P(Cases, BlockRules, ::testing::ValuesIn(kBlockCases),
                         [](const auto& info) { return vxtest::CaseName(info.param.what); });

TEST_F(TagSearchFiles, UnknownFieldTypeIntoAnEmptyValueFails) {
    const std::string path = put("t.tif", UnknownFieldType());
    const uint16_t tag = kOrientation;
    CUtilVariant value;
    EXPECT_EQ(FastTagSearch(path.c_str(), &tag, 1, &value), -1);
    EXPECT_EQ(value.type(), CUtilVariant::kEmpty);
}

TEST_F(TagSearchFiles, ValuesThatPointIntoTheDirectoryReadWhatIsThere) {
    const Outcome self = Search(put("s.tif", ValueOffsetIntoItsOwnEntry()), {kSoftware});
    ASSERT_EQ(self.values[0].size(), 12u);
    EXPECT_EQ(Bytes(self.values[0]), ValueOffsetIntoItsOwnEntry().substr(10, 12));

    // The Exif pointer read as an Exif tag: the directory it names is IFD0, where it lives.
    const Outcome loop = Search(put("l.tif", ExifPointerToIfd0Itself()), {TiffBlock::kExifPointer});
    EXPECT_EQ(loop.values[0].uintAt(0), 8u);
}

// Long values around and beyond the size of one read: the date stored after the long text is
// read correctly whether it lies inside, across or past what was read before.
TEST_F(TagSearchFiles, LongValuesAndTheValuesBehindThem) {
    for (size_t length : {100u, 4000u, 4050u, 4100u, 6000u, 20000u}) {
        SCOPED_TRACE(length);
        std::string text(length, ' ');
        for (size_t i = 0; i < length; ++i)
            text[i] = char('a' + i % 26);
        const std::string path =
            put("long.tif", Little()
                                .ifd0(TiffBlock::ascii(kSoftware, text))
                                .ifd0(TiffBlock::ascii(kDateTime, "2001:02:03 04:05:06"))
                                .build());
        const Outcome got = Search(path, {kDateTime, kSoftware});
        ASSERT_EQ(got.result, 1);
        EXPECT_STREQ(got.values[0].text(), "2001:02:03 04:05:06");
        EXPECT_EQ(got.values[1].text(), text);
    }
}

// --- JPEG segment walk -------------------------------------------------------------------------

std::string ExifTiff() {
    TiffBlock b(ByteOrder::kBig);
    return b.ifd0(b.shorts(kOrientation, {5})).build();
}

struct JpegCase {
    const char* what;
    std::string bytes;
    int32_t result;
    bool found;
};

std::vector<JpegCase> JpegCases() {
    using vxtest::Jpeg;
    using vxtest::Segment;
    const std::string exif = vxtest::ExifSegment(ExifTiff());
    const std::string app0 = Segment(0xE0, std::string("JFIF\0\1\1", 7));
    const std::string soi("\xFF\xD8", 2);
    return {
        {"APP0 and COM before Exif", Jpeg({app0, Segment(0xFE, "hello"), exif}), 1, true},
        {"Exif right after the start", Jpeg({exif}), 1, true},
        {"empty comment before Exif", Jpeg({Segment(0xFE, ""), app0, exif}), 1, true},
        {"APP2 before Exif", Jpeg({app0, Segment(0xE2, "ICC_PROFILE"), exif}), 1, false},
        {"quantisation table first", Jpeg({Segment(0xDB, "q"), exif}), 1, false},
        {"XMP APP1 before Exif", Jpeg({Segment(0xE1, "http://ns.adobe.com/xap/1.0/"), exif}), 1,
         false},
        {"no Exif at all", Jpeg({app0}), 1, false},
        {"start marker only", soi, -1, false},
        {"one byte", std::string("\xFF", 1), -1, false},
        {"no bytes", std::string(), -1, false},
        {"wrong start marker", std::string("\xFF\xD9\xFF\xE1", 4) + exif, -1, false},
        {"PNG signature", std::string("\x89PNG\r\n\x1A\n", 8), -1, false},
        {"APP0 length 0 lands off a marker", soi + std::string("\xFF\xE0\x00\x00", 4) + exif, -1,
         false},
        {"APP0 length beyond the end", soi + std::string("\xFF\xE0\xFF\xF0JFIF", 8), -1, false},
        {"marker cut after its first byte", soi + app0 + "\xFF", -1, false},
        {"Exif identifier cut short",
         soi + std::string("\xFF\xE1\x00\x10"
                           "Exi",
                           7),
         -1, false},
        {"TIFF head cut short",
         soi + std::string("\xFF\xE1\x00\x10"
                           "Exif\0\0II*",
                           13),
         -1, false},
    };
}

void PrintTo(const JpegCase& c, std::ostream* os) {
    *os << c.what;
}

class JpegWalk : public TagSearchFiles, public ::testing::WithParamInterface<JpegCase> {};

TEST_P(JpegWalk, ReachesExifOnlyThroughApp0AndComments) {
    const JpegCase& c = GetParam();
    const Outcome got = Search(put("case.jpg", c.bytes), {kOrientation});
    EXPECT_EQ(got.result, c.result);
    EXPECT_EQ(!Untouched(got.values[0]), c.found);
    if (c.found) {
        EXPECT_EQ(got.values[0].uintAt(0), 5u);
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, JpegWalk, ::testing::ValuesIn(JpegCases()),
                         [](const auto& info) { return vxtest::CaseName(info.param.what); });

// --- Names, paths and arguments -------------------------------------------------------------

TEST_F(TagSearchFiles, FileKindComesFromTheNameAlone) {
    const std::string tiff = put("real.tif", WithOrientation());
    struct {
        std::string name;
        int32_t result;
    } const cases[] = {
        {"photo.png", 1},     // never opened: it does not exist
        {"noextension", 1},   //
        {"photo.JPG", -1},    // a JPEG by name that cannot be opened
        {"photo.jpe", -1},    //
        {"photo.jfif", -1},   //
        {"scan.TIFF", -1},    //
        {"real.tif.png", 1},  // only the last extension counts
    };
    for (const auto& c : cases)
        EXPECT_EQ(Search(m_dir.file(c.name), {kOrientation}).result, c.result) << c.name;
    EXPECT_EQ(Search(tiff, {kOrientation}).result, 1);
}

TEST_F(TagSearchFiles, AFolderNamedLikeAJpegCannotBeOpened) {
    ASSERT_EQ(::mkdir(m_dir.file("folder.jpg").c_str(), 0755), 0);
    EXPECT_EQ(Search(m_dir.file("folder.jpg"), {kOrientation}).result, -1);
}

TEST_F(TagSearchFiles, AnUnreadableFileCannotBeOpened) {
    if (::geteuid() == 0) GTEST_SKIP() << "permissions do not stop the superuser";
    const std::string locked = put("locked.tif", WithOrientation());
    ASSERT_EQ(::chmod(locked.c_str(), 0), 0);
    const Outcome got = Search(locked, {kOrientation});
    EXPECT_EQ(got.result, -1);
    EXPECT_TRUE(Untouched(got.values[0]));
}

TEST_F(TagSearchFiles, NullArgumentsFailAndNoTagsFindNothing) {
    const std::string path = put("a.tif", WithOrientation());
    const uint16_t tag = kOrientation;
    CUtilVariant value;
    EXPECT_EQ(FastTagSearch(nullptr, &tag, 1, &value), -1);
    EXPECT_EQ(FastTagSearch(path.c_str(), nullptr, 1, &value), -1);
    EXPECT_EQ(FastTagSearch(path.c_str(), &tag, 1, nullptr), -1);
    EXPECT_EQ(FastTagSearch(path.c_str(), nullptr, 0, nullptr), 0);
}

// --- Pieces ------------------------------------------------------------------------------------

// Directories of every size up to 40 with tags 10, 20, 30, ...: every present tag is found with
// its type and count converted, every tag between, before and after them is absent.
TEST(FtsPieces, BinarySearchFindsExactlyThePresentTags) {
    for (ByteOrder order : {ByteOrder::kLittle, ByteOrder::kBig}) {
        const uint16_t mark = order == ByteOrder::kBig ? kFtsOrderMotorola : 0x4949;
        for (uint32_t n = 1; n <= 40; ++n) {
            std::string raw;
            for (uint32_t i = 1; i <= n; ++i)
                raw += vxtest::Encode(order, 10 * i, 2) + vxtest::Encode(order, 3, 2) +
                       vxtest::Encode(order, i, 4) + std::string("\x01\x02\x03\x04", 4);
            std::vector<tagFTSTAG> entries(n);
            std::memcpy(entries.data(), raw.data(), raw.size());
            tagFTSHEAD head{};
            head.wOrder = mark;
            const std::string count = vxtest::Encode(order, n, 2);
            std::memcpy(&head.wEntryCount, count.data(), 2);

            for (uint16_t wanted = 0; wanted <= 10 * n + 15; wanted += 5) {
                tagFTSTAG tag{};
                tag.wTag = wanted;
                const bool present = wanted % 10 == 0 && wanted >= 10 && wanted <= 10 * n;
                ASSERT_EQ(FtsGetTag(&head, entries.data(), tag), present ? wanted : 0)
                    << "n=" << n << " tag=" << wanted;
                if (!present) continue;
                EXPECT_EQ(tag.wType, 3);
                EXPECT_EQ(tag.lCount, wanted / 10u);
                EXPECT_EQ(std::memcmp(&tag.lValue, "\x01\x02\x03\x04", 4), 0);
            }
        }
    }
    tagFTSHEAD empty{};
    tagFTSTAG tag{};
    tag.wTag = 1;
    EXPECT_EQ(FtsGetTag(&empty, nullptr, tag), 0);
}

}  // namespace
