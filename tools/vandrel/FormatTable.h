// What the loaded plug-ins read and write, by format name, and the format a file name asks for.
#ifndef VANDREL_TOOL_FORMATTABLE_H
#define VANDREL_TOOL_FORMATTABLE_H

#include <string>
#include <vector>

#include "vandrel/VandrelIF.h"

namespace vxtool {

struct CFormatEntry {
    std::string name;  // "JPEG"
    bool reads = false;
    bool writes = false;
    std::string extensions;  // ".jpg;.jpeg;JPEG;" as the plug-in keeps it
    std::string version;     // the plug-in's decoder version text
};

class CFormatTable {
public:
    explicit CFormatTable(IVandrelIF* service);

    const std::vector<CFormatEntry>& entries() const { return m_entries; }

    // The format name to write a file of this name with: the extension itself when a plug-in
    // takes it as a format name (".pgm" gives "PGM"), otherwise the writing format whose
    // extension list holds it (".tif" gives "TIFF"). Empty when no writer matches.
    std::string FormatForPath(const std::string& path) const;

    // The dotted extensions of a list, without the four-character type codes: ".jpg .jpeg".
    static std::string DottedExtensions(const std::string& list);

private:
    IVandrelIF* m_service;
    std::vector<CFormatEntry> m_entries;
};

// True when a plug-in of the service takes formatName. Safe beside other threads' services:
// the service answers these questions in one text shared by all its objects, so this file
// asks them under one lock.
bool ServiceKnowsFormat(IVandrelIF* service, const std::string& formatName);

// The extension of a path's last component, dot included, lower-cased; "" when none.
std::string ExtensionOf(const std::string& path);

}  // namespace vxtool

#endif
