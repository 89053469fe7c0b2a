// The PNG codec: reads every PNG colour type and depth (palette, 1/2/4/8/16-bit grey, RGB,
// with alpha or a tRNS key, Adam7 interlaced) as RGB lines of 8 or 16 bits per sample plus an
// alpha plane; writes 8/16-bit grey and RGB, with the alpha plane when the caller has one.
// 16-bit samples travel in host order. Its properties carry the ICC profile (iCCP), the Exif
// block (eXIf) and the XMP packet (iTXt "XML:com.adobe.xmp") both ways and set the writer's
// zlib level.
#ifndef VANDREL_PLUGINS_PNGPLUGIN_H
#define VANDREL_PLUGINS_PNGPLUGIN_H

#include <cstdint>

#include "../common/DamageNotice.h"
#include "../common/DecodeProgress.h"
#include "../common/MemoryBudget.h"
#include "../common/MetadataBlocks.h"
#include "../common/ReaderWriterPlugIn.h"

namespace vxcodec {

struct PngDecoder;
struct PngEncoder;

class CPngPlugIn : public CReaderWriterPlugIn {
public:
    CPngPlugIn();

    /* 1 */ IPlugIn* CreateInstance() override;
    /* 10 */ int32_t GetProperty(int32_t id, void* value) override;
    /* 11 */ int32_t SetProperty(int32_t id, const void* value) override;
    /* 12 */ int32_t GetFileStatus(CUImageFileStatus* status) override;
    /* 17 */ const char* GetDecoderVersion() override;
    /* 20 */ int32_t ReadLine(void* line, void* line2) override;
    /* 21 */ int32_t WriteLine(const void* line, const void* line2) override;
    /* 22 */ int32_t SeekLine(int32_t line, int origin) override;

protected:
    ~CPngPlugIn() override;
    bool HasSignature(const unsigned char* head) const override;
    PngProfileReader ProfileReader() const override;

private:
    bool IsOpen() const override { return m_decoder != nullptr || m_encoder != nullptr; }
    int32_t OpenForReading() override;
    int32_t OpenForWriting() override;
    int32_t CloseReader() override;
    int32_t CloseWriter() override;

    PngDecoder* m_decoder = nullptr;
    PngEncoder* m_encoder = nullptr;
    CDecodeProgress m_progress;
    CDamageNotice m_damage;
    CMetadataBlocks m_blocks;
    int32_t m_compression = -1;  // zlib level; -1 = libpng's default
    ministring m_version;
    CMemoryBudget m_budget;
};

}  // namespace vxcodec

#endif
