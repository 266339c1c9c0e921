// The "CryptMsgDllExportEncryptKey" functions the provider installs for the
// GOST R 34.10 public-key algorithms, as GOST providers do on Windows. RSA
// recipients have none: their key goes through CryptExportKey's SIMPLEBLOB.
#ifndef CMSKIT_PLATFORM_POSIX_CRYPT_EXPORT_ENCRYPT_KEY_H
#define CMSKIT_PLATFORM_POSIX_CRYPT_EXPORT_ENCRYPT_KEY_H

#include <vector>

#include "platform/win32.h"

namespace cmskit {
namespace posix {

// Encrypts an exportable 32-byte content key (GOST 28147-89, or any other of
// that size) to the recipient's GOST public key: the octets are the DER
// GostR3410-KeyTransport that goes into the recipient's encryptedKey. Every
// call makes a new ephemeral key and UKM; the size stays the same, so a size
// query (null `data`) may come first. NTE_BAD_KEY_STATE for a key made
// without CRYPT_EXPORTABLE, NTE_BAD_KEY for a key of another size,
// NTE_BAD_ALGID for a recipient key that is not GOST.
BOOL WINAPI ExportEncryptKey(HCRYPTPROV prov, HCRYPTKEY contentKey, PCERT_PUBLIC_KEY_INFO recipient,
                             PBYTE data, PDWORD length);

// One entry per GOST R 34.10 public-key algorithm, all naming ExportEncryptKey.
std::vector<CRYPT_OID_FUNC_ENTRY> DefaultExportFunctions();

}  // namespace posix
}  // namespace cmskit

#endif
