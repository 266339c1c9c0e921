// A public or private key of a signature or key-transport algorithm: a
// certificate's public key, or a provider's own key pair.
#ifndef CMSKIT_PLATFORM_POSIX_CRYPT_ASYMMETRIC_KEY_H
#define CMSKIT_PLATFORM_POSIX_CRYPT_ASYMMETRIC_KEY_H

#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/posix/crypt_handle_table.h"
#include "platform/posix/crypt_openssl.h"

namespace cmskit {
namespace posix {

enum class KeyFamily { kRsa, kDsa, kEc, kGost2001, kGost2012_256, kGost2012_512 };

// How an RSA key pads its signatures.
struct RsaPadding {
  bool pss = false;
  int saltLength = 0;  // PSS: bytes, or one of OpenSSL's RSA_PSS_SALTLEN_* choices
};

class AsymmetricKey {
 public:
  // NTE_BAD_ALGID for a key of a kind the provider does not handle.
  static DWORD Wrap(PkeyPtr key, std::shared_ptr<AsymmetricKey>* wrapped);
  // RSA (rsaEncryption, id-RSASSA-PSS), DSA, EC on a named curve and GOST
  // R 34.10-2001/2012 public keys. NTE_BAD_ALGID for other algorithms and for
  // GOST without the engine, CRYPT_E_ASN1_CORRUPT when OpenSSL cannot read the
  // key, E_INVALIDARG for a structure whose parts do not fit together.
  static DWORD FromPublicKeyInfo(const CERT_PUBLIC_KEY_INFO& info, std::shared_ptr<AsymmetricKey>* made);

  EVP_PKEY* Pkey() const { return key_.get(); }
  KeyFamily Family() const { return family_; }
  bool IsGost() const;
  // The size of a signature in CryptoAPI's form.
  DWORD SignatureSize() const { return signatureSize_; }
  // RSA keys: PKCS #1 v1.5 unless switched to PSS (id-RSASSA-PSS keys always
  // are); `signing` picks the default salt length of a PSS key: the digest's
  // length for a new signature, whatever the signature says when verifying.
  RsaPadding Padding(bool signing) const;

  // KP_KEYLEN (bits).
  DWORD GetParam(DWORD param, BYTE* data, DWORD* length) const;
  // KP_CMSKIT_PSS_SALT_LENGTH, on RSA keys only.
  DWORD SetParam(DWORD param, const BYTE* data);

 private:
  AsymmetricKey(PkeyPtr key, KeyFamily family, bool pssOnly, DWORD signatureSize)
      : key_(std::move(key)), family_(family), pssOnly_(pssOnly), signatureSize_(signatureSize) {}

  static constexpr int64_t kNoSaltLength = -1;

  const PkeyPtr key_;
  const KeyFamily family_;
  const bool pssOnly_;
  const DWORD signatureSize_;
  std::atomic<int64_t> pssSaltLength_{kNoSaltLength};
};

// The live public and private keys of the process (session keys have a table
// of their own).
HandleTable<AsymmetricKey>& AsymmetricKeyTable();

}  // namespace posix
}  // namespace cmskit

#endif
