// Key transport: recovering a content-encryption key that was encrypted to
// the provider's private key.
#ifndef CMSKIT_PLATFORM_POSIX_CRYPT_KEY_TRANSPORT_H
#define CMSKIT_PLATFORM_POSIX_CRYPT_KEY_TRANSPORT_H

#include "platform/posix/crypt_openssl.h"
#include "platform/posix/crypt_provider.h"

namespace cmskit {
namespace posix {

// RSA keys: PKCS #1 v1.5 decryption of the octets. GOST keys: the octets are
// a DER GostR3410-KeyTransport, unwrapped by the gost engine (VKO agreement
// with the sender's ephemeral key, then the CryptoPro key unwrap, which also
// checks the key's MAC). NTE_NO_KEY without a private key, NTE_BAD_KEY for a
// DSA or EC key, NTE_BAD_ALGID for GOST without the engine, NTE_BAD_DATA when
// the octets do not unwrap.
DWORD UnwrapContentKey(const Provider& provider, const BYTE* encrypted, DWORD length, SecretBytes* key);

}  // namespace posix
}  // namespace cmskit

#endif
