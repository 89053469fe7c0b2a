#include "HeifPlugIn.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <vector>

#include <libheif/heif.h>

#include "../common/CodecSupport.h"
#include "vandrel/CodecProperties.h"

namespace vxcodec {

namespace {

const CodecIdentity kHeifIdentity = {"HEIF", nullptr, ".heic;.heif;.hif;HEIC;HEIF;", 12};
const CodecIdentity kAvifIdentity = {"AVIF", "AVIF", ".avif;AVIF;", 12};

// The 'ftyp' box that opens every file of the family lists its brands within the first bytes;
// longer lists are cut here, and the brands that matter come first in practice.
constexpr size_t kBrandProbeBytes = 256;
// No side of an image libheif is asked to open may exceed this (its own default limit).
constexpr int kMaxHeifSide = 32768;
// Metadata items larger than this are damage, not metadata.
constexpr size_t kMaxMetadataBytes = size_t(64) << 20;

uint32_t BigEndian32(const unsigned char* p) {
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}

bool IsOneOf(const unsigned char* brand, const char* const* list) {
    for (; *list != nullptr; ++list)
        if (std::memcmp(brand, *list, 4) == 0) return true;
    return false;
}

// The family the brands of a file's 'ftyp' box name: false when the file does not start with
// one. A file that names the AV1 brands is AVIF whatever else it names.
bool FamilyOfBrands(const unsigned char* data, size_t size, HeifFamily* family) {
    static const char* const kAv1Brands[] = {"avif", "avis", nullptr};
    static const char* const kHevcBrands[] = {"heic", "heix", "heim", "heis", "hevc", "hevx",
                                              "hevm", "hevs", "mif1", "msf1", nullptr};
    if (size < 12 || std::memcmp(data + 4, "ftyp", 4) != 0) return false;
    const uint32_t boxSize = BigEndian32(data);
    if (boxSize < 12) return false;  // 0 and 1 (to the end, 64-bit size) never open a HEIF file
    const size_t end = std::min(size, size_t(boxSize));
    bool av1 = false, hevc = false;
    for (size_t at = 8; at + 4 <= end; at += 4) {
        if (at == 12) continue;  // the minor version, not a brand
        av1 = av1 || IsOneOf(data + at, kAv1Brands);
        hevc = hevc || IsOneOf(data + at, kHevcBrands);
    }
    if (!av1 && !hevc) return false;
    *family = av1 ? HeifFamily::kAv1 : HeifFamily::kHevc;
    return true;
}

int32_t ReadFailureCode(const heif_error& error) {
    if (error.code == heif_error_Input_does_not_exist) return kVxErrCodecOpen;
    if (error.code == heif_error_Memory_allocation_error) return kVxErrCodecMemory;
    if (error.subcode == heif_suberror_Security_limit_exceeded) return kVxErrCodecTooLarge;
    return kVxErrCodecFormat;
}

int32_t DecodeFailureCode(const heif_error& error) {
    if (error.code == heif_error_Memory_allocation_error) return kVxErrCodecMemory;
    if (error.subcode == heif_suberror_Security_limit_exceeded) return kVxErrCodecTooLarge;
    return kVxErrCodecData;
}

// From samples of `bits` significant bits to 16: the bits repeat, so the largest value
// becomes 65535 and the smallest 0.
uint16_t WidenTo16(uint32_t v, int bits) {
    v &= (1u << bits) - 1;
    const int shift = 16 - bits;
    return uint16_t(v << shift | v >> (bits - shift));
}

// From 16-bit samples to `bits`, rounding to the nearest level.
uint16_t NarrowFrom16(uint32_t v, int bits) {
    const uint32_t top = (1u << bits) - 1;
    return uint16_t((v * top + 32767) / 65535);
}

// From 8-bit samples to `bits` >= 8, repeating the bits as WidenTo16 does.
uint16_t Widen8(uint32_t v, int bits) {
    const int shift = bits - 8;
    return uint16_t(v << shift | v >> (8 - shift));
}

// What the status reports and the budget is measured on.
struct HeifLayout {
    int32_t width = 0;
    int32_t height = 0;
    bool alpha = false;
    int storedBits = 8;  // per sample in the file
    int SampleBits() const { return storedBits > 8 ? 16 : 8; }
    uint64_t DecodedBytes(bool withAlpha) const {
        return uint64_t(width) * uint64_t(height) * (withAlpha ? 4 : 3) * (SampleBits() / 8);
    }
};

}  // namespace

struct HeifDecoder {
    heif_context* context = nullptr;
    heif_image_handle* handle = nullptr;
    heif_image* image = nullptr;
    HeifLayout layout;
    const uint8_t* plane = nullptr;
    int stride = 0;
    int channels = 3;  // of the decoded image: 3, or 4 with alpha
    int decodedBits = 8;
    int32_t nextRow = 0;

