// The JPEG codec: reads baseline and progressive files (grey, YCbCr/RGB, CMYK/YCCK) as 24-bit
// RGB lines, writes 24-bit RGB (or YCC lines as they are, JPEG's own colour space) and 8-bit
// grey files. Its properties carry the ICC profile (APP2), the Exif block and the XMP packet
// (APP1) both ways, and set the writer's progressive mode and chroma subsampling. libjpeg's error
// exits are caught inside this module: every call into the library goes through a small guarded
// function.
#ifndef VANDREL_PLUGINS_JPEGPLUGIN_H
#define VANDREL_PLUGINS_JPEGPLUGIN_H

#include <cstdint>
#include <vector>

#include "../common/DamageNotice.h"
#include "../common/DecodeProgress.h"
#include "../common/MemoryBudget.h"
#include "../common/MetadataBlocks.h"
#include "../common/ReaderWriterPlugIn.h"

namespace vxcodec {

struct JpegDecoder;
struct JpegEncoder;

class CJpegPlugIn : public CReaderWriterPlugIn {
public:
    CJpegPlugIn();

    /* 1 */ IPlugIn* CreateInstance() override;
    /* 10 */ int32_t GetProperty(int32_t id, void* value) override;
    /* 11 */ int32_t SetProperty(int32_t id, const void* value) override;
    /* 12 */ int32_t GetFileStatus(CUImageFileStatus* status) override;
    /* 17 */ const char* GetDecoderVersion() override;
    /* 20 */ int32_t ReadLine(void* line, void* line2) override;
    /* 21 */ int32_t WriteLine(const void* line, const void* line2) override;
    /* 22 */ int32_t SeekLine(int32_t line, int origin) override;

protected:
    ~CJpegPlugIn() override;
    bool HasSignature(const unsigned char* head) const override;

private:
    bool IsOpen() const override { return m_decoder != nullptr || m_encoder != nullptr; }
    int32_t OpenForReading() override;
    int32_t OpenForWriting() override;
    int32_t CloseReader() override;
    int32_t CloseWriter() override;

    JpegDecoder* m_decoder = nullptr;
    JpegEncoder* m_encoder = nullptr;
    std::vector<unsigned char> m_cmykLine;  // CMYK files decode here, then become RGB
    CDecodeProgress m_progress;
    CMemoryBudget m_budget;
    CDamageNotice m_damage;
    CMetadataBlocks m_blocks;
    int32_t m_progressive = 0;
    int32_t m_subsampling = 420;
};

}  // namespace vxcodec

#endif
