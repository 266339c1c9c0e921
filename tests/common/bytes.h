// Byte strings and test files: the helpers every suite needs.
#ifndef CMSKIT_TESTS_COMMON_BYTES_H
#define CMSKIT_TESTS_COMMON_BYTES_H

#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string>
#include <vector>

#include "platform/win32.h"

namespace cmskit_testing {

using Bytes = std::vector<BYTE>;

// "30 0A 06 ..." (spaces optional) to bytes.
inline Bytes Hex(const std::string& text) {
  Bytes out;
  std::string digits;
  for (char c : text)
    if (c != ' ') digits += c;
  for (size_t i = 0; i + 1 < digits.size(); i += 2)
    out.push_back(static_cast<BYTE>(std::stoul(digits.substr(i, 2), nullptr, 16)));
  return out;
}

inline Bytes Cat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& part : parts) out.insert(out.end(), part.begin(), part.end());
  return out;
}

inline Bytes ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteBytes(const std::string& path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline std::string TestData(const std::string& name) { return std::string(CMSKIT_TEST_DATA) + "/" + name; }

}  // namespace cmskit_testing

#endif
