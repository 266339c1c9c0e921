// How the CryptoAPI functions of this folder end: the internal code returns a
// Win32 code (0 for success) and never lets an exception cross the C boundary.
#ifndef CMSKIT_PLATFORM_POSIX_CRYPT_CALL_H
#define CMSKIT_PLATFORM_POSIX_CRYPT_CALL_H

#include <cstring>
#include <new>

#include "platform/win32.h"

namespace cmskit {
namespace posix {

// TRUE for code 0; otherwise the code becomes the thread's last error.
inline BOOL FinishCall(DWORD code) {
  if (code == 0) return TRUE;
  SetLastError(code);
  return FALSE;
}

// Runs `body` (returning a Win32 code) as the whole of an exported function.
template <class Body>
BOOL RunCall(Body&& body) {
  try {
    return FinishCall(body());
  } catch (const std::bad_alloc&) {
    return FinishCall(NTE_NO_MEMORY);
  } catch (...) {
    return FinishCall(NTE_FAIL);
  }
}

// The size-query protocol of the Get functions: a null buffer asks for the
// size; a buffer that is too small gets ERROR_MORE_DATA; either way *length
// ends up holding the size of the value.
inline DWORD CopyOut(const void* value, DWORD size, BYTE* data, DWORD* length) {
  if (!length) return ERROR_INVALID_PARAMETER;
  const DWORD room = *length;
  *length = size;
  if (!data) return 0;
  if (room < size) return ERROR_MORE_DATA;
  if (size) std::memcpy(data, value, size);
  return 0;
}

// The same protocol for a value that is only made once there is room for it:
// true when the call ends with just the size reported, *code then being 0
// for a size query and ERROR_MORE_DATA for a buffer that is too small.
inline bool SizeOnly(DWORD size, const BYTE* data, DWORD* length, DWORD* code) {
  if (data && *length >= size) return false;
  *code = data ? ERROR_MORE_DATA : 0;
  *length = size;
  return true;
}

}  // namespace posix
}  // namespace cmskit

#endif
