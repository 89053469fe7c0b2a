// CResizeEngine over the resize handle of the plain resampling functions. The only place where
// method names are resolved and image records become format words.
#ifndef VANDREL_RESIZE_EXRESIZEENGINE_H
#define VANDREL_RESIZE_EXRESIZEENGINE_H

#include <cstdint>

#include "resize/ResizeEngine.h"
#include "vandrel/ExResize.h"

class CExResizeEngine : public CResizeEngine {
public:
    static constexpr int32_t kNameCapacity = 64;

    // Method 0, no handle. The name is empty and not valid, so such an engine refuses to
    // begin until it is made from a name.
    CExResizeEngine();
    // Resolves the name ("Nearest", "Bilinear", "Bicubic", "Quorix", any letter case); an
    // unknown name makes an engine that refuses to begin. Names are cut to 63 characters.
    explicit CExResizeEngine(const char* methodName);
    ~CExResizeEngine() override;
    CExResizeEngine(const CExResizeEngine&) = delete;
    CExResizeEngine& operator=(const CExResizeEngine&) = delete;

    // A fresh default engine, deliberately not a copy of this one's method. Null when it cannot
    // be made.
    CResizeEngine* Clone() override;
    // Both sides get the format word of the source record: resizing never changes the layout.
    int32_t BeginResize(const CUImageInfo* source, const CUImageInfo* destination) override;
    int32_t EndResize() override;
    int32_t SetLine(const void* line) override;
    int32_t GetLine(void* line) override;
    const char* GetInterpolation() override { return m_name; }

    // 1 when both texts have the same length and match letter for letter after upper-casing.
    static int32_t StrComp(const char* a, const char* b);
    // 1 and the method for a known name (tried in the order Nearest, Bilinear, Bicubic,
    // Quorix); 0 with `method` untouched otherwise.
    static int32_t GetResizeMethod(const char* name, EXRESIZE_METHOD& method);
    static int32_t IsSupportedMethod(const char* name);
    // The format word for a source record, or 0 when the combination is not resizable.
    static uint32_t FormatWordFor(const CUImageInfo& info);

    int32_t LastPushResult() const { return m_lastPush; }

private:
    EXRESIZE_METHOD m_method = EXRESIZE_NEAREST;
    char m_name[kNameCapacity] = {};
    int32_t m_methodValid = 0;
    EXRESIZE_HANDLE* m_handle = nullptr;
    int32_t m_lastPush = 0;
};

#endif
