#include "vandrel/Variant.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstring>
#include <string>

namespace {

// Every type number, with one past the last known type keeping its number and count but
// holding no bytes; the bytes are copied as given.
TEST(Variant, SizeIsElementSizeTimesCount) {
    const uint32_t elementSizes[] = {0, 1, 1, 1, 2, 2, 4, 4, 8, 8, 1, 0};
    unsigned char source[24];
    for (int i = 0; i < 24; ++i)
        source[i] = uint8_t(i + 1);
    for (CUtilVariant::Type type = 0; type < 12; ++type) {
        CUtilVariant v;
        v.set(type, source, 3);
        EXPECT_EQ(v.type(), type);
        EXPECT_EQ(v.count(), 3u);
        EXPECT_EQ(v.valuesize(), elementSizes[type]) << "type " << type;
        EXPECT_EQ(v.size(), 3 * elementSizes[type]) << "type " << type;
        EXPECT_EQ(std::memcmp(v.data() ? v.data() : source, source, v.size()), 0);
    }
}

// Counts whose bytes (with the text terminator) pass 32 bits cannot be held: the variant ends
// up empty instead of with a wrapped-around small buffer written far beyond its end.
TEST(Variant, ACountWhoseBytesPass32BitsLeavesItEmpty) {
    const struct {
        CUtilVariant::Type type;
        uint32_t count;
    } cases[] = {{CUtilVariant::kAscii, 0xFFFFFFFFu},
                 {CUtilVariant::kRational, 0x20000001u},
                 {CUtilVariant::kLong, 0x40000000u}};
    for (const auto& c : cases) {
        CUtilVariant v;
        v.set(CUtilVariant::kShort, "ab", 1);
        v.set(c.type, nullptr, c.count);
        EXPECT_EQ(v.type(), CUtilVariant::kEmpty) << c.type;
        EXPECT_EQ(v.count(), 0u) << c.type;
        EXPECT_EQ(v.data(), nullptr) << c.type;
    }
}

TEST(Variant, TextIsAlwaysTerminatedBeyondItsSize) {
    CUtilVariant v;
    v.set(CUtilVariant::kAscii, "abcdef", 3);
    EXPECT_EQ(v.size(), 3u);
    EXPECT_EQ(v.data()[3], 0);
    EXPECT_STREQ(v.text(), "abc");

    v.set(CUtilVariant::kAscii, nullptr, 0);
    ASSERT_NE(v.data(), nullptr);
    EXPECT_STREQ(v.text(), "");

    v.set(CUtilVariant::kAscii, "orientation", 11);
    v.set(CUtilVariant::kAscii, v.data() + 6, 5);  // from its own elements
    EXPECT_STREQ(v.text(), "ation");
}

TEST(Variant, CopiesOwnTheirBytes) {
    CUtilVariant original;
    original.set(CUtilVariant::kAscii, "2004:07:15", 10);

    CUtilVariant copy(original);
    original.data()[0] = 'X';
    EXPECT_STREQ(copy.text(), "2004:07:15");

    CUtilVariant assigned;
    assigned.set(CUtilVariant::kRational, nullptr, 5);
    assigned = copy;
    EXPECT_EQ(assigned.count(), 10u);
    EXPECT_STREQ(assigned.text(), "2004:07:15");

    CUtilVariant& alias = assigned;
    assigned = alias;
    EXPECT_STREQ(assigned.text(), "2004:07:15");
    assigned = CUtilVariant();
    EXPECT_EQ(assigned.data(), nullptr);
}

TEST(Variant, ElementsReadAsUnsignedIntegersAndNothingOutsideThem) {
    CUtilVariant v;
    const int16_t shorts[2] = {-2, 7};
    v.set(CUtilVariant::kSShort, shorts, 2);
    EXPECT_EQ(v.uintAt(0), 0xFFFFFFFEu);
    EXPECT_EQ(v.uintAt(1), 7u);
    EXPECT_EQ(v.uintAt(2), 0u);

    const signed char byte = -5;
    v.set(CUtilVariant::kSByte, &byte, 1);
    EXPECT_EQ(v.uintAt(0), uint32_t(-5));

    const uint32_t halves[4] = {72, 1, 300, 100};
    v.set(CUtilVariant::kRational, halves, 2);
    EXPECT_EQ(v.uintAt(1), 300u);  // an element's numerator

    // 2^29 rationals are 2^32 bytes: the size wraps to 0 and no element may be read.
    v.set(CUtilVariant::kRational, nullptr, 0x20000000);
    EXPECT_EQ(v.size(), 0u);
    EXPECT_EQ(v.uintAt(0), 0u);
}

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

void AllocateAlmostFourGigabytesWithinOne() {
    const rlimit limit{rlim_t(1) << 30, rlim_t(1) << 30};
    ::setrlimit(RLIMIT_AS, &limit);
    CUtilVariant v;
    v.set(CUtilVariant::kRational, nullptr, 0x1FFFFFFF);
}

TEST(VariantDeathTest, RunningOutOfMemoryStopsWithTheAssertionMessage) {
    if (kSanitized) GTEST_SKIP() << "the sanitizer's allocator reports exhaustion itself";
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(AllocateAlmostFourGigabytesWithinOne(),
                 "^Sources/Header/UtilVariant:163: failed assertion `false'\n");
}

struct CompareCase {
    const char* a;
    const char* b;
    int expected;
};

const CompareCase kCompares[] = {
    {".JPG", ".jpg", 0},
    {"a", "B", -1},
    {"B", "a", 1},
    {"", "", 0},
    {"ab", "abc", -1},
    {"abc", "ab", 1},
    {"TIFF", "tiff", 0},
    {"tifg", "TIFF", 1},
    // Bytes above 0x7F compare as negative signed characters.
    {"\xE9", "a", -1},
    {"", "\xE9", 1},
};

TEST(Stricmp, ComparesCaseBlindAsSignedCharacters) {
    for (const CompareCase& c : kCompares)
        EXPECT_EQ(__stricmp(c.a, c.b), c.expected) << '"' << c.a << "\" vs \"" << c.b << '"';
}

}  // namespace
