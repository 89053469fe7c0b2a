#include "PlugInDecode.h"

#include <vector>

#include "vandrel/Status.h"

namespace vxtool {
namespace {

constexpr int kCachedPieces = 1000;
constexpr int kPieceSize = 128;

// Reads every line of an open reader into the containers; alpha may be null.
int32_t CopyLines(IPlugIn* reader, const CUImageFileStatus& status, IUtilContainerIF* image,
                  IUtilContainerIF* alpha) {
    std::vector<unsigned char> line(size_t(VxPaddedRowBytes(status.info.lWidth, 64)));
    std::vector<unsigned char> alphaLine(
        alpha != nullptr ? size_t(VxPaddedRowBytes(status.info2.lWidth, 16)) : 0);
    int32_t warning = 1;
    for (int32_t y = 0; y < status.info.lHeight; ++y) {
        const int32_t read = reader->ReadLine(line.data(), alpha ? alphaLine.data() : nullptr);
        if (VxIsFailure(read)) return read;
        if (VxIsWarning(read) && warning == 1) warning = read;
        if (image->SetLine(line.data(), y, 0, -1) != 1) return kVxErrMacroSetLine;
        if (alpha != nullptr && alpha->SetLine(alphaLine.data(), y, 0, -1) != 1)
            return kVxErrMacroSetLine;
    }
    return warning;
}

}  // namespace

int32_t DecodeThroughPlugIn(const CPlugInShelf& shelf, const std::string& path,
                            IMessageProc* listener, IUtilContainerIF* image,
                            IUtilContainerIF* alpha) {
    PlugInPtr reader = shelf.ReaderFor(path);
    if (!reader) return kVxErrNoPlugIn;
    CUImageFileStatus status;
    const int32_t header = reader->GetFileStatus(&status);
    if (VxIsFailure(header)) return header;
    const bool withAlpha = alpha != nullptr && status.info2.lColorDepth > 0;
    CUImageInfo info = status.info;
    info.lRowBytes = 0;
    CUImageInfo alphaInfo = status.info2;
    alphaInfo.lRowBytes = 0;
    if (image->Create(info, kCachedPieces, kPieceSize) < 1 ||
        (withAlpha && alpha->Create(alphaInfo, kCachedPieces, kPieceSize) < 1))
        return kVxErrMacroEngines;
    CURequest request;
    request.info = status.info;
    request.pMessageProc = listener;
    request.lOption1 = withAlpha ? 0 : 1;  // the alpha plane is skipped when nobody wants it
    int32_t result = reader->SetRequest(request, status);
    if (VxIsFailure(result)) return result;
    result = reader->Open("r");
    if (VxIsFailure(result)) return result;
    const int32_t lines = CopyLines(reader.get(), status, image, withAlpha ? alpha : nullptr);
    reader->Close();
    if (VxIsFailure(lines)) return lines;
    return VxIsWarning(header) ? header : VxIsWarning(result) ? result : lines;
}

}  // namespace vxtool
