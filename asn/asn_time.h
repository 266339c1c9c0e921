// UTCTime and GeneralizedTime text to and from FILETIME (UTC).
#ifndef CMSKIT_ASN_ASN_TIME_H
#define CMSKIT_ASN_ASN_TIME_H

#include <cstdint>

#include "platform/win32.h"

namespace cmskit {

constexpr uint32_t kASNTUtcTimeLength = 13;
constexpr uint32_t kASNTGeneralizedTimeLength = 15;

// YYMMDDhhmmssZ (UTCTime) or YYYYMMDDhhmmssZ (GeneralizedTime) into `out`
// (16 bytes); false when the time has no calendar form in that syntax.
bool ASNTFormatTime(uint32_t tagNumber, const FILETIME& time, char* out);

// Statuses: 0, or 206 for text that is not a time of that syntax.
int ASNTParseUtcTime(const BYTE* text, uint32_t length, FILETIME* time);
int ASNTParseGeneralizedTime(const BYTE* text, uint32_t length, FILETIME* time);

}  // namespace cmskit

#endif
