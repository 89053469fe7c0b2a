// The image-file service the tool's commands share, loaded from one plug-in folder.
#ifndef VANDREL_TOOL_TOOLSERVICE_H
#define VANDREL_TOOL_TOOLSERVICE_H

#include <string>

#include "vandrel/VandrelIF.h"

namespace vxtool {

// <folder of the executable>/../lib/vandrel/plugins: the same in the build tree and in an
// installed tree, so neither needs an option.
std::string DefaultPlugInFolder();

class CToolService {
public:
    explicit CToolService(const std::string& plugInFolder);
    ~CToolService();
    CToolService(const CToolService&) = delete;
    CToolService& operator=(const CToolService&) = delete;

    // Null when the service could not be made.
    IVandrelIF* get() const { return m_service; }
    const std::string& folder() const { return m_folder; }
    // True when at least one plug-in was loaded.
    bool HasPlugIns() const;

private:
    std::string m_folder;
    IVandrelIF* m_service = nullptr;
};

}  // namespace vxtool

#endif
