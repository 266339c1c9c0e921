// The content-encryption key of a message being made: the provider it lives
// on, the key itself with its IV set, and the content algorithm identifier
// that tells a recipient how to use it.
#ifndef CMSKIT_MAKE_CONTENT_KEY_H
#define CMSKIT_MAKE_CONTENT_KEY_H

#include <cstdint>

#include "cmskit/asn_types.h"
#include "cmskit/make.h"
#include "platform/win32.h"

namespace cmskit {

class ContentKey {
 public:
  // A fresh key and IV, or the options' own; failures raise their status.
  explicit ContentKey(const EncryptOptions& options);
  ContentKey(const ContentKey&) = delete;
  ContentKey& operator=(const ContentKey&) = delete;

  HCRYPTPROV provider() const { return handles_.provider; }
  HCRYPTKEY key() const { return handles_.key; }
  const ASNAlgorithmIdentifier& algorithm() const { return algorithm_; }
  // What `plainSize` octets become: CBC adds 1 to a whole block of padding.
  uint64_t EncryptedSize(uint64_t plainSize) const;

 private:
  void Generate(ALG_ID algId);
  void Import(ALG_ID algId, const IdentObj& bytes);

  // Released also when the constructor fails half way.
  struct Handles {
    Handles() = default;
    Handles(const Handles&) = delete;
    Handles& operator=(const Handles&) = delete;
    ~Handles();
    HCRYPTPROV provider = 0;
    HCRYPTKEY key = 0;
  };

  Handles handles_;
  uint32_t blockBytes_ = 0;
  ASNAlgorithmIdentifier algorithm_;
};

}  // namespace cmskit

#endif
