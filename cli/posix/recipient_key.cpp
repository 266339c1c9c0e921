// POSIX: the provider's container is the private key file itself, tied to the
// certificate through its key-provider property.
#include "../recipient_key.h"

#include <vector>

#include "../cli_error.h"
#include "../small_file.h"

namespace cmskit_cli {

RecipientKey::RecipientKey(const std::string& certificateDer, const std::string& certificateName,
                           const std::string& keyPath) {
  if (keyPath.empty()) throw UsageError("the recipient's private key file (-k) is required");
  const std::vector<BYTE> der = ReadSmallFile(certificateDer, certificateName);
  certificate_ = CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, der.data(),
                                              static_cast<DWORD>(der.size()));
  if (!certificate_) throw OperationError(GetLastError(), "cannot read the certificate " + certificateName);
  const DWORD types[] = {PROV_RSA_AES, PROV_GOST_2012_256, PROV_GOST_2012_512, PROV_GOST_2001_DH};
  DWORD type = 0;
  for (DWORD candidate : types) {
    if (CryptAcquireContextA(&provider_, keyPath.c_str(), nullptr, candidate, 0)) {
      type = candidate;
      break;
    }
  }
  if (!provider_) throw OperationError(GetLastError(), "cannot use the private key " + keyPath);
  std::wstring container(keyPath.begin(), keyPath.end());
  CRYPT_KEY_PROV_INFO info = {};
  info.pwszContainerName = &container[0];
  info.dwProvType = type;
  info.dwKeySpec = AT_KEYEXCHANGE;
  if (!CertSetCertificateContextProperty(certificate_, CERT_KEY_PROV_INFO_PROP_ID, 0, &info))
    throw OperationError(GetLastError(),
                         "cannot tie the key " + keyPath + " to the certificate " + certificateName);
}

RecipientKey::~RecipientKey() {
  if (provider_) CryptReleaseContext(provider_, 0);
  if (certificate_) CertFreeCertificateContext(certificate_);
}

}  // namespace cmskit_cli
