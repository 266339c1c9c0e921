// The whole decryption of a message as a caller does it (read the message,
// import the key for a certificate, apply the parameters, decrypt into memory
// or a file), and the certificate contexts that name their key.
#ifndef CMSKIT_TESTS_INTEROP_DECRYPT_INTEROP_UTIL_H
#define CMSKIT_TESTS_INTEROP_DECRYPT_INTEROP_UTIL_H

#include <cstdlib>
#include <string>

#include "enveloped/decrypt_test_util.h"

namespace cmskit::test {

inline int RunQuietly(const std::string& command) {
  return std::system((command + " >/dev/null 2>&1").c_str());
}

inline bool HaveOpenssl() {
  static const bool have = RunQuietly("openssl version") == 0;
  return have;
}

// A certificate context whose key-provider property names `container`.
class RecipientCertificate {
 public:
  RecipientCertificate(const Bytes& der, const std::string& container, DWORD provType,
                       DWORD keySpec = AT_KEYEXCHANGE) {
    context_ = CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, der.data(),
                                            static_cast<DWORD>(der.size()));
    if (!context_) return;
    std::wstring name(container.begin(), container.end());
    CRYPT_KEY_PROV_INFO info{};
    info.pwszContainerName = &name[0];
    info.dwProvType = provType;
    info.dwKeySpec = keySpec;
    if (!CertSetCertificateContextProperty(context_, CERT_KEY_PROV_INFO_PROP_ID, 0, &info)) Release();
  }
  ~RecipientCertificate() { Release(); }
  RecipientCertificate(const RecipientCertificate&) = delete;
  RecipientCertificate& operator=(const RecipientCertificate&) = delete;

  const CERT_CONTEXT* Get() const { return context_; }

 private:
  void Release() {
    if (context_) CertFreeCertificateContext(context_);
    context_ = nullptr;
  }
  const CERT_CONTEXT* context_ = nullptr;
};

struct Decryption {
  bool ok = false;
  int importError = -1;  // pError of GetEncryptionKey
  DWORD error = 0;       // last error of DecryptContent
  Bytes plain;
  DWORD contentLength = 0;  // of the encrypted octets
};

// Reads the message at `path` from its file (or, with `fromMemory`, from its
// bytes) and decrypts it for `cert` into memory or into the file `target`.
inline Decryption DecryptMessage(const std::string& path, bool fromMemory, const std::string& target,
                                 const CERT_CONTEXT* cert, HCRYPTPROV prov) {
  Decryption result;
  EnvelopedData message;
  int error = -1;
  const Bytes bytes = ReadFileBytes(path);
  if (fromMemory) {
    message.ReadObject(bytes.data(), static_cast<DWORD>(bytes.size()), &error);
  } else {
    CTOOFile file(path.c_str(), "rb");
    message.ReadObject(file, &error);
  }
  EXPECT_EQ(0, error) << path;
  EncryptedContentInfo& eci = message.encryptedContentInfo;
  result.contentLength = fromMemory ? eci.encryptedContent.size() : eci.contentLength;
  ASNAlgorithmIdentifier alg = eci.contentEncryptionAlgorithm;
  KeyHandle key;
  if (!message.GetEncryptionKey(cert, prov, key.handle, alg, &result.importError)) return result;
  EXPECT_TRUE(DecryptKeyParam(key.handle, alg));
  Bytes buffer(eci.GetOpenTextSize() + 1);
  ToSignStruct out = target.empty() ? MemoryOut(buffer, 1, eci.GetOpenTextSize()) : FileOut(target);
  SetLastError(0);
  result.ok = DecryptContent(key.handle, eci, out);
  result.error = GetLastError();
  result.plain = target.empty() ? (result.ok ? Written(buffer, out) : Bytes()) : ReadFileBytes(target);
  return result;
}

// `plain` with the CBC padding that a missing final call leaves in place.
inline Bytes WithPadding(const Bytes& plain, size_t block) {
  const size_t pad = block - plain.size() % block;
  return Concat(plain, Bytes(pad, static_cast<BYTE>(pad)));
}

}  // namespace cmskit::test

#endif
