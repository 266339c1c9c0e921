// Helpers of the enveloped-message and decryption tests: DER building blocks,
// temporary files, the two error endings (pError code or thrown XTOOStatus),
// provider and key handles that release themselves, content keys from known
// bytes and the two kinds of output descriptors.
#ifndef CMSKIT_TESTS_ENVELOPED_ENVELOPED_TEST_UTIL_H
#define CMSKIT_TESTS_ENVELOPED_ENVELOPED_TEST_UTIL_H

#include <gtest/gtest.h>

#include <cstring>
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
constexpr DWORD kBadArguments = 160;
constexpr DWORD kOutOfRoom = 0x8007000Eu;  // E_OUTOFMEMORY
constexpr DWORD kBadData = 0x80090005u;    // NTE_BAD_DATA
// Provider parameters of GOST keys.
constexpr DWORD kParamMixMode = 101;
constexpr DWORD kParamCipherOid = 104;
constexpr DWORD kProvGost2012 = 80;
constexpr ALG_ID kCalgGost28147 = 0x661E;
constexpr char kAes128Oid[] = "2.16.840.1.101.3.4.1.2";
constexpr char kGost28147Oid[] = "1.2.643.2.2.21";

using cmskit_testing::Tlv;

inline Bytes Cat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& part : parts) out.insert(out.end(), part.begin(), part.end());
  return out;
}
inline Bytes Concat(const Bytes& a, const Bytes& b) { return Cat({a, b}); }

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

// A provider or key handle released at the end of its scope.
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

// A provider without a private key, for session keys.
inline bool AcquireVerifyContext(DWORD type, ProviderHandle& prov) {
  return CryptAcquireContextA(&prov.handle, nullptr, nullptr, type, CRYPT_VERIFYCONTEXT) != FALSE;
}

// A session key from its plain bytes; 0 when the provider refuses it.
inline HCRYPTKEY ImportPlainKey(HCRYPTPROV prov, ALG_ID algorithm, const Bytes& keyBytes) {
  const BLOBHEADER header{PLAINTEXTKEYBLOB, CUR_BLOB_VERSION, 0, algorithm};
  const DWORD length = static_cast<DWORD>(keyBytes.size());
  Bytes blob(sizeof header + sizeof length);
  memcpy(blob.data(), &header, sizeof header);
  memcpy(blob.data() + sizeof header, &length, sizeof length);
  blob.insert(blob.end(), keyBytes.begin(), keyBytes.end());
  HCRYPTKEY key = 0;
  return CryptImportKey(prov, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key) ? key : 0;
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

// One complete CBC message (padded, final) from the key's IV `iv`.
inline Bytes EncryptCbc(HCRYPTKEY key, const Bytes& iv, const Bytes& plain) {
  Bytes buffer(iv.begin(), iv.end());
  buffer.resize(64, 0);
  if (!CryptSetKeyParam(key, KP_IV, buffer.data(), 0)) return Bytes();
  buffer = plain;
  buffer.resize(plain.size() + 64);
  DWORD length = static_cast<DWORD>(plain.size());
  if (!CryptEncrypt(key, 0, TRUE, 0, buffer.data(), &length, static_cast<DWORD>(buffer.size())))
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

// The caller's buffer [begin, begin + room) of `buffer`.
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

// The plaintext of a memory output.
inline Bytes Written(const Bytes& buffer, const ToSignStruct& out) {
  return Bytes(buffer.begin() + out.begin, buffer.begin() + out.end);
}

}  // namespace cmskit::test

#endif
