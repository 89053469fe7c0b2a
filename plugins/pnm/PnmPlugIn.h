// Binary PGM (P5) and PPM (P6) files, 8 or 16 bits per sample. Lines read are logical RGB of
// 24 or 48 bits, grey files included (R = G = B); 16-bit samples in host order (the file keeps
// them most significant byte first). Lines written are grey (8, 16 bits) or RGB (24, 48) as the
// request's depth says. There is no second plane.
#ifndef VANDREL_PLUGINS_PNM_PNMPLUGIN_H
#define VANDREL_PLUGINS_PNM_PNMPLUGIN_H

#include <cstdint>
#include <vector>

#include "../common/PlugInBase.h"
#include "PnmHeader.h"

class CPnmPlugIn : public vxcodec::CPlugInBase {
public:
    // Origins of SeekLine, counted as by every codec: 0 from the first line, 1 from the current
    // one, 2 from the end.
    enum SeekOrigin { kFromStart = 0, kFromCurrent = 1, kFromEnd = 2 };

    CPnmPlugIn();

    /* 1 */ IPlugIn* CreateInstance() override;
    /* 3 */ int32_t IsSupportedFile(const char* fileName) override;
    /* 4 */ int32_t IsSupportedFormat(const char* formatName) override;
    /* 12 */ int32_t GetFileStatus(CUImageFileStatus* status) override;
    /* 13 */ int32_t GetCameraInfo(CUCameraInfo* info) override;
    /* 15 */ int32_t AddExtensionName(const char* ext) override;
    /* 17 */ const char* GetDecoderVersion() override;
    /* 19 */ int32_t Open(const char* mode) override;
    /* 20 */ int32_t ReadLine(void* line, void* line2) override;
    /* 21 */ int32_t WriteLine(const void* line, const void* line2) override;
    /* 22 */ int32_t SeekLine(int32_t line, int origin) override;
    /* 23 */ int32_t Close() override;
    /* 24 */ IUTagDB* CreateTagDB() override;

private:
    enum Mode { kClosed, kReading, kWriting };

    ~CPnmPlugIn() override;

    bool HasSignature(const unsigned char* head) const override;
    int32_t ReadHeaderOfFile(CPnmHeader* header) const;
    int32_t OpenForReading();
    int32_t OpenForWriting();
    int32_t WriterLayout(CPnmHeader* header) const;
    void StretchSamples(unsigned char* line) const;
    int32_t FinishWriting();

    Mode m_mode = kClosed;
    int m_fd = -1;
    CPnmHeader m_header;
    int32_t m_line = 0;                    // next line to read or write
    int32_t m_linesEnd = 0;                // one past the last line written
    std::vector<unsigned char> m_row;      // a line in file byte order, for writing
    std::vector<unsigned char> m_stretch;  // 8-bit sample map for unusual largest values
};

#endif
