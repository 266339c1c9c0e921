// Calendar text of the two ASN.1 time types. Calendar arithmetic is the
// platform's (FileTimeToSystemTime / SystemTimeToFileTime); offsets and
// fractions are applied on the 100-nanosecond count.
#include "asn/asn_time.h"
#include "cmskit/asn_codec.h"
#include "cmskit/status.h"

namespace cmskit {

namespace {

constexpr int64_t kTicksPerMs = 10000;
constexpr int64_t kTicksPerMinute = 60 * 1000 * kTicksPerMs;
constexpr int64_t kMaxTicks = 0x7FFFFFFFFFFFFFFFll;
constexpr uint32_t kFractionDigits = 9;

bool IsDigit(BYTE c) { return c >= '0' && c <= '9'; }

bool AllDigits(const BYTE* text, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    if (!IsDigit(text[i])) return false;
  }
  return true;
}

WORD TwoDigits(const BYTE* text) { return static_cast<WORD>((text[0] - '0') * 10 + (text[1] - '0')); }

// Two digits at *position, when they are there.
bool ReadPair(const BYTE* text, uint32_t length, uint32_t* position, WORD* value) {
  if (uint64_t{*position} + 2 > length || !AllDigits(text + *position, 2)) return false;
  *value = TwoDigits(text + *position);
  *position += 2;
  return true;
}

bool IsZoneOrFraction(BYTE c) { return c == '.' || c == ',' || c == 'Z' || c == '+' || c == '-'; }

// Nothing, "Z", or a four-digit offset from *position to the end: the offset
// in minutes that turns local time into UTC. `allowNothing` is the
// GeneralizedTime rule (a local time without zone).
bool ReadZone(const BYTE* text, uint32_t length, uint32_t position, bool allowNothing, int64_t* minutes) {
  *minutes = 0;
  if (position == length) return allowNothing;
  if (text[position] == 'Z') return position + 1 == length;
  if (text[position] != '+' && text[position] != '-') return false;
  if (uint64_t{position} + 5 != length || !AllDigits(text + position + 1, 4)) return false;
  const int64_t offset = TwoDigits(text + position + 1) * 60 + TwoDigits(text + position + 3);
  *minutes = text[position] == '+' ? -offset : offset;
  return true;
}

int ToFileTime(const SYSTEMTIME& local, int64_t extraTicks, FILETIME* time) {
  FILETIME base;
  if (!SystemTimeToFileTime(&local, &base)) return kStatusCorrupt;
  const int64_t ticks = static_cast<int64_t>((uint64_t{base.dwHighDateTime} << 32) | base.dwLowDateTime);
  if ((extraTicks < 0 && ticks < -extraTicks) || (extraTicks > 0 && ticks > kMaxTicks - extraTicks))
    return kStatusCorrupt;
  const uint64_t result = static_cast<uint64_t>(ticks + extraTicks);
  time->dwLowDateTime = static_cast<DWORD>(result);
  time->dwHighDateTime = static_cast<DWORD>(result >> 32);
  return 0;
}

// Milliseconds of the decimal fraction at *position (after its "." or ",")
// of a unit of `unitMs`; the first nine digits count, truncated.
bool ReadFraction(const BYTE* text, uint32_t length, uint32_t* position, int64_t unitMs, int64_t* ms) {
  uint32_t at = *position + 1;
  int64_t scaled = 0;
  uint32_t digits = 0;
  for (; at < length && IsDigit(text[at]); ++at, ++digits) {
    if (digits < kFractionDigits) scaled = scaled * 10 + (text[at] - '0');
  }
  if (digits == 0) return false;
  for (uint32_t i = digits; i < kFractionDigits; ++i) scaled *= 10;
  *ms = scaled * unitMs / 1000000000;
  *position = at;
  return true;
}

// `count` decimal digits of `value` (below 10^count), leading zeros kept.
char* PutDigits(char* out, unsigned value, int count) {
  for (int i = count; i-- > 0; value /= 10) out[i] = static_cast<char>('0' + value % 10);
  return out + count;
}

}  // namespace

bool ASNTFormatTime(uint32_t tagNumber, const FILETIME& time, char* out) {
  SYSTEMTIME st;
  if (!FileTimeToSystemTime(&time, &st)) return false;
  const bool utc = tagNumber == kASNTUtcTime;
  if (!utc && st.wYear > 9999) return false;
  char* at = utc ? PutDigits(out, st.wYear % 100, 2) : PutDigits(out, st.wYear, 4);
  for (const WORD part : {st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond}) at = PutDigits(at, part, 2);
  at[0] = 'Z';
  at[1] = '\0';
  return true;
}

int ASNTParseUtcTime(const BYTE* text, uint32_t length, FILETIME* time) {
  if (length < 11 || length > 17 || !AllDigits(text, 10)) return kStatusCorrupt;
  SYSTEMTIME st{};
  const WORD year = TwoDigits(text);
  st.wYear = static_cast<WORD>(year < 50 ? 2000 + year : 1900 + year);
  st.wMonth = TwoDigits(text + 2);
  st.wDay = TwoDigits(text + 4);
  st.wHour = TwoDigits(text + 6);
  st.wMinute = TwoDigits(text + 8);
  uint32_t position = 10;
  if (text[position] != 'Z' && text[position] != '+' && text[position] != '-') {
    if (length < 13 || !ReadPair(text, length, &position, &st.wSecond)) return kStatusCorrupt;
  }
  int64_t minutes = 0;
  if (!ReadZone(text, length, position, false, &minutes)) return kStatusCorrupt;
  return ToFileTime(st, minutes * kTicksPerMinute, time);
}

int ASNTParseGeneralizedTime(const BYTE* text, uint32_t length, FILETIME* time) {
  if (length < 10 || !AllDigits(text, 10)) return kStatusCorrupt;
  SYSTEMTIME st{};
  st.wYear = static_cast<WORD>(TwoDigits(text) * 100 + TwoDigits(text + 2));
  st.wMonth = TwoDigits(text + 4);
  st.wDay = TwoDigits(text + 6);
  st.wHour = TwoDigits(text + 8);
  uint32_t position = 10;
  int64_t unitMs = 3600000;
  if (position < length && !IsZoneOrFraction(text[position])) {
    if (!ReadPair(text, length, &position, &st.wMinute)) return kStatusCorrupt;
    unitMs = 60000;
    if (position < length && !IsZoneOrFraction(text[position])) {
      if (!ReadPair(text, length, &position, &st.wSecond)) return kStatusCorrupt;
      unitMs = 1000;
    }
  }
  int64_t fractionMs = 0;
  if (position < length && (text[position] == '.' || text[position] == ',')) {
    if (!ReadFraction(text, length, &position, unitMs, &fractionMs)) return kStatusCorrupt;
  }
  int64_t minutes = 0;
  if (!ReadZone(text, length, position, true, &minutes)) return kStatusCorrupt;
  return ToFileTime(st, minutes * kTicksPerMinute + fractionMs * kTicksPerMs, time);
}

}  // namespace cmskit
