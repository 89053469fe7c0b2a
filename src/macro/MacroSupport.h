// Small helpers the macro's pipelines share: container facts, line layouts and the guard that
// turns an escaping allocation failure into a status code.
#ifndef VANDREL_MACRO_MACROSUPPORT_H
#define VANDREL_MACRO_MACROSUPPORT_H

#include <strings.h>

#include <cerrno>
#include <vector>

#include "vandrel/Records.h"
#include "vandrel/Status.h"
#include "vandrel/UtilContainerIF.h"

namespace vxmacro {

inline bool HoldsImage(const IUtilContainerIF* container) {
    return container != nullptr && container->hasImage() != 0;
}

inline CUImageInfo InfoOf(const IUtilContainerIF* container) {
    CUImageInfo info;
    container->GetImageInfo(info);
    return info;
}

// The layout of info at another size, with the padded line size.
inline CUImageInfo Resized(CUImageInfo info, int32_t width, int32_t height) {
    info.lWidth = width;
    info.lHeight = height;
    info.lRowBytes = VxPaddedRowBytes(width, info.lColorDepth);
    return info;
}

// One line of the layout, padded to whole 32-bit words.
inline std::vector<unsigned char> LineBuffer(const CUImageInfo& info) {
    return std::vector<unsigned char>(size_t(VxPaddedRowBytes(info.lWidth, info.lColorDepth)));
}

// Empties the containers a failed operation had started to fill.
inline void ClearIfFailed(int32_t status, IUtilContainerIF* image, IUtilContainerIF* alpha) {
    if (VxSucceeded(status)) return;
    if (image != nullptr) image->Clear();
    if (alpha != nullptr) alpha->Clear();
}

// Stores a whole line into a destination container: 1, or the pipeline's code for a refused
// line. A container refuses without saying why; when the page write stopped on a full disk (or
// the file-size limit), errno says so, and the caller gets kVxErrMacroDiskFull instead, so
// that the fix (room in the temporary folder) can be named.
inline int32_t StoreLine(IUtilContainerIF* dst, const void* line, int32_t y, int32_t refused) {
    errno = 0;
    if (dst->SetLine(line, y, 0, -1) != 0) return 1;
    return errno == ENOSPC || errno == EFBIG ? kVxErrMacroDiskFull : refused;
}

// The pick-pixels shrink, named in any letter case.
inline bool IsSqueeze(const CURequest& request) {
    return ::strcasecmp(request.strResizeMethod, "Squeeze") == 0;
}

// Runs body; memory exhaustion inside becomes kVxErrMacroEngines, never an exception.
template <typename Body>
int32_t Guarded(Body body) {
    try {
        return body();
    } catch (...) {
        return kVxErrMacroEngines;
    }
}

}  // namespace vxmacro

#endif
