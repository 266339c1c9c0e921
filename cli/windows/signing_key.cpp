// Windows: an RSA private key file (PEM or DER; PKCS #8 or PKCS #1) is
// decoded by CryptoAPI into a PRIVATEKEYBLOB and imported into a provider
// of its own, whose key exchange pair then signs.
#include "../signing_key.h"

#include <list>
#include <vector>

#include "../cli_error.h"
#include "../small_file.h"

namespace cmskit_cli {

namespace {

using Bytes = std::vector<BYTE>;

// PEM armour taken off; DER as it is.
Bytes Unarmoured(const Bytes& file) {
  DWORD length = 0;
  const char* text = reinterpret_cast<const char*>(file.data());
  const DWORD size = static_cast<DWORD>(file.size());
  if (!CryptStringToBinaryA(text, size, CRYPT_STRING_BASE64HEADER, nullptr, &length, nullptr, nullptr))
    return file;
  Bytes der(length);
  if (!CryptStringToBinaryA(text, size, CRYPT_STRING_BASE64HEADER, der.data(), &length, nullptr, nullptr))
    return file;
  der.resize(length);
  return der;
}

// CryptDecodeObjectEx into a buffer of its own; empty when it fails.
Bytes Decode(LPCSTR structure, const Bytes& der) {
  DWORD length = 0;
  if (!CryptDecodeObjectEx(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, structure, der.data(),
                           static_cast<DWORD>(der.size()), 0, nullptr, nullptr, &length))
    return {};
  Bytes out(length);
  if (!CryptDecodeObjectEx(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, structure, der.data(),
                           static_cast<DWORD>(der.size()), 0, nullptr, out.data(), &length))
    return {};
  out.resize(length);
  return out;
}

// The PKCS #1 RSAPrivateKey, out of its PKCS #8 wrapping (SEQUENCE { version,
// algorithm, privateKey OCTET STRING, ... }) when it has one: not every
// CryptoAPI decodes PKCS_PRIVATE_KEY_INFO.
Bytes RsaPrivateKey(const Bytes& der) {
  std::list<cmskit::IdentObj> parts;
  int status = 0;
  cmskit::ASNTGetSequence(parts, der.data(), static_cast<DWORD>(der.size()), &status);
  if (status != 0 || parts.size() < 3) return der;
  const cmskit::IdentObj& privateKey = *std::next(parts.begin(), 2);
  cmskit::ASNTElementInfo info{};
  if (cmskit::ASNTReadHeader(info, privateKey.data(), privateKey.size()) != 0 ||
      info.tagClass != cmskit::kASNTUniversal || info.tagNumber != cmskit::kASNTOctetString)
    return der;
  const size_t header = static_cast<size_t>(info.contents - privateKey.data());
  if (info.length > privateKey.size() - header) return der;
  return Bytes(info.contents, info.contents + info.length);
}

}  // namespace

void SigningKey::Load(const std::string& certificateDer, const std::string& certificateName,
                      const std::string& keyPath) {
  const Bytes der = ReadSmallFile(certificateDer, certificateName);
  certificate_ = CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, der.data(),
                                              static_cast<DWORD>(der.size()));
  if (!certificate_) throw OperationError(GetLastError(), "cannot read the certificate " + certificateName);
  const Bytes blob = Decode(PKCS_RSA_PRIVATE_KEY, RsaPrivateKey(Unarmoured(ReadSmallFile(keyPath, keyPath))));
  if (blob.empty()) throw OperationError(GetLastError(), "cannot read the RSA private key " + keyPath);
  if (!CryptAcquireContextA(&provider_, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT) ||
      !CryptImportKey(provider_, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key_))
    throw OperationError(GetLastError(), "cannot use the private key " + keyPath);
  keySpec_ = AT_KEYEXCHANGE;
  RequireCertificateKey(keyPath, certificateName);
}

}  // namespace cmskit_cli
