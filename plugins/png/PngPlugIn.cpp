#include "PngPlugIn.h"

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <new>
#include <vector>

#include <png.h>

#include "../common/CodecSupport.h"
#include "vandrel/Export.h"

namespace vxcodec {

namespace {

const CodecIdentity kPngIdentity = {"PNG", "PNG", ".png;PNGf;", 8};

// No ancillary chunk the plug-in reads (a profile, Exif, XMP) comes near this; a forged chunk
// length or a compressed-text bomb is refused before libpng allocates for it.
constexpr uint64_t kMaxChunkBytes = uint64_t(16) << 20;
// Ancillary chunks kept per file; thousands of them only cost time and memory.
constexpr png_uint_32 kMaxAncillaryChunks = 256;
// Text chunks carry nothing the decoder uses, so libpng skips them unread. This matters beyond
// the time saved: libpng only warns about a text chunk longer than the chunk limit and then
// allocates whatever length it claims (2 GB from a 64-byte file). Whoever wants XMP (iTXt)
// reads it in a pass of its own that bounds the chunk first.
const png_byte kSkippedChunks[] = {'t', 'E',  'X', 't', '\0', 'z', 'T', 'X',
                                   't', '\0', 'i', 'T', 'X',  't', '\0'};

// libpng's error callback must not return: it jumps back to the guarded function that called
// the library (png_longjmp). Warnings are counted and become a warning status.
struct PngGuard {
    int32_t warnings = 0;
    int32_t code = 0;  // a status the jump reports instead of damaged data
};

extern "C" void PngErrorFn(png_structp png, png_const_charp) {
    png_longjmp(png, 1);
}

extern "C" void PngWarningFn(png_structp png, png_const_charp) {
    static_cast<PngGuard*>(png_get_error_ptr(png))->warnings++;
}

struct Layout {
    png_uint_32 width = 0;
    png_uint_32 height = 0;
    int sampleBits = 8;  // of the delivered lines: 8 or 16
    bool alpha = false;  // an alpha channel or a tRNS key
    int storedBitsPerPixel = 0;
    bool interlaced = false;
};

}  // namespace

struct PngDecoder {
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::FILE* file = nullptr;
    uint64_t budget = kVxDefaultMemoryBudget;
    PngGuard guard;
    Layout layout;
    bool failed = false;
    int channels = 3;  // after the transforms: 3, or 4 with alpha
    int passes = 1;
    png_uint_32 nextRow = 0;
    std::vector<unsigned char> row;    // one decoded row (streaming)
    std::vector<unsigned char> image;  // every row (interlaced)
    size_t rowBytes = 0;
};

struct PngEncoder {
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::FILE* file = nullptr;
    PngGuard guard;
    bool failed = false;
    png_uint_32 width = 0;
    png_uint_32 height = 0;
    png_uint_32 rowsWritten = 0;
    int channels = 3;
    int bytesPerSample = 1;
    bool alpha = false;
    std::vector<unsigned char> row;
};

namespace {

// --- Guarded calls: setjmp, then the library; no C++ object lives in these frames. ---

bool GuardedReadInfo(PngDecoder* d) {
    if (setjmp(png_jmpbuf(d->png))) return false;
    png_init_io(d->png, d->file);
    png_set_user_limits(d->png, kMaxImageSide, kMaxImageSide);
    png_set_chunk_malloc_max(d->png, d->budget < kMaxChunkBytes ? d->budget : kMaxChunkBytes);
    png_set_chunk_cache_max(d->png, kMaxAncillaryChunks);
    png_set_keep_unknown_chunks(d->png, PNG_HANDLE_CHUNK_NEVER, kSkippedChunks,
                                int(sizeof kSkippedChunks / 5));
    png_read_info(d->png, d->info);
    return true;
}

bool GuardedSetTransforms(PngDecoder* d, bool swap16, bool stripAlpha) {
    if (setjmp(png_jmpbuf(d->png))) return false;
    png_set_expand(d->png);  // palette to RGB, low-depth grey to 8 bits, tRNS to alpha
    png_set_gray_to_rgb(d->png);
    if (swap16) png_set_swap(d->png);
    if (stripAlpha) png_set_strip_alpha(d->png);
    d->passes = png_set_interlace_handling(d->png);
    png_read_update_info(d->png, d->info);
    d->channels = png_get_channels(d->png, d->info);
    d->rowBytes = png_get_rowbytes(d->png, d->info);
    return true;
}

bool GuardedReadRow(PngDecoder* d, unsigned char* row) {
    if (setjmp(png_jmpbuf(d->png))) return false;
    png_read_row(d->png, row, nullptr);
    return true;
}

bool GuardedReadEnd(PngDecoder* d) {
    if (setjmp(png_jmpbuf(d->png))) return false;
    png_read_end(d->png, nullptr);
    return true;
}

bool GuardedSkipRows(PngDecoder* d, png_uint_32 count, unsigned char* row) {
    if (setjmp(png_jmpbuf(d->png))) return false;
    for (png_uint_32 i = 0; i < count; ++i)
        png_read_row(d->png, row, nullptr);
    return true;
}

// Every pass over every row; progress goes out as rows of all passes complete.
bool GuardedReadInterlaced(PngDecoder* d, CDecodeProgress* progress) {
    if (setjmp(png_jmpbuf(d->png))) return false;
    const png_uint_32 height = d->layout.height;
    const double total = double(height) * d->passes;
    for (int pass = 0; pass < d->passes; ++pass) {
        for (png_uint_32 y = 0; y < height; ++y) {
            png_read_row(d->png, d->image.data() + y * d->rowBytes, nullptr);
            if (!progress->Advance((double(pass) * height + y + 1) / total)) {
                d->guard.code = kVxErrCancelled;
                return false;
            }
        }
    }
    return true;
}

// The keyword under which XMP travels in an iTXt chunk.
constexpr char kXmpKeyword[] = "XML:com.adobe.xmp";

// A profile libpng finds unfit for the image (an RGB profile on grey samples, a length that
// disagrees with its header) is dropped with a warning rather than failing the write.
void SetMetadataChunks(png_structp png, png_infop info, const CMetadataBlocks& blocks) {
    png_set_benign_errors(png, 1);
    if (!blocks.Icc().empty())
        png_set_iCCP(png, info, "ICC profile", PNG_COMPRESSION_TYPE_BASE, blocks.Icc().data(),
                     png_uint_32(blocks.Icc().size()));
    if (!blocks.Exif().empty() && blocks.Exif().size() <= 0x7FFFFFFF)
        png_set_eXIf_1(png, info, png_uint_32(blocks.Exif().size()),
                       const_cast<png_bytep>(blocks.Exif().data()));
    if (!blocks.Xmp().empty()) {
        png_text text{};
        text.compression = PNG_ITXT_COMPRESSION_NONE;
        text.key = const_cast<png_charp>(kXmpKeyword);
        text.text = reinterpret_cast<png_charp>(const_cast<unsigned char*>(blocks.Xmp().data()));
        text.itxt_length = blocks.Xmp().size();
        png_set_text(png, info, &text, 1);
    }
}

bool GuardedStartWrite(PngEncoder* e, int bitDepth, int colorType, bool swap16,
                       const CMetadataBlocks& blocks, int compression) {
    if (setjmp(png_jmpbuf(e->png))) return false;
    png_init_io(e->png, e->file);
    png_set_IHDR(e->png, e->info, e->width, e->height, bitDepth, colorType, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (compression >= 0) png_set_compression_level(e->png, compression);
    SetMetadataChunks(e->png, e->info, blocks);
    png_write_info(e->png, e->info);
    if (swap16) png_set_swap(e->png);
    return true;
}

bool GuardedWriteRow(PngEncoder* e, const unsigned char* row) {
    if (setjmp(png_jmpbuf(e->png))) return false;
    png_write_row(e->png, row);
    return true;
}

bool GuardedWriteEnd(PngEncoder* e) {
    if (setjmp(png_jmpbuf(e->png))) return false;
    png_write_end(e->png, e->info);
    return true;
}

void DestroyDecoder(PngDecoder* d) {
    if (d == nullptr) return;
    if (d->png != nullptr) png_destroy_read_struct(&d->png, &d->info, nullptr);
    if (d->file != nullptr) std::fclose(d->file);
    delete d;
}

Layout DescribeHeader(png_structp png, png_infop info) {
    Layout layout;
    int bitDepth = 0, colorType = 0, interlace = 0;
    png_get_IHDR(png, info, &layout.width, &layout.height, &bitDepth, &colorType, &interlace,
                 nullptr, nullptr);
    layout.sampleBits = bitDepth == 16 ? 16 : 8;
    layout.alpha =
        (colorType & PNG_COLOR_MASK_ALPHA) != 0 || png_get_valid(png, info, PNG_INFO_tRNS) != 0;
    layout.storedBitsPerPixel = bitDepth * png_get_channels(png, info);
    layout.interlaced = interlace != PNG_INTERLACE_NONE;
    return layout;
}

// Opens the file and reads everything up to the image data. On failure *code says why.
PngDecoder* OpenDecoder(const char* fileName, int32_t* code,
                        uint64_t budget = kVxDefaultMemoryBudget) {
    PngDecoder* d = new (std::nothrow) PngDecoder();
    if (d == nullptr) {
        *code = kVxErrCodecMemory;
        return nullptr;
    }
    d->budget = budget;
    d->file = std::fopen(fileName, "rb");
    if (d->file == nullptr) {
        *code = kVxErrCodecOpen;
        delete d;
        return nullptr;
    }
    unsigned char signature[8];
    if (std::fread(signature, 1, 8, d->file) != 8 || png_sig_cmp(signature, 0, 8) != 0) {
        *code = kVxErrCodecFormat;
        DestroyDecoder(d);
        return nullptr;
    }
    d->png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &d->guard, PngErrorFn, PngWarningFn);
    d->info = d->png != nullptr ? png_create_info_struct(d->png) : nullptr;
    if (d->info == nullptr) {
        *code = kVxErrCodecMemory;
        DestroyDecoder(d);
        return nullptr;
    }
    png_set_sig_bytes(d->png, 8);
    if (!GuardedReadInfo(d)) {
        *code = kVxErrCodecFormat;
        DestroyDecoder(d);
        return nullptr;
    }
    d->layout = DescribeHeader(d->png, d->info);
    if (!AcceptableSize(d->layout.width, d->layout.height)) {
        *code = kVxErrCodecTooLarge;
        DestroyDecoder(d);
        return nullptr;
    }
    *code = 1;
    return d;
}

// The profile, the Exif block and the XMP packet met before the image data.
void KeepMetadata(const PngDecoder* d, CMetadataBlocks* blocks) {
    blocks->Clear();
    png_charp name = nullptr;
    int compression = 0;
    png_bytep data = nullptr;
    png_uint_32 length = 0;
    if (png_get_iCCP(d->png, d->info, &name, &compression, &data, &length) != 0)
        blocks->Keep(kVxPropIccProfile, data, length);
    png_bytep exif = nullptr;
    png_uint_32 exifLength = 0;
    if (png_get_eXIf_1(d->png, d->info, &exifLength, &exif) != 0 && exif != nullptr)
        blocks->Keep(kVxPropExif, exif, exifLength);
    png_textp texts = nullptr;
    int count = 0;
    png_get_text(d->png, d->info, &texts, &count);
    for (int i = 0; i < count; ++i) {
        if (std::strcmp(texts[i].key, kXmpKeyword) != 0 || texts[i].text == nullptr) continue;
        const size_t size = texts[i].compression >= PNG_ITXT_COMPRESSION_NONE
                                ? texts[i].itxt_length
                                : texts[i].text_length;
        blocks->Keep(kVxPropXmp, reinterpret_cast<const unsigned char*>(texts[i].text), size);
        break;
    }
}

bool ReadPngProfile(const char* fileName, std::vector<unsigned char>& profile) {
    int32_t code;
    PngDecoder* d = OpenDecoder(fileName, &code);
    if (d == nullptr) return false;
    png_charp name = nullptr;
    int compression = 0;
    png_bytep data = nullptr;
    png_uint_32 length = 0;
    bool found = png_get_iCCP(d->png, d->info, &name, &compression, &data, &length) != 0;
    if (found) profile.assign(data, data + length);
    DestroyDecoder(d);
    return found;
}

}  // namespace

CPngPlugIn::CPngPlugIn() : CReaderWriterPlugIn(kPngIdentity) {
    m_version = "libpng ";
    m_version.append(png_get_libpng_ver(nullptr));
}

CPngPlugIn::~CPngPlugIn() {
    Close();
}

IPlugIn* CPngPlugIn::CreateInstance() {
    return new (std::nothrow) CPngPlugIn();
}

bool CPngPlugIn::HasSignature(const unsigned char* head) const {
    return png_sig_cmp(head, 0, 8) == 0;
}

PngProfileReader CPngPlugIn::ProfileReader() const {
    return ReadPngProfile;
}

const char* CPngPlugIn::GetDecoderVersion() {
    return m_version.c_str();
}

int32_t CPngPlugIn::GetFileStatus(CUImageFileStatus* status) {
    if (status == nullptr) return kVxErrInvalidArgument;
    int32_t code;
    PngDecoder* d = OpenDecoder(FileName(), &code, m_budget.Bytes());
    if (d == nullptr) return code;
    const Layout& l = d->layout;
    DescribeImage(status, "PNG", int32_t(l.width), int32_t(l.height), l.sampleBits, l.alpha,
                  l.storedBitsPerPixel);
    KeepMetadata(d, &m_blocks);
    DestroyDecoder(d);
    return 1;
}

int32_t CPngPlugIn::OpenForReading() {
    int32_t code;
    PngDecoder* d = OpenDecoder(FileName(), &code, m_budget.Bytes());
    if (d == nullptr) return code;
    const bool swap16 = d->layout.sampleBits == 16 && HostIsLittleEndian();
    if (!GuardedSetTransforms(d, swap16, SkipAlpha())) {
        DestroyDecoder(d);
        return kVxErrCodecData;
    }
    try {
        if (d->passes > 1) {
            // An interlaced image is decoded in whole before its first line.
            if (!m_budget.Allows(uint64_t(d->rowBytes) * d->layout.height)) {
                DestroyDecoder(d);
                return kVxErrCodecTooLarge;
            }
            d->image.resize(d->rowBytes * d->layout.height);
        } else {
            d->row.resize(d->rowBytes);
        }
    } catch (const std::bad_alloc&) {
        DestroyDecoder(d);
        return kVxErrCodecMemory;
    }
    // Complaints about ancillary chunks before the image (a profile libpng distrusts, say) are
    // not damage to the pixels; only what goes wrong from here on is reported.
    const int32_t warningsBefore = d->guard.warnings;
    if (d->passes > 1) {
        m_progress.Begin(Request().pMessageProc, int32_t(d->layout.height));
        if (!GuardedReadInterlaced(d, &m_progress)) {
            code = d->guard.code != 0 ? d->guard.code : kVxErrCodecData;
            DestroyDecoder(d);
            return code;
        }
        if (!GuardedReadEnd(d)) ++d->guard.warnings;
    }
    m_decoder = d;
    m_damage.Begin(Request().pMessageProc);
    return d->guard.warnings > warningsBefore ? kVxWarnCodecData : 1;
}

int32_t CPngPlugIn::GetProperty(int32_t id, void* value) {
    if (id == kVxPropMemoryBudget) return m_budget.Get(value);
    if (id != kVxPropCompression) return m_blocks.Get(id, value);
    if (value == nullptr) return kVxErrInvalidArgument;
    *static_cast<int32_t*>(value) = m_compression;
    return 1;
}

int32_t CPngPlugIn::SetProperty(int32_t id, const void* value) {
    if (id == kVxPropMemoryBudget) return m_budget.Set(value);
    if (id != kVxPropCompression)
        return m_blocks.Set(id, value,
                            CMetadataBlocks::kIcc | CMetadataBlocks::kExif | CMetadataBlocks::kXmp);
    int32_t level = 0;
    if (!ReadInt32Property(value, &level) || level < 0 || level > 9) return kVxErrInvalidArgument;
    m_compression = level;
    return 1;
}

int32_t CPngPlugIn::ReadLine(void* line, void* line2) {
    PngDecoder* d = m_decoder;
    if (d == nullptr || d->failed) return kVxErrCodecState;
    if (line == nullptr) return kVxErrInvalidArgument;
    if (d->nextRow >= d->layout.height) return kVxErrCodecState;
    const int32_t warningsBefore = d->guard.warnings;
    const unsigned char* source;
    if (d->passes > 1) {
        source = d->image.data() + d->nextRow * d->rowBytes;
    } else {
        if (!GuardedReadRow(d, d->row.data())) {
            d->failed = true;
            return kVxErrCodecData;
        }
        source = d->row.data();
    }
    ++d->nextRow;
    // The chunks after the image are read with the last line: every line is out by then, so
    // damage there (a cut-off end, a bad checksum) is only a warning.
    if (d->passes == 1 && d->nextRow == d->layout.height && !GuardedReadEnd(d)) ++d->guard.warnings;
    const int32_t code = d->guard.warnings > warningsBefore ? kVxWarnCodecData : 1;
    const int32_t width = int32_t(d->layout.width);
    const int32_t bytesPerSample = d->layout.sampleBits / 8;
    if (d->channels == 4) {
        SplitAlpha(source, width, 4, bytesPerSample, static_cast<unsigned char*>(line),
                   static_cast<unsigned char*>(line2));
    } else {
        std::memcpy(line, source, size_t(width) * 3 * bytesPerSample);
    }
    return m_damage.Note(code);
}

// An interlaced image is in memory, so any line can be next; a streamed one only moves on.
int32_t CPngPlugIn::SeekLine(int32_t line, int origin) {
    PngDecoder* d = m_decoder;
    if (d == nullptr || d->failed) return kVxErrCodecState;
    const int32_t current = int32_t(d->nextRow);
    const int32_t height = int32_t(d->layout.height);
    const int64_t target = SeekTarget(line, origin, current, height);
    if (target < 0 || target > height) return kVxErrCannotSeek;
    if (d->passes > 1) {
        d->nextRow = png_uint_32(target);
        return 1;
    }
    if (target < current) return kVxErrCannotSeek;
    const int32_t warningsBefore = d->guard.warnings;
    if (!GuardedSkipRows(d, png_uint_32(target - current), d->row.data())) {
        d->failed = true;
        return kVxErrCodecData;
    }
    d->nextRow = png_uint_32(target);
    return d->guard.warnings > warningsBefore ? kVxWarnCodecData : 1;
}

int32_t CPngPlugIn::OpenForWriting() {
    const CUImageInfo& layout = Request().info;
    if (layout.bNative != 0) return kVxErrCodecUnsupported;
    // PNG has no YCbCr: such samples would be read back as false colours.
    if (layout.IsColorSpace("YCC")) return kVxErrCodecUnsupported;
    WrittenSamples samples;
    if (!SamplesForDepth(layout.lColorDepth, &samples)) return kVxErrCodecUnsupported;
    const int colorChannels = samples.channels;
    const int bitDepth = samples.bits;
    const int32_t size = CheckWriteSize(layout.lWidth, layout.lHeight);
    if (size != 1) return size;
    PngEncoder* e = new (std::nothrow) PngEncoder();
    if (e == nullptr) return kVxErrCodecMemory;
    e->width = png_uint_32(layout.lWidth);
    e->height = png_uint_32(layout.lHeight);
    e->alpha = WriteAlpha();
    e->channels = colorChannels + (e->alpha ? 1 : 0);
    e->bytesPerSample = bitDepth / 8;
    try {
        if (e->alpha) e->row.resize(size_t(e->width) * e->channels * e->bytesPerSample);
    } catch (const std::bad_alloc&) {
        delete e;
        return kVxErrCodecMemory;
    }
    e->file = std::fopen(FileName(), "wb");
    if (e->file == nullptr) {
        delete e;
        return kVxErrCodecOpen;
    }
    m_encoder = e;
    e->png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &e->guard, PngErrorFn, PngWarningFn);
    e->info = e->png != nullptr ? png_create_info_struct(e->png) : nullptr;
    if (e->info == nullptr) {
        e->failed = true;
        CloseWriter();
        return kVxErrCodecMemory;
    }
    int colorType = colorChannels == 1
                        ? (e->alpha ? PNG_COLOR_TYPE_GRAY_ALPHA : PNG_COLOR_TYPE_GRAY)
                        : (e->alpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB);
    if (!GuardedStartWrite(e, bitDepth, colorType, bitDepth == 16 && HostIsLittleEndian(), m_blocks,
                           m_compression)) {
        e->failed = true;
        CloseWriter();
        return kVxErrCodecIO;
    }
    return 1;
}

