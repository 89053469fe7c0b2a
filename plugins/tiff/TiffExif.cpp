#include "TiffExif.h"

#include <libexif/exif-data.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "../common/TagDirectory.h"

namespace vxcodec {
namespace {

constexpr size_t kExifHeaderBytes = 6;  // "Exif\0\0", which libexif puts in front

// Fields of the first directory that describe the picture rather than its storage; the rest
// (strips, sample layout, compression) belong to the file they came from.
bool DescribesPicture(int32_t tag) {
    static const int32_t kTags[] = {0x010E, 0x010F, 0x0110, 0x0112, 0x011A, 0x011B, 0x0128,
                                    0x0131, 0x0132, 0x013B, 0x013E, 0x013F, 0x8298};
    for (int32_t t : kTags)
        if (t == tag) return true;
    return false;
}

// Fields every writer puts in (resolution) or that say nothing (the upright orientation) do
// not make a block worth carrying on their own.
bool SaysSomething(int32_t group, int32_t tag, const CUtilVariant& value) {
    if (group != kVxTagGroupIfd0) return true;
    if (tag == 0x011A || tag == 0x011B || tag == 0x0128) return false;
    return tag != 0x0112 || value.uintAt(0) != 1;
}

// Links between directories; libexif writes its own.
bool IsLink(int32_t tag) {
    return tag == 0x8769 || tag == 0x8825 || tag == 0xA005;
}

// The TIFF field type of a variant (signed longs come back as unsigned ones: the variant
// keeps both alike).
ExifFormat FormatOf(CUtilVariant::Type type) {
    switch (type) {
        case CUtilVariant::kByte:
            return EXIF_FORMAT_BYTE;
        case CUtilVariant::kSByte:
            return EXIF_FORMAT_SBYTE;
        case CUtilVariant::kAscii:
            return EXIF_FORMAT_ASCII;
        case CUtilVariant::kShort:
            return EXIF_FORMAT_SHORT;
        case CUtilVariant::kSShort:
            return EXIF_FORMAT_SSHORT;
        case CUtilVariant::kLong:
        case CUtilVariant::kValue32:
            return EXIF_FORMAT_LONG;
        case CUtilVariant::kRational:
            return EXIF_FORMAT_RATIONAL;
        case CUtilVariant::kSRational:
            return EXIF_FORMAT_SRATIONAL;
        case CUtilVariant::kUndefined:
            return EXIF_FORMAT_UNDEFINED;
        default:
            return ExifFormat(0);
    }
}

// Host-order elements of the variant into the block's byte order.
void StoreElements(const CUtilVariant& value, ExifFormat format, ExifByteOrder order,
                   unsigned char* out) {
    const unsigned char* in = value.data();
    const uint32_t count = value.count();
    switch (format) {
        case EXIF_FORMAT_SHORT:
        case EXIF_FORMAT_SSHORT:
            for (uint32_t i = 0; i < count; ++i) {
                uint16_t v;
                std::memcpy(&v, in + 2 * i, 2);
                exif_set_short(out + 2 * i, order, v);
            }
            break;
        case EXIF_FORMAT_LONG:
        case EXIF_FORMAT_RATIONAL:
        case EXIF_FORMAT_SRATIONAL:
            // Rationals are pairs of 32-bit halves.
            for (uint32_t i = 0; i < value.size() / 4; ++i) {
                uint32_t v;
                std::memcpy(&v, in + 4 * i, 4);
                exif_set_long(out + 4 * i, order, v);
            }
            break;
        default:
            std::memcpy(out, in, value.size());
            break;
    }
}

bool AddEntry(ExifData* data, ExifIfd ifd, int32_t tag, const CUtilVariant& value) {
    const ExifFormat format = FormatOf(value.type());
    if (format == 0 || value.data() == nullptr || value.count() == 0) return true;
    ExifEntry* entry = exif_entry_new();
    if (entry == nullptr) return false;
    const unsigned int size = value.size();
    entry->data = static_cast<unsigned char*>(std::calloc(1, size));
    if (entry->data == nullptr) {
        exif_entry_unref(entry);
        return false;
    }
    entry->tag = ExifTag(tag);
    entry->format = format;
    entry->components = value.count();
    entry->size = size;
    StoreElements(value, format, exif_data_get_byte_order(data), entry->data);
    exif_content_add_entry(data->ifd[ifd], entry);
    exif_entry_unref(entry);
    return true;
}

struct ExifDataRelease {
    void operator()(ExifData* data) const { exif_data_unref(data); }
};

}  // namespace

bool BuildExifBlock(const char* fileName, std::vector<unsigned char>* block) {
    CTagDirectory directory;
    if (directory.Load(fileName) < 0) return false;
    std::unique_ptr<ExifData, ExifDataRelease> data(exif_data_new());
    if (!data) return false;
    exif_data_unset_option(data.get(), EXIF_DATA_OPTION_FOLLOW_SPECIFICATION);
    exif_data_set_byte_order(data.get(), EXIF_BYTE_ORDER_INTEL);
    static const struct {
        int32_t group;
        ExifIfd ifd;
    } kGroups[] = {{kVxTagGroupIfd0, EXIF_IFD_0},
                   {kVxTagGroupExif, EXIF_IFD_EXIF},
                   {kVxTagGroupGps, EXIF_IFD_GPS},
                   {kVxTagGroupInterop, EXIF_IFD_INTEROPERABILITY}};
    size_t telling = 0;
    for (const auto& g : kGroups) {
        const int32_t count = directory.GetTagCount(g.group);
        for (int32_t i = 0; i < count; ++i) {
            const int32_t tag = directory.GetTagId(g.group, i);
            if (tag < 0 || IsLink(tag) || (g.ifd == EXIF_IFD_0 && !DescribesPicture(tag))) continue;
            CUtilVariant value;
            if (directory.GetTagValue(g.group, tag, value) <= 0) continue;
            if (!AddEntry(data.get(), g.ifd, tag, value)) return false;
            if (SaysSomething(g.group, tag, value)) ++telling;
        }
    }
    if (telling == 0) return false;
    unsigned char* bytes = nullptr;
    unsigned int size = 0;
    exif_data_save_data(data.get(), &bytes, &size);
    const bool made = bytes != nullptr && size > kExifHeaderBytes;
    if (made) block->assign(bytes + kExifHeaderBytes, bytes + size);
    std::free(bytes);
    return made;
}

}  // namespace vxcodec
