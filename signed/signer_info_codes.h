// Platform codes that signer infos report directly, beside the mapped status
// codes of the layers below.
#ifndef CMSKIT_SIGNED_SIGNER_INFO_CODES_H
#define CMSKIT_SIGNED_SIGNER_INFO_CODES_H

#include "platform/win32.h"

namespace cmskit {

constexpr DWORD kCodeAsn1Corrupt = 0x80093103;  // CRYPT_E_ASN1_CORRUPT
constexpr DWORD kCodeAsn1BadTag = 0x8009310B;   // CRYPT_E_ASN1_BADTAG
constexpr DWORD kCodeNotFound = 1168;           // ERROR_NOT_FOUND

}  // namespace cmskit

#endif
