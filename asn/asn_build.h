// Elements built from values and values taken out of whole elements, as the
// message families use them. A step that fails throws XTOOStatus with the
// status the codec gives (28 where the codec refuses a value) and the origin
// text of the calling family.
#ifndef CMSKIT_ASN_ASN_BUILD_H
#define CMSKIT_ASN_ASN_BUILD_H

#include <cstddef>
#include <cstdint>
#include <list>

#include "cmskit/asn_codec.h"
#include "cmskit/asn_types.h"
#include "cmskit/identobj.h"
#include "platform/win32.h"

namespace cmskit {

[[noreturn]] void ASNTRaise(int status, const char* origin);

// One complete element from a value in the codec's value form.
IdentObj ASNTBuild(uint8_t tagClass, uint8_t constructed, uint32_t tagNumber, const void* value,
                   uint64_t valueLength, const char* origin);
// An OBJECT IDENTIFIER from dotted text; text that is none (the empty one
// included) is status 28, since leaving the element out would shift the rest.
IdentObj ASNTBuildOid(const void* dottedText, size_t length, const char* origin);
IdentObj ASNTBuildOid(const IdentObj& dottedText, const char* origin);
// A 32-bit number as an INTEGER: ASNTBuildInteger writes its four octets as
// a two's complement value (so a negative version read from four octets is
// written back as it was), ASNTBuildUnsigned never comes out negative.
IdentObj ASNTBuildInteger(DWORD value);
IdentObj ASNTBuildUnsigned(DWORD value);
// A SEQUENCE (16) or SET (17) of the items in list order.
IdentObj ASNTBuildSequence(const std::list<IdentObj>& items, uint32_t tagNumber, const char* origin);
IdentObj ASNTBuildAlgorithmSet(const std::list<ASNAlgorithmIdentifier>& algorithms, const char* origin);
// Explicit tagging: the whole `inner` element becomes the contents of a
// constructed context-class element [tagNumber].
IdentObj ASNTWrapExplicit(uint32_t tagNumber, const IdentObj& inner);

// An INTEGER value (least significant octet first, at most 4 used) as a
// number.
DWORD ASNTSmallInteger(const IdentObj& value);

// The octets of the OCTET STRING at data[0 .. size): the contents of a
// primitive one, the segments' contents joined for a constructed one.
// Returns a status; never reads outside the range.
int ASNTOctetStringValue(const BYTE* data, uint64_t size, IdentObj& out);

inline bool ASNTIsUniversal(const ASNTElementInfo& info, uint32_t tagNumber) {
  return info.tagClass == kASNTUniversal && info.tagNumber == tagNumber;
}
inline bool ASNTIsContext(const ASNTElementInfo& info, uint32_t tagNumber) {
  return info.tagClass == kASNTContext && info.tagNumber == tagNumber;
}

// The header of a whole element held in `element`; `headerLength` receives
// the identifier and length octets' size. Parser failures are thrown.
ASNTElementInfo ASNTWholeHeader(const IdentObj& element, uint32_t& headerLength, const char* origin);
// Contents length of a whole element: a definite one at most what the
// element holds, an indefinite one without its closing end-of-contents.
uint32_t ASNTWholeContentsLength(const IdentObj& element, const ASNTElementInfo& info, uint32_t headerLength);

// The value of a whole primitive universal element with `tagNumber`; any
// other element is `failStatus`.
IdentObj ASNTDecodePrimitive(const IdentObj& element, uint32_t tagNumber, int failStatus, const char* origin);

}  // namespace cmskit

#endif
