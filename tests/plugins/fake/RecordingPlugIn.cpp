// The recording stand-in codec (see RecordingPlugIn.h).
#include "RecordingPlugIn.h"

#include <strings.h>

#include <cstring>
#include <string>

#include "vandrel/Export.h"
#include "vandrel/PlugIn.h"
#include "vandrel/Status.h"

namespace {

FakeRecorder gRecorder;

// Bytes of the pixels of a line, without padding.
size_t PixelBytes(const CUImageInfo& info) {
    const int64_t bits = int64_t(info.lWidth) * info.lColorDepth;
    return bits > 0 ? size_t((bits + 7) / 8) : 0;
}

void FillLine(void* line, const CUImageInfo& layout, int32_t plane, int32_t y) {
    if (line == nullptr) return;
    auto* bytes = static_cast<unsigned char*>(line);
    const size_t n = PixelBytes(layout);
    for (size_t i = 0; i < n; ++i)
        bytes[i] = FakeSample(plane, y, int32_t(i));
}

std::vector<unsigned char> Keep(const void* line, size_t bytes) {
    if (line == nullptr) return {};
    const auto* p = static_cast<const unsigned char*>(line);
    return std::vector<unsigned char>(p, p + bytes);
}

class RecordingPlugIn : public IPlugIn {
public:
    void Delete() override { delete this; }
    IPlugIn* CreateInstance() override { return new RecordingPlugIn(); }
    void Initialize(const char*) override {}
    int32_t IsSupportedFile(const char* fileName) override {
        const char* dot = fileName != nullptr ? std::strrchr(fileName, '.') : nullptr;
        return dot != nullptr && ::strcasecmp(dot, ".rec") == 0 ? 1 : 0;
    }
    int32_t IsSupportedFormat(const char* format) override {
        return format != nullptr && std::strcmp(format, "REC") == 0 ? 1 : 0;
    }
    const char* GetReadingType() override { return "REC"; }
    const char* GetWritingType() override { return "REC"; }
    void SetFileName(const char* fileName) override { m_fileName = fileName ? fileName : ""; }
    const char* GetFileName() override { return m_fileName.c_str(); }
    int32_t IsReady() override { return 1; }
    int32_t GetProperty(int32_t, void*) override { return 0; }
    int32_t SetProperty(int32_t, const void*) override { return 0; }

    int32_t GetFileStatus(CUImageFileStatus* status) override {
        gRecorder.calls.push_back("GetFileStatus");
        if (gRecorder.statusResult != 1) return gRecorder.statusResult;
        const CUFileInfo file = status->fileInfo;
        *status = gRecorder.status;
        status->fileInfo = file;
        return 1;
    }
    int32_t GetCameraInfo(CUCameraInfo* info) override {
        gRecorder.calls.push_back("GetCameraInfo");
        *info = gRecorder.camera;
        return gRecorder.cameraResult;
    }
    int32_t SetRequest(const CURequest& request, const CUImageFileStatus& status) override {
        gRecorder.calls.push_back("SetRequest");
        gRecorder.request = request;
        gRecorder.requestStatus = status;
        m_layout = request.bSubImage == 1 ? status.info3 : status.info;
        m_layout2 = request.bSubImage == 1 ? CUImageInfo() : status.info2;
        if (request.bSubImage == 1) m_layout2.lColorDepth = 0;
        return gRecorder.setRequestResult;
    }
    int32_t AddExtensionName(const char*) override { return 0; }
    const char* GetExtensionName() override { return ".rec;"; }
    const char* GetDecoderVersion() override { return "REC"; }
    int32_t Reserved18() override { return 0; }
    int32_t Open(const char* mode) override {
        gRecorder.calls.push_back(std::string("Open ") + (mode ? mode : "(null)"));
        m_line = 0;
        return gRecorder.openResult;
    }
    int32_t ReadLine(void* line, void* line2) override {
        gRecorder.calls.push_back("ReadLine");
        gRecorder.lines.push_back(line);
        gRecorder.lines2.push_back(line2);
        if (VxIsFailure(gRecorder.readResult)) return gRecorder.readResult;
        FillLine(line, m_layout, 0, m_line);
        if (m_layout2.lColorDepth != 0) FillLine(line2, m_layout2, 1, m_line);
        ++m_line;
        return gRecorder.readResult;
    }
    int32_t WriteLine(const void* line, const void* line2) override {
        gRecorder.calls.push_back("WriteLine");
        gRecorder.lines.push_back(line);
        gRecorder.lines2.push_back(line2);
        gRecorder.written.push_back(Keep(line, gRecorder.keepBytes));
        gRecorder.written2.push_back(Keep(line2, gRecorder.keepBytes2));
        return gRecorder.writeResult;
    }
    int32_t SeekLine(int32_t line, int origin) override {
        gRecorder.calls.push_back("SeekLine");
        gRecorder.seekLine = line;
        gRecorder.seekOrigin = origin;
        return gRecorder.seekResult;
    }
    int32_t Close() override {
        gRecorder.calls.push_back("Close");
        return gRecorder.closeResult;
    }
    IUTagDB* CreateTagDB() override { return nullptr; }

private:
    ~RecordingPlugIn() override = default;

    std::string m_fileName;
    CUImageInfo m_layout;   // main plane of the lines delivered
    CUImageInfo m_layout2;  // second plane; depth 0 for none
    int32_t m_line = 0;
};

}  // namespace

extern "C" VX_API FakeRecorder* FakeRecorderState() {
    return &gRecorder;
}

extern "C" VX_API IPlugIn* CreatePlugIn() {
    return new RecordingPlugIn();
}
