#include "ConvertJob.h"

#include <strings.h>

#include <cmath>
#include <cstring>
#include <memory>

#include "AlphaFlatten.h"
#include "FormatTable.h"
#include "Interrupt.h"
#include "MetadataCarrier.h"
#include "OptionParsers.h"
#include "Orientation.h"
#include "PartialFile.h"
#include "PlugInDecode.h"
#include "WriterSettings.h"

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

// A source stored with one sample per pixel (grey, a palette, grey and alpha) may still be grey
// once decoded to RGB lines; the decoded pixels decide.
constexpr int32_t kMostGreyStoredBits = 16;

// The size an image of w x h has after a clockwise turn by degrees, as the rotation makes it.
void TurnedSize(int32_t w, int32_t h, double degrees, int32_t* tw, int32_t* th) {
    const double a = degrees * kPi / 180.0;
    const double c = std::fabs(std::cos(a)), s = std::fabs(std::sin(a));
    *tw = int32_t(std::lround(w * c + h * s));
    *th = int32_t(std::lround(w * s + h * c));
}

}  // namespace

struct CConvertJob::Plan {
    CConvertOptions options;
    CUImageFileStatus status;
    std::string format;
    std::string alphaFormat;
    CURequest request;  // the whole job as one request
    CWriterSettings writer;
    CSourceMetadata metadata;
    COrientationSteps steps;  // the Exif orientation and the user's rotation together
    int32_t outWidth = 0;     // what is written, for the carried Exif block
    int32_t outHeight = 0;
    bool resize = false;
    bool rotate = false;
    bool hasAlpha = false;
    bool depthChosen = false;
    bool flatten = false;        // alpha into a writer without alpha
    bool greyCandidate = false;  // written as grey when the decoded pixels are all grey
    bool headerWarning = false;  // the service will not read it; the tool's own reader does
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
    // A header the decoder could read past is a note on the output, not a reason to stop.
    if (VxIsFailure(status)) return Fail(options.input, status);
    Note(options.input, status);
    plan->headerWarning = VxIsWarning(status);
    if (plan->headerWarning && m_shelf->PrototypeFor(options.input) == nullptr)
        return Fail(options.input, status);
    const CUImageInfo& source = plan->status.info;
    // The macro leaves the read of an image without lines begun, and the service stops the
    // process when that handle is deleted; such a file goes no further than its status.
    if (source.lWidth < 1 || source.lHeight < 1) return Fail(options.input, kVxErrMacroNoImage);

    const CFormatTable table(m_service);
    plan->format = options.format.empty() ? table.FormatForPath(options.output) : options.format;
    if (plan->format.empty())
        return Fail(options.output, kVxErrNoPlugIn,
                    "no writer for this extension; name one with --format");
    if (!WritesFormat(table, plan->format) &&
        m_service->GetDecoderVersion(plan->format.c_str()) == nullptr)
        return Fail(options.output, kVxErrNoPlugIn, "no plug-in writes " + plan->format);

    const std::string problem = plan->writer.Choose(*m_shelf, plan->format, options);
    if (!problem.empty()) {
        m_misuse = true;
        return Fail(options.output, kVxErrInvalidArgument, problem);
    }
    const CWriterTraits& traits = plan->writer.traits();

    plan->hasAlpha = plan->status.info2.lColorDepth > 0;
    plan->flatten = plan->hasAlpha && !traits.alpha;
    // PNM delivers grey as colour lines and says "PGM" instead of a small stored depth.
    const bool storedGrey = plan->status.lValue1 <= kMostGreyStoredBits ||
                            SameName(plan->status.strFormat.c_str(), "PGM");
    plan->greyCandidate = traits.grey && options.colorSpace.empty() && storedGrey;
    if (!options.alphaOutput.empty()) {
        if (!plan->hasAlpha)
            return Fail(options.input, kVxErrInvalidArgument, "the file has no alpha plane");
        plan->alphaFormat = table.FormatForPath(options.alphaOutput);
        if (plan->alphaFormat.empty())
            return Fail(options.alphaOutput, kVxErrNoPlugIn, "no writer for this extension");
    }

