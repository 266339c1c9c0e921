// A signer for the library's make functions from a DER certificate file and
// an unencrypted private key file, loaded as the platform keeps keys: the key
// file as the provider's container on POSIX systems, a PKCS #1 RSA key
// imported into a provider of its own on Windows. ok() is false when it failed.
#ifndef CMSKIT_TESTS_MAKE_TEST_SIGNER_H
#define CMSKIT_TESTS_MAKE_TEST_SIGNER_H

#include <string>

#include "cmskit/cmskit.h"

namespace cmskit_testing {

class TestSigner {
 public:
  TestSigner(const std::string& certificateDer, const std::string& keyFile);
  TestSigner(const TestSigner&) = delete;
  TestSigner& operator=(const TestSigner&) = delete;
  ~TestSigner() {
    if (key_) CryptDestroyKey(key_);
    if (provider_) CryptReleaseContext(provider_, 0);
    if (certificate_) CertFreeCertificateContext(certificate_);
  }

  bool ok() const { return certificate_ && provider_; }
  cmskit::SignerCredential key() const {
    cmskit::SignerCredential signer;
    signer.certificate = certificate_;
    signer.provider = provider_;
    signer.keySpec = keySpec_;
    return signer;
  }

 private:
  PCCERT_CONTEXT certificate_ = nullptr;
  HCRYPTPROV provider_ = 0;
  HCRYPTKEY key_ = 0;
  DWORD keySpec_ = AT_SIGNATURE;
};

}  // namespace cmskit_testing

#endif
