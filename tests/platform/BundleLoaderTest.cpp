#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "platform/BundleLoadRec.h"
#include "platform/BundleLoader.h"

namespace {

// The table is process-wide; every test starts from an empty one.
class LoadRecTest : public ::testing::Test {
protected:
    void SetUp() override { CBundleLoadRec::ResetForTesting(); }
    void TearDown() override { CBundleLoadRec::ResetForTesting(); }
    static BundleLoader::BundleRef Ref(intptr_t n) {
        return reinterpret_cast<BundleLoader::BundleRef>(n);
    }
};

TEST_F(LoadRecTest, UsesAreCountedPerModuleAndEntriesCloseUpWhenUnused) {
    ASSERT_TRUE(CBundleLoadRec::Insert(Ref(10)));
    ASSERT_TRUE(CBundleLoadRec::Insert(Ref(20)));
    ASSERT_TRUE(CBundleLoadRec::Insert(Ref(30)));
    EXPECT_TRUE(CBundleLoadRec::AddUse(Ref(20)));
    EXPECT_FALSE(CBundleLoadRec::AddUse(Ref(40)));
    EXPECT_EQ(CBundleLoadRec::UseCount(Ref(20)), 2);

    CBundleLoadRec::RemoveUse(Ref(20));
    EXPECT_EQ(CBundleLoadRec::Count(), 3);
    CBundleLoadRec::RemoveUse(Ref(10));
    ASSERT_EQ(CBundleLoadRec::Count(), 2);
    EXPECT_EQ(CBundleLoadRec::At(0).bundle, Ref(20));
    EXPECT_EQ(CBundleLoadRec::At(1).bundle, Ref(30));
    CBundleLoadRec::RemoveUse(Ref(99));  // unknown modules are ignored
    EXPECT_EQ(CBundleLoadRec::Count(), 2);
}

TEST_F(LoadRecTest, TheTableHoldsThirtyTwoModules) {
    for (int i = 1; i <= CBundleLoadRec::kCapacity; ++i) {
        ASSERT_FALSE(CBundleLoadRec::IsFull());
        ASSERT_TRUE(CBundleLoadRec::Insert(Ref(i)));
    }
    EXPECT_TRUE(CBundleLoadRec::IsFull());
    EXPECT_FALSE(CBundleLoadRec::Insert(Ref(100)));
    EXPECT_TRUE(CBundleLoadRec::AddUse(Ref(32)));  // known modules still count
    CBundleLoadRec::RemoveUse(Ref(1));
    EXPECT_TRUE(CBundleLoadRec::Insert(Ref(100)));
    EXPECT_EQ(CBundleLoadRec::At(CBundleLoadRec::kCapacity - 1).bundle, Ref(100));
}

TEST(BundleLoader, ClassifiesListsAndRefusesFilesThatAreNoModules) {
    vxtest::ScratchDir dir;
    vxtest::WriteFile(dir.file("file"), "x");
    ASSERT_EQ(::mkdir(dir.file("sub").c_str(), 0755), 0);
    ASSERT_EQ(::symlink("nowhere", dir.file("dangling").c_str()), 0);

    EXPECT_EQ(BundleLoader::Classify(dir.path().c_str()), BundleLoader::kPathFolder);
    EXPECT_EQ(BundleLoader::Classify(dir.file("file").c_str()), BundleLoader::kPathFile);
    EXPECT_EQ(BundleLoader::Classify(dir.file("none").c_str()), BundleLoader::kPathMissing);
    EXPECT_EQ(BundleLoader::Classify(""), BundleLoader::kPathMissing);
    EXPECT_EQ(BundleLoader::Classify(nullptr), BundleLoader::kPathMissing);

    std::vector<std::string> names;
    ASSERT_TRUE(BundleLoader::ListFolder(dir.path().c_str(), &names));
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{".", "..", "file", "sub"}));
    EXPECT_FALSE(BundleLoader::ListFolder(dir.file("none").c_str(), &names));

    EXPECT_EQ(BundleLoader::Load(dir.file("file").c_str()), nullptr);  // not a module
    EXPECT_EQ(BundleLoader::FindLoaded(dir.file("file").c_str()), nullptr);
    EXPECT_EQ(BundleLoader::FindSymbol(nullptr, "CreatePlugIn"), nullptr);
}

}  // namespace
