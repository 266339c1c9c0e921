// A cryptographic provider: the private key read from the file named as the
// container, or no key at all for a verification context.
#ifndef CMSKIT_PLATFORM_POSIX_CRYPT_PROVIDER_H
#define CMSKIT_PLATFORM_POSIX_CRYPT_PROVIDER_H

#include <memory>

#include "platform/posix/crypt_handle_table.h"
#include "platform/posix/crypt_openssl.h"

namespace cmskit {
namespace posix {

class Provider {
 public:
  // NTE_BAD_FLAGS, NTE_PROV_TYPE_NOT_DEF (unknown type, or GOST without the
  // engine) or NTE_BAD_KEYSET (no readable key of the type's family).
  static DWORD Open(const char* container, DWORD type, DWORD flags, std::shared_ptr<Provider>* opened);

  DWORD Type() const { return type_; }
  // The private key; null for a verification context.
  EVP_PKEY* PrivateKey() const { return key_.get(); }
  bool IsGost() const;

 private:
  Provider(DWORD type, PkeyPtr key) : type_(type), key_(std::move(key)) {}

  DWORD type_;
  PkeyPtr key_;
};

// OpenSSL's random generator, in pieces it accepts.
DWORD FillRandom(BYTE* buffer, DWORD length);

// The live providers of the process.
HandleTable<Provider>& ProviderTable();

}  // namespace posix
}  // namespace cmskit

#endif
