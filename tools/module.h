#ifndef CMSKIT_TOOLS_MODULE_H
#define CMSKIT_TOOLS_MODULE_H

#include "platform/win32.h"

namespace cmskit {
// This library's module, as the loader announced it; null before that.
HINSTANCE OwnModuleInstance();
}  // namespace cmskit

#endif
