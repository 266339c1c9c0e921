// A signer's public key, imported from its certificate on a provider of the
// type that handles such keys, and the signature octets in that provider's
// order.
#ifndef CMSKIT_VERIFY_SIGNER_KEY_H
#define CMSKIT_VERIFY_SIGNER_KEY_H

#include <vector>

#include "cmskit/identobj.h"
#include "platform/win32.h"
#include "verify/algorithm_names.h"
#include "verify/crypt_handles.h"

namespace cmskit {

class SignerKey {
 public:
  // Returns 0 or the code of the step that failed: kCodeAsn1Corrupt for
  // an unreadable certificate, kCodeBadAlgId for a key kind the provider
  // lacks, or the provider's own.
  DWORD Open(const IdentObj& certificate);

  KeyKind kind() const { return kind_; }
  HCRYPTPROV provider() const { return provider_.get(); }
  HCRYPTKEY key() const { return key_.get(); }
  const CERT_INFO& info() const { return *certificate_.get()->pCertInfo; }

  // `stored` least significant octet first, as MessageSignerInfo keeps the
  // signature. False when a DSA or ECDSA value is malformed.
  bool ProviderSignature(const IdentObj& stored, std::vector<BYTE>& out) const;
  // Switches an RSA key to RSASSA-PSS; the provider's code when it cannot.
  DWORD UsePss(DWORD saltLength);

 private:
  size_t DssWidth() const;

  CertificateHandle certificate_;
  ProviderHandle provider_;
  KeyHandle key_;
  KeyKind kind_ = KeyKind::kUnknown;
};

}  // namespace cmskit

#endif
