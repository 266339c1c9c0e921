// Shared pieces of the crypto provider tests.
#ifndef CMSKIT_TESTS_PLATFORM_CRYPT_TEST_SUPPORT_H
#define CMSKIT_TESTS_PLATFORM_CRYPT_TEST_SUPPORT_H

#include <stdlib.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "enveloped/enveloped_test_util.h"

namespace cmskit::test {

inline std::string DataFile(const std::string& name) { return TestData("crypt/" + name); }
inline Bytes ReadData(const std::string& name) { return ReadBytes(DataFile(name)); }
using cmskit_testing::Shell;
inline bool HaveOpenSsl() {
  static const bool have = Shell("openssl version");
  return have;
}
// Both the openssl command and this process must reach the gost engine.
inline bool HaveGost() {
  static const bool have = [] {
    ProviderHandle prov;
    return AcquireVerifyContext(PROV_GOST_2012_256, prov) && HaveOpenSsl() && Shell("openssl engine -t gost");
  }();
  return have;
}
using HashHandle = Owned<HCRYPTHASH, CryptDestroyHash>;

// A hash object of `algId` on `prov` that has been fed `data`; 0 on failure.
inline HCRYPTHASH HashOf(HCRYPTPROV prov, ALG_ID algId, const Bytes& data) {
  HCRYPTHASH hash = 0;
  if (!CryptCreateHash(prov, algId, 0, 0, &hash) || CryptHashData(hash, data.data(), Size(data), 0))
    return hash;
  CryptDestroyHash(hash);
  return 0;
}
inline Bytes HashValue(HCRYPTHASH hash) {
  return Queried(
      [&](BYTE* data, DWORD* length) { return CryptGetHashParam(hash, HP_HASHVAL, data, length, 0); });
}

// Bytes as the openssl command line takes keys and IVs.
inline std::string HexArg(const Bytes& bytes) {
  std::string text = ToHex(bytes);
  text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
  return text;
}

// The parts of a single-recipient EnvelopedData that key import and content decryption need.
struct Envelope {
  std::string contentOid;
  Bytes contentParams, encryptedKey, encryptedContent;  // parameters and key as whole elements
};
inline Envelope ParseEnvelope(const Bytes& der) {
  EnvelopedData data;
  EXPECT_EQ(data.ReadObject(der.data(), Size(der)), der.size());
  if (data.recipientInfos.empty()) return Envelope();
  const ASNAlgorithmIdentifier& alg = data.encryptedContentInfo.contentEncryptionAlgorithm;
  IdentObj key = data.recipientInfos.front().encryptedKey;
  ASNTElementInfo info;
  EXPECT_EQ(ASNTReadHeader(info, key.data(), key.size()), 0);
  return Envelope{Text(alg.id), ToBytes(alg.data), Bytes(info.contents, info.contents + info.length),
                  ToBytes(data.encryptedContentInfo.encryptedContent)};
}

// The function of the set `setName` installed for `oid`, null (and the last error in `error`) if none.
inline void* OidFunction(const char* setName, const char* oid, DWORD* error = nullptr) {
  void* function = nullptr;
  HCRYPTOIDFUNCADDR handle = nullptr;
  const BOOL found =
      CryptGetOIDFunctionAddress(CryptInitOIDFunctionSet(setName, 0), X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                 oid, 0, &function, &handle);
  if (error) *error = found ? 0 : GetLastError();
  EXPECT_TRUE(!found || CryptFreeOIDFunctionAddress(handle, 0));
  return function;
}

// Imports the envelope's key the way the library does: through the function
// installed for the content algorithm. Returns the last error, 0 on success.
inline DWORD ImportEnvelopeKey(HCRYPTPROV prov, const Envelope& envelope, HCRYPTKEY* key,
                               DWORD keySpec = AT_KEYEXCHANGE, const char* oid = nullptr) {
  DWORD error = 0;
  void* function = OidFunction(CMSG_OID_IMPORT_ENCRYPT_KEY_FUNC, envelope.contentOid.c_str(), &error);
  if (!function) return error;
  CRYPT_ALGORITHM_IDENTIFIER content = {}, publicKey = {};
  content.pszObjId = const_cast<LPSTR>(oid ? oid : envelope.contentOid.c_str());
  content.Parameters = {Size(envelope.contentParams), const_cast<BYTE*>(envelope.contentParams.data())};
  Bytes encryptedKey = envelope.encryptedKey;
  return reinterpret_cast<PFN_CMSG_IMPORT_ENCRYPT_KEY>(function)(prov, keySpec, &content, &publicKey,
                                                                 encryptedKey.data(), Size(encryptedKey), key)
             ? 0
             : GetLastError();
}

// En- or decrypts in pieces of `piece` bytes (whole blocks), all but the last with Final false.
inline bool CryptPieces(bool encrypt, HCRYPTKEY key, const Bytes& in, size_t piece, Bytes* out) {
  out->clear();
  for (size_t at = 0;; at += piece) {
    const size_t size = std::min(piece, in.size() - at);
    const bool final = at + size >= in.size();
    Bytes buffer(in.begin() + static_cast<long>(at), in.begin() + static_cast<long>(at + size));
    buffer.resize(size + 32);
    DWORD length = static_cast<DWORD>(size);
    if (!(encrypt ? CryptEncrypt(key, 0, final, 0, buffer.data(), &length, Size(buffer))
                  : CryptDecrypt(key, 0, final, 0, buffer.data(), &length)))
      return false;
    out->insert(out->end(), buffer.begin(), buffer.begin() + length);
    if (final) return true;
  }
}
inline bool EncryptPieces(HCRYPTKEY key, const Bytes& in, size_t piece, Bytes* out) {
  return CryptPieces(true, key, in, piece, out);
}
inline bool DecryptPieces(HCRYPTKEY key, const Bytes& in, size_t piece, Bytes* out) {
  return CryptPieces(false, key, in, piece, out);
}

inline Bytes ExportBlob(HCRYPTKEY key, HCRYPTKEY exchangeKey, DWORD blobType) {
  return Queried(
      [&](BYTE* data, DWORD* length) { return CryptExportKey(key, exchangeKey, blobType, 0, data, length); });
}
// The key bytes of an exportable session key.
inline Bytes PlainKeyBytes(HCRYPTKEY key) {
  const Bytes blob = ExportBlob(key, 0, PLAINTEXTKEYBLOB);
  return blob.size() < 12 ? Bytes() : Bytes(blob.begin() + 12, blob.end());
}

}  // namespace cmskit::test

#endif
