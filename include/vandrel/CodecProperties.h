// Properties the codec plug-ins of this tree answer through IPlugIn::GetProperty (slot 10) and
// IPlugIn::SetProperty (slot 11). They carry what the line interface has no room for: the
// colour profile and the camera metadata, the decoder's memory budget, decoding at a reduced
// scale and the writers' own settings.
//
// Results: 1 = done; 0 = this plug-in does not know the property, or (GetProperty of a block)
// the file has no such block; a negative status code = the value is not acceptable
// (kVxErrInvalidArgument) or the instance is in the wrong state (kVxErrCodecState).
// A plug-in that never sets a property behaves exactly as it would without this header.
//
// Reaching an instance the service made. The service keeps its plug-in instances to itself,
// so a caller who works through IVandrelIF or the macro object hands properties to them in the
// request's parameter list (CURequest::pParamList): every entry made by VxPropertyEntry() is
// applied by the plug-ins of this tree as SetProperty(id, value) when the request reaches them
// (SetRequest, i.e. in BeginReadLine and BeginWriteLine). Values must stay valid until the
// call that carries the request returns. Properties that change what GetFileStatus reports
// (kVxPropShrinkFactor) must be set on an instance the caller made itself, before
// GetFileStatus.
#ifndef VANDREL_CODECPROPERTIES_H
#define VANDREL_CODECPROPERTIES_H

#include <cstdint>

#include "vandrel/UtilParam.h"

// A run of bytes. From GetProperty the bytes belong to the instance and stay valid until it is
// deleted or asked for the same property again; SetProperty copies them.
struct VxByteBlock {
    const unsigned char* data = nullptr;
    uint32_t size = 0;
};

// Property ids and the type their value points at.
enum VxCodecProperty : int32_t {
    // Metadata. Get: on a reader instance once GetFileStatus has succeeded. Set: on a writer
    // instance before Open("w"); a format that cannot hold the block answers 0.
    kVxPropIccProfile = 0x100,  // VxByteBlock: the ICC profile, whole
    kVxPropExif = 0x101,        // VxByteBlock: TIFF-structured Exif, from "II*\0" or "MM\0*"
                                // (no "Exif\0\0" prefix)
    kVxPropXmp = 0x102,         // VxByteBlock: the XMP packet (UTF-8 XML)
    // Get, int32_t: 1 when the decoder already turned the pixels upright (the format applies
    // its own orientation, as HEIF does), so a caller must not apply the Exif orientation again.
    kVxPropOrientationApplied = 0x110,

    // Decoding. Set before GetFileStatus.
    // int64_t: bytes the decoder may hold at once for one image (0 = the plug-in's default,
    // kVxDefaultMemoryBudget). A file that needs more fails with kVxErrCodecTooLarge.
    kVxPropMemoryBudget = 0x200,
    // int32_t: decode at 1/N of the stored size, N = 1, 2, 4 or 8, where the codec can do so
    // cheaply (JPEG's scaled DCT); GetFileStatus then reports the reduced size and ReadLine
    // delivers it. A codec that cannot scale answers 0 and decodes at full size. Get answers
    // the factor in force.
    kVxPropShrinkFactor = 0x201,

    // Encoding. Set before Open("w").
    kVxPropCompression = 0x300,  // int32_t: PNG zlib level 0-9; TIFF one of VxTiffCompression
    kVxPropProgressive = 0x301,  // int32_t: 1 = progressive JPEG
    kVxPropSubsampling = 0x302,  // int32_t: JPEG chroma subsampling 444, 422 or 420
    kVxPropLossless = 0x303,     // int32_t: 1 = lossless (WebP)
    kVxPropSampleBits = 0x304,   // int32_t: bits per sample written (AVIF 8, 10 or 12)
};

enum VxTiffCompression : int32_t {
    kVxTiffNone = 1,
    kVxTiffLzw = 5,
    kVxTiffJpeg = 7,
    kVxTiffDeflate = 8,
};

// What a decoder may hold for one image when nobody said otherwise: 1 GiB.
constexpr int64_t kVxDefaultMemoryBudget = int64_t(1) << 30;

// The parameter-list entry that carries one property through the service: lKey marks it,
// lType is the property id, lValue1/lValue2 the low and high halves of the value's address.
constexpr int32_t kVxParamProperty = 0x50524F50;  // 'PROP'

inline CKeyTypeValue VxPropertyEntry(int32_t id, const void* value) {
    CKeyTypeValue entry;
    const uint64_t address = reinterpret_cast<uintptr_t>(value);
    entry.lKey = kVxParamProperty;
    entry.lType = id;
    entry.lValue1 = int32_t(uint32_t(address));
    entry.lValue2 = int32_t(uint32_t(address >> 32));
    entry.strName = "property";
    return entry;
}

// The value address of a property entry, or null when the entry is not one.
inline const void* VxPropertyValue(const CKeyTypeValue& entry) {
    if (entry.lKey != kVxParamProperty) return nullptr;
    const uint64_t address =
        uint64_t(uint32_t(entry.lValue1)) | (uint64_t(uint32_t(entry.lValue2)) << 32);
    return reinterpret_cast<const void*>(uintptr_t(address));
}

#endif
