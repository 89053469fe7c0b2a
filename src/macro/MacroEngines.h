// The resize and rotation engines the macro drives. Until the engine interfaces are part of
// the tree the pipelines that need them answer kVxErrMacroUnsupported.
#ifndef VANDREL_MACRO_MACROENGINES_H
#define VANDREL_MACRO_MACROENGINES_H

#if __has_include("vandrel/UtilResizeIF.h")
#include "vandrel/UtilResizeIF.h"
#define VX_MACRO_HAS_RESIZE 1
#else
#define VX_MACRO_HAS_RESIZE 0
#endif

#if __has_include("vandrel/UtilRotateIF.h")
#include "vandrel/UtilRotateIF.h"
#define VX_MACRO_HAS_ROTATE 1
#else
#define VX_MACRO_HAS_ROTATE 0
#endif

#endif
