#include "ConvertJob.h"

#include <strings.h>

#include <cmath>
#include <cstring>
#include <memory>

#include "FormatTable.h"
#include "Interrupt.h"
#include "OptionParsers.h"
#include "PartialFile.h"
#include "ShrinkingSource.h"

namespace vxtool {
namespace {

constexpr double kPi = 3.14159265358979323846;

struct ContainerDeleter {
    void operator()(IUtilContainerIF* c) const {
        if (c != nullptr) c->Delete();
    }
};
typedef std::unique_ptr<IUtilContainerIF, ContainerDeleter> ContainerPtr;

bool SameName(const std::string& a, const char* b) {
    return ::strcasecmp(a.c_str(), b) == 0;
}

// The grey variant of the PNM writer takes one sample per pixel.
bool IsGreyFormat(const std::string& format) {
    return SameName(format, "PGM");
}

bool WritesFormat(const CFormatTable& table, const std::string& format) {
    for (const CFormatEntry& e : table.entries())
        if (e.writes && SameName(format, e.name.c_str())) return true;
    return false;
}

}  // namespace

struct CConvertJob::Plan {
    CConvertOptions options;
    CUImageFileStatus status;
    std::string format;
    std::string alphaFormat;
    CURequest request;  // the whole job as one request
    bool resize = false;
    bool rotate = false;
    bool hasAlpha = false;
    bool depthChosen = false;
};

CConvertJob::CConvertJob(IVandrelIF* service, IMacroCallback* callback)
    : m_service(service), m_callback(callback) {}

CConvertJob::~CConvertJob() {
    if (m_macro != nullptr) m_macro->Delete();
}

int32_t CConvertJob::Note(const std::string& file, int32_t code) {
    if (VxIsWarning(code) && m_warning == 1) {
        m_warning = code;
        m_warningFile = file;
    }
    return code;
}

int32_t CConvertJob::Fail(const std::string& file, int32_t code, const std::string& detail) {
    m_failedFile = file;
    m_detail = detail;
    return code;
}

void CConvertJob::OutputSize(const CConvertOptions& options, int32_t sourceWidth,
                             int32_t sourceHeight, int32_t* width, int32_t* height) {
    double w = sourceWidth, h = sourceHeight;
    if (options.angle != 0.0) {
        const double a = options.angle * kPi / 180.0;
        const double c = std::fabs(std::cos(a)), s = std::fabs(std::sin(a));
        const double rw = w * c + h * s, rh = w * s + h * c;
        w = rw;
        h = rh;
    }
    FitSize(int32_t(std::lround(w)), int32_t(std::lround(h)), options.width, options.height, width,
            height);
}

int32_t CConvertJob::Prepare(const CConvertOptions& options, Plan* plan) {
    plan->options = options;
    const int32_t status = m_service->GetFileStatus(options.input.c_str(), &plan->status);
    if (status < 0) return Fail(options.input, status);
    const CUImageInfo& source = plan->status.info;

    const CFormatTable table(m_service);
    plan->format = options.format.empty() ? table.FormatForPath(options.output) : options.format;
    if (plan->format.empty())
        return Fail(options.output, kVxErrNoPlugIn,
                    "no writer for this extension; name one with --format");
    if (!WritesFormat(table, plan->format) && !ServiceKnowsFormat(m_service, plan->format))
        return Fail(options.output, kVxErrNoPlugIn, "no plug-in writes " + plan->format);

    plan->hasAlpha = plan->status.info2.lColorDepth > 0;
    if (!options.alphaOutput.empty()) {
        if (!plan->hasAlpha)
            return Fail(options.input, kVxErrInvalidArgument, "the file has no alpha plane");
        plan->alphaFormat = table.FormatForPath(options.alphaOutput);
        if (plan->alphaFormat.empty())
            return Fail(options.alphaOutput, kVxErrNoPlugIn, "no writer for this extension");
    }

    int32_t width = 0, height = 0;
    OutputSize(options, source.lWidth, source.lHeight, &width, &height);
    plan->rotate = options.angle != 0.0;
    plan->resize =
        width > 0 && (plan->rotate || width != source.lWidth || height != source.lHeight);
    plan->depthChosen = options.depth != 0;

    CURequest& r = plan->request;
    r.info.lWidth = plan->resize ? width : 0;
    r.info.lHeight = plan->resize ? height : 0;
    r.info.lColorDepth = options.depth != 0 ? options.depth : source.lColorDepth > 24 ? 48 : 24;
    r.info.bNative = 0;
    r.info.strColorSpace =
        options.colorSpace.empty() ? source.strColorSpace.c_str() : options.colorSpace.c_str();
    r.dAngle = options.angle;
    r.lBKColor = options.background;
    r.lQuality = options.quality;
    r.strResizeMethod = options.method.c_str();
    r.strFormatName = plan->format.c_str();
    r.lOption3 = plan->hasAlpha ? 1 : 0;
    return 1;
}

int32_t CConvertJob::Run(const CConvertOptions& options) {
    m_failedFile.clear();
    m_detail.clear();
    m_warning = 1;
    m_warningFile.clear();
    Plan plan;
    int32_t result = Prepare(options, &plan);
    if (result < 0) return result;

    m_macro = m_macro != nullptr ? m_macro : CreateUtilMacro();
    if (m_macro == nullptr) return Fail(options.input, kVxErrMacroEngines);
    result = m_macro->SetVandrelObj(m_service);
    if (result < 0) return Fail(options.input, result);
    m_macro->SetCallbackObj(m_callback);

    CPartialFile partial(options.output);
    std::unique_ptr<CPartialFile> alphaPartial;
    if (!options.alphaOutput.empty()) alphaPartial.reset(new CPartialFile(options.alphaOutput));

    // One file-to-file request does everything when the job resizes or rotates; the squeeze
    // method exists only while decoding, and a plain conversion, a grey file or a separate
    // alpha file need the decoded image in hand.
    const bool fileToFile = (plan.resize || plan.rotate) && !IsGreyFormat(plan.format) &&
                            options.alphaOutput.empty() && !SameName(options.method, "Squeeze");
    const int32_t factor = fileToFile ? ShrinkFactor(plan) : 1;
    result = factor > 1 ? ConvertShrunk(plan, factor, partial.path()) : 0;
    if (result == 0) {
        result = fileToFile ? ConvertFileToFile(plan, partial.path())
                            : ConvertThroughContainers(
                                  plan, partial.path(),
                                  alphaPartial ? alphaPartial->path() : std::string());
    }
    if (result >= 0 && CInterruptGuard::Requested()) result = Fail(options.output, kVxErrCancelled);
    if (VxIsFailure(result)) return result;
    if (!partial.Commit()) return Fail(options.output, kVxErrCodecIO, "could not be put in place");
    if (alphaPartial && !alphaPartial->Commit())
        return Fail(options.alphaOutput, kVxErrCodecIO, "could not be put in place");
    return m_warning;
}

int32_t CConvertJob::ConvertFileToFile(const Plan& plan, const std::string& partial) {
    const std::string files = plan.options.input + " -> " + plan.options.output;
    CURequest request = plan.request;
    int32_t result = m_macro->SetImage(plan.options.input.c_str(), partial.c_str(), request);
    // A writer that refuses 16-bit samples still takes the picture at 8 bits, unless the user
    // asked for 16.
    if (result == kVxErrOpenForWrite && !plan.depthChosen && request.info.lColorDepth == 48) {
        request.info.lColorDepth = 24;
        result = m_macro->SetImage(plan.options.input.c_str(), partial.c_str(), request);
    }
    return VxIsFailure(result) ? Fail(files, result) : Note(plan.options.input, result);
}

int32_t CConvertJob::ShrinkFactor(const Plan& plan) const {
    const CURequest& r = plan.request;
    if (m_shelf == nullptr || !plan.options.shrinkOnLoad || plan.rotate || plan.hasAlpha ||
        r.info.lColorDepth != 24 || !SameName(r.info.strColorSpace.c_str(), "RGB"))
        return 1;
    return CShrinkingSource::FactorFor(plan.status.info.lWidth, plan.status.info.lHeight,
                                       r.info.lWidth, r.info.lHeight);
}

int32_t CConvertJob::ConvertShrunk(const Plan& plan, int32_t factor, const std::string& partial) {
    ContainerPtr image(CreateUtilContainer());
    if (!image) return Fail(plan.options.input, kVxErrMacroEngines);
    CShrinkingSource source(m_shelf, m_callback);
    int32_t result = source.Decode(plan.options.input, factor, image.get());
    if (result == 0) return 0;
    if (VxIsFailure(result)) return Fail(plan.options.input, result);
    Note(plan.options.input, result);
    if (CInterruptGuard::Requested()) return Fail(plan.options.input, kVxErrCancelled);
    CURequest request = plan.request;
    request.lOption3 = 0;
    result = m_macro->SetImage(partial.c_str(), request, image.get(), nullptr);
    return VxIsFailure(result) ? Fail(plan.options.output, result) : 1;
}

int32_t CConvertJob::ConvertThroughContainers(const Plan& plan, const std::string& partial,
                                              const std::string& alphaPartial) {
    ContainerPtr image(CreateUtilContainer());
    ContainerPtr alpha(plan.hasAlpha ? CreateUtilContainer() : nullptr);
    if (!image || (plan.hasAlpha && !alpha)) return Fail(plan.options.input, kVxErrMacroEngines);

    CURequest decode = plan.request;
    decode.strFormatName = "";
    decode.lOption3 = 0;
    int32_t result =
        m_macro->GetImage(plan.options.input.c_str(), decode, image.get(), alpha.get());
    if (VxIsFailure(result)) return Fail(plan.options.input, result);
    Note(plan.options.input, result);
    if (CInterruptGuard::Requested()) return Fail(plan.options.input, kVxErrCancelled);

    result = IsGreyFormat(plan.format) ? EncodeGrey(plan, partial, image.get())
                                       : Encode(plan, partial, image.get(), alpha.get());
    if (VxIsFailure(result)) return result;
    if (!alphaPartial.empty()) return EncodeAlpha(plan, alphaPartial, alpha.get());
    return 1;
}

int32_t CConvertJob::Encode(const Plan& plan, const std::string& path, IUtilContainerIF* image,
                            IUtilContainerIF* alpha) {
    CUImageInfo decoded;
    image->GetImageInfo(decoded);
    CURequest request = plan.request;
    request.info.lWidth = decoded.lWidth;
    request.info.lHeight = decoded.lHeight;
    request.dAngle = 0.0;
    const bool withAlpha = alpha != nullptr && alpha->hasImage() == 1;
    request.lOption3 = withAlpha ? 1 : 0;
    int32_t result = m_macro->SetImage(path.c_str(), request, image, withAlpha ? alpha : nullptr);
    if (result == kVxErrOpenForWrite && !plan.depthChosen && request.info.lColorDepth == 48) {
        request.info.lColorDepth = 24;
        result = m_macro->SetImage(path.c_str(), request, image, withAlpha ? alpha : nullptr);
    }
    return VxIsFailure(result) ? Fail(plan.options.output, result) : 1;
}

int32_t CConvertJob::EncodeGrey(const Plan& plan, const std::string& path,
                                IUtilContainerIF* image) {
    int32_t code = 1;
    ContainerPtr grey(GreyCopy(image, &code));
    if (!grey) {
        return Fail(plan.options.output, code,
                    code == kVxErrCodecUnsupported ? "colour pixels cannot go to a grey file" : "");
    }
    const int32_t result = WriteGreyFile(m_service, path, plan.format, grey.get());
    return VxIsFailure(result) ? Fail(plan.options.output, result) : 1;
}

int32_t CConvertJob::EncodeAlpha(const Plan& plan, const std::string& path,
                                 IUtilContainerIF* alpha) {
    if (alpha == nullptr || alpha->hasImage() != 1)
        return Fail(plan.options.input, kVxErrInvalidArgument, "the file has no alpha plane");
    const int32_t result = WriteGreyFile(m_service, path, plan.alphaFormat, alpha);
    return VxIsFailure(result) ? Fail(plan.options.alphaOutput, result) : 1;
}

int32_t WriteGreyFile(IVandrelIF* service, const std::string& path, const std::string& format,
                      const IUtilContainerIF* grey) {
    CURequest request;
    grey->GetImageInfo(request.info);
    request.info.lRowBytes = 0;
    request.strFormatName = format.c_str();
    // No caller layout: the lines go to the writer as they are.
    const int32_t handle = service->BeginWriteLine(path.c_str(), request, nullptr, nullptr);
    if (handle < 0) return handle;
    int32_t result = 1;
    for (int32_t y = 0; y < request.info.lHeight && result >= 0; ++y) {
        const void* line = grey->GetLine(y, 0, -1);
        result = line != nullptr ? service->WriteLine(handle, line, nullptr) : kVxErrMacroLineIO;
        if (result >= 0 && CInterruptGuard::Requested()) result = kVxErrCancelled;
    }
    const int32_t ended = service->EndWriteLine(handle);
    service->DeleteImageHandle(handle);
    if (result < 0) return result;
    return ended < 0 ? ended : 1;
}

IUtilContainerIF* GreyCopy(const IUtilContainerIF* rgb, int32_t* code) {
    CUImageInfo info;
    rgb->GetImageInfo(info);
    const int32_t sampleBytes = info.lColorDepth == 48 ? 2 : info.lColorDepth == 24 ? 1 : 0;
    if (sampleBytes == 0 || info.bNative != 0) {
        *code = kVxErrCodecUnsupported;
        return nullptr;
    }
    CUImageInfo greyInfo = info;
    greyInfo.lColorDepth = 8 * sampleBytes;
    greyInfo.lRowBytes = 0;
    ContainerPtr grey(CreateUtilContainer());
    if (!grey || grey->Create(greyInfo, 1000, 128) < 1) {
        *code = kVxErrMacroEngines;
        return nullptr;
    }
    std::vector<unsigned char> line(size_t(VxPaddedRowBytes(info.lWidth, greyInfo.lColorDepth)));
    const size_t pixelBytes = size_t(3 * sampleBytes);
    for (int32_t y = 0; y < info.lHeight; ++y) {
        const auto* src = static_cast<const unsigned char*>(rgb->GetLine(y, 0, -1));
        if (src == nullptr) {
            *code = kVxErrMacroLineIO;
            return nullptr;
        }
        for (int32_t x = 0; x < info.lWidth; ++x) {
            const unsigned char* p = src + size_t(x) * pixelBytes;
            if (std::memcmp(p, p + sampleBytes, size_t(sampleBytes)) != 0 ||
                std::memcmp(p, p + 2 * sampleBytes, size_t(sampleBytes)) != 0) {
                *code = kVxErrCodecUnsupported;
                return nullptr;
            }
            std::memcpy(line.data() + size_t(x) * size_t(sampleBytes), p, size_t(sampleBytes));
        }
        if (grey->SetLine(line.data(), y, 0, -1) != 1) {
            *code = kVxErrMacroSetLine;
            return nullptr;
        }
    }
    *code = 1;
    return grey.release();
}

}  // namespace vxtool
