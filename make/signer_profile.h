// What a signer's key calls for: the digest it takes by default, the
// signatureAlgorithm a SignerInfo names for a digest, and the form the
// provider gives its signatures in.
#ifndef CMSKIT_MAKE_SIGNER_PROFILE_H
#define CMSKIT_MAKE_SIGNER_PROFILE_H

#include <string>

namespace cmskit {

enum class SignatureForm {
  // One integer, least significant octet first: what a SignerInfo holds.
  Reversed,
  // r then s, each little-endian and as wide as the group order; a
  // SignerInfo holds the DER Dss-Sig-Value.
  Halves,
};

struct SignerProfile {
  std::string digestOid;
  std::string signatureOid;
  SignatureForm form = SignatureForm::Reversed;
};

// The profile of a key of algorithm `keyOid` signing with `digestOid` (empty:
// the key's default digest); false for a key or pairing the writer does not
// know.
bool FindSignerProfile(const std::string& keyOid, const std::string& digestOid, SignerProfile& out);

}  // namespace cmskit

#endif
