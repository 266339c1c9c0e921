// A signer's certificate and a provider holding its private key, obtained
// from a certificate file and a private key file: on POSIX systems the key
// file is the provider's container; on Windows the key (RSA) is imported
// into a provider of its own.
#ifndef CMSKIT_CLI_SIGNING_KEY_H
#define CMSKIT_CLI_SIGNING_KEY_H

#include <cmskit/cmskit.h>

#include <string>

namespace cmskit_cli {

class SigningKey {
 public:
  // `certificateDer` is the certificate file already in DER; messages name
  // it `certificateName`.
  SigningKey(const std::string& certificateDer, const std::string& certificateName,
             const std::string& keyPath);
  SigningKey(const SigningKey&) = delete;
  SigningKey& operator=(const SigningKey&) = delete;
  ~SigningKey();

  // The library's view of this signer, with `digestOid` (null: the key's).
  cmskit::SignerCredential signer(const char* digestOid) const;

 private:
  // The platform's way to the certificate and key; what it obtained before
  // a failure is released by the constructor.
  void Load(const std::string& certificateDer, const std::string& certificateName,
            const std::string& keyPath);
  void Release();
  // Throws unless the provider's key pair is the one the certificate names.
  void RequireCertificateKey(const std::string& keyPath, const std::string& certificateName) const;

  PCCERT_CONTEXT certificate_ = nullptr;
  HCRYPTPROV provider_ = 0;
  HCRYPTKEY key_ = 0;
  DWORD keySpec_ = AT_SIGNATURE;
};

}  // namespace cmskit_cli

#endif
