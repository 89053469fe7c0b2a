#include "service/Vandrel.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>

#include "platform/BundleLoadRec.h"

namespace {

// Folder entries that belong to other products sharing the folder; compared exactly.
const char* const kExcludedNames[] = {"LensModule2", "Tessmor2.bundle", "LensModule",
                                      "Tessmor.bundle"};

// Longest full path of a folder entry, terminator included.
constexpr size_t kPathCapacity = 1024;

bool IsExcluded(const std::string& name) {
    for (const char* excluded : kExcludedNames) {
        if (name == excluded) return true;
    }
    return false;
}

// The text of the last question of its kind; shared by all service objects of a thread. One
// text per thread rather than per process: services on different threads (each used by one
// thread at a time, as the rules allow) would otherwise rewrite a string another thread is
// reading. Within a thread the answers are exactly those of a process-wide text.
std::string& SharedExtensionText() {
    static thread_local std::string extension;
    return extension;
}

std::string& SharedVersionText() {
    static thread_local std::string version;
    return version;
}

}  // namespace

VX_EXTERN_C VX_API IVandrelIF* CreateVandrel(const char* plugInPath) {
    try {
        return new CVandrel(plugInPath);
    } catch (...) {
        return nullptr;
    }
}

CVandrel::CVandrel(const char* plugInPath) {
    std::srand(unsigned(std::time(nullptr)));
    if (plugInPath != nullptr) LoadPlugIn(plugInPath);
    pCS = UInitializeCriticalSection();
}

CVandrel::~CVandrel() {
    UnloadPlugIn();
    UDeleteCriticalSection(pCS);
}

void CVandrel::Delete() {
    delete this;
}

int32_t CVandrel::AddPlugInPath(const char* path) {
    LoadPlugIn(path);
    return kVxOk;
}

void CVandrel::LoadPlugIn(const char* path) {
    try {
        BundleLoader::PathKind kind = BundleLoader::Classify(path);
        if (kind == BundleLoader::kPathMissing) return;

        std::string base(path);
        std::vector<std::string> candidates;
        if (kind == BundleLoader::kPathFile) {
            candidates.push_back(base);
        } else {
            if (base.back() != '/') base += '/';
            std::vector<std::string> names;
            if (!BundleLoader::ListFolder(base.c_str(), &names)) return;
            for (const std::string& name : names) {
                if (name.empty() || name[0] == '.' || IsExcluded(name)) continue;
                std::string full = base + name;
                if (full.size() >= kPathCapacity) continue;
                candidates.push_back(full);
            }
        }

        std::string plugInFolder = base;
        size_t slash = plugInFolder.rfind('/');
        if (slash != std::string::npos) plugInFolder.erase(slash + 1);

        // Byte order of the full paths, not the folder's order, decides who is asked first.
        std::sort(candidates.begin(), candidates.end());
        for (const std::string& candidate : candidates)
            LoadOneBundle(candidate, plugInFolder);
    } catch (...) {
        // Out of memory while listing: fewer plug-ins, as with any other loading failure.
    }
}

void CVandrel::LoadOneBundle(const std::string& path, const std::string& plugInFolder) {
    BundleLoader::BundleRef mapped = BundleLoader::FindLoaded(path.c_str());
    const bool counted = mapped != nullptr && CBundleLoadRec::AddUse(mapped);
    // A full table refuses a module it does not know yet, before mapping it.
    if (!counted && CBundleLoadRec::IsFull()) return;

    BundleLoader::BundleRef bundle = BundleLoader::Load(path.c_str());
    if (bundle == nullptr) return;  // not a loadable module
    if (!counted) CBundleLoadRec::Insert(bundle);
    // From here on the use just counted stays counted, whatever happens to this module.

    auto create =
        reinterpret_cast<VxCreatePlugInProc>(BundleLoader::FindSymbol(bundle, kVxPlugInEntryPoint));
    if (create == nullptr) {
        BundleLoader::Unload(bundle);
        return;
    }
    IPlugIn* prototype = create();
    if (prototype == nullptr) {
        BundleLoader::Unload(bundle);
        return;
    }
    vecBundle.reserve(vecBundle.size() + 1);
    vecPlugIn.reserve(vecPlugIn.size() + 1);
    vecBundle.push_back(bundle);
    prototype->Initialize(plugInFolder.c_str());
    vecPlugIn.push_back(prototype);
}

