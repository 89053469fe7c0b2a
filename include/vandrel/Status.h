// Status codes. Results of object operations are signed 32-bit: 1 (or another positive value)
// is success, 0 a plain "no", negative values are errors built as
//   bit 31 set | severity in bits 29-30 | class in bits 16-22 | number in the low bits.
// A negative code whose severity is binary 10 is a warning: the operation went on.
#ifndef VANDREL_STATUS_H
#define VANDREL_STATUS_H

#include <cstdint>

constexpr int32_t kVxOk = 1;
constexpr int32_t kVxNo = 0;

// Image-file service: handles, registry, line reading and writing.
constexpr int32_t kVxErrNoFreeHandle = int32_t(0xE07F0000);      // 100 draws hit handles in use
constexpr int32_t kVxErrBadHandle = int32_t(0xE07F0001);         // unknown handle, missing file
constexpr int32_t kVxErrInvalidArgument = int32_t(0xE07F000C);   // bad argument or conversion
constexpr int32_t kVxErrNoPlugIn = int32_t(0xE07D000B);          // no plug-in takes file/format
constexpr int32_t kVxErrCreateInstance = int32_t(0xE0020002);    // plug-in made no instance
constexpr int32_t kVxErrLineBuffer = int32_t(0x8002000A);        // line buffer allocation
constexpr int32_t kVxErrOpenForWrite = int32_t(0xE0010004);      // plug-in could not open "w"
constexpr int32_t kVxErrFileAttributes = int32_t(0xE0010008);    // file attributes unreadable

// Codec plug-ins (shared by the plug-ins in this tree; class 0x7e means "cannot seek").
constexpr int32_t kVxErrCannotSeek = int32_t(0xE07E0001);        // source cannot seek there
constexpr int32_t kVxErrCodecOpen = int32_t(0xE0030001);         // file could not be opened
constexpr int32_t kVxErrCodecFormat = int32_t(0xE0030002);       // not a valid file of the format
constexpr int32_t kVxErrCodecData = int32_t(0xE0030003);         // undecodable data
constexpr int32_t kVxErrCodecTooLarge = int32_t(0xE0030004);     // dimensions beyond any budget
constexpr int32_t kVxErrCodecUnsupported = int32_t(0xE0030005);  // layout the codec cannot write
constexpr int32_t kVxErrCodecIO = int32_t(0xE0030006);           // read or write failed
constexpr int32_t kVxErrCodecState = int32_t(0xE0030007);        // call out of order
constexpr int32_t kVxErrCodecMemory = int32_t(0x80030008);       // codec out of memory
constexpr int32_t kVxWarnCodecData = int32_t(0xC0030001);        // recoverable damage

// Pixel conversion: the line converters answer with the service's codes under these names.
constexpr int32_t kVxErrUnsupportedDepth = kVxErrNoPlugIn;        // bits per pixel not handled
constexpr int32_t kVxErrMissingBuffer = kVxErrInvalidArgument;    // null source or destination

// Image containers.
constexpr int32_t kVxErrContainerMemory = int32_t(0x81820001);   // pieces could not be made

// Rotation.
constexpr int32_t kVxErrAccessMemory = int32_t(0x80820000);      // memory or access adapter
constexpr int32_t kVxErrRotateRequest = int32_t(0xE0FF0001);     // size, request or depth
constexpr int32_t kVxErrRotateNoLine = int32_t(0xE0FF0004);      // no output line remains
constexpr int32_t kVxErrRotateState = int32_t(0xE0FF0005);       // begun / not begun
constexpr int32_t kVxErrRotateTooLarge = int32_t(0xE0FF0006);    // output over 2 GB

// Resize object (translations of the resampling engines' own codes).
constexpr int32_t kVxErrResizeMemory = int32_t(0x81020001);      // -1000
constexpr int32_t kVxErrResizeOther = int32_t(0xE17F0000);       // any other engine code
constexpr int32_t kVxErrResizeSize = int32_t(0xE17F0002);        // -1001, method, origin
constexpr int32_t kVxErrResize1002 = int32_t(0xE17F0003);        // -1002
constexpr int32_t kVxErrResizeNullBuffer = int32_t(0xE17F0004);  // -1003
constexpr int32_t kVxErrResizeMoment = int32_t(0xE17F0005);      // -1004
constexpr int32_t kVxErrResizeState = int32_t(0xE17F0006);       // -1005, state, seek range
constexpr int32_t kVxErrResize1006 = int32_t(0xE17F0007);        // -1006
constexpr int32_t kVxErrResizeTooLarge = int32_t(0xE17F0008);    // output over 2 GB
constexpr int32_t kVxErrResize1010 = int32_t(0xE17F0009);        // -1010

// Processing macros.
constexpr int32_t kVxErrMacroEngines = int32_t(0x84020001);      // engine/container creation
constexpr int32_t kVxErrCancelled = int32_t(0xE4040006);         // callback answered < 1
constexpr int32_t kVxErrMacroUnsupported = int32_t(0xE47F0000);  // unsupported request
constexpr int32_t kVxErrMacroSetLine = int32_t(0xE47F0002);      // container refused a line
constexpr int32_t kVxErrMacroLineIO = int32_t(0xE47F0003);       // line not read or written
constexpr int32_t kVxErrMacroRotateLine = int32_t(0xE47F0004);   // rotator gave no line
constexpr int32_t kVxErrMacroSqueezeLine = int32_t(0xE47F0005);  // squeeze/trim line refused
constexpr int32_t kVxErrMacroSameLayout = int32_t(0xE47F0007);   // already in that layout
constexpr int32_t kVxErrMacroLayoutLine = int32_t(0xE47F0008);   // layout conversion line
constexpr int32_t kVxErrMacroNoImage = int32_t(0xE47F0009);      // image without lines
constexpr int32_t kVxErrMacroDiskFull = int32_t(0xE47F000A);     // page file hit a full disk
constexpr int32_t kVxErrMacroAlphaDepth = kVxErrMacroLayoutLine;  // port alpha not 8 bits

// Severity (bits 29-30) and class (bits 16-22) of a code.
constexpr int32_t VxSeverity(int32_t code) { return int32_t((uint32_t(code) & 0x60000000u) >> 29); }
constexpr int32_t VxClass(int32_t code) { return int32_t((uint32_t(code) & 0x007F0000u) >> 16); }
constexpr bool VxIsWarning(int32_t code) { return code < 0 && VxSeverity(code) == 2; }
constexpr bool VxIsFailure(int32_t code) { return code < 0 && VxSeverity(code) != 2; }
// Pipelines treat warnings as success.
constexpr bool VxSucceeded(int32_t code) { return code > 0 || VxIsWarning(code); }

static_assert(VxIsWarning(kVxWarnCodecData), "warning severity");
static_assert(VxIsFailure(kVxErrNoFreeHandle), "failure severity");
static_assert(VxIsFailure(kVxErrLineBuffer), "memory codes are failures");

#endif
