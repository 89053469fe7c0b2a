// The macro object: one-call pipelines between image files, containers and graphics ports.
// A request is classified into a chain of steps (decode, depth and colour-space conversion,
// resize, rotate, encode) that runs through the image-file service, the resize and rotation
// objects and temporary containers, with progress reported to an optional IMacroCallback that
// can also cancel. Made by CreateUtilMacro, released by Delete(); SetVandrelObj must be called
// before any GetImage or SetImage (every one of them answers kVxErrMacroUnsupported without a
// service). One request at a time; one thread at a time per object.
//
// dst and dstAlpha are the destination container and its optional alpha container, src and
// srcAlpha the source container and its optional alpha container. Results are 1 (or another
// positive value, or a warning) on success, else a status code: kVxErrCancelled when the
// callback cancelled, the kVxErrMacro* codes, or the codes of the service, resizer and rotator.
#ifndef VANDREL_UTILMACROIF_H
#define VANDREL_UTILMACROIF_H

#include <cstdint>

#include "vandrel/Export.h"
#include "vandrel/MacroCallback.h"
#include "vandrel/Records.h"
#include "vandrel/Status.h"
#include "vandrel/UtilContainerIF.h"
#include "vandrel/VandrelIF.h"

struct OpaqueGrafPtr;

class IUtilMacroIF {
public:
    // Releases the macro and the engines it made; the service and the callback stay the
    // caller's.
    /* 0 */ virtual void Delete() = 0;
    // Stores the service (not owned) and makes the rotation and resize engines that are still
    // missing. 1, kVxErrMacroUnsupported for null, kVxErrMacroEngines when an engine cannot be
    // made.
    /* 1 */ virtual int32_t SetVandrelObj(IVandrelIF* service) = 0;
    // Null switches progress reports and cancelling off. Answers 1.
    /* 2 */ virtual int32_t SetCallbackObj(IMacroCallback* callback) = 0;
    // The cache count and piece size handed to every container the macro fills
    // (1000 and 128 unless set).
    /* 3 */ virtual void SetContainerInfo(int cacheCount, int pieceSize) = 0;

    // File to containers. Without a request the file is decoded in its own format.
    /* 4 */ virtual int32_t GetImage(const char* path, IUtilContainerIF* dst,
                                     IUtilContainerIF* dstAlpha) = 0;
    /* 5 */ virtual int32_t GetImage(const char* path, const CURequest& request,
                                     IUtilContainerIF* dst, IUtilContainerIF* dstAlpha) = 0;
    /* 6 */ virtual int32_t GetImage(int32_t handle, IUtilContainerIF* dst,
                                     IUtilContainerIF* dstAlpha) = 0;
    /* 7 */ virtual int32_t GetImage(int32_t handle, const CURequest& request,
                                     IUtilContainerIF* dst, IUtilContainerIF* dstAlpha) = 0;
    // Container to containers: converts, resizes and rotates as the request says, or copies
    // when there is nothing to change (no callback is called then).
    /* 8 */ virtual int32_t GetImage(const CURequest& request, const IUtilContainerIF* src,
                                     const IUtilContainerIF* srcAlpha, IUtilContainerIF* dst,
                                     IUtilContainerIF* dstAlpha) = 0;

