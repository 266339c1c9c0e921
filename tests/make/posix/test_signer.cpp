#include "make/test_signer.h"

#include "common/test_util.h"

namespace cmskit_testing {

TestSigner::TestSigner(const std::string& certificateDer, const std::string& keyFile) {
  const Bytes der = ReadBytes(certificateDer);
  certificate_ = CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size()));
  if (certificate_ && !CryptAcquireContextA(&provider_, keyFile.c_str(), nullptr, PROV_RSA_AES, 0))
    provider_ = 0;
}

}  // namespace cmskit_testing
