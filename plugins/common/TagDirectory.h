// An in-memory tag database over the metadata of one image file: the TIFF directories (first
// image, Exif, GPS, interoperability) of a TIFF file, of a JPEG's Exif block, of a PNG eXIf
// chunk or of a WebP EXIF chunk, and a JPEG's APP2 segments by index. Every codec module carries
// its own copy, so a database from any of them loads any of these formats.
#ifndef VANDREL_PLUGINS_TAGDIRECTORY_H
#define VANDREL_PLUGINS_TAGDIRECTORY_H

#include <cstdint>
#include <cstdio>
#include <map>
#include <vector>

#include "vandrel/Records.h"
#include "vandrel/TagDB.h"
#include "vandrel/Variant.h"

namespace vxcodec {

// Reads the inflated ICC profile of a PNG file; plain metadata parsing cannot inflate, so the
// PNG module supplies this and the others leave it null.
typedef bool (*PngProfileReader)(const char* fileName, std::vector<unsigned char>& profile);

class CTagDirectory : public IUTagDB {
public:
    static constexpr int32_t kTagIccProfile = 0x8773;

    explicit CTagDirectory(PngProfileReader pngProfileReader = nullptr)
        : m_pngProfileReader(pngProfileReader) {}

    /* 0 */ void Delete() override { delete this; }
    /* 1 */ int32_t Load(const char* fileName) override;
    /* 2 */ int32_t GetTagValue(int32_t group, int32_t tag, CUtilVariant& value) override;
    /* 3 */ int32_t SetTagValue(int32_t group, int32_t tag, const CUtilVariant& value) override;
    /* 4 */ int32_t RemoveTag(int32_t group, int32_t tag) override;
    /* 5 */ int32_t GetTagId(int32_t group, int32_t index) override;
    /* 6 */ void Clear() override { m_groups.clear(); }
    /* 7 */ int32_t GetGroupCount() override;
    /* 8 */ int32_t GetTagCount(int32_t group) override;

    bool Empty() { return GetGroupCount() == 0; }

    // Parses a TIFF block (header, first directory and the directories it links) held in
    // memory. False when the header is not a TIFF header.
    bool ParseTiffBlock(const unsigned char* data, size_t size);

    // Camera and colour fields a plug-in reports from the file's metadata.
    void FillCameraInfo(CUCameraInfo* info);

private:
    class Source;
    bool ParseTiff(Source& source);
    void ParseDirectory(Source& source, bool bigEndian, uint64_t offset, int32_t group);
    bool LoadJpeg(std::FILE* file);
    bool LoadPng(std::FILE* file, const char* fileName);
    bool LoadWebp(std::FILE* file);
    void Store(int32_t group, int32_t tag, const CUtilVariant& value);
    const CUtilVariant* Find(int32_t group, int32_t tag) const;

    PngProfileReader m_pngProfileReader;
    std::map<int32_t, std::map<int32_t, CUtilVariant>> m_groups;
};

}  // namespace vxcodec

#endif
