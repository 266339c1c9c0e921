// Where the provider's cryptography comes from: OpenSSL's providers for the
// ordinary ciphers and digests (in a library context of our own, so that
// loading the legacy provider for RC2 changes nothing for the rest of the
// process) and the gost engine for the GOST family. Both are set up on first use and kept
// for the life of the process.
#ifndef CMSKIT_PLATFORM_POSIX_CRYPT_BACKENDS_H
#define CMSKIT_PLATFORM_POSIX_CRYPT_BACKENDS_H

#include <openssl/types.h>

#include "platform/posix/crypt_algorithms.h"
#include "platform/posix/crypt_openssl.h"

namespace cmskit {
namespace posix {

class OpenSslLibrary {
 public:
  static const OpenSslLibrary& Get();
  // The cipher for a provider-backed algorithm; null when it is not there
  // (the legacy provider may be missing).
  CipherPtr FetchCipher(const CipherAlgorithm& algorithm) const;
  // A digest by its OpenSSL name; null when it is not there.
  MdPtr FetchDigest(const char* name) const;

 private:
  OpenSslLibrary();
  OSSL_LIB_CTX* context_ = nullptr;
};

class GostEngine {
 public:
  // Loads the engine "gost" the first time; afterwards only reports.
  static const GostEngine& Get();
  bool Available() const { return engine_ != nullptr; }
  ENGINE* Engine() const { return engine_; }
  // GOST 28147-89 in CFB mode with CryptoPro key meshing.
  const EVP_CIPHER* Cipher() const { return cipher_; }
  // GOST R 34.11-94 (CryptoPro parameters) and 34.11-2012 by their NIDs; null
  // for any other.
  const EVP_MD* Digest(int nid) const;

 private:
  GostEngine();
  ENGINE* engine_ = nullptr;
  const EVP_CIPHER* cipher_ = nullptr;
  const EVP_MD* digests_[3] = {};
};

}  // namespace posix
}  // namespace cmskit

#endif
