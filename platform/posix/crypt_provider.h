// A cryptographic provider: the key pair read from the file named as the
// container, or no key at all for a verification context.
#ifndef CMSKIT_PLATFORM_POSIX_CRYPT_PROVIDER_H
#define CMSKIT_PLATFORM_POSIX_CRYPT_PROVIDER_H

#include <memory>

#include "platform/posix/crypt_asymmetric_key.h"
#include "platform/posix/crypt_handle_table.h"
#include "platform/posix/crypt_openssl.h"

namespace cmskit {
namespace posix {

class Provider {
 public:
  // NTE_BAD_FLAGS, NTE_PROV_TYPE_NOT_DEF (unknown type, or GOST without the
  // engine) or NTE_BAD_KEYSET (no readable key of the type's family: GOST
  // R 34.10 for the GOST types; RSA, DSA or EC for the others).
  static DWORD Open(const char* container, DWORD type, DWORD flags, std::shared_ptr<Provider>* opened);

  DWORD Type() const { return type_; }
  // The key pair, the same one for AT_KEYEXCHANGE and AT_SIGNATURE; null for
  // a verification context.
  const std::shared_ptr<AsymmetricKey>& UserKey() const { return key_; }
  EVP_PKEY* PrivateKey() const { return key_ ? key_->Pkey() : nullptr; }
  // The key pair for AT_KEYEXCHANGE or AT_SIGNATURE; NTE_NO_KEY for any
  // other key kind and for a verification context.
  DWORD KeyFor(DWORD keySpec, std::shared_ptr<AsymmetricKey>* key) const;
  bool IsGost() const;

 private:
  Provider(DWORD type, std::shared_ptr<AsymmetricKey> key) : type_(type), key_(std::move(key)) {}

  DWORD type_;
  std::shared_ptr<AsymmetricKey> key_;
};

// OpenSSL's random generator, in pieces it accepts.
DWORD FillRandom(BYTE* buffer, DWORD length);

// The live providers of the process.
HandleTable<Provider>& ProviderTable();

}  // namespace posix
}  // namespace cmskit

#endif
