#include "TiffPlugIn.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <vector>

#include <tiffio.h>

#include "../common/CodecSupport.h"
#include "TiffExif.h"
#include "vandrel/Export.h"

namespace vxcodec {

namespace {

const CodecIdentity kTiffIdentity = {"TIFF", "TIFF", ".tif;.tiff;TIFF;tiff;", 4};

// libtiff reports through callbacks; per-handle ones keep messages off stderr and let each
// instance count its own errors. Warnings (mostly private tags it does not know) are dropped.
struct TiffMessages {
    int32_t errors = 0;
};

extern "C" int TiffErrorFn(TIFF*, void* user, const char*, const char*, va_list) {
    static_cast<TiffMessages*>(user)->errors++;
    return 1;
}

extern "C" int TiffWarningFn(TIFF*, void*, const char*, const char*, va_list) {
    return 1;
}

// libtiff refuses any single allocation above the budget, its own directory arrays included.
TIFF* OpenTiff(const char* fileName, const char* mode, TiffMessages* messages,
               uint64_t budget = kVxDefaultMemoryBudget) {
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    if (options == nullptr) return nullptr;
    TIFFOpenOptionsSetErrorHandlerExtR(options, TiffErrorFn, messages);
    TIFFOpenOptionsSetWarningHandlerExtR(options, TiffWarningFn, messages);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, tmsize_t(budget));
    TIFF* tif = TIFFOpenExt(fileName, mode, options);
    TIFFOpenOptionsFree(options);
    return tif;
}

// How the samples of one image are stored and how they become RGB + alpha lines.
struct Shape {
    uint32_t width = 0;
    uint32_t height = 0;
    uint16_t samplesPerPixel = 1;
    uint16_t bitsPerSample = 8;
    uint16_t photometric = PHOTOMETRIC_MINISBLACK;
    uint16_t planar = PLANARCONFIG_CONTIG;
    int colorSamples = 1;  // 1 grey or palette, 3 RGB
    bool alpha = false;    // sample colorSamples is alpha
    bool jpegYCbCr = false;
    bool ycc = false;  // full-range YCbCr samples, one of each per pixel
};

// YCbCr the reader turns into RGB itself: uncompressed or losslessly compressed, contiguous,
// not subsampled, full range (as this codec writes it).
bool PlainYCbCr(TIFF* tif, const Shape& s) {
    uint16_t horizontal = 2, vertical = 2;
    TIFFGetFieldDefaulted(tif, TIFFTAG_YCBCRSUBSAMPLING, &horizontal, &vertical);
    if (horizontal != 1 || vertical != 1 || s.planar != PLANARCONFIG_CONTIG) return false;
    float* reference = nullptr;
    if (!TIFFGetFieldDefaulted(tif, TIFFTAG_REFERENCEBLACKWHITE, &reference)) return true;
    const float top = float((1u << s.bitsPerSample) - 1),
                middle = float(1u << (s.bitsPerSample - 1));
    const float fullRange[6] = {0.0f, top, middle, top, middle, top};
    for (int i = 0; i < 6; ++i) {
        const float d = reference[i] - fullRange[i];
        if (d > 0.5f || d < -0.5f) return false;
    }
    return true;
}

int32_t DescribeTiff(TIFF* tif, Shape& s) {
    if (!TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &s.width) ||
        !TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &s.height))
        return kVxErrCodecFormat;
    uint16_t sampleFormat = SAMPLEFORMAT_UINT, compression = COMPRESSION_NONE;
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &s.samplesPerPixel);
    TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &s.bitsPerSample);
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLEFORMAT, &sampleFormat);
    TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &s.planar);
    TIFFGetFieldDefaulted(tif, TIFFTAG_COMPRESSION, &compression);
    if (!TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &s.photometric)) {
        s.photometric = s.samplesPerPixel >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
    }
    if ((s.bitsPerSample != 8 && s.bitsPerSample != 16) || sampleFormat != SAMPLEFORMAT_UINT)
        return kVxErrCodecUnsupported;
    switch (s.photometric) {
        case PHOTOMETRIC_MINISBLACK:
        case PHOTOMETRIC_MINISWHITE:
            s.colorSamples = 1;
            break;
        case PHOTOMETRIC_PALETTE:
            if (s.bitsPerSample != 8) return kVxErrCodecUnsupported;
            s.colorSamples = 1;
            break;
        case PHOTOMETRIC_RGB:
            s.colorSamples = 3;
            break;
        case PHOTOMETRIC_YCBCR:
            // JPEG-compressed YCbCr, which the JPEG codec inside libtiff turns into RGB, or
            // plain full-range samples this reader converts.
            s.colorSamples = 3;
            if (compression == COMPRESSION_JPEG && s.planar == PLANARCONFIG_CONTIG) {
                s.jpegYCbCr = true;
            } else if (PlainYCbCr(tif, s)) {
                s.ycc = true;
            } else {
                return kVxErrCodecUnsupported;
            }
            break;
        default:
            return kVxErrCodecUnsupported;
    }
    if (s.samplesPerPixel < s.colorSamples) return kVxErrCodecFormat;
    uint16_t extraCount = 0;
    uint16_t* extraKinds = nullptr;
    if (s.samplesPerPixel > s.colorSamples &&
        TIFFGetField(tif, TIFFTAG_EXTRASAMPLES, &extraCount, &extraKinds) && extraCount > 0) {
        s.alpha =
            extraKinds[0] == EXTRASAMPLE_ASSOCALPHA || extraKinds[0] == EXTRASAMPLE_UNASSALPHA;
    }
    if (s.photometric == PHOTOMETRIC_PALETTE) s.alpha = false;
    if (!AcceptableSize(s.width, s.height)) return kVxErrCodecTooLarge;
    return 1;
}

