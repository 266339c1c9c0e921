// Identifier and length octets: parsing, writing, and the sizes of elements
// with indefinite lengths.
#include <cstring>

#include "asn/asn_element.h"
#include "cmskit/asn_codec.h"
#include "cmskit/status.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr BYTE kHighTag = 0x1F;
constexpr BYTE kMore = 0x80;
constexpr BYTE kIndefiniteOctet = 0x80;
constexpr uint32_t kMaxLengthOctets = 8;

uint32_t IdentifierLength(const BYTE* data, uint32_t size) {
  if ((data[0] & kHighTag) != kHighTag) return 1;
  uint32_t position = 1;
  while (position < size && (data[position] & kMore)) ++position;
  return position + 1;
}

// Contents of a primitive indefinite element run up to the first zero pair.
int PrimitiveIndefiniteLength(const BYTE* data, uint32_t position, uint32_t size, uint32_t* length) {
  for (uint64_t at = position; at + 1 < size; ++at) {
    if (data[at] == 0 && data[at + 1] == 0) {
      *length = static_cast<uint32_t>(at - position);
      return 0;
    }
  }
  return kStatusCorrupt;
}

int ParseTagNumber(ASNTElementInfo& info, const BYTE* data, uint32_t size, uint32_t* position) {
  info.tagNumber = data[0] & kHighTag;
  if (info.tagNumber != kHighTag) return 0;
  uint32_t number = 0;
  uint32_t at = 1;
  while (at < size && (data[at] & kMore)) number = (number << 7) | (data[at++] & 0x7F);
  if (at >= size) return kStatusBadTag;
  info.tagNumber = (number << 7) | data[at];
  *position = at + 1;
  return 0;
}

int ParseLength(ASNTElementInfo& info, const BYTE* data, uint32_t size, uint32_t* position) {
  if (*position >= size) return kStatusCorrupt;
  const BYTE first = data[(*position)++];
  if (first < 0x80) {
    info.length = first;
    return 0;
  }
  if (first == kIndefiniteOctet) {
    if (info.constructed) {
      info.length = kASNTIndefinite;
      return 0;
    }
    return PrimitiveIndefiniteLength(data, *position, size, &info.length);
  }
  const uint32_t count = first & 0x7F;
  if (count > kMaxLengthOctets || uint64_t{*position} + count > size) return kStatusCorrupt;
  uint32_t length = 0;  // only the low four octets survive a longer form
  for (uint32_t i = 0; i < count; ++i) length = (length << 8) | data[(*position)++];
  // A definite length equal to the indefinite marker could never fit a
  // 32-bit buffer and would be mistaken for BER.
  if (length == kASNTIndefinite) return kStatusCorrupt;
  info.length = length;
  return 0;
}

}  // namespace

int ASNTReadHeader(ASNTElementInfo& info, const BYTE* data, DWORD size) {
  info = ASNTElementInfo{};
  if (!data || size < 2) return kStatusCorrupt;
  ASNTElementInfo parsed{};
  parsed.tagClass = data[0] & 0xC0;
  parsed.constructed = data[0] & kASNTConstructed;
  uint32_t position = 1;
  int status = ParseTagNumber(parsed, data, size, &position);
  if (status == 0) status = ParseLength(parsed, data, size, &position);
  if (status != 0) return status;
  parsed.contents = data + position;
  info = parsed;
  return 0;
}

bool ASNTIsIndefinitePrimitive(const ASNTElementInfo& info, const BYTE* data) {
  if (info.constructed) return false;
  const uint32_t header = ASNTHeaderLength(info, data);
  return IdentifierLength(data, header) + 1 == header && data[header - 1] == kIndefiniteOctet;
}

