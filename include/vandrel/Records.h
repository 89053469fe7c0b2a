// The plain records every subsystem passes around. They hold no heap-owned text: each text
// field is a fixed 1024-byte ministring, so a record copies byte for byte and crosses the
// plug-in boundary unchanged.
#ifndef VANDREL_RECORDS_H
#define VANDREL_RECORDS_H

#include <cctype>
#include <cstdint>
#include <cstring>
#include <new>

#include "vandrel/Assert.h"

class IPlugIn;
class IUTagDB;
class IMessageProc;
class CUtilParamArray;

// Fixed-capacity text: at most 1023 characters, always terminated.
class ministring {
public:
    static constexpr int32_t kCapacity = 1024;

    ministring() { m_text[0] = 0; }
    ministring(const char* text) { assign(text); }  // NOLINT: records are built from literals
    virtual ~ministring() = default;
    ministring(const ministring&) = default;
    ministring& operator=(const ministring&) = default;
    ministring& operator=(const char* text) {
        assign(text);
        return *this;
    }

    void assign(const char* text) {
        if (text == nullptr) text = "";
        std::strncpy(m_text, text, kCapacity - 1);
        m_text[kCapacity - 1] = 0;
    }
    // Appends as much of text as fits.
    void append(const char* text) {
        if (text == nullptr) return;
        size_t used = std::strlen(m_text);
        std::strncpy(m_text + used, text, kCapacity - 1 - used);
        m_text[kCapacity - 1] = 0;
    }
    void clear() { m_text[0] = 0; }
    const char* c_str() const { return m_text; }
    char* data() { return m_text; }
    size_t size() const { return std::strlen(m_text); }
    bool empty() const { return m_text[0] == 0; }
    operator const char*() const { return m_text; }  // NOLINT: reads like the C text it is

private:
    char m_text[kCapacity];
};

// Colour-space names compare upper-cased and only as whole words of equal length:
// "ycc" is "YCC", "YCCK" is not.
inline bool VxSameColorSpace(const char* a, const char* b) {
    if (a == nullptr || b == nullptr) return false;
    size_t n = std::strlen(a);
    if (n != std::strlen(b)) return false;
    for (size_t i = 0; i < n; ++i) {
        if (std::toupper(static_cast<unsigned char>(a[i])) !=
            std::toupper(static_cast<unsigned char>(b[i])))
            return false;
    }
    return true;
}

// Lines are padded to whole 32-bit words.
inline int32_t VxPaddedRowBytes(int32_t width, int32_t bitsPerPixel) {
    return int32_t(((int64_t(width) * bitsPerPixel + 31) >> 5) * 4);
}

// One image, or one line layout.
class CUImageInfo {
public:
    int32_t lWidth = 0;       // pixels per line; in a request 0 = the file's width
    int32_t lRowBytes = 0;    // bytes per line; below 1 = not given (see RowBytes())
    int32_t lHeight = 0;      // lines; in a request 0 = the file's height
    int32_t lColorDepth = 24; // bits per whole pixel
    int32_t bNative = 0;      // 1 = the 32-bit native layout (0/alpha, R, G, B)
    ministring strColorSpace{"RGB"};  // "RGB" or "YCC"

    // The line size in force: the given one, or the padded size when none is given.
    int32_t RowBytes() const {
        return lRowBytes >= 1 ? lRowBytes : VxPaddedRowBytes(lWidth, lColorDepth);
    }
    bool IsColorSpace(const char* name) const { return VxSameColorSpace(strColorSpace, name); }
};

