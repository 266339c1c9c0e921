// Helpers of the enveloped-message and decryption tests.
#ifndef CMSKIT_TESTS_ENVELOPED_ENVELOPED_TEST_UTIL_H
#define CMSKIT_TESTS_ENVELOPED_ENVELOPED_TEST_UTIL_H

#include <string>

#include "asn/asn_test_util.h"
#include "cmskit/cmskit.h"
#include "common/crypt.h"
#include "common/table.h"
#include "common/test_util.h"

namespace cmskit::test {

using namespace cmskit_testing;

// Platform codes as plain 32-bit values (the Windows headers spell some as signed HRESULTs).
constexpr DWORD kAsn1Corrupt = 0x80093103u, kAsn1BadTag = 0x8009310Bu, kFileError = 0x80092003u;
constexpr DWORD kBadArguments = 160, kOutOfRoom = 0x8007000Eu, kBadData = 0x80090005u;
constexpr DWORD kParamMixMode = 101, kParamCipherOid = 104, kProvGost2012 = 80;
constexpr ALG_ID kCalgGost28147 = 0x661E;
constexpr char kAes128Oid[] = "2.16.840.1.101.3.4.1.2";
constexpr char kGost28147Oid[] = "1.2.643.2.2.21";

// The messages and tables of enveloped/cases.txt.
inline const Table& Cases() {
  static const Table table("enveloped/cases.txt");
  return table;
}
inline Bytes Octets(const std::string& field) { return Cases().Octets(field); }

inline Bytes EncryptCbc(HCRYPTKEY key, const Bytes& iv, const Bytes& plain) {
  Bytes buffer = Cat({plain, Bytes(64)});
  DWORD length = Size(plain);
  if (!CryptSetKeyParam(key, KP_IV, Cat({iv, Bytes(64)}).data(), 0) ||
      !CryptEncrypt(key, 0, TRUE, 0, buffer.data(), &length, Size(buffer)))
    return Bytes();
  buffer.resize(length);
  return buffer;
}

inline ASNAlgorithmIdentifier CbcAlgorithm(const char* oid, const Bytes& iv) {
  return ASNAlgorithmIdentifier(oid, Obj(Tlv(0x04, iv)));
}

inline ToSignStruct MemoryOut(Bytes& buffer, DWORD begin, DWORD room) {
  ToSignStruct out;
  out.data = buffer.data();
  out.begin = begin;
  out.end = begin + room;
  return out;
}
// The structure points at the name: a temporary string would not outlive it.
inline ToSignStruct FileOut(const std::string& path) {
  ToSignStruct out;
  out.flags = ToSignStruct::kInFile;
  out.data = const_cast<char*>(path.c_str());
  return out;
}
ToSignStruct FileOut(std::string&& path) = delete;
inline Bytes Written(const Bytes& buffer, const ToSignStruct& out) {
  return Bytes(buffer.begin() + out.begin, buffer.begin() + out.end);
}

}  // namespace cmskit::test

#endif