int ASNTWalkIndefinite(const BYTE* contents, uint32_t size, uint32_t* end, bool* closed) {
  uint64_t position = 0;
  uint32_t depth = 0;
  *closed = false;
  *end = 0;
  while (position < size) {
    if (ASNTIsEndOfContents(contents, position, size)) {
      position += 2;
      if (depth == 0) {
        *closed = true;
        break;
      }
      --depth;
      continue;
    }
    const BYTE* at = contents + position;
    ASNTElementInfo child;
    const int status = ASNTReadHeader(child, at, static_cast<uint32_t>(size - position));
    if (status != 0) {
      *end = static_cast<uint32_t>(position);
      return status;
    }
    const uint64_t header = ASNTHeaderLength(child, at);
    if (child.length != kASNTIndefinite) {
      position += header + child.length + (ASNTIsIndefinitePrimitive(child, at) ? 2 : 0);
      continue;
    }
    if (++depth > kASNTMaxDepth) {
      *end = static_cast<uint32_t>(position);
      return kStatusCorrupt;
    }
    position += header;
  }
  *end = static_cast<uint32_t>(position < size ? position : size);
  return 0;
}

DWORD ASNTGetIndefiniteLength(const BYTE* contents, DWORD size, bool constructed, int* status) {
  if (status) *status = 0;
  uint32_t end = 0;
  bool closed = false;
  int code = 0;
  if (!contents) {
    code = kStatusCorrupt;
  } else if (constructed) {
    code = ASNTWalkIndefinite(contents, size, &end, &closed);
  } else {
    uint32_t length = 0;
    code = PrimitiveIndefiniteLength(contents, 0, size, &length);
    if (code == 0) end = length + 2;
  }
  ReportStatus(status, code, "ASNTGetIndefiniteLength");
  return end;
}

int ASNTElementSize(const ASNTElementInfo& info, const BYTE* data, uint32_t size, uint64_t* total) {
  const uint64_t header = ASNTHeaderLength(info, data);
  *total = header + info.length;
  if (info.length != kASNTIndefinite) {
    if (ASNTIsIndefinitePrimitive(info, data)) *total += 2;
    return 0;
  }
  uint32_t end = 0;
  bool closed = false;
  const int status = ASNTWalkIndefinite(data + header, static_cast<uint32_t>(size - header), &end, &closed);
  if (status != 0) return status;
  if (!closed) return kStatusCorrupt;
  *total = header + end;
  return 0;
}

uint32_t ASNTHeaderSize(uint32_t tagNumber, uint32_t contentLength) {
  uint32_t size = 2;
  if (tagNumber > 30) {
    for (uint32_t rest = tagNumber; rest; rest >>= 7) ++size;
  }
  if (contentLength >= 0x80) {
    for (uint32_t rest = contentLength; rest; rest >>= 8) ++size;
  }
  return size;
}

uint32_t ASNTWriteHeader(BYTE* out, uint8_t tagClass, uint8_t constructed, uint32_t tagNumber,
                         uint32_t contentLength) {
  uint32_t position = 0;
  if (tagNumber <= 30) {
    out[position++] = static_cast<BYTE>(tagClass | constructed | tagNumber);
  } else {
    out[position++] = static_cast<BYTE>(tagClass | constructed | kHighTag);
    int shift = 28;
    while (shift > 0 && (tagNumber >> shift) == 0) shift -= 7;
    for (; shift > 0; shift -= 7) out[position++] = static_cast<BYTE>(kMore | ((tagNumber >> shift) & 0x7F));
    out[position++] = static_cast<BYTE>(tagNumber & 0x7F);
  }
  if (contentLength < 0x80) {
    out[position++] = static_cast<BYTE>(contentLength);
    return position;
  }
  uint32_t count = 0;
  for (uint32_t rest = contentLength; rest; rest >>= 8) ++count;
  out[position++] = static_cast<BYTE>(0x80 | count);
  for (uint32_t i = count; i-- > 0;) out[position++] = static_cast<BYTE>(contentLength >> (8 * i));
  return position;
}

}  // namespace cmskit
