// The process-wide account of loaded plug-in modules: at most 32 modules, each with the number
// of registry loads that use it. Every service object shares it and nothing guards it, because
// loading and unloading plug-ins belong to set-up and tear-down time, on one thread.
#ifndef VANDREL_PLATFORM_BUNDLELOADREC_H
#define VANDREL_PLATFORM_BUNDLELOADREC_H

#include <cstdint>

#include "platform/BundleLoader.h"

class CBundleLoadRec {
public:
    static constexpr int32_t kCapacity = 32;

    struct Entry {
        BundleLoader::BundleRef bundle;
        int32_t lUseCount;
    };

    // Adds one use to a known module; false when the module has no entry.
    static bool AddUse(BundleLoader::BundleRef bundle);
    // A new entry with one use; false when the table is full.
    static bool Insert(BundleLoader::BundleRef bundle);
    static bool IsFull();
    // Takes one use away; an entry left without uses is removed and the later ones move down.
    static void RemoveUse(BundleLoader::BundleRef bundle);

    static int32_t Count();
    // Use count of a module, 0 when it has no entry.
    static int32_t UseCount(BundleLoader::BundleRef bundle);
    static Entry At(int32_t index);

    // Forgets every entry, so that each test starts from an empty table. The modules stay
    // mapped, as they always do.
    static void ResetForTesting();

private:
    static int32_t IndexOf(BundleLoader::BundleRef bundle);
};

#endif
