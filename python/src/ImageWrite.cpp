#include "ImageWrite.h"

#include <cstring>
#include <vector>

#include "Engines.h"
#include "Failure.h"
#include "FormatTable.h"
#include "PartialFile.h"
#include "PixelArray.h"
#include "WriterSettings.h"

namespace py = pybind11;

namespace vxpy {
namespace {

struct CWritePlan {
    CPixelShape shape;
    CURequest request;
    CUImageInfo caller;   // the lines as handed over
    CUImageInfo caller2;  // the alpha lines
};

// Lines go through buffers padded to whole words: the service copies a caller's line in
// whole 32-bit words, which may reach past the end of the array's last row.
class CLineWriter {
public:
    CLineWriter(IVandrelIF* service, const CWritePlan& plan) : m_service(service), m_plan(plan) {}

    int32_t Write(const std::string& target, const unsigned char* pixels) {
        const CPixelShape& s = m_plan.shape;
        const bool grey = s.channels == 1;
        const int32_t handle = m_service->BeginWriteLine(target.c_str(), m_plan.request,
                                                         grey ? nullptr : &m_plan.caller,
                                                         s.HasAlpha() ? &m_plan.caller2 : nullptr);
        if (handle < 0) return handle;
        std::vector<unsigned char> line(
            size_t(VxPaddedRowBytes(s.width, m_plan.caller.lColorDepth)) + 8);
        std::vector<unsigned char> line2(s.HasAlpha() ? size_t(VxPaddedRowBytes(s.width, 16)) + 8
                                                      : 0);
        const size_t rowBytes = size_t(s.RowBytes());
        int32_t result = 1;
        for (int32_t y = 0; y < s.height && result >= 0; ++y) {
            const unsigned char* row = pixels + size_t(y) * rowBytes;
            if (s.HasAlpha()) {
                SplitAlpha(row, s.width, s.sampleBytes, line.data(), line2.data());
            } else {
                std::memcpy(line.data(), row, rowBytes);
            }
            result =
                m_service->WriteLine(handle, line.data(), s.HasAlpha() ? line2.data() : nullptr);
        }
        const int32_t ended = m_service->EndWriteLine(handle);
        m_service->DeleteImageHandle(handle);
        if (result < 0) return result;
        return ended < 0 ? ended : 1;
    }

private:
    IVandrelIF* m_service;
    const CWritePlan& m_plan;
};

CWritePlan PlanWrite(const CPixelShape& shape, const CWriteOptions& options,
                     const std::string& format) {
    CWritePlan plan;
    plan.shape = shape;
    plan.caller = shape.ColorInfo();
    plan.caller.lRowBytes = 0;
    plan.caller2 = shape.AlphaInfo();
    plan.caller2.lRowBytes = 0;
    CURequest& r = plan.request;
    r.info = plan.caller;
    if (options.depth != 0) r.info.lColorDepth = options.depth;
    if (!options.colorSpace.empty()) r.info.strColorSpace = options.colorSpace.c_str();
    r.lQuality = options.settings.quality != 0 ? options.settings.quality : vxtool::kDefaultQuality;
    r.strFormatName = format.c_str();
    r.lOption3 = shape.HasAlpha() ? 1 : 0;
    return plan;
}

void CheckOptions(const CPixelShape& shape, const CWriteOptions& options) {
    if (options.depth != 0 && options.depth != 24 && options.depth != 48)
        throw py::value_error("depth: expected 24 or 48");
    if (shape.channels == 1 && (options.depth != 0 || !options.colorSpace.empty()))
        throw py::value_error(
            "depth and colorspace apply to colour arrays; a grey array is "
            "written as it is");
}

}  // namespace

void WriteImage(const std::string& path, const py::array& array, const CWriteOptions& options) {
    const CPixelShape shape = InspectArray(array, "array");
    CheckOptions(shape, options);
    const auto* pixels = static_cast<const unsigned char*>(array.data());
    CEngines& engines = CEngines::ForThisThread();
    py::gil_scoped_release unlocked;
    IVandrelIF* service = engines.Service();
    std::string format = options.format;
    if (format.empty()) format = vxtool::CFormatTable(service).FormatForPath(path);
    if (format.empty())
        throw CFailure{kVxErrNoPlugIn, path, "no writer for this extension; name one with format="};

    // The tool's writer settings, checked against what this writer takes and carried to it
    // as plug-in properties in the request's parameter list.
    vxtool::CConvertOptions asked = options.settings;
    asked.depth = options.depth;
    asked.colorSpace = options.colorSpace;
    vxtool::CWriterSettings settings;
    const std::string misuse = settings.Choose(engines.Shelf(), format, asked);
    if (!misuse.empty()) throw py::value_error(misuse);
    CWritePlan plan = PlanWrite(shape, options, format);
    plan.request.pParamList = settings.Entries();
    vxtool::CPartialFile partial(path);
    int32_t result = CLineWriter(service, plan).Write(partial.path(), pixels);
    // As the tool does: a writer that refuses 16-bit samples still takes the picture at 8 bits,
    // unless the caller asked for 16.
    if (result == kVxErrOpenForWrite && options.depth == 0 && plan.request.info.lColorDepth == 48) {
        plan.request.info.lColorDepth = 24;
        result = CLineWriter(service, plan).Write(partial.path(), pixels);
    }
    Check(result, path);
    if (!partial.Commit()) throw CFailure{kVxErrCodecIO, path, "could not be put in place"};
}

}  // namespace vxpy
