// The macro object: classifies a request into a process kind and runs the matching chain of
// decode, conversion, resize, rotate and encode steps through the image-file service, the
// engines it owns and temporary containers.
//
// Process kind: a bit set whose exact value picks the pipeline.
//   0x004 / 0x008  container source deeper / shallower than wanted  (kConvDepthUp / Down)
//   0x010 / 0x020  container source RGB -> YCC / YCC -> RGB          (kConvRgbToYcc / YccToRgb)
//   0x100          the source is an open image-file handle           (kKindDecode)
//   0x200          a destination file is given                       (kKindEncode)
//   0x400          the output size differs from the source size      (kKindResize)
//   0x800          the rotation angle is not 0                       (kKindRotate)
// A file source is converted in depth and colour space by the service while it is read, so
// only container sources carry conversion bits.
//
// Progress: every stage is worth 128 steps, counted in 1/1024 steps (a stage is 0x20000
// units). A line loop over H lines adds 0x20000 / H per line, half of it when the decoder said
// (message 1) that it reports the other half itself (message 2). ProcessLineEnd tops a stage
// up to its full count however the line count divides.
//
// Decoder messages: while a decode runs, the request's message procedure is the macro's
// IMessageProc face; its MessageProc hands messages 1 and 2 to RawMessageProc and answers
// every other message as the base does. A request that already names this face (a decode
// started from inside a decode of the same macro) is refused.
//
// TrimmingDecode reads its two rectangles (left, top, right, bottom, inclusive) this way: the
// first gives the output size, the second selects the part of the source, so that a port
// entry can draw the result into its first rectangle. Each selected line is cut to the second
// rectangle's columns and then squeezed (pixels picked, no filtering) to the first
// rectangle's width; output line y takes the selected line truncate(y * selected height /
// output height). When both rectangles have the same size the selection is copied unchanged.
#ifndef VANDREL_MACRO_UTILMACRO_H
#define VANDREL_MACRO_UTILMACRO_H

#include <cstdint>

#include "vandrel/MacroCallback.h"
#include "vandrel/MessageProc.h"
#include "vandrel/UtilContainerIF.h"
#include "vandrel/UtilMacroIF.h"
#include "vandrel/UtilParam.h"
#include "vandrel/VandrelIF.h"

class IUtilResizeIF;
class IUtilRotateIF;

class CUtilMacro : public IUtilMacroIF, public IMessageProc {
public:
    static constexpr int kConvDepthUp = 0x004;
    static constexpr int kConvDepthDown = 0x008;
    static constexpr int kConvRgbToYcc = 0x010;
    static constexpr int kConvYccToRgb = 0x020;
    static constexpr int kConvMask = 0x03c;
    static constexpr int kKindDecode = 0x100;
    static constexpr int kKindEncode = 0x200;
    static constexpr int kKindResize = 0x400;
    static constexpr int kKindRotate = 0x800;
    static constexpr int kKindTransform = kKindResize | kKindRotate;

    static constexpr uint32_t kStageUnits = 0x20000;  // 128 steps of 1024 units
    static constexpr uint32_t kStageSteps = 128;

    CUtilMacro() = default;
    CUtilMacro(const CUtilMacro&) = delete;
    CUtilMacro& operator=(const CUtilMacro&) = delete;

