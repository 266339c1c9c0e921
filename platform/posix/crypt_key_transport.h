// Key transport: encrypting a content-encryption key to a recipient's public
// key, and recovering one that was encrypted to the provider's private key.
#ifndef CMSKIT_PLATFORM_POSIX_CRYPT_KEY_TRANSPORT_H
#define CMSKIT_PLATFORM_POSIX_CRYPT_KEY_TRANSPORT_H

#include <vector>

#include "platform/posix/crypt_asymmetric_key.h"
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

// The reverse, for a recipient. RSA: PKCS #1 v1.5 encryption, big-endian and
// as wide as the modulus. GOST: a DER GostR3410-KeyTransport made by the gost
// engine (a fresh ephemeral key, a random UKM, the CryptoPro key wrap with
// the parameter set the engine uses for the recipient's key: CryptoPro A for
// 2001 keys, TC26 Z for 2012 keys) for a 32-byte key. NTE_BAD_KEY for DSA, EC
// and id-RSASSA-PSS recipients, NTE_BAD_LEN for a GOST transport of a key of
// another size.
DWORD WrapContentKey(const AsymmetricKey& recipient, const SecretBytes& key, std::vector<BYTE>* wrapped);

}  // namespace posix
}  // namespace cmskit

#endif
