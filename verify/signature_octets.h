// Signature values and parameters between CMS's encodings and CryptoAPI's:
// DSA and ECDSA signatures travel as DER Dss-Sig-Value and are checked as
// r then s, each little-endian and as wide as the group order.
#ifndef CMSKIT_VERIFY_SIGNATURE_OCTETS_H
#define CMSKIT_VERIFY_SIGNATURE_OCTETS_H

#include <cstddef>
#include <string>
#include <vector>

#include "cmskit/identobj.h"
#include "platform/win32.h"

namespace cmskit {

// `der` most significant octet first, as the SignerInfo carries it; false
// when it is not a Dss-Sig-Value or an integer is wider than `width`.
bool DssSignatureToCryptoApi(const BYTE* der, size_t size, size_t width, std::vector<BYTE>& out);

// Octets of the group order q in the DSA key's Dss-Parms; 0 when unreadable.
size_t DsaOrderWidth(const BYTE* parameters, size_t size);

// RSASSA-PSS-params (the signature algorithm's parameters element, empty
// for all defaults): the digest's dotted text, the mask generation digest's
// and the salt length.
struct PssParameters {
  std::string digestOid = "1.3.14.3.2.26";
  std::string maskDigestOid = "1.3.14.3.2.26";
  DWORD saltLength = 20;
};
bool ReadPssParameters(const IdentObj& parameters, PssParameters& out);

}  // namespace cmskit

#endif
