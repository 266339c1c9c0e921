// Small files in a temporary folder, and hand-built DER and BER pieces of
// ContentInfo messages, for the message-file tests.
#ifndef CMSKIT_TESTS_FILES_FILES_TEST_UTIL_H
#define CMSKIT_TESTS_FILES_FILES_TEST_UTIL_H

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>

#include "cmskit/paths.h"

namespace cmskit {

class TempFiles {
 public:
  std::string Path(const std::string& name) const { return std::string(folder_.c_str()) + "/" + name; }
  std::string Write(const std::string& name, const std::string& bytes) const {
    std::ofstream(Path(name), std::ios::binary)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return Path(name);
  }
  static std::string Read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

 private:
  TOO::TEMPFOLDER folder_{true};
};

namespace der {

inline std::string Tlv(uint8_t tag, const std::string& contents) {
  std::string length;
  for (size_t n = contents.size(); n != 0; n >>= 8)
    length.insert(length.begin(), static_cast<char>(n & 0xFF));
  if (contents.size() >= 0x80) length.insert(length.begin(), static_cast<char>(0x80 | length.size()));
  if (contents.empty()) length = std::string(1, '\0');
  return static_cast<char>(tag) + length + contents;
}
// Indefinite length, closed by end-of-contents octets.
inline std::string Ber(uint8_t tag, const std::string& contents) {
  return static_cast<char>(tag) + std::string("\x80", 1) + contents + std::string(2, '\0');
}

const std::string kDataOid("\x06\x09\x2A\x86\x48\x86\xF7\x0D\x01\x07\x01", 11);
const std::string kSignedDataOid("\x06\x09\x2A\x86\x48\x86\xF7\x0D\x01\x07\x02", 11);
const std::string kEnvelopedDataOid("\x06\x09\x2A\x86\x48\x86\xF7\x0D\x01\x07\x03", 11);
const std::string kVersion1("\x02\x01\x01", 3);
const std::string kSha1Set = Tlv(0x31, Tlv(0x30, std::string("\x06\x05\x2B\x0E\x03\x02\x1A\x05\x00", 9)));

inline std::string SignedData(const std::string& encap, const std::string& version = kVersion1,
                              const std::string& digests = kSha1Set) {
  return Tlv(0x30, kSignedDataOid + Tlv(0xA0, Tlv(0x30, version + digests + encap + Tlv(0x31, ""))));
}
inline std::string Attached(const std::string& content) {
  return Tlv(0x30, kDataOid + Tlv(0xA0, Tlv(0x04, content)));
}

}  // namespace der
}  // namespace cmskit

#endif
