// The content-encryption key of a message being made: the provider it lives
// on, the key itself with its IV set, and the content algorithm identifier
// that tells a recipient how to use it.
#ifndef CMSKIT_MAKE_CONTENT_KEY_H
#define CMSKIT_MAKE_CONTENT_KEY_H

#include <cstdint>

#include "cmskit/asn_types.h"
#include "cmskit/make.h"
#include "platform/win32.h"
#include "verify/crypt_handles.h"

namespace cmskit {

class ContentKey {
 public:
  // A fresh key and IV, or the options' own; failures raise their status.
  explicit ContentKey(const EncryptOptions& options);
  ContentKey(const ContentKey&) = delete;
  ContentKey& operator=(const ContentKey&) = delete;

  HCRYPTPROV provider() const { return provider_.get(); }
  HCRYPTKEY key() const { return key_.get(); }
  const ASNAlgorithmIdentifier& algorithm() const { return algorithm_; }
  // What `plainSize` octets become: CBC adds 1 to a whole block of padding.
  uint64_t EncryptedSize(uint64_t plainSize) const;

 private:
  void Generate(ALG_ID algId);
  void Import(ALG_ID algId, const IdentObj& bytes);

  // Members, so released also when the constructor fails half way; the key
  // goes before its provider.
  ProviderHandle provider_;
  KeyHandle key_;
  uint32_t blockBytes_ = 0;
  ASNAlgorithmIdentifier algorithm_;
};

}  // namespace cmskit

#endif
