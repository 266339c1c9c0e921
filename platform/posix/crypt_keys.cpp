// The session-key functions: generating, importing and exporting keys,
// duplicating and destroying them, decrypting and encrypting, and key
// parameters. Destroying and the parameters also serve public and private keys.
#include <cstring>
#include <memory>

#include "platform/posix/crypt_asymmetric_key.h"
#include "platform/posix/crypt_call.h"
#include "platform/posix/crypt_key_blobs.h"
#include "platform/posix/crypt_provider.h"
#include "platform/posix/crypt_symmetric_key.h"

namespace cmskit {
namespace posix {

namespace {

// Runs `body` on the session key a handle names; NTE_BAD_KEY for a public or
// private key, ERROR_INVALID_PARAMETER for any other value.
template <class Body>
BOOL WithKey(HCRYPTKEY handle, Body&& body) {
  return RunCall([&]() -> DWORD {
    const std::shared_ptr<SymmetricKey> key = KeyTable().Find(handle);
    if (key) return body(*key);
    return AsymmetricKeyTable().Find(handle) ? NTE_BAD_KEY : ERROR_INVALID_PARAMETER;
  });
}

// Runs `onSession` or `onAsymmetric` on the key a handle names.
template <class SessionBody, class AsymmetricBody>
BOOL WithAnyKey(HCRYPTKEY handle, SessionBody&& onSession, AsymmetricBody&& onAsymmetric) {
  return RunCall([&]() -> DWORD {
    if (const std::shared_ptr<SymmetricKey> key = KeyTable().Find(handle)) return onSession(*key);
    if (const std::shared_ptr<AsymmetricKey> key = AsymmetricKeyTable().Find(handle))
      return onAsymmetric(*key);
    return ERROR_INVALID_PARAMETER;
  });
}

}  // namespace

}  // namespace posix
}  // namespace cmskit

using cmskit::posix::AsymmetricKey;
using cmskit::posix::AsymmetricKeyTable;
using cmskit::posix::ImportPlainTextKey;
using cmskit::posix::KeyTable;
using cmskit::posix::ProviderTable;
using cmskit::posix::RunCall;
using cmskit::posix::SymmetricKey;
using cmskit::posix::WithAnyKey;
using cmskit::posix::WithKey;

extern "C" {

BOOL CryptGenKey(HCRYPTPROV prov, ALG_ID algId, DWORD flags, HCRYPTKEY* key) {
  return RunCall([&]() -> DWORD {
    if (!ProviderTable().Find(prov) || !key) return ERROR_INVALID_PARAMETER;
    const cmskit::posix::CipherAlgorithm* algorithm = cmskit::posix::AlgorithmById(algId);
    if (!algorithm) return NTE_BAD_ALGID;  // key pairs (AT_KEYEXCHANGE, AT_SIGNATURE) among them
    std::shared_ptr<SymmetricKey> generated;
    if (const DWORD code = SymmetricKey::Generate(*algorithm, flags, &generated)) return code;
    *key = static_cast<HCRYPTKEY>(KeyTable().Add(std::move(generated)));
    return 0;
  });
}

BOOL CryptImportKey(HCRYPTPROV prov, const BYTE* data, DWORD dataLength, HCRYPTKEY pubKey, DWORD flags,
                    HCRYPTKEY* key) {
  return RunCall([&]() -> DWORD {
    if (!ProviderTable().Find(prov) || !data || !key) return ERROR_INVALID_PARAMETER;
    if (pubKey) return NTE_BAD_KEY;  // a plain-text blob is not encrypted with a key
    std::shared_ptr<SymmetricKey> imported;
    if (const DWORD code = ImportPlainTextKey(data, dataLength, flags, &imported)) return code;
    *key = static_cast<HCRYPTKEY>(KeyTable().Add(std::move(imported)));
    return 0;
  });
}

BOOL CryptExportKey(HCRYPTKEY key, HCRYPTKEY exchangeKey, DWORD blobType, DWORD flags, BYTE* data,
                    DWORD* dataLength) {
  return WithKey(key, [&](SymmetricKey& found) -> DWORD {
    if (flags) return NTE_BAD_FLAGS;
    return cmskit::posix::ExportKeyBlob(found, exchangeKey, blobType, data, dataLength);
  });
}

BOOL CryptDestroyKey(HCRYPTKEY key) {
  return RunCall([&]() -> DWORD {
    return KeyTable().Remove(key) || AsymmetricKeyTable().Remove(key) ? 0 : ERROR_INVALID_PARAMETER;
  });
}

BOOL CryptDuplicateKey(HCRYPTKEY key, DWORD* reserved, DWORD flags, HCRYPTKEY* newKey) {
  return WithKey(key, [&](SymmetricKey& original) -> DWORD {
    if (reserved || !newKey) return ERROR_INVALID_PARAMETER;
    if (flags) return NTE_BAD_FLAGS;
    *newKey = static_cast<HCRYPTKEY>(KeyTable().Add(original.Duplicate()));
    return 0;
  });
}

BOOL CryptDecrypt(HCRYPTKEY key, HCRYPTHASH hash, BOOL final, DWORD flags, BYTE* data, DWORD* dataLength) {
  return WithKey(key, [&](SymmetricKey& found) -> DWORD {
    if (hash) return ERROR_INVALID_PARAMETER;  // no hash objects here
    if (flags) return NTE_BAD_FLAGS;
    return found.Decrypt(final != FALSE, data, dataLength);
  });
}

BOOL CryptEncrypt(HCRYPTKEY key, HCRYPTHASH hash, BOOL final, DWORD flags, BYTE* data, DWORD* dataLength,
                  DWORD bufferLength) {
  return WithKey(key, [&](SymmetricKey& found) -> DWORD {
    if (hash) return ERROR_INVALID_PARAMETER;
    if (flags) return NTE_BAD_FLAGS;
    return found.Encrypt(final != FALSE, data, dataLength, bufferLength);
  });
}

BOOL CryptGetKeyParam(HCRYPTKEY key, DWORD param, BYTE* data, DWORD* dataLength, DWORD flags) {
  const auto get = [&](auto& found) -> DWORD {
    if (flags) return NTE_BAD_FLAGS;
    return found.GetParam(param, data, dataLength);
  };
  return WithAnyKey(key, get, get);
}

BOOL CryptSetKeyParam(HCRYPTKEY key, DWORD param, const BYTE* data, DWORD flags) {
  const auto set = [&](auto& found) -> DWORD {
    if (flags) return NTE_BAD_FLAGS;
    return found.SetParam(param, data);
  };
  return WithAnyKey(key, set, set);
}

}  // extern "C"