void CVandrel::UnloadPlugIn() {
    for (IPlugIn* prototype : vecPlugIn) {
        if (prototype != nullptr) prototype->Delete();
    }
    vecPlugIn.clear();
    // The modules stay mapped for the life of the process: instances a caller still holds,
    // and other service objects, may run their code.
    for (BundleLoader::BundleRef bundle : vecBundle) {
        if (bundle != nullptr) CBundleLoadRec::RemoveUse(bundle);
    }
    vecBundle.clear();
}

IPlugIn* CVandrel::GetPluginObj(const char* fileName, const char* format, bool byFormat) {
    for (IPlugIn* prototype : vecPlugIn) {
        if (prototype == nullptr) continue;
        int32_t answer =
            byFormat ? prototype->IsSupportedFormat(format) : prototype->IsSupportedFile(fileName);
        if (answer == 1) return prototype;
    }
    return nullptr;
}

const char* CVandrel::GetSupportedReadingType() {
    try {
        if (strReadingTypes.empty()) {
            for (IPlugIn* prototype : vecPlugIn) {
                if (prototype == nullptr) continue;
                const char* type = prototype->GetReadingType();
                if (type == nullptr || *type == 0) continue;
                strReadingTypes += ' ';
                strReadingTypes += type;
            }
        }
    } catch (...) {
        strReadingTypes.clear();
    }
    return strReadingTypes.c_str();
}

const char* CVandrel::GetSupportedWritingType() {
    try {
        if (strWritingTypes.empty()) {
            for (IPlugIn* prototype : vecPlugIn) {
                if (prototype == nullptr) continue;
                const char* type = prototype->GetWritingType();
                if (type == nullptr) continue;
                strWritingTypes += type;
                strWritingTypes += ' ';
            }
        }
    } catch (...) {
        strWritingTypes.clear();
    }
    return strWritingTypes.c_str();
}

int32_t CVandrel::AddExtensionName(const char* format, const char* ext) {
    IPlugIn* prototype = GetPluginObj(nullptr, format, true);
    if (prototype == nullptr) return kVxErrInvalidArgument;
    return prototype->AddExtensionName(ext);
}

const char* CVandrel::GetExtensionName(const char* format) {
    std::string& extension = SharedExtensionText();
    extension.clear();
    try {
        if (format == nullptr) {
            // Each plug-in's list ends with ";", so plain concatenation keeps entries apart.
            for (IPlugIn* prototype : vecPlugIn) {
                if (prototype == nullptr) continue;
                const char* list = prototype->GetExtensionName();
                if (list != nullptr) extension += list;
            }
            return extension.c_str();
        }
        IPlugIn* prototype = GetPluginObj(nullptr, format, true);
        if (prototype == nullptr) return nullptr;
        const char* list = prototype->GetExtensionName();
        if (list != nullptr) extension = list;
    } catch (...) {
        extension.clear();
    }
    return extension.c_str();
}

const char* CVandrel::GetDecoderVersion(const char* format) {
    std::string& version = SharedVersionText();
    version.clear();
    if (format == nullptr) return nullptr;
    IPlugIn* prototype = GetPluginObj(nullptr, format, true);
    if (prototype == nullptr) return nullptr;
    try {
        const char* text = prototype->GetDecoderVersion();
        if (text != nullptr) version = text;
    } catch (...) {
        version.clear();
    }
    return version.c_str();
}

IUTagDB* CVandrel::CreateTagDB() {
    for (IPlugIn* prototype : vecPlugIn) {
        if (prototype == nullptr) continue;
        if (IUTagDB* db = prototype->CreateTagDB()) return db;
    }
    return nullptr;
}
