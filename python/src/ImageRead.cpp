#include "ImageRead.h"

#include <strings.h>

#include <cstring>

#include "Engines.h"
#include "Failure.h"
#include "PixelArray.h"

namespace py = pybind11;

namespace vxpy {
namespace {

// One handle with its read. Whatever the decoder answers, the read is ended before the handle
// goes: the service stops the process when a handle dies with its line buffers still held.
class CReadSession {
public:
    CReadSession(IVandrelIF* service, const std::string& path) : m_service(service) {
        m_handle = Check(service->GetImageHandle(path.c_str()), path);
    }
    ~CReadSession() {
        if (m_begun) m_service->EndReadLine(m_handle);
        m_service->DeleteImageHandle(m_handle);
    }
    CReadSession(const CReadSession&) = delete;
    CReadSession& operator=(const CReadSession&) = delete;

    int32_t handle() const { return m_handle; }
    int32_t Begin(const CURequest& request, CUImageInfo* info, CUImageInfo* info2) {
        m_begun = true;
        return m_service->BeginReadLine(m_handle, request, info, info2);
    }

private:
    IVandrelIF* m_service;
    int32_t m_handle = 0;
    bool m_begun = false;
};

// A file that stores fewer than three samples per pixel, but for alpha, may be grey (a palette
// is the exception, so the pixels decide in the end).
bool StoredAsGrey(const CUImageFileStatus& status) {
    if (::strcasecmp(status.strFormat.c_str(), "PGM") == 0) return true;
    const int32_t sampleBits = status.info.lColorDepth / 3;
    const int32_t alphaBits = status.info2.lColorDepth > 0 ? status.info2.lColorDepth : 0;
    return status.lValue1 > 0 && status.lValue1 - alphaBits < 3 * sampleBits;
}

template <typename Sample>
bool AllGrey(const Sample* rgb, size_t pixels) {
    bool grey = true;
    for (size_t i = 0; i < pixels; ++i)
        grey &= rgb[3 * i] == rgb[3 * i + 1] && rgb[3 * i] == rgb[3 * i + 2];
    return grey;
}

template <typename Sample>
void TakeFirstSample(const Sample* rgb, size_t pixels, Sample* grey) {
    for (size_t i = 0; i < pixels; ++i)
        grey[i] = rgb[3 * i];
}

struct CReadOutcome {
    int32_t warning = 1;
    bool grey = false;
};

void ReadLines(IVandrelIF* service, const CReadSession& session, const std::string& path,
               const CPixelShape& shape, unsigned char* pixels, CReadOutcome* outcome) {
    const size_t rowBytes = size_t(shape.RowBytes());
    const size_t colorBytes = size_t(shape.width) * 3 * size_t(shape.sampleBytes);
    for (int32_t y = 0; y < shape.height; ++y) {
        void* line = nullptr;
        void* line2 = nullptr;
        const int32_t result = Check(service->ReadLine(session.handle(), &line, &line2), path);
        if (VxIsWarning(result) && outcome->warning == 1) outcome->warning = result;
        unsigned char* row = pixels + size_t(y) * rowBytes;
        if (line == nullptr) throw CFailure{kVxErrMacroLineIO, path, ""};
        if (shape.HasAlpha()) {
            if (line2 == nullptr) throw CFailure{kVxErrMacroLineIO, path, "no alpha line"};
            MergeAlpha(static_cast<unsigned char*>(line), static_cast<unsigned char*>(line2),
                       shape.width, shape.sampleBytes, row);
        } else {
            std::memcpy(row, line, colorBytes);
        }
    }
}

}  // namespace

py::array ReadImage(const std::string& path) {
    CEngines& engines = CEngines::ForThisThread();
    CReadOutcome outcome;
    CPixelShape shape;
    py::array image;
    {
        py::gil_scoped_release unlocked;
        IVandrelIF* service = engines.Service();
        CReadSession session(service, path);
        CUImageFileStatus status;
        outcome.warning = Check(service->GetFileStatus(session.handle(), &status), path);
        if (outcome.warning > 0) outcome.warning = 1;

        CURequest request;
        request.info = status.info;
        request.info.lColorDepth = status.info.lColorDepth > 24 ? 48 : 24;
        request.info.lRowBytes = 0;
        request.info.bNative = 0;
        request.info.strColorSpace = "RGB";
        CUImageInfo info, info2;
        const int32_t begun = Check(session.Begin(request, &info, &info2), path);
        if (VxIsWarning(begun) && outcome.warning == 1) outcome.warning = begun;
        if (info.lWidth < 1 || info.lHeight < 1) throw CFailure{kVxErrMacroNoImage, path, ""};

        shape.width = info.lWidth;
        shape.height = info.lHeight;
        shape.sampleBytes = info.lColorDepth > 24 ? 2 : 1;
        shape.channels = info2.lColorDepth > 0 ? 4 : 3;
        {
            py::gil_scoped_acquire locked;
            image = MakeArray(shape);
        }
        auto* pixels = static_cast<unsigned char*>(image.mutable_data());
        ReadLines(service, session, path, shape, pixels, &outcome);

        const size_t count = size_t(shape.width) * size_t(shape.height);
        if (!shape.HasAlpha() && StoredAsGrey(status)) {
            outcome.grey = shape.sampleBytes == 2
                               ? AllGrey(reinterpret_cast<const uint16_t*>(pixels), count)
                               : AllGrey(pixels, count);
        }
    }
    WarnAbout(outcome.warning, path);
    if (!outcome.grey) return image;

    CPixelShape greyShape = shape;
    greyShape.channels = 1;
    py::array grey = MakeArray(greyShape);
    const size_t count = size_t(shape.width) * size_t(shape.height);
    const void* rgb = image.data();
    void* out = grey.mutable_data();
    {
        py::gil_scoped_release unlocked;
        if (shape.sampleBytes == 2) {
            TakeFirstSample(static_cast<const uint16_t*>(rgb), count, static_cast<uint16_t*>(out));
        } else {
            TakeFirstSample(static_cast<const unsigned char*>(rgb), count,
                            static_cast<unsigned char*>(out));
        }
    }
    return grey;
}

}  // namespace vxpy
