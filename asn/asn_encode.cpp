// ASNTEncodeElement: one complete DER element from a typed value. Every
// element is allocated once at its final size and written in place.
#include <cstring>

#include "asn/asn_element.h"
#include "asn/asn_oid.h"
#include "asn/asn_time.h"
#include "cmskit/asn_codec.h"

namespace cmskit {

namespace {

// Header and room for `length` contents octets; the contents are written by
// the caller at the returned offset. Empty when the element cannot fit.
IdentObj NewElement(const ASNTElementInfo& info, uint64_t length, bool headerOnly, uint32_t* header) {
  *header = ASNTHeaderSize(info.tagNumber, length);
  const uint64_t total = uint64_t{*header} + (headerOnly ? 0 : length);
  if (total > kASNTMaxElement) return IdentObj();
  IdentObj element;
  element.Allocate(static_cast<uint32_t>(total));
  ASNTWriteHeader(element.data(), info.tagClass, info.constructed, info.tagNumber, length);
  return element;
}

IdentObj CopyElement(const ASNTElementInfo& info, const void* value, uint32_t length) {
  uint32_t header = 0;
  IdentObj element = NewElement(info, length, value == nullptr, &header);
  if (value && !element.IsEmpty() && length) memcpy(element.data() + header, value, length);
  return element;
}

bool AnyNonZero(const BYTE* bytes, uint32_t length) {
  for (uint32_t i = 0; bytes && i < length; ++i) {
    if (bytes[i]) return true;
  }
  return false;
}

// Two's complement, least significant byte first in, minimal and most
// significant first out.
IdentObj EncodeInteger(const ASNTElementInfo& info, const BYTE* bytes, uint32_t length) {
  if (!bytes && length) return IdentObj();
  while (length > 1) {
    const BYTE top = bytes[length - 1];
    const BYTE next = bytes[length - 2];
    if (!((top == 0x00 && next < 0x80) || (top == 0xFF && next >= 0x80))) break;
    --length;
  }
  uint32_t header = 0;
  IdentObj element = NewElement(info, length, false, &header);
  if (element.IsEmpty()) return element;
  for (uint32_t i = 0; i < length; ++i) element.data()[header + i] = bytes[length - 1 - i];
  return element;
}

IdentObj EncodeTime(const ASNTElementInfo& info, const void* value) {
  const uint32_t length = info.tagNumber == kASNTUtcTime ? kASNTUtcTimeLength : kASNTGeneralizedTimeLength;
  if (!value) return CopyElement(info, nullptr, length);
  char text[16];
  if (!ASNTFormatTime(info.tagNumber, *static_cast<const FILETIME*>(value), text)) return IdentObj();
  return CopyElement(info, text, length);
}

IdentObj EncodeOid(const ASNTElementInfo& info, const void* value, uint32_t length) {
  BYTE contents[kASNTMaxOidContents];
  const uint32_t used = ASNTOidFromText(static_cast<const char*>(value), length, contents);
  if (used == 0) return IdentObj();
  return CopyElement(info, contents, used);
}

bool IsStringType(uint32_t tagNumber) {
  switch (tagNumber) {
    case kASNTBitString:
    case kASNTOctetString:
    case kASNTUtf8String:
    case kASNTNumericString:
    case kASNTPrintableString:
    case kASNTTeletexString:
    case kASNTIA5String:
    case kASNTVisibleString:
      return true;
    default:
      return false;
  }
}

}  // namespace

IdentObj ASNTEncodeHeader(uint8_t tagClass, uint8_t constructed, uint32_t tagNumber, uint64_t contentLength) {
  const ASNTElementInfo info{tagClass, constructed, tagNumber, 0, nullptr};
  uint32_t header = 0;
  return NewElement(info, contentLength, true, &header);
}

IdentObj ASNTEncodeElement(const ASNTElementInfo& info, const void* value, DWORD valueLength) {
  if (info.tagClass == kASNTContext) return CopyElement(info, value, valueLength);
  const BYTE* bytes = static_cast<const BYTE*>(value);
  switch (info.tagNumber) {
    case kASNTBoolean: {
      const BYTE octet = AnyNonZero(bytes, valueLength) ? 0xFF : 0x00;
      return CopyElement(info, &octet, 1);
    }
    case kASNTInteger:
    case kASNTEnumerated:
      return EncodeInteger(info, bytes, valueLength);
    case kASNTNull:
      return CopyElement(info, "", 0);
    case kASNTObjectId:
      return EncodeOid(info, value, valueLength);
    case kASNTSequence:
    case kASNTSet:
      return CopyElement(info, value, valueLength);
    case kASNTUtcTime:
    case kASNTGeneralizedTime:
      return EncodeTime(info, value);
    default:
      break;
  }
  if (IsStringType(info.tagNumber) && (value || valueLength == 0))
    return CopyElement(info, value, valueLength);
  return IdentObj();
}

}  // namespace cmskit
