// The WebP codec over libwebp: reads lossy, lossless and alpha files and the first frame of an
// animation (composed on its canvas) as 24-bit lines with an 8-bit alpha plane; writes lossy
// files at the request's quality, or lossless ones (kVxPropLossless), with the alpha plane
// when the caller has one. The ICC profile and the Exif block travel in the ICCP and EXIF
// chunks (libwebpmux).
#ifndef VANDREL_PLUGINS_WEBPPLUGIN_H
#define VANDREL_PLUGINS_WEBPPLUGIN_H

#include <cstdint>

#include "../common/BlockMetadataPlugIn.h"

namespace vxcodec {

struct WebpDecoder;
struct WebpEncoder;

class CWebpPlugIn : public CBlockMetadataPlugIn {
public:
    CWebpPlugIn();

    /* 1 */ IPlugIn* CreateInstance() override;
    /* 12 */ int32_t GetFileStatus(CUImageFileStatus* status) override;
    /* 17 */ const char* GetDecoderVersion() override { return m_version.c_str(); }
    /* 20 */ int32_t ReadLine(void* line, void* line2) override;
    /* 21 */ int32_t WriteLine(const void* line, const void* line2) override;
    /* 22 */ int32_t SeekLine(int32_t line, int origin) override;

protected:
    ~CWebpPlugIn() override;
    bool HasSignature(const unsigned char* head) const override;
    int32_t GetCodecProperty(int32_t id, void* value) override;
    int32_t SetCodecProperty(int32_t id, const void* value) override;

private:
    bool IsOpen() const override { return m_decoder != nullptr || m_encoder != nullptr; }
    int32_t OpenForReading() override;
    int32_t OpenForWriting() override;
    int32_t CloseReader() override;
    int32_t CloseWriter() override;

    WebpDecoder* m_decoder = nullptr;
    WebpEncoder* m_encoder = nullptr;
    int32_t m_lossless = 0;  // writing: asked for; reading: how the file is coded
    ministring m_version;
};

}  // namespace vxcodec

#endif
