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
// windows.h must come before wincrypt.h.
#include <windows.h>

#include <wincrypt.h>

#include <direct.h>
#include <fcntl.h>
#include <io.h>
#include <stdlib.h>
#include <string.h>
// Library members share these names; the A/W switch macros would rename them.
#undef LoadString
#undef GetMessage
#undef CopyFile
#undef GetObject

// MinGW-w64 names the blob structure only through its aliases.
typedef struct _CRYPTOAPI_BLOB CRYPTOAPI_BLOB;
#define PLATFORM_PATH_SEPARATOR '\\'
#define PLATFORM_API
#else
#include "posix/win32_posix.h"

#include "posix/crypt_posix.h"
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
