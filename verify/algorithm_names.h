// The algorithms a signer info names, as the provider knows them: digest
// object identifiers to ALG_IDs, signature and public-key identifiers to the
// kind of key that checks them, and readable names for reports.
#ifndef CMSKIT_VERIFY_ALGORITHM_NAMES_H
#define CMSKIT_VERIFY_ALGORITHM_NAMES_H

#include <string>

#include "cmskit/identobj.h"
#include "platform/win32.h"

namespace cmskit {

enum class KeyKind { kUnknown, kRsa, kRsaPss, kDsa, kEcdsa, kGost2001, kGost2012_256, kGost2012_512 };

struct DigestAlgorithm {
  const char* oid;
  ALG_ID algId;
  const char* name;
  // The provider type that hashes it on Windows.
  DWORD providerType;
};

struct SignatureAlgorithm {
  const char* oid;
  KeyKind kind;
  // The digest the identifier fixes, 0 when the signer info's digest decides.
  ALG_ID digest;
  const char* name;
};

// Null when the identifier is not one the provider can compute.
const DigestAlgorithm* FindDigestByOid(const std::string& oid);
const DigestAlgorithm* FindDigestByAlgId(ALG_ID algId);
// Signature identifiers of signer infos, public-key identifiers included
// (CMS allows rsaEncryption, id-ecPublicKey and the GOST key identifiers
// there).
const SignatureAlgorithm* FindSignatureByOid(const std::string& oid);
// The kind of a certificate's subjectPublicKeyInfo algorithm.
KeyKind KeyKindOfPublicKey(const std::string& oid);
// The provider type that imports keys of this kind on Windows.
DWORD ProviderTypeFor(KeyKind kind);
const char* KeyKindName(KeyKind kind);

// A readable name for any digest, signature or key identifier; the dotted
// text itself when unknown.
std::string AlgorithmName(const std::string& oid);

// The dotted text an IdentObj holds (without terminator) as a string.
std::string OidText(const IdentObj& id);

}  // namespace cmskit

#endif
