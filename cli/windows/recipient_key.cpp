// Windows: the certificate's private key is found through the current user's
// certificate store; the key file argument is not needed there.
#include "../recipient_key.h"

#include <vector>

#include "../cli_error.h"
#include "../small_file.h"

namespace cmskit_cli {

RecipientKey::RecipientKey(const std::string& certificateDer, const std::string& certificateName,
                           const std::string& /*keyPath*/) {
  const std::vector<BYTE> der = ReadSmallFile(certificateDer, certificateName);
  PCCERT_CONTEXT given = CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, der.data(),
                                                      static_cast<DWORD>(der.size()));
  if (!given) throw OperationError(GetLastError(), "cannot read the certificate " + certificateName);
  HCERTSTORE store = CertOpenSystemStoreA(0, "MY");
  store_ = store;
  if (store)
    certificate_ = CertFindCertificateInStore(store, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0,
                                              CERT_FIND_EXISTING, given, nullptr);
  CertFreeCertificateContext(given);
  if (!certificate_)
    throw OperationError(GetLastError(),
                         "the certificate " + certificateName + " is not in the personal store");
  DWORD keySpec = 0;
  BOOL mustFree = FALSE;
  if (!CryptAcquireCertificatePrivateKey(certificate_, 0, nullptr, &provider_, &keySpec, &mustFree))
    throw OperationError(GetLastError(), "the private key of " + certificateName + " is not available");
}

RecipientKey::~RecipientKey() {
  if (provider_) CryptReleaseContext(provider_, 0);
  if (certificate_) CertFreeCertificateContext(certificate_);
  if (store_) CertCloseStore(static_cast<HCERTSTORE>(store_), 0);
}

}  // namespace cmskit_cli