template <typename Sample>
Sample LoadSample(const unsigned char* p) {
    Sample v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

template <typename Sample>
void StoreSample(unsigned char* p, Sample v) {
    std::memcpy(p, &v, sizeof v);
}

// Full-range YCbCr to RGB in place, with the fixed-point coefficients (scale 1024) and the
// rounding of the service's own converter, so a file this codec wrote reads back as the
// service would have turned the samples back.
template <typename Sample>
void YccToRgbInPlace(unsigned char* line, uint32_t width) {
    constexpr int64_t top = Sample(~Sample(0));
    constexpr int64_t half = top / 2 + 1;
    for (uint32_t x = 0; x < width; ++x) {
        unsigned char* p = line + size_t(x) * 3 * sizeof(Sample);
        const int64_t y = LoadSample<Sample>(p);
        const int64_t cb = int64_t(LoadSample<Sample>(p + sizeof(Sample))) - half;
        const int64_t cr = int64_t(LoadSample<Sample>(p + 2 * sizeof(Sample))) - half;
        const int64_t rgb[3] = {(1024 * y + 1436 * cr + 512) >> 10,
                                (1024 * y - 352 * cb - 731 * cr + 512) >> 10,
                                (1024 * y + 1815 * cb + 512) >> 10};
        for (int c = 0; c < 3; ++c) {
            const int64_t v = rgb[c] < 0 ? 0 : rgb[c] > top ? top : rgb[c];
            StoreSample<Sample>(p + c * sizeof(Sample), Sample(v));
        }
    }
}

}  // namespace

struct TiffDecoder {
    TIFF* tif = nullptr;
    uint64_t budget = kVxDefaultMemoryBudget;  // strips or tile rows are decoded whole
    TiffMessages messages;
    Shape shape;
    bool tiled = false;
    uint32_t bandRows = 0;  // rows per strip, or tile length
    uint32_t tileWidth = 0;
    int planes = 1;  // 1 contiguous, samplesPerPixel separate
    int samplesInPlane = 1;
    size_t bytesPerSample = 1;
    size_t planeRowBytes = 0;
    size_t planeBandBytes = 0;
    std::vector<unsigned char> band;  // planes one after the other
    std::vector<unsigned char> tile;
    int64_t bandStart = -1;
    bool bandDamaged = false;
    uint32_t nextRow = 0;
    uint16_t* colormap[3] = {nullptr, nullptr, nullptr};
};

struct TiffEncoder {
    TIFF* tif = nullptr;
    TiffMessages messages;
    bool failed = false;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t rowsWritten = 0;
    int channels = 3;
    int bytesPerSample = 1;
    bool alpha = false;
    std::vector<unsigned char> row;
};

