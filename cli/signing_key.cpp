#include "signing_key.h"

namespace cmskit_cli {

SigningKey::~SigningKey() {
  if (key_) CryptDestroyKey(key_);
  if (provider_) CryptReleaseContext(provider_, 0);
  if (certificate_) CertFreeCertificateContext(certificate_);
}

cmskit::SignerCredential SigningKey::signer(const char* digestOid) const {
  cmskit::SignerCredential key;
  key.certificate = certificate_;
  key.provider = provider_;
  key.keySpec = keySpec_;
  key.digestOid = digestOid;
  return key;
}

}  // namespace cmskit_cli
