#include "metadata/FastTagSearch.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "metadata/TiffBlock.h"

namespace {

using vxtest::ByteOrder;
using vxtest::TiffBlock;
using vxtest::TiffField;

constexpr uint16_t kOrientation = 0x0112;
constexpr uint16_t kSoftware = 0x0131;
constexpr uint16_t kDateTime = 0x0132;
constexpr uint16_t kCopyright = 0x8298;
constexpr uint16_t kDateOriginal = 0x9003;
constexpr uint16_t kDateDigitized = 0x9004;
constexpr uint16_t kColorSpace = 0xA001;
constexpr uint32_t kMark = 0xDEADBEEF;

// Values start as a type the reader never produces, to see which ones a search left alone.
bool Untouched(const CUtilVariant& v) {
    return v.type() == CUtilVariant::kValue32 && v.count() == 1 && v.uintAt(0) == kMark;
}

struct Outcome {
    int32_t result;
    std::vector<CUtilVariant> values;
};

Outcome Search(const std::string& path, const std::vector<uint16_t>& tags) {
    CUtilVariant sentinel;
    sentinel.set(CUtilVariant::kValue32, &kMark, 1);
    Outcome out{0, std::vector<CUtilVariant>(tags.size(), sentinel)};
    out.result = FastTagSearch(path.c_str(), tags.data(), uint32_t(tags.size()), out.values.data());
    return out;
}

std::string Bytes(const CUtilVariant& v) {
    return std::string(reinterpret_cast<const char*>(v.data()), v.size());
}

class TagSearchFiles : public ::testing::Test {
protected:
    std::string put(const std::string& name, const std::string& bytes) {
        vxtest::WriteFile(m_dir.file(name), bytes);
        return m_dir.file(name);
    }
    // found: per tag, false = the value is left as it was.
    void Expect(const char* what, const std::string& bytes, const std::vector<uint16_t>& tags,
                int32_t result, const std::vector<bool>& found) {
        const Outcome got = Search(put("case.tif", bytes), tags);
        EXPECT_EQ(got.result, result) << what;
        for (size_t i = 0; i < tags.size(); ++i)
            EXPECT_EQ(!Untouched(got.values[i]), found[i])
                << what << ", tag 0x" << std::hex << tags[i];
    }
    vxtest::ScratchDir m_dir;
};

// Every TIFF field type, in both byte orders, becomes its variant type in host order.
TEST_F(TagSearchFiles, EachFieldTypeBecomesItsVariantTypeInHostOrder) {
    const struct {
        const char* what;
        uint16_t tiffType;
        int unitBytes;  // bytes of each word (a rational is two 4-byte words)
        std::vector<uint32_t> words;
        CUtilVariant::Type variantType;
    } cases[] = {
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
    for (ByteOrder order : {ByteOrder::kLittle, ByteOrder::kBig}) {
        TiffBlock block(order);
        std::vector<uint16_t> tags;
        for (const auto& c : cases) {
            const std::string stored = vxtest::Encode(order, c.words, c.unitBytes);
            tags.push_back(uint16_t(0x0100 + tags.size()));
            block.ifd0({tags.back(), c.tiffType,
                        uint32_t(stored.size() / FtsGetTypeSize(c.tiffType)), stored});
        }
        const Outcome got = Search(put("types.tif", block.build()), tags);
        ASSERT_EQ(got.result, 1);
        for (size_t i = 0; i < tags.size(); ++i) {
            const auto& c = cases[i];
            SCOPED_TRACE(std::string(c.what) + (order == ByteOrder::kBig ? " MM" : " II"));
            std::string expected;  // the words in host order
            for (uint32_t w : c.words)
                expected.append(reinterpret_cast<const char*>(&w), size_t(c.unitBytes));
            EXPECT_EQ(got.values[i].type(), c.variantType);
            EXPECT_EQ(got.values[i].count(),
                      expected.size() / CUtilVariant::ElementSize(c.variantType));
            EXPECT_EQ(Bytes(got.values[i]), expected);
        }
    }
}

// Where the directories sit: IFD0 at 8 or after image data, in TIFF files and JPEG Exif blocks.
TEST_F(TagSearchFiles, FindsIfd0AndExifTagsAndLeavesAbsentOnesAlone) {
    const struct {
        ByteOrder order;
        uint32_t gap;
        bool jpeg;
    } layouts[] = {{ByteOrder::kLittle, 0, false},    {ByteOrder::kBig, 0, false},
                   {ByteOrder::kLittle, 5000, false}, {ByteOrder::kBig, 5000, false},
                   {ByteOrder::kLittle, 0, true},     {ByteOrder::kBig, 0, true},
                   {ByteOrder::kBig, 300, true}};
    for (const auto& l : layouts) {
        SCOPED_TRACE(std::to_string(int(l.order)) + " gap " + std::to_string(l.gap) +
                     (l.jpeg ? " jpeg" : " tiff"));
        TiffBlock block(l.order, l.gap);
        block.ifd0(block.shorts(0x0100, {640}))
            .ifd0(block.shorts(kOrientation, {6}))
            .ifd0(TiffBlock::ascii(kDateTime, "2008:07:31 10:38:11"))
            .exif(TiffBlock::ascii(kDateOriginal, "2008:05:30 15:56:01"))
            .exif(block.shorts(kColorSpace, {0xFFFF}))
            .exif(block.longs(0xA002, {100}));
        const std::string path =
            l.jpeg
                ? put("photo.jpg",
                      vxtest::Jpeg({vxtest::Segment(0xE0, "JFIF"), vxtest::Segment(0xFE, "comment"),
                                    vxtest::ExifSegment(block.build())}))
                : put("photo.tiff", block.build());
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
}

// --- Rules and hostile files, as little-endian TIFF blocks ----------------------------------

TiffBlock Little(uint32_t gap = 0) {
    return TiffBlock(ByteOrder::kLittle, gap);
}

std::string With(const TiffField& field, uint32_t gap = 0) {
    return Little(gap).ifd0(field).build();
}

std::string WithOrientation() {
    return With(Little().shorts(kOrientation, {3}));
}

// The file with the bytes from `at` on replaced.
std::string Patched(std::string b, size_t at, const std::string& bytes) {
    return b.replace(at, bytes.size(), bytes);
}

std::string UnknownFieldType() {
    return With(TiffBlock::raw(kOrientation, 13, 1, 8));
}

// Twelve text bytes whose offset (10) names the entry that describes them.
std::string ValueOffsetIntoItsOwnEntry() {
    return With(TiffBlock::raw(kSoftware, 2, 12, 10));
}

std::string ExifPointerToIfd0Itself() {
    return With(TiffBlock::raw(TiffBlock::kExifPointer, 4, 1, 8));
}

TEST_F(TagSearchFiles, AnswersAndLeavesValuesAsTheRulesSay) {
    const std::string orientation = WithOrientation();
    const TiffField exifFarAway = TiffBlock::raw(TiffBlock::kExifPointer, 4, 1, 0x00100000);
    const std::string exifPastEnd =
        Little().ifd0(Little().shorts(kOrientation, {8})).ifd0(exifFarAway).build();
    const std::string shortDate = With(TiffBlock::raw(kDateTime, 2, 20, 0));
    // An Exif pointer to just past IFD0, where 48 entries are announced and none follow.
    const std::string exifCountBeyondEnd =
        Little()
            .ifd0(Little().shorts(kOrientation, {8}))
            .ifd0(TiffBlock::raw(TiffBlock::kExifPointer, 4, 1, uint32_t(orientation.size() + 12)))
            .build() +
        std::string("\x30\x00", 2);
    // Any mark other than "MM" reads as little-endian.
    Expect("odd byte-order mark", Patched(orientation, 0, "xy"), {kOrientation}, 1, {true});
    Expect("exif tag without exif directory", orientation, {kDateOriginal}, 0, {false});
    Expect("ifd0 tag found, exif tag absent", orientation, {kDateOriginal, kOrientation}, 1,
           {false, true});
    Expect("tags above 0x8000 never come from ifd0", With(TiffBlock::ascii(kCopyright, "me")),
           {kCopyright}, 0, {false});
    Expect("tag 0x8000 comes from ifd0", With(Little().shorts(0x8000, {7})), {0x8000}, 1, {true});
    Expect("empty ifd0", Patched(orientation, 8, std::string(2, '\0')), {kOrientation, kColorSpace},
           0, {false, false});
    Expect("unknown field type", UnknownFieldType(), {kOrientation}, 1, {false});
    Expect("zero count keeps its type", With(TiffBlock::raw(kOrientation, 3, 0, 0)), {kOrientation},
           1, {true});
    Expect("exif pointer naming ifd0 itself", ExifPointerToIfd0Itself(),
           {kDateOriginal, TiffBlock::kExifPointer}, 1, {false, true});
    Expect("value offset into its own entry", ValueOffsetIntoItsOwnEntry(), {kSoftware}, 1, {true});
    Expect("ifd0 offset past the end",
           Patched(With(Little().shorts(kOrientation, {1}), 100), 4,
                   std::string("\xF0\x00\x00\x10", 4)),
           {kOrientation}, -1, {false});
    Expect("ifd0 count beyond the end", Patched(orientation, 8, "\xFF\xFF"), {kOrientation}, -1,
           {false});
    Expect("ifd0 count beyond the end, ifd0 after data",
           Patched(With(Little().shorts(kOrientation, {1}), 64), 72, "\x40"), {kOrientation}, -1,
           {false});
    Expect("value offset past the end", With(TiffBlock::raw(kDateTime, 2, 20, 0x7FFFFFF0)),
           {kDateTime}, -1, {false});
    Expect("value running past the end",
           With(TiffBlock::raw(kDateTime, 2, 20, uint32_t(shortDate.size() - 10))), {kDateTime}, -1,
           {false});
    // 2^29 rationals: a reader sizing them in 32 bits would take 4 bytes for gigabytes.
    Expect("rational count of 4 GB", With(TiffBlock::raw(0x011A, 5, 0x20000000, 0)), {0x011A}, -1,
           {false});
    Expect("exif pointer past the end, exif tag asked", exifPastEnd, {kOrientation, kColorSpace},
           -1, {true, false});
    Expect("exif pointer past the end, only ifd0 asked", exifPastEnd, {kOrientation}, 1, {true});
    Expect("exif count beyond the end", exifCountBeyondEnd, {kColorSpace}, -1, {false});
    Expect("head of 5 bytes", std::string("II*\0\x08", 5), {kOrientation}, -1, {false});
}

TEST_F(TagSearchFiles, UnknownFieldTypeIntoAnEmptyValueFails) {
    const std::string path = put("t.tif", UnknownFieldType());
    CUtilVariant value;
    EXPECT_EQ(FastTagSearch(path.c_str(), &kOrientation, 1, &value), -1);
    EXPECT_EQ(value.type(), CUtilVariant::kEmpty);
}

TEST_F(TagSearchFiles, ValuesThatPointIntoTheDirectoryReadWhatIsThere) {
    const Outcome self = Search(put("s.tif", ValueOffsetIntoItsOwnEntry()), {kSoftware});
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
                                .ifd0(TiffBlock::ascii(kDateTime, "2001:02:03"))
                                .build());
        const Outcome got = Search(path, {kDateTime, kSoftware});
        ASSERT_EQ(got.result, 1);
        EXPECT_STREQ(got.values[0].text(), "2001:02:03");
        EXPECT_EQ(got.values[1].text(), text);
    }
}

// The JPEG segment walk reaches Exif only through APP0 and comments.
TEST_F(TagSearchFiles, JpegExifIsReachedOnlyThroughApp0AndComments) {
    using vxtest::Jpeg;
    using vxtest::Segment;
    TiffBlock tiff(ByteOrder::kBig);
    const std::string exif = vxtest::ExifSegment(tiff.ifd0(tiff.shorts(kOrientation, {5})).build());
    const std::string app0 = Segment(0xE0, std::string("JFIF\0\1\1", 7));
    const std::string soi("\xFF\xD8", 2);
    auto expect = [&](const char* what, const std::string& bytes, int32_t result, bool found) {
        const Outcome got = Search(put("case.jpg", bytes), {kOrientation});
        EXPECT_EQ(got.result, result) << what;
        EXPECT_EQ(got.values[0].uintAt(0), found ? 5u : kMark) << what;
    };
    expect("APP0 and COM before Exif", Jpeg({app0, Segment(0xFE, "hello"), exif}), 1, true);
    expect("Exif right after the start", Jpeg({exif}), 1, true);
    expect("empty comment before Exif", Jpeg({Segment(0xFE, ""), app0, exif}), 1, true);
    expect("APP2 before Exif", Jpeg({app0, Segment(0xE2, "ICC_PROFILE"), exif}), 1, false);
    expect("quantisation table first", Jpeg({Segment(0xDB, "q"), exif}), 1, false);
    expect("XMP APP1 before Exif", Jpeg({Segment(0xE1, "http://ns.adobe.com/xap/1.0/"), exif}), 1,
           false);
    expect("no Exif at all", Jpeg({app0}), 1, false);
    expect("start marker only", soi, -1, false);
    expect("one byte", std::string("\xFF", 1), -1, false);
    expect("no bytes", std::string(), -1, false);
    expect("wrong start marker", std::string("\xFF\xD9\xFF\xE1", 4) + exif, -1, false);
    expect("PNG signature", std::string("\x89PNG\r\n\x1A\n", 8), -1, false);
    expect("APP0 length 0", soi + std::string("\xFF\xE0\x00\x00", 4) + exif, -1, false);
    expect("APP0 length beyond the end", soi + std::string("\xFF\xE0\xFF\xF0JFIF", 8), -1, false);
    expect("marker cut after its first byte", soi + app0 + "\xFF", -1, false);
    expect("Exif identifier cut short",
           soi + std::string("\xFF\xE1\x00\x10"
                             "Exi",
                             7),
           -1, false);
    expect("TIFF head cut short",
           soi + std::string("\xFF\xE1\x00\x10"
                             "Exif\0\0II*",
                             13),
           -1, false);
}

// --- Names, paths and arguments -------------------------------------------------------------

TEST_F(TagSearchFiles, FileKindComesFromTheNameAlone) {
    const std::string tiff = put("real.tif", WithOrientation());
    const struct {
        std::string name;
        int32_t result;
    } cases[] = {
        {"photo.png", 1},  {"noextension", 1}, {"real.tif.png", 1},  // never opened
        {"photo.JPG", -1}, {"photo.jpe", -1},  {"photo.jfif", -1},  {"scan.TIFF", -1},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Search(m_dir.file(c.name), {kOrientation}).result, c.result) << c.name;
    EXPECT_EQ(Search(tiff, {kOrientation}).result, 1);
}

TEST_F(TagSearchFiles, AFolderAndNullArgumentsFail) {
    ASSERT_EQ(::mkdir(m_dir.file("folder.jpg").c_str(), 0755), 0);
    EXPECT_EQ(Search(m_dir.file("folder.jpg"), {kOrientation}).result, -1);

    const std::string path = put("a.tif", WithOrientation());
    CUtilVariant value;
    EXPECT_EQ(FastTagSearch(nullptr, &kOrientation, 1, &value), -1);
    EXPECT_EQ(FastTagSearch(path.c_str(), nullptr, 1, &value), -1);
    EXPECT_EQ(FastTagSearch(path.c_str(), &kOrientation, 1, nullptr), -1);
    EXPECT_EQ(FastTagSearch(path.c_str(), nullptr, 0, nullptr), 0);
}

TEST_F(TagSearchFiles, AnUnreadableFileCannotBeOpened) {
    if (::geteuid() == 0) GTEST_SKIP() << "permissions do not stop the superuser";
    const std::string path = put("locked.tif", WithOrientation());
    ASSERT_EQ(::chmod(path.c_str(), 0), 0);
    const Outcome got = Search(path, {kOrientation});
    EXPECT_EQ(got.result, -1);
    EXPECT_TRUE(Untouched(got.values[0]));
}

// Directories of every size up to 40 with tags 10, 20, 30, ...: every present tag is found with
// its type and count converted, every tag between, before and after them is absent.
TEST(FtsPieces, BinarySearchFindsExactlyThePresentTags) {
    for (ByteOrder order : {ByteOrder::kLittle, ByteOrder::kBig}) {
        for (uint32_t n = 1; n <= 40; ++n) {
            std::string raw;
            for (uint32_t i = 1; i <= n; ++i)
                raw += vxtest::Encode(order, {10 * i, 3}, 2) + vxtest::Encode(order, {i}, 4) +
                       "\x01\x02\x03\x04";
            std::vector<tagFTSTAG> entries(n);
            std::memcpy(entries.data(), raw.data(), raw.size());
            tagFTSHEAD head{};
            head.wOrder = order == ByteOrder::kBig ? kFtsOrderMotorola : 0x4949;
            std::memcpy(&head.wEntryCount, vxtest::Encode(order, {n}, 2).data(), 2);
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
