#include "JpegPlugIn.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include <jerror.h>
#include <jpeglib.h>

#include "../common/CodecSupport.h"
#include "vandrel/Export.h"

namespace vxcodec {

namespace {

const CodecIdentity kJpegIdentity = {"JPEG", "JPEG", ".jpg;.jpeg;.jpe;.jfif;JPEG;jpeg;", 3};

// Every scan of a progressive file walks the whole coefficient buffer again; ordinary files have
// about ten, so a file with hundreds is built to burn time and is refused.
constexpr int kMaxProgressiveScans = 500;

// libjpeg reports fatal errors through error_exit, which must not return. Ours jumps back to
// the guarded function that called the library; everything between is C code and plain data,
// so the jump skips no destructor.
struct GuardedErrors {
    jpeg_error_mgr pub;  // first, so the library's pointer is also ours
    jmp_buf jump;
    int32_t code;  // the status a jump reports; 0 means damaged data
};

// Coefficient buffers beyond max_memory_to_use would go to a backing store, which this
// library build does not have: that is the budget speaking.
extern "C" void JpegErrorExit(j_common_ptr cinfo) {
    GuardedErrors* errors = reinterpret_cast<GuardedErrors*>(cinfo->err);
    if (errors->code == 0 && cinfo->err->msg_code == JERR_NO_BACKING_STORE)
        errors->code = kVxErrCodecTooLarge;
    longjmp(errors->jump, 1);
}

// Warnings (level -1) are counted and turned into a warning status; nothing is printed.
extern "C" void JpegEmitMessage(j_common_ptr cinfo, int level) {
    if (level < 0) cinfo->err->num_warnings++;
}

extern "C" void JpegOutputMessage(j_common_ptr) {}

void InstallGuard(GuardedErrors& errors) {
    jpeg_std_error(&errors.pub);
    errors.pub.error_exit = JpegErrorExit;
    errors.pub.emit_message = JpegEmitMessage;
    errors.pub.output_message = JpegOutputMessage;
    errors.code = 0;
}

int32_t FailureCode(const GuardedErrors& errors) {
    return errors.code != 0 ? errors.code : kVxErrCodecData;
}

// APP1 carries the Exif block and the XMP packet behind these identifiers; APP2 the profile.
constexpr unsigned char kExifId[] = {'E', 'x', 'i', 'f', 0, 0};
constexpr char kXmpId[] = "http://ns.adobe.com/xap/1.0/";  // its terminating zero belongs to it
constexpr unsigned kMaxMarkerData = 65533;

bool StartsWith(const jpeg_saved_marker_ptr marker, const void* id, size_t size) {
    return marker->data_length >= size && std::memcmp(marker->data, id, size) == 0;
}

// What the writer puts into the file beside the pixels.
struct EncoderSettings {
    bool grey;
    bool ycc;  // the lines are YCbCr already, as JPEG stores them
    int quality;
    bool progressive;
    int subsampling;  // 444, 422 or 420
};

}  // namespace

struct JpegDecoder {
    jpeg_decompress_struct cinfo;
    GuardedErrors errors;
    jpeg_progress_mgr progressManager;
    CDecodeProgress* progress;
    std::FILE* file;
    uint64_t budget;
    bool failed;
    bool finished;  // the last line is out and the file's end has been read
    bool cmyk;
    bool invertedCmyk;  // Adobe writers store CMYK inverted
};

struct JpegEncoder {
    jpeg_compress_struct cinfo;
    GuardedErrors errors;
    std::FILE* file;
    bool failed;
};

namespace {

extern "C" void JpegProgressMonitor(j_common_ptr cinfo) {
    JpegDecoder* decoder = static_cast<JpegDecoder*>(cinfo->client_data);
    if (decoder->cinfo.input_scan_number > kMaxProgressiveScans) {
        decoder->errors.code = kVxErrCodecTooLarge;
        longjmp(decoder->errors.jump, 1);
    }
    const jpeg_progress_mgr* p = cinfo->progress;
    double passes = p->total_passes > 0 ? p->total_passes : 1;
    double within = p->pass_limit > 0 ? double(p->pass_counter) / double(p->pass_limit) : 0.0;
    if (!decoder->progress->Advance((p->completed_passes + within) / passes)) {
        decoder->errors.code = kVxErrCancelled;
        longjmp(decoder->errors.jump, 1);
    }
}

// --- Guarded calls: setjmp, then the library; no C++ object lives in these frames. ---

bool GuardedReadHeader(JpegDecoder* d) {
    if (setjmp(d->errors.jump)) return false;
    jpeg_create_decompress(&d->cinfo);
    d->cinfo.mem->max_memory_to_use = long(d->budget);
    jpeg_stdio_src(&d->cinfo, d->file);
    jpeg_save_markers(&d->cinfo, JPEG_APP0 + 1, 0xFFFF);
    jpeg_save_markers(&d->cinfo, JPEG_APP0 + 2, 0xFFFF);
    jpeg_read_header(&d->cinfo, TRUE);
    return true;
}

bool GuardedStartDecompress(JpegDecoder* d) {
    if (setjmp(d->errors.jump)) return false;
    jpeg_start_decompress(&d->cinfo);
    return true;
}

bool GuardedReadScanline(JpegDecoder* d, JSAMPROW row) {
    if (setjmp(d->errors.jump)) return false;
    return jpeg_read_scanlines(&d->cinfo, &row, 1) == 1;
}

bool GuardedFinishDecompress(JpegDecoder* d) {
    if (setjmp(d->errors.jump)) return false;
    jpeg_finish_decompress(&d->cinfo);
    return true;
}

bool GuardedSkipScanlines(JpegDecoder* d, JDIMENSION count) {
    if (setjmp(d->errors.jump)) return false;
    return jpeg_skip_scanlines(&d->cinfo, count) == count;
}

bool GuardedReadIccProfile(JpegDecoder* d, JOCTET** data, unsigned* size) {
    if (setjmp(d->errors.jump)) return false;
    return jpeg_read_icc_profile(&d->cinfo, data, size) != 0;
}

// The luma sampling factors of a chroma subsampling; chroma stays 1 x 1.
void SetSubsampling(jpeg_compress_struct* cinfo, int subsampling) {
    if (cinfo->num_components != 3) return;
    cinfo->comp_info[0].h_samp_factor = subsampling == 444 ? 1 : 2;
    cinfo->comp_info[0].v_samp_factor = subsampling == 420 ? 2 : 1;
}

bool GuardedStartCompress(JpegEncoder* e, JDIMENSION width, JDIMENSION height,
                          const EncoderSettings& settings) {
    if (setjmp(e->errors.jump)) return false;
    jpeg_create_compress(&e->cinfo);
    jpeg_stdio_dest(&e->cinfo, e->file);
    e->cinfo.image_width = width;
    e->cinfo.image_height = height;
    e->cinfo.input_components = settings.grey ? 1 : 3;
    e->cinfo.in_color_space = settings.grey ? JCS_GRAYSCALE : settings.ycc ? JCS_YCbCr : JCS_RGB;
    jpeg_set_defaults(&e->cinfo);
    jpeg_set_quality(&e->cinfo, settings.quality, TRUE);
    SetSubsampling(&e->cinfo, settings.subsampling);
    if (settings.progressive) jpeg_simple_progression(&e->cinfo);
    jpeg_start_compress(&e->cinfo, TRUE);
    return true;
}

// Exif first, as Exif readers expect it right after the start; a block too large for one
// marker is left out rather than cut.
bool GuardedWriteMetadata(JpegEncoder* e, const CMetadataBlocks& blocks,
                          std::vector<unsigned char>& scratch) {
    if (setjmp(e->errors.jump)) return false;
    if (!blocks.Exif().empty() && blocks.Exif().size() + sizeof kExifId <= kMaxMarkerData) {
        scratch.assign(kExifId, kExifId + sizeof kExifId);
        scratch.insert(scratch.end(), blocks.Exif().begin(), blocks.Exif().end());
        jpeg_write_marker(&e->cinfo, JPEG_APP0 + 1, scratch.data(), unsigned(scratch.size()));
    }
    if (!blocks.Xmp().empty() && blocks.Xmp().size() + sizeof kXmpId <= kMaxMarkerData) {
        scratch.assign(kXmpId, kXmpId + sizeof kXmpId);
        scratch.insert(scratch.end(), blocks.Xmp().begin(), blocks.Xmp().end());
        jpeg_write_marker(&e->cinfo, JPEG_APP0 + 1, scratch.data(), unsigned(scratch.size()));
    }
    if (!blocks.Icc().empty())
        jpeg_write_icc_profile(&e->cinfo, blocks.Icc().data(), unsigned(blocks.Icc().size()));
    return true;
}

bool GuardedWriteScanline(JpegEncoder* e, JSAMPROW row) {
    if (setjmp(e->errors.jump)) return false;
    return jpeg_write_scanlines(&e->cinfo, &row, 1) == 1;
}

bool GuardedFinishCompress(JpegEncoder* e) {
    if (setjmp(e->errors.jump)) return false;
    jpeg_finish_compress(&e->cinfo);
    return true;
}

void DestroyDecoder(JpegDecoder* d) {
    if (d == nullptr) return;
    jpeg_destroy_decompress(&d->cinfo);  // never fails; safe on a half-made object
    if (d->file != nullptr) std::fclose(d->file);
    delete d;
}

// Opens the file and reads its header. On failure *code says why and nothing is left open.
JpegDecoder* OpenDecoder(const char* fileName, uint64_t budget, int32_t* code) {
    JpegDecoder* d = new (std::nothrow) JpegDecoder();
    if (d == nullptr) {
        *code = kVxErrCodecMemory;
        return nullptr;
    }
    d->budget = budget;
    d->cinfo.err = &d->errors.pub;
    InstallGuard(d->errors);
    d->file = std::fopen(fileName, "rb");
    if (d->file == nullptr) {
        *code = kVxErrCodecOpen;
        delete d;
        return nullptr;
    }
    if (!GuardedReadHeader(d)) {
        *code = d->cinfo.global_state == 0 ? kVxErrCodecMemory : kVxErrCodecFormat;
        DestroyDecoder(d);
        return nullptr;
    }
    if (!AcceptableSize(d->cinfo.image_width, d->cinfo.image_height)) {
        *code = kVxErrCodecTooLarge;
        DestroyDecoder(d);
        return nullptr;
    }
    *code = 1;
    return d;
}

// The profile, the Exif block and the XMP packet of the header just read.
void KeepMetadata(JpegDecoder* d, CMetadataBlocks* blocks) {
    blocks->Clear();
    for (jpeg_saved_marker_ptr m = d->cinfo.marker_list; m != nullptr; m = m->next) {
        if (m->marker != JPEG_APP0 + 1) continue;
        if (blocks->Exif().empty() && StartsWith(m, kExifId, sizeof kExifId)) {
            blocks->Keep(kVxPropExif, m->data + sizeof kExifId, m->data_length - sizeof kExifId);
        } else if (blocks->Xmp().empty() && StartsWith(m, kXmpId, sizeof kXmpId)) {
            blocks->Keep(kVxPropXmp, m->data + sizeof kXmpId, m->data_length - sizeof kXmpId);
        }
    }
    JOCTET* profile = nullptr;
    unsigned size = 0;
    if (GuardedReadIccProfile(d, &profile, &size)) blocks->Keep(kVxPropIccProfile, profile, size);
    std::free(profile);
}

// CMYK as most writers store it: 0 = no ink. Adobe's writers invert every sample.
void CmykToRgb(const unsigned char* cmyk, unsigned char* rgb, JDIMENSION width, bool inverted) {
    for (JDIMENSION x = 0; x < width; ++x, cmyk += 4, rgb += 3) {
        unsigned k = inverted ? cmyk[3] : 255u - cmyk[3];
        for (int c = 0; c < 3; ++c) {
            unsigned v = inverted ? cmyk[c] : 255u - cmyk[c];
            rgb[c] = static_cast<unsigned char>((v * k + 127) / 255);
        }
    }
}

}  // namespace

CJpegPlugIn::CJpegPlugIn() : CReaderWriterPlugIn(kJpegIdentity) {}

CJpegPlugIn::~CJpegPlugIn() {
    Close();
}

IPlugIn* CJpegPlugIn::CreateInstance() {
    return new (std::nothrow) CJpegPlugIn();
}

bool CJpegPlugIn::HasSignature(const unsigned char* head) const {
    return head[0] == 0xFF && head[1] == 0xD8 && head[2] == 0xFF;
}

const char* CJpegPlugIn::GetDecoderVersion() {
#define VX_JPEG_TEXT2(x) #x
#define VX_JPEG_TEXT(x) VX_JPEG_TEXT2(x)
#ifdef LIBJPEG_TURBO_VERSION
    return "libjpeg-turbo " VX_JPEG_TEXT(LIBJPEG_TURBO_VERSION) " (JPEG library " VX_JPEG_TEXT(
        JPEG_LIB_VERSION) ")";
#else
    return "IJG libjpeg " VX_JPEG_TEXT(JPEG_LIB_VERSION);
#endif
#undef VX_JPEG_TEXT
#undef VX_JPEG_TEXT2
}

int32_t CJpegPlugIn::GetFileStatus(CUImageFileStatus* status) {
    if (status == nullptr) return kVxErrInvalidArgument;
    int32_t code;
    JpegDecoder* d = OpenDecoder(FileName(), m_budget.Bytes(), &code);
    if (d == nullptr) return code;
    DescribeImage(status, "JPEG", int32_t(d->cinfo.image_width), int32_t(d->cinfo.image_height), 8,
                  false, d->cinfo.num_components * 8);
    KeepMetadata(d, &m_blocks);
    code = d->cinfo.err->num_warnings > 0 ? kVxWarnCodecData : 1;
    DestroyDecoder(d);
    return code;
}

int32_t CJpegPlugIn::OpenForReading() {
    int32_t code;
    JpegDecoder* d = OpenDecoder(FileName(), m_budget.Bytes(), &code);
    if (d == nullptr) return code;
    switch (d->cinfo.jpeg_color_space) {
        case JCS_GRAYSCALE:
        case JCS_RGB:
        case JCS_YCbCr:
            d->cinfo.out_color_space = JCS_RGB;
            break;
        case JCS_CMYK:
        case JCS_YCCK:
            d->cinfo.out_color_space = JCS_CMYK;
            d->cmyk = true;
            d->invertedCmyk = d->cinfo.saw_Adobe_marker != 0;
            break;
        default:
            DestroyDecoder(d);
            return kVxErrCodecUnsupported;
    }
    d->cinfo.dct_method = JDCT_ISLOW;
    try {
        if (d->cmyk) m_cmykLine.resize(size_t(d->cinfo.image_width) * 4);
    } catch (const std::bad_alloc&) {
        DestroyDecoder(d);
        return kVxErrCodecMemory;
    }
    // A multi-scan file is taken in whole by jpeg_start_decompress; that pass reports progress
    // and counts the scans.
    const bool prePass = jpeg_has_multiple_scans(&d->cinfo) != 0;
    if (prePass) {
        m_progress.Begin(Request().pMessageProc, int32_t(d->cinfo.image_height));
        d->progress = &m_progress;
        d->progressManager.progress_monitor = JpegProgressMonitor;
        d->cinfo.progress = &d->progressManager;
        d->cinfo.client_data = d;
    }
    if (!GuardedStartDecompress(d)) {
        code = FailureCode(d->errors);
        DestroyDecoder(d);
        return code;
    }
    d->cinfo.progress = nullptr;
    if (d->progress != nullptr && !m_progress.Finish()) {
        DestroyDecoder(d);
        return kVxErrCancelled;
    }
    m_decoder = d;
    m_damage.Begin(Request().pMessageProc);
    return d->cinfo.err->num_warnings > 0 ? kVxWarnCodecData : 1;
}

int32_t CJpegPlugIn::GetProperty(int32_t id, void* value) {
    if (id == kVxPropMemoryBudget) return m_budget.Get(value);
    switch (id) {
        case kVxPropProgressive:
        case kVxPropSubsampling:
            if (value == nullptr) return kVxErrInvalidArgument;
            *static_cast<int32_t*>(value) =
                id == kVxPropProgressive ? m_progressive : m_subsampling;
            return 1;
        default:
            return m_blocks.Get(id, value);
    }
}

int32_t CJpegPlugIn::SetProperty(int32_t id, const void* value) {
    if (id == kVxPropMemoryBudget) return m_budget.Set(value);
    int32_t v = 0;
    switch (id) {
        case kVxPropProgressive:
            if (!ReadInt32Property(value, &v) || (v != 0 && v != 1)) return kVxErrInvalidArgument;
            m_progressive = v;
            return 1;
        case kVxPropSubsampling:
            if (!ReadInt32Property(value, &v) || (v != 444 && v != 422 && v != 420))
                return kVxErrInvalidArgument;
            m_subsampling = v;
            return 1;
        default:
            return m_blocks.Set(
                id, value, CMetadataBlocks::kIcc | CMetadataBlocks::kExif | CMetadataBlocks::kXmp);
    }
}

int32_t CJpegPlugIn::ReadLine(void* line, void*) {
    JpegDecoder* d = m_decoder;
    if (d == nullptr || d->failed) return kVxErrCodecState;
    if (line == nullptr) return kVxErrInvalidArgument;
    if (d->finished || d->cinfo.output_scanline >= d->cinfo.output_height) return kVxErrCodecState;
    const long warningsBefore = d->cinfo.err->num_warnings;
    JSAMPROW row = d->cmyk ? m_cmykLine.data() : static_cast<JSAMPROW>(line);
    if (!GuardedReadScanline(d, row)) {
        d->failed = true;
        return FailureCode(d->errors);
    }
    if (d->cmyk) {
        CmykToRgb(row, static_cast<unsigned char*>(line), d->cinfo.output_width, d->invertedCmyk);
    }
    // After the last line the rest of the file is read too, so damage at its end is reported;
    // every line is out by then, so that damage is only a warning.
    if (d->cinfo.output_scanline == d->cinfo.output_height) {
        d->finished = true;
        if (!GuardedFinishDecompress(d)) return m_damage.Note(kVxWarnCodecData);
    }
    return m_damage.Note(d->cinfo.err->num_warnings > warningsBefore ? kVxWarnCodecData : 1);
}

// Forward only: skipped lines are entropy-decoded as far as the format requires but never
// colour-converted or upsampled. Going back would mean decoding from the start again.
int32_t CJpegPlugIn::SeekLine(int32_t line, int origin) {
    JpegDecoder* d = m_decoder;
    if (d == nullptr || d->failed) return kVxErrCodecState;
    const int32_t height = int32_t(d->cinfo.output_height);
    const int32_t current = d->finished ? height : int32_t(d->cinfo.output_scanline);
    const int64_t target = SeekTarget(line, origin, current, height);
    if (target < current || target > height) return kVxErrCannotSeek;
    if (target == current) return 1;
    const long warningsBefore = d->cinfo.err->num_warnings;
    if (!GuardedSkipScanlines(d, JDIMENSION(target - current))) {
        d->failed = true;
        return FailureCode(d->errors);
    }
    return d->cinfo.err->num_warnings > warningsBefore ? kVxWarnCodecData : 1;
}

int32_t CJpegPlugIn::OpenForWriting() {
    const CUImageInfo& layout = Request().info;
    const bool grey = layout.lColorDepth == 8;
    if (!grey && layout.lColorDepth != 24) return kVxErrCodecUnsupported;
    if (layout.bNative != 0) return kVxErrCodecUnsupported;
    const int32_t size = CheckWriteSize(layout.lWidth, layout.lHeight, JPEG_MAX_DIMENSION);
    if (size != 1) return size;
    JpegEncoder* e = new (std::nothrow) JpegEncoder();
    if (e == nullptr) return kVxErrCodecMemory;
    e->cinfo.err = &e->errors.pub;
    InstallGuard(e->errors);
    e->file = std::fopen(FileName(), "wb");
    if (e->file == nullptr) {
        delete e;
        return kVxErrCodecOpen;
    }
    EncoderSettings settings;
    settings.grey = grey;
    settings.ycc = !grey && layout.IsColorSpace("YCC");
    settings.quality = Request().lQuality < 1     ? 1
                       : Request().lQuality > 100 ? 100
                                                  : Request().lQuality;
    settings.progressive = m_progressive != 0;
    settings.subsampling = m_subsampling;
    m_encoder = e;
    std::vector<unsigned char> scratch;
    if (!GuardedStartCompress(e, JDIMENSION(layout.lWidth), JDIMENSION(layout.lHeight), settings) ||
        !GuardedWriteMetadata(e, m_blocks, scratch)) {
        e->failed = true;
        CloseWriter();
        return kVxErrCodecIO;
    }
    return 1;
}

int32_t CJpegPlugIn::WriteLine(const void* line, const void*) {
    JpegEncoder* e = m_encoder;
    if (e == nullptr || e->failed) return kVxErrCodecState;
    if (line == nullptr) return kVxErrInvalidArgument;
    if (e->cinfo.next_scanline >= e->cinfo.image_height) return kVxErrCodecState;
    // The compressor reads the row and never writes to it.
    JSAMPROW row = const_cast<JSAMPROW>(static_cast<const JSAMPLE*>(line));
    if (!GuardedWriteScanline(e, row)) {
        e->failed = true;
        return kVxErrCodecIO;
    }
    return 1;
}

int32_t CJpegPlugIn::CloseReader() {
    if (m_decoder == nullptr) return 1;
    DestroyDecoder(m_decoder);
    m_decoder = nullptr;
    return 1;
}

int32_t CJpegPlugIn::CloseWriter() {
    JpegEncoder* e = m_encoder;
    if (e == nullptr) return 1;
    m_encoder = nullptr;
    int32_t code = 1;
    if (e->failed) {
        code = kVxErrCodecIO;
    } else if (e->cinfo.next_scanline < e->cinfo.image_height) {
        code = kVxErrCodecState;
    } else if (!GuardedFinishCompress(e)) {
        code = kVxErrCodecIO;
    }
    jpeg_destroy_compress(&e->cinfo);
    if (std::fclose(e->file) != 0 && code == 1) code = kVxErrCodecIO;
    delete e;
    return KeepFileOnlyIfComplete(code);
}

}  // namespace vxcodec

extern "C" VX_API IPlugIn* CreatePlugIn() {
    return new (std::nothrow) vxcodec::CJpegPlugIn();
}
