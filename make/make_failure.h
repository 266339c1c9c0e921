// How a failure leaves the make family: the provider's or the writer's code,
// thrown inside, handed to *pError and the last error at the exported edge.
#ifndef CMSKIT_MAKE_MAKE_FAILURE_H
#define CMSKIT_MAKE_MAKE_FAILURE_H

#include <new>
#include <utility>

#include "platform/win32.h"
#include "tools/boundary.h"

namespace cmskit {

struct MakeFailure {
  DWORD code;
};

// A code of 0 (a provider that failed without saying why) becomes NTE_FAIL.
[[noreturn]] inline void FailWith(DWORD code) {
  throw MakeFailure{code ? code : static_cast<DWORD>(NTE_FAIL)};
}

// Runs `body`; 0 when it completed, else the code of what stopped it, which
// goes to *pError (when given) and to the last error.
template <class Body>
DWORD RunMaking(int* pError, Body&& body) {
  DWORD code = 0;
  try {
    std::forward<Body>(body)();
  } catch (const MakeFailure& failure) {
    code = failure.code;
  } catch (const XTOOStatus& status) {
    code = BoundaryCode(status.GetStatus());
  } catch (const std::bad_alloc&) {
    code = ERROR_NOT_ENOUGH_MEMORY;
  }
  if (pError) *pError = static_cast<int>(code);
  if (code != 0) SetLastError(code);
  return code;
}

}  // namespace cmskit

#endif
