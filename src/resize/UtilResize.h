// The public resize object behind IUtilResizeIF. It owns one engine, kept across begin/end
// cycles while the method name stays the same, and translates the engine's codes into
// library status codes.
#ifndef VANDREL_RESIZE_UTILRESIZE_H
#define VANDREL_RESIZE_UTILRESIZE_H

#include <cstdint>

#include "resize/ResizeEngine.h"
#include "vandrel/UtilResizeIF.h"

class CUtilResize : public IUtilResizeIF {
public:
    CUtilResize();
    ~CUtilResize() override;
    CUtilResize(const CUtilResize&) = delete;
    CUtilResize& operator=(const CUtilResize&) = delete;

    void Delete() override;
    int32_t BeginResize(const CUImageInfo& source, const CURequest& request) override;
    int32_t EndResize() override;
    int32_t SetLine(const void* line) override;
    int32_t GetLine(void* line) override;
    void* GetLine() override;
    int32_t GetImage(const CUImageInfo& source, const void* pixels, const CURequest& request,
                     void* output) override;

    // Pushes `line` and discards ready output lines until the next one handed out is the one
    // before the seek target. The target is the one the last successful CheckSeek named.
    int32_t SeekLine(const void* line);
    // 2 when output line `line` counted from `origin` (0 start, 1 current, 2 last line) lies
    // inside the output, which then becomes the seek target; otherwise a code.
    int32_t CheckSeek(int32_t line, int origin);
    // Restarts the current resize from its first line with the same descriptions.
    int32_t Reset();
    CResizeEngine* CreateEngine(const char* method, int32_t& code);
    int32_t BeginResizeEngine();
    int32_t EndResizeEngine();
    void DeleteEngine();
    static int32_t ConvertErrorCode(int32_t code);

    // Read-only views for callers inside the library.
    const CUImageInfo& SourceInfo() const { return srcInfo; }
    const CUImageInfo& OutputInfo() const { return dstInfo; }
    CResizeEngine* Engine() const { return pEngine; }
    int32_t LinesIn() const { return lLinesIn; }
    int32_t LinesOut() const { return lLinesOut; }
    int32_t LinesReady() const { return lLinesReady; }
    int32_t SeekTarget() const { return lSeekTarget; }

private:
    void Initalize();
    // The output description: the source's layout at the request's size.
    static CUImageInfo OutputFor(const CUImageInfo& source, const CURequest& request);
    // Pulls one line from the engine into `line`; counts it on success.
    int32_t PullCounted(void* line);

    CResizeEngine* pEngine = nullptr;
    CUImageInfo srcInfo;
    CUImageInfo dstInfo;
    int32_t bBegun = 0;
    int32_t lLinesIn = 0;
    int32_t lLinesOut = 0;
    int32_t lLinesReady = 0;
    int32_t lSeekTarget = -1;
    CImageLineBuf lineBuf;
};

#endif
