// Signatures over a hash value, in CryptoAPI's byte order: RSA and GOST
// R 34.10 signatures are the reverse of their usual (big-endian) octets; DSA
// and ECDSA signatures are r then s, each a little-endian integer as wide as
// the group order, where CMS carries a DER Dss-Sig-Value.
#ifndef CMSKIT_PLATFORM_POSIX_CRYPT_SIGNATURE_H
#define CMSKIT_PLATFORM_POSIX_CRYPT_SIGNATURE_H

#include <vector>

#include "platform/posix/crypt_asymmetric_key.h"
#include "platform/posix/crypt_hash.h"

namespace cmskit {
namespace posix {

// NTE_BAD_ALGID when the digest does not go with the key (GOST R 34.10 keys
// take their own GOST digest, all others the classic ones) or OpenSSL refuses
// the combination (as an id-RSASSA-PSS key restricted to another digest).
DWORD CheckHashFitsKey(const AsymmetricKey& key, const HashAlgorithm& hash);

// NTE_BAD_SIGNATURE for a signature that does not verify or has the wrong size.
DWORD VerifySignature(const AsymmetricKey& key, const HashAlgorithm& hash, const EVP_MD* md,
                      const std::vector<BYTE>& digest, const BYTE* signature, DWORD length);

// A signature of key.SignatureSize() bytes, with the private key.
DWORD SignDigest(const AsymmetricKey& key, const HashAlgorithm& hash, const EVP_MD* md,
                 const std::vector<BYTE>& digest, std::vector<BYTE>* signature);

}  // namespace posix
}  // namespace cmskit

#endif
