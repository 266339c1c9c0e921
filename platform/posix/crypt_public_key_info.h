// A public key's SubjectPublicKeyInfo between its DER and the CryptoAPI
// structure that holds its parts.
#ifndef CMSKIT_PLATFORM_POSIX_CRYPT_PUBLIC_KEY_INFO_H
#define CMSKIT_PLATFORM_POSIX_CRYPT_PUBLIC_KEY_INFO_H

#include <vector>

#include "platform/win32.h"

namespace cmskit {
namespace posix {

// The DER of the structure's algorithm, parameters (already DER, if any) and
// key bits; E_INVALIDARG when its pointers and lengths do not fit together or
// the algorithm is not an object identifier.
DWORD EncodePublicKeyInfo(const CERT_PUBLIC_KEY_INFO& info, std::vector<BYTE>* der);

// The structure for a SubjectPublicKeyInfo, written as Windows does: the
// structure followed by what it points to, in the caller's one buffer. The
// size-query protocol: a null `data` or a short *length reports the size
// (ERROR_MORE_DATA for the latter). CRYPT_E_ASN1_* for DER that is not one.
DWORD WritePublicKeyInfo(const std::vector<BYTE>& der, void* data, DWORD* length);

}  // namespace posix
}  // namespace cmskit

#endif
