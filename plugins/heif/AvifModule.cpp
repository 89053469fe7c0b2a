// The module that reads and writes AVIF.
#include <new>

#include "HeifPlugIn.h"
#include "vandrel/Export.h"

extern "C" VX_API IPlugIn* CreatePlugIn() {
    return new (std::nothrow) vxcodec::CHeifPlugIn(vxcodec::HeifFamily::kAv1);
}
