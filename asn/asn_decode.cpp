// ASNTDecodeElement: the value held in an element's contents, in the value
// form its type has in the encoder.
#include <cstring>

#include "asn/asn_oid.h"
#include "asn/asn_time.h"
#include "cmskit/asn_codec.h"
#include "cmskit/status.h"

namespace cmskit {

namespace {

IdentObj Reversed(const BYTE* contents, uint32_t length) {
  IdentObj value;
  value.Allocate(length);
  for (uint32_t i = 0; i < length; ++i) value.data()[i] = contents[length - 1 - i];
  return value;
}

IdentObj BooleanValue(const BYTE* contents, uint32_t length) {
  const uint32_t flag = (length > 0 && contents[0] != 0) ? 1 : 0;
  return IdentObj(&flag, sizeof flag);
}

int TimeValue(uint32_t tagNumber, const BYTE* contents, uint32_t length, IdentObj* value) {
  FILETIME time{};
  const int status = tagNumber == kASNTUtcTime ? ASNTParseUtcTime(contents, length, &time)
                                               : ASNTParseGeneralizedTime(contents, length, &time);
  if (status == 0) *value = IdentObj(&time, sizeof time);
  return status;
}

int UniversalValue(const ASNTElementInfo& info, IdentObj* value) {
  const BYTE* contents = info.contents;
  const uint32_t length = info.length;
  switch (info.tagNumber) {
    case kASNTBoolean:
      *value = BooleanValue(contents, length);
      return 0;
    case kASNTInteger:
    case kASNTEnumerated:
      *value = Reversed(contents, length);
      return 0;
    case kASNTBitString:
    case kASNTOctetString:
    case kASNTUtf8String:
    case kASNTNumericString:
    case kASNTPrintableString:
    case kASNTTeletexString:
    case kASNTIA5String:
    case kASNTVisibleString:
    case kASNTBmpString:
    case kASNTSequence:
    case kASNTSet:
      *value = IdentObj(contents, length);
      return 0;
    case kASNTNull:
      value->Clear();
      return 0;
    case kASNTObjectId:
      *value = ASNTOidToText(contents, length);
      return 0;
    case kASNTUtcTime:
    case kASNTGeneralizedTime:
      return TimeValue(info.tagNumber, contents, length, value);
    default:
      return kStatusUnsupported;
  }
}

}  // namespace

IdentObj ASNTDecodeElement(const ASNTElementInfo& info, int* status) {
  IdentObj value;
  int code = 0;
  if (info.length == kASNTIndefinite || (!info.contents && info.length)) {
    code = kStatusCorrupt;  // the contents must have been located first
  } else if (info.tagClass == kASNTContext) {
    value = IdentObj(info.contents, info.length);
  } else if (info.tagNumber < 1 || info.tagNumber > 30) {
    code = kStatusUnsupported;
  } else {
    code = UniversalValue(info, &value);
  }
  if (status) *status = code;
  return value;
}

}  // namespace cmskit