namespace {

void DestroyDecoder(TiffDecoder* d) {
    if (d == nullptr) return;
    if (d->tif != nullptr) TIFFClose(d->tif);
    delete d;
}

TiffDecoder* OpenDecoder(const char* fileName, uint64_t budget, int32_t* code) {
    TiffDecoder* d = new (std::nothrow) TiffDecoder();
    if (d == nullptr) {
        *code = kVxErrCodecMemory;
        return nullptr;
    }
    d->budget = budget;
    std::FILE* probe = std::fopen(fileName, "rb");
    if (probe == nullptr) {
        *code = kVxErrCodecOpen;
        delete d;
        return nullptr;
    }
    std::fclose(probe);
    d->tif = OpenTiff(fileName, "r", &d->messages, budget);
    if (d->tif == nullptr) {
        *code = kVxErrCodecFormat;
        delete d;
        return nullptr;
    }
    *code = DescribeTiff(d->tif, d->shape);
    if (*code < 0) {
        DestroyDecoder(d);
        return nullptr;
    }
    return d;
}

// The profile and the XMP packet are fields of the first directory; the Exif block is made
// from the directories the tag database reads.
void KeepMetadata(TIFF* tif, const char* fileName, CMetadataBlocks* blocks) {
    blocks->Clear();
    uint32_t size = 0;
    void* data = nullptr;
    if (TIFFGetField(tif, TIFFTAG_ICCPROFILE, &size, &data) && data != nullptr)
        blocks->Keep(kVxPropIccProfile, static_cast<const unsigned char*>(data), size);
    size = 0;
    data = nullptr;
    if (TIFFGetField(tif, TIFFTAG_XMLPACKET, &size, &data) && data != nullptr)
        blocks->Keep(kVxPropXmp, static_cast<const unsigned char*>(data), size);
    std::vector<unsigned char> exif;
    if (BuildExifBlock(fileName, &exif)) blocks->Keep(kVxPropExif, exif.data(), exif.size());
}

// Band geometry and buffers; a band is one strip, or one row of tiles, of every plane.
int32_t PrepareBands(TiffDecoder* d) {
    const Shape& s = d->shape;
    if (s.jpegYCbCr && !TIFFSetField(d->tif, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB))
        return kVxErrCodecUnsupported;
    if (s.photometric == PHOTOMETRIC_PALETTE &&
        !TIFFGetField(d->tif, TIFFTAG_COLORMAP, &d->colormap[0], &d->colormap[1], &d->colormap[2]))
        return kVxErrCodecFormat;
    d->tiled = TIFFIsTiled(d->tif) != 0;
    if (d->tiled) {
        if (!TIFFGetField(d->tif, TIFFTAG_TILEWIDTH, &d->tileWidth) ||
            !TIFFGetField(d->tif, TIFFTAG_TILELENGTH, &d->bandRows) || d->tileWidth == 0 ||
            d->bandRows == 0)
            return kVxErrCodecFormat;
    } else {
        TIFFGetFieldDefaulted(d->tif, TIFFTAG_ROWSPERSTRIP, &d->bandRows);
        if (d->bandRows == 0) return kVxErrCodecFormat;
    }
    if (d->bandRows > s.height) d->bandRows = s.height;
    d->planes = s.planar == PLANARCONFIG_SEPARATE ? s.samplesPerPixel : 1;
    d->samplesInPlane = s.planar == PLANARCONFIG_SEPARATE ? 1 : s.samplesPerPixel;
    d->bytesPerSample = s.bitsPerSample / 8;
    d->planeRowBytes = size_t(s.width) * d->samplesInPlane * d->bytesPerSample;
    const uint64_t bandBytes = uint64_t(d->planeRowBytes) * d->bandRows * d->planes;
    uint64_t tileBytes = 0;
    if (d->tiled) {
        tmsize_t size = TIFFTileSize(d->tif);
        if (size <= 0) return kVxErrCodecFormat;
        tileBytes = uint64_t(size);
        // A tile holds tileWidth x bandRows pixels of one plane; nothing else is trusted.
        if (tileBytes <
            uint64_t(d->tileWidth) * d->bandRows * d->samplesInPlane * d->bytesPerSample)
            return kVxErrCodecFormat;
    }
    if (bandBytes + tileBytes > d->budget) return kVxErrCodecTooLarge;
    d->planeBandBytes = size_t(d->planeRowBytes) * d->bandRows;
    try {
        d->band.resize(size_t(bandBytes));
        d->tile.resize(size_t(tileBytes));
    } catch (const std::bad_alloc&) {
        return kVxErrCodecMemory;
    }
    return 1;
}

bool ReadStripBand(TiffDecoder* d, uint32_t first, uint32_t rows) {
    for (int p = 0; p < d->planes; ++p) {
        unsigned char* dst = d->band.data() + p * d->planeBandBytes;
        tstrile_t strip = TIFFComputeStrip(d->tif, first, tsample_t(p));
        tmsize_t got = TIFFReadEncodedStrip(d->tif, strip, dst, tmsize_t(d->planeRowBytes * rows));
        if (got < tmsize_t(d->planeRowBytes * rows)) return false;
    }
    return true;
}

bool ReadTileBand(TiffDecoder* d, uint32_t first, uint32_t rows) {
    const size_t pixelBytes = size_t(d->samplesInPlane) * d->bytesPerSample;
    const size_t tileRowBytes = size_t(d->tileWidth) * pixelBytes;
    for (int p = 0; p < d->planes; ++p) {
        unsigned char* dst = d->band.data() + p * d->planeBandBytes;
        for (uint32_t x = 0; x < d->shape.width; x += d->tileWidth) {
            ttile_t tile = TIFFComputeTile(d->tif, x, first, 0, tsample_t(p));
            if (TIFFReadEncodedTile(d->tif, tile, d->tile.data(), tmsize_t(d->tile.size())) < 0)
                return false;
            const uint32_t columns =
                d->shape.width - x < d->tileWidth ? d->shape.width - x : d->tileWidth;
            for (uint32_t r = 0; r < rows; ++r) {
                std::memcpy(dst + r * d->planeRowBytes + x * pixelBytes,
                            d->tile.data() + r * tileRowBytes, columns * pixelBytes);
            }
        }
    }
    return true;
}

// Decodes the band holding `row`. Damage does not stop the read: the band's lines come out
// black, each with a warning, and the next band is tried afresh.
void LoadBand(TiffDecoder* d, uint32_t row) {
    const uint32_t first = row - row % d->bandRows;
    const uint32_t rows =
        d->shape.height - first < d->bandRows ? d->shape.height - first : d->bandRows;
    const int32_t errorsBefore = d->messages.errors;
    bool ok = d->tiled ? ReadTileBand(d, first, rows) : ReadStripBand(d, first, rows);
    d->bandDamaged = !ok || d->messages.errors > errorsBefore;
    if (!ok) std::memset(d->band.data(), 0, d->band.size());
    d->bandStart = first;
}

// Writes one RGB line (and alpha) from band row r.
template <typename Sample>
void AssembleLine(const TiffDecoder* d, uint32_t r, unsigned char* rgb, unsigned char* alpha) {
    const Shape& s = d->shape;
    const size_t bytes = sizeof(Sample);
    const unsigned char* channel[5] = {};
    size_t stride;
    for (int c = 0; c <= s.colorSamples && c < s.samplesPerPixel; ++c) {
        if (d->planes > 1) {
            channel[c] = d->band.data() + c * d->planeBandBytes + r * d->planeRowBytes;
        } else {
            channel[c] = d->band.data() + r * d->planeRowBytes + c * bytes;
        }
    }
    stride = d->planes > 1 ? bytes : s.samplesPerPixel * bytes;
    const uint32_t width = s.width;
    if (s.colorSamples == 3) {
        if (d->planes == 1 && s.samplesPerPixel == 3) {
            std::memcpy(rgb, channel[0], size_t(width) * 3 * bytes);
        } else {
            for (int c = 0; c < 3; ++c) {
                const unsigned char* src = channel[c];
                unsigned char* dst = rgb + c * bytes;
                for (uint32_t x = 0; x < width; ++x, src += stride, dst += 3 * bytes)
                    std::memcpy(dst, src, bytes);
            }
        }
    } else if (s.photometric == PHOTOMETRIC_PALETTE) {
        const unsigned char* src = channel[0];
        for (uint32_t x = 0; x < width; ++x, src += stride) {
            for (int c = 0; c < 3; ++c)
                rgb[x * 3 + c] = static_cast<unsigned char>(d->colormap[c][*src] >> 8);
        }
    } else {
        const Sample invert =
            s.photometric == PHOTOMETRIC_MINISWHITE ? Sample(~Sample(0)) : Sample(0);
        const unsigned char* src = channel[0];
        for (uint32_t x = 0; x < width; ++x, src += stride) {
            const Sample v = Sample(LoadSample<Sample>(src) ^ invert);
            unsigned char* dst = rgb + size_t(x) * 3 * bytes;
            StoreSample<Sample>(dst, v);
            StoreSample<Sample>(dst + bytes, v);
            StoreSample<Sample>(dst + 2 * bytes, v);
        }
    }
    if (s.ycc) YccToRgbInPlace<Sample>(rgb, width);
    if (alpha != nullptr && s.alpha) {
        const unsigned char* src = channel[s.colorSamples];
        for (uint32_t x = 0; x < width; ++x, src += stride)
            std::memcpy(alpha + x * bytes, src, bytes);
    }
}

// What the writer stores, as far as the colour and compression fields go.
struct WriterLayout {
    int colorChannels = 3;
    int bitDepth = 8;
    bool alpha = false;
    bool ycc = false;
    int32_t compression = kVxTiffDeflate;
    int32_t quality = 75;
};

// RGB through TIFF-JPEG is stored as YCbCr, which libtiff converts to, unless an alpha sample
// rides along (the JPEG codec inside libtiff converts three samples only).
bool SetColourAndCompression(TIFF* tif, const WriterLayout& w) {
    const bool jpeg = w.compression == kVxTiffJpeg;
    const bool jpegYCbCr = jpeg && w.colorChannels == 3 && !w.alpha;
    uint16_t photometric = w.colorChannels == 1 ? PHOTOMETRIC_MINISBLACK
                           : w.ycc || jpegYCbCr ? PHOTOMETRIC_YCBCR
                                                : PHOTOMETRIC_RGB;
    if (!TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, photometric)) return false;
    if (!TIFFSetField(tif, TIFFTAG_COMPRESSION, uint16_t(w.compression))) return false;
    if (w.compression == kVxTiffLzw || w.compression == kVxTiffDeflate) {
        if (!TIFFSetField(tif, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL)) return false;
    }
    if (jpeg) {
        const int quality = w.quality < 1 ? 1 : w.quality > 100 ? 100 : w.quality;
        if (!TIFFSetField(tif, TIFFTAG_JPEGQUALITY, quality)) return false;
        if (jpegYCbCr && !TIFFSetField(tif, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB)) return false;
    }
    if (w.ycc) {
        // Full range, one chroma sample per pixel: what the service's converter produces.
        const float top = float((1u << w.bitDepth) - 1), middle = float(1u << (w.bitDepth - 1));
        float reference[6] = {0.0f, top, middle, top, middle, top};
        if (!TIFFSetField(tif, TIFFTAG_YCBCRSUBSAMPLING, uint16_t(1), uint16_t(1)) ||
            !TIFFSetField(tif, TIFFTAG_REFERENCEBLACKWHITE, reference))
            return false;
    }
    return true;
}

