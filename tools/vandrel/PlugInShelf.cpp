#include "PlugInShelf.h"

#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>

#include <algorithm>

#include "vandrel/CodecProperties.h"

namespace vxtool {
namespace {

std::vector<std::string> ModuleNames(const std::string& folder) {
    std::vector<std::string> names;
    DIR* dir = ::opendir(folder.c_str());
    if (dir == nullptr) return names;
    while (const dirent* entry = ::readdir(dir)) {
        struct stat st;
        const std::string path = folder + "/" + entry->d_name;
        if (::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode)) names.push_back(entry->d_name);
    }
    ::closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

CPlugInShelf::CPlugInShelf(const std::string& folder) {
    const std::string base = folder.empty() || folder.back() == '/' ? folder : folder + "/";
    for (const std::string& name : ModuleNames(folder)) {
        void* handle = ::dlopen((base + name).c_str(), RTLD_NOW | RTLD_LOCAL);
        if (handle == nullptr) continue;
        auto create = reinterpret_cast<VxCreatePlugInProc>(::dlsym(handle, kVxPlugInEntryPoint));
        PlugInPtr prototype(create != nullptr ? create() : nullptr);
        if (prototype == nullptr) {
            ::dlclose(handle);
            continue;
        }
        prototype->Initialize(base.c_str());
        m_modules.push_back(Module{handle, std::move(prototype)});
    }
}

CPlugInShelf::~CPlugInShelf() {
    // Prototypes die before the code that made them is unmapped.
    for (Module& module : m_modules) {
        module.prototype.reset();
        ::dlclose(module.handle);
    }
}

IPlugIn* CPlugInShelf::PrototypeFor(const std::string& fileName) const {
    for (const Module& module : m_modules)
        if (module.prototype->IsSupportedFile(fileName.c_str()) == 1) return module.prototype.get();
    return nullptr;
}

PlugInPtr CPlugInShelf::ReaderFor(const std::string& fileName) const {
    IPlugIn* prototype = PrototypeFor(fileName);
    PlugInPtr instance(prototype != nullptr ? prototype->CreateInstance() : nullptr);
    if (instance != nullptr) instance->SetFileName(fileName.c_str());
    return instance;
}

PlugInPtr CPlugInShelf::WriterFor(const std::string& formatName) const {
    for (const Module& module : m_modules) {
        IPlugIn* prototype = module.prototype.get();
        if (prototype->GetWritingType() != nullptr &&
            prototype->IsSupportedFormat(formatName.c_str()) == 1)
            return PlugInPtr(prototype->CreateInstance());
    }
    return nullptr;
}

std::string ReadBlockProperty(IPlugIn* instance, int32_t id) {
    VxByteBlock block;
    if (instance == nullptr || instance->GetProperty(id, &block) != 1 || block.data == nullptr)
        return std::string();
    return std::string(reinterpret_cast<const char*>(block.data), block.size);
}

}  // namespace vxtool
