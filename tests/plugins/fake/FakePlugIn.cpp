// A configurable stand-in codec for the registry and handle tests. One source, many modules:
// each module is compiled with its own answers.
//   FAKE_NAME        text of GetDecoderVersion, so a test can tell which module answered
//   FAKE_READING     reading type text
//   FAKE_WRITING     writing type text; absent = GetWritingType answers null
//   FAKE_EXTENSIONS  ","-terminated extension list (handed out with ";" instead of ",")
//   FAKE_FORMATS     ","-terminated format names IsSupportedFormat accepts
//   FAKE_ENTRY       1 = normal entry point, 2 = entry point returning null, 0 = none
//   FAKE_NO_INSTANCE CreateInstance answers null
//   FAKE_TAGDB       CreateTagDB answers a (stub) tag database
//   FAKE_LINES       every file is a FAKE_WIDTH x FAKE_HEIGHT 24-bit RGB image whose sample c of
//                    pixel (x, y) is x * 7 + y * 31 + c * 3 + 1 (mod 256), read line by line
//   FAKE_NO_SEEK     SeekLine answers kVxErrCannotSeek (class 0x7e): the source reads forward
// Introspection for tests, looked up with dlsym: FakeLiveObjects() counts prototypes and
// instances alive, FakeLastFolder() is the folder the last Initialize received.
#include <strings.h>

#include <cstring>
#include <string>

#include "vandrel/Export.h"
#include "vandrel/PlugIn.h"
#include "vandrel/Status.h"
#include "vandrel/TagDB.h"

#ifndef FAKE_ENTRY
#define FAKE_ENTRY 1
#endif

namespace {

int gLiveObjects = 0;
std::string gLastFolder;

// Entry matching over ","-terminated lists: exact for formats, case-blind for extensions.
bool ListHas(const char* list, const char* item, bool ignoreCase) {
    if (item == nullptr || *item == 0) return false;
    const size_t n = std::strlen(item);
    for (const char* entry = list; *entry != 0;) {
        const char* end = std::strchr(entry, ',');
        size_t length = end ? size_t(end - entry) : std::strlen(entry);
        if (length == n &&
            (ignoreCase ? ::strncasecmp(entry, item, n) == 0 : std::strncmp(entry, item, n) == 0))
            return true;
        if (end == nullptr) break;
        entry = end + 1;
    }
    return false;
}

class FakeTagDB : public IUTagDB {
public:
    void Delete() override { delete this; }
    int32_t Load(const char*) override { return 1; }
    int32_t GetTagValue(int32_t, int32_t, CUtilVariant&) override { return 0; }
    int32_t SetTagValue(int32_t, int32_t, const CUtilVariant&) override { return 0; }
    int32_t RemoveTag(int32_t, int32_t) override { return 0; }
    int32_t GetTagId(int32_t, int32_t) override { return 0; }
    void Clear() override {}
    int32_t GetGroupCount() override { return 0; }
    // Identifies the module that made it.
    int32_t GetTagCount(int32_t) override { return 77; }
};

class FakePlugIn : public IPlugIn {
public:
    FakePlugIn() { ++gLiveObjects; }

    void Delete() override { delete this; }
    IPlugIn* CreateInstance() override {
#ifdef FAKE_NO_INSTANCE
        return nullptr;
#else
        return new FakePlugIn();
#endif
    }
    void Initialize(const char* folder) override {
        gLastFolder = folder ? folder : "(null)";
    }
    int32_t IsSupportedFile(const char* fileName) override {
        const char* dot = fileName ? std::strrchr(fileName, '.') : nullptr;
        return ListHas(FAKE_EXTENSIONS, dot, true) ? 1 : 0;
    }
    int32_t IsSupportedFormat(const char* format) override {
        return ListHas(FAKE_FORMATS, format, false) ? 1 : 0;
    }
    const char* GetReadingType() override {
        return FAKE_READING;
    }
    const char* GetWritingType() override {
#ifdef FAKE_WRITING
        return FAKE_WRITING;
#else
        return nullptr;
#endif
    }
    void SetFileName(const char* fileName) override {
        m_fileName = fileName ? fileName : "";
    }
    const char* GetFileName() override {
        return m_fileName.c_str();
    }
    int32_t IsReady() override {
        return m_ready;
    }
    int32_t GetProperty(int32_t, void*) override {
        return 0;
    }
    // Property 1 sets what IsReady answers.
    int32_t SetProperty(int32_t id, const void* value) override {
        if (id != 1 || value == nullptr) return 0;
        m_ready = *static_cast<const int32_t*>(value);
        return 1;
    }
    int32_t GetFileStatus(CUImageFileStatus* status) override {
#ifdef FAKE_LINES
        status->info.lWidth = FAKE_WIDTH;
        status->info.lHeight = FAKE_HEIGHT;
        status->info.lColorDepth = 24;
        status->info2 = status->info;
        status->info2.lColorDepth = 0;
#else
        (void)status;
#endif
        return 1;
    }
    int32_t GetCameraInfo(CUCameraInfo*) override {
        return 1;
    }
    int32_t SetRequest(const CURequest&, const CUImageFileStatus&) override {
        return 1;
    }
    int32_t AddExtensionName(const char* ext) override {
        m_added += ext ? ext : "";
        return 5;
    }
    const char* GetExtensionName() override {
        m_extensions = std::string(FAKE_EXTENSIONS) + m_added;
        for (char& c : m_extensions)
            c = c == ',' ? ';' : c;
        return m_extensions.c_str();
    }
    const char* GetDecoderVersion() override {
        return FAKE_NAME;
    }
    int32_t Reserved18() override {
        return 0;
    }
    int32_t Open(const char*) override {
        m_line = 0;
        return 1;
    }
    int32_t ReadLine(void* line, void*) override {
#ifdef FAKE_LINES
        if (m_line >= FAKE_HEIGHT) return kVxErrCodecState;
        auto* out = static_cast<unsigned char*>(line);
        for (int32_t x = 0; x < FAKE_WIDTH; ++x)
            for (int32_t c = 0; c < 3; ++c)
                out[3 * x + c] = (unsigned char)(x * 7 + m_line * 31 + c * 3 + 1);
        ++m_line;
#else
        (void)line;
#endif
        return 1;
    }
    int32_t WriteLine(const void*, const void*) override {
        return 1;
    }
    int32_t SeekLine(int32_t line, int) override {
#ifdef FAKE_NO_SEEK
        (void)line;
        return kVxErrCannotSeek;
#else
        m_line = line;
        return 1;
#endif
    }
    int32_t Close() override {
        return 1;
    }
    IUTagDB* CreateTagDB() override {
#ifdef FAKE_TAGDB
        return new FakeTagDB();
#else
        return nullptr;
#endif
    }

private:
    ~FakePlugIn() override {
        --gLiveObjects;
    }

    std::string m_fileName;
    std::string m_added;
    std::string m_extensions;
    int32_t m_ready = 1;
    int32_t m_line = 0;  // the line the next ReadLine delivers
};

}  // namespace

extern "C" VX_API int FakeLiveObjects() {
    return gLiveObjects;
}
extern "C" VX_API const char* FakeLastFolder() {
    return gLastFolder.c_str();
}

#if FAKE_ENTRY == 1
extern "C" VX_API IPlugIn* CreatePlugIn() {
    return new FakePlugIn();
}
#elif FAKE_ENTRY == 2
extern "C" VX_API IPlugIn* CreatePlugIn() {
    return nullptr;
}
#endif
