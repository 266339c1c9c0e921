// Small encoding and decoding steps shared by the SignedData readers and
// writers, built on the element codec.
#ifndef CMSKIT_SIGNED_SIGNED_CODEC_H
#define CMSKIT_SIGNED_SIGNED_CODEC_H

#include <cstdint>
#include <list>

#include "cmskit/asn_codec.h"
#include "cmskit/asn_types.h"
#include "cmskit/identobj.h"
#include "platform/win32.h"

namespace cmskit {

// Identifiers the SignedData code recognises.
extern const char kOidData[];         // id-data
extern const char kOidSignedData[];   // id-signedData
extern const char kOidSignedAlias[];  // accepted in place of id-signedData by the tree and file readers

// One complete element; an encoding the codec refuses (it then returns an
// empty object) is thrown as status 28.
IdentObj EncodeValue(uint8_t tagClass, uint8_t constructed, uint32_t tagNumber, const void* value,
                     uint64_t valueLength);
IdentObj EncodeOid(const IdentObj& dottedText);
IdentObj EncodeVersion(DWORD version);
// Identifier and length octets only, for content streamed afterwards.
IdentObj EncodeSignedHeader(uint8_t tagClass, uint8_t constructed, uint32_t tagNumber,
                            uint64_t contentLength);
IdentObj EncodeAlgorithmSet(const std::list<ASNAlgorithmIdentifier>& algorithms);

// An INTEGER value (least significant octet first, at most 4) as a number.
DWORD SmallIntegerValue(const IdentObj& value);

// The octets of the OCTET STRING at data[0 .. size): the contents of a
// primitive one, the segments' contents joined for a constructed one.
// Returns a status; never reads outside the range.
int OctetStringValue(const BYTE* data, DWORD size, IdentObj& out);

// Total size of the element whose header `info` was parsed at `data`
// (`headerLength` octets), inside a range of `size` octets: definite lengths
// are checked against the range, indefinite ones resolved. Returns a status.
int ElementExtent(const ASNTElementInfo& info, const BYTE* data, DWORD size, DWORD& total);

}  // namespace cmskit

#endif
