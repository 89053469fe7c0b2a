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

inline const char* Name(ByteOrder order) {
    return order == ByteOrder::kBig ? "MM" : "II";
}

// Unsigned numbers written in a chosen byte order, one element of `bytes` each.
inline std::string Encode(ByteOrder order, uint32_t value, int bytes) {
    std::string out(size_t(bytes), '\0');
    for (int i = 0; i < bytes; ++i) {
        const int shift = 8 * (order == ByteOrder::kBig ? bytes - 1 - i : i);
        out[size_t(i)] = char((value >> shift) & 0xFF);
    }
    return out;
}

inline std::string Encode(ByteOrder order, const std::vector<uint32_t>& values, int bytes) {
    std::string out;
    for (uint32_t v : values)
        out += Encode(order, v, bytes);
    return out;
}

// One directory entry. `bytes` are the elements as the file stores them; when `offsetOverride`
// is set the value field holds that number instead and `bytes` are not placed anywhere.
struct TiffField {
    uint16_t tag;
    uint16_t type;
    uint32_t count;
    std::string bytes;
    bool hasOffsetOverride = false;
    uint32_t offsetOverride = 0;
};

class TiffBlock {
public:
    static constexpr uint16_t kExifPointer = 0x8769;

    // gapBeforeIfd0 bytes of "image data" between the header and IFD0 (0: IFD0 at offset 8).
    explicit TiffBlock(ByteOrder order, uint32_t gapBeforeIfd0 = 0)
        : m_order(order), m_gap(gapBeforeIfd0) {}

    ByteOrder order() const { return m_order; }

    TiffBlock& ifd0(const TiffField& field) { return add(m_ifd0, field); }
    TiffBlock& exif(const TiffField& field) { return add(m_exif, field); }

    TiffField shorts(uint16_t tag, const std::vector<uint32_t>& values) const {
        return {tag, 3, uint32_t(values.size()), Encode(m_order, values, 2)};
    }
    TiffField longs(uint16_t tag, const std::vector<uint32_t>& values) const {
        return {tag, 4, uint32_t(values.size()), Encode(m_order, values, 4)};
    }
    TiffField rationals(uint16_t tag, const std::vector<uint32_t>& halves) const {
        return {tag, 5, uint32_t(halves.size() / 2), Encode(m_order, halves, 4)};
    }
    static TiffField ascii(uint16_t tag, const std::string& text) {
        return {tag, 2, uint32_t(text.size() + 1), text + std::string(1, '\0')};
    }
    // An entry whose value field is the given number, whatever type and count claim.
    static TiffField raw(uint16_t tag, uint16_t type, uint32_t count, uint32_t valueField) {
        return {tag, type, count, std::string(), true, valueField};
    }

    // Offset of IFD0 from the start of the block, and of the index-th entry of IFD0.
    uint32_t ifd0Offset() const { return 8 + m_gap; }
    uint32_t ifd0EntryOffset(uint32_t index) const { return ifd0Offset() + 2 + 12 * index; }

    std::string build() const {
        std::vector<TiffField> first = m_ifd0;
        const uint32_t firstSize = DirectorySize(m_ifd0.size() + (m_exif.empty() ? 0 : 1));
        const uint32_t exifOffset = ifd0Offset() + firstSize;
        if (!m_exif.empty()) first.push_back(raw(kExifPointer, 4, 1, exifOffset));
        Sort(first);
        std::vector<TiffField> second = m_exif;
        Sort(second);
        uint32_t valuesAt = exifOffset + (second.empty() ? 0 : DirectorySize(second.size()));

        std::string values;
        std::string out = m_order == ByteOrder::kBig ? "MM" : "II";
        out += Encode(m_order, 42, 2) + Encode(m_order, ifd0Offset(), 4);
        out += std::string(m_gap, char(0xAB));
        out += directory(first, valuesAt, values);
        out += directory(second, valuesAt, values);
        return out + values;
    }

private:
    static uint32_t DirectorySize(size_t entries) { return uint32_t(2 + 12 * entries + 4); }
    static void Sort(std::vector<TiffField>& fields) {
        std::stable_sort(fields.begin(), fields.end(),
                         [](const TiffField& a, const TiffField& b) { return a.tag < b.tag; });
    }
    TiffBlock& add(std::vector<TiffField>& to, const TiffField& field) {
        to.push_back(field);
        return *this;
    }

    // Writes the entries; values longer than 4 bytes go to the value area at valuesAt.
    std::string directory(const std::vector<TiffField>& fields, uint32_t valuesAt,
                          std::string& values) const {
        if (fields.empty()) return std::string();
        std::string out = Encode(m_order, uint32_t(fields.size()), 2);
        for (const TiffField& f : fields) {
            out += Encode(m_order, f.tag, 2) + Encode(m_order, f.type, 2) +
                   Encode(m_order, f.count, 4);
            if (f.hasOffsetOverride) {
                out += Encode(m_order, f.offsetOverride, 4);
            } else if (f.bytes.size() <= 4) {
                out += f.bytes + std::string(4 - f.bytes.size(), '\0');
            } else {
                out += Encode(m_order, uint32_t(valuesAt + values.size()), 4);
                values += f.bytes;
                if (values.size() % 2) values += '\0';
            }
        }
        return out + Encode(m_order, 0, 4);  // no next directory
    }

    ByteOrder m_order;
    uint32_t m_gap;
    std::vector<TiffField> m_ifd0;
    std::vector<TiffField> m_exif;
};

// JPEG pieces: a marker segment with its big-endian length, and a file made of segments.
inline std::string Segment(unsigned char marker, const std::string& payload) {
    const uint32_t length = uint32_t(payload.size() + 2);
    return std::string("\xFF", 1) + char(marker) + char(length >> 8) + char(length & 0xFF) +
           payload;
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
