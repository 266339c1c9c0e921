// The two endings of the attribute and signer-info entry points that differ
// from the common signed-family one (tools/boundary.h).
#ifndef CMSKIT_SIGNED_ATTRIBUTE_BOUNDARY_H
#define CMSKIT_SIGNED_ATTRIBUTE_BOUNDARY_H

#include <new>
#include <utility>

#include "cmskit/status.h"
#include "platform/win32.h"
#include "tools/boundary.h"

namespace cmskit {

// Runs `body`; the mapped code goes to *pError when given. Without pError a
// failure sets the last error and the failure travels on to the caller: the
// set and list writers are only ever called with pError by the library, and a
// caller without it gets the exception rather than a silently empty result.
template <class Body>
void DeliverOrRethrow(int* pError, Body&& body) {
  try {
    std::forward<Body>(body)();
    DeliverStatus(pError, kStatusOk);
  } catch (const XTOOStatus& e) {
    DeliverStatus(pError, e.GetStatus());
    if (!pError) throw;
  } catch (const std::bad_alloc&) {
    DeliverStatus(pError, kStatusNoMemory);
    if (!pError) ThrowNoMemory();
  }
}

// Signer infos report an already-mapped code both ways: to *pError when given
// and, on failure, to the last error as well.
inline void DeliverCodeEverywhere(int* pError, DWORD code) {
  if (pError) *pError = static_cast<int>(code);
  if (code != 0) SetLastError(code);
}

}  // namespace cmskit

#endif