    /* 0 */ void Delete() override;
    /* 1 */ int32_t SetVandrelObj(IVandrelIF* service) override;
    /* 2 */ int32_t SetCallbackObj(IMacroCallback* callback) override;
    /* 3 */ void SetContainerInfo(int cacheCount, int pieceSize) override;
    /* 4 */ int32_t GetImage(const char* path, IUtilContainerIF* dst,
                             IUtilContainerIF* dstAlpha) override;
    /* 5 */ int32_t GetImage(const char* path, const CURequest& request, IUtilContainerIF* dst,
                             IUtilContainerIF* dstAlpha) override;
    /* 6 */ int32_t GetImage(int32_t handle, IUtilContainerIF* dst,
                             IUtilContainerIF* dstAlpha) override;
    /* 7 */ int32_t GetImage(int32_t handle, const CURequest& request, IUtilContainerIF* dst,
                             IUtilContainerIF* dstAlpha) override;
    /* 8 */ int32_t GetImage(const CURequest& request, const IUtilContainerIF* src,
                             const IUtilContainerIF* srcAlpha, IUtilContainerIF* dst,
                             IUtilContainerIF* dstAlpha) override;
    /* 9 */ int32_t GetImage(const char* path, OpaqueGrafPtr* port, int32_t l1, int32_t t1,
                             int32_t r1, int32_t b1, int32_t l2, int32_t t2, int32_t r2,
                             int32_t b2) override;
    /* 10 */ int32_t GetImage(const char* path, const CURequest& request, OpaqueGrafPtr* port,
                              int32_t l1, int32_t t1, int32_t r1, int32_t b1, int32_t l2,
                              int32_t t2, int32_t r2, int32_t b2) override;
    /* 11 */ int32_t GetImage(int32_t handle, OpaqueGrafPtr* port, int32_t l1, int32_t t1,
                              int32_t r1, int32_t b1, int32_t l2, int32_t t2, int32_t r2,
                              int32_t b2) override;
    /* 12 */ int32_t GetImage(int32_t handle, const CURequest& request, OpaqueGrafPtr* port,
                              int32_t l1, int32_t t1, int32_t r1, int32_t b1, int32_t l2,
                              int32_t t2, int32_t r2, int32_t b2) override;
    /* 13 */ int32_t GetImage(IUtilContainerIF* image, IUtilContainerIF* alpha, OpaqueGrafPtr* port,
                              int32_t l1, int32_t t1, int32_t r1, int32_t b1, int32_t l2,
                              int32_t t2, int32_t r2, int32_t b2) override;
    /* 14 */ int32_t SetImage(const char* srcPath, const char* dstPath,
                              const CURequest& request) override;
    /* 15 */ int32_t SetImage(const char* dstPath, const char* fileType,
                              const IUtilContainerIF* src,
                              const IUtilContainerIF* srcAlpha) override;
    /* 16 */ int32_t SetImage(const char* dstPath, const CURequest& request,
                              const IUtilContainerIF* src,
                              const IUtilContainerIF* srcAlpha) override;
    /* 17 */ int32_t SetImage(const char* dstPath, const char* fileType, OpaqueGrafPtr* port,
                              int32_t left, int32_t top, int32_t right, int32_t bottom) override;
    /* 18 */ int32_t SetImage(const char* dstPath, const CURequest& request, OpaqueGrafPtr* port,
                              int32_t left, int32_t top, int32_t right, int32_t bottom) override;
    /* 19 */ int32_t ConvertNativeToLogical(const IUtilContainerIF* src,
                                            const IUtilContainerIF* srcAlpha, IUtilContainerIF* dst,
                                            IUtilContainerIF* dstAlpha) override;
    /* 20 */ int32_t ConvertLogicalToNative(const IUtilContainerIF* src,
                                            const IUtilContainerIF* srcAlpha, IUtilContainerIF* dst,
                                            IUtilContainerIF* dstAlpha) override;
    /* 21 */ int32_t AlphaBlend(const IUtilContainerIF* src, IUtilContainerIF* dst,
                                const IUtilContainerIF* alpha) override;
    /* 22, 23 */ ~CUtilMacro() override = default;
    /* 24 */ int32_t RawMessageProc(int message, void* data) override;

    // The IMessageProc face: messages 1 and 2 go to RawMessageProc.
    int32_t MessageProc(int message, void* data) override;
    IMessageProc* MessageFace() { return this; }

    // --- Request analysis and dispatch. ---
    static int GetConvertProcess(const CURequest& request, const CUImageInfo& info,
                                 bool containerSource);
    int32_t AnalyzeRequest(int32_t handle, const char* dstPath, const CURequest& request,
                           const IUtilContainerIF* src, const IUtilContainerIF* srcAlpha,
                           IUtilContainerIF* dst, IUtilContainerIF* dstAlpha);
    int32_t ProcessForDecode(int kind, int32_t handle, const CURequest& request,
                             const IUtilContainerIF* src, const IUtilContainerIF* srcAlpha,
                             IUtilContainerIF* dst, IUtilContainerIF* dstAlpha);
    int32_t ProcessForEncode(int kind, int32_t handle, const char* dstPath,
                             const CURequest& request, const IUtilContainerIF* src,
                             const IUtilContainerIF* srcAlpha);

    // --- Progress: false means the callback cancelled. ---
    bool BeginProcess(IMacroCallback::Process stage);
    bool ProcessLine(uint32_t& acc, uint32_t inc);
    bool ProcessLineEnd(uint32_t acc, uint32_t total);
    bool EndProcess();

