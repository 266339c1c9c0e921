// The Attribute codec shared by Attribute and OneAttributesSet, without the
// exported error handling: failures throw XTOOStatus.
#ifndef CMSKIT_SIGNED_ATTRIBUTE_CODEC_H
#define CMSKIT_SIGNED_ATTRIBUTE_CODEC_H

#include "cmskit/identobj.h"
#include "cmskit/tstring.h"
#include "platform/win32.h"

namespace cmskit {

// Parses SEQUENCE { attrType, attrValues } at `data`, storing each part as it
// is read; `consumed` follows the bytes taken so far, also when it throws.
void ParseAttribute(const BYTE* data, DWORD length, CTOOString& oid, IdentObj& values, DWORD& consumed);

// SEQUENCE { OBJECT IDENTIFIER oid, values as they stand }.
IdentObj BuildAttribute(const CTOOString& oid, const IdentObj& values);

}  // namespace cmskit

#endif
