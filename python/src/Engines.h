// The library objects a Python thread works with. The library has no threads of its own and an
// object serves one thread at a time, so each Python thread gets its own service, resize and
// rotation objects, made on first use and released when the thread ends.
#ifndef VANDREL_PYTHON_ENGINES_H
#define VANDREL_PYTHON_ENGINES_H

#include <cstdint>
#include <memory>
#include <string>

#include "PlugInShelf.h"
#include "vandrel/UtilResizeIF.h"
#include "vandrel/UtilRotateIF.h"
#include "vandrel/VandrelIF.h"

namespace vxpy {

// The plug-in folder in force: the one set by SetPlugInFolder, else $VANDREL_PLUGIN_DIR, else
// <prefix>/lib/vandrel/plugins seen from the module's own file (build and installed trees
// alike, as the tool finds its plug-ins).
std::string PlugInFolder();
// "" goes back to the default. Services made from then on, in every thread, use the folder.
void SetPlugInFolder(const std::string& folder);

class CEngines {
public:
    // This thread's objects. Throws CFailure when one cannot be made.
    static CEngines& ForThisThread();

    ~CEngines();
    CEngines(const CEngines&) = delete;
    CEngines& operator=(const CEngines&) = delete;

    // A service with at least one plug-in loaded (CFailure otherwise), made again when the
    // folder in force has changed since.
    IVandrelIF* Service();
    // The plug-in modules of the same folder, loaded beside the service for the work its line
    // interface has no words for (metadata, writer settings); made again with the service.
    const vxtool::CPlugInShelf& Shelf();
    IUtilResizeIF* Resizer();
    IUtilRotateIF* Rotator();

private:
    CEngines() = default;
    void ReleaseService();

    IVandrelIF* m_service = nullptr;
    std::string m_folder;  // the service's
    vxtool::CPlugInShelf* m_shelf = nullptr;
    IUtilResizeIF* m_resizer = nullptr;
    IUtilRotateIF* m_rotator = nullptr;
    uint64_t m_folderGeneration = 0;
};

}  // namespace vxpy

#endif
