// Ownership of OpenSSL objects, and a byte buffer for key material that is
// wiped when it goes away.
#ifndef CMSKIT_PLATFORM_POSIX_CRYPT_OPENSSL_H
#define CMSKIT_PLATFORM_POSIX_CRYPT_OPENSSL_H

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/crypto.h>
#include <openssl/ec.h>
#include <openssl/evp.h>

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "platform/win32.h"

namespace cmskit {
namespace posix {

struct OpenSslFree {
  void operator()(EVP_PKEY* p) const { EVP_PKEY_free(p); }
  void operator()(EVP_PKEY_CTX* p) const { EVP_PKEY_CTX_free(p); }
  void operator()(EVP_CIPHER* p) const { EVP_CIPHER_free(p); }
  void operator()(EVP_CIPHER_CTX* p) const { EVP_CIPHER_CTX_free(p); }
  void operator()(EVP_MD* p) const { EVP_MD_free(p); }
  void operator()(EVP_MD_CTX* p) const { EVP_MD_CTX_free(p); }
  void operator()(BIO* p) const { BIO_free(p); }
  void operator()(BIGNUM* p) const { BN_free(p); }
  void operator()(ECDSA_SIG* p) const { ECDSA_SIG_free(p); }
};

using PkeyPtr = std::unique_ptr<EVP_PKEY, OpenSslFree>;
using PkeyCtxPtr = std::unique_ptr<EVP_PKEY_CTX, OpenSslFree>;
using CipherPtr = std::unique_ptr<EVP_CIPHER, OpenSslFree>;
using CipherCtxPtr = std::unique_ptr<EVP_CIPHER_CTX, OpenSslFree>;
using MdPtr = std::unique_ptr<EVP_MD, OpenSslFree>;
using MdCtxPtr = std::unique_ptr<EVP_MD_CTX, OpenSslFree>;
using BioPtr = std::unique_ptr<BIO, OpenSslFree>;
using BignumPtr = std::unique_ptr<BIGNUM, OpenSslFree>;
using EcdsaSigPtr = std::unique_ptr<ECDSA_SIG, OpenSslFree>;

// Key material: cleared before its memory is released.
class SecretBytes {
 public:
  SecretBytes() = default;
  explicit SecretBytes(size_t size) : bytes_(size) {}
  SecretBytes(const BYTE* data, size_t size) : bytes_(data, data + size) {}
  SecretBytes(const SecretBytes&) = default;
  SecretBytes(SecretBytes&&) = default;
  SecretBytes& operator=(const SecretBytes&) = delete;
  SecretBytes& operator=(SecretBytes&& other) {
    Wipe();
    bytes_ = std::move(other.bytes_);
    return *this;
  }
  ~SecretBytes() { Wipe(); }

  BYTE* data() { return bytes_.data(); }
  const BYTE* data() const { return bytes_.data(); }
  size_t size() const { return bytes_.size(); }
  void resize(size_t size) {
    if (size < bytes_.size()) OPENSSL_cleanse(bytes_.data() + size, bytes_.size() - size);
    bytes_.resize(size);
  }

 private:
  void Wipe() {
    if (!bytes_.empty()) OPENSSL_cleanse(bytes_.data(), bytes_.size());
  }
  std::vector<BYTE> bytes_;
};

}  // namespace posix
}  // namespace cmskit

#endif
