// The plug-in modules of one folder, loaded a second time beside the service for the work the
// service's line interface has no words for: handing a writer its profile and Exif block, or
// asking a decoder to decode at a reduced scale before it reports its size (CodecProperties.h).
// Modules are taken in byte order of their names and the first prototype that answers 1 wins,
// as the service chooses, so both always pick the same codec for the same file.
#ifndef VANDREL_TOOL_PLUGINSHELF_H
#define VANDREL_TOOL_PLUGINSHELF_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vandrel/PlugIn.h"

namespace vxtool {

struct PlugInDeleter {
    void operator()(IPlugIn* plugIn) const {
        if (plugIn != nullptr) plugIn->Delete();
    }
};
// An instance or prototype; it dies through Delete(), in the module that made it.
using PlugInPtr = std::unique_ptr<IPlugIn, PlugInDeleter>;

class CPlugInShelf {
public:
    explicit CPlugInShelf(const std::string& folder);
    ~CPlugInShelf();
    CPlugInShelf(const CPlugInShelf&) = delete;
    CPlugInShelf& operator=(const CPlugInShelf&) = delete;

    // A fresh instance set to read fileName, or null when no plug-in takes the file.
    PlugInPtr ReaderFor(const std::string& fileName) const;
    // A fresh instance of the plug-in that writes formatName, or null when none does.
    PlugInPtr WriterFor(const std::string& formatName) const;
    // The prototype that reads fileName, or null; it belongs to the shelf.
    IPlugIn* PrototypeFor(const std::string& fileName) const;

private:
    struct Module {
        void* handle;
        PlugInPtr prototype;
    };
    std::vector<Module> m_modules;
};

// The bytes of a block property (kVxPropIccProfile, kVxPropExif, kVxPropXmp) of an instance
// whose status has been read; empty when the file has none or the plug-in does not know it.
std::string ReadBlockProperty(IPlugIn* instance, int32_t id);

}  // namespace vxtool

#endif
