// Stand-ins for the macro tests: an image-file service that serves in-memory images line by
// line (and can refuse to seek, warn, fail, or report decoder progress), a callback that records
// what it is told and can cancel at a chosen call, and container helpers.
#ifndef VANDREL_TESTS_MACRO_MACROTESTSUPPORT_H
#define VANDREL_TESTS_MACRO_MACROTESTSUPPORT_H

#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "macro/UtilMacro.h"
#include "service/PixelConvert.h"
#include "vandrel/UtilContainerIF.h"
#include "vandrel/VandrelIF.h"

namespace vxtest {

// An image held in memory: rows of padded lines, and optionally an alpha plane.
struct MemImage {
    CUImageInfo info;
    std::vector<std::vector<unsigned char>> rows;
    int32_t alphaDepth = 0;
    std::vector<std::vector<unsigned char>> alphaRows;

    // Sample (x, y, channel) of a 24-bit image: distinct for every pixel of a small image.
    static unsigned char Sample(int32_t x, int32_t y, int32_t c) {
        return (unsigned char)(x * 7 + y * 31 + c * 3 + 1);
    }
    static MemImage Make(int32_t width, int32_t height, int32_t depth = 24,
                         int32_t alphaDepth = 0) {
        MemImage m;
        m.info.lWidth = width;
        m.info.lHeight = height;
        m.info.lColorDepth = depth;
        m.info.lRowBytes = VxPaddedRowBytes(width, depth);
        const int32_t bytes = depth / 8;
        for (int32_t y = 0; y < height; ++y) {
            std::vector<unsigned char> row(size_t(m.info.lRowBytes), 0);
            for (int32_t x = 0; x < width; ++x)
                for (int32_t c = 0; c < bytes; ++c)
                    row[size_t(x * bytes + c)] = Sample(x, y, c);
            m.rows.push_back(row);
        }
        m.alphaDepth = alphaDepth;
        if (alphaDepth == 8) {
            for (int32_t y = 0; y < height; ++y) {
                std::vector<unsigned char> row(size_t(VxPaddedRowBytes(width, 8)), 0);
                for (int32_t x = 0; x < width; ++x)
                    row[size_t(x)] = (unsigned char)(x + 100 * y);
                m.alphaRows.push_back(row);
            }
        }
        return m;
    }
    // The alpha plane as an 8-bit image of its own.
    MemImage Alpha() const {
        MemImage a;
        a.info = info;
        a.info.lColorDepth = 8;
        a.info.lRowBytes = VxPaddedRowBytes(info.lWidth, 8);
        a.rows = alphaRows;
        return a;
    }
};

// Everything the stand-in service saw of one request.
struct ServiceLog {
    std::vector<int32_t> linesRead;  // in order, the line number each ReadLine delivered
    std::vector<int32_t> seeks;      // targets of SeekLine calls
    int32_t beginReads = 0;
    int32_t endReads = 0;
    IMessageProc* messageProcAtBegin = nullptr;
    CUtilParamArray* paramListAtBegin = nullptr;
    CURequest writeRequest;
    bool writeHadAlpha = false;
    int32_t endWrites = 0;
    int32_t deletedHandles = 0;
};

class ScriptedService : public IVandrelIF {
public:
    std::map<std::string, MemImage> files;
    ServiceLog log;
    bool canSeek = true;
    int32_t beginReadResult = 1;      // a warning or an error to answer BeginReadLine with
    int32_t decoderProgressFlag = 0;  // sent as message 1 when a read begins
    bool sendLineMessages = false;    // message 2 with the line count after every line read
    int32_t failWriteAtLine = -1;
    int32_t failReadAtLine = -1;

    void Delete() override {}
    int32_t AddPlugInPath(const char*) override { return 1; }
    const char* GetSupportedReadingType() override { return ""; }
    const char* GetSupportedWritingType() override { return ""; }
    int32_t AddExtensionName(const char*, const char*) override { return 1; }
    const char* GetExtensionName(const char*) override { return ""; }
    const char* GetDecoderVersion(const char*) override { return ""; }

