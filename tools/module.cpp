// The module's own instance handle, kept at load time for string-resource
// lookups, and the string table that goes with it where the platform has no
// resource section.
#include "tools/module.h"

#include <cstdint>

namespace cmskit {
namespace {
HINSTANCE g_instance = nullptr;
}

// Linked into a program instead of loaded as a DLL, the library never sees
// DllMain: the program is then its module, string table included.
HINSTANCE OwnModuleInstance() { return g_instance ? g_instance : GetModuleHandleA(nullptr); }

}  // namespace cmskit

extern "C" {

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) cmskit::g_instance = instance;
  return TRUE;
}

// Read by the platform's LoadStringA where modules carry no resources.
PLATFORM_API extern const PlatformStringResource cmskit_string_table[];
const PlatformStringResource cmskit_string_table[] = {
#define X(id, text) {id, text},
#include "strings.def"
#undef X
    {0, nullptr},
};
}
