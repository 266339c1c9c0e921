// Modules on the dynamic loader, with string tables compiled into the module
// (the symbol cmskit_string_table) in place of a resource section.
#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <string>

#include "platform/posix/errno_map.h"
#include "platform/win32.h"

namespace {

HMODULE AsModule(void* handle) { return reinterpret_cast<HMODULE>(handle); }
void* AsHandle(HMODULE module) { return reinterpret_cast<void*>(module); }

std::string ExecutablePath() {
  char buffer[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", buffer, sizeof(buffer) - 1);
  return n > 0 ? std::string(buffer, static_cast<size_t>(n)) : std::string();
}

void SetLoaderError() { SetLastError(ERROR_MOD_NOT_FOUND); }

}  // namespace

extern "C" {

// The module that contains this code calls its DllMain on load, as the
// Windows loader does for a DLL.
BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved) __attribute__((weak));

HMODULE GetModuleHandleA(LPCSTR name) {
  if (!name) return AsModule(dlopen(nullptr, RTLD_NOW | RTLD_NOLOAD));
  void* handle = dlopen(platform_posix::NativePath(name).c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (!handle) {
    SetLoaderError();
    return nullptr;
  }
  dlclose(handle);  // GetModuleHandle takes no reference
  return AsModule(handle);
}

DWORD GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size) {
  std::string path;
  struct link_map* map = nullptr;
  if (module && dlinfo(AsHandle(module), RTLD_DI_LINKMAP, &map) == 0 && map && map->l_name && map->l_name[0])
    path = map->l_name;
  else
    path = ExecutablePath();
  if (size == 0) return 0;
  const size_t n = path.size() < size ? path.size() : size - 1;
  memcpy(buffer, path.data(), n);
  buffer[n] = '\0';
  return static_cast<DWORD>(n);
}

HMODULE LoadLibraryA(LPCSTR name) {
  void* handle = dlopen(platform_posix::NativePath(name).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle) SetLoaderError();
  return AsModule(handle);
}

BOOL FreeLibrary(HMODULE module) { return module && dlclose(AsHandle(module)) == 0; }

FARPROC GetProcAddress(HMODULE module, LPCSTR name) {
  void* symbol = dlsym(AsHandle(module), name);
  if (!symbol) SetLastError(ERROR_PROC_NOT_FOUND);
  return reinterpret_cast<FARPROC>(symbol);
}

int LoadStringA(HINSTANCE instance, UINT id, LPSTR buffer, int bufferMax) {
  if (!buffer || bufferMax <= 0) return 0;
  buffer[0] = '\0';
  const auto* table = static_cast<const PlatformStringResource*>(
      instance ? dlsym(AsHandle(instance), "cmskit_string_table") : nullptr);
  for (; table && table->text; ++table) {
    if (table->id != id) continue;
    const size_t length = strlen(table->text);
    const size_t n = length < static_cast<size_t>(bufferMax) ? length : static_cast<size_t>(bufferMax) - 1;
    memcpy(buffer, table->text, n);
    buffer[n] = '\0';
    return static_cast<int>(n);
  }
  SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
  return 0;
}

}  // extern "C"

namespace {

__attribute__((constructor)) void AnnounceOwnModule() {
  if (!DllMain) return;
  Dl_info info;
  if (!dladdr(reinterpret_cast<void*>(&AnnounceOwnModule), &info)) return;
  // A shared library is found by its name; code linked into the program
  // itself is not, and then the program is the module.
  void* handle = info.dli_fname ? dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD) : nullptr;
  if (handle)
    dlclose(handle);
  else
    handle = dlopen(nullptr, RTLD_NOW);
  DllMain(AsModule(handle), DLL_PROCESS_ATTACH, nullptr);
}

}  // namespace
