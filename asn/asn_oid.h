// Object identifiers between dotted decimal text and DER contents octets.
#ifndef CMSKIT_ASN_ASN_OID_H
#define CMSKIT_ASN_ASN_OID_H

#include <cstdint>

#include "cmskit/identobj.h"
#include "platform/win32.h"

namespace cmskit {

constexpr uint32_t kASNTMaxOidContents = 260;

// Contents octets of the identifier written as `length` characters of dotted
// text into `out` (kASNTMaxOidContents bytes); returns their count, 0 when
// the text holds no arc or the encoding would not fit.
uint32_t ASNTOidFromText(const char* text, uint32_t length, BYTE* out);

// Dotted text of the contents octets, without terminator.
IdentObj ASNTOidToText(const BYTE* contents, uint32_t length);

}  // namespace cmskit

#endif
