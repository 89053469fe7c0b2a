// The image-file service: plug-in registry, image handles, line reading and writing, status
// queries and the line converters. Made by CreateVandrel, released by Delete().
// One service object (and everything made from it) is used by one thread at a time.
#ifndef VANDREL_VANDRELIF_H
#define VANDREL_VANDRELIF_H

#include <cstdint>

#include "vandrel/Export.h"
#include "vandrel/Records.h"
#include "vandrel/Status.h"

class IUTagDB;

class IVandrelIF {
public:
    /* 0 */ virtual void Delete() = 0;
    /* 1 */ virtual int32_t AddPlugInPath(const char* path) = 0;
    /* 2 */ virtual const char* GetSupportedReadingType() = 0;  // " A B": each entry after a space
    /* 3 */ virtual const char* GetSupportedWritingType() = 0;  // "A B ": each entry then a space
    /* 4 */ virtual int32_t AddExtensionName(const char* format, const char* ext) = 0;
    /* 5 */ virtual const char* GetExtensionName(const char* format) = 0;
    /* 6 */ virtual const char* GetDecoderVersion(const char* format) = 0;
    /* 7 */ virtual int32_t GetImageHandle(const char* fileName) = 0;
    /* 8 */ virtual int32_t DeleteImageHandle(int32_t handle) = 0;
    /* 9 */ virtual int32_t GetFileInfo(const char* fileName, CUFileInfo* info) = 0;
    /* 10 */ virtual int32_t GetFileStatus(const char* fileName, CUImageFileStatus* status) = 0;
    /* 11 */ virtual int32_t GetFileStatus(int32_t handle, CUImageFileStatus* status) = 0;
    /* 12 */ virtual int32_t GetCameraInfo(const char* fileName, CUCameraInfo* info) = 0;
    /* 13 */ virtual int32_t GetCameraInfo(int32_t handle, CUCameraInfo* info) = 0;
    /* 14 */ virtual int32_t BeginReadLine(int32_t handle, const CURequest& request, CUImageInfo* info,
                                           CUImageInfo* info2) = 0;
    /* 15 */ virtual int32_t ReadLine(int32_t handle, void** line, void** line2) = 0;
    /* 16 */ virtual int32_t ReadLine(int32_t handle, void* line, void* line2) = 0;
    /* 17 */ virtual int32_t EndReadLine(int32_t handle) = 0;
    /* 18 */ virtual int32_t SeekLine(int32_t handle, int32_t line, int origin) = 0;
    /* 19 */ virtual int32_t BeginWriteLine(const char* fileName, const CURequest& request,
                                            const CUImageInfo* info, const CUImageInfo* info2) = 0;
    /* 20 */ virtual int32_t WriteLine(int32_t handle, const void* line, const void* line2) = 0;
    /* 21 */ virtual int32_t EndWriteLine(int32_t handle) = 0;
    /* 22 */ virtual int32_t ConvertYccToRgb(void* dst, void* src, const CUImageInfo& info) = 0;
    /* 23 */ virtual int32_t ConvertRgbToYcc(void* dst, void* src, const CUImageInfo& info) = 0;
    /* 24 */ virtual int32_t ConvertNativeToLogical(void* dst, const unsigned char* src,
                                                    const CUImageInfo& info) = 0;
    /* 25 */ virtual int32_t ConvertLogicalToNative(unsigned char* dst, const void* src,
                                                    const CUImageInfo& info, int32_t line) = 0;
    /* 26 */ virtual int32_t Convert8To16(const unsigned char* src, unsigned short* dst,
                                          int32_t count) = 0;
    /* 27 */ virtual int32_t Convert16To8(const unsigned short* src, unsigned char* dst,
                                          int32_t count, int32_t channels, int32_t line) = 0;
    /* 28 */ virtual int32_t ConvertRgb8ToYcc16(const unsigned char* src, unsigned short* dst,
                                                int32_t count) = 0;
    /* 29 */ virtual int32_t ConvertRgb16ToYcc8(const unsigned short* src, unsigned char* dst,
                                                int32_t count, int32_t line) = 0;
    /* 30 */ virtual int32_t ConvertYcc8ToRgb16(const unsigned char* src, unsigned short* dst,
                                                int32_t count) = 0;
    /* 31 */ virtual int32_t ConvertYcc16ToRgb8(const unsigned short* src, unsigned char* dst,
                                                int32_t count, int32_t line) = 0;
    /* 32 */ virtual IUTagDB* CreateTagDB() = 0;
    /* 33, 34 */ virtual ~IVandrelIF() = default;
};

// Makes the service and loads the plug-ins found at plugInPath (a module or a folder; null
// loads none). Null when the object cannot be made.
VX_EXTERN_C VX_API IVandrelIF* CreateVandrel(const char* plugInPath);

#endif
