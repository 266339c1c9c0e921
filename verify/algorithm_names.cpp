#include "verify/algorithm_names.h"

#include <iterator>

namespace cmskit {

namespace {

// The DSS provider type of Windows; the Linux provider takes every key on
// the RSA types.
constexpr DWORD kProviderDss = 13;

const DigestAlgorithm kDigests[] = {
    {"1.2.840.113549.2.5", CALG_MD5, "MD5", PROV_RSA_AES},
    {"1.3.14.3.2.26", CALG_SHA1, "SHA-1", PROV_RSA_AES},
    {"2.16.840.1.101.3.4.2.1", CALG_SHA_256, "SHA-256", PROV_RSA_AES},
    {"2.16.840.1.101.3.4.2.2", CALG_SHA_384, "SHA-384", PROV_RSA_AES},
    {"2.16.840.1.101.3.4.2.3", CALG_SHA_512, "SHA-512", PROV_RSA_AES},
    {"1.2.643.2.2.9", CALG_GR3411, "GOST R 34.11-94", PROV_GOST_2001_DH},
    {"1.2.643.7.1.1.2.2", CALG_GR3411_2012_256, "GOST R 34.11-2012 (256)", PROV_GOST_2012_256},
    {"1.2.643.7.1.1.2.3", CALG_GR3411_2012_512, "GOST R 34.11-2012 (512)", PROV_GOST_2012_512},
};

const SignatureAlgorithm kSignatures[] = {
    {"1.2.840.113549.1.1.1", KeyKind::kRsa, 0, "RSA"},
    {"1.2.840.113549.1.1.4", KeyKind::kRsa, CALG_MD5, "MD5 with RSA"},
    {"1.2.840.113549.1.1.5", KeyKind::kRsa, CALG_SHA1, "SHA-1 with RSA"},
    {"1.2.840.113549.1.1.11", KeyKind::kRsa, CALG_SHA_256, "SHA-256 with RSA"},
    {"1.2.840.113549.1.1.12", KeyKind::kRsa, CALG_SHA_384, "SHA-384 with RSA"},
    {"1.2.840.113549.1.1.13", KeyKind::kRsa, CALG_SHA_512, "SHA-512 with RSA"},
    {"1.2.840.113549.1.1.10", KeyKind::kRsaPss, 0, "RSASSA-PSS"},
    {"1.2.840.10040.4.1", KeyKind::kDsa, 0, "DSA"},
    {"1.2.840.10040.4.3", KeyKind::kDsa, CALG_SHA1, "DSA with SHA-1"},
    {"2.16.840.1.101.3.4.3.2", KeyKind::kDsa, CALG_SHA_256, "DSA with SHA-256"},
    {"1.2.840.10045.2.1", KeyKind::kEcdsa, 0, "ECDSA"},
    {"1.2.840.10045.4.1", KeyKind::kEcdsa, CALG_SHA1, "ECDSA with SHA-1"},
    {"1.2.840.10045.4.3.2", KeyKind::kEcdsa, CALG_SHA_256, "ECDSA with SHA-256"},
    {"1.2.840.10045.4.3.3", KeyKind::kEcdsa, CALG_SHA_384, "ECDSA with SHA-384"},
    {"1.2.840.10045.4.3.4", KeyKind::kEcdsa, CALG_SHA_512, "ECDSA with SHA-512"},
    {"1.2.643.2.2.19", KeyKind::kGost2001, 0, "GOST R 34.10-2001"},
    {"1.2.643.2.2.3", KeyKind::kGost2001, CALG_GR3411, "GOST R 34.10-2001 with GOST R 34.11-94"},
    {"1.2.643.7.1.1.1.1", KeyKind::kGost2012_256, 0, "GOST R 34.10-2012 (256)"},
    {"1.2.643.7.1.1.1.2", KeyKind::kGost2012_512, 0, "GOST R 34.10-2012 (512)"},
    {"1.2.643.7.1.1.3.2", KeyKind::kGost2012_256, CALG_GR3411_2012_256,
     "GOST R 34.10-2012 (256) with GOST R 34.11-2012 (256)"},
    {"1.2.643.7.1.1.3.3", KeyKind::kGost2012_512, CALG_GR3411_2012_512,
     "GOST R 34.10-2012 (512) with GOST R 34.11-2012 (512)"},
};

// Names for identifiers that are neither computed nor checked here, so that
// an unsupported algorithm is reported by a name a reader recognises.
struct OtherName {
  const char* oid;
  const char* name;
};
const OtherName kOtherNames[] = {
    {"2.16.840.1.101.3.4.2.4", "SHA-224"},
    {"2.16.840.1.101.3.4.2.8", "SHA3-256"},
    {"2.16.840.1.101.3.4.2.9", "SHA3-384"},
    {"2.16.840.1.101.3.4.2.10", "SHA3-512"},
    {"1.2.840.113549.1.1.14", "SHA-224 with RSA"},
    {"1.3.101.112", "Ed25519"},
    {"1.3.101.113", "Ed448"},
};

}  // namespace

const DigestAlgorithm* FindDigestByOid(const std::string& oid) {
  for (const DigestAlgorithm& digest : kDigests)
    if (oid == digest.oid) return &digest;
  return nullptr;
}

const DigestAlgorithm* FindDigestByAlgId(ALG_ID algId) {
  for (const DigestAlgorithm& digest : kDigests)
    if (algId == digest.algId) return &digest;
  return nullptr;
}

const SignatureAlgorithm* FindSignatureByOid(const std::string& oid) {
  for (const SignatureAlgorithm& signature : kSignatures)
    if (oid == signature.oid) return &signature;
  return nullptr;
}

KeyKind KeyKindOfPublicKey(const std::string& oid) {
  const SignatureAlgorithm* algorithm = FindSignatureByOid(oid);
  // Only bare key identifiers name a certificate's key.
  return algorithm && algorithm->digest == 0 ? algorithm->kind : KeyKind::kUnknown;
}

DWORD ProviderTypeFor(KeyKind kind) {
  switch (kind) {
    case KeyKind::kDsa:
      return kProviderDss;
    case KeyKind::kGost2001:
      return PROV_GOST_2001_DH;
    case KeyKind::kGost2012_256:
      return PROV_GOST_2012_256;
    case KeyKind::kGost2012_512:
      return PROV_GOST_2012_512;
    default:
      return PROV_RSA_AES;
  }
}

const char* KeyKindName(KeyKind kind) {
  switch (kind) {
    case KeyKind::kRsa:
      return "RSA";
    case KeyKind::kRsaPss:
      return "RSASSA-PSS";
    case KeyKind::kDsa:
      return "DSA";
    case KeyKind::kEcdsa:
      return "ECDSA";
    case KeyKind::kGost2001:
      return "GOST R 34.10-2001";
    case KeyKind::kGost2012_256:
      return "GOST R 34.10-2012 (256)";
    case KeyKind::kGost2012_512:
      return "GOST R 34.10-2012 (512)";
    default:
      return "unknown";
  }
}

std::string AlgorithmName(const std::string& oid) {
  if (const DigestAlgorithm* digest = FindDigestByOid(oid)) return digest->name;
  if (const SignatureAlgorithm* signature = FindSignatureByOid(oid)) return signature->name;
  for (const OtherName& other : kOtherNames)
    if (oid == other.oid) return other.name;
  return oid.empty() ? std::string("(none)") : oid;
}

std::string OidText(const IdentObj& id) {
  std::string text(reinterpret_cast<const char*>(id.data()), id.size());
  // Some holders keep the terminator; it is no part of the identifier.
  while (!text.empty() && text.back() == '\0') text.pop_back();
  return text;
}

}  // namespace cmskit