// What a caller wants done with an image.
class CURequest {
public:
    CUImageInfo info;                 // wanted size (0 = as the file), depth, layout, space
    double dAngle = 0.0;              // rotation in degrees; non-zero asks for rotation
    int32_t lQuality = 75;            // codec setting, also read by the rotation engine
    int32_t lOption1 = 0;             // decode: skip the alpha plane when non-zero
    int32_t lBKColor = 0;             // background 0x00BBGGRR for areas rotation uncovers
    int32_t bSubImage = 0;            // 1 = read the file's third image (status info3)
    int32_t lOption3 = 0;             // encode: the source carries an alpha plane
    ministring strResizeMethod{"Nearest"};  // "Nearest", "Bilinear", "Bicubic", "Quorix"
    ministring strFormatName;         // format to write; chooses the codec by name
    ministring strOption2;            // free text carried with the request
    int32_t lOption4 = 0;
    CUtilParamArray* pParamList = nullptr;  // caller's parameter list, null = none
    int32_t lOption6 = 1;
    int32_t lOption7 = 0;
    double dOption8 = 0.0;
    int32_t lOption9 = 0;
    int32_t lOption10 = 1;
    IMessageProc* pMessageProc = nullptr;  // receives a codec's progress messages

    // Copy construction and assignment copy every field, pMessageProc included; only
    // CParam's assignment from a request keeps its own message procedure.
    int32_t AlphaSkip() const { return lOption1; }
    int32_t HasAlphaSource() const { return lOption3; }
};

// One line buffer of a handle. Its owner frees it explicitly (CParam::DeleteBuffer); dying
// while still owning storage is a broken invariant.
class CImageLineBuf {
public:
    CUImageInfo info;
    unsigned char* pBuffer = nullptr;
    int32_t bAlloc = 0;  // 1 when pBuffer came from Create and must be freed by its owner

    CImageLineBuf() = default;
    CImageLineBuf(const CImageLineBuf&) = default;
    CImageLineBuf& operator=(const CImageLineBuf&) = default;
    ~CImageLineBuf() {
        if (bAlloc != 0)
            vandrel::FatalAssertion("Sources/Source/UtilInternalCommon", 145, "bAlloc == false");
    }

    // 1 on success, 0 when already owning storage, size below 1, or out of memory.
    int32_t Create(int32_t size) {
        if (bAlloc == 1 || size < 1) return 0;
        unsigned char* p = new (std::nothrow) unsigned char[size];
        if (p == nullptr) return 0;
        pBuffer = p;
        bAlloc = 1;
        return 1;
    }
    // Frees owned storage; storage owned by someone else is left alone.
    void Release() {
        if (bAlloc == 1) {
            delete[] pBuffer;
            bAlloc = 0;
            pBuffer = nullptr;
        }
    }
};

// File-level facts of GetFileInfo; the leading 36 bytes of CUImageFileStatus.
class CUFileInfo {
public:
    int32_t lCreateTime = 0;    // seconds since 1970
    int32_t lAccessTime = 0;    // the modification time when the file layer has no access time
    int32_t lModifyTime = 0;
    int32_t lSize = 0;          // bytes
    uint16_t wPermissions = 0;  // POSIX permission bits
    int32_t lShootingTime = 0;  // from the Exif date, seconds, local time
    uint16_t wOrientation = 0;  // Exif orientation, 0 when none
    int32_t lReserved1 = 0;
    int32_t lReserved2 = 0;

    // Two records describe the same file version when they agree in all fields but the
    // access time and the two reserved ones.
    bool SameVersionAs(const CUFileInfo& o) const {
        return lCreateTime == o.lCreateTime && lModifyTime == o.lModifyTime && lSize == o.lSize &&
               wPermissions == o.wPermissions && lShootingTime == o.lShootingTime &&
               wOrientation == o.wOrientation;
    }
};
static_assert(sizeof(CUFileInfo) == 36, "CUFileInfo is copied as one 36-byte block");

// The status of one image file as its codec reports it.
class CUImageFileStatus {
public:
    CUFileInfo fileInfo;
    CUImageInfo info;   // the main image as stored
    CUImageInfo info2;  // the second (alpha) plane; lColorDepth 0 when the file has none
    CUImageInfo info3;  // a third image (e.g. an embedded preview)
    ministring strFormat;
    ministring strOption;
    int32_t lValue1 = 24;  // a colour depth in bits
    int32_t lValue2 = 1;
    int32_t lValue3 = 0;
    int32_t lValue4 = 0;
    int32_t lValue5 = 1;
    int32_t lValue6 = 0;
    int32_t lValue7 = 1;
    int32_t lValue8 = 0;
};

