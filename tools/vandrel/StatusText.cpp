#include "StatusText.h"

#include <cstdio>

#include "vandrel/Status.h"
#include "vandrel/TagSearch.h"

namespace vxtool {
namespace {

struct NamedCode {
    int32_t code;
    const char* words;
};

// Codes that share a value (the converters reuse the service's) are named once, by the
// meaning a caller of the tool meets first.
const NamedCode kNamedCodes[] = {
    {kVxErrNoFreeHandle, "no free image handle"},
    {kVxErrBadHandle, "no such file, or the image could not be opened"},
    {kVxErrInvalidArgument, "invalid argument or request"},
    {kVxErrNoPlugIn, "no plug-in takes the file or format"},
    {kVxErrCreateInstance, "the plug-in could not start"},
    {kVxErrLineBuffer, "out of memory for line buffers"},
    {kVxErrOpenForWrite, "the writer could not start the file (folder, permissions or layout)"},
    {kVxErrFileAttributes, "file attributes unreadable"},
    {kVxErrCannotSeek, "the file cannot seek there"},
    {kVxErrCodecOpen, "the file could not be opened"},
    {kVxErrCodecFormat, "not a valid file of its format"},
    {kVxErrCodecData, "damaged or truncated image data"},
    {kVxErrCodecTooLarge, "image dimensions too large"},
    {kVxErrCodecUnsupported, "a layout the codec cannot handle"},
    {kVxErrCodecIO, "reading or writing the file failed"},
    {kVxErrCodecState, "codec called out of order"},
    {kVxErrCodecMemory, "the codec ran out of memory"},
    {kVxWarnCodecData, "recoverable damage in the image data"},
    {kVxErrContainerMemory, "out of memory or temporary space for the image"},
    {kVxErrAccessMemory, "out of memory for pixel access"},
    {kVxErrRotateRequest, "rotation request not acceptable"},
    {kVxErrRotateNoLine, "rotation produced no line"},
    {kVxErrRotateState, "rotation called out of order"},
    {kVxErrRotateTooLarge, "rotated image too large"},
    {kVxErrResizeMemory, "out of memory for resizing"},
    {kVxErrResizeOther, "resizing failed"},
    {kVxErrResizeSize, "size or method not acceptable for resizing"},
    {kVxErrResize1002, "resizing failed"},
    {kVxErrResizeNullBuffer, "resizing was given no line"},
    {kVxErrResizeMoment, "resizing called at the wrong moment"},
    {kVxErrResizeState, "resizing called out of order"},
    {kVxErrResize1006, "resizing failed"},
    {kVxErrResizeTooLarge, "resized image too large"},
    {kVxErrResize1010, "resizing failed"},
    {kVxErrMacroEngines, "out of memory for the processing engines"},
    {kVxErrCancelled, "cancelled"},
    {kVxErrMacroUnsupported, "request not supported"},
    {kVxErrMacroSetLine, "the image store refused a line"},
    {kVxErrMacroLineIO, "a line could not be read or written"},
    {kVxErrMacroRotateLine, "rotation gave no line"},
    {kVxErrMacroSqueezeLine, "a resized line could not be stored"},
    {kVxErrMacroSameLayout, "the image is already in that layout"},
    {kVxErrMacroLayoutLine, "a line could not be converted"},
    {kVxErrMacroNoImage, "the image has no lines"},
    {kVxErrMacroDiskFull, "the temporary disk is full (paging the image out failed; see TMPDIR)"},
    {kVxFtsFailed, "the tag directories could not be read"},
};

}  // namespace

std::string StatusWords(int32_t code) {
    for (const NamedCode& named : kNamedCodes) {
        if (named.code == code) return named.words;
    }
    if (VxIsWarning(code)) return "warning";
    return code > 0 ? "success" : "status";
}

std::string DescribeStatus(int32_t code) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%08X", unsigned(code));
    return StatusWords(code) + " (" + hex + ")";
}

}  // namespace vxtool
