// The plug-in's list of file kinds, such as ".pnm;.ppm;.pgm;PNM;": entries end with ";";
// those beginning with "." are extensions compared without regard to case, the others are
// four-character type codes, which files on this system do not carry.
#ifndef VANDREL_PLUGINS_PNM_PNMEXTENSIONLIST_H
#define VANDREL_PLUGINS_PNM_PNMEXTENSIONLIST_H

#include <string>

class CPnmExtensionList {
public:
    explicit CPnmExtensionList(const char* initial) : m_text(initial) {}

    const char* Text() const { return m_text.c_str(); }
    // Adds one entry; false for an empty or null one.
    bool Add(const char* entry);
    // The extension runs from the last "." of the whole path to the end of that path
    // component, so "/a.b/file" has the extension ".b".
    bool Matches(const char* path) const;

private:
    std::string m_text;
};

#endif
