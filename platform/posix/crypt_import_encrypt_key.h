// The "CryptMsgDllImportEncryptKey" functions the provider installs for its
// content-encryption algorithms.
#ifndef CMSKIT_PLATFORM_POSIX_CRYPT_IMPORT_ENCRYPT_KEY_H
#define CMSKIT_PLATFORM_POSIX_CRYPT_IMPORT_ENCRYPT_KEY_H

#include <vector>

#include "platform/win32.h"

namespace cmskit {
namespace posix {

// Unwraps the encrypted key with the provider's private key and makes a key of
// the content algorithm. GOST keys take their parameter set from the content
// algorithm's Gost28147-89-Parameters (default CryptoPro A); RC2 keys their
// effective length from the RC2 parameters. The IV is left to the caller.
BOOL WINAPI ImportEncryptKey(HCRYPTPROV prov, DWORD keySpec, PCRYPT_ALGORITHM_IDENTIFIER encryptAlgorithm,
                             PCRYPT_ALGORITHM_IDENTIFIER publicKeyAlgorithm, PBYTE encryptedKey,
                             DWORD encryptedKeyLength, HCRYPTKEY* key);

// One entry per content-encryption algorithm, all naming ImportEncryptKey.
std::vector<CRYPT_OID_FUNC_ENTRY> DefaultImportFunctions();

}  // namespace posix
}  // namespace cmskit

#endif
