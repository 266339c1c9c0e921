// Hand-built DER for tests that need exact or deliberately odd encodings.
#ifndef CMSKIT_TESTS_COMMON_DER_H
#define CMSKIT_TESTS_COMMON_DER_H

#include <cstddef>
#include <vector>

#include "platform/win32.h"

namespace cmskit_testing {

// One definite-length element with DER length octets.
inline std::vector<BYTE> Tlv(BYTE tag, const std::vector<BYTE>& contents) {
  std::vector<BYTE> out{tag};
  const size_t n = contents.size();
  if (n < 0x80) {
    out.push_back(static_cast<BYTE>(n));
  } else {
    std::vector<BYTE> length;
    for (size_t rest = n; rest; rest >>= 8) length.insert(length.begin(), static_cast<BYTE>(rest));
    out.push_back(static_cast<BYTE>(0x80 | length.size()));
    out.insert(out.end(), length.begin(), length.end());
  }
  out.insert(out.end(), contents.begin(), contents.end());
  return out;
}

}  // namespace cmskit_testing

#endif