    // --- Reading helpers. ---
    // canSeek tells whether the open read can seek; a source that cannot (class 0x7e) is no
    // error. 1 or more, or the service's code.
    int32_t ChkSeek(int32_t handle, bool& canSeek);
    // Reads and discards count lines; the last ReadLine result (1 for count <= 0).
    int32_t DummyReadLine(int32_t handle, int32_t count);

    // --- Decode pipelines (file to containers). ---
    int32_t DecodeImage(int32_t handle, CURequest& request, IUtilContainerIF* dst,
                        IUtilContainerIF* dstAlpha);
    int32_t DecodeResize(int32_t handle, CURequest& request, IUtilContainerIF* dst,
                         IUtilContainerIF* dstAlpha);
    int32_t DecodeSqueeze(int32_t handle, CURequest& request, IUtilContainerIF* dst,
                          IUtilContainerIF* dstAlpha);
    int32_t TrimmingDecode(int32_t handle, CURequest& request, IUtilContainerIF* dst,
                           IUtilContainerIF* dstAlpha, int32_t l1, int32_t t1, int32_t r1,
                           int32_t b1, int32_t l2, int32_t t2, int32_t r2, int32_t b2);
    int32_t DecodeAndRotate(int32_t handle, CURequest& request, IUtilContainerIF* dst,
                            IUtilContainerIF* dstAlpha);
    int32_t DecodeImageToResizeAndRotate(int32_t handle, CURequest& request, IUtilContainerIF* dst,
                                         IUtilContainerIF* dstAlpha);
    int32_t DecodeResizeToRotateImage(int32_t handle, CURequest& request, IUtilContainerIF* dst,
                                      IUtilContainerIF* dstAlpha);
    // DecodeSqueeze for the "Squeeze" method, DecodeResize otherwise.
    int32_t DecodeResizeOrSqueeze(int32_t handle, CURequest& request, IUtilContainerIF* dst,
                                  IUtilContainerIF* dstAlpha);

    // Copies the pixels truncate(x * source width / output width) of a line of source's
    // depth; depths other than 8, 16, 24, 32, 48 and 64 leave out untouched.
    static void SqueezeLine(const CUImageInfo& source, const CUImageInfo& output, const void* in,
                            void* out);
    template <typename T>
    static void SqueezeLine(const T* in, T* out, int32_t sourceWidth, int32_t outputWidth,
                            int components);

    // --- Encode pipelines (containers or file to file). ---
    int32_t EncodeImage(const char* dstPath, CURequest& request, const IUtilContainerIF* src,
                        const IUtilContainerIF* srcAlpha);
    int32_t ResizeEncode(const char* dstPath, CURequest& request, const IUtilContainerIF* src,
                         const IUtilContainerIF* srcAlpha);
    int32_t RotateEncode(const char* dstPath, CURequest& request, const IUtilContainerIF* src,
                         const IUtilContainerIF* srcAlpha);
    int32_t RotateImageToResizeEncode(const char* dstPath, CURequest& request,
                                      const IUtilContainerIF* src,
                                      const IUtilContainerIF* srcAlpha);
    int32_t ResizeImageToRotateEncode(const char* dstPath, CURequest& request,
                                      const IUtilContainerIF* src,
                                      const IUtilContainerIF* srcAlpha);
    int32_t DecodeImageToResizeEncode(int32_t handle, const char* dstPath, CURequest& request);
    int32_t DecodeResizeToEncodeImage(int32_t handle, const char* dstPath, CURequest& request);
    int32_t DecodeImageToRotateEncode(int32_t handle, const char* dstPath, CURequest& request);
    int32_t DecodeAndRotateToResizeEncode(int32_t handle, const char* dstPath, CURequest& request);
    int32_t DecodeResizeToRotateEncode(int32_t handle, const char* dstPath, CURequest& request);

