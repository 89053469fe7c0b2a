#include "LineConvert.h"

#include <strings.h>

#include "FormatTable.h"
#include "Interrupt.h"
#include "OptionParsers.h"
#include "PartialFile.h"

namespace vxtool {
namespace {

const char kNeedsMacro[] = "this build of the library has no macro object for that";

void Release(IUtilResizeIF* resizer) {
    if (resizer == nullptr) return;
    resizer->EndResize();
    resizer->Delete();
}

}  // namespace

// One read handle and what it delivers, the output size and the resizers between them.
struct CLineConvert::Pass {
    const CConvertOptions* options = nullptr;
    int32_t input = -1;
    CUImageInfo lines;
    CUImageInfo alphaLines;
    bool alpha = false;
    bool resize = false;
    CURequest request;  // the file to write
    IUtilResizeIF* resizer = nullptr;
    IUtilResizeIF* alphaResizer = nullptr;

    ~Pass() {
        Release(resizer);
        Release(alphaResizer);
    }
};

int32_t CLineConvert::Fail(const std::string& file, int32_t code, const std::string& detail) {
    m_failedFile = file;
    m_detail = detail;
    return code;
}

int32_t CLineConvert::Run(const CConvertOptions& options) {
    m_failedFile.clear();
    m_detail.clear();
    if (options.angle != 0.0 || ::strcasecmp(options.method.c_str(), "Squeeze") == 0 ||
        !options.alphaOutput.empty())
        return Fail(options.input, kVxErrMacroUnsupported, kNeedsMacro);
    const CFormatTable table(m_service);
    const std::string format =
        options.format.empty() ? table.FormatForPath(options.output) : options.format;
    if (format.empty())
        return Fail(options.output, kVxErrNoPlugIn,
                    "no writer for this extension; name one with --format");
    if (::strcasecmp(format.c_str(), "PGM") == 0)
        return Fail(options.output, kVxErrMacroUnsupported, kNeedsMacro);

    CPartialFile partial(options.output);
    const int32_t result = Stream(options, format, partial.path());
    if (VxIsFailure(result)) return result;
    if (CInterruptGuard::Requested()) return Fail(options.output, kVxErrCancelled);
    if (!partial.Commit()) return Fail(options.output, kVxErrCodecIO, "could not be put in place");
    return 1;
}

int32_t CLineConvert::Stream(const CConvertOptions& options, const std::string& format,
                             const std::string& partial) {
    Pass pass;
    pass.options = &options;
    pass.input = m_service->GetImageHandle(options.input.c_str());
    if (pass.input < 0) return Fail(options.input, pass.input);
    CUImageFileStatus status;
    int32_t result = m_service->GetFileStatus(pass.input, &status);
    if (result >= 0) {
        CURequest read;
        read.info.lColorDepth = options.depth != 0             ? options.depth
                                : status.info.lColorDepth > 24 ? 48
                                                               : 24;
        read.info.strColorSpace = options.colorSpace.empty() ? status.info.strColorSpace.c_str()
                                                             : options.colorSpace.c_str();
        result = m_service->BeginReadLine(pass.input, read, &pass.lines, &pass.alphaLines);
    }
    if (VxIsFailure(result)) {
        m_service->DeleteImageHandle(pass.input);
        return Fail(options.input, result);
    }
    pass.alpha = pass.alphaLines.lColorDepth > 0;

    int32_t width = 0, height = 0;
    FitSize(pass.lines.lWidth, pass.lines.lHeight, options.width, options.height, &width, &height);
    if (width == 0) {
        width = pass.lines.lWidth;
        height = pass.lines.lHeight;
    }
    pass.resize = width != pass.lines.lWidth || height != pass.lines.lHeight;
    CURequest& r = pass.request;
    r.info = pass.lines;
    r.info.lWidth = width;
    r.info.lHeight = height;
    r.info.lRowBytes = 0;
    r.lQuality = options.quality;
    r.strResizeMethod = options.method.c_str();
    r.strFormatName = format.c_str();
    r.lOption3 = pass.alpha ? 1 : 0;
    if (pass.resize) {
        pass.resizer = CreateUtilResize();
        pass.alphaResizer = pass.alpha ? CreateUtilResize() : nullptr;
        if (pass.resizer == nullptr || (pass.alpha && pass.alphaResizer == nullptr)) {
            result = kVxErrMacroEngines;
        } else {
            result = pass.resizer->BeginResize(pass.lines, r);
            if (result >= 0 && pass.alpha)
                result = pass.alphaResizer->BeginResize(pass.alphaLines, r);
        }
    }
    if (result >= 0) {
        result = Write(pass, partial, r.info.lColorDepth);
    } else {
        Fail(options.input, result);
    }
    m_service->EndReadLine(pass.input);
    m_service->DeleteImageHandle(pass.input);
    return result;
}

int32_t CLineConvert::Write(Pass& pass, const std::string& partial, int32_t depth) {
    const CConvertOptions& options = *pass.options;
    CURequest request = pass.request;
    request.info.lColorDepth = depth;
    // The lines handed over: as read, at the output size.
    CUImageInfo lines = pass.lines, alphaLines = pass.alphaLines;
    lines.lWidth = alphaLines.lWidth = request.info.lWidth;
    lines.lHeight = alphaLines.lHeight = request.info.lHeight;
    lines.lRowBytes = alphaLines.lRowBytes = 0;
    const int32_t output = m_service->BeginWriteLine(partial.c_str(), request, &lines,
                                                     pass.alpha ? &alphaLines : nullptr);
    // A writer that refuses 16-bit samples still takes the picture at 8 bits, unless the user
    // asked for 16.
    if (output == kVxErrOpenForWrite && options.depth == 0 && depth == 48)
        return Write(pass, partial, 24);
    if (output < 0) return Fail(options.output, output);

    int32_t result = 1;
    int32_t written = 0;
    // A reducing resizer may have every output line before the last source line: stop there.
    for (int32_t y = 0; y < pass.lines.lHeight && written < request.info.lHeight && result >= 0;
         ++y) {
        void* line = nullptr;
        void* alphaLine = nullptr;
        const int32_t read = m_service->ReadLine(pass.input, &line, &alphaLine);
        if (VxIsFailure(read)) {
            result = Fail(options.input, read);
            break;
        }
        if (!pass.alpha) alphaLine = nullptr;
        if (!pass.resize) {
            result = m_service->WriteLine(output, line, alphaLine);
            ++written;
        } else {
            int32_t ready = pass.resizer->SetLine(line);
            if (ready >= 0 && pass.alpha) pass.alphaResizer->SetLine(alphaLine);
            for (; ready > 0 && result >= 0; --ready) {
                result = m_service->WriteLine(output, pass.resizer->GetLine(),
                                              pass.alpha ? pass.alphaResizer->GetLine() : nullptr);
                ++written;
            }
            if (ready < 0) result = ready;
        }
        if (result < 0 && m_failedFile.empty()) Fail(options.output, result);
        if (result >= 0 && CInterruptGuard::Requested())
            result = Fail(options.output, kVxErrCancelled);
    }
    const int32_t ended = m_service->EndWriteLine(output);
    m_service->DeleteImageHandle(output);
    if (result < 0) return result;
    return ended < 0 ? Fail(options.output, ended) : 1;
}

}  // namespace vxtool