// A JPEG strip holds whole MCU rows, so its height is a multiple of 16.
uint32_t StripRows(TIFF* tif, const WriterLayout& w) {
    uint32_t rows = TIFFDefaultStripSize(tif, 0);
    if (w.compression == kVxTiffJpeg) rows = (rows + 15) / 16 * 16;
    return rows;
}

bool SetMetadataFields(TIFF* tif, const CMetadataBlocks& blocks) {
    if (!blocks.Icc().empty() &&
        !TIFFSetField(tif, TIFFTAG_ICCPROFILE, uint32_t(blocks.Icc().size()), blocks.Icc().data()))
        return false;
    if (!blocks.Xmp().empty() &&
        !TIFFSetField(tif, TIFFTAG_XMLPACKET, uint32_t(blocks.Xmp().size()), blocks.Xmp().data()))
        return false;
    return true;
}

}  // namespace

CTiffPlugIn::CTiffPlugIn() : CReaderWriterPlugIn(kTiffIdentity) {
    // The library's version text runs over several lines; the first names it.
    const char* text = TIFFGetVersion();
    char first[128];
    size_t length = std::strcspn(text, "\n");
    if (length >= sizeof first) length = sizeof first - 1;
    std::memcpy(first, text, length);
    first[length] = 0;
    m_version = first;
}

