#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "FakePlugInSupport.h"
#include "TestSupport.h"
#include "vandrel/MessageProc.h"

namespace {

// A service over two stand-in codecs: one for ".fake" files (format "FAKE") and one whose
// prototype cannot make instances (".noinst", format "NOINST").
class HandleTest : public ::testing::Test {
protected:
    void SetUp() override {
        CBundleLoadRec::ResetForTesting();
        service = vxtest::MakeService(vxtest::FakePlugInPath("handles"));
        ASSERT_EQ(service->PlugInCount(), 2);
        image = dir.file("image.fake");
        vxtest::WriteFile(image, "stand-in image");
        baseline = LiveObjects();
    }
    void TearDown() override { CBundleLoadRec::ResetForTesting(); }

    static int LiveObjects() {
        return vxtest::FakeLiveObjects(vxtest::FakePlugInPath("handles/fake.plugin"));
    }
    bool HasEntry(int32_t handle) const { return service->HandleTable().count(handle) == 1; }

    vxtest::ScratchDir dir;
    vxtest::ServicePtr service;
    std::string image;
    int baseline = 0;
};

TEST_F(HandleTest, OpeningBindsAFreshInstanceThatKnowsItsFile) {
    int32_t h = service->GetImageHandle(image.c_str());
    ASSERT_GT(h, 0);
    EXPECT_EQ(LiveObjects(), baseline + 1);
    CParam* p = nullptr;
    ASSERT_EQ(service->GetParameter(&p, h), 1);
    ASSERT_NE(p->pPlugIn, nullptr);
    EXPECT_NE(p->pPlugIn, service->PlugInAt(0));  // an instance, not the prototype
    EXPECT_EQ(std::string(p->pPlugIn->GetFileName()), image);
    EXPECT_EQ(service->DeleteImageHandle(h), 1);
    EXPECT_EQ(LiveObjects(), baseline);
    EXPECT_FALSE(HasEntry(h));
    EXPECT_EQ(service->DeleteImageHandle(h), kVxErrBadHandle);
    // With a format name the file need not exist.
    h = service->GetImageHandle(dir.file("new.fake").c_str(), "FAKE");
    ASSERT_GT(h, 0);
    EXPECT_EQ(service->DeleteImageHandle(h), 1);
}

TEST_F(HandleTest, OpeningFailuresAndTheirCodes) {
    vxtest::WriteFile(dir.file("other.txt"), "x");
    vxtest::WriteFile(dir.file("cannot.noinst"), "x");
    const std::string missing = dir.file("missing.fake");
    struct Case {
        std::string file;
        const char* format;
        int32_t expected;
    } cases[] = {
        {missing, nullptr, kVxErrBadHandle},  // must exist when chosen by file
        {"", nullptr, kVxErrBadHandle},
        {dir.file("other.txt"), nullptr, kVxErrNoPlugIn},
        {image, "GIF", kVxErrNoPlugIn},
        {dir.file("cannot.noinst"), nullptr, kVxErrCreateInstance},
        {missing, "NOINST", kVxErrCreateInstance},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(service->GetImageHandle(c.file.c_str(), c.format), c.expected) << c.file;
    }
    EXPECT_TRUE(service->HandleTable().empty());
    EXPECT_EQ(LiveObjects(), baseline);
}

TEST_F(HandleTest, DeletingANeverIssuedHandleLeavesADefaultEntry) {
    const int32_t never = 12345;
    EXPECT_EQ(service->DeleteImageHandle(never), kVxErrBadHandle);
    ASSERT_TRUE(HasEntry(never));
    EXPECT_EQ(service->HandleTable().at(never).pPlugIn, nullptr);
    // The default entry is no handle in use: the number can still be handed out.
    CParam* p = nullptr;
    EXPECT_EQ(service->GetParameter(&p, never), 0);
}

TEST_F(HandleTest, WhenEveryDrawHitsAHandleInUseTheInstanceIsDestroyed) {
    const unsigned seed = 20261121;
    std::srand(seed);
    std::set<int> draws;
    for (int i = 0; i < 100; ++i)
        draws.insert(std::rand());
    ASSERT_EQ(draws.size(), 100u) << "the seed must give 100 distinct draws";
    ASSERT_EQ(draws.count(0), 0u);

    // Replaying the same draws opens exactly the handles the next replay will hit.
    std::srand(seed);
    std::vector<int32_t> open;
    for (int i = 0; i < 100; ++i)
        open.push_back(service->GetImageHandle(image.c_str()));
    EXPECT_EQ(std::set<int32_t>(open.begin(), open.end()),
              std::set<int32_t>(draws.begin(), draws.end()));
    const int live = LiveObjects();
    std::srand(seed);
    EXPECT_EQ(service->GetImageHandle(image.c_str()), kVxErrNoFreeHandle);
    EXPECT_EQ(LiveObjects(), live);
    std::srand(seed);
    EXPECT_EQ(service->GenerateHandle(), kVxErrNoFreeHandle);
    for (int32_t h : open)
        EXPECT_EQ(service->DeleteImageHandle(h), 1);
    EXPECT_EQ(LiveObjects(), baseline);
}

TEST_F(HandleTest, ParametersWithARequestKeepTheHandlesMessageProc) {
    IMessageProc held, offered;
    int32_t h = service->GetImageHandle(image.c_str());
    ASSERT_GT(h, 0);
    CParam* p = nullptr;
    ASSERT_EQ(service->GetParameter(&p, h), 1);
    p->request.pMessageProc = &held;

    CURequest request;
    request.lQuality = 12;
    request.pMessageProc = &offered;
    CParam* q = nullptr;
    ASSERT_EQ(service->GetParameter(&q, h, request), 1);
    EXPECT_EQ(q, p);
    EXPECT_EQ(q->request.lQuality, 12);
    EXPECT_EQ(q->request.pMessageProc, &held);
    EXPECT_EQ(service->DeleteImageHandle(h), 1);
}

TEST_F(HandleTest, SetParameterRefersToTheCallersBuffersWithoutOwningThem) {
    int32_t h = service->GetImageHandle(image.c_str());
    ASSERT_GT(h, 0);
    CParam* inTable = nullptr;
    ASSERT_EQ(service->GetParameter(&inTable, h), 1);
    CParam mine = *inTable;  // a full copy, own plug-in pointer included
    ASSERT_EQ(mine.bufRead.Create(64), 1);
    mine.request.lQuality = 33;
    EXPECT_EQ(service->SetParameter(mine, h), 1);
    EXPECT_EQ(inTable->request.lQuality, 33);
    EXPECT_EQ(inTable->bufRead.pBuffer, mine.bufRead.pBuffer);
    EXPECT_EQ(inTable->bufRead.bAlloc, 0);
    mine.DeleteBuffer();
    EXPECT_EQ(service->DeleteImageHandle(h), 1);
}

TEST_F(HandleTest, AHandleWhoseInstanceIsNotReadyIsUnusable) {
    int32_t h = service->GetImageHandle(image.c_str());
    ASSERT_GT(h, 0);
    IPlugIn* instance = service->GetPluginObj(h);
    ASSERT_NE(instance, nullptr);
    const int32_t notReady = 0, ready = 1;
    ASSERT_EQ(instance->SetProperty(1, &notReady), 1);

    CParam* p = nullptr;
    CParam scratch;
    EXPECT_EQ(service->GetPluginObj(h), nullptr);
    EXPECT_EQ(service->GetParameter(&p, h), 0);
    EXPECT_EQ(service->GetParameter(&p, h, CURequest()), 0);
    EXPECT_EQ(service->SetParameter(scratch, h), 0);
    EXPECT_EQ(service->DeleteImageHandle(h), kVxErrBadHandle);

    ASSERT_EQ(instance->SetProperty(1, &ready), 1);
    EXPECT_EQ(service->DeleteImageHandle(h), 1);
}

}  // namespace