    int32_t GetImageHandle(const char* fileName) override {
        if (fileName == nullptr || files.count(fileName) == 0) return kVxErrBadHandle;
        m_handles[++m_lastHandle] = fileName;
        return m_lastHandle;
    }
    int32_t DeleteImageHandle(int32_t handle) override {
        ++log.deletedHandles;
        return m_handles.erase(handle) == 1 ? 1 : kVxErrBadHandle;
    }
    int32_t GetFileInfo(const char*, CUFileInfo*) override { return 1; }
    int32_t GetFileStatus(const char*, CUImageFileStatus*) override { return kVxErrBadHandle; }
    int32_t GetFileStatus(int32_t handle, CUImageFileStatus* status) override {
        MemImage* image = ImageOf(handle);
        if (image == nullptr) return kVxErrBadHandle;
        *status = CUImageFileStatus();
        status->info = image->info;
        status->info2 = image->info;
        status->info2.lColorDepth = image->alphaDepth;
        return 1;
    }
    int32_t GetCameraInfo(const char*, CUCameraInfo*) override { return 1; }
    int32_t GetCameraInfo(int32_t, CUCameraInfo*) override { return 1; }

    // Lines are handed out in the file's own layout; the request is only recorded.
    int32_t BeginReadLine(int32_t handle, const CURequest& request, CUImageInfo* info,
                          CUImageInfo* info2) override {
        MemImage* image = ImageOf(handle);
        if (image == nullptr) return kVxErrBadHandle;
        ++log.beginReads;
        log.messageProcAtBegin = request.pMessageProc;
        log.paramListAtBegin = request.pParamList;
        if (VxIsFailure(beginReadResult)) return beginReadResult;
        m_reading = image;
        m_messages = request.pMessageProc;
        m_next = 0;
        *info = image->info;
        *info2 = image->info;
        info2->lColorDepth = image->alphaDepth;
        info2->lRowBytes = VxPaddedRowBytes(image->info.lWidth, image->alphaDepth);
        if (decoderProgressFlag != 0 && m_messages != nullptr) {
            int32_t flag = decoderProgressFlag;
            m_messages->MessageProc(1, &flag);
        }
        return beginReadResult;
    }
    int32_t ReadLine(int32_t, void** line, void** line2) override {
        if (m_reading == nullptr || m_next >= m_reading->info.lHeight) return kVxErrCodecState;
        if (m_next == failReadAtLine) return kVxErrCodecData;
        log.linesRead.push_back(m_next);
        *line = m_reading->rows[size_t(m_next)].data();
        if (line2 != nullptr)
            *line2 =
                m_reading->alphaDepth != 0 ? m_reading->alphaRows[size_t(m_next)].data() : nullptr;
        ++m_next;
        if (sendLineMessages && m_messages != nullptr) {
            int32_t lines = m_reading->info.lHeight;
            if (m_messages->MessageProc(2, &lines) < 0) return kVxErrCancelled;
        }
        return 1;
    }
    int32_t ReadLine(int32_t, void*, void*) override { return kVxErrInvalidArgument; }
    int32_t EndReadLine(int32_t) override {
        ++log.endReads;
        m_reading = nullptr;
        return 1;
    }
    int32_t SeekLine(int32_t, int32_t line, int) override {
        if (!canSeek) return kVxErrCannotSeek;
        log.seeks.push_back(line);
        m_next = line;
        return 1;
    }