    if (m_shelf != nullptr) plan->metadata = ReadSourceMetadata(*m_shelf, options.input);
    const bool turnUpright = !options.noRotate && !plan->metadata.upright;
    plan->steps = UprightSteps(turnUpright ? plan->metadata.orientation : 0, options.angle);

    CConvertOptions turned = options;
    turned.angle = plan->steps.angle;
    int32_t width = 0, height = 0;
    OutputSize(turned, source.lWidth, source.lHeight, &width, &height);
    plan->rotate = plan->steps.angle != 0.0;
    plan->resize =
        width > 0 && (plan->rotate || width != source.lWidth || height != source.lHeight);
    plan->depthChosen = options.depth != 0;
    if (plan->resize) {
        plan->outWidth = width;
        plan->outHeight = height;
    } else {
        TurnedSize(source.lWidth, source.lHeight, plan->steps.angle, &plan->outWidth,
                   &plan->outHeight);
    }
    PlanMetadata(plan);

    CURequest& r = plan->request;
    r.info.lWidth = plan->resize ? width : 0;
    r.info.lHeight = plan->resize ? height : 0;
    r.info.lColorDepth = options.depth != 0                       ? options.depth
                         : source.lColorDepth > 24 && traits.deep ? 48
                                                                  : 24;
    r.info.bNative = 0;
    r.info.strColorSpace =
        options.colorSpace.empty() ? source.strColorSpace.c_str() : options.colorSpace.c_str();
    r.dAngle = plan->steps.angle;
    r.lBKColor = options.background;
    r.lQuality = options.quality != 0 ? options.quality : kDefaultQuality;
    r.pParamList = plan->writer.Entries();
    // The decoder's damage notices come here; the list above lets the macro pass them on.
    r.pMessageProc = &m_damage;
    r.strResizeMethod = options.method.c_str();
    r.strFormatName = plan->format.c_str();
    r.lOption3 = plan->hasAlpha ? 1 : 0;
    return 1;
}

// The metadata goes along unless --strip says otherwise; the Exif block says what is written:
// orientation 1 once the pixels are upright, and the written size.
void CConvertJob::PlanMetadata(Plan* plan) {
    const CConvertOptions& options = plan->options;
    const CSourceMetadata& m = plan->metadata;
    if (options.strip) return;
    const bool upright = m.upright || (!options.noRotate && m.orientation > 1);
    const std::string exif = m.exif.empty()
                                 ? std::string()
                                 : UpdateExif(m.exif, upright, plan->outWidth, plan->outHeight);
    plan->writer.Carry(m.icc, exif, m.xmp);
    m_dropped = plan->writer.dropped();
}

int32_t CConvertJob::Run(const CConvertOptions& options) {
    m_failedFile.clear();
    m_detail.clear();
    m_warning = 1;
    m_warningFile.clear();
    m_misuse = false;
    m_dropped.clear();
    m_damage.code = 1;
    // Without plug-ins of its own the job asks nobody; an empty shelf says so everywhere.
    const CPlugInShelf noPlugIns("");
    const CPlugInShelf* given = m_shelf;
    if (m_shelf == nullptr) m_shelf = &noPlugIns;
    const int32_t result = RunPlanned(options);
    m_shelf = given;
    return result;
}

