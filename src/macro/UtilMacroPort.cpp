// Drawing into a graphics port: a file (or an open handle) decoded with TrimmingDecode, or a
// container, drawn into a 32-bit offscreen world; the alpha plane goes into the first byte of
// every port pixel. Writing from a port is not supported.
#include <cstdint>
#include <cstring>
#include <memory>

#include "macro/MacroSupport.h"
#include "macro/TempContainers.h"
#include "macro/UtilMacro.h"
#include "vandrel/GraphicsPort.h"

using namespace vxmacro;

namespace {

constexpr int32_t kPortDepth = 32;
constexpr int32_t kPortPixelBytes = 4;
constexpr int32_t kAlphaDepth = 8;

struct WorldDisposer {
    void operator()(OpaqueGrafPtr* world) const { DisposeGWorld(world); }
};
using WorldPtr = std::unique_ptr<OpaqueGrafPtr, WorldDisposer>;

// A temporary world of depth over (0, 0, width, height); null when it cannot be made.
WorldPtr TemporaryWorld(int32_t depth, int32_t width, int32_t height) {
    Rect bounds;
    SetRect(&bounds, 0, 0, width, height);
    OpaqueGrafPtr* world = nullptr;
    if (NewGWorld(&world, depth, &bounds, useTempMem) != noErr) return nullptr;
    return WorldPtr(world);
}

bool IsThirtyTwoBitPort(OpaqueGrafPtr* port) {
    PixMapHandle pixMap = GetGWorldPixMap(port);
    return pixMap != nullptr && pixMap->pixelSize == kPortDepth;
}

// Pixels stay pinned while a drawing writes them directly.
class PixelLock {
public:
    explicit PixelLock(PixMapHandle pixMap) : m_pixMap(pixMap) { LockPixels(m_pixMap); }
    ~PixelLock() { UnlockPixels(m_pixMap); }
    PixelLock(const PixelLock&) = delete;
    PixelLock& operator=(const PixelLock&) = delete;

private:
    PixMapHandle m_pixMap;
};

int32_t Width(const Rect& r) {
    return r.right - r.left;
}
int32_t Height(const Rect& r) {
    return r.bottom - r.top;
}

bool CornersInside(const Rect& r, const Rect& bounds) {
    Point topLeft, bottomRight;
    SetPt(&topLeft, r.left, r.top);
    SetPt(&bottomRight, r.right, r.bottom);
    return PtInRect(topLeft, &bounds) && PtInRect(bottomRight, &bounds);
}

bool Contains(const Rect& outer, const Rect& inner) {
    return inner.left >= outer.left && inner.top >= outer.top && inner.right <= outer.right &&
           inner.bottom <= outer.bottom;
}

// The two rectangles of a drawing, checked against an image of width x height and the port:
// both must have their corners in (0, 0, width + 1, height + 1), so that an edge may lie on the
// image's right or bottom border, must not be empty, and the destination must lie in the port.
bool AreDrawable(const Rect& source, const Rect& destination, int32_t width, int32_t height,
                 OpaqueGrafPtr* port) {
    Rect bounds;
    SetRect(&bounds, 0, 0, width + 1, height + 1);
    if (!CornersInside(source, bounds) || !CornersInside(destination, bounds)) return false;
    if (Width(source) < 1 || Height(source) < 1 || Width(destination) < 1 ||
        Height(destination) < 1)
        return false;
    return Contains(GetGWorldPixMap(port)->bounds, destination);
}

// The first byte of pixel (x, y) of a pixel map, in the map's own coordinates.
char* PixelAddress(PixMapHandle pixMap, int32_t x, int32_t y, int32_t pixelBytes) {
    return GetPixBaseAddr(pixMap) + int64_t(y - pixMap->bounds.top) * GetPixRowBytes(pixMap) +
           int64_t(x - pixMap->bounds.left) * pixelBytes;
}

// Stores count alpha samples into the alpha byte of count 32-bit port pixels.
void StoreAlpha(const unsigned char* alpha, char* portRow, int32_t count) {
    for (int32_t x = 0; x < count; ++x)
        portRow[int64_t(x) * kPortPixelBytes] = char(alpha[x]);
}

// Copies the source rectangle's lines of a container into the rows of a world whose bounds
// are the rectangle's size.
int32_t FillWorld(const IUtilContainerIF* container, const Rect& source, OpaqueGrafPtr* world,
                  int32_t pixelBytes) {
    PixMapHandle pixMap = GetGWorldPixMap(world);
    const int32_t width = Width(source);
    for (int32_t y = 0; y < Height(source); ++y) {
        const void* line = container->GetLine(source.top + y, source.left, width);
        if (line == nullptr) return kVxErrMacroLineIO;
        std::memcpy(PixelAddress(pixMap, 0, y, pixelBytes), line, size_t(width) * pixelBytes);
    }
    return 1;
}

// Same size: lines move straight from the containers into the port.
int32_t DrawUnscaled(const IUtilContainerIF* image, const IUtilContainerIF* alpha,
                     OpaqueGrafPtr* port, const Rect& source, const Rect& destination) {
    PixMapHandle pixMap = GetGWorldPixMap(port);
    PixelLock lock(pixMap);
    const int32_t width = Width(source);
    for (int32_t y = 0; y < Height(source); ++y) {
        char* row = PixelAddress(pixMap, destination.left, destination.top + y, kPortPixelBytes);
        const void* line = image->GetLine(source.top + y, source.left, width);
        if (line == nullptr) return kVxErrMacroLineIO;
        std::memcpy(row, line, size_t(width) * kPortPixelBytes);
        if (alpha == nullptr) continue;
        const void* alphaLine = alpha->GetLine(source.top + y, source.left, width);
        if (alphaLine == nullptr) return kVxErrMacroLineIO;
        StoreAlpha(static_cast<const unsigned char*>(alphaLine), row, width);
    }
    return 1;
}

// Different sizes: the source rectangle goes through a temporary world that CopyBits scales
// onto the port; the alpha plane is scaled the same way in 8-bit worlds and then stored.
int32_t DrawScaled(const IUtilContainerIF* image, const IUtilContainerIF* alpha,
                   OpaqueGrafPtr* port, const Rect& source, const Rect& destination) {
    Rect sourceArea, destinationArea;
    SetRect(&sourceArea, 0, 0, Width(source), Height(source));
    SetRect(&destinationArea, destination.left, destination.top, destination.right,
            destination.bottom);
    OffsetRect(&destinationArea, -destination.left, -destination.top);

    // Every temporary is made before the port is touched, so a lack of memory draws nothing.
    WorldPtr picture = TemporaryWorld(kPortDepth, Width(source), Height(source));
    WorldPtr alphaSource, alphaScaled;
    if (alpha != nullptr) {
        alphaSource = TemporaryWorld(kAlphaDepth, Width(source), Height(source));
        alphaScaled = TemporaryWorld(kAlphaDepth, Width(destination), Height(destination));
    }
    if (picture == nullptr ||
        (alpha != nullptr && (alphaSource == nullptr || alphaScaled == nullptr)))
        return kVxErrMacroEngines;
    int32_t r = FillWorld(image, source, picture.get(), kPortPixelBytes);
    if (r < 1) return r;
    if (alpha != nullptr) {
        r = FillWorld(alpha, source, alphaSource.get(), 1);
        if (r < 1) return r;
        if (CopyBits(GetPortBitMapForCopyBits(alphaSource.get()),
                     GetPortBitMapForCopyBits(alphaScaled.get()), &sourceArea, &destinationArea,
                     srcCopy, nullptr) != noErr)
            return kVxErrMacroUnsupported;
    }
    PixMapHandle pixMap = GetGWorldPixMap(port);
    PixelLock lock(pixMap);
    if (CopyBits(GetPortBitMapForCopyBits(picture.get()), GetPortBitMapForCopyBits(port),
                 &sourceArea, &destination, srcCopy, nullptr) != noErr)
        return kVxErrMacroUnsupported;
    if (alpha == nullptr) return 1;
    PixMapHandle scaled = GetGWorldPixMap(alphaScaled.get());
    for (int32_t y = 0; y < Height(destination); ++y) {
        const auto* samples = reinterpret_cast<const unsigned char*>(PixelAddress(scaled, 0, y, 1));
        StoreAlpha(samples,
                   PixelAddress(pixMap, destination.left, destination.top + y, kPortPixelBytes),
                   Width(destination));
    }
    return 1;
}

// The port's own layout: 32-bit native RGB lines.
CURequest PortRequest() {
    CURequest request;
    request.info.bNative = 1;
    request.info.lColorDepth = kPortDepth;
    request.info.strColorSpace = "RGB";
    return request;
}

}  // namespace

