#include "Engines.h"

#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <mutex>

#include "Failure.h"

namespace vxpy {
namespace {

// Services load and unload plug-ins through the library's process-wide module table, which
// has no guard of its own; making and releasing them one at a time keeps it whole.
std::mutex g_setUp;
std::string g_folder;  // guarded by g_setUp; "" = default
std::atomic<uint64_t> g_folderGeneration{1};

std::string ModuleFolder() {
    Dl_info where;
    if (::dladdr(reinterpret_cast<void*>(&ModuleFolder), &where) == 0 || where.dli_fname == nullptr)
        return ".";
    std::string path(where.dli_fname);
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash);
}

std::string DefaultFolder() {
    const char* fromEnvironment = std::getenv("VANDREL_PLUGIN_DIR");
    if (fromEnvironment != nullptr && fromEnvironment[0] != 0) return fromEnvironment;
    const std::string folder = ModuleFolder() + "/" VANDREL_PYTHON_TO_PREFIX VANDREL_PLUGIN_SUBDIR;
    char resolved[PATH_MAX];
    return ::realpath(folder.c_str(), resolved) != nullptr ? std::string(resolved) : folder;
}

}  // namespace

std::string PlugInFolder() {
    std::lock_guard<std::mutex> lock(g_setUp);
    return g_folder.empty() ? DefaultFolder() : g_folder;
}

void SetPlugInFolder(const std::string& folder) {
    std::lock_guard<std::mutex> lock(g_setUp);
    g_folder = folder;
    ++g_folderGeneration;
}

CEngines& CEngines::ForThisThread() {
    static thread_local std::unique_ptr<CEngines> engines;
    if (!engines) engines.reset(new CEngines());
    return *engines;
}

CEngines::~CEngines() {
    ReleaseService();
    if (m_resizer != nullptr) m_resizer->Delete();
    if (m_rotator != nullptr) m_rotator->Delete();
}

void CEngines::ReleaseService() {
    std::lock_guard<std::mutex> lock(g_setUp);
    delete m_shelf;
    m_shelf = nullptr;
    if (m_service != nullptr) m_service->Delete();
    m_service = nullptr;
}

IVandrelIF* CEngines::Service() {
    if (m_service != nullptr && m_folderGeneration == g_folderGeneration.load()) return m_service;
    ReleaseService();
    const std::string folder = PlugInFolder();
    {
        std::lock_guard<std::mutex> lock(g_setUp);
        m_folderGeneration = g_folderGeneration.load();
        m_service = CreateVandrel(folder.c_str());
        m_folder = folder;
    }
    if (m_service == nullptr)
        throw CFailure{kVxErrCreateInstance, folder, "the image-file service could not start"};
    const char* types = m_service->GetSupportedReadingType();
    if (types == nullptr || types[0] == 0) {
        ReleaseService();
        throw CFailure{kVxErrNoPlugIn, folder, "no plug-ins found in this folder"};
    }
    return m_service;
}

const vxtool::CPlugInShelf& CEngines::Shelf() {
    Service();
    if (m_shelf == nullptr) {
        std::lock_guard<std::mutex> lock(g_setUp);
        m_shelf = new vxtool::CPlugInShelf(m_folder);
    }
    return *m_shelf;
}

IUtilResizeIF* CEngines::Resizer() {
    if (m_resizer == nullptr) m_resizer = CreateUtilResize();
    if (m_resizer == nullptr) throw CFailure{kVxErrResizeMemory, "", ""};
    return m_resizer;
}

IUtilRotateIF* CEngines::Rotator() {
    if (m_rotator == nullptr) m_rotator = CreateUtilRotate();
    if (m_rotator == nullptr) throw CFailure{kVxErrAccessMemory, "", ""};
    return m_rotator;
}

}  // namespace vxpy
