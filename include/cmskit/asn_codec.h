// The DER element codec: identifier and length octets, typed values, times,
// SEQUENCE/SET building and splitting. Writes DER; reads BER indefinite
// lengths as well.
#ifndef CMSKIT_ASN_CODEC_H
#define CMSKIT_ASN_CODEC_H

#include <cstdint>
#include <list>

#include "export.h"
#include "identobj.h"
#include "platform/win32.h"

namespace cmskit {

// Identifier octet bits, as they stand in the octet.
enum : uint8_t {
  kASNTUniversal = 0x00,
  kASNTApplication = 0x40,
  kASNTContext = 0x80,
  kASNTPrivate = 0xC0,
  kASNTConstructed = 0x20,
  kASNTPrimitive = 0x00,
};

// Universal tag numbers the library writes or reads.
enum : uint32_t {
  kASNTBoolean = 1,
  kASNTInteger = 2,
  kASNTBitString = 3,
  kASNTOctetString = 4,
  kASNTNull = 5,
  kASNTObjectId = 6,
  kASNTEnumerated = 10,
  kASNTUtf8String = 12,
  kASNTSequence = 16,
  kASNTSet = 17,
  kASNTNumericString = 18,
  kASNTPrintableString = 19,
  kASNTTeletexString = 20,
  kASNTIA5String = 22,
  kASNTUtcTime = 23,
  kASNTGeneralizedTime = 24,
  kASNTVisibleString = 26,
  kASNTBmpString = 30,
};

// The length field's marker for an indefinite (BER) length.
constexpr uint32_t kASNTIndefinite = 0xFFFFFFFF;

// Deepest nesting the readers follow before calling an encoding corrupt; it
// bounds the stack the recursive tree reader can use on hostile input.
constexpr uint32_t kASNTMaxDepth = 128;

// One element: class and constructed bits as in the identifier octet, the tag
// number, the contents length (kASNTIndefinite for BER indefinite) and where
// the contents start inside the parsed buffer (not owned).
struct ASNTElementInfo {
  uint8_t tagClass;
  uint8_t constructed;
  uint32_t tagNumber;
  uint32_t length;
  const BYTE* contents;
};

// One complete element from a typed value; empty for a tag without a value
// form. Context-specific tags copy `value` as it is.
CMSKIT_API IdentObj ASNTEncodeElement(const ASNTElementInfo& info, const void* value, DWORD valueLength);

// The value held in the contents described by `info` (as ASNTReadHeader
// filled it). Failures go to *status only; a null status keeps them silent.
CMSKIT_API IdentObj ASNTDecodeElement(const ASNTElementInfo& info, int* status);

// Parses identifier and length octets at `data`; returns a status. On success
// info.contents points past the length octets; whether the contents fit in
// `size` is the caller's business.
CMSKIT_API int ASNTReadHeader(ASNTElementInfo& info, const BYTE* data, DWORD size);

// Bytes from `contents` up to and including the end-of-contents octets that
// close an indefinite-length element.
CMSKIT_API DWORD ASNTGetIndefiniteLength(const BYTE* contents, DWORD size, bool constructed, int* status);

// A SEQUENCE (16) or SET (17) of the items' bytes in list order, never sorted.
CMSKIT_API IdentObj ASNTPutSequence(const std::list<IdentObj>& items, DWORD tagNumber, int* status);

// Only the identifier and length octets ASNTPutSequence would write, for
// writers that stream the children afterwards.
CMSKIT_API IdentObj ASNTPutSequenceHeader(const std::list<IdentObj>& items, DWORD tagNumber, int* status);

// Appends each child of the constructed element at `data` to `out` as one
// complete element; returns the bytes consumed.
CMSKIT_API DWORD ASNTGetSequence(std::list<IdentObj>& out, const BYTE* data, DWORD size, int* status);

// Clears `out` and cuts the contents range `data`/`size` into its successive
// elements; returns a status. An element of length 0 ends the range.
CMSKIT_API int ASNTSplitElements(std::list<IdentObj>& out, const BYTE* data, DWORD size);

}  // namespace cmskit

#endif
