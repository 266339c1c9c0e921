// Byte-vector helpers shared by the ASN.1 layer tests.
#ifndef CMSKIT_TESTS_ASN_ASN_TEST_UTIL_H
#define CMSKIT_TESTS_ASN_ASN_TEST_UTIL_H

#include <cstdint>
#include <cstdio>
#include <list>
#include <string>
#include <vector>

#include "cmskit/asn_codec.h"
#include "cmskit/identobj.h"

namespace cmskit::test {

using Bytes = std::vector<BYTE>;

// "30 0A 06 ..." (spaces optional) to bytes.
inline Bytes Hex(const std::string& text) {
  Bytes out;
  std::string digits;
  for (char c : text) {
    if (c != ' ') digits += c;
  }
  for (size_t i = 0; i + 1 < digits.size(); i += 2)
    out.push_back(static_cast<BYTE>(std::stoul(digits.substr(i, 2), nullptr, 16)));
  return out;
}

inline std::string ToHex(const BYTE* data, size_t size) {
  std::string out;
  char octet[4];
  for (size_t i = 0; i < size; ++i) {
    snprintf(octet, sizeof octet, i ? " %02X" : "%02X", data[i]);
    out += octet;
  }
  return out;
}

inline std::string ToHex(const IdentObj& object) { return ToHex(object.data(), object.size()); }
inline std::string ToHex(const Bytes& bytes) { return ToHex(bytes.data(), bytes.size()); }

inline std::string Text(const IdentObj& object) {
  return std::string(reinterpret_cast<const char*>(object.data()), object.size());
}

inline IdentObj Obj(const Bytes& bytes) {
  return IdentObj(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

inline ASNTElementInfo Universal(uint32_t tag, bool constructed = false) {
  return ASNTElementInfo{kASNTUniversal, static_cast<uint8_t>(constructed ? kASNTConstructed : 0), tag, 0,
                         nullptr};
}

inline ASNTElementInfo Context(uint32_t tag, bool constructed) {
  return ASNTElementInfo{kASNTContext, static_cast<uint8_t>(constructed ? kASNTConstructed : 0), tag, 0,
                         nullptr};
}

inline FILETIME MakeFileTime(WORD year, WORD month, WORD day, WORD hour, WORD minute, WORD second,
                             WORD ms = 0) {
  SYSTEMTIME st{};
  st.wYear = year;
  st.wMonth = month;
  st.wDay = day;
  st.wHour = hour;
  st.wMinute = minute;
  st.wSecond = second;
  st.wMilliseconds = ms;
  FILETIME ft{};
  SystemTimeToFileTime(&st, &ft);
  return ft;
}

inline std::vector<std::string> HexList(const std::list<IdentObj>& items) {
  std::vector<std::string> out;
  for (const IdentObj& item : items) out.push_back(ToHex(item));
  return out;
}

}  // namespace cmskit::test

#endif
