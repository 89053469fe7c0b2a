#include <gtest/gtest.h>

#include <string>

#include "FakePlugInSupport.h"
#include "TestSupport.h"
#include "vandrel/TagDB.h"

namespace {

using vxtest::FakePlugInPath;
using vxtest::MakeService;

std::string Text(const char* text) {
    return text != nullptr ? text : "(null)";
}

// The load table is process-wide: each test starts and ends with an empty one, so that no
// test depends on which ran before it.
class RegistryTest : public ::testing::Test {
protected:
    void SetUp() override { CBundleLoadRec::ResetForTesting(); }
    void TearDown() override { CBundleLoadRec::ResetForTesting(); }
};

// A folder loads in byte order of the paths, skipping dot names; a module path loads that
// module alone.
TEST_F(RegistryTest, LoadsInByteOrderOfPathsAndSkipsDotNames) {
    for (const char* path : {"order", "order/", "order/b.plugin"}) {
        auto service = MakeService(FakePlugInPath(path));
        const bool folder = std::string(path).find(".plugin") == std::string::npos;
        ASSERT_EQ(service->PlugInCount(), folder ? 2 : 1) << path;
        EXPECT_EQ(Text(service->PlugInAt(0)->GetDecoderVersion()), folder ? "A" : "B");
        if (folder) {
            EXPECT_EQ(Text(service->PlugInAt(1)->GetDecoderVersion()), "B");
        }
        // Plug-ins learn the folder they came from, always ending in "/".
        auto lastFolder = vxtest::ModuleSymbol<const char* (*)()>(FakePlugInPath("order/b.plugin"),
                                                                  "FakeLastFolder");
        ASSERT_NE(lastFolder, nullptr);
        EXPECT_EQ(Text(lastFolder()), FakePlugInPath("order/"));
    }
}

TEST_F(RegistryTest, OtherProductsAreExcludedByExactNameOnlyInFolders) {
    auto service = MakeService(FakePlugInPath("exclude"));
    ASSERT_EQ(service->PlugInCount(), 1);
    EXPECT_EQ(Text(service->GetSupportedReadingType()), " LOWER");
    // Named directly, an excluded name is just a module.
    service->AddPlugInPath(FakePlugInPath("exclude/Tessmor.bundle").c_str());
    ASSERT_EQ(service->PlugInCount(), 2);
    EXPECT_EQ(Text(service->PlugInAt(1)->GetDecoderVersion()), "EXCLUDED");
}

TEST_F(RegistryTest, TheFirstLoadedPlugInThatAnswersYesIsChosen) {
    vxtest::ScratchDir dir;
    const std::string photo = dir.file("photo.JPG");
    vxtest::WriteFile(photo, "x");
    auto service = MakeService(FakePlugInPath("order"));
    EXPECT_EQ(service->GetPluginObj(photo.c_str(), nullptr, false), service->PlugInAt(0));
    EXPECT_EQ(service->GetPluginObj(nullptr, "JPEG", true), service->PlugInAt(0));
    EXPECT_EQ(service->GetPluginObj(nullptr, "jpeg", true), nullptr);
    EXPECT_EQ(Text(service->GetDecoderVersion("JPEG")), "A");

    int32_t h = service->GetImageHandle(photo.c_str());
    ASSERT_GT(h, 0);
    EXPECT_EQ(Text(service->GetPluginObj(h)->GetDecoderVersion()), "A");
    EXPECT_EQ(service->DeleteImageHandle(h), 1);
}

// Type texts are spaced differently for reading and writing, built once and kept.
TEST_F(RegistryTest, TypeTextsAreSpacedByDirectionAndBuiltOnce) {
    // t1 reports JPEG/JPEG, t2 empty/empty, t3 empty/null.
    auto service = MakeService(FakePlugInPath("texts"));
    ASSERT_EQ(service->PlugInCount(), 3);
    EXPECT_EQ(Text(service->GetSupportedReadingType()), " JPEG");
    EXPECT_EQ(Text(service->GetSupportedWritingType()), "JPEG  ");
    service->AddPlugInPath(FakePlugInPath("order").c_str());
    ASSERT_EQ(service->PlugInCount(), 5);
    EXPECT_EQ(Text(service->GetSupportedReadingType()), " JPEG");
    EXPECT_EQ(Text(service->GetSupportedWritingType()), "JPEG  ");
    // Extension lists are not cached.
    EXPECT_EQ(Text(service->GetExtensionName(nullptr)), ".jpg;.jpeg;JPEG;.tif;.jpg;.jpg;");
}

TEST_F(RegistryTest, ExtensionAndVersionQueries) {
    auto service = MakeService(FakePlugInPath("texts"));
    struct Case {
        const char* format;
        std::string extensions;
        std::string version;
    } cases[] = {
        {nullptr, ".jpg;.jpeg;JPEG;.tif;", "(null)"},
        {"JPEG", ".jpg;.jpeg;JPEG;", "T1"},
        {"TIFF", ".tif;", "T2"},
        {"GIF", "(null)", "(null)"},
    };
    for (const Case& c : cases) {
        const char* name = c.format ? c.format : "null";
        EXPECT_EQ(Text(service->GetExtensionName(c.format)), c.extensions) << name;
        EXPECT_EQ(Text(service->GetDecoderVersion(c.format)), c.version) << name;
    }
    EXPECT_EQ(service->AddExtensionName("TIFF", ".tiff"), 5);  // the plug-in's own answer
    EXPECT_EQ(Text(service->GetExtensionName("TIFF")), ".tif;.tiff");
    EXPECT_EQ(service->AddExtensionName("GIF", ".gif"), kVxErrInvalidArgument);
}

TEST_F(RegistryTest, QueryTextsAreSharedByAllServices) {
    auto first = MakeService(FakePlugInPath("texts"));
    auto second = MakeService(FakePlugInPath("order"));
    const char* answer = first->GetExtensionName("TIFF");
    EXPECT_EQ(Text(answer), ".tif;");
    second->GetExtensionName(nullptr);
    EXPECT_EQ(Text(answer), ".jpg;.jpg;");
}

TEST_F(RegistryTest, WithoutPlugInsEveryQueryAnswersNone) {
    for (const char* path : {static_cast<const char*>(nullptr), "", "/no/such/folder"}) {
        auto service = MakeService(path);
        EXPECT_EQ(service->PlugInCount(), 0);
        EXPECT_EQ(Text(service->GetExtensionName(nullptr)), "");  // empty, not null
        EXPECT_EQ(Text(service->GetSupportedReadingType()), "");
        EXPECT_EQ(Text(service->GetSupportedWritingType()), "");
        EXPECT_EQ(service->CreateTagDB(), nullptr);
        EXPECT_EQ(service->AddPlugInPath(path), 1);
    }
    EXPECT_EQ(CBundleLoadRec::Count(), 0);
}

TEST_F(RegistryTest, BrokenModulesGiveNoPlugInButKeepTheirUse) {
    {
        auto service = MakeService(FakePlugInPath("broken"));
        ASSERT_EQ(service->PlugInCount(), 1);
        EXPECT_EQ(Text(service->PlugInAt(0)->GetDecoderVersion()), "OK");
        // ok, plus the two modules without a usable entry point; the text file is no module.
        EXPECT_EQ(CBundleLoadRec::Count(), 3);
        EXPECT_EQ(CBundleLoadRec::UseCount(service->BundleAt(0)), 1);
    }
    EXPECT_EQ(CBundleLoadRec::Count(), 2);
}

TEST_F(RegistryTest, AThirtyThirdModuleIsNotLoaded) {
    {
        auto service = MakeService(FakePlugInPath("full"));
        EXPECT_EQ(service->PlugInCount(), CBundleLoadRec::kCapacity);
        EXPECT_EQ(CBundleLoadRec::Count(), CBundleLoadRec::kCapacity);
        EXPECT_EQ(BundleLoader::FindLoaded(FakePlugInPath("full/m32.plugin").c_str()), nullptr);
        EXPECT_NE(BundleLoader::FindLoaded(FakePlugInPath("full/m31.plugin").c_str()), nullptr);
        // A module the table already knows still loads again.
        service->AddPlugInPath(FakePlugInPath("full/m00.plugin").c_str());
        EXPECT_EQ(service->PlugInCount(), CBundleLoadRec::kCapacity + 1);
    }
    EXPECT_EQ(CBundleLoadRec::Count(), 0);
}

TEST_F(RegistryTest, AModuleLoadedTwiceGivesTwoPlugInsAndTwoUses) {
    const std::string module = FakePlugInPath("order/a.plugin");
    auto first = MakeService(module);
    first->AddPlugInPath(module.c_str());
    ASSERT_EQ(first->PlugInCount(), 2);
    EXPECT_NE(first->PlugInAt(0), first->PlugInAt(1));
    BundleLoader::BundleRef bundle = first->BundleAt(0);
    EXPECT_EQ(first->BundleAt(1), bundle);
    EXPECT_EQ(CBundleLoadRec::UseCount(bundle), 2);
    {
        auto second = MakeService(module);
        EXPECT_EQ(CBundleLoadRec::UseCount(bundle), 3);
        EXPECT_EQ(vxtest::FakeLiveObjects(module), 3);
    }
    EXPECT_EQ(CBundleLoadRec::UseCount(bundle), 2);
    first.reset();
    EXPECT_EQ(CBundleLoadRec::Count(), 0);
    // The code stays mapped after its last use.
    EXPECT_EQ(BundleLoader::FindLoaded(module.c_str()), bundle);
    EXPECT_EQ(vxtest::FakeLiveObjects(module), 0);
}

TEST_F(RegistryTest, TheTagDatabaseComesFromTheFirstPlugInThatHasOne) {
    auto service = MakeService(FakePlugInPath("order"));
    IUTagDB* db = service->CreateTagDB();  // a has none, b has one
    ASSERT_NE(db, nullptr);
    EXPECT_EQ(db->GetTagCount(0), 77);
    db->Delete();
}

}  // namespace
