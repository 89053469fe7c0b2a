// The header of a binary Netpbm file: "P5" (grey) or "P6" (RGB), width, height and the
// largest sample value, as decimal texts separated by white space and "#" comments, then
// exactly one white-space byte before the raster. Samples above 255 take two bytes, most
// significant first.
#ifndef VANDREL_PLUGINS_PNM_PNMHEADER_H
#define VANDREL_PLUGINS_PNM_PNMHEADER_H

#include <cstddef>
#include <cstdint>
#include <string>

class CPnmHeader {
public:
    // Longest header accepted; comments beyond it make the file unreadable, not the reader slow.
    static constexpr size_t kMaxHeaderBytes = 65536;
    // Longest side accepted. Lines are allocated whole, so the width bounds memory; the height
    // bounds the file offsets.
    static constexpr int32_t kMaxSide = 1 << 24;

    int32_t lWidth = 0;
    int32_t lHeight = 0;
    int32_t lMaxValue = 255;
    int32_t lChannels = 3;  // 1 grey, 3 RGB
    int64_t llDataOffset = 0;

    int32_t BytesPerSample() const { return lMaxValue > 255 ? 2 : 1; }
    int32_t ColorDepth() const { return lChannels * BytesPerSample() * 8; }
    int64_t RowBytes() const { return int64_t(lWidth) * lChannels * BytesPerSample(); }
    // Whether samples must be stretched to the full range of their width.
    bool NeedsScaling() const { return lMaxValue != 255 && lMaxValue != 65535; }

    // Parses the start of a file. 1, or kVxErrCodecFormat (not a well-formed header),
    // kVxErrCodecUnsupported (a Netpbm kind other than P5/P6), kVxErrCodecTooLarge.
    static int32_t Parse(const unsigned char* bytes, size_t size, CPnmHeader* out);
    // Reads the header at the start of an open file; as Parse, or kVxErrCodecIO.
    static int32_t Read(int fd, CPnmHeader* out);

    // "P6\n<w> <h>\n<max>\n" for writing.
    std::string Text() const;
};

#endif
