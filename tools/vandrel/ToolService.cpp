#include "ToolService.h"

#include <unistd.h>

#include <climits>
#include <cstdlib>

namespace vxtool {

std::string DefaultPlugInFolder() {
    char self[PATH_MAX];
    const ssize_t n = ::readlink("/proc/self/exe", self, sizeof self - 1);
    if (n <= 0) return VANDREL_PLUGIN_SUBDIR;
    self[n] = 0;
    std::string folder(self);
    folder.erase(folder.rfind('/'));
    folder += "/../" VANDREL_PLUGIN_SUBDIR;
    char resolved[PATH_MAX];
    return ::realpath(folder.c_str(), resolved) != nullptr ? std::string(resolved) : folder;
}

CToolService::CToolService(const std::string& plugInFolder)
    : m_folder(plugInFolder), m_service(CreateVandrel(plugInFolder.c_str())) {}

CToolService::~CToolService() {
    if (m_service != nullptr) m_service->Delete();
}

bool CToolService::HasPlugIns() const {
    if (m_service == nullptr) return false;
    const char* types = m_service->GetSupportedReadingType();
    return types != nullptr && types[0] != 0;
}

}  // namespace vxtool
