// Hand-built DER for tests that need exact or deliberately odd encodings.
#ifndef CMSKIT_TESTS_COMMON_DER_H
#define CMSKIT_TESTS_COMMON_DER_H

#include <cstdint>
#include <vector>

#include "platform/win32.h"

namespace cmskit_testing {

// The DER length octets of any 64-bit length.
inline std::vector<BYTE> DerLength(uint64_t n) {
  std::vector<BYTE> out;
  for (uint64_t rest = n; rest && n >= 0x80; rest >>= 8) out.insert(out.begin(), static_cast<BYTE>(rest));
  out.insert(out.begin(), static_cast<BYTE>(n < 0x80 ? n : 0x80 | out.size()));
  return out;
}

// One definite-length element with DER length octets.
inline std::vector<BYTE> Tlv(BYTE tag, const std::vector<BYTE>& contents) {
  std::vector<BYTE> out{tag};
  const std::vector<BYTE> length = DerLength(contents.size());
  out.insert(out.end(), length.begin(), length.end());
  out.insert(out.end(), contents.begin(), contents.end());
  return out;
}

}  // namespace cmskit_testing

#endif