// --- Slots 9 to 12: files and handles, decoded first. ---

int32_t CUtilMacro::GetImage(const char* path, OpaqueGrafPtr* port, int32_t l1, int32_t t1,
                             int32_t r1, int32_t b1, int32_t l2, int32_t t2, int32_t r2,
                             int32_t b2) {
    return GetImage(path, PortRequest(), port, l1, t1, r1, b1, l2, t2, r2, b2);
}

int32_t CUtilMacro::GetImage(const char* path, const CURequest& request, OpaqueGrafPtr* port,
                             int32_t l1, int32_t t1, int32_t r1, int32_t b1, int32_t l2, int32_t t2,
                             int32_t r2, int32_t b2) {
    if (m_service == nullptr) return kVxErrMacroUnsupported;
    const int32_t handle = m_service->GetImageHandle(path);
    if (handle < 0) return handle;
    const int32_t result = GetImage(handle, request, port, l1, t1, r1, b1, l2, t2, r2, b2);
    m_service->DeleteImageHandle(handle);
    return result;
}

int32_t CUtilMacro::GetImage(int32_t handle, OpaqueGrafPtr* port, int32_t l1, int32_t t1,
                             int32_t r1, int32_t b1, int32_t l2, int32_t t2, int32_t r2,
                             int32_t b2) {
    return GetImage(handle, PortRequest(), port, l1, t1, r1, b1, l2, t2, r2, b2);
}

