// The signature functions: verifying a signature over a hash object's value
// with a public key, and signing it with the provider's own key pair.
#include <algorithm>
#include <memory>
#include <vector>

#include "platform/posix/crypt_call.h"
#include "platform/posix/crypt_signature.h"
#include "platform/posix/crypt_symmetric_key.h"

namespace cmskit {
namespace posix {

namespace {

// The public or private key a handle names; NTE_BAD_KEY for a session key.
DWORD FindAsymmetricKey(HCRYPTKEY handle, std::shared_ptr<AsymmetricKey>* key) {
  *key = AsymmetricKeyTable().Find(handle);
  if (*key) return 0;
  return KeyTable().Find(handle) ? NTE_BAD_KEY : ERROR_INVALID_PARAMETER;
}

// Signs with the key pair of the provider the hash was created on.
DWORD SignHash(HashObject& hash, DWORD keySpec, BYTE* signature, DWORD* length) {
  std::shared_ptr<AsymmetricKey> key;
  if (const DWORD code = hash.Owner()->KeyFor(keySpec, &key)) return code;
  if (const DWORD code = CheckHashFitsKey(*key, hash.Algorithm())) return code;
  const DWORD size = key->SignatureSize();
  // Asking for the size leaves the hash open.
  DWORD sizeCode = 0;
  if (SizeOnly(size, signature, length, &sizeCode)) return sizeCode;
  std::vector<BYTE> digest, made;
  if (const DWORD code = hash.Finish(&digest)) return code;
  if (const DWORD code = SignDigest(*key, hash.Algorithm(), hash.Md(), digest, &made)) return code;
  std::copy(made.begin(), made.end(), signature);
  *length = size;
  return 0;
}

}  // namespace

}  // namespace posix
}  // namespace cmskit

using cmskit::posix::AsymmetricKey;
using cmskit::posix::HashObject;
using cmskit::posix::HashTable;
using cmskit::posix::RunCall;

extern "C" {

BOOL CryptVerifySignatureA(HCRYPTHASH hash, const BYTE* signature, DWORD signatureLength, HCRYPTKEY pubKey,
                           LPCSTR /*description*/, DWORD flags) {
  return RunCall([&]() -> DWORD {
    const std::shared_ptr<HashObject> found = HashTable().Find(hash);
    if (!found || (signatureLength && !signature)) return ERROR_INVALID_PARAMETER;
    std::shared_ptr<AsymmetricKey> key;
    if (const DWORD code = cmskit::posix::FindAsymmetricKey(pubKey, &key)) return code;
    if (flags) return NTE_BAD_FLAGS;
    std::vector<BYTE> digest;
    if (const DWORD code = found->Finish(&digest)) return code;
    return cmskit::posix::VerifySignature(*key, found->Algorithm(), found->Md(), digest, signature,
                                          signatureLength);
  });
}

BOOL CryptSignHashA(HCRYPTHASH hash, DWORD keySpec, LPCSTR /*description*/, DWORD flags, BYTE* signature,
                    DWORD* signatureLength) {
  return RunCall([&]() -> DWORD {
    const std::shared_ptr<HashObject> found = HashTable().Find(hash);
    if (!found || !signatureLength) return ERROR_INVALID_PARAMETER;
    if (flags) return NTE_BAD_FLAGS;
    return cmskit::posix::SignHash(*found, keySpec, signature, signatureLength);
  });
}

}  // extern "C"
