// The GIF codec over giflib, reading only: the first frame on the logical screen, its palette
// expanded to 24-bit RGB lines; a transparent colour index, or a frame that leaves part of the
// screen uncovered, gives an 8-bit alpha plane (0 there, 255 elsewhere).
#ifndef VANDREL_PLUGINS_GIFPLUGIN_H
#define VANDREL_PLUGINS_GIFPLUGIN_H

#include <cstdint>

#include "../common/MemoryBudget.h"
#include "../common/ReaderWriterPlugIn.h"

namespace vxcodec {

struct GifDecoder;

class CGifPlugIn : public CReaderWriterPlugIn {
public:
    CGifPlugIn();

    /* 1 */ IPlugIn* CreateInstance() override;
    /* 10 */ int32_t GetProperty(int32_t id, void* value) override;
    /* 11 */ int32_t SetProperty(int32_t id, const void* value) override;
    /* 12 */ int32_t GetFileStatus(CUImageFileStatus* status) override;
    /* 13 */ int32_t GetCameraInfo(CUCameraInfo* info) override;
    /* 17 */ const char* GetDecoderVersion() override { return m_version.c_str(); }
    /* 20 */ int32_t ReadLine(void* line, void* line2) override;
    /* 21 */ int32_t WriteLine(const void*, const void*) override { return kVxErrCodecState; }
    /* 22 */ int32_t SeekLine(int32_t line, int origin) override;
    // GIF carries no Exif: there is no tag database.
    /* 24 */ IUTagDB* CreateTagDB() override { return nullptr; }

protected:
    ~CGifPlugIn() override;
    bool HasSignature(const unsigned char* head) const override;

private:
    bool IsOpen() const override { return m_decoder != nullptr; }
    int32_t OpenForReading() override;
    int32_t OpenForWriting() override { return kVxErrCodecUnsupported; }
    int32_t CloseReader() override;
    int32_t CloseWriter() override { return 1; }

    GifDecoder* m_decoder = nullptr;
    CMemoryBudget m_budget;
    ministring m_version;
};

}  // namespace vxcodec

#endif
