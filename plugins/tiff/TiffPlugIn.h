// The TIFF codec: reads strips and tiles, contiguous and separate planes, 8/16-bit grey, RGB
// and palette images, JPEG-compressed YCbCr and unsubsampled YCbCr as RGB lines with the first
// extra alpha sample as the alpha plane; writes 8/16-bit grey and RGB (YCC lines as Photometric
// YCbCr), with alpha, deflate-compressed unless told otherwise. Its properties carry the ICC
// profile and the XMP packet both ways, hand out the Exif block of the file's directories, and
// set the writer's compression.
#ifndef VANDREL_PLUGINS_TIFFPLUGIN_H
#define VANDREL_PLUGINS_TIFFPLUGIN_H

#include <cstdint>

#include "../common/MemoryBudget.h"
#include "../common/DamageNotice.h"
#include "../common/MetadataBlocks.h"
#include "../common/ReaderWriterPlugIn.h"

namespace vxcodec {

struct TiffDecoder;
struct TiffEncoder;

class CTiffPlugIn : public CReaderWriterPlugIn {
public:
    CTiffPlugIn();

    /* 1 */ IPlugIn* CreateInstance() override;
    /* 10 */ int32_t GetProperty(int32_t id, void* value) override;
    /* 11 */ int32_t SetProperty(int32_t id, const void* value) override;
    /* 12 */ int32_t GetFileStatus(CUImageFileStatus* status) override;
    /* 17 */ const char* GetDecoderVersion() override;
    /* 20 */ int32_t ReadLine(void* line, void* line2) override;
    /* 21 */ int32_t WriteLine(const void* line, const void* line2) override;
    /* 22 */ int32_t SeekLine(int32_t line, int origin) override;

protected:
    ~CTiffPlugIn() override;
    bool HasSignature(const unsigned char* head) const override;

private:
    bool IsOpen() const override { return m_decoder != nullptr || m_encoder != nullptr; }
    int32_t OpenForReading() override;
    int32_t OpenForWriting() override;
    int32_t CloseReader() override;
    int32_t CloseWriter() override;

    TiffDecoder* m_decoder = nullptr;
    TiffEncoder* m_encoder = nullptr;
    ministring m_version;
    CMemoryBudget m_budget;
    CMetadataBlocks m_blocks;
    CDamageNotice m_damage;
    int32_t m_compression = 8;  // VxTiffCompression: deflate unless told otherwise
};

}  // namespace vxcodec

#endif