    ~HeifDecoder() {
        if (image != nullptr) heif_image_release(image);
        if (handle != nullptr) heif_image_handle_release(handle);
        if (context != nullptr) heif_context_free(context);
    }
};

struct HeifEncoder {
    heif_image* image = nullptr;
    uint8_t* plane = nullptr;
    int stride = 0;
    std::FILE* file = nullptr;
    int32_t width = 0;
    int32_t height = 0;
    int32_t rowsWritten = 0;
    int inputChannels = 3;  // 1 for grey lines
    int inputBytes = 1;     // per input sample
    int sampleBits = 8;     // written
    bool alpha = false;
    bool failed = false;

    ~HeifEncoder() {
        if (image != nullptr) heif_image_release(image);
        if (file != nullptr) std::fclose(file);
    }
};

namespace {

// Opens a file and its primary image; *code says why not.
HeifDecoder* OpenPrimaryImage(const char* fileName, int32_t* code) {
    HeifDecoder* d = new (std::nothrow) HeifDecoder();
    if (d == nullptr) {
        *code = kVxErrCodecMemory;
        return nullptr;
    }
    d->context = heif_context_alloc();
    if (d->context == nullptr) {
        delete d;
        *code = kVxErrCodecMemory;
        return nullptr;
    }
    heif_context_set_maximum_image_size_limit(d->context, kMaxHeifSide);
    heif_error error = heif_context_read_from_file(d->context, fileName, nullptr);
    if (error.code == heif_error_Ok)
        error = heif_context_get_primary_image_handle(d->context, &d->handle);
    if (error.code != heif_error_Ok) {
        delete d;
        *code = ReadFailureCode(error);
        return nullptr;
    }
    HeifLayout& l = d->layout;
    l.width = heif_image_handle_get_width(d->handle);
    l.height = heif_image_handle_get_height(d->handle);
    l.alpha = heif_image_handle_has_alpha_channel(d->handle) != 0;
    const int bits = heif_image_handle_get_luma_bits_per_pixel(d->handle);
    l.storedBits = bits >= 8 && bits <= 16 ? bits : 8;
    if (!AcceptableSize(uint64_t(std::max(0, l.width)), uint64_t(std::max(0, l.height)))) {
        *code = l.width < 1 || l.height < 1 ? kVxErrCodecFormat : kVxErrCodecTooLarge;
        delete d;
        return nullptr;
    }
    *code = 1;
    return d;
}

void ReadProfile(const heif_image_handle* handle, CMetadataBlocks* blocks) {
    const heif_color_profile_type type = heif_image_handle_get_color_profile_type(handle);
    if (type != heif_color_profile_type_prof && type != heif_color_profile_type_rICC) return;
    const size_t size = heif_image_handle_get_raw_color_profile_size(handle);
    if (size == 0 || size > kMaxMetadataBytes) return;
    std::vector<unsigned char> icc(size);
    if (heif_image_handle_get_raw_color_profile(handle, icc.data()).code == heif_error_Ok)
        blocks->Keep(kVxPropIccProfile, icc.data(), icc.size());
}

// HEIF stores the Exif block behind a 4-byte big-endian offset to its TIFF header; what
// callers get starts at that header.
void ReadExif(const heif_image_handle* handle, CMetadataBlocks* blocks) {
    heif_item_id id = 0;
    if (heif_image_handle_get_list_of_metadata_block_IDs(handle, "Exif", &id, 1) != 1) return;
    const size_t size = heif_image_handle_get_metadata_size(handle, id);
    if (size < 8 || size > kMaxMetadataBytes) return;
    std::vector<unsigned char> item(size);
    if (heif_image_handle_get_metadata(handle, id, item.data()).code != heif_error_Ok) return;
    const uint64_t offset = uint64_t(BigEndian32(item.data())) + 4;
    const unsigned char* tiff =
        offset + 4 <= size ? FindTiffHeader(item.data() + offset, 4) : nullptr;
    if (tiff == nullptr) tiff = FindTiffHeader(item.data() + 4, size - 4);
    if (tiff == nullptr) return;
    blocks->Keep(kVxPropExif, tiff, size - size_t(tiff - item.data()));
}

// XMP is a 'mime' item of its own content type.
void ReadXmp(const heif_image_handle* handle, CMetadataBlocks* blocks) {
    heif_item_id ids[16];
    const int count = heif_image_handle_get_list_of_metadata_block_IDs(handle, "mime", ids, 16);
    for (int i = 0; i < count; ++i) {
        const char* type = heif_image_handle_get_metadata_content_type(handle, ids[i]);
        if (type == nullptr || std::strcmp(type, "application/rdf+xml") != 0) continue;
        const size_t size = heif_image_handle_get_metadata_size(handle, ids[i]);
        if (size == 0 || size > kMaxMetadataBytes) return;
        std::vector<unsigned char> xmp(size);
        if (heif_image_handle_get_metadata(handle, ids[i], xmp.data()).code == heif_error_Ok)
            blocks->Keep(kVxPropXmp, xmp.data(), xmp.size());
        return;
    }
}

void ReadBlocks(const heif_image_handle* handle, CMetadataBlocks* blocks) {
    blocks->Clear();
    ReadProfile(handle, blocks);
    ReadExif(handle, blocks);
    ReadXmp(handle, blocks);
}

bool ReadHeifBlocks(const char* fileName, CMetadataBlocks* blocks) {
    int32_t code;
    HeifDecoder* d = OpenPrimaryImage(fileName, &code);
    if (d == nullptr) return false;
    ReadBlocks(d->handle, blocks);
    delete d;
    return true;
}

heif_chroma DecodedChroma(int sampleBits, bool alpha) {
    if (sampleBits == 8) return alpha ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB;
    return alpha ? heif_chroma_interleaved_RRGGBBAA_LE : heif_chroma_interleaved_RRGGBB_LE;
}

// One row of little-endian samples of decodedBits each into 16-bit colour and alpha lines.
void WidenRow(const uint8_t* row, int32_t width, int channels, int decodedBits,
              unsigned char* colour, unsigned char* alpha) {
    for (int32_t x = 0; x < width; ++x) {
        const uint8_t* px = row + size_t(x) * channels * 2;
        for (int c = 0; c < 3; ++c)
            StoreU16(colour + (size_t(x) * 3 + c) * 2,
                     WidenTo16(uint32_t(px[2 * c]) | uint32_t(px[2 * c + 1]) << 8, decodedBits));
        if (alpha != nullptr && channels == 4)
            StoreU16(alpha + size_t(x) * 2,
                     WidenTo16(uint32_t(px[6]) | uint32_t(px[7]) << 8, decodedBits));
    }
}

heif_error WriteToFile(heif_context*, const void* data, size_t size, void* userdata) {
    std::FILE* file = static_cast<std::FILE*>(userdata);
    const bool written = std::fwrite(data, 1, size, file) == size;
    heif_error result = {
        written ? heif_error_Ok : heif_error_Encoding_error,
        written ? heif_suberror_Unspecified : heif_suberror_Cannot_write_output_data,
        written ? "" : "write failed"};
    return result;
}

// The colour samples of one input pixel and its alpha, each as a 16-bit value (8-bit input
// widened by repetition).
uint32_t InputSample(const unsigned char* line, size_t index, int inputBytes) {
    return inputBytes == 2 ? LoadU16(line + index * 2) : line[index];
}

uint16_t ToStored(uint32_t v, int inputBytes, int sampleBits) {
    if (inputBytes == 2) return sampleBits == 16 ? uint16_t(v) : NarrowFrom16(v, sampleBits);
    return sampleBits == 8 ? uint16_t(v) : Widen8(v, sampleBits);
}

int32_t EncodeImage(HeifEncoder* e, const CMetadataBlocks& blocks, int quality) {
    if (!blocks.Icc().empty() &&
        heif_image_set_raw_color_profile(e->image, "prof", blocks.Icc().data(), blocks.Icc().size())
                .code != heif_error_Ok)
        return kVxErrCodecMemory;
    heif_context* context = heif_context_alloc();
    if (context == nullptr) return kVxErrCodecMemory;
    heif_encoder* encoder = nullptr;
    heif_encoding_options* options = heif_encoding_options_alloc();
    heif_image_handle* written = nullptr;
    int32_t code = 1;
    if (options == nullptr ||
        heif_context_get_encoder_for_format(context, heif_compression_AV1, &encoder).code !=
            heif_error_Ok) {
        code = kVxErrCodecUnsupported;
    } else {
        options->save_alpha_channel = e->alpha ? 1 : 0;
        // libheif 1.15 hands 10-bit images to libaom in AV1's professional profile, which at 10
        // bits holds 4:2:2 only: libaom 3.6 stops the process on 4:2:0 or 4:4:4 there, and
        // refuses the monochrome alpha image (hence no alpha at 10 bits). 12 bits take all.
        if (e->sampleBits == 10) heif_encoder_set_parameter_string(encoder, "chroma", "422");
        heif_encoder_set_lossy_quality(encoder, std::max(0, std::min(100, quality)));
        if (heif_context_encode_image(context, e->image, encoder, options, &written).code !=
            heif_error_Ok) {
            code = kVxErrCodecIO;
        } else if (!blocks.Exif().empty() &&
                   heif_context_add_exif_metadata(context, written, blocks.Exif().data(),
                                                  int(blocks.Exif().size()))
                           .code != heif_error_Ok) {
            code = kVxErrCodecIO;
        } else if (!blocks.Xmp().empty() &&
                   heif_context_add_XMP_metadata(context, written, blocks.Xmp().data(),
                                                 int(blocks.Xmp().size()))
                           .code != heif_error_Ok) {
            code = kVxErrCodecIO;
        } else {
            heif_writer writer = {1, WriteToFile};
            if (heif_context_write(context, &writer, e->file).code != heif_error_Ok)
                code = kVxErrCodecIO;
        }
    }
    if (written != nullptr) heif_image_handle_release(written);
    if (encoder != nullptr) heif_encoder_release(encoder);
    if (options != nullptr) heif_encoding_options_free(options);
    heif_context_free(context);
    return code;
}

}  // namespace

CHeifPlugIn::CHeifPlugIn(HeifFamily family)
    : CBlockMetadataPlugIn(family == HeifFamily::kAv1 ? kAvifIdentity : kHeifIdentity,
                           ReadHeifBlocks),
      m_family(family) {
    m_version = "libheif ";
    m_version.append(heif_get_version());
}

CHeifPlugIn::~CHeifPlugIn() {
    Close();
}

IPlugIn* CHeifPlugIn::CreateInstance() {
    CHeifPlugIn* instance = new (std::nothrow) CHeifPlugIn(m_family);
    if (instance != nullptr) instance->InheritSettings(*this);
    return instance;
}

bool CHeifPlugIn::HasSignature(const unsigned char* head) const {
    HeifFamily family;
    return FamilyOfBrands(head, 12, &family) && family == m_family;
}

// The brands decide whenever the file can be read; only an unreadable or too short file is
// judged by its name.
int32_t CHeifPlugIn::IsSupportedFile(const char* fileName) {
    if (fileName == nullptr) return 0;
    unsigned char head[kBrandProbeBytes];
    const long got = ReadFileHead(fileName, head, sizeof head);
    if (got < 12) return NameMatchesExtensions(fileName) ? 1 : 0;
    HeifFamily family;
    return FamilyOfBrands(head, size_t(got), &family) && family == m_family ? 1 : 0;
}

int32_t CHeifPlugIn::GetCodecProperty(int32_t id, void* value) {
    if (id == kVxPropOrientationApplied) {
        if (value == nullptr) return kVxErrInvalidArgument;
        *static_cast<int32_t*>(value) = 1;
        return 1;
    }
    if (id == kVxPropSampleBits && m_family == HeifFamily::kAv1) {
        if (value == nullptr) return kVxErrInvalidArgument;
        *static_cast<int32_t*>(value) = m_sampleBits;
        return 1;
    }
    return 0;
}

int32_t CHeifPlugIn::SetCodecProperty(int32_t id, const void* value) {
    if (id != kVxPropSampleBits || m_family != HeifFamily::kAv1) return 0;
    if (value == nullptr) return kVxErrInvalidArgument;
    const int32_t bits = *static_cast<const int32_t*>(value);
    if (bits != 0 && bits != 8 && bits != 10 && bits != 12) return kVxErrInvalidArgument;
    if (m_encoder != nullptr) return kVxErrCodecState;
    m_sampleBits = bits;
    return 1;
}

int32_t CHeifPlugIn::GetFileStatus(CUImageFileStatus* status) {
    if (status == nullptr) return kVxErrInvalidArgument;
    FileBlocks().Clear();
    int32_t code;
    HeifDecoder* d = OpenPrimaryImage(FileName(), &code);
    if (d == nullptr) return code;
    const HeifLayout l = d->layout;
    try {
        ReadBlocks(d->handle, &FileBlocks());
    } catch (const std::bad_alloc&) {
        FileBlocks().Clear();
    }
    delete d;
    if (!Budget().Allows(l.DecodedBytes(l.alpha))) return kVxErrCodecTooLarge;
    DescribeImage(status, GetReadingType(), l.width, l.height, l.SampleBits(), l.alpha,
                  l.storedBits * (l.alpha ? 4 : 3));
    return 1;
}

int32_t CHeifPlugIn::OpenForReading() {
    int32_t code;
    HeifDecoder* d = OpenPrimaryImage(FileName(), &code);
    if (d == nullptr) return code;
    const bool alpha = d->layout.alpha && !SkipAlpha();
    const int sampleBits = d->layout.SampleBits();
    if (!Budget().Allows(d->layout.DecodedBytes(alpha))) {
        delete d;
        return kVxErrCodecTooLarge;
    }
    // Default decoding options: libheif applies the file's rotation, mirroring and crop.
    const heif_error error = heif_decode_image(d->handle, &d->image, heif_colorspace_RGB,
                                               DecodedChroma(sampleBits, alpha), nullptr);
    if (error.code != heif_error_Ok) {
        delete d;
        return DecodeFailureCode(error);
    }
    d->plane = heif_image_get_plane_readonly(d->image, heif_channel_interleaved, &d->stride);
    d->channels = alpha ? 4 : 3;
    const int bits = heif_image_get_bits_per_pixel_range(d->image, heif_channel_interleaved);
    d->decodedBits = bits >= 9 && bits <= 16 ? bits : d->layout.storedBits;
    const bool sizeAsTold =
        heif_image_get_width(d->image, heif_channel_interleaved) == d->layout.width &&
        heif_image_get_height(d->image, heif_channel_interleaved) == d->layout.height;
    if (d->plane == nullptr || !sizeAsTold ||
        d->stride < d->layout.width * d->channels * (sampleBits / 8)) {
        delete d;
        return kVxErrCodecData;
    }
    m_decoder = d;
    return 1;
}

int32_t CHeifPlugIn::ReadLine(void* line, void* line2) {
    HeifDecoder* d = m_decoder;
    if (d == nullptr) return kVxErrCodecState;
    if (line == nullptr) return kVxErrInvalidArgument;
    if (d->nextRow >= d->layout.height) return kVxErrCodecState;
    const uint8_t* row = d->plane + size_t(d->nextRow) * size_t(d->stride);
    unsigned char* colour = static_cast<unsigned char*>(line);
    unsigned char* alpha = static_cast<unsigned char*>(line2);
    const int32_t width = d->layout.width;
    if (d->layout.SampleBits() == 16) {
        WidenRow(row, width, d->channels, d->decodedBits, colour, alpha);
    } else if (d->channels == 4) {
        SplitAlpha(row, width, 4, 1, colour, alpha);
    } else {
        std::memcpy(colour, row, size_t(width) * 3);
    }
    ++d->nextRow;
    return 1;
}

// The whole image is decoded at Open, so any line can be next.
int32_t CHeifPlugIn::SeekLine(int32_t line, int origin) {
    HeifDecoder* d = m_decoder;
    if (d == nullptr) return kVxErrCodecState;
    const int64_t target = SeekTarget(line, origin, d->nextRow, d->layout.height);
    if (target < 0 || target > d->layout.height) return kVxErrCannotSeek;
    d->nextRow = int32_t(target);
    return 1;
}

int32_t CHeifPlugIn::OpenForWriting() {
    if (m_family != HeifFamily::kAv1) return kVxErrCodecUnsupported;
    const CUImageInfo& layout = Request().info;
    WrittenSamples samples;
    if (layout.bNative != 0 || !SamplesForDepth(layout.lColorDepth, &samples))
        return kVxErrCodecUnsupported;
    const int32_t size = CheckWriteSize(layout.lWidth, layout.lHeight, kMaxHeifSide);
    if (size != 1) return size;
    if (!heif_have_encoder_for_format(heif_compression_AV1)) return kVxErrCodecUnsupported;
    HeifEncoder* e = new (std::nothrow) HeifEncoder();
    if (e == nullptr) return kVxErrCodecMemory;
    e->width = layout.lWidth;
    e->height = layout.lHeight;
    e->inputChannels = samples.channels;
    e->inputBytes = samples.bits / 8;
    e->sampleBits = m_sampleBits != 0 ? m_sampleBits : samples.bits == 16 ? 12 : 8;
    e->alpha = WriteAlpha();
    if (e->sampleBits == 10 && e->alpha) {
        delete e;
        return kVxErrCodecUnsupported;
    }
    const heif_chroma chroma = DecodedChroma(e->sampleBits == 8 ? 8 : 16, e->alpha);
    if (heif_image_create(e->width, e->height, heif_colorspace_RGB, chroma, &e->image).code !=
            heif_error_Ok ||
        heif_image_add_plane(e->image, heif_channel_interleaved, e->width, e->height, e->sampleBits)
                .code != heif_error_Ok) {
        delete e;
        return kVxErrCodecMemory;
    }
    e->plane = heif_image_get_plane(e->image, heif_channel_interleaved, &e->stride);
    e->file = e->plane != nullptr ? std::fopen(FileName(), "wb") : nullptr;
    if (e->file == nullptr) {
        const int32_t code = e->plane == nullptr ? kVxErrCodecMemory : kVxErrCodecOpen;
        delete e;
        return code;
    }
    m_encoder = e;
    return 1;
}

int32_t CHeifPlugIn::WriteLine(const void* line, const void* line2) {
    HeifEncoder* e = m_encoder;
    if (e == nullptr || e->failed) return kVxErrCodecState;
    if (line == nullptr) return kVxErrInvalidArgument;
    if (e->rowsWritten >= e->height) return kVxErrCodecState;
    const unsigned char* colour = static_cast<const unsigned char*>(line);
    const unsigned char* alpha = static_cast<const unsigned char*>(line2);
    uint8_t* row = e->plane + size_t(e->rowsWritten) * size_t(e->stride);
    const int channels = e->alpha ? 4 : 3;
    const bool wide = e->sampleBits > 8;
    const uint16_t opaque = uint16_t((1u << e->sampleBits) - 1);
    for (int32_t x = 0; x < e->width; ++x) {
        uint16_t out[4];
        for (int c = 0; c < 3; ++c) {
            const size_t index = size_t(x) * e->inputChannels + (e->inputChannels == 3 ? c : 0);
            out[c] =
                ToStored(InputSample(colour, index, e->inputBytes), e->inputBytes, e->sampleBits);
        }
        out[3] = alpha != nullptr ? ToStored(InputSample(alpha, size_t(x), e->inputBytes),
                                             e->inputBytes, e->sampleBits)
                                  : opaque;
        for (int c = 0; c < channels; ++c) {
            if (wide) {
                uint8_t* at = row + (size_t(x) * channels + c) * 2;
                at[0] = uint8_t(out[c] & 0xFF);
                at[1] = uint8_t(out[c] >> 8);
            } else {
                row[size_t(x) * channels + c] = uint8_t(out[c]);
            }
        }
    }
    ++e->rowsWritten;
    return 1;
}

int32_t CHeifPlugIn::CloseReader() {
    delete m_decoder;
    m_decoder = nullptr;
    return 1;
}

int32_t CHeifPlugIn::CloseWriter() {
    HeifEncoder* e = m_encoder;
    if (e == nullptr) return 1;
    m_encoder = nullptr;
    int32_t code = 1;
    if (e->failed) {
        code = kVxErrCodecIO;
    } else if (e->rowsWritten < e->height) {
        code = kVxErrCodecState;
    } else {
        code = EncodeImage(e, BlocksToWrite(), Request().lQuality);
    }
    if (std::fclose(e->file) != 0 && code == 1) code = kVxErrCodecIO;
    e->file = nullptr;
    delete e;
    return KeepFileOnlyIfComplete(code);
}

}  // namespace vxcodec