// Camera and colour information. The leading fields are the plug-in's; the service reads the
// colour fields and computes lColorResult and lColorSource.
class CUCameraInfo {
public:
    ministring strMaker;         // Exif 0x010F
    ministring strModel;         // Exif 0x0110
    ministring strDateTime;      // Exif 0x9003 as stored
    int32_t lOrientation = 0;    // Exif 0x0112, 0 when none
    int32_t lExifWidth = 0;      // Exif 0xA002
    int32_t lExifHeight = 0;     // Exif 0xA003
    int32_t bColorFlag1 = 0;     // 1: the file is known to be wide-gamut (result 4)
    int32_t bColorFlag2 = 0;     // 1: the file is known to be Adobe RGB-like (result 3)
    int32_t bCameraData = 0;     // non-zero when the file carries camera data
    int32_t lCameraMode = 0;     // 1 is acted on
    int32_t lReserved1 = 0;
    int32_t lColorCode = 0;      // colour-space code of the camera data (2, 3, 4 acted on)
    IUTagDB* pTagDB = nullptr;   // the file's tag database, owned by the plug-in instance
    int32_t lReserved2 = 0;
    int32_t lColorResult = 0;    // computed by GetCameraInfo
    int32_t lColorSource = 0;    // computed by GetCameraInfo
};

// lConvert bits of CParam, set when a read or write begins.
constexpr int32_t kVxConvLogicalToNative = 1;  // file logical, caller native
constexpr int32_t kVxConvNativeToLogical = 2;  // file native, caller logical
constexpr int32_t kVxConvWiden = 4;            // caller's depth greater (24 -> 48)
constexpr int32_t kVxConvNarrow = 8;           // caller's depth smaller (48 -> 24)
constexpr int32_t kVxConvRgbToYcc = 16;        // file RGB, caller YCC
constexpr int32_t kVxConvYccToRgb = 32;        // file YCC, caller RGB

// Everything the service keeps for one image handle.
class CParam {
public:
    CURequest request;
    IPlugIn* pPlugIn = nullptr;
    CUImageFileStatus status;
    int32_t lConvert = 0;
    int32_t lLine = 0;
    CImageLineBuf bufRead;   // main plane as exchanged with the plug-in
    CImageLineBuf bufRead2;  // second plane as exchanged with the plug-in
    CImageLineBuf bufConv;   // main plane in the caller's layout
    CImageLineBuf bufConv2;  // second plane in the caller's layout

    CParam() = default;
    // Copy construction copies everything, ownership flags included.
    CParam(const CParam&) = default;

    // Takes every request field but the message procedure, which stays as it was.
    CParam& operator=(const CURequest& r) {
        IMessageProc* keep = request.pMessageProc;
        request = r;
        request.pMessageProc = keep;
        return *this;
    }
    // Refers to the source's buffers without taking ownership: the ownership flags stay.
    CParam& operator=(const CParam& o) {
        if (this == &o) return *this;
        CURequest copy(o.request);
        *this = copy;
        pPlugIn = o.pPlugIn;
        status = o.status;
        AdoptBuffer(bufRead, o.bufRead);
        AdoptBuffer(bufRead2, o.bufRead2);
        AdoptBuffer(bufConv, o.bufConv);
        AdoptBuffer(bufConv2, o.bufConv2);
        return *this;
    }

    int32_t DeleteBuffer() {
        bufRead.Release();
        bufRead2.Release();
        bufConv.Release();
        bufConv2.Release();
        return 1;
    }

private:
    static void AdoptBuffer(CImageLineBuf& dst, const CImageLineBuf& src) {
        dst.info = src.info;
        dst.pBuffer = src.pBuffer;
    }
};

#endif