int32_t CConvertJob::RunPlanned(const CConvertOptions& options) {
    Plan plan;
    int32_t result = Prepare(options, &plan);
    if (VxIsFailure(result)) return result;

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
    // Mirroring, flattening and grey output work on the decoded lines too.
    const bool linesInHand = plan.steps.mirror || plan.flatten || plan.greyCandidate ||
                             plan.headerWarning || IsGreyFormat(plan.format) ||
                             !options.alphaOutput.empty();
    const bool fileToFile =
        (plan.resize || plan.rotate) && !linesInHand && !SameName(options.method, "Squeeze");
    if (fileToFile) {
        result = ConvertFileToFile(plan, partial.path());
    } else {
        result = ConvertThroughContainers(plan, partial.path(),
                                          alphaPartial ? alphaPartial->path() : std::string());
    }
    if (result >= 0 && CInterruptGuard::Requested()) result = Fail(options.output, kVxErrCancelled);
    if (VxIsFailure(result)) return result;
    Note(options.input, m_damage.code);
    // The output is not put in place: its temporary file goes with `partial`.
    if (options.failOnWarning && m_warning != 1)
        return Fail(m_warningFile, kVxErrCodecData,
                    "the decoder stepped over damage (--fail-on warning)");
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

int32_t CConvertJob::ConvertThroughContainers(const Plan& plan, const std::string& partial,
                                              const std::string& alphaPartial) {
    ContainerPtr image(CreateUtilContainer());
    ContainerPtr alpha(plan.hasAlpha ? CreateUtilContainer() : nullptr);
    if (!image || (plan.hasAlpha && !alpha)) return Fail(plan.options.input, kVxErrMacroEngines);

    CURequest decode = plan.request;
    decode.strFormatName = "";
    decode.lOption3 = 0;
    int32_t result =
        plan.headerWarning
            ? DecodeWithOwnReader(plan.options.input, decode, image.get(), alpha.get())
            : m_macro->GetImage(plan.options.input.c_str(), decode, image.get(), alpha.get());
    if (VxIsFailure(result)) return Fail(plan.options.input, result);
    Note(plan.options.input, result);
    if (CInterruptGuard::Requested()) return Fail(plan.options.input, kVxErrCancelled);

    // The separate alpha file gets the plane as decoded (mirrored, not flattened).
    result = FinishLines(plan, image.get(), alpha.get());
    if (VxIsFailure(result)) return Fail(plan.options.input, result);
    IUtilContainerIF* writtenAlpha = plan.flatten ? nullptr : alpha.get();
    if (IsGreyFormat(plan.format)) {
        result = EncodeGrey(plan, partial, image.get(), nullptr);
    } else if (plan.greyCandidate) {
        result = EncodeGrey(plan, partial, image.get(), writtenAlpha);
        if (result == kVxErrCodecUnsupported)
            result = Encode(plan, partial, image.get(), writtenAlpha);
    } else {
        result = Encode(plan, partial, image.get(), writtenAlpha);
    }
    if (VxIsFailure(result)) return result;
    if (!alphaPartial.empty()) return EncodeAlpha(plan, alphaPartial, alpha.get());
    return 1;
}

// Decodes at the file's own size through the tool's reader, then lets the macro resize, rotate
// and convert from container to container as it would have while decoding.
int32_t CConvertJob::DecodeWithOwnReader(const std::string& path, const CURequest& decode,
                                         IUtilContainerIF* image, IUtilContainerIF* alpha) {
    ContainerPtr raw(CreateUtilContainer());
    ContainerPtr rawAlpha(alpha != nullptr ? CreateUtilContainer() : nullptr);
    if (!raw || (alpha != nullptr && !rawAlpha)) return kVxErrMacroEngines;
    const int32_t decoded =
        DecodeThroughPlugIn(*m_shelf, path, &m_damage, raw.get(), rawAlpha.get());
    if (VxIsFailure(decoded)) return decoded;
    const bool withAlpha = rawAlpha && rawAlpha->hasImage() == 1;
    const int32_t result =
        m_macro->GetImage(decode, raw.get(), withAlpha ? rawAlpha.get() : nullptr, image,
                          withAlpha ? alpha : nullptr);
    return VxIsFailure(result) ? result : decoded;
}

// The steps that need the decoded lines: the orientation's mirror, then the flattening.
int32_t CConvertJob::FinishLines(const Plan& plan, IUtilContainerIF* image,
                                 IUtilContainerIF* alpha) {
    const bool withAlpha = alpha != nullptr && alpha->hasImage() == 1;
    int32_t result = 1;
    if (plan.steps.mirror) {
        result = MirrorLines(image);
        if (result == 1 && withAlpha) result = MirrorLines(alpha);
    }
    if (result == 1 && plan.flatten && withAlpha)
        result = FlattenOver(image, alpha, plan.options.background);
    return result;
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

// A grey-only request (PGM) fails on colour pixels; a grey candidate answers
// kVxErrCodecUnsupported without failing, and is then written in colour.
int32_t CConvertJob::EncodeGrey(const Plan& plan, const std::string& path, IUtilContainerIF* image,
                                IUtilContainerIF* alpha) {
    int32_t code = 1;
    ContainerPtr grey(GreyCopy(image, &code));
    if (!grey) {
        if (code == kVxErrCodecUnsupported && plan.greyCandidate) return code;
        return Fail(plan.options.output, code,
                    code == kVxErrCodecUnsupported ? "colour pixels cannot go to a grey file" : "");
    }
    const bool withAlpha = alpha != nullptr && alpha->hasImage() == 1;
    const int32_t result = WriteGreyFile(m_service, path, plan.format, grey.get(),
                                         withAlpha ? alpha : nullptr, plan.request.pParamList);
    return VxIsFailure(result) ? Fail(plan.options.output, result) : 1;
}

int32_t CConvertJob::EncodeAlpha(const Plan& plan, const std::string& path,
                                 IUtilContainerIF* alpha) {
    if (alpha == nullptr || alpha->hasImage() != 1)
        return Fail(plan.options.input, kVxErrInvalidArgument, "the file has no alpha plane");
    const int32_t result = WriteGreyFile(m_service, path, plan.alphaFormat, alpha);
    return VxIsFailure(result) ? Fail(plan.options.alphaOutput, result) : 1;
}

namespace {

// One line of each plane; a container hands out one line at a time, so the alpha line is
// copied before the grey one is asked for.
int32_t WriteGreyLine(IVandrelIF* service, int32_t handle, const IUtilContainerIF* grey,
                      const IUtilContainerIF* alpha, int32_t y, std::vector<unsigned char>* copy) {
    const void* alphaLine = nullptr;
    if (alpha != nullptr) {
        CUImageInfo info;
        alpha->GetImageInfo(info);
        const void* stored = alpha->GetLine(y, 0, -1);
        if (stored == nullptr) return kVxErrMacroLineIO;
        const size_t bytes = size_t(info.lWidth) * size_t(info.lColorDepth / 8);
        const auto* from = static_cast<const unsigned char*>(stored);
        copy->assign(from, from + bytes);
        alphaLine = copy->data();
    }
    const void* line = grey->GetLine(y, 0, -1);
    return line != nullptr ? service->WriteLine(handle, line, alphaLine) : kVxErrMacroLineIO;
}

}  // namespace

int32_t WriteGreyFile(IVandrelIF* service, const std::string& path, const std::string& format,
                      const IUtilContainerIF* grey, const IUtilContainerIF* alpha,
                      CUtilParamArray* properties) {
    CURequest request;
    grey->GetImageInfo(request.info);
    request.info.lRowBytes = 0;
    request.strFormatName = format.c_str();
    request.pParamList = properties;
    request.lOption3 = alpha != nullptr ? 1 : 0;
    // No caller layout: the lines go to the writer as they are.
    const int32_t handle = service->BeginWriteLine(path.c_str(), request, nullptr, nullptr);
    if (handle < 0) return handle;
    std::vector<unsigned char> alphaLine;
    int32_t result = 1;
    for (int32_t y = 0; y < request.info.lHeight && result >= 0; ++y) {
        result = WriteGreyLine(service, handle, grey, alpha, y, &alphaLine);
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
