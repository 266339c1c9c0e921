#ifndef CMSKIT_PLATFORM_ERRNO_MAP_H
#define CMSKIT_PLATFORM_ERRNO_MAP_H

#include <string>

#include "win32_posix.h"

namespace platform_posix {
// The Win32 error a failed POSIX call with this errno would have given.
DWORD Win32FromErrno(int error);
// Stores that code as the thread's last error.
void SetLastErrorFromErrno(int error);
// `\` separates path components as `/` does.
std::string NativePath(const char* path);
}  // namespace platform_posix

#endif