CTiffPlugIn::~CTiffPlugIn() {
    Close();
}

IPlugIn* CTiffPlugIn::CreateInstance() {
    return new (std::nothrow) CTiffPlugIn();
}

bool CTiffPlugIn::HasSignature(const unsigned char* h) const {
    const bool little = h[0] == 'I' && h[1] == 'I' && (h[2] == 42 || h[2] == 43) && h[3] == 0;
    const bool big = h[0] == 'M' && h[1] == 'M' && h[2] == 0 && (h[3] == 42 || h[3] == 43);
    return little || big;
}

const char* CTiffPlugIn::GetDecoderVersion() {
    return m_version.c_str();
}

int32_t CTiffPlugIn::GetFileStatus(CUImageFileStatus* status) {
    if (status == nullptr) return kVxErrInvalidArgument;
    int32_t code;
    TiffDecoder* d = OpenDecoder(FileName(), m_budget.Bytes(), &code);
    if (d == nullptr) return code;
    const Shape& s = d->shape;
    DescribeImage(status, "TIFF", int32_t(s.width), int32_t(s.height), s.bitsPerSample, s.alpha,
                  s.samplesPerPixel * s.bitsPerSample);
    KeepMetadata(d->tif, FileName(), &m_blocks);
    DestroyDecoder(d);
    return 1;
}

