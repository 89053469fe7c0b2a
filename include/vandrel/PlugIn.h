// The codec boundary. A plug-in is a shared object in the plug-in folder exporting
//   extern "C" IPlugIn* CreatePlugIn();
// which returns its prototype. The prototype answers selection questions and makes one
// instance per opened image. A result of exactly 1 means yes/success; negative results are
// status codes (Status.h) passed on to the caller unchanged. Slots are only ever appended.
#ifndef VANDREL_PLUGIN_H
#define VANDREL_PLUGIN_H

#include <cstdint>

#include "vandrel/Records.h"

class IUTagDB;

class IPlugIn {
public:
    /* 0 */ virtual void Delete() = 0;
    /* 1 */ virtual IPlugIn* CreateInstance() = 0;                 // prototype; null = failure
    /* 2 */ virtual void Initialize(const char* plugInFolder) = 0;  // prototype; ends with "/"
    /* 3 */ virtual int32_t IsSupportedFile(const char* fileName) = 0;
    /* 4 */ virtual int32_t IsSupportedFormat(const char* formatName) = 0;
    /* 5 */ virtual const char* GetReadingType() = 0;  // never null
    /* 6 */ virtual const char* GetWritingType() = 0;  // null = writes nothing
    /* 7 */ virtual void SetFileName(const char* fileName) = 0;
    /* 8 */ virtual const char* GetFileName() = 0;
    /* 9 */ virtual int32_t IsReady() = 0;
    /* 10 */ virtual int32_t GetProperty(int32_t id, void* value) = 0;        // plug-in's own
    /* 11 */ virtual int32_t SetProperty(int32_t id, const void* value) = 0;  // plug-in's own
    /* 12 */ virtual int32_t GetFileStatus(CUImageFileStatus* status) = 0;
    /* 13 */ virtual int32_t GetCameraInfo(CUCameraInfo* info) = 0;
    /* 14 */ virtual int32_t SetRequest(const CURequest& request, const CUImageFileStatus& status) = 0;
    /* 15 */ virtual int32_t AddExtensionName(const char* ext) = 0;
    /* 16 */ virtual const char* GetExtensionName() = 0;  // ";"-terminated list
    /* 17 */ virtual const char* GetDecoderVersion() = 0;
    /* 18 */ virtual int32_t Reserved18() = 0;  // plug-in's own
    /* 19 */ virtual int32_t Open(const char* mode) = 0;  // "r" or "w"
    /* 20 */ virtual int32_t ReadLine(void* line, void* line2) = 0;
    /* 21 */ virtual int32_t WriteLine(const void* line, const void* line2) = 0;
    /* 22 */ virtual int32_t SeekLine(int32_t line, int origin) = 0;
    /* 23 */ virtual int32_t Close() = 0;
    /* 24 */ virtual IUTagDB* CreateTagDB() = 0;  // prototype; null = none

protected:
    // Objects die through Delete(), in the module that made them.
    virtual ~IPlugIn() = default;
};

// The entry point a plug-in module exports.
extern "C" {
typedef IPlugIn* (*VxCreatePlugInProc)();
}
constexpr const char* kVxPlugInEntryPoint = "CreatePlugIn";

#endif
