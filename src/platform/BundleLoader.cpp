#include "platform/BundleLoader.h"

#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>

namespace BundleLoader {

PathKind Classify(const char* path) {
    struct stat st;
    if (path == nullptr || *path == 0 || ::stat(path, &st) != 0) return kPathMissing;
    return S_ISDIR(st.st_mode) ? kPathFolder : kPathFile;
}

bool ListFolder(const char* folder, std::vector<std::string>* names) {
    DIR* dir = ::opendir(folder);
    if (dir == nullptr) return false;
    std::string base(folder);
    if (base.empty() || base.back() != '/') base += '/';
    while (const dirent* entry = ::readdir(dir)) {
        // An entry whose attributes cannot be read (a dangling link, a race with a delete)
        // is passed over, as if it were not there.
        struct stat st;
        if (::stat((base + entry->d_name).c_str(), &st) != 0) continue;
        names->push_back(entry->d_name);
    }
    ::closedir(dir);
    return true;
}

BundleRef FindLoaded(const char* path) {
    void* probe = ::dlopen(path, RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
    // The probe raised the module's reference count; the earlier reference keeps it mapped
    // and the handle valid.
    if (probe != nullptr) ::dlclose(probe);
    return probe;
}

BundleRef Load(const char* path) {
    return ::dlopen(path, RTLD_NOW | RTLD_LOCAL);
}

void* FindSymbol(BundleRef bundle, const char* name) {
    return bundle != nullptr ? ::dlsym(bundle, name) : nullptr;
}

void Unload(BundleRef bundle) {
    if (bundle != nullptr) ::dlclose(bundle);
}

}  // namespace BundleLoader
