// A content-encryption key of the provider: the key bytes, the parameters a
// caller sets (IV, GOST parameter set and key meshing, RC2 effective length)
// and one streaming cipher context, as a CryptoAPI session key behaves.
#ifndef CMSKIT_PLATFORM_POSIX_CRYPT_SYMMETRIC_KEY_H
#define CMSKIT_PLATFORM_POSIX_CRYPT_SYMMETRIC_KEY_H

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/posix/crypt_algorithms.h"
#include "platform/posix/crypt_handle_table.h"
#include "platform/posix/crypt_openssl.h"

namespace cmskit {
namespace posix {

// Choices made when a key is created; zero/empty take the defaults.
struct KeyOptions {
  std::string gostParamSet;  // GOST: default CryptoPro A
  DWORD effectiveBits = 0;   // RC2: default the key's own length
  bool exportable = false;   // CRYPT_EXPORTABLE: may leave the provider in a key blob
};

class SymmetricKey {
 public:
  // NTE_BAD_LEN for a key of the wrong size, NTE_BAD_ALGID when the
  // algorithm's implementation is not available.
  static DWORD Create(const CipherAlgorithm& algorithm, const BYTE* key, size_t keyLength,
                      const KeyOptions& options, std::shared_ptr<SymmetricKey>* created);

  // A fresh random key, as CryptGenKey makes it: `flags` may hold
  // CRYPT_EXPORTABLE and, in the upper 16 bits, the key size in bits (default
  // the algorithm's largest; 128 for RC2). NTE_BAD_FLAGS for other flags and
  // sizes the algorithm does not have.
  static DWORD Generate(const CipherAlgorithm& algorithm, DWORD flags,
                        std::shared_ptr<SymmetricKey>* created);

  // A new key with the same key bytes and parameters, at the start of a stream.
  std::shared_ptr<SymmetricKey> Duplicate() const;

  const CipherAlgorithm& Algorithm() const { return algorithm_; }
  const SecretBytes& KeyBytes() const { return key_; }
  bool Exportable() const { return exportable_; }

  // Several calls with final false, then one with final true: CBC padding is
  // checked and removed on the final call, after which the key starts again
  // from its IV. Data is decrypted in place; *length becomes the plaintext size.
  DWORD Decrypt(bool final, BYTE* data, DWORD* length);
  // The reverse; a null `data` asks for the size the call would produce.
  DWORD Encrypt(bool final, BYTE* data, DWORD* length, DWORD bufferLength);

  DWORD GetParam(DWORD param, BYTE* data, DWORD* length) const;
  // Any change of parameters ends the stream under way. KP_CIPHEROID chooses
  // a GOST key's parameter set among the known ones.
  DWORD SetParam(DWORD param, const BYTE* data);

 private:
  enum class State { kIdle, kDecrypting, kEncrypting };

  SymmetricKey(const CipherAlgorithm& algorithm, CipherPtr cipher, const BYTE* key, size_t keyLength);
  DWORD Begin(State direction);
  DWORD Transform(BYTE* data, DWORD length);
  DWORD SetUpProviderCipher(bool encrypt);
  DWORD SetUpGostCipher(bool encrypt);
  void End();

  const CipherAlgorithm& algorithm_;
  CipherPtr cipher_;  // null for the engine's cipher
  SecretBytes key_;
  std::vector<BYTE> iv_;
  std::string gostParamSet_;
  DWORD mixMode_ = CRYPT_SIMPLEMIX_MODE;
  DWORD effectiveBits_ = 0;
  bool exportable_ = false;
  State state_ = State::kIdle;
  CipherCtxPtr context_;
  mutable std::mutex mutex_;
};

// The live keys of the process.
HandleTable<SymmetricKey>& KeyTable();

}  // namespace posix
}  // namespace cmskit

#endif
