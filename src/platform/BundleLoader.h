// Loading codec plug-in modules. A plug-in is a shared object; it is mapped privately
// (RTLD_LOCAL) so that two plug-ins may carry the same symbol names, and its dlopen handle is
// the module's identity for as long as it stays mapped.
#ifndef VANDREL_PLATFORM_BUNDLELOADER_H
#define VANDREL_PLATFORM_BUNDLELOADER_H

#include <string>
#include <vector>

namespace BundleLoader {

typedef void* BundleRef;

enum PathKind { kPathMissing, kPathFile, kPathFolder };

// What the path names, following symbolic links.
PathKind Classify(const char* path);

// Names of the entries of a folder whose attributes can be read, "." and ".." included, in
// the order the folder yields them. False when the folder cannot be read.
bool ListFolder(const char* folder, std::vector<std::string>* names);

// The handle of the module already mapped from this path, or null. Takes no reference: the
// probe's own reference is given back at once.
BundleRef FindLoaded(const char* path);

// Maps the module (all symbols resolved now) and takes one reference; null when the file is
// not a loadable module.
BundleRef Load(const char* path);

// Address of an exported symbol, or null.
void* FindSymbol(BundleRef bundle, const char* name);

// Gives back one reference taken by Load.
void Unload(BundleRef bundle);

}  // namespace BundleLoader

#endif
