// A hash object: one digest computation streamed through OpenSSL, and the
// value it ends with, computed or set by the caller.
#ifndef CMSKIT_PLATFORM_POSIX_CRYPT_HASH_H
#define CMSKIT_PLATFORM_POSIX_CRYPT_HASH_H

#include <memory>
#include <mutex>
#include <vector>

#include "platform/posix/crypt_handle_table.h"
#include "platform/posix/crypt_openssl.h"
#include "platform/posix/crypt_provider.h"

namespace cmskit {
namespace posix {

// Which signature keys a digest goes with: the GOST R 34.10 keys each take
// their own GOST digest, every other key the classic ones.
enum class HashFamily { kClassic, kGost94, kGost2012_256, kGost2012_512 };

struct HashAlgorithm {
  ALG_ID algId;
  const char* openSslName;  // null for the gost engine's digests
  int engineNid;            // the engine's digest; 0 for the others
  DWORD size;
  HashFamily family;
};

// Null for an algorithm the provider does not know.
const HashAlgorithm* HashAlgorithmById(ALG_ID algId);

class HashObject {
 public:
  // NTE_BAD_ALGID when the algorithm's implementation is not available.
  static DWORD Create(const HashAlgorithm& algorithm, std::shared_ptr<Provider> provider,
                      std::shared_ptr<HashObject>* created);

  const HashAlgorithm& Algorithm() const { return algorithm_; }
  // The provider the hash was created on, whose key signs it.
  const std::shared_ptr<Provider>& Owner() const { return provider_; }
  // The digest as OpenSSL names it, for padding schemes that name it too.
  const EVP_MD* Md() const { return md_; }

  // NTE_BAD_HASH_STATE once the value was taken or set.
  DWORD Update(const BYTE* data, DWORD length);
  // The value; the first call ends the computation.
  DWORD Finish(std::vector<BYTE>* value);
  DWORD GetParam(DWORD param, BYTE* data, DWORD* length);
  // HP_HASHVAL: the value to sign, in place of one computed here.
  DWORD SetParam(DWORD param, const BYTE* data);

 private:
  HashObject(const HashAlgorithm& algorithm, std::shared_ptr<Provider> provider)
      : algorithm_(algorithm), provider_(std::move(provider)) {}
  DWORD FinishLocked();

  const HashAlgorithm& algorithm_;
  const std::shared_ptr<Provider> provider_;
  MdPtr fetched_;  // owns md_ unless it is the engine's
  const EVP_MD* md_ = nullptr;
  MdCtxPtr context_;  // null once finished
  std::vector<BYTE> value_;
  mutable std::mutex mutex_;
};

// The live hash objects of the process.
HandleTable<HashObject>& HashTable();

}  // namespace posix
}  // namespace cmskit

#endif