    // Writing collects the lines into files[path] once the write ends.
    int32_t BeginWriteLine(const char* fileName, const CURequest& request, const CUImageInfo* info,
                           const CUImageInfo* info2) override {
        if (fileName == nullptr || info == nullptr) return kVxErrInvalidArgument;
        log.writeRequest = request;
        log.writeHadAlpha = info2 != nullptr;
        m_writePath = fileName;
        m_writing = MemImage();
        m_writing.info = *info;
        m_writing.alphaDepth = info2 != nullptr ? info2->lColorDepth : 0;
        m_writeAlphaBytes = info2 != nullptr ? info2->RowBytes() : 0;
        return 9000;
    }
    int32_t WriteLine(int32_t, const void* line, const void* line2) override {
        if (int32_t(m_writing.rows.size()) == failWriteAtLine) return kVxErrCodecIO;
        const auto* p = static_cast<const unsigned char*>(line);
        m_writing.rows.emplace_back(p, p + m_writing.info.RowBytes());
        if (line2 != nullptr) {
            const auto* a = static_cast<const unsigned char*>(line2);
            m_writing.alphaRows.emplace_back(a, a + m_writeAlphaBytes);
        }
        return 1;
    }
    int32_t EndWriteLine(int32_t) override {
        ++log.endWrites;
        m_writing.info.lHeight = int32_t(m_writing.rows.size());
        files[m_writePath] = m_writing;
        return 1;
    }

    int32_t ConvertYccToRgb(void* d, void* s, const CUImageInfo& i) override {
        return CPixelConvert::ConvertYccToRgb(d, s, i);
    }
    int32_t ConvertRgbToYcc(void* d, void* s, const CUImageInfo& i) override {
        return CPixelConvert::ConvertRgbToYcc(d, s, i);
    }
    int32_t ConvertNativeToLogical(void* d, const unsigned char* s, const CUImageInfo& i) override {
        return CPixelConvert::ConvertNativeToLogical(d, s, i);
    }
    int32_t ConvertLogicalToNative(unsigned char* d, const void* s, const CUImageInfo& i,
                                   int32_t line) override {
        return CPixelConvert::ConvertLogicalToNative(d, s, i, line);
    }
    int32_t Convert8To16(const unsigned char* s, unsigned short* d, int32_t n) override {
        return CPixelConvert::Convert8To16(s, d, n);
    }
    int32_t Convert16To8(const unsigned short* s, unsigned char* d, int32_t n, int32_t ch,
                         int32_t line) override {
        return CPixelConvert::Convert16To8(s, d, n, ch, line);
    }
    int32_t ConvertRgb8ToYcc16(const unsigned char* s, unsigned short* d, int32_t n) override {
        return CPixelConvert::ConvertRgb8ToYcc16(s, d, n);
    }
    int32_t ConvertRgb16ToYcc8(const unsigned short* s, unsigned char* d, int32_t n,
                               int32_t line) override {
        return CPixelConvert::ConvertRgb16ToYcc8(s, d, n, line);
    }
    int32_t ConvertYcc8ToRgb16(const unsigned char* s, unsigned short* d, int32_t n) override {
        return CPixelConvert::ConvertYcc8ToRgb16(s, d, n);
    }
    int32_t ConvertYcc16ToRgb8(const unsigned short* s, unsigned char* d, int32_t n,
                               int32_t line) override {
        return CPixelConvert::ConvertYcc16ToRgb8(s, d, n, line);
    }
    IUTagDB* CreateTagDB() override { return nullptr; }

    int32_t OpenHandles() const { return int32_t(m_handles.size()); }

private:
    MemImage* ImageOf(int32_t handle) {
        auto h = m_handles.find(handle);
        if (h == m_handles.end()) return nullptr;
        auto f = files.find(h->second);
        return f == files.end() ? nullptr : &f->second;
    }

    std::map<int32_t, std::string> m_handles;
    int32_t m_lastHandle = 0;
    MemImage* m_reading = nullptr;
    IMessageProc* m_messages = nullptr;
    int32_t m_next = 0;
    std::string m_writePath;
    MemImage m_writing;
    int32_t m_writeAlphaBytes = 0;
};

// Records the calls it receives as text ("Start 256", "Begin 0", "Progress 42", "End",
// "Finish") and answers 0 to the call named in cancelAt (its first word), once.
class RecordingCallback : public IMacroCallback {
public:
    std::vector<std::string> calls;
    std::string cancelAt;
    int32_t cancelAfter = 0;  // how many matching calls go through before the cancel

