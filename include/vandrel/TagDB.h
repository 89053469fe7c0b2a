// The tag database a codec plug-in supplies for one file: tag values by group and tag number.
// Groups: 2 = JPEG APP2 segments by index (each a type-10 value that starts with the 2-byte
// segment length), 0x20000 = first TIFF directory, 0x30000 = Exif directory,
// 0x50000 = interoperability directory.
#ifndef VANDREL_TAGDB_H
#define VANDREL_TAGDB_H

#include <cstdint>

class CUtilVariant;

constexpr int32_t kVxTagGroupApp2 = 2;
constexpr int32_t kVxTagGroupIfd0 = 0x20000;
constexpr int32_t kVxTagGroupExif = 0x30000;
constexpr int32_t kVxTagGroupGps = 0x40000;
constexpr int32_t kVxTagGroupInterop = 0x50000;

class IUTagDB {
public:
    /* 0 */ virtual void Delete() = 0;
    /* 1 */ virtual int32_t Load(const char* fileName) = 0;  // status code
    /* 2 */ virtual int32_t GetTagValue(int32_t group, int32_t tag, CUtilVariant& value) = 0;  // > 0 found
    /* 3 */ virtual int32_t SetTagValue(int32_t group, int32_t tag, const CUtilVariant& value) = 0;
    /* 4 */ virtual int32_t RemoveTag(int32_t group, int32_t tag) = 0;
    /* 5 */ virtual int32_t GetTagId(int32_t group, int32_t index) = 0;  // tag of index-th entry
    /* 6 */ virtual void Clear() = 0;
    /* 7 */ virtual int32_t GetGroupCount() = 0;
    /* 8 */ virtual int32_t GetTagCount(int32_t group) = 0;
    /* 9, 10 */ virtual ~IUTagDB() = default;
};

#endif