    // --- Container operations. ---
    int32_t ResizeImage(CURequest& request, const IUtilContainerIF* src,
                        const IUtilContainerIF* srcAlpha, IUtilContainerIF* dst,
                        IUtilContainerIF* dstAlpha);
    // Pushes one line into the resizer and stores every line it yields at outY onwards.
    int32_t ResizeLine(IUtilResizeIF* resizer, const void* line, IUtilContainerIF* dst,
                       int32_t& outY);
    int32_t RotateImage(CURequest& request, const IUtilContainerIF* src,
                        const IUtilContainerIF* srcAlpha, IUtilContainerIF* dst,
                        IUtilContainerIF* dstAlpha);
    // Rotates first, then resizes the rotated image.
    int32_t ResizeAndRotate(CURequest& request, const IUtilContainerIF* src,
                            const IUtilContainerIF* srcAlpha, IUtilContainerIF* dst,
                            IUtilContainerIF* dstAlpha);
    int32_t DepthAndSpaceConvertImage(int kind, const IUtilContainerIF* src,
                                      const IUtilContainerIF* srcAlpha, IUtilContainerIF* dst,
                                      IUtilContainerIF* dstAlpha);
    int32_t DepthAndSpaceConvertLine(int kind, const CUImageInfo& info, int32_t line,
                                     const void* in, void* out);

    // --- Inspection for tests. ---
    IVandrelIF* Service() const { return m_service; }
    IUtilRotateIF* Rotator(int index) const { return index == 0 ? m_rotateA : m_rotateB; }
    IUtilResizeIF* Resizer(int index) const { return index == 0 ? m_resizeA : m_resizeB; }
    int CacheSetting() const { return m_cacheCount; }
    int PieceSetting() const { return m_pieceSize; }
    uint32_t ProgressUnits() const { return m_progress; }
    int32_t DecoderReportsProgress() const { return m_decoderProgress; }

private:
    class DecodeFrame;
    class DecodeTargets;
    struct PickedArea;

    // Squeezes the lines of area picked from the open read into the targets: output line y
    // takes line top + truncate(y * selected height / output height). The last read's result,
    // or the failing code.
    // Reads every line of the open decode and hands both planes to store(y, line, alphaLine),
    // one progress step each; the last read's result (a warning included), the first negative
    // code of store, or the failing code of a read.
    template <typename Store>
    int32_t ReadEachLine(int32_t handle, int32_t height, uint32_t inc, uint32_t stageSteps,
                         Store store);
    int32_t PickAndSqueeze(int32_t handle, const PickedArea& area, DecodeTargets& targets,
                           uint32_t inc, uint32_t stageSteps);

    // The steps a chain through temporary containers joins.
    using DecodeStep = int32_t (CUtilMacro::*)(int32_t, CURequest&, IUtilContainerIF*,
                                               IUtilContainerIF*);
    using TransformStep = int32_t (CUtilMacro::*)(CURequest&, const IUtilContainerIF*,
                                                  const IUtilContainerIF*, IUtilContainerIF*,
                                                  IUtilContainerIF*);
    using EncodeStep = int32_t (CUtilMacro::*)(const char*, CURequest&, const IUtilContainerIF*,
                                               const IUtilContainerIF*);
    // The decode chains share the caller's request; the encode chains work on a copy.
    int32_t DecodeThenTransform(DecodeStep decode, TransformStep transform, int32_t handle,
                                CURequest& request, IUtilContainerIF* dst,
                                IUtilContainerIF* dstAlpha);
    int32_t DecodeThenEncode(DecodeStep decode, EncodeStep encode, int32_t handle,
                             const char* dstPath, const CURequest& request);
    int32_t TransformThenEncode(TransformStep transform, EncodeStep encode, const char* dstPath,
                                const CURequest& request, const IUtilContainerIF* src,
                                const IUtilContainerIF* srcAlpha);

    // Line-pointer form of both planes of the open read; the code of ReadLine.
    int32_t ReadBothPlanes(int32_t handle, void*& line, void*& alphaLine);
    // Containers of the macro's sizing; kVxErrMacroEngines when it cannot be made.
    int32_t CreateContainer(IUtilContainerIF* container, const CUImageInfo& info) const;

    IVandrelIF* m_service = nullptr;
    IUtilRotateIF* m_rotateA = nullptr;
    IUtilRotateIF* m_rotateB = nullptr;
    IUtilResizeIF* m_resizeA = nullptr;
    IUtilResizeIF* m_resizeB = nullptr;
    IMacroCallback* m_callback = nullptr;
    int m_cacheCount = 1000;
    int m_pieceSize = 128;
    int32_t m_decoderProgress = 0;
    uint32_t m_progress = 0;
    IMessageProc* m_savedMessageProc = nullptr;
    CURequest m_current;
};

#endif
