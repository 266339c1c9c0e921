// The content-encryption algorithms the provider knows: their CryptoAPI
// identifiers, object identifiers, sizes and where OpenSSL finds them.
#ifndef CMSKIT_PLATFORM_POSIX_CRYPT_ALGORITHMS_H
#define CMSKIT_PLATFORM_POSIX_CRYPT_ALGORITHMS_H

#include <cstddef>

#include "platform/win32.h"

namespace cmskit {
namespace posix {

enum class CipherSource {
  kDefault,  // OpenSSL's default provider
  kLegacy,   // OpenSSL's legacy provider (RC2)
  kGost,     // the gost engine
};

struct CipherAlgorithm {
  ALG_ID algId;
  const char* oid;
  const char* openSslName;  // name to fetch; null for the engine's cipher
  size_t minKeyBytes;
  size_t maxKeyBytes;
  DWORD blockBytes;  // CBC padding unit; 0 for a stream mode
  DWORD ivBytes;
  DWORD mode;
  CipherSource source;
};

// GOST 28147-89 in CFB mode, the CMS content cipher of the GOST family.
constexpr const char* kGost28147Oid = "1.2.643.2.2.21";
// The CryptoPro A parameter set, used where a key is given none.
constexpr const char* kDefaultGostParamSet = "1.2.643.2.2.31.1";

const CipherAlgorithm* AlgorithmById(ALG_ID algId);
const CipherAlgorithm* AlgorithmByOid(const char* oid);
// All of them, for installing the key import functions.
const CipherAlgorithm* AllAlgorithms(size_t* count);

// The GOST 28147-89 parameter sets (S-boxes) a key may carry.
bool IsKnownGostParamSet(const char* oid);

}  // namespace posix
}  // namespace cmskit

#endif