int32_t CPngPlugIn::WriteLine(const void* line, const void* line2) {
    PngEncoder* e = m_encoder;
    if (e == nullptr || e->failed) return kVxErrCodecState;
    if (line == nullptr) return kVxErrInvalidArgument;
    if (e->rowsWritten >= e->height) return kVxErrCodecState;
    const unsigned char* row = static_cast<const unsigned char*>(line);
    if (e->alpha) {
        JoinAlpha(row, static_cast<const unsigned char*>(line2), int32_t(e->width), e->channels,
                  e->bytesPerSample, e->row.data());
        row = e->row.data();
    }
    // libpng copies the row before transforming it, so the caller's line stays untouched.
    if (!GuardedWriteRow(e, row)) {
        e->failed = true;
        return kVxErrCodecIO;
    }
    ++e->rowsWritten;
    return 1;
}

int32_t CPngPlugIn::CloseReader() {
    if (m_decoder == nullptr) return 1;
    DestroyDecoder(m_decoder);
    m_decoder = nullptr;
    return 1;
}

int32_t CPngPlugIn::CloseWriter() {
    PngEncoder* e = m_encoder;
    if (e == nullptr) return 1;
    m_encoder = nullptr;
    int32_t code = 1;
    if (e->failed) {
        code = kVxErrCodecIO;
    } else if (e->rowsWritten < e->height) {
        code = kVxErrCodecState;
    } else if (!GuardedWriteEnd(e)) {
        code = kVxErrCodecIO;
    }
    if (e->png != nullptr) png_destroy_write_struct(&e->png, &e->info);
    if (std::fclose(e->file) != 0 && code == 1) code = kVxErrCodecIO;
    delete e;
    return KeepFileOnlyIfComplete(code);
}

}  // namespace vxcodec

extern "C" VX_API IPlugIn* CreatePlugIn() {
    return new (std::nothrow) vxcodec::CPngPlugIn();
}
