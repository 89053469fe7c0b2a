// The tag search against real camera files, compared with the answers of external tools kept
// in the corpus manifest.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "vandrel/TagSearch.h"

namespace {

namespace fs = std::filesystem;

constexpr unsigned short kTags[] = {0x0112, 0x0132, 0x9003, 0x9004, 0xA001};
constexpr const char* kColumns[] = {"Orientation", "ModifyDate", "DateTimeOriginal", "CreateDate",
                                    "ColorSpace"};
constexpr size_t kTagCount = sizeof kTags / sizeof kTags[0];
constexpr const char* kAbsent = "-";

using Row = std::map<std::string, std::string>;

// The manifest's way of writing a value: numbers in decimal, text up to its first zero.
std::string Render(const CUtilVariant& v) {
    if (v.type() == CUtilVariant::kEmpty) return kAbsent;
    if (v.type() == CUtilVariant::kAscii) return v.text();
    return std::to_string(v.uintAt(0));
}

class TagSearchCorpus : public ::testing::Test {
protected:
    void SetUp() override {
        m_root = vxtest::TestDataDir();
        if (m_root.empty()) GTEST_SKIP() << "no test corpus";
        m_rows = vxtest::ReadManifest(m_root + "/tags.tsv");
        ASSERT_FALSE(m_rows.empty());
    }
    std::string m_root;
    std::vector<Row> m_rows;
};

// JPEGs whose Exif block follows only APP0/COM segments, and TIFFs (IFD0 after the image data),
// agree with the manifest; Exif behind an APP2, an XMP APP1 or missing is not looked for.
TEST_F(TagSearchCorpus, TagsAgreeWithTheManifestWhereTheWalkReachesThem) {
    int reachable = 0, unreachable = 0;
    for (const Row& row : m_rows) {
        const bool reached = row.at("FileType") == "TIFF" || row.at("ExifViaAPP0COM") == "yes";
        if (!reached && row.at("ExifViaAPP0COM") != "no") continue;
        SCOPED_TRACE(row.at("file"));
        CUtilVariant values[kTagCount];
        const std::string path = m_root + "/" + row.at("file");
        const int32_t result = FastTagSearch(path.c_str(), kTags, kTagCount, values);
        bool any = false;
        for (size_t i = 0; i < kTagCount; ++i) {
            EXPECT_EQ(Render(values[i]), reached ? row.at(kColumns[i]) : kAbsent) << kColumns[i];
            any = any || row.at(kColumns[i]) != kAbsent;
        }
        EXPECT_EQ(result, !reached || any ? 1 : 0);  // a JPEG without reachable Exif answers 1
        ++(reached ? reachable : unreachable);
    }
    EXPECT_GE(reachable, 27 + 4);
    EXPECT_GE(unreachable, 10);
}

// Every file of the corpus, damaged PNGs included, gets an answer within the rules.
TEST_F(TagSearchCorpus, EveryFileGetsAnAnswer) {
    int files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(m_root)) {
        const std::string ext = entry.path().extension().string();
        if (!entry.is_regular_file() || (ext != ".jpg" && ext != ".tiff" && ext != ".png"))
            continue;
        SCOPED_TRACE(entry.path().string());
        CUtilVariant values[kTagCount];
        const int32_t result = FastTagSearch(entry.path().c_str(), kTags, kTagCount, values);
        if (ext == ".png")
            EXPECT_EQ(result, 1);
        else
            EXPECT_TRUE(result == 1 || result == 0) << result;
        ++files;
    }
    EXPECT_EQ(files, int(m_rows.size()));
}

}  // namespace
