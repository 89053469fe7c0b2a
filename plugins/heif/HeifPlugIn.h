// The HEIF codec over libheif: reads the primary image of HEIC, HEIF and AVIF files (8-bit
// images as 24-bit lines, 10- and 12-bit ones as 48-bit lines, alpha as the second plane) with
// the file's rotation, mirroring and crop applied as libheif applies them, and writes AVIF
// (quality, 8/10/12 bits per sample, alpha except at 10 bits, ICC profile, Exif). Files are chosen
// by the brands of their 'ftyp' box: one module takes the HEVC family (reading only), the other
// AVIF.
#ifndef VANDREL_PLUGINS_HEIFPLUGIN_H
#define VANDREL_PLUGINS_HEIFPLUGIN_H

#include <cstdint>

#include "../common/BlockMetadataPlugIn.h"

namespace vxcodec {

struct HeifDecoder;
struct HeifEncoder;

enum class HeifFamily { kHevc, kAv1 };

class CHeifPlugIn : public CBlockMetadataPlugIn {
public:
    explicit CHeifPlugIn(HeifFamily family);

    /* 1 */ IPlugIn* CreateInstance() override;
    /* 3 */ int32_t IsSupportedFile(const char* fileName) override;
    /* 12 */ int32_t GetFileStatus(CUImageFileStatus* status) override;
    /* 17 */ const char* GetDecoderVersion() override { return m_version.c_str(); }
    /* 20 */ int32_t ReadLine(void* line, void* line2) override;
    /* 21 */ int32_t WriteLine(const void* line, const void* line2) override;
    /* 22 */ int32_t SeekLine(int32_t line, int origin) override;

protected:
    ~CHeifPlugIn() override;
    bool HasSignature(const unsigned char* head) const override;
    int32_t GetCodecProperty(int32_t id, void* value) override;
    int32_t SetCodecProperty(int32_t id, const void* value) override;

private:
    bool IsOpen() const override { return m_decoder != nullptr || m_encoder != nullptr; }
    int32_t OpenForReading() override;
    int32_t OpenForWriting() override;
    int32_t CloseReader() override;
    int32_t CloseWriter() override;

    HeifFamily m_family;
    HeifDecoder* m_decoder = nullptr;
    HeifEncoder* m_encoder = nullptr;
    int32_t m_sampleBits = 0;  // written: 8, 10 or 12; 0 = 8 from 24-bit lines, 12 from 48
    ministring m_version;
};

}  // namespace vxcodec

#endif
