#include "GifPlugIn.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <vector>

#include <gif_lib.h>

#include "../common/CodecSupport.h"
#include "vandrel/CodecProperties.h"
#include "vandrel/Export.h"

namespace vxcodec {

namespace {

const CodecIdentity kGifIdentity = {"GIF", nullptr, ".gif;GIFf;", 6};

// Interlaced frames store rows in four passes: every 8th from 0, every 8th from 4, every 4th
// from 2, every 2nd from 1.
constexpr int kInterlaceStart[4] = {0, 4, 2, 1};
constexpr int kInterlaceStep[4] = {8, 8, 4, 2};

// The screen and the first frame on it, as the headers before its pixels say.
struct GifLayout {
    int32_t width = 0;  // of the screen, stretched to hold the frame when a writer got it wrong
    int32_t height = 0;
    int32_t left = 0, top = 0, frameWidth = 0, frameHeight = 0;
    bool interlaced = false;
    int transparent = NO_TRANSPARENT_COLOR;
    bool Covered() const {
        return left == 0 && top == 0 && frameWidth == width && frameHeight == height;
    }
    bool Alpha() const { return transparent != NO_TRANSPARENT_COLOR || !Covered(); }
    uint64_t DecodedBytes() const {
        return uint64_t(frameWidth) * uint64_t(frameHeight) + uint64_t(width) * 4;
    }
};

void CloseGif(GifFileType* gif) {
    int error = 0;
    if (gif != nullptr) DGifCloseFile(gif, &error);
}

int32_t SkipExtension(GifFileType* gif, GifByteType* block) {
    while (block != nullptr)
        if (DGifGetExtensionNext(gif, &block) != GIF_OK) return kVxErrCodecFormat;
    return 1;
}

// Reads records up to the first frame's descriptor; the frame's pixels come next.
int32_t ReadToFirstFrame(GifFileType* gif, GifLayout* layout) {
    for (;;) {
        GifRecordType type;
        if (DGifGetRecordType(gif, &type) != GIF_OK) return kVxErrCodecFormat;
        if (type == TERMINATE_RECORD_TYPE) return kVxErrCodecFormat;  // no image at all
        if (type == EXTENSION_RECORD_TYPE) {
            int code = 0;
            GifByteType* block = nullptr;
            if (DGifGetExtension(gif, &code, &block) != GIF_OK) return kVxErrCodecFormat;
            GraphicsControlBlock control;
            if (code == GRAPHICS_EXT_FUNC_CODE && block != nullptr &&
                DGifExtensionToGCB(block[0], block + 1, &control) == GIF_OK)
                layout->transparent = control.TransparentColor;
            if (SkipExtension(gif, block) != 1) return kVxErrCodecFormat;
            continue;
        }
        if (type != IMAGE_DESC_RECORD_TYPE) continue;
        if (DGifGetImageDesc(gif) != GIF_OK) return kVxErrCodecFormat;
        const GifImageDesc& frame = gif->Image;
        layout->left = frame.Left;
        layout->top = frame.Top;
        layout->frameWidth = frame.Width;
        layout->frameHeight = frame.Height;
        layout->interlaced = frame.Interlace;
        layout->width = std::max<int32_t>(gif->SWidth, frame.Left + frame.Width);
        layout->height = std::max<int32_t>(gif->SHeight, frame.Top + frame.Height);
        if (frame.Width < 1 || frame.Height < 1) return kVxErrCodecFormat;
        return AcceptableSize(uint64_t(layout->width), uint64_t(layout->height))
                   ? 1
                   : kVxErrCodecTooLarge;
    }
}

GifFileType* OpenGif(const char* fileName, GifLayout* layout, int32_t* code) {
    int error = 0;
    GifFileType* gif = DGifOpenFileName(fileName, &error);
    if (gif == nullptr) {
        *code = error == D_GIF_ERR_OPEN_FAILED      ? kVxErrCodecOpen
                : error == D_GIF_ERR_NOT_ENOUGH_MEM ? kVxErrCodecMemory
                                                    : kVxErrCodecFormat;
        return nullptr;
    }
    *code = ReadToFirstFrame(gif, layout);
    if (*code != 1) {
        CloseGif(gif);
        return nullptr;
    }
    return gif;
}

}  // namespace

struct GifDecoder {
    GifLayout layout;
    std::vector<GifPixelType> indices;    // the frame's rows, top to bottom
    unsigned char palette[256 * 4] = {};  // RGBA per index; missing entries black, opaque
    int32_t nextRow = 0;
};

namespace {

void BuildPalette(const GifFileType* gif, int transparent, unsigned char* palette) {
    const ColorMapObject* map =
        gif->Image.ColorMap != nullptr ? gif->Image.ColorMap : gif->SColorMap;
    const int count = map != nullptr ? std::min(map->ColorCount, 256) : 0;
    for (int i = 0; i < 256; ++i) {
        unsigned char* entry = palette + i * 4;
        if (i < count) {
            entry[0] = map->Colors[i].Red;
            entry[1] = map->Colors[i].Green;
            entry[2] = map->Colors[i].Blue;
        }
        entry[3] = i == transparent ? 0 : 0xFF;
    }
}

// The frame's rows in file order; false when the data ends or breaks before the last row.
// Rows not reached keep index 0 (cleared by the caller).
bool ReadFrameRows(GifFileType* gif, GifDecoder* d) {
    const GifLayout& l = d->layout;
    const size_t width = size_t(l.frameWidth);
    if (!l.interlaced) {
        for (int32_t y = 0; y < l.frameHeight; ++y)
            if (DGifGetLine(gif, d->indices.data() + size_t(y) * width, l.frameWidth) != GIF_OK)
                return false;
        return true;
    }
    for (int pass = 0; pass < 4; ++pass)
        for (int32_t y = kInterlaceStart[pass]; y < l.frameHeight; y += kInterlaceStep[pass])
            if (DGifGetLine(gif, d->indices.data() + size_t(y) * width, l.frameWidth) != GIF_OK)
                return false;
    return true;
}

}  // namespace

CGifPlugIn::CGifPlugIn() : CReaderWriterPlugIn(kGifIdentity) {
    char text[48];
    std::snprintf(text, sizeof text, "giflib %d.%d.%d", GIFLIB_MAJOR, GIFLIB_MINOR, GIFLIB_RELEASE);
    m_version = text;
}

CGifPlugIn::~CGifPlugIn() {
    Close();
}

IPlugIn* CGifPlugIn::CreateInstance() {
    CGifPlugIn* instance = new (std::nothrow) CGifPlugIn();
    if (instance != nullptr) instance->InheritSettings(*this);
    return instance;
}

bool CGifPlugIn::HasSignature(const unsigned char* head) const {
    return std::memcmp(head, "GIF87a", 6) == 0 || std::memcmp(head, "GIF89a", 6) == 0;
}

int32_t CGifPlugIn::GetProperty(int32_t id, void* value) {
    return id == kVxPropMemoryBudget ? m_budget.Get(value) : 0;
}

int32_t CGifPlugIn::SetProperty(int32_t id, const void* value) {
    return id == kVxPropMemoryBudget ? m_budget.Set(value) : 0;
}

// No camera metadata in GIF: a successful, empty answer.
int32_t CGifPlugIn::GetCameraInfo(CUCameraInfo* info) {
    if (info == nullptr) return kVxErrInvalidArgument;
    *info = CUCameraInfo();
    return 1;
}

int32_t CGifPlugIn::GetFileStatus(CUImageFileStatus* status) {
    if (status == nullptr) return kVxErrInvalidArgument;
    GifLayout l;
    int32_t code;
    GifFileType* gif = OpenGif(FileName(), &l, &code);
    if (gif == nullptr) return code;
    const int bitsPerPixel = gif->SColorMap != nullptr ? gif->SColorMap->BitsPerPixel : 8;
    CloseGif(gif);
    if (!m_budget.Allows(l.DecodedBytes())) return kVxErrCodecTooLarge;
    DescribeImage(status, "GIF", l.width, l.height, 8, l.Alpha(), bitsPerPixel);
    return 1;
}

int32_t CGifPlugIn::OpenForReading() {
    GifDecoder* d = new (std::nothrow) GifDecoder();
    if (d == nullptr) return kVxErrCodecMemory;
    int32_t code;
    GifFileType* gif = OpenGif(FileName(), &d->layout, &code);
    if (gif == nullptr) {
        delete d;
        return code;
    }
    if (!m_budget.Allows(d->layout.DecodedBytes())) {
        CloseGif(gif);
        delete d;
        return kVxErrCodecTooLarge;
    }
    try {
        d->indices.assign(size_t(d->layout.frameWidth) * size_t(d->layout.frameHeight), 0);
    } catch (const std::bad_alloc&) {
        CloseGif(gif);
        delete d;
        return kVxErrCodecMemory;
    }
    BuildPalette(gif, d->layout.transparent, d->palette);
    // A frame cut short still shows what arrived, as viewers show it: a warning, not a failure.
    const bool whole = ReadFrameRows(gif, d);
    CloseGif(gif);
    m_decoder = d;
    return whole ? 1 : kVxWarnCodecData;
}

int32_t CGifPlugIn::ReadLine(void* line, void* line2) {
    GifDecoder* d = m_decoder;
    if (d == nullptr) return kVxErrCodecState;
    if (line == nullptr) return kVxErrInvalidArgument;
    const GifLayout& l = d->layout;
    if (d->nextRow >= l.height) return kVxErrCodecState;
    unsigned char* colour = static_cast<unsigned char*>(line);
    unsigned char* alpha = l.Alpha() ? static_cast<unsigned char*>(line2) : nullptr;
    // Outside the frame the screen is transparent black.
    std::memset(colour, 0, size_t(l.width) * 3);
    if (alpha != nullptr) std::memset(alpha, 0, size_t(l.width));
    const int32_t y = d->nextRow - l.top;
    if (y >= 0 && y < l.frameHeight) {
        const GifPixelType* indices = d->indices.data() + size_t(y) * size_t(l.frameWidth);
        unsigned char* out = colour + size_t(l.left) * 3;
        for (int32_t x = 0; x < l.frameWidth; ++x)
            std::memcpy(out + size_t(x) * 3, d->palette + indices[x] * 4, 3);
        if (alpha != nullptr)
            for (int32_t x = 0; x < l.frameWidth; ++x)
                alpha[l.left + x] = d->palette[indices[x] * 4 + 3];
    }
    ++d->nextRow;
    return 1;
}

// The frame is read whole at Open, so any line can be next.
int32_t CGifPlugIn::SeekLine(int32_t line, int origin) {
    GifDecoder* d = m_decoder;
    if (d == nullptr) return kVxErrCodecState;
    const int64_t target = SeekTarget(line, origin, d->nextRow, d->layout.height);
    if (target < 0 || target > d->layout.height) return kVxErrCannotSeek;
    d->nextRow = int32_t(target);
    return 1;
}

int32_t CGifPlugIn::CloseReader() {
    delete m_decoder;
    m_decoder = nullptr;
    return 1;
}

}  // namespace vxcodec

extern "C" VX_API IPlugIn* CreatePlugIn() {
    return new (std::nothrow) vxcodec::CGifPlugIn();
}
