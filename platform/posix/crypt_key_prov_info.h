// A deep copy of a CRYPT_KEY_PROV_INFO, handed out again in the flat form
// Windows uses: the structure followed by everything it points to, in the
// caller's one buffer.
#ifndef CMSKIT_PLATFORM_POSIX_CRYPT_KEY_PROV_INFO_H
#define CMSKIT_PLATFORM_POSIX_CRYPT_KEY_PROV_INFO_H

#include <string>
#include <vector>

#include "platform/win32.h"

namespace cmskit {
namespace posix {

class KeyProvInfo {
 public:
  // E_INVALIDARG when a count or length has no data behind it.
  static DWORD Copy(const CRYPT_KEY_PROV_INFO& info, KeyProvInfo* copy);

  // The size-query protocol: a null `data` or a short *length reports the
  // size (ERROR_MORE_DATA for the latter); otherwise the flat copy is written.
  DWORD Write(void* data, DWORD* length) const;

 private:
  struct Param {
    DWORD param;
    DWORD flags;
    std::vector<BYTE> data;
  };

  uint64_t FlatSize() const;

  bool hasContainer_ = false;
  bool hasProvName_ = false;
  std::wstring container_;
  std::wstring provName_;
  DWORD provType_ = 0;
  DWORD flags_ = 0;
  DWORD keySpec_ = 0;
  std::vector<Param> params_;
};

}  // namespace posix
}  // namespace cmskit

#endif
