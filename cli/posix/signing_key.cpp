// POSIX: the provider's container is the private key file itself; its type
// follows the certificate's key, and the key must be the certificate's.
#include "../signing_key.h"

#include <vector>

#include "../cli_error.h"
#include "../small_file.h"

namespace cmskit_cli {

namespace {

DWORD ProviderType(const char* keyOid) {
  const std::string oid = keyOid ? keyOid : "";
  if (oid == "1.2.643.7.1.1.1.1") return PROV_GOST_2012_256;
  if (oid == "1.2.643.7.1.1.1.2") return PROV_GOST_2012_512;
  if (oid == "1.2.643.2.2.19") return PROV_GOST_2001_DH;
  return PROV_RSA_AES;
}

}  // namespace

void SigningKey::Load(const std::string& certificateDer, const std::string& certificateName,
                      const std::string& keyPath) {
  const std::vector<BYTE> der = ReadSmallFile(certificateDer, certificateName);
  certificate_ = CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, der.data(),
                                              static_cast<DWORD>(der.size()));
  if (!certificate_) throw OperationError(GetLastError(), "cannot read the certificate " + certificateName);
  const CERT_PUBLIC_KEY_INFO& expected = certificate_->pCertInfo->SubjectPublicKeyInfo;
  if (!CryptAcquireContextA(&provider_, keyPath.c_str(), nullptr, ProviderType(expected.Algorithm.pszObjId),
                            0))
    throw OperationError(GetLastError(), "cannot use the private key " + keyPath);
  RequireCertificateKey(keyPath, certificateName);
}

}  // namespace cmskit_cli
