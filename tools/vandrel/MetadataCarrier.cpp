#include "MetadataCarrier.h"

#include <libexif/exif-data.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "vandrel/CodecProperties.h"
#include "vandrel/Status.h"

namespace vxtool {
namespace {

const unsigned char kExifHeader[] = {'E', 'x', 'i', 'f', 0, 0};

struct ExifDataRelease {
    void operator()(ExifData* data) const { exif_data_unref(data); }
};
using ExifPtr = std::unique_ptr<ExifData, ExifDataRelease>;

// libexif reads a block behind its APP1 identifier. It is told to keep what it finds as it is:
// no entries added, none "corrected", maker notes left unparsed.
ExifPtr LoadExif(const std::string& block) {
    if (block.empty()) return nullptr;
    ExifPtr data(exif_data_new());
    if (!data) return nullptr;
    exif_data_unset_option(data.get(), EXIF_DATA_OPTION_FOLLOW_SPECIFICATION);
    exif_data_unset_option(data.get(), EXIF_DATA_OPTION_IGNORE_UNKNOWN_TAGS);
    exif_data_set_option(data.get(), EXIF_DATA_OPTION_DONT_CHANGE_MAKER_NOTE);
    std::string prefixed(reinterpret_cast<const char*>(kExifHeader), sizeof kExifHeader);
    prefixed += block;
    exif_data_load_data(data.get(), reinterpret_cast<const unsigned char*>(prefixed.data()),
                        unsigned(prefixed.size()));
    return data;
}

// Writes a SHORT or LONG value into an existing entry, in the block's byte order.
void SetNumber(ExifEntry* entry, ExifByteOrder order, uint32_t value) {
    if (entry == nullptr || entry->data == nullptr || entry->components != 1) return;
    if (entry->format == EXIF_FORMAT_SHORT && entry->size >= 2 && value <= 0xFFFF)
        exif_set_short(entry->data, order, ExifShort(value));
    else if (entry->format == EXIF_FORMAT_LONG && entry->size >= 4)
        exif_set_long(entry->data, order, value);
}

}  // namespace

CSourceMetadata ReadSourceMetadata(const CPlugInShelf& shelf, const std::string& path) {
    CSourceMetadata meta;
    PlugInPtr reader = shelf.ReaderFor(path);
    CUImageFileStatus status;
    if (!reader || VxIsFailure(reader->GetFileStatus(&status))) return meta;
    meta.icc = ReadBlockProperty(reader.get(), kVxPropIccProfile);
    meta.exif = ReadBlockProperty(reader.get(), kVxPropExif);
    meta.xmp = ReadBlockProperty(reader.get(), kVxPropXmp);
    meta.orientation = ExifOrientation(meta.exif);
    int32_t applied = 0;
    meta.upright = reader->GetProperty(kVxPropOrientationApplied, &applied) == 1 && applied == 1;
    return meta;
}

uint16_t ExifOrientation(const std::string& exif) {
    ExifPtr data = LoadExif(exif);
    if (!data) return 0;
    ExifEntry* entry = exif_content_get_entry(data->ifd[EXIF_IFD_0], EXIF_TAG_ORIENTATION);
    if (entry == nullptr || entry->format != EXIF_FORMAT_SHORT || entry->size < 2) return 0;
    const ExifShort value = exif_get_short(entry->data, exif_data_get_byte_order(data.get()));
    return value >= 1 && value <= 8 ? value : 0;
}

std::string UpdateExif(const std::string& exif, bool upright, int32_t width, int32_t height) {
    ExifPtr data = LoadExif(exif);
    if (!data) return std::string();
    const ExifByteOrder order = exif_data_get_byte_order(data.get());
    if (upright)
        SetNumber(exif_content_get_entry(data->ifd[EXIF_IFD_0], EXIF_TAG_ORIENTATION), order, 1);
    SetNumber(exif_content_get_entry(data->ifd[EXIF_IFD_EXIF], EXIF_TAG_PIXEL_X_DIMENSION), order,
              uint32_t(width));
    SetNumber(exif_content_get_entry(data->ifd[EXIF_IFD_EXIF], EXIF_TAG_PIXEL_Y_DIMENSION), order,
              uint32_t(height));
    // The thumbnail and the directory that describes it go together.
    if (data->data != nullptr) {
        std::free(data->data);  // libexif's default allocator is malloc's
        data->data = nullptr;
        data->size = 0;
    }
    while (data->ifd[EXIF_IFD_1]->count > 0)
        exif_content_remove_entry(data->ifd[EXIF_IFD_1], data->ifd[EXIF_IFD_1]->entries[0]);
    unsigned char* bytes = nullptr;
    unsigned int size = 0;
    exif_data_save_data(data.get(), &bytes, &size);
    std::string block;
    if (bytes != nullptr && size > sizeof kExifHeader)
        block.assign(reinterpret_cast<const char*>(bytes) + sizeof kExifHeader,
                     size - sizeof kExifHeader);
    std::free(bytes);
    return block;
}

}  // namespace vxtool
