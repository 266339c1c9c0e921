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

// CryptoAPI names the library uses that not every platform's headers define:
// the GOST algorithms, provider types and key parameters (the values the GOST
// providers use), and the provider's own RSA-PSS switch.
#ifndef CALG_G28147
#define CALG_G28147 0x0000661e
#endif
#ifndef CALG_GR3411
#define CALG_GR3411 0x0000801e
#endif
#ifndef CALG_GR3411_2012_256
#define CALG_GR3411_2012_256 0x00008021
#endif
#ifndef CALG_GR3411_2012_512
#define CALG_GR3411_2012_512 0x00008022
#endif
#ifndef PROV_GOST_2001_DH
#define PROV_GOST_2001_DH 75
#endif
#ifndef PROV_GOST_2012_256
#define PROV_GOST_2012_256 80
#endif
#ifndef PROV_GOST_2012_512
#define PROV_GOST_2012_512 81
#endif
// GOST keys: the key meshing mode (a DWORD; CRYPT_PROMIX_MODE turns on the
// meshing every 1024 bytes that CMS requires) and the cipher parameter set as
// dotted OID text with its terminating null.
#ifndef KP_MIXMODE
#define KP_MIXMODE 101
#endif
#ifndef KP_CIPHEROID
#define KP_CIPHEROID 104
#endif
#ifndef CRYPT_SIMPLEMIX_MODE
#define CRYPT_SIMPLEMIX_MODE 0
#endif
#ifndef CRYPT_PROMIX_MODE
#define CRYPT_PROMIX_MODE 1
#endif
// Set on an RSA key (a DWORD, the salt length in bytes), it makes the key sign
// and verify RSASSA-PSS with MGF1 over the hash object's own digest. Only the
// Linux provider knows it; Windows providers refuse the number (NTE_BAD_TYPE),
// which means RSA-PSS is not available there.
#ifndef KP_CMSKIT_PSS_SALT_LENGTH
#define KP_CMSKIT_PSS_SALT_LENGTH 0x434B5053
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
