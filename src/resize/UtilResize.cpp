#include "resize/UtilResize.h"

#include <cstring>
#include <memory>
#include <new>

#include "resize/ExResizeEngine.h"

namespace {

// A line-sized block for the engine to write into; zeroed so the padding bytes of a line
// copied out whole are defined.
class ScratchLine {
public:
    // An empty line is still made, as an array of no elements is: a request of width 0 is the
    // engine's to refuse with the size code, not a failure of memory.
    explicit ScratchLine(int32_t bytes) : m_bytes(bytes > 0 ? size_t(bytes) : 0) {
        m_data = new (std::nothrow) unsigned char[m_bytes > 0 ? m_bytes : 1]();
    }
    ~ScratchLine() { delete[] m_data; }
    ScratchLine(const ScratchLine&) = delete;
    ScratchLine& operator=(const ScratchLine&) = delete;
    unsigned char* data() const { return m_data; }

private:
    size_t m_bytes;
    unsigned char* m_data = nullptr;
};

// Engines answer 0 for success and negative codes for failures; the library says 1 and uses
// its own codes.
struct Translation {
    int32_t engine;
    int32_t library;
};
constexpr Translation kTranslations[] = {
    {0, kVxOk},
    {1, kVxNo},
    {EXERR_MEMORY, kVxErrResizeMemory},
    {EXERR_SIZE, kVxErrResizeSize},
    {-1002, kVxErrResize1002},
    {EXERR_NULL_BUFFER, kVxErrResizeNullBuffer},
    {EXERR_MOMENT, kVxErrResizeMoment},
    {EXERR_ARGUMENT, kVxErrResizeState},
    {-1006, kVxErrResize1006},
    {-1010, kVxErrResize1010},
};

// 2 GB is the most one output image may take.
bool FitsTwoGigabytes(const CUImageInfo& source, const CURequest& request) {
    const int64_t rowBytes = ((int64_t(request.info.lWidth) * source.lColorDepth + 31) >> 5) * 4;
    return rowBytes * int64_t(request.info.lHeight) <= int64_t(INT32_MAX);
}

}  // namespace

CUtilResize::CUtilResize() {
    Initalize();
}

CUtilResize::~CUtilResize() {
    lineBuf.Release();
    if (bBegun != 0) EndResizeEngine();
    DeleteEngine();
}

void CUtilResize::Delete() {
    delete this;
}

void CUtilResize::Initalize() {
    bBegun = 0;
    lLinesIn = 0;
    lLinesOut = 0;
    lLinesReady = 0;
    lSeekTarget = -1;
}

int32_t CUtilResize::ConvertErrorCode(int32_t code) {
    for (const Translation& t : kTranslations)
        if (t.engine == code) return t.library;
    return kVxErrResizeOther;
}

CUImageInfo CUtilResize::OutputFor(const CUImageInfo& source, const CURequest& request) {
    CUImageInfo out = source;
    out.lWidth = request.info.lWidth;
    out.lHeight = request.info.lHeight;
    out.lRowBytes = VxPaddedRowBytes(request.info.lWidth, source.lColorDepth);
    return out;
}

CResizeEngine* CUtilResize::CreateEngine(const char* method, int32_t& code) {
    if (CExResizeEngine::IsSupportedMethod(method) == 0) {
        code = kVxErrResizeSize;
        return nullptr;
    }
    CResizeEngine* engine = new (std::nothrow) CExResizeEngine(method);
    if (engine == nullptr) code = kVxErrResizeMemory;
    return engine;
}

void CUtilResize::DeleteEngine() {
    delete pEngine;
    pEngine = nullptr;
}

int32_t CUtilResize::BeginResizeEngine() {
    Initalize();
    const int32_t code = ConvertErrorCode(pEngine->BeginResize(&srcInfo, &dstInfo));
    if (code == kVxOk) bBegun = 1;
    return code;
}

int32_t CUtilResize::EndResizeEngine() {
    if (bBegun == 0) return kVxErrResizeState;
    bBegun = 0;
    return ConvertErrorCode(pEngine->EndResize());
}

int32_t CUtilResize::BeginResize(const CUImageInfo& source, const CURequest& request) {
    if (bBegun == 1) return kVxErrResizeState;
    if (!FitsTwoGigabytes(source, request)) return kVxErrResizeTooLarge;
    if (pEngine != nullptr &&
        CExResizeEngine::StrComp(pEngine->GetInterpolation(), request.strResizeMethod) == 0)
        DeleteEngine();
    if (pEngine == nullptr) {
        int32_t code = kVxErrResizeOther;
        pEngine = CreateEngine(request.strResizeMethod, code);
        if (pEngine == nullptr) return code;
    }
    srcInfo = source;
    dstInfo = OutputFor(source, request);
    const int32_t begun = BeginResizeEngine();
    if (begun != kVxOk) return begun;
    lineBuf.Release();
    lineBuf.info = dstInfo;
    int32_t bytes = dstInfo.RowBytes();
    if (bytes < 1) bytes = VxPaddedRowBytes(dstInfo.lWidth, dstInfo.lColorDepth);
    if (lineBuf.Create(bytes) != 1) return kVxErrResizeMemory;
    std::memset(lineBuf.pBuffer, 0, size_t(bytes));
    return kVxOk;
}

