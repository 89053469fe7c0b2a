// The module that reads the HEVC family (HEIC, HEIF).
#include <new>

#include "HeifPlugIn.h"
#include "vandrel/Export.h"

extern "C" VX_API IPlugIn* CreatePlugIn() {
    return new (std::nothrow) vxcodec::CHeifPlugIn(vxcodec::HeifFamily::kHevc);
}
