// Shrink-on-load: a JPEG decoded at a reduced DCT scale (1/2, 1/4, 1/8) into a container, so a
// thumbnail of a large photograph never decodes all of its pixels. The tool makes its own
// reader instance from the plug-in shelf, because the factor must reach the decoder before it
// reports its size (kVxPropShrinkFactor); the resampler does the rest of the reduction.
#ifndef VANDREL_TOOL_SHRINKINGSOURCE_H
#define VANDREL_TOOL_SHRINKINGSOURCE_H

#include <cstdint>
#include <string>

#include "PlugInShelf.h"
#include "vandrel/MacroCallback.h"
#include "vandrel/UtilContainerIF.h"

namespace vxtool {

class CShrinkingSource {
public:
    // callback (may be null) gets the decode stage and can cancel it.
    CShrinkingSource(const CPlugInShelf* shelf, IMacroCallback* callback);

    // The largest of 8, 4 and 2 whose reduced size (rounded up, as the scaled DCT rounds)
    // still covers width x height, when that is at most half the source on both sides; else 1.
    static int32_t FactorFor(int32_t sourceWidth, int32_t sourceHeight, int32_t width,
                             int32_t height);

    // Decodes path at 1/factor into dst as 24-bit RGB lines. 1 or a warning; 0 when the file's
    // codec cannot shrink (nothing was decoded); else the failing code.
    int32_t Decode(const std::string& path, int32_t factor, IUtilContainerIF* dst);

private:
    int32_t ReadLines(IPlugIn* reader, const CUImageInfo& info, IUtilContainerIF* dst);
    bool GoOn(int32_t answer) const { return m_callback == nullptr || answer >= 1; }

    const CPlugInShelf* m_shelf;
    IMacroCallback* m_callback;
};

}  // namespace vxtool

#endif
