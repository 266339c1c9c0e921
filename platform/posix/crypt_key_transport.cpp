// Unwrapping transported content-encryption keys with OpenSSL.
#include "platform/posix/crypt_key_transport.h"

#include <openssl/err.h>
#include <openssl/rsa.h>

#include <utility>

#include "platform/posix/crypt_backends.h"

namespace cmskit {
namespace posix {

namespace {

constexpr size_t kGostKeyBytes = 32;

// One EVP_PKEY_decrypt, output size first; false when OpenSSL refuses.
bool Decrypt(EVP_PKEY_CTX* context, const BYTE* encrypted, DWORD length, SecretBytes* key) {
  size_t size = 0;
  if (EVP_PKEY_decrypt(context, nullptr, &size, encrypted, length) <= 0 || size == 0) return false;
  SecretBytes out(size);
  if (EVP_PKEY_decrypt(context, out.data(), &size, encrypted, length) <= 0) return false;
  out.resize(size);
  *key = std::move(out);
  return true;
}

// One EVP_PKEY_encrypt, output size first.
bool Encrypt(EVP_PKEY_CTX* context, const SecretBytes& key, std::vector<BYTE>* wrapped) {
  size_t size = 0;
  if (EVP_PKEY_encrypt(context, nullptr, &size, key.data(), key.size()) <= 0 || size == 0) return false;
  wrapped->resize(size);
  if (EVP_PKEY_encrypt(context, wrapped->data(), &size, key.data(), key.size()) <= 0) return false;
  wrapped->resize(size);
  return true;
}

}  // namespace

DWORD WrapContentKey(const AsymmetricKey& recipient, const SecretBytes& key, std::vector<BYTE>* wrapped) {
  const bool gost = recipient.IsGost();
  if (!gost && recipient.Family() != KeyFamily::kRsa) return NTE_BAD_KEY;
  if (gost && key.size() != kGostKeyBytes) return NTE_BAD_LEN;
  PkeyCtxPtr context(EVP_PKEY_CTX_new(recipient.Pkey(), nullptr));
  bool done = context && EVP_PKEY_encrypt_init(context.get()) > 0;
  if (done && !gost) done = EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) > 0;
  if (done) done = Encrypt(context.get(), key, wrapped);
  ERR_clear_error();
  return done ? 0 : NTE_BAD_KEY;
}

DWORD UnwrapContentKey(const Provider& provider, const BYTE* encrypted, DWORD length, SecretBytes* key) {
  const std::shared_ptr<AsymmetricKey>& own = provider.UserKey();
  if (!own) return NTE_NO_KEY;
  const bool gost = own->IsGost();
  if (!gost && own->Family() != KeyFamily::kRsa) return NTE_BAD_KEY;  // DSA and EC keys transport nothing
  if (gost && !GostEngine::Get().Available()) return NTE_BAD_ALGID;
  PkeyCtxPtr context(EVP_PKEY_CTX_new(own->Pkey(), nullptr));
  bool unwrapped = context && EVP_PKEY_decrypt_init(context.get()) > 0;
  if (unwrapped && !gost) unwrapped = EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) > 0;
  if (unwrapped) unwrapped = Decrypt(context.get(), encrypted, length, key);
  ERR_clear_error();
  if (!unwrapped || (gost && key->size() != kGostKeyBytes)) return NTE_BAD_DATA;
  return 0;
}

}  // namespace posix
}  // namespace cmskit