    int32_t Start(int32_t total) override { return Answer("Start", std::to_string(total)); }
    int32_t Finish() override { return Answer("Finish", ""); }
    int32_t BeginProcess(Process stage) override {
        return Answer("Begin", std::to_string(int(stage)));
    }
    int32_t Progress(uint32_t steps) override { return Answer("Progress", std::to_string(steps)); }
    int32_t EndProcess() override { return Answer("End", ""); }

    // The sum of all Progress steps.
    uint32_t TotalSteps() const {
        uint32_t sum = 0;
        for (const std::string& c : calls)
            if (c.rfind("Progress ", 0) == 0) sum += uint32_t(std::stoul(c.substr(9)));
        return sum;
    }
    // The calls other than Progress, in order.
    std::vector<std::string> Stages() const {
        std::vector<std::string> out;
        for (const std::string& c : calls)
            if (c.rfind("Progress", 0) != 0) out.push_back(c);
        return out;
    }

private:
    int32_t Answer(const std::string& name, const std::string& arg) {
        calls.push_back(arg.empty() ? name : name + " " + arg);
        if (name == cancelAt && cancelAfter-- == 0) return 0;
        return 1;
    }
};

// A client message procedure that counts what reaches it.
class CountingMessageProc : public IMessageProc {
public:
    int32_t lineMessages = 0;
    int32_t MessageProc(int message, void*) override {
        if (message == 2) ++lineMessages;
        return 1;
    }
};

// A binary PPM of the test pattern.
inline std::string PpmOf(const MemImage& image) {
    std::string bytes = "P6\n" + std::to_string(image.info.lWidth) + " " +
                        std::to_string(image.info.lHeight) + "\n255\n";
    for (const auto& row : image.rows)
        bytes.append(reinterpret_cast<const char*>(row.data()), size_t(image.info.lWidth) * 3);
    return bytes;
}

struct Deleter {
    template <typename T>
    void operator()(T* p) const {
        if (p != nullptr) p->Delete();
    }
};
using ContainerPtr = std::unique_ptr<IUtilContainerIF, Deleter>;

inline ContainerPtr NewContainer() {
    return ContainerPtr(CreateUtilContainer());
}

// A container holding the image (and nothing when the image has no rows).
inline ContainerPtr ContainerOf(const MemImage& image) {
    ContainerPtr c = NewContainer();
    c->Create(image.info, 1000, 128);
    for (size_t y = 0; y < image.rows.size(); ++y)
        c->SetLine(image.rows[y].data(), int32_t(y), 0, -1);
    return c;
}
inline ContainerPtr AlphaContainerOf(const MemImage& image) {
    return ContainerOf(image.Alpha());
}

// The bytes of a container's line without its padding.
inline std::vector<unsigned char> LineOf(const IUtilContainerIF* c, int32_t y) {
    CUImageInfo info;
    c->GetImageInfo(info);
    const auto* p = static_cast<const unsigned char*>(c->GetLine(y, 0, -1));
    if (p == nullptr) return {};
    return std::vector<unsigned char>(p, p + size_t(info.lWidth) * size_t(info.lColorDepth / 8));
}
inline std::vector<unsigned char> Unpadded(const std::vector<unsigned char>& row,
                                           const CUImageInfo& info) {
    return std::vector<unsigned char>(row.begin(),
                                      row.begin() + info.lWidth * (info.lColorDepth / 8));
}

using MacroPtr = std::unique_ptr<CUtilMacro, Deleter>;

inline MacroPtr NewMacro(IVandrelIF* service, IMacroCallback* callback = nullptr) {
    MacroPtr macro(static_cast<CUtilMacro*>(CreateUtilMacro()));
    macro->SetVandrelObj(service);
    macro->SetCallbackObj(callback);
    return macro;
}

}  // namespace vxtest

#endif
