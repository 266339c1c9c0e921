// Finding a signer's certificate among DER certificates: by issuer and serial
// number, or by subject key identifier.
#ifndef CMSKIT_VERIFY_CERTIFICATE_LOOKUP_H
#define CMSKIT_VERIFY_CERTIFICATE_LOOKUP_H

#include <list>
#include <vector>

#include "cmskit/identobj.h"
#include "cmskit/message_signer_info.h"

namespace cmskit {

// Searches the certificates it was given, in the order given; it keeps
// pointers only, so they must outlive it. Unreadable candidates are skipped.
class CertificateLookup {
 public:
  void Add(const std::list<IdentObj>& certificates);
  void Add(const IdentObj& certificate);

  // `issuer` the whole Name element; `serial` least significant octet first,
  // as MessageSignerInfo and CERT_INFO hold it. Null when none matches.
  const IdentObj* FindByIssuerSerial(const IdentObj& issuer, const IdentObj& serial) const;
  // The subjectKeyIdentifier extension, or without one the SHA-1 of the
  // public key bits (as Windows derives a key identifier).
  const IdentObj* FindByKeyId(const IdentObj& keyId) const;
  // By whichever identifier the signer info carries.
  const IdentObj* FindSigner(const MessageSignerInfo& signer) const;

 private:
  std::vector<const IdentObj*> candidates_;
};

}  // namespace cmskit

#endif