int32_t CUtilMacro::GetImage(int32_t handle, const CURequest& request, OpaqueGrafPtr* port,
                             int32_t l1, int32_t t1, int32_t r1, int32_t b1, int32_t l2, int32_t t2,
                             int32_t r2, int32_t b2) {
    if (m_service == nullptr || !IsThirtyTwoBitPort(port)) return kVxErrMacroUnsupported;
    // The second rectangle selects, the first sizes the decoded picture, which is then drawn
    // with the first rectangle as both source and destination (its pixels land at their own
    // coordinates in the port). Refuse an empty selection and what the drawing would refuse
    // before a single line is decoded.
    Rect drawn;
    SetRect(&drawn, l1, t1, r1, b1);
    const int64_t decodedWidth = int64_t(r1) - l1 + 1, decodedHeight = int64_t(b1) - t1 + 1;
    const bool selects = int64_t(r2) - l2 + 1 >= 1 && int64_t(b2) - t2 + 1 >= 1;
    if (!selects || decodedWidth < 1 || decodedHeight < 1 || decodedWidth >= INT32_MAX ||
        decodedHeight >= INT32_MAX ||
        !AreDrawable(drawn, drawn, int32_t(decodedWidth), int32_t(decodedHeight), port))
        return kVxErrMacroUnsupported;

    return Guarded([&] {
        CURequest decodeRequest = request;
        return ThroughTemporaries(
            ChainOn::kSuccess,
            [&](auto* image, auto* alpha) {
                return TrimmingDecode(handle, decodeRequest, image, alpha, l1, t1, r1, b1, l2, t2,
                                      r2, b2);
            },
            [&](auto* image, auto* alpha) {
                return GetImage(image, alpha, port, l1, t1, r1, b1, l1, t1, r1, b1);
            });
    });
}

// --- Slot 13: a container drawn into the port. ---

int32_t CUtilMacro::GetImage(IUtilContainerIF* image, IUtilContainerIF* alpha, OpaqueGrafPtr* port,
                             int32_t l1, int32_t t1, int32_t r1, int32_t b1, int32_t l2, int32_t t2,
                             int32_t r2, int32_t b2) {
    if (m_service == nullptr || image == nullptr || !IsThirtyTwoBitPort(port))
        return kVxErrMacroUnsupported;
    return Guarded([&] {
        const CUImageInfo info = InfoOf(image);
        Rect source, destination;
        SetRect(&source, l1, t1, r1, b1);
        SetRect(&destination, l2, t2, r2, b2);
        if (info.lColorDepth != kPortDepth ||
            !AreDrawable(source, destination, info.lWidth, info.lHeight, port))
            return kVxErrMacroUnsupported;
        const IUtilContainerIF* alphaPlane = HoldsImage(alpha) ? alpha : nullptr;
        if (alphaPlane != nullptr) {
            const CUImageInfo alphaInfo = InfoOf(alphaPlane);
            if (alphaInfo.lColorDepth != kAlphaDepth) return kVxErrMacroAlphaDepth;
            // A plane of another size would be read beyond its lines.
            if (alphaInfo.lWidth != info.lWidth || alphaInfo.lHeight != info.lHeight)
                return kVxErrMacroUnsupported;
        }
        const bool sameSize =
            Width(source) == Width(destination) && Height(source) == Height(destination);
        return sameSize ? DrawUnscaled(image, alphaPlane, port, source, destination)
                        : DrawScaled(image, alphaPlane, port, source, destination);
    });
}

// --- Slots 17 and 18: nothing is ever written from a port. ---

int32_t CUtilMacro::SetImage(const char*, const char*, OpaqueGrafPtr*, int32_t, int32_t, int32_t,
                             int32_t) {
    return kVxErrMacroUnsupported;
}

int32_t CUtilMacro::SetImage(const char*, const CURequest&, OpaqueGrafPtr*, int32_t, int32_t,
                             int32_t, int32_t) {
    return kVxErrMacroUnsupported;
}
