// The image-file service. It holds no codec of its own: plug-in modules are loaded from
// folders, kept in load order, and asked in that order which one takes a file or a format
// name; the first that answers yes gets the work. Each opened image is an image handle bound to
// one plug-in instance and one CParam.
#ifndef VANDREL_SERVICE_VANDREL_H
#define VANDREL_SERVICE_VANDREL_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/BundleLoader.h"
#include "platform/CriticalSection.h"
#include "vandrel/PlugIn.h"
#include "vandrel/VandrelIF.h"

class CVandrel : public IVandrelIF {
public:
    // Seeds the handle generator and loads the plug-ins at plugInPath (a module or a folder;
    // null loads none).
    explicit CVandrel(const char* plugInPath);
    ~CVandrel() override;
    CVandrel(const CVandrel&) = delete;
    CVandrel& operator=(const CVandrel&) = delete;

    /* 0 */ void Delete() override;
    /* 1 */ int32_t AddPlugInPath(const char* path) override;
    /* 2 */ const char* GetSupportedReadingType() override;
    /* 3 */ const char* GetSupportedWritingType() override;
    /* 4 */ int32_t AddExtensionName(const char* format, const char* ext) override;
    /* 5 */ const char* GetExtensionName(const char* format) override;
    /* 6 */ const char* GetDecoderVersion(const char* format) override;
    /* 7 */ int32_t GetImageHandle(const char* fileName) override;
    /* 8 */ int32_t DeleteImageHandle(int32_t handle) override;
    /* 9 */ int32_t GetFileInfo(const char* fileName, CUFileInfo* info) override;
    /* 10 */ int32_t GetFileStatus(const char* fileName, CUImageFileStatus* status) override;
    /* 11 */ int32_t GetFileStatus(int32_t handle, CUImageFileStatus* status) override;
    /* 12 */ int32_t GetCameraInfo(const char* fileName, CUCameraInfo* info) override;
    /* 13 */ int32_t GetCameraInfo(int32_t handle, CUCameraInfo* info) override;
    /* 14 */ int32_t BeginReadLine(int32_t handle, const CURequest& request, CUImageInfo* info,
                                   CUImageInfo* info2) override;
    /* 15 */ int32_t ReadLine(int32_t handle, void** line, void** line2) override;
    /* 16 */ int32_t ReadLine(int32_t handle, void* line, void* line2) override;
    /* 17 */ int32_t EndReadLine(int32_t handle) override;
    /* 18 */ int32_t SeekLine(int32_t handle, int32_t line, int origin) override;
    /* 19 */ int32_t BeginWriteLine(const char* fileName, const CURequest& request,
                                    const CUImageInfo* info, const CUImageInfo* info2) override;
    /* 20 */ int32_t WriteLine(int32_t handle, const void* line, const void* line2) override;
    /* 21 */ int32_t EndWriteLine(int32_t handle) override;
    /* 22 */ int32_t ConvertYccToRgb(void* dst, void* src, const CUImageInfo& info) override;
    /* 23 */ int32_t ConvertRgbToYcc(void* dst, void* src, const CUImageInfo& info) override;
    /* 24 */ int32_t ConvertNativeToLogical(void* dst, const unsigned char* src,
                                            const CUImageInfo& info) override;
    /* 25 */ int32_t ConvertLogicalToNative(unsigned char* dst, const void* src,
                                            const CUImageInfo& info, int32_t line) override;
    /* 26 */ int32_t Convert8To16(const unsigned char* src, unsigned short* dst,
                                  int32_t count) override;
    /* 27 */ int32_t Convert16To8(const unsigned short* src, unsigned char* dst, int32_t count,
                                  int32_t channels, int32_t line) override;
    /* 28 */ int32_t ConvertRgb8ToYcc16(const unsigned char* src, unsigned short* dst,
                                        int32_t count) override;
    /* 29 */ int32_t ConvertRgb16ToYcc8(const unsigned short* src, unsigned char* dst,
                                        int32_t count, int32_t line) override;
    /* 30 */ int32_t ConvertYcc8ToRgb16(const unsigned char* src, unsigned short* dst,
                                        int32_t count) override;
    /* 31 */ int32_t ConvertYcc16ToRgb8(const unsigned short* src, unsigned char* dst,
                                        int32_t count, int32_t line) override;
    /* 32 */ IUTagDB* CreateTagDB() override;

    // Registry.
    void LoadPlugIn(const char* path);
    void UnloadPlugIn();
    // The prototype of the first loaded plug-in that takes the format (byFormat) or the file.
    IPlugIn* GetPluginObj(const char* fileName, const char* format, bool byFormat);
    // The instance bound to a usable handle, or null. An unknown handle gets a default entry
    // that stays in the table.
    IPlugIn* GetPluginObj(int32_t handle);

    // Handles and their parameters.
    int32_t GenerateHandle();
    // With a format name the codec is chosen by name and the file need not exist.
    int32_t GetImageHandle(const char* fileName, const char* format);
    int32_t GetParameter(CParam** out, int32_t handle);
    // Takes the request into the handle's CParam first (all fields but the message procedure).
    int32_t GetParameter(CParam** out, int32_t handle, const CURequest& request);
    int32_t SetParameter(const CParam& param, int32_t handle);

    // Line reading and writing. AnalyzeRequest answers the lConvert bits that turn lines laid
    // out as file into lines laid out as request.info, or kVxErrInvalidArgument; only the
    // first character of mode counts ('r' reading, anything else writing).
    static int32_t AnalyzeRequest(const char* mode, const CUImageInfo& file,
                                  const CURequest& request);
    // Rewrites the file's line layouts into those the conversion bits produce.
    static void ConvertImageInfo(int32_t bits, CUImageInfo* info, CUImageInfo* info2);
    // Allocate bufRead/bufRead2 (logical) or bufConv/bufConv2 (converted) for the layouts;
    // info2 null or of depth 0 means no second plane. 1, or 0 with nothing left allocated.
    static int32_t CreateLogicalBuffer(CParam* p, const CUImageInfo* info,
                                       const CUImageInfo* info2);
    static int32_t CreateConvertBuffer(CParam* p, const CUImageInfo* info,
                                       const CUImageInfo* info2);
    // Reading: converts the line in bufRead into bufConv. Non-zero when bufConv holds it.
    int32_t ConvertImage(CParam* p);
    // Writing: takes the caller's line into bufRead and converts it towards the file's layout.
    // 1 when the line to hand over is in bufConv, 0 when it is in bufRead.
    int32_t ConvertImage(CParam* p, const void* line, const void* line2);

    // Inspection for tests.
    int32_t PlugInCount() const { return int32_t(vecPlugIn.size()); }
    IPlugIn* PlugInAt(int32_t index) const { return vecPlugIn.at(size_t(index)); }
    BundleLoader::BundleRef BundleAt(int32_t index) const { return vecBundle.at(size_t(index)); }
    const std::map<int32_t, CParam>& HandleTable() const { return mapParam; }

private:
    // End of a read or a write: the line buffers go, the plug-in closes.
    int32_t EndLines(int32_t handle);
    void LoadOneBundle(const std::string& path, const std::string& plugInFolder);

    std::vector<BundleLoader::BundleRef> vecBundle;  // one per loaded plug-in, load order
    std::vector<IPlugIn*> vecPlugIn;                 // prototypes, parallel to vecBundle
    std::map<int32_t, CParam> mapParam;              // the handle table
    std::string strReadingTypes;                     // cached once not empty
    std::string strWritingTypes;                     // cached once not empty
    CSData* pCS = nullptr;
};

#endif