int32_t CTiffPlugIn::OpenForReading() {
    int32_t code;
    TiffDecoder* d = OpenDecoder(FileName(), m_budget.Bytes(), &code);
    if (d == nullptr) return code;
    code = PrepareBands(d);
    if (code < 0) {
        DestroyDecoder(d);
        return code;
    }
    // libtiff warns about private tags it does not know; that is no damage to the image. Damage
    // shows when a strip or tile is decoded.
    m_decoder = d;
    m_damage.Begin(Request().pMessageProc);
    return 1;
}

int32_t CTiffPlugIn::ReadLine(void* line, void* line2) {
    TiffDecoder* d = m_decoder;
    if (d == nullptr) return kVxErrCodecState;
    if (line == nullptr) return kVxErrInvalidArgument;
    if (d->nextRow >= d->shape.height) return kVxErrCodecState;
    const uint32_t row = d->nextRow++;
    if (d->bandStart < 0 || row < d->bandStart || row >= d->bandStart + d->bandRows)
        LoadBand(d, row);
    unsigned char* alpha = SkipAlpha() ? nullptr : static_cast<unsigned char*>(line2);
    const uint32_t r = uint32_t(row - d->bandStart);
    if (d->bytesPerSample == 2) {
        AssembleLine<uint16_t>(d, r, static_cast<unsigned char*>(line), alpha);
    } else {
        AssembleLine<uint8_t>(d, r, static_cast<unsigned char*>(line), alpha);
    }
    return m_damage.Note(d->bandDamaged ? kVxWarnCodecData : 1);
}

// Strips and tiles are addressed directly, so any line can be next.
int32_t CTiffPlugIn::SeekLine(int32_t line, int origin) {
    TiffDecoder* d = m_decoder;
    if (d == nullptr) return kVxErrCodecState;
    const int64_t target = SeekTarget(line, origin, int32_t(d->nextRow), int32_t(d->shape.height));
    if (target < 0 || target > int64_t(d->shape.height)) return kVxErrCannotSeek;
    d->nextRow = uint32_t(target);
    return 1;
}

int32_t CTiffPlugIn::GetProperty(int32_t id, void* value) {
    if (id == kVxPropMemoryBudget) return m_budget.Get(value);
    if (id != kVxPropCompression) return m_blocks.Get(id, value);
    if (value == nullptr) return kVxErrInvalidArgument;
    *static_cast<int32_t*>(value) = m_compression;
    return 1;
}

// The Exif block is handed out but not written: TIFF keeps Exif as directories of its own.
int32_t CTiffPlugIn::SetProperty(int32_t id, const void* value) {
    if (id == kVxPropMemoryBudget) return m_budget.Set(value);
    if (id != kVxPropCompression)
        return m_blocks.Set(id, value, CMetadataBlocks::kIcc | CMetadataBlocks::kXmp);
    int32_t scheme = 0;
    if (!ReadInt32Property(value, &scheme)) return kVxErrInvalidArgument;
    switch (scheme) {
        case kVxTiffNone:
        case kVxTiffLzw:
        case kVxTiffJpeg:
        case kVxTiffDeflate:
            m_compression = scheme;
            return 1;
        default:
            return kVxErrInvalidArgument;
    }
}

