// A service over the recording stand-in codec, with the recorder at hand. Expected conversions
// come from the line converters themselves, which their own suite checks against a model.
#ifndef VANDREL_TESTS_SERVICE_RECORDINGSERVICE_H
#define VANDREL_TESTS_SERVICE_RECORDINGSERVICE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "FakePlugInSupport.h"
#include "TestSupport.h"
#include "plugins/fake/RecordingPlugIn.h"
#include "service/PixelConvert.h"

namespace vxtest {

class RecordingService : public ::testing::Test {
protected:
    void SetUp() override {
        CBundleLoadRec::ResetForTesting();
        service = MakeService(FakePlugInPath("recording"));
        ASSERT_EQ(service->PlugInCount(), 1);
        auto state = ModuleSymbol<FakeRecorder* (*)()>(FakePlugInPath("recording/recording.plugin"),
                                                       "FakeRecorderState");
        ASSERT_NE(state, nullptr);
        rec = state();
        rec->Reset();
        file = dir.file("image.rec");
        WriteFile(file, "stand-in image");
    }
    void TearDown() override {
        CloseAll();
        service.reset();
        rec->Reset();
        CBundleLoadRec::ResetForTesting();
    }

    // The image the codec reports: main plane, optional second plane of one sample per pixel.
    void Image(int32_t width, int32_t height, int32_t depth, const char* space = "RGB",
               int32_t depth2 = 0) {
        CUImageInfo& info = rec->status.info;
        info.lWidth = width;
        info.lHeight = height;
        info.lColorDepth = depth;
        info.strColorSpace = space;
        CUImageInfo& info2 = rec->status.info2;
        info2.lWidth = width;
        info2.lHeight = height;
        info2.lColorDepth = depth2;
    }
    int32_t Open() {
        int32_t h = service->GetImageHandle(file.c_str());
        EXPECT_GT(h, 0);
        return h;
    }
    CParam* Param(int32_t handle) {
        CParam* p = nullptr;
        EXPECT_EQ(service->GetParameter(&p, handle), 1);
        return p;
    }
    // Deletes the handles left open; their line buffers must have been released.
    void CloseAll() {
        std::vector<int32_t> open;
        for (const auto& entry : service->HandleTable())
            if (entry.second.pPlugIn != nullptr) open.push_back(entry.first);
        for (int32_t h : open)
            service->DeleteImageHandle(h);
    }
    // Handles whose entry holds an instance.
    int InUse() const {
        int n = 0;
        for (const auto& entry : service->HandleTable())
            n += entry.second.pPlugIn ? 1 : 0;
        return n;
    }

    ScratchDir dir;
    ServicePtr service;
    FakeRecorder* rec = nullptr;
    std::string file;
};

// The line the codec delivers: its pixel bytes as the pattern gives them.
inline std::vector<unsigned char> DeliveredLine(int32_t plane, int32_t y, size_t bytes) {
    std::vector<unsigned char> line(bytes);
    for (size_t i = 0; i < bytes; ++i)
        line[i] = FakeSample(plane, y, int32_t(i));
    return line;
}

inline std::vector<uint16_t> Words(const unsigned char* bytes, size_t count) {
    std::vector<uint16_t> words(count);
    std::memcpy(words.data(), bytes, count * 2);
    return words;
}

}  // namespace vxtest

#endif
