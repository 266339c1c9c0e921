// Helpers of the enveloped-message and decryption tests.
#ifndef CMSKIT_TESTS_ENVELOPED_ENVELOPED_TEST_UTIL_H
#define CMSKIT_TESTS_ENVELOPED_ENVELOPED_TEST_UTIL_H

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "asn/asn_test_util.h"
#include "cmskit/cmskit.h"
#include "common/der.h"

namespace cmskit::test {

// Platform codes as plain 32-bit values (the Windows headers spell some as signed HRESULTs).
constexpr DWORD kAsn1Corrupt = 0x80093103u, kAsn1BadTag = 0x8009310Bu, kFileError = 0x80092003u;
constexpr DWORD kBadArguments = 160, kOutOfRoom = 0x8007000Eu, kBadData = 0x80090005u;
constexpr DWORD kParamMixMode = 101, kParamCipherOid = 104, kProvGost2012 = 80;
constexpr ALG_ID kCalgGost28147 = 0x661E;
constexpr char kAes128Oid[] = "2.16.840.1.101.3.4.1.2";
constexpr char kGost28147Oid[] = "1.2.643.2.2.21";

using cmskit_testing::ReadBytes;
using cmskit_testing::TestData;
using cmskit_testing::Tlv;
using cmskit_testing::WriteBytes;

inline Bytes DataOid() { return Hex("06 09 2A 86 48 86 F7 0D 01 07 01"); }
inline Bytes EnvelopedOid() { return Hex("06 09 2A 86 48 86 F7 0D 01 07 03"); }
inline Bytes Des3Cbc() {
  return Tlv(0x30, Cat({Hex("06 08 2A 86 48 86 F7 0D 03 07"), Tlv(0x04, Hex("0102030405060708"))}));
}
inline Bytes RsaAlgorithm() { return Hex("30 0D 06 09 2A 86 48 86 F7 0D 01 01 01 05 00"); }
inline Bytes IssuerName() {
  return Tlv(0x30, Tlv(0x31, Tlv(0x30, Cat({Hex("06 03 55 04 03"), Tlv(0x13, Hex("436172 6C525341"))}))));
}

class TempDir {
 public:
  std::string Path(const std::string& name) const { return folder_.path + "/" + name; }

 private:
  TOO::TEMPFOLDER folder_{true};
};

template <class Handle, BOOL (*Release)(Handle)>
class Owned {
 public:
  Owned() = default;
  explicit Owned(Handle h) : handle(h) {}
  ~Owned() { Reset(); }
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  void Reset(Handle h = 0) {
    if (handle) Release(handle);
    handle = h;
  }
  Handle handle = 0;
};
inline BOOL ReleaseProvider(HCRYPTPROV prov) { return CryptReleaseContext(prov, 0); }
using ProviderHandle = Owned<HCRYPTPROV, ReleaseProvider>;
using KeyHandle = Owned<HCRYPTKEY, CryptDestroyKey>;

inline bool AcquireVerifyContext(DWORD type, ProviderHandle& prov) {
  return CryptAcquireContextA(&prov.handle, nullptr, nullptr, type, CRYPT_VERIFYCONTEXT) != FALSE;
}

inline Bytes PlainKeyBlob(ALG_ID algorithm, const Bytes& keyBytes) {
  const BLOBHEADER header{PLAINTEXTKEYBLOB, CUR_BLOB_VERSION, 0, algorithm};
  const DWORD length = Size(keyBytes);
  Bytes blob(sizeof header + sizeof length);
  memcpy(blob.data(), &header, sizeof header);
  memcpy(blob.data() + sizeof header, &length, sizeof length);
  return Cat({blob, keyBytes});
}
// A session key from its plain bytes; 0 when the provider refuses it.
inline HCRYPTKEY ImportPlainKey(HCRYPTPROV prov, ALG_ID algorithm, const Bytes& keyBytes) {
  const Bytes blob = PlainKeyBlob(algorithm, keyBytes);
  HCRYPTKEY key = 0;
  return CryptImportKey(prov, blob.data(), Size(blob), 0, 0, &key) ? key : 0;
}

inline Bytes Pattern(size_t size, unsigned seed) {
  Bytes bytes(size);
  unsigned state = seed * 2654435761u + 1;
  for (BYTE& b : bytes) {
    state = state * 1103515245u + 12345u;
    b = static_cast<BYTE>(state >> 16);
  }
  return bytes;
}

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

// A key parameter by the size-query protocol (KP_IV: the key's current IV).
inline Bytes KeyParam(HCRYPTKEY key, DWORD param = KP_IV) {
  DWORD length = 0;
  if (!CryptGetKeyParam(key, param, nullptr, &length, 0)) return Bytes();
  Bytes value(length);
  if (!CryptGetKeyParam(key, param, value.data(), &length, 0)) return Bytes();
  value.resize(length);
  return value;
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
