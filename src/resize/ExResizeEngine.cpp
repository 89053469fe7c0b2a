#include "resize/ExResizeEngine.h"

#include <cctype>
#include <cstring>
#include <new>

namespace {

struct NamedMethod {
    const char* name;
    EXRESIZE_METHOD method;
};
constexpr NamedMethod kNamedMethods[] = {
    {"Nearest", EXRESIZE_NEAREST},
    {"Bilinear", EXRESIZE_BILINEAR},
    {"Bicubic", EXRESIZE_BICUBIC},
    {"Quorix", EXRESIZE_QUORIX},
};

}  // namespace

CExResizeEngine::CExResizeEngine() = default;

CExResizeEngine::CExResizeEngine(const char* methodName) {
    m_methodValid = GetResizeMethod(methodName, m_method);
    if (methodName != nullptr) {
        std::strncpy(m_name, methodName, kNameCapacity - 1);
        m_name[kNameCapacity - 1] = 0;
    }
}

CExResizeEngine::~CExResizeEngine() {
    EndResize();
}

CResizeEngine* CExResizeEngine::Clone() {
    return new (std::nothrow) CExResizeEngine();
}

int32_t CExResizeEngine::StrComp(const char* a, const char* b) {
    if (a == nullptr || b == nullptr) return 0;
    const size_t n = std::strlen(a);
    if (n != std::strlen(b)) return 0;
    for (size_t i = 0; i < n; ++i)
        if (std::toupper(static_cast<unsigned char>(a[i])) !=
            std::toupper(static_cast<unsigned char>(b[i])))
            return 0;
    return 1;
}

int32_t CExResizeEngine::GetResizeMethod(const char* name, EXRESIZE_METHOD& method) {
    for (const NamedMethod& m : kNamedMethods) {
        if (StrComp(name, m.name) == 1) {
            method = m.method;
            return 1;
        }
    }
    return 0;
}

int32_t CExResizeEngine::IsSupportedMethod(const char* name) {
    EXRESIZE_METHOD scratch = EXRESIZE_NEAREST;
    return GetResizeMethod(name, scratch);
}

uint32_t CExResizeEngine::FormatWordFor(const CUImageInfo& info) {
    const int32_t depth = info.lColorDepth;
    if (info.IsColorSpace("RGB")) {
        if (depth == 8) return EXFORMAT_GRAY8;
        if (depth == 16) return EXFORMAT_GRAY16;
        if (info.bNative == 0) {
            if (depth == 24) return EXFORMAT_RGB24;
            if (depth == 48) return EXFORMAT_RGB48;
            return 0;
        }
        if (depth == 24) return EXFORMAT_RGB24_NATIVE;
        if (depth == 32) return EXFORMAT_RGB32_NATIVE;
        if (depth == 48) return EXFORMAT_RGB48_NATIVE;
        if (depth == 64) return EXFORMAT_RGB64_NATIVE;
        return 0;
    }
    if (info.IsColorSpace("YCC")) {
        if (depth == 24) return EXFORMAT_YCC24;
        if (depth == 48) return EXFORMAT_YCC48;
    }
    return 0;
}

int32_t CExResizeEngine::BeginResize(const CUImageInfo* source, const CUImageInfo* destination) {
    if (m_methodValid == 0 || source == nullptr || destination == nullptr) return EXERR_SIZE;
    const uint32_t word = FormatWordFor(*source);
    if (word == 0) return EXERR_SIZE;
    const EXIMAGEINFO from = {source->lWidth, source->lHeight, word};
    const EXIMAGEINFO to = {destination->lWidth, destination->lHeight, word};
    EndResize();  // an engine begun twice gives up its first handle
    const int32_t created = ExCreateResizeHandle(&m_handle);
    if (created != 0) {
        m_handle = nullptr;
        return created;
    }
    const int32_t begun = ExBeginResize(&from, &to, m_method, 0, m_handle);
    m_lastPush = 0;
    if (begun != 0) {
        ExDisposeResizeHandle(m_handle);
        m_handle = nullptr;
        return begun;
    }
    return 0;
}

int32_t CExResizeEngine::EndResize() {
    if (m_handle == nullptr) return 0;
    int32_t result = ExEndResize(m_handle);
    const int32_t disposed = ExDisposeResizeHandle(m_handle);
    if (result == 0 && disposed != 0) result = disposed;
    m_handle = nullptr;
    return result;
}

int32_t CExResizeEngine::SetLine(const void* line) {
    m_lastPush = ExResizeSetLine(line, m_handle);
    return m_lastPush;
}

int32_t CExResizeEngine::GetLine(void* line) {
    return ExResizeGetLine(line, m_handle, nullptr);
}
