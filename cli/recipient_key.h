// The recipient's certificate and private key, obtained the way the platform
// keeps keys: a key file on POSIX systems, the certificate store on Windows.
#ifndef CMSKIT_CLI_RECIPIENT_KEY_H
#define CMSKIT_CLI_RECIPIENT_KEY_H

#include <cmskit/cmskit.h>

#include <string>

namespace cmskit_cli {

class RecipientKey {
 public:
  // `certificateDer` is the certificate file already in DER; messages name
  // it `certificateName`.
  RecipientKey(const std::string& certificateDer, const std::string& certificateName,
               const std::string& keyPath);
  RecipientKey(const RecipientKey&) = delete;
  RecipientKey& operator=(const RecipientKey&) = delete;
  ~RecipientKey();

  PCCERT_CONTEXT certificate() const { return certificate_; }
  HCRYPTPROV provider() const { return provider_; }

 private:
  PCCERT_CONTEXT certificate_ = nullptr;
  HCRYPTPROV provider_ = 0;
  void* store_ = nullptr;
};

}  // namespace cmskit_cli

#endif
