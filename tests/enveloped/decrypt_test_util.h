// Helpers of the decryption tests: provider and key handles that release
// themselves, content keys from known bytes, CBC ciphertext made with the
// platform, and the two kinds of output descriptors.
#ifndef CMSKIT_TESTS_ENVELOPED_DECRYPT_TEST_UTIL_H
#define CMSKIT_TESTS_ENVELOPED_DECRYPT_TEST_UTIL_H

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "enveloped/enveloped_test_util.h"

namespace cmskit::test {

constexpr DWORD kBadArguments = 160;
constexpr DWORD kOutOfRoom = 0x8007000Eu;  // E_OUTOFMEMORY
constexpr DWORD kBadData = 0x80090005u;    // NTE_BAD_DATA
// Provider parameters of GOST keys.
constexpr DWORD kParamMixMode = 101;
constexpr DWORD kParamCipherOid = 104;
constexpr char kAes128Oid[] = "2.16.840.1.101.3.4.1.2";
constexpr char kGost28147Oid[] = "1.2.643.2.2.21";

class ProviderHandle {
 public:
  ProviderHandle() = default;
  ~ProviderHandle() {
    if (handle) CryptReleaseContext(handle, 0);
  }
  ProviderHandle(const ProviderHandle&) = delete;
  ProviderHandle& operator=(const ProviderHandle&) = delete;
  HCRYPTPROV handle = 0;
};

class KeyHandle {
 public:
  KeyHandle() = default;
  explicit KeyHandle(HCRYPTKEY key) : handle(key) {}
  ~KeyHandle() { Reset(); }
  KeyHandle(const KeyHandle&) = delete;
  KeyHandle& operator=(const KeyHandle&) = delete;
  void Reset(HCRYPTKEY key = 0) {
    if (handle) CryptDestroyKey(handle);
    handle = key;
  }
  HCRYPTKEY handle = 0;
};

// A provider without a private key, for session keys.
inline bool AcquireVerifyContext(DWORD type, ProviderHandle& prov) {
  return CryptAcquireContextA(&prov.handle, nullptr, nullptr, type, CRYPT_VERIFYCONTEXT) != FALSE;
}

// A session key from its plain bytes; 0 when the provider refuses it.
inline HCRYPTKEY ImportPlainKey(HCRYPTPROV prov, ALG_ID algorithm, const Bytes& keyBytes) {
  Bytes blob(sizeof(BLOBHEADER) + sizeof(DWORD));
  BLOBHEADER header{};
  header.bType = PLAINTEXTKEYBLOB;
  header.bVersion = CUR_BLOB_VERSION;
  header.aiKeyAlg = algorithm;
  const DWORD length = static_cast<DWORD>(keyBytes.size());
  memcpy(blob.data(), &header, sizeof header);
  memcpy(blob.data() + sizeof header, &length, sizeof length);
  blob.insert(blob.end(), keyBytes.begin(), keyBytes.end());
  HCRYPTKEY key = 0;
  if (!CryptImportKey(prov, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key)) return 0;
  return key;
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

// The key's current KP_IV.
inline Bytes KeyIv(HCRYPTKEY key) {
  DWORD length = 0;
  if (!CryptGetKeyParam(key, KP_IV, nullptr, &length, 0)) return Bytes();
  Bytes iv(length);
  if (!CryptGetKeyParam(key, KP_IV, iv.data(), &length, 0)) return Bytes();
  iv.resize(length);
  return iv;
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

inline Bytes Concat(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

}  // namespace cmskit::test

#endif
