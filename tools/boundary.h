// How a failure leaves the library: internal routines report a status through
// an out-parameter or throw XTOOStatus; each exported function converts the
// status once, here, into the Win32/HRESULT code its caller sees.
#ifndef CMSKIT_TOOLS_BOUNDARY_H
#define CMSKIT_TOOLS_BOUNDARY_H

#include <new>
#include <utility>

#include "cmskit/status.h"

namespace cmskit {

// StatusToWin32, and kStatusTooLarge as ERROR_FILE_TOO_LARGE, which no
// status of the mapping table reaches.
inline uint32_t BoundaryCode(int status) {
  return status == kStatusTooLarge ? kErrorFileTooLarge : StatusToWin32(status);
}

// The status convention of the internal routines: store `code` when the caller
// gave a status pointer, else throw it (with the routine's name) on failure.
inline void ReportStatus(int* status, int code, const char* routine) {
  if (status) {
    *status = code;
    return;
  }
  if (code != 0) throw XTOOStatus(static_cast<uint32_t>(code), routine, false);
}

// Runs `body`, turning an XTOO exception (or an allocation failure) into its
// status; 0 when the body completed.
template <class Body>
int CatchStatus(Body&& body) {
  try {
    std::forward<Body>(body)();
    return 0;
  } catch (const XTOOStatus& e) {
    return e.GetStatus();
  } catch (const std::bad_alloc&) {
    return kStatusNoMemory;
  }
}

// Ending of the signed-message family and the free functions: the mapped code
// goes to *pError when given, else (on failure only) to the thread's last
// error. Returns true when `status` is 0.
bool DeliverStatus(int* pError, int status);

// Ending of the enveloped-message family: with pError the mapped code is
// stored there; without it the exception goes to the caller unchanged.
template <class Body>
void RunOrRethrow(int* pError, Body&& body) {
  try {
    std::forward<Body>(body)();
    if (pError) *pError = 0;
  } catch (const XTOOStatus& e) {
    if (!pError) throw;
    *pError = static_cast<int>(BoundaryCode(e.GetStatus()));
  } catch (const std::bad_alloc&) {
    if (!pError) throw XTOOStatus(kStatusNoMemory, true);
    *pError = static_cast<int>(StatusToWin32(kStatusNoMemory));
  }
}

// Allocation failure, the way every layer reports it.
[[noreturn]] void ThrowNoMemory();

}  // namespace cmskit

#endif
