// The one header through which library code reaches Win32, C runtime and
// CryptoAPI names. On Windows these are the system's own; elsewhere the
// posix/ folder declares the same names and implements them.
#ifndef CMSKIT_PLATFORM_WIN32_H
#define CMSKIT_PLATFORM_WIN32_H

#ifdef _WIN32
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <direct.h>
#include <fcntl.h>
#include <io.h>
#include <stdlib.h>
#include <string.h>
#include <wincrypt.h>
#include <windows.h>
#define PLATFORM_PATH_SEPARATOR '\\'
#define PLATFORM_API
#else
#include "posix/crypt_posix.h"
#include "posix/win32_posix.h"
#endif

// One entry of a module's string table where the platform keeps none in the
// module itself; a table ends with a null text.
extern "C" {
struct PlatformStringResource {
  unsigned id;
  const char* text;
};
}

#endif
