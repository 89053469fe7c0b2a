#include "WebpPlugIn.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include <webp/decode.h>
#include <webp/demux.h>
#include <webp/encode.h>
#include <webp/mux.h>

#include "../common/CodecSupport.h"
#include "vandrel/CodecProperties.h"
#include "vandrel/Export.h"

namespace vxcodec {

namespace {

const CodecIdentity kWebpIdentity = {"WEBP", "WEBP", ".webp;WEBP;", 12};

std::string VersionText(int packed) {
    char text[32];
    std::snprintf(text, sizeof text, "%d.%d.%d", packed >> 16, (packed >> 8) & 0xFF, packed & 0xFF);
    return text;
}

// The whole file: libwebp decodes from memory. A file larger than the decode budget is refused
// before it is read.
int32_t ReadWholeFile(const char* fileName, const CMemoryBudget& budget,
                      std::vector<unsigned char>* data) {
    std::FILE* file = std::fopen(fileName, "rb");
    if (file == nullptr) return kVxErrCodecOpen;
    int32_t code = 1;
    if (fseeko(file, 0, SEEK_END) != 0) {
        code = kVxErrCodecIO;
    } else {
        const off_t size = ftello(file);
        if (size < 0 || fseeko(file, 0, SEEK_SET) != 0) {
            code = kVxErrCodecIO;
        } else if (!budget.Allows(uint64_t(size))) {
            code = kVxErrCodecTooLarge;
        } else {
            try {
                data->resize(size_t(size));
                if (std::fread(data->data(), 1, data->size(), file) != data->size())
                    code = kVxErrCodecIO;
            } catch (const std::bad_alloc&) {
                code = kVxErrCodecMemory;
            }
        }
    }
    std::fclose(file);
    return code;
}

struct WebpLayout {
    int32_t width = 0;
    int32_t height = 0;
    bool alpha = false;
    bool animated = false;
    bool lossless = false;
};

// The demuxer checks the whole container before anything is allocated for the pixels: a
// header that promises a canvas without a complete first frame is refused here.
int32_t Inspect(const std::vector<unsigned char>& data, WebpLayout* layout) {
    const WebPData whole = {data.data(), data.size()};
    WebPDemuxer* demux = WebPDemux(&whole);
    if (demux == nullptr) return kVxErrCodecFormat;
    const uint32_t flags = WebPDemuxGetI(demux, WEBP_FF_FORMAT_FLAGS);
    layout->width = int32_t(WebPDemuxGetI(demux, WEBP_FF_CANVAS_WIDTH));
    layout->height = int32_t(WebPDemuxGetI(demux, WEBP_FF_CANVAS_HEIGHT));
    layout->animated = (flags & ANIMATION_FLAG) != 0;
    WebPIterator frame;
    bool found = WebPDemuxGetFrame(demux, 1, &frame) != 0 && frame.fragment.size > 0;
    if (found) {
        WebPBitstreamFeatures features;
        found =
            WebPGetFeatures(frame.fragment.bytes, frame.fragment.size, &features) == VP8_STATUS_OK;
        layout->lossless = found && features.format == 2;
        layout->alpha = (flags & ALPHA_FLAG) != 0 || frame.has_alpha != 0;
        WebPDemuxReleaseIterator(&frame);
    }
    WebPDemuxDelete(demux);
    if (!found) return kVxErrCodecFormat;
    if (!AcceptableSize(uint64_t(std::max(0, layout->width)),
                        uint64_t(std::max(0, layout->height))))
        return layout->width < 1 || layout->height < 1 ? kVxErrCodecFormat : kVxErrCodecTooLarge;
    return 1;
}

uint64_t DecodedBytes(const WebpLayout& l, bool alpha) {
    // An animation is composed on an RGBA canvas whatever the caller keeps.
    const int channels = alpha || l.animated ? 4 : 3;
    return uint64_t(l.width) * uint64_t(l.height) * channels;
}

// The payload of a chunk; empty when the file has none.
WebPData ChunkOf(WebPMux* mux, const char* fourcc) {
    WebPData chunk = {nullptr, 0};
    if (WebPMuxGetChunk(mux, fourcc, &chunk) != WEBP_MUX_OK) chunk.size = 0;
    return chunk;
}

void ReadBlocks(const std::vector<unsigned char>& data, CMetadataBlocks* blocks) {
    blocks->Clear();
    const WebPData whole = {data.data(), data.size()};
    WebPMux* mux = WebPMuxCreate(&whole, 0);
    if (mux == nullptr) return;
    const WebPData icc = ChunkOf(mux, "ICCP");
    if (icc.size > 0) blocks->Keep(kVxPropIccProfile, icc.bytes, icc.size);
    // Some writers keep the JPEG-style "Exif\0\0" before the TIFF header.
    const WebPData exif = ChunkOf(mux, "EXIF");
    const unsigned char* tiff = FindTiffHeader(exif.bytes, exif.size);
    if (tiff != nullptr) blocks->Keep(kVxPropExif, tiff, exif.size - size_t(tiff - exif.bytes));
    const WebPData xmp = ChunkOf(mux, "XMP ");
    if (xmp.size > 0) blocks->Keep(kVxPropXmp, xmp.bytes, xmp.size);
    WebPMuxDelete(mux);
}

bool ReadWebpBlocks(const char* fileName, CMetadataBlocks* blocks) {
    std::vector<unsigned char> data;
    WebpLayout layout;
    if (ReadWholeFile(fileName, CMemoryBudget(), &data) != 1 || Inspect(data, &layout) != 1)
        return false;
    ReadBlocks(data, blocks);
    return true;
}

}  // namespace

struct WebpDecoder {
    WebpLayout layout;
    std::vector<unsigned char> pixels;  // channels per pixel, rows packed
    int channels = 3;
    int32_t nextRow = 0;
};

struct WebpEncoder {
    std::FILE* file = nullptr;
    int32_t width = 0;
    int32_t height = 0;
    int32_t rowsWritten = 0;
    int inputChannels = 3;
    bool alpha = false;
    std::vector<unsigned char> pixels;  // RGB or RGBA, rows packed
    ~WebpEncoder() {
        if (file != nullptr) std::fclose(file);
    }
};

namespace {

// The first frame composed on the canvas, RGBA.
bool DecodeFirstFrame(const std::vector<unsigned char>& data, WebpDecoder* d) {
    const WebPData whole = {data.data(), data.size()};
    WebPAnimDecoderOptions options;
    if (!WebPAnimDecoderOptionsInit(&options)) return false;
    options.color_mode = MODE_RGBA;
    options.use_threads = 0;
    WebPAnimDecoder* animation = WebPAnimDecoderNew(&whole, &options);
    if (animation == nullptr) return false;
    WebPAnimInfo info;
    uint8_t* canvas = nullptr;
    int timestamp = 0;
    const bool ok = WebPAnimDecoderGetInfo(animation, &info) &&
                    int32_t(info.canvas_width) == d->layout.width &&
                    int32_t(info.canvas_height) == d->layout.height &&
                    WebPAnimDecoderGetNext(animation, &canvas, &timestamp) && canvas != nullptr;
    if (ok) d->pixels.assign(canvas, canvas + d->pixels.size());
    WebPAnimDecoderDelete(animation);
    return ok;
}

bool DecodeStill(const std::vector<unsigned char>& data, WebpDecoder* d) {
    const int stride = d->layout.width * d->channels;
    uint8_t* out = d->channels == 4 ? WebPDecodeRGBAInto(data.data(), data.size(), d->pixels.data(),
                                                         d->pixels.size(), stride)
                                    : WebPDecodeRGBInto(data.data(), data.size(), d->pixels.data(),
                                                        d->pixels.size(), stride);
    return out != nullptr;
}

int32_t EncodePicture(WebpEncoder* e, int quality, bool lossless, WebPMemoryWriter* output) {
    WebPConfig config;
    WebPPicture picture;
    if (!WebPConfigInit(&config) || !WebPPictureInit(&picture)) return kVxErrCodecUnsupported;
    config.quality = float(std::max(0, std::min(100, quality)));
    config.lossless = lossless ? 1 : 0;
    // A lossless file keeps the colour under transparent pixels too.
    config.exact = lossless ? 1 : 0;
    picture.use_argb = lossless ? 1 : 0;
    picture.width = e->width;
    picture.height = e->height;
    const int channels = e->alpha ? 4 : 3;
    const int imported =
        e->alpha ? WebPPictureImportRGBA(&picture, e->pixels.data(), e->width * channels)
                 : WebPPictureImportRGB(&picture, e->pixels.data(), e->width * channels);
    if (!imported) {
        WebPPictureFree(&picture);
        return kVxErrCodecMemory;
    }
    picture.writer = WebPMemoryWrite;
    picture.custom_ptr = output;
    const bool encoded = WebPEncode(&config, &picture) != 0;
    const WebPEncodingError error = picture.error_code;
    WebPPictureFree(&picture);
    if (encoded) return 1;
    return error == VP8_ENC_ERROR_OUT_OF_MEMORY ? kVxErrCodecMemory : kVxErrCodecIO;
}

// The encoded file with the ICCP and EXIF chunks added; false when the muxer refuses.
bool AddChunks(const WebPMemoryWriter& encoded, const CMetadataBlocks& blocks, WebPData* out) {
    const WebPData bitstream = {encoded.mem, encoded.size};
    WebPMux* mux = WebPMuxCreate(&bitstream, 0);
    if (mux == nullptr) return false;
    bool ok = true;
    if (!blocks.Icc().empty()) {
        const WebPData icc = {blocks.Icc().data(), blocks.Icc().size()};
        ok = WebPMuxSetChunk(mux, "ICCP", &icc, 1) == WEBP_MUX_OK;
    }
    if (ok && !blocks.Exif().empty()) {
        const WebPData exif = {blocks.Exif().data(), blocks.Exif().size()};
        ok = WebPMuxSetChunk(mux, "EXIF", &exif, 1) == WEBP_MUX_OK;
    }
    if (ok && !blocks.Xmp().empty()) {
        const WebPData xmp = {blocks.Xmp().data(), blocks.Xmp().size()};
        ok = WebPMuxSetChunk(mux, "XMP ", &xmp, 1) == WEBP_MUX_OK;
    }
    ok = ok && WebPMuxAssemble(mux, out) == WEBP_MUX_OK;
    WebPMuxDelete(mux);
    return ok;
}

int32_t EncodeFile(WebpEncoder* e, const CMetadataBlocks& blocks, int quality, bool lossless) {
    WebPMemoryWriter encoded;
    WebPMemoryWriterInit(&encoded);
    int32_t code = EncodePicture(e, quality, lossless, &encoded);
    if (code == 1) {
        WebPData assembled = {nullptr, 0};
        const bool withChunks =
            !blocks.Icc().empty() || !blocks.Exif().empty() || !blocks.Xmp().empty();
        const uint8_t* bytes = encoded.mem;
        size_t size = encoded.size;
        if (withChunks) {
            if (AddChunks(encoded, blocks, &assembled)) {
                bytes = assembled.bytes;
                size = assembled.size;
            } else {
                code = kVxErrCodecIO;
            }
        }
        if (code == 1 && std::fwrite(bytes, 1, size, e->file) != size) code = kVxErrCodecIO;
        WebPDataClear(&assembled);
    }
    WebPMemoryWriterClear(&encoded);
    return code;
}

}  // namespace

CWebpPlugIn::CWebpPlugIn() : CBlockMetadataPlugIn(kWebpIdentity, ReadWebpBlocks) {
    m_version = "libwebp ";
    m_version.append(VersionText(WebPGetDecoderVersion()).c_str());
}

CWebpPlugIn::~CWebpPlugIn() {
    Close();
}

IPlugIn* CWebpPlugIn::CreateInstance() {
    CWebpPlugIn* instance = new (std::nothrow) CWebpPlugIn();
    if (instance != nullptr) instance->InheritSettings(*this);
    return instance;
}

bool CWebpPlugIn::HasSignature(const unsigned char* head) const {
    return std::memcmp(head, "RIFF", 4) == 0 && std::memcmp(head + 8, "WEBP", 4) == 0;
}

int32_t CWebpPlugIn::GetCodecProperty(int32_t id, void* value) {
    if (id != kVxPropLossless) return 0;
    if (value == nullptr) return kVxErrInvalidArgument;
    *static_cast<int32_t*>(value) = m_lossless;
    return 1;
}

int32_t CWebpPlugIn::SetCodecProperty(int32_t id, const void* value) {
    if (id != kVxPropLossless) return 0;
    if (value == nullptr) return kVxErrInvalidArgument;
    const int32_t lossless = *static_cast<const int32_t*>(value);
    if (lossless != 0 && lossless != 1) return kVxErrInvalidArgument;
    if (m_encoder != nullptr) return kVxErrCodecState;
    m_lossless = lossless;
    return 1;
}

int32_t CWebpPlugIn::GetFileStatus(CUImageFileStatus* status) {
    if (status == nullptr) return kVxErrInvalidArgument;
    FileBlocks().Clear();
    std::vector<unsigned char> data;
    int32_t code = ReadWholeFile(FileName(), Budget(), &data);
    WebpLayout l;
    if (code == 1) code = Inspect(data, &l);
    if (code != 1) return code;
    if (!Budget().Allows(DecodedBytes(l, l.alpha))) return kVxErrCodecTooLarge;
    try {
        ReadBlocks(data, &FileBlocks());
    } catch (const std::bad_alloc&) {
        FileBlocks().Clear();
    }
    // A reader answers kVxPropLossless with the coding of the file's first frame.
    m_lossless = l.lossless ? 1 : 0;
    DescribeImage(status, "WEBP", l.width, l.height, 8, l.alpha, l.alpha ? 32 : 24);
    return 1;
}

int32_t CWebpPlugIn::OpenForReading() {
    std::vector<unsigned char> data;
    int32_t code = ReadWholeFile(FileName(), Budget(), &data);
    WebpLayout l;
    if (code == 1) code = Inspect(data, &l);
    if (code != 1) return code;
    const bool alpha = l.alpha && !SkipAlpha();
    if (!Budget().Allows(DecodedBytes(l, alpha) + data.size())) return kVxErrCodecTooLarge;
    WebpDecoder* d = new (std::nothrow) WebpDecoder();
    if (d == nullptr) return kVxErrCodecMemory;
    d->layout = l;
    d->channels = alpha || l.animated ? 4 : 3;
    try {
        d->pixels.resize(size_t(DecodedBytes(l, alpha)));
    } catch (const std::bad_alloc&) {
        delete d;
        return kVxErrCodecMemory;
    }
    const bool decoded = l.animated ? DecodeFirstFrame(data, d) : DecodeStill(data, d);
    if (!decoded) {
        delete d;
        return kVxErrCodecData;
    }
    m_decoder = d;
    return 1;
}

int32_t CWebpPlugIn::ReadLine(void* line, void* line2) {
    WebpDecoder* d = m_decoder;
    if (d == nullptr) return kVxErrCodecState;
    if (line == nullptr) return kVxErrInvalidArgument;
    if (d->nextRow >= d->layout.height) return kVxErrCodecState;
    const int32_t width = d->layout.width;
    const unsigned char* row = d->pixels.data() + size_t(d->nextRow) * width * d->channels;
    unsigned char* colour = static_cast<unsigned char*>(line);
    if (d->channels == 4) {
        unsigned char* alpha = d->layout.alpha ? static_cast<unsigned char*>(line2) : nullptr;
        SplitAlpha(row, width, 4, 1, colour, alpha);
    } else {
        std::memcpy(colour, row, size_t(width) * 3);
    }
    ++d->nextRow;
    return 1;
}

// The whole image is decoded at Open, so any line can be next.
int32_t CWebpPlugIn::SeekLine(int32_t line, int origin) {
    WebpDecoder* d = m_decoder;
    if (d == nullptr) return kVxErrCodecState;
    const int64_t target = SeekTarget(line, origin, d->nextRow, d->layout.height);
    if (target < 0 || target > d->layout.height) return kVxErrCannotSeek;
    d->nextRow = int32_t(target);
    return 1;
}

int32_t CWebpPlugIn::OpenForWriting() {
    const CUImageInfo& layout = Request().info;
    WrittenSamples samples;
    if (layout.bNative != 0 || !SamplesForDepth(layout.lColorDepth, &samples) || samples.bits != 8)
        return kVxErrCodecUnsupported;
    const int32_t size = CheckWriteSize(layout.lWidth, layout.lHeight, WEBP_MAX_DIMENSION);
    if (size != 1) return size;
    WebpEncoder* e = new (std::nothrow) WebpEncoder();
    if (e == nullptr) return kVxErrCodecMemory;
    e->width = layout.lWidth;
    e->height = layout.lHeight;
    e->inputChannels = samples.channels;
    e->alpha = WriteAlpha();
    try {
        e->pixels.resize(size_t(e->width) * size_t(e->height) * (e->alpha ? 4 : 3));
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
    return 1;
}

int32_t CWebpPlugIn::WriteLine(const void* line, const void* line2) {
    WebpEncoder* e = m_encoder;
    if (e == nullptr) return kVxErrCodecState;
    if (line == nullptr) return kVxErrInvalidArgument;
    if (e->rowsWritten >= e->height) return kVxErrCodecState;
    const unsigned char* colour = static_cast<const unsigned char*>(line);
    const unsigned char* alpha = static_cast<const unsigned char*>(line2);
    const int channels = e->alpha ? 4 : 3;
    unsigned char* row = e->pixels.data() + size_t(e->rowsWritten) * e->width * channels;
    for (int32_t x = 0; x < e->width; ++x) {
        unsigned char* px = row + size_t(x) * channels;
        const unsigned char* in = colour + size_t(x) * e->inputChannels;
        px[0] = in[0];
        px[1] = in[e->inputChannels == 3 ? 1 : 0];
        px[2] = in[e->inputChannels == 3 ? 2 : 0];
        if (e->alpha) px[3] = alpha != nullptr ? alpha[x] : 0xFF;
    }
    ++e->rowsWritten;
    return 1;
}

int32_t CWebpPlugIn::CloseReader() {
    delete m_decoder;
    m_decoder = nullptr;
    return 1;
}

int32_t CWebpPlugIn::CloseWriter() {
    WebpEncoder* e = m_encoder;
    if (e == nullptr) return 1;
    m_encoder = nullptr;
    int32_t code = e->rowsWritten < e->height
                       ? kVxErrCodecState
                       : EncodeFile(e, BlocksToWrite(), Request().lQuality, m_lossless == 1);
    if (std::fclose(e->file) != 0 && code == 1) code = kVxErrCodecIO;
    e->file = nullptr;
    delete e;
    return KeepFileOnlyIfComplete(code);
}

}  // namespace vxcodec

extern "C" VX_API IPlugIn* CreatePlugIn() {
    return new (std::nothrow) vxcodec::CWebpPlugIn();
}