int32_t CUtilResize::EndResize() {
    lineBuf.Release();
    return EndResizeEngine();
}

int32_t CUtilResize::SetLine(const void* line) {
    if (bBegun == 0) return kVxErrResizeState;
    ++lLinesIn;
    const int32_t ready = pEngine->SetLine(line);
    if (ready < 0) {
        lLinesReady = 0;
        return ConvertErrorCode(ready);
    }
    lLinesReady = ready;
    return ready;
}

int32_t CUtilResize::PullCounted(void* line) {
    const int32_t code = ConvertErrorCode(pEngine->GetLine(line));
    if (code == kVxOk) {
        ++lLinesOut;
        --lLinesReady;
    }
    return code;
}

int32_t CUtilResize::GetLine(void* line) {
    if (bBegun == 0) return kVxErrResizeState;
    if (lLinesReady < 1) return kVxOk;  // nothing to hand out is not a failure
    return PullCounted(line);
}

void* CUtilResize::GetLine() {
    if (bBegun == 0 || lLinesReady < 1 || lineBuf.pBuffer == nullptr) return nullptr;
    return PullCounted(lineBuf.pBuffer) == kVxOk ? lineBuf.pBuffer : nullptr;
}

int32_t CUtilResize::Reset() {
    if (bBegun == 0) return kVxErrResizeState;
    const int32_t ended = EndResizeEngine();
    if (ended != kVxOk) return ended;
    return BeginResizeEngine();
}

int32_t CUtilResize::CheckSeek(int32_t line, int origin) {
    if (bBegun == 0) return kVxErrResizeState;
    int64_t target = 0;
    switch (origin) {
        case 0:
            target = line;
            break;
        case 1:
            target = int64_t(lLinesOut) + line;
            break;
        case 2:
            target = int64_t(dstInfo.lHeight) + line - 1;
            break;
        default:
            return kVxErrResizeSize;
    }
    if (target < 0 || target >= dstInfo.lHeight) return kVxErrResizeState;
    lSeekTarget = int32_t(target);
    return 2;
}

int32_t CUtilResize::SeekLine(const void* line) {
    if (bBegun == 0 || lSeekTarget == -1) return kVxErrResizeState;
    // The discarded lines are output lines; the scratch is sized for whichever side is wider.
    const int32_t sourceBytes = srcInfo.RowBytes();
    const int32_t outputBytes = dstInfo.RowBytes();
    ScratchLine scratch(sourceBytes > outputBytes ? sourceBytes : outputBytes);
    if (scratch.data() == nullptr) return kVxErrResizeMemory;
    int32_t result = SetLine(line);
    if (result < 0) return result;
    const int32_t pulls = lLinesReady;
    for (int32_t i = 0; i < pulls && lLinesOut != lSeekTarget - 1; ++i) {
        result = PullCounted(scratch.data());
        if (result != kVxOk) break;
    }
    return result;
}

int32_t CUtilResize::GetImage(const CUImageInfo& source, const void* pixels,
                              const CURequest& request, void* output) {
    try {
        int32_t code = kVxErrResizeOther;
        std::unique_ptr<CResizeEngine> engine(CreateEngine(request.strResizeMethod, code));
        if (!engine) return code;
        const CUImageInfo out = OutputFor(source, request);
        ScratchLine line(out.lRowBytes);
        if (line.data() == nullptr) return kVxErrResizeMemory;
        code = ConvertErrorCode(engine->BeginResize(&source, &out));
        if (code != kVxOk) return code;
        const auto* in = static_cast<const unsigned char*>(pixels);
        auto* written = static_cast<unsigned char*>(output);
        const size_t sourceBytes = size_t(source.RowBytes());
        const size_t outputBytes = size_t(out.lRowBytes);
        int32_t linesOut = 0;
        for (int32_t y = 0; y < source.lHeight && code == kVxOk; ++y, in += sourceBytes) {
            const int32_t ready = engine->SetLine(in);
            if (ready < 0) {
                code = ConvertErrorCode(ready);
                break;
            }
            for (int32_t i = 0; i < ready && code == kVxOk; ++i) {
                code = ConvertErrorCode(engine->GetLine(line.data()));
                if (code == kVxOk && linesOut < out.lHeight)
                    std::memcpy(written + size_t(linesOut++) * outputBytes, line.data(),
                                outputBytes);
            }
        }
        const int32_t ended = ConvertErrorCode(engine->EndResize());
        return code == kVxOk ? ended : code;
    } catch (...) {
        return kVxErrResizeMemory;
    }
}

VX_EXTERN_C VX_API IUtilResizeIF* CreateUtilResize() {
    return new (std::nothrow) CUtilResize();
}
