// CASNPublicKeyInfo: a SubjectPublicKeyInfo taken from the platform's form.
#include <cstring>

#include "cmskit/asn_types.h"

namespace cmskit {

CASNPublicKeyInfo::CASNPublicKeyInfo(const CERT_PUBLIC_KEY_INFO& keyInfo) {
  const char* oid = keyInfo.Algorithm.pszObjId;
  algorithm.id.SetData(oid, oid ? static_cast<uint32_t>(strlen(oid)) : 0);
  algorithm.data = keyInfo.Algorithm.Parameters;
  // The unused-bit count of the key's BIT STRING is not kept.
  publicKey.SetData(keyInfo.PublicKey.pbData, keyInfo.PublicKey.cbData);
}

CASNPublicKeyInfo::~CASNPublicKeyInfo() = default;

}  // namespace cmskit