int32_t CTiffPlugIn::OpenForWriting() {
    const CUImageInfo& layout = Request().info;
    if (layout.bNative != 0) return kVxErrCodecUnsupported;
    WrittenSamples samples;
    if (!SamplesForDepth(layout.lColorDepth, &samples)) return kVxErrCodecUnsupported;
    // Inside TIFF, JPEG holds 8-bit samples only, and YCbCr only as it converts it itself.
    if (m_compression == kVxTiffJpeg &&
        (samples.bits != 8 || (samples.channels == 3 && layout.IsColorSpace("YCC"))))
        return kVxErrCodecUnsupported;
    const int colorChannels = samples.channels;
    const int bitDepth = samples.bits;
    const int32_t size = CheckWriteSize(layout.lWidth, layout.lHeight);
    if (size != 1) return size;
    TiffEncoder* e = new (std::nothrow) TiffEncoder();
    if (e == nullptr) return kVxErrCodecMemory;
    e->width = uint32_t(layout.lWidth);
    e->height = uint32_t(layout.lHeight);
    e->alpha = WriteAlpha();
    e->channels = colorChannels + (e->alpha ? 1 : 0);
    e->bytesPerSample = bitDepth / 8;
    try {
        e->row.resize(size_t(e->width) * e->channels * e->bytesPerSample);
    } catch (const std::bad_alloc&) {
        delete e;
        return kVxErrCodecMemory;
    }
    e->tif = OpenTiff(FileName(), "w", &e->messages);
    if (e->tif == nullptr) {
        delete e;
        return kVxErrCodecOpen;
    }
    m_encoder = e;
    TIFF* tif = e->tif;
    WriterLayout written;
    written.colorChannels = colorChannels;
    written.bitDepth = bitDepth;
    written.alpha = e->alpha;
    written.ycc = colorChannels == 3 && layout.IsColorSpace("YCC");
    written.compression = m_compression;
    written.quality = Request().lQuality;
    bool ok = TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, e->width) &&
              TIFFSetField(tif, TIFFTAG_IMAGELENGTH, e->height) &&
              TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, uint16_t(e->channels)) &&
              TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, uint16_t(bitDepth)) &&
              TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) &&
              TIFFSetField(tif, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT) &&
              SetColourAndCompression(tif, written) &&
              TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, StripRows(tif, written));
    if (ok && e->alpha) {
        uint16_t kind = EXTRASAMPLE_UNASSALPHA;
        ok = TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, uint16_t(1), &kind);
    }
    if (ok) ok = SetMetadataFields(tif, m_blocks);
    if (!ok) {
        e->failed = true;
        CloseWriter();
        return kVxErrCodecUnsupported;
    }
    return 1;
}

int32_t CTiffPlugIn::WriteLine(const void* line, const void* line2) {
    TiffEncoder* e = m_encoder;
    if (e == nullptr || e->failed) return kVxErrCodecState;
    if (line == nullptr) return kVxErrInvalidArgument;
    if (e->rowsWritten >= e->height) return kVxErrCodecState;
    // The predictor differences the row in place, so it always works on a copy.
    if (e->alpha) {
        JoinAlpha(static_cast<const unsigned char*>(line), static_cast<const unsigned char*>(line2),
                  int32_t(e->width), e->channels, e->bytesPerSample, e->row.data());
    } else {
        std::memcpy(e->row.data(), line, e->row.size());
    }
    if (TIFFWriteScanline(e->tif, e->row.data(), e->rowsWritten, 0) < 0) {
        e->failed = true;
        return kVxErrCodecIO;
    }
    ++e->rowsWritten;
    return 1;
}

int32_t CTiffPlugIn::CloseReader() {
    if (m_decoder == nullptr) return 1;
    DestroyDecoder(m_decoder);
    m_decoder = nullptr;
    return 1;
}

int32_t CTiffPlugIn::CloseWriter() {
    TiffEncoder* e = m_encoder;
    if (e == nullptr) return 1;
    m_encoder = nullptr;
    int32_t code = 1;
    if (e->failed) {
        code = kVxErrCodecIO;
    } else if (e->rowsWritten < e->height) {
        code = kVxErrCodecState;
    } else if (!TIFFFlush(e->tif) || e->messages.errors > 0) {
        code = kVxErrCodecIO;
    }
    TIFFClose(e->tif);
    if (e->messages.errors > 0 && code == 1) code = kVxErrCodecIO;
    delete e;
    return KeepFileOnlyIfComplete(code);
}

}  // namespace vxcodec

extern "C" VX_API IPlugIn* CreatePlugIn() {
    return new (std::nothrow) vxcodec::CTiffPlugIn();
}
