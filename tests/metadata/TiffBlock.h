// Builds TIFF blocks and JPEG files byte by byte, in either byte order, so that tag-search tests
// control every offset and count the reader sees.
#ifndef VANDREL_TESTS_METADATA_TIFFBLOCK_H
#define VANDREL_TESTS_METADATA_TIFFBLOCK_H

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace vxtest {

enum class ByteOrder { kLittle, kBig };

// Unsigned numbers written in a chosen byte order, `bytes` bytes each.
inline std::string Encode(ByteOrder order, const std::vector<uint32_t>& values, int bytes) {
    std::string out;
    for (uint32_t v : values)
        for (int i = 0; i < bytes; ++i)
            out += char(v >> (8 * (order == ByteOrder::kBig ? bytes - 1 - i : i)));
    return out;
}

// One directory entry. `bytes` are the elements as the file stores them; when `hasOverride` is
// set the value field holds `valueField` instead and `bytes` are not placed anywhere.
struct TiffField {
    uint16_t tag, type;
    uint32_t count;
    std::string bytes;
    bool hasOverride = false;
    uint32_t valueField = 0;
};

class TiffBlock {
public:
    static constexpr uint16_t kExifPointer = 0x8769;

    // gap: bytes of "image data" between the header and IFD0 (0: IFD0 at offset 8).
    explicit TiffBlock(ByteOrder order, uint32_t gap = 0) : order(order), m_gap(gap) {}

    TiffBlock& ifd0(const TiffField& f) { return m_ifd0.push_back(f), *this; }
    TiffBlock& exif(const TiffField& f) { return m_exif.push_back(f), *this; }

    TiffField shorts(uint16_t tag, const std::vector<uint32_t>& values) const {
        return {tag, 3, uint32_t(values.size()), Encode(order, values, 2)};
    }
    TiffField longs(uint16_t tag, const std::vector<uint32_t>& values) const {
        return {tag, 4, uint32_t(values.size()), Encode(order, values, 4)};
    }
    static TiffField ascii(uint16_t tag, const std::string& text) {
        return {tag, 2, uint32_t(text.size() + 1), text + std::string(1, '\0')};
    }
    // An entry whose value field is the given number, whatever type and count claim.
    static TiffField raw(uint16_t tag, uint16_t type, uint32_t count, uint32_t valueField) {
        return {tag, type, count, std::string(), true, valueField};
    }

    std::string build() const {
        std::vector<TiffField> first = m_ifd0, second = m_exif;
        const uint32_t exifAt = 8 + m_gap + Size(m_ifd0.size() + (m_exif.empty() ? 0 : 1));
        if (!m_exif.empty()) first.push_back(raw(kExifPointer, 4, 1, exifAt));
        uint32_t valuesAt = exifAt + (second.empty() ? 0 : Size(second.size()));
        std::string values, out = order == ByteOrder::kBig ? "MM" : "II";
        out += Encode(order, {42}, 2) + Encode(order, {8 + m_gap}, 4) + std::string(m_gap, '\xAB');
        out += directory(first, valuesAt, values);
        return out + directory(second, valuesAt, values) + values;
    }

    const ByteOrder order;

private:
    static uint32_t Size(size_t entries) { return uint32_t(2 + 12 * entries + 4); }

    // Writes the entries sorted by tag; values longer than 4 bytes go to the value area.
    std::string directory(std::vector<TiffField> fields, uint32_t valuesAt,
                          std::string& values) const {
        if (fields.empty()) return std::string();
        std::stable_sort(fields.begin(), fields.end(),
                         [](const TiffField& a, const TiffField& b) { return a.tag < b.tag; });
        std::string out = Encode(order, {uint32_t(fields.size())}, 2);
        for (const TiffField& f : fields) {
            out += Encode(order, {f.tag, f.type}, 2) + Encode(order, {f.count}, 4);
            if (f.hasOverride) {
                out += Encode(order, {f.valueField}, 4);
            } else if (f.bytes.size() <= 4) {
                out += f.bytes + std::string(4 - f.bytes.size(), '\0');
            } else {
                out += Encode(order, {uint32_t(valuesAt + values.size())}, 4);
                values += f.bytes + std::string(f.bytes.size() % 2, '\0');
            }
        }
        return out + Encode(order, {0}, 4);  // no next directory
    }

    uint32_t m_gap;
    std::vector<TiffField> m_ifd0, m_exif;
};

// JPEG pieces: a marker segment with its big-endian length, and a file made of segments.
inline std::string Segment(unsigned char marker, const std::string& payload) {
    const size_t length = payload.size() + 2;
    return std::string("\xFF", 1) + char(marker) + char(length >> 8) + char(length) + payload;
}

inline std::string ExifSegment(const std::string& tiff) {
    return Segment(0xE1, std::string("Exif\0\0", 6) + tiff);
}

inline std::string Jpeg(const std::vector<std::string>& segments) {
    std::string out("\xFF\xD8", 2);
    for (const std::string& s : segments)
        out += s;
    out += Segment(0xDB, std::string(65, '\x01'));  // a quantisation table stands for the image
    return out + std::string("\xFF\xD9", 2);
}

}  // namespace vxtest

#endif
