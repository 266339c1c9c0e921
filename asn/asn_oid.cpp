// Object identifier text and contents. Arcs are read like "%d" reads them and
// printed "%d" (first two) and "%lu" (the rest, 32-bit): the first
// sub-identifier is split by 40 whatever its size.
#include <string>
#include <vector>

#include "asn/asn_oid.h"

namespace cmskit {

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// One arc at `*position`, a single leading dot skipped; false at the end of
// the text (a NUL, a non-digit or the last character).
bool NextArc(const char* text, uint32_t length, uint32_t* position, uint32_t* arc) {
  uint32_t at = *position;
  if (at < length && text[at] == '.') ++at;
  if (at >= length || !IsDigit(text[at])) return false;
  uint32_t value = 0;
  while (at < length && IsDigit(text[at])) value = value * 10 + static_cast<uint32_t>(text[at++] - '0');
  *arc = value;
  *position = at;
  return true;
}

// Base 128, most significant group first; false when `out` would overflow.
bool PutSubIdentifier(uint64_t value, BYTE* out, uint32_t* used) {
  BYTE groups[10];
  uint32_t count = 0;
  do {
    groups[count++] = static_cast<BYTE>(value & 0x7F);
    value >>= 7;
  } while (value);
  if (*used + count > kASNTMaxOidContents) return false;
  while (count > 1) out[(*used)++] = static_cast<BYTE>(0x80 | groups[--count]);
  out[(*used)++] = groups[0];
  return true;
}

// Every signer info and certificate names algorithms by OID, so the readers
// format arcs often enough for the formatted-output machinery to show.
void AppendDecimal(std::string& text, uint32_t value) {
  char digits[10];
  int count = 0;
  do {
    digits[count++] = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  while (count > 0) text += digits[--count];
}

}  // namespace

uint32_t ASNTOidFromText(const char* text, uint32_t length, BYTE* out) {
  if (!text) return 0;
  uint32_t position = 0;
  uint32_t first = 0;
  if (!NextArc(text, length, &position, &first)) return 0;
  uint32_t second = 0;
  const bool hasSecond = NextArc(text, length, &position, &second);
  uint32_t used = 0;
  if (!PutSubIdentifier(uint64_t{40} * first + (hasSecond ? second : 0), out, &used)) return 0;
  if (!hasSecond) return used;
  uint32_t arc = 0;
  while (NextArc(text, length, &position, &arc)) {
    if (!PutSubIdentifier(arc, out, &used)) return 0;
  }
  return used;
}

IdentObj ASNTOidToText(const BYTE* contents, uint32_t length) {
  std::string text;
  text.reserve(uint64_t{length} * 3 + 8 < 0x10000 ? length * 3 + 8 : 0x10000);
  uint32_t value = 0;
  bool first = true;
  for (uint32_t i = 0; i < length; ++i) {
    value = (value << 7) | (contents[i] & 0x7F);
    if ((contents[i] & 0x80) && i + 1 < length) continue;
    if (first) {
      const uint32_t high = value / 40;
      AppendDecimal(text, high);
      text += '.';
      AppendDecimal(text, value - 40 * high);
      first = false;
    } else {
      text += '.';
      AppendDecimal(text, value);
    }
    value = 0;
  }
  return IdentObj(text.data(), static_cast<uint32_t>(text.size()));
}

}  // namespace cmskit
