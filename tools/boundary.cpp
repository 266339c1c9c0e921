#include "tools/boundary.h"

#include "platform/win32.h"

namespace cmskit {

bool DeliverStatus(int* pError, int status) {
  const uint32_t code = BoundaryCode(status);
  if (pError) {
    *pError = static_cast<int>(code);
  } else if (status != 0) {
    SetLastError(code);
  }
  return status == 0;
}

void ThrowNoMemory() { throw XTOOStatus(kStatusNoMemory, true); }

}  // namespace cmskit
