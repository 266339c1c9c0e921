// Element walking for the provider's DER needs.
#include "platform/posix/crypt_der.h"

namespace cmskit {
namespace posix {

namespace {

constexpr BYTE kHighTagNumber = 0x1F;
constexpr BYTE kLongLength = 0x80;
constexpr size_t kMaxLengthOctets = 4;

}  // namespace

DWORD DerReader::Next(DerElement* element) {
  const uint64_t left = size_ - position_;
  if (position_ >= size_ || left < 2) return CRYPT_E_ASN1_EOD;
  const BYTE* p = data_ + position_;
  if ((p[0] & kHighTagNumber) == kHighTagNumber) return CRYPT_E_ASN1_CORRUPT;
  uint64_t header = 2;
  uint64_t length = p[1];
  if (p[1] & kLongLength) {
    const size_t count = p[1] & 0x7F;
    if (count == 0 || count > kMaxLengthOctets) return CRYPT_E_ASN1_CORRUPT;
    if (left < 2 + count) return CRYPT_E_ASN1_EOD;
    length = 0;
    for (size_t i = 0; i < count; ++i) length = (length << 8) | p[2 + i];
    header += count;
  }
  if (header + length > left) return CRYPT_E_ASN1_EOD;
  element->tag = p[0];
  element->start = p;
  element->size = static_cast<size_t>(header + length);
  element->value = p + header;
  element->length = static_cast<size_t>(length);
  position_ += element->size;
  return 0;
}

DWORD DerReader::Expect(BYTE tag, DerElement* element) {
  if (!AtEnd() && PeekTag() != tag) return CRYPT_E_ASN1_BADTAG;
  return Next(element);
}

std::string OidText(const BYTE* value, size_t length) {
  if (length == 0 || (value[length - 1] & 0x80)) return std::string();
  std::string text;
  uint64_t arc = 0;
  bool first = true;
  for (size_t i = 0; i < length; ++i) {
    if (arc == 0 && value[i] == 0x80) return std::string();  // non-minimal arc
    if (arc > (UINT64_MAX >> 7)) return std::string();
    arc = (arc << 7) | (value[i] & 0x7F);
    if (value[i] & 0x80) continue;
    if (first) {
      const uint64_t top = arc < 40 ? 0 : arc < 80 ? 1 : 2;
      text = std::to_string(top) + "." + std::to_string(arc - top * 40);
      first = false;
    } else {
      text += "." + std::to_string(arc);
    }
    arc = 0;
  }
  return text;
}

bool SmallInteger(const DerElement& element, uint32_t* value) {
  if (element.tag != kDerInteger || element.length == 0 || (element.value[0] & 0x80)) return false;
  size_t i = 0;
  while (i + 1 < element.length && element.value[i] == 0) ++i;
  if (element.length - i > 4) return false;
  uint32_t result = 0;
  for (; i < element.length; ++i) result = (result << 8) | element.value[i];
  *value = result;
  return true;
}

std::vector<BYTE> DerEncode(BYTE tag, const std::vector<BYTE>& value) {
  std::vector<BYTE> out{tag};
  const uint64_t length = value.size();
  if (length < kLongLength) {
    out.push_back(static_cast<BYTE>(length));
  } else {
    BYTE octets[sizeof(length)];
    size_t count = 0;
    for (uint64_t rest = length; rest; rest >>= 8) octets[count++] = static_cast<BYTE>(rest);
    out.push_back(static_cast<BYTE>(kLongLength | count));
    while (count) out.push_back(octets[--count]);
  }
  out.insert(out.end(), value.begin(), value.end());
  return out;
}

namespace {

// Base 128, most significant group first, all but the last with the top bit set.
void AppendArc(uint64_t arc, std::vector<BYTE>* value) {
  BYTE groups[10];
  size_t count = 0;
  do {
    groups[count++] = static_cast<BYTE>(arc & 0x7F);
    arc >>= 7;
  } while (arc);
  while (count > 1) value->push_back(static_cast<BYTE>(groups[--count] | 0x80));
  value->push_back(groups[0]);
}

// The arcs of dotted text; false for anything but digits separated by single dots.
bool ParseArcs(const char* text, std::vector<uint64_t>* arcs) {
  uint64_t arc = 0;
  bool digits = false;
  for (const char* p = text;; ++p) {
    if (*p >= '0' && *p <= '9') {
      if (arc > (UINT64_MAX - 9) / 10 - 80) return false;
      arc = arc * 10 + static_cast<uint64_t>(*p - '0');
      digits = true;
      continue;
    }
    if ((*p != '.' && *p != 0) || !digits) return false;
    arcs->push_back(arc);
    if (*p == 0) return true;
    arc = 0;
    digits = false;
  }
}

}  // namespace

bool OidValue(const char* text, std::vector<BYTE>* value) {
  std::vector<uint64_t> arcs;
  if (!text || !ParseArcs(text, &arcs) || arcs.size() < 2) return false;
  if (arcs[0] > 2 || (arcs[0] < 2 && arcs[1] >= 40)) return false;
  value->clear();
  AppendArc(arcs[0] * 40 + arcs[1], value);
  for (size_t i = 2; i < arcs.size(); ++i) AppendArc(arcs[i], value);
  return true;
}

}  // namespace posix
}  // namespace cmskit
