#include <cstdlib>
#include <new>

#include "platform/OSLib.h"
#include "service/Vandrel.h"

namespace {

// Draws before the generator gives up on a crowded table.
constexpr int kHandleDraws = 100;

}  // namespace

int32_t CVandrel::GenerateHandle() {
    CriticalSection guard(pCS);
    try {
        int32_t value = 0;
        for (int draw = 0; draw < kHandleDraws; ++draw) {
            value = int32_t(std::rand());
            if (value == 0) continue;
            if (mapParam[value].pPlugIn == nullptr) break;
        }
        // Only a hundredth draw of 0 can bring 0 here; it is handed out like any other value.
        if (mapParam[value].pPlugIn != nullptr) return kVxErrNoFreeHandle;
        return value;
    } catch (const std::bad_alloc&) {
        return kVxErrNoFreeHandle;
    }
}

int32_t CVandrel::GetImageHandle(const char* fileName) {
    return GetImageHandle(fileName, nullptr);
}

int32_t CVandrel::GetImageHandle(const char* fileName, const char* format) {
    CriticalSection guard(pCS);
    IPlugIn* prototype;
    if (format == nullptr) {
        if (OSLib::VxFexist(fileName) != 1) return kVxErrBadHandle;
        prototype = GetPluginObj(fileName, nullptr, false);
    } else {
        // A file about to be written need not exist yet.
        prototype = GetPluginObj(fileName, format, true);
    }
    if (prototype == nullptr) return kVxErrNoPlugIn;

    IPlugIn* instance = prototype->CreateInstance();
    if (instance == nullptr) return kVxErrCreateInstance;
    int32_t handle = GenerateHandle();
    if (handle < 0) {
        instance->Delete();
        return handle;
    }
    instance->SetFileName(fileName);
    // The generator left an entry for the handle; binding the instance puts it in use.
    mapParam.find(handle)->second.pPlugIn = instance;
    return handle;
}

int32_t CVandrel::DeleteImageHandle(int32_t handle) {
    CriticalSection guard(pCS);
    IPlugIn* instance = GetPluginObj(handle);
    if (instance == nullptr) return kVxErrBadHandle;
    instance->Delete();
    mapParam.erase(handle);
    return kVxOk;
}

IPlugIn* CVandrel::GetPluginObj(int32_t handle) {
    CriticalSection guard(pCS);
    try {
        IPlugIn* instance = mapParam[handle].pPlugIn;
        if (instance == nullptr || instance->IsReady() != 1) return nullptr;
        return instance;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

int32_t CVandrel::GetParameter(CParam** out, int32_t handle) {
    CriticalSection guard(pCS);
    if (out == nullptr || GetPluginObj(handle) == nullptr) return kVxNo;
    *out = &mapParam.find(handle)->second;
    return kVxOk;
}

int32_t CVandrel::GetParameter(CParam** out, int32_t handle, const CURequest& request) {
    CriticalSection guard(pCS);
    if (out == nullptr || GetPluginObj(handle) == nullptr) return kVxNo;
    CParam& param = mapParam.find(handle)->second;
    param = request;
    *out = &param;
    return kVxOk;
}

int32_t CVandrel::SetParameter(const CParam& param, int32_t handle) {
    CriticalSection guard(pCS);
    if (GetPluginObj(handle) == nullptr) return kVxNo;
    mapParam.find(handle)->second = param;
    return kVxOk;
}
