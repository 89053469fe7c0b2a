#include "TiffExif.h"

#include <libexif/exif-data.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

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
using ExifPtr = std::unique_ptr<ExifData, ExifDataRelease>;

ExifPtr LoadBlock(const std::vector<unsigned char>& block) {
    if (block.empty()) return nullptr;
    std::vector<unsigned char> prefixed = {'E', 'x', 'i', 'f', 0, 0};
    prefixed.insert(prefixed.end(), block.begin(), block.end());
    ExifPtr data(exif_data_new());
    if (!data) return nullptr;
    exif_data_unset_option(data.get(), EXIF_DATA_OPTION_FOLLOW_SPECIFICATION);
    exif_data_set_option(data.get(), EXIF_DATA_OPTION_DONT_CHANGE_MAKER_NOTE);
    exif_data_load_data(data.get(), prefixed.data(), unsigned(prefixed.size()));
    return data;
}

// The entry's numbers in the C type libtiff takes for the field (setSize bytes each: 1, 2, 4,
// or 4/8 for rationals as float/double); false for a form libtiff would not take.
bool DecodeNumbers(const ExifEntry* e, ExifByteOrder order, int setSize,
                   std::vector<unsigned char>* out) {
    const size_t unit = exif_format_get_size(e->format);
    if (unit == 0 || e->size < unit * e->components) return false;
    out->assign(size_t(setSize) * e->components, 0);
    for (unsigned long i = 0; i < e->components; ++i) {
        const unsigned char* in = e->data + i * unit;
        unsigned char* to = out->data() + i * size_t(setSize);
        switch (e->format) {
            case EXIF_FORMAT_BYTE:
            case EXIF_FORMAT_SBYTE:
            case EXIF_FORMAT_UNDEFINED:
                if (setSize != 1) return false;
                *to = *in;
                break;
            case EXIF_FORMAT_SHORT:
            case EXIF_FORMAT_SSHORT: {
                if (setSize != 2) return false;
                const uint16_t v = exif_get_short(in, order);
                std::memcpy(to, &v, 2);
                break;
            }
            case EXIF_FORMAT_LONG:
            case EXIF_FORMAT_SLONG: {
                if (setSize != 4) return false;
                const uint32_t v = exif_get_long(in, order);
                std::memcpy(to, &v, 4);
                break;
            }
            case EXIF_FORMAT_RATIONAL:
            case EXIF_FORMAT_SRATIONAL: {
                const bool sign = e->format == EXIF_FORMAT_SRATIONAL;
                const ExifLong n = exif_get_long(in, order), d = exif_get_long(in + 4, order);
                const double num = sign ? double(int32_t(n)) : double(n);
                const double den = sign ? double(int32_t(d)) : double(d);
                const double v = den != 0 ? num / den : 0.0;
                if (setSize == 8) {
                    std::memcpy(to, &v, 8);
                } else if (setSize == 4) {
                    const float f = float(v);
                    std::memcpy(to, &f, 4);
                } else {
                    return false;
                }
                break;
            }
            default:
                return false;
        }
    }
    return true;
}

// One entry as a field of libtiff's current directory; entries libtiff does not know, or in
// another form than its definition, are left out.
void SetField(TIFF* tif, const ExifEntry* e, ExifByteOrder order) {
    const TIFFField* field = TIFFFindField(tif, e->tag, TIFF_ANY);
    if (field == nullptr || e->components == 0 || e->data == nullptr) return;
    if (e->format == EXIF_FORMAT_ASCII) {
        if (TIFFFieldDataType(field) != TIFF_ASCII) return;
        std::string text(reinterpret_cast<const char*>(e->data), e->size);
        TIFFSetField(tif, e->tag, text.c_str());
        return;
    }
    if (int(TIFFFieldDataType(field)) != int(e->format)) return;
    const int setSize = TIFFFieldSetGetSize(field);
    std::vector<unsigned char> values;
    if (!DecodeNumbers(e, order, setSize, &values)) return;
    const uint32_t count = uint32_t(e->components);
    if (TIFFFieldPassCount(field)) {
        if (TIFFFieldSetGetCountSize(field) == 4)
            TIFFSetField(tif, e->tag, count, values.data());
        else if (count <= 0xFFFF)
            TIFFSetField(tif, e->tag, int(count), values.data());
        return;
    }
    const int wanted = TIFFFieldWriteCount(field);
    if (wanted == 1 && count == 1) {
        // One number goes by value, promoted as a variadic argument is.
        switch (e->format) {
            case EXIF_FORMAT_RATIONAL:
            case EXIF_FORMAT_SRATIONAL: {
                double v = 0;
                if (setSize == 8) {
                    std::memcpy(&v, values.data(), 8);
                } else {
                    float f = 0;
                    std::memcpy(&f, values.data(), 4);
                    v = f;
                }
                TIFFSetField(tif, e->tag, v);
                return;
            }
            case EXIF_FORMAT_SHORT:
            case EXIF_FORMAT_SSHORT: {
                uint16_t v = 0;
                std::memcpy(&v, values.data(), 2);
                TIFFSetField(tif, e->tag, int(v));
                return;
            }
            case EXIF_FORMAT_LONG:
            case EXIF_FORMAT_SLONG: {
                uint32_t v = 0;
                std::memcpy(&v, values.data(), 4);
                TIFFSetField(tif, e->tag, v);
                return;
            }
            default:
                TIFFSetField(tif, e->tag, int(values[0]));
                return;
        }
    }
    if (wanted > 0 && uint32_t(wanted) == count) TIFFSetField(tif, e->tag, values.data());
}

}  // namespace

void SetPictureFields(TIFF* tif, const std::vector<unsigned char>& block) {
    ExifPtr data = LoadBlock(block);
    if (!data) return;
    const ExifByteOrder order = exif_data_get_byte_order(data.get());
    ExifContent* first = data->ifd[EXIF_IFD_0];
    for (unsigned int i = 0; i < first->count; ++i) {
        const ExifEntry* e = first->entries[i];
        if (DescribesPicture(e->tag) && e->tag != EXIF_TAG_X_RESOLUTION &&
            e->tag != EXIF_TAG_Y_RESOLUTION && e->tag != EXIF_TAG_RESOLUTION_UNIT)
            SetField(tif, e, order);
    }
}

bool WriteExifDirectory(TIFF* tif, const std::vector<unsigned char>& block) {
    ExifPtr data = LoadBlock(block);
    if (!data || data->ifd[EXIF_IFD_EXIF]->count == 0) return true;
    const ExifByteOrder order = exif_data_get_byte_order(data.get());
    // The image's directory goes first, with room for the link; the link is filled in once
    // the Exif directory has its place.
    uint64_t exifAt = 0;
    if (!TIFFSetField(tif, TIFFTAG_EXIFIFD, exifAt) || !TIFFWriteDirectory(tif)) return false;
    if (TIFFCreateEXIFDirectory(tif) != 0) return false;
    ExifContent* exif = data->ifd[EXIF_IFD_EXIF];
    for (unsigned int i = 0; i < exif->count; ++i)
        SetField(tif, exif->entries[i], order);
    if (!TIFFWriteCustomDirectory(tif, &exifAt)) return false;
    return TIFFSetDirectory(tif, 0) && TIFFSetField(tif, TIFFTAG_EXIFIFD, exifAt) &&
           TIFFRewriteDirectory(tif);
}

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
