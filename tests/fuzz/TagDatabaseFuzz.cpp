// One codec plug-in's tag database over any bytes: load, then walk every group and tag and
// read each value, as the camera information and the tool's tag listing do. Compiled once per
// codec module (VX_FUZZ_MODULE, VX_FUZZ_EXTENSION).
#include <dlfcn.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "FuzzSupport.h"
#include "vandrel/PlugIn.h"
#include "vandrel/TagDB.h"
#include "vandrel/Variant.h"

namespace {

IPlugIn* Prototype() {
    static IPlugIn* prototype = [] {
        void* module = ::dlopen(VX_FUZZ_MODULE, RTLD_NOW | RTLD_LOCAL);
        auto create =
            module != nullptr
                ? reinterpret_cast<VxCreatePlugInProc>(::dlsym(module, kVxPlugInEntryPoint))
                : nullptr;
        IPlugIn* made = create != nullptr ? create() : nullptr;
        if (made == nullptr) std::abort();
        return made;
    }();
    return prototype;
}

void WalkTags(IUTagDB* db) {
    const int32_t groups = db->GetGroupCount();
    for (int32_t group = 0; group < groups && group < 64; ++group) {
        const int32_t tags = db->GetTagCount(group);
        for (int32_t index = 0; index < tags && index < 4096; ++index) {
            CUtilVariant value;
            if (db->GetTagValue(group, db->GetTagId(group, index), value) > 0) (void)value.text();
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string path = vxfuzz::InputFile(data, size, "input" VX_FUZZ_EXTENSION);
    IUTagDB* db = Prototype()->CreateTagDB();
    if (db == nullptr) return 0;
    if (db->Load(path.c_str()) > 0) WalkTags(db);
    db->Delete();
    return 0;
}
