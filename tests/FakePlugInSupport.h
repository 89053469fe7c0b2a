// Helpers for tests that load the stand-in plug-in modules built beside the tests.
#ifndef VANDREL_TESTS_FAKEPLUGINSUPPORT_H
#define VANDREL_TESTS_FAKEPLUGINSUPPORT_H

#include <dlfcn.h>

#include <memory>
#include <string>

#include "platform/BundleLoadRec.h"
#include "service/Vandrel.h"

namespace vxtest {

// A folder (or a module inside it) of the stand-in plug-ins.
inline std::string FakePlugInPath(const std::string& relative) {
    return std::string(VANDREL_FAKE_PLUGIN_DIR) + "/" + relative;
}

// An exported test hook of a module that is already mapped; null when it is not mapped.
template <typename F>
F ModuleSymbol(const std::string& modulePath, const char* name) {
    void* module = ::dlopen(modulePath.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
    if (module == nullptr) return nullptr;
    void* symbol = ::dlsym(module, name);
    ::dlclose(module);
    return reinterpret_cast<F>(symbol);
}

// Prototypes and instances of a stand-in module that are alive; -1 when it is not mapped.
inline int FakeLiveObjects(const std::string& modulePath) {
    auto count = ModuleSymbol<int (*)()>(modulePath, "FakeLiveObjects");
    return count != nullptr ? count() : -1;
}

struct ServiceDeleter {
    void operator()(CVandrel* service) const {
        if (service != nullptr) service->Delete();
    }
};
using ServicePtr = std::unique_ptr<CVandrel, ServiceDeleter>;

inline ServicePtr MakeService(const char* plugInPath) {
    return ServicePtr(new CVandrel(plugInPath));
}
inline ServicePtr MakeService(const std::string& plugInPath) {
    return MakeService(plugInPath.c_str());
}

}  // namespace vxtest

#endif