    // Drawing into a graphics port (vandrel/GraphicsPort.h). The port must be 32 bits deep;
    // any other port is refused with kVxErrMacroUnsupported before anything is read.
    //
    // Slot 13 draws a 32-bit container. Its eight integers are two port rectangles as SetRect
    // takes them, left, top, right, bottom with right and bottom exclusive: first the source in
    // the image, then the destination in the port. The corners of both must lie within
    // (0, 0, width + 1, height + 1) of the image, so an edge may lie on the image's right or
    // bottom border; neither may be empty, and the destination must lie inside the port's
    // bounds (kVxErrMacroUnsupported otherwise, with nothing drawn). Equal sizes copy the lines
    // straight into the port; different sizes scale by nearest neighbour, as CopyBits does. An
    // alpha container that holds an image must be 8 bits deep (kVxErrMacroAlphaDepth) and of
    // the image's size; each of its samples, scaled like the image, goes into the first byte
    // of its port pixel. Without one, that byte is the image's own.
    //
    // Slots 9 to 12 decode first, with TrimmingDecode, into temporary containers (without a
    // request: 32-bit native RGB lines, the port's layout), then draw them as slot 13 does.
    // Here the integers are the decode's two rectangles, left, top, right, bottom with
    // inclusive edges. The first gives the size of the decoded picture; the second selects
    // the part of the image: each selected line is cut to the columns left to right and then
    // squeezed, by picking pixels without filtering, to the first rectangle's width; output
    // line y takes the selected line top + truncate(y * selected height / output height).
    // The picture is then drawn with the first rectangle as both source and destination, read
    // as a port rectangle (right and bottom exclusive): the picture's pixels inside it land at
    // the same coordinates of the port. So a first rectangle (0, 0, w - 1, h - 1) scales the
    // selection, up or down, to w x h and draws its first w - 1 columns of its first h - 1
    // lines at the port's origin. The decoded picture covers the first rectangle only when
    // its left and top are 0 or 1; any other, one that leaves the port, and an empty
    // selection are refused before decoding begins.
    /* 9 */ virtual int32_t GetImage(const char* path, OpaqueGrafPtr* port, int32_t l1, int32_t t1,
                                     int32_t r1, int32_t b1, int32_t l2, int32_t t2, int32_t r2,
                                     int32_t b2) = 0;
    /* 10 */ virtual int32_t GetImage(const char* path, const CURequest& request,
                                      OpaqueGrafPtr* port, int32_t l1, int32_t t1, int32_t r1,
                                      int32_t b1, int32_t l2, int32_t t2, int32_t r2,
                                      int32_t b2) = 0;
    /* 11 */ virtual int32_t GetImage(int32_t handle, OpaqueGrafPtr* port, int32_t l1, int32_t t1,
                                      int32_t r1, int32_t b1, int32_t l2, int32_t t2, int32_t r2,
                                      int32_t b2) = 0;
    /* 12 */ virtual int32_t GetImage(int32_t handle, const CURequest& request, OpaqueGrafPtr* port,
                                      int32_t l1, int32_t t1, int32_t r1, int32_t b1, int32_t l2,
                                      int32_t t2, int32_t r2, int32_t b2) = 0;
    /* 13 */ virtual int32_t GetImage(IUtilContainerIF* image, IUtilContainerIF* alpha,
                                      OpaqueGrafPtr* port, int32_t l1, int32_t t1, int32_t r1,
                                      int32_t b1, int32_t l2, int32_t t2, int32_t r2,
                                      int32_t b2) = 0;

    // File to file; a request that neither resizes nor rotates is refused.
    /* 14 */ virtual int32_t SetImage(const char* srcPath, const char* dstPath,
                                      const CURequest& request) = 0;
    // Containers to a file of format fileType, in the container's own size and logical depth.
    /* 15 */ virtual int32_t SetImage(const char* dstPath, const char* fileType,
                                      const IUtilContainerIF* src,
                                      const IUtilContainerIF* srcAlpha) = 0;
    /* 16 */ virtual int32_t SetImage(const char* dstPath, const CURequest& request,
                                      const IUtilContainerIF* src,
                                      const IUtilContainerIF* srcAlpha) = 0;
    // Writing from a graphics port is not supported: always kVxErrMacroUnsupported.
    /* 17 */ virtual int32_t SetImage(const char* dstPath, const char* fileType,
                                      OpaqueGrafPtr* port, int32_t left, int32_t top, int32_t right,
                                      int32_t bottom) = 0;
    /* 18 */ virtual int32_t SetImage(const char* dstPath, const CURequest& request,
                                      OpaqueGrafPtr* port, int32_t left, int32_t top, int32_t right,
                                      int32_t bottom) = 0;

    // Layout conversions between the packed logical lines and the 32-bit native layout.
    /* 19 */ virtual int32_t ConvertNativeToLogical(const IUtilContainerIF* src,
                                                    const IUtilContainerIF* srcAlpha,
                                                    IUtilContainerIF* dst,
                                                    IUtilContainerIF* dstAlpha) = 0;
    /* 20 */ virtual int32_t ConvertLogicalToNative(const IUtilContainerIF* src,
                                                    const IUtilContainerIF* srcAlpha,
                                                    IUtilContainerIF* dst,
                                                    IUtilContainerIF* dstAlpha) = 0;
    // Blends src into dst in place (24-bit pixels), weighted by an 8-bit alpha plane that is
    // the weight of the existing destination: 0 takes src, 255 keeps dst.
    /* 21 */ virtual int32_t AlphaBlend(const IUtilContainerIF* src, IUtilContainerIF* dst,
                                        const IUtilContainerIF* alpha) = 0;
    /* 22, 23 */ virtual ~IUtilMacroIF() = default;
    // The hook through which a decoder talks to the running decode:
    //   1: *(int32_t*)data non-zero = the decoder reports half of the decode progress itself;
    //   2: *(int32_t*)data = the decoder's line count N; each such message advances the
    //      progress by 1/(2N) of a stage. Answers -1 when the callback cancels.
    // Other messages answer 1.
    /* 24 */ virtual int32_t RawMessageProc(int message, void* data) = 0;
};

// A macro object, or null when it cannot be made.
VX_EXTERN_C VX_API IUtilMacroIF* CreateUtilMacro();

#endif
