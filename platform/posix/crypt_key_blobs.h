// Session keys in and out of CryptoAPI's key blobs.
#ifndef CMSKIT_PLATFORM_POSIX_CRYPT_KEY_BLOBS_H
#define CMSKIT_PLATFORM_POSIX_CRYPT_KEY_BLOBS_H

#include <memory>

#include "platform/posix/crypt_symmetric_key.h"

namespace cmskit {
namespace posix {

// A PLAINTEXTKEYBLOB: BLOBHEADER, the key size, the key bytes. `flags` may
// hold CRYPT_EXPORTABLE.
DWORD ImportPlainTextKey(const BYTE* data, DWORD length, DWORD flags, std::shared_ptr<SymmetricKey>* key);

// An exportable key as a PLAINTEXTKEYBLOB (`exchangeKey` 0) or, encrypted to
// an RSA public key, a SIMPLEBLOB: BLOBHEADER naming the key's algorithm,
// CALG_RSA_KEYX, then the PKCS #1 v1.5 encryption least significant byte
// first. The size-query protocol of the Get functions. NTE_BAD_KEY_STATE for
// a key made without CRYPT_EXPORTABLE, NTE_BAD_KEY for an exchange key that
// does not fit the blob type, NTE_BAD_TYPE for other blob types.
DWORD ExportKeyBlob(const SymmetricKey& key, HCRYPTKEY exchangeKey, DWORD blobType, BYTE* data,
                    DWORD* length);

}  // namespace posix
}  // namespace cmskit

#endif
