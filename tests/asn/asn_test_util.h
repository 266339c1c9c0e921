// Byte helpers of the ASN.1 layer tests.
#ifndef CMSKIT_TESTS_ASN_ASN_TEST_UTIL_H
#define CMSKIT_TESTS_ASN_ASN_TEST_UTIL_H

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include "cmskit/asn_codec.h"
#include "cmskit/identobj.h"
#include "cmskit/status.h"
#include "common/bytes.h"

namespace cmskit::test {

using cmskit_testing::Bytes;
using cmskit_testing::Cat;
using cmskit_testing::Hex;
using cmskit_testing::ToHex;
inline std::string ToHex(const IdentObj& object) { return ToHex(object.data(), object.size()); }
inline std::string Text(const IdentObj& object) {
  return std::string(reinterpret_cast<const char*>(object.data()), object.size());
}
inline IdentObj Obj(const Bytes& bytes) {
  return IdentObj(bytes.data(), static_cast<uint32_t>(bytes.size()));
}
inline Bytes ToBytes(const IdentObj& object) { return Bytes(object.data(), object.data() + object.size()); }
inline DWORD Size(const Bytes& bytes) { return static_cast<DWORD>(bytes.size()); }
inline std::vector<std::string> HexList(const std::list<IdentObj>& items) {
  std::vector<std::string> out;
  for (const IdentObj& item : items) out.push_back(ToHex(item));
  return out;
}
inline ASNTElementInfo Info(uint8_t tagClass, uint32_t tag, bool constructed) {
  return ASNTElementInfo{tagClass, static_cast<uint8_t>(constructed ? kASNTConstructed : 0), tag, 0, nullptr};
}
inline ASNTElementInfo Universal(uint32_t tag, bool constructed = false) {
  return Info(kASNTUniversal, tag, constructed);
}
inline ASNTElementInfo Context(uint32_t tag, bool constructed) {
  return Info(kASNTContext, tag, constructed);
}
inline FILETIME MakeFileTime(WORD year, WORD month, WORD day, WORD hour, WORD minute, WORD second,
                             WORD ms = 0) {
  const SYSTEMTIME st{year, month, 0, day, hour, minute, second, ms};
  FILETIME ft{};
  SystemTimeToFileTime(&st, &ft);
  return ft;
}

// Runs `call` expecting XTOOStatus with `status` (and `origin` when given).
inline void ExpectThrowsStatus(const std::function<void()>& call, int status, const char* origin = nullptr) {
  try {
    call();
    ADD_FAILURE() << "no exception, expected status " << status;
  } catch (const XTOOStatus& e) {
    EXPECT_EQ(e.GetStatus(), status);
    EXPECT_STREQ(e.GetMessage().c_str(), origin ? origin : e.GetMessage().c_str());
  }
}

}  // namespace cmskit::test

#endif
