// Helpers of the enveloped-message tests: DER building blocks, temporary
// files and the two error endings (pError code or thrown XTOOStatus).
#ifndef CMSKIT_TESTS_ENVELOPED_ENVELOPED_TEST_UTIL_H
#define CMSKIT_TESTS_ENVELOPED_ENVELOPED_TEST_UTIL_H

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>

#include "asn/asn_test_util.h"
#include "cmskit/cmskit.h"
#include "common/der.h"

namespace cmskit::test {

// Platform codes as plain 32-bit values (the Windows headers spell some as
// signed HRESULTs).
constexpr DWORD kAsn1Corrupt = 0x80093103u;
constexpr DWORD kAsn1BadTag = 0x8009310Bu;
constexpr DWORD kFileError = 0x80092003u;

using cmskit_testing::Tlv;

inline Bytes Cat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& part : parts) out.insert(out.end(), part.begin(), part.end());
  return out;
}


// Well-known elements of the vectors below.
inline Bytes DataOid() { return Hex("06 09 2A 86 48 86 F7 0D 01 07 01"); }
inline Bytes EnvelopedOid() { return Hex("06 09 2A 86 48 86 F7 0D 01 07 03"); }
inline Bytes Des3Cbc() { return Hex("30 14 06 08 2A 86 48 86 F7 0D 03 07 04 08 01 02 03 04 05 06 07 08"); }
inline Bytes RsaAlgorithm() { return Hex("30 0D 06 09 2A 86 48 86 F7 0D 01 01 01 05 00"); }
inline Bytes IssuerName() { return Hex("30 12 31 10 30 0E 06 03 55 04 03 13 07 43 61 72 6C 52 53 41"); }

inline Bytes ReadFileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteFileBytes(const std::string& path, const Bytes& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline std::string TestData(const std::string& name) { return std::string(CMSKIT_TEST_DATA) + "/" + name; }

// A temporary folder per test, removed with its files.
class TempDir {
 public:
  TempDir() : folder_(true) {}
  std::string Path(const std::string& name) const { return folder_.path + "/" + name; }

 private:
  TOO::TEMPFOLDER folder_;
};

// Runs `call` expecting XTOOStatus with `status` (and `origin` when given).
inline void ExpectThrowsStatus(const std::function<void()>& call, int status, const char* origin = nullptr) {
  try {
    call();
    ADD_FAILURE() << "no exception, expected status " << status;
  } catch (const XTOOStatus& e) {
    EXPECT_EQ(e.GetStatus(), status);
    if (origin) {
      EXPECT_STREQ(e.GetMessage().c_str(), origin);
    }
  }
}

}  // namespace cmskit::test

#endif
