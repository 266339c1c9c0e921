// Identifier and length octets: parsing, writing, and the sizes of elements
// with indefinite lengths.
#include <cstring>

#include "asn/asn_element.h"
#include "asn/asn_reader.h"
#include "cmskit/asn_codec.h"
#include "cmskit/status.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr BYTE kHighTag = 0x1F;
constexpr BYTE kMore = 0x80;
constexpr BYTE kIndefiniteOctet = 0x80;

uint32_t IdentifierLength(const BYTE* data, uint32_t size) {
  if ((data[0] & kHighTag) != kHighTag) return 1;
  uint32_t position = 1;
  while (position < size && (data[position] & 0x80)) ++position;
  return position + 1;
}

}  // namespace

int ASNTReadHeader(ASNTElementInfo& info, const BYTE* data, DWORD size) {
  info = ASNTElementInfo{};
  ASNTHeader header;
  const int status = ASNTParseHeader(data, size, kASNTMemoryForm, header);
  if (status == 0) info = header.Info(data);
  return status;
}

bool ASNTIsIndefinitePrimitive(const ASNTElementInfo& info, const BYTE* data) {
  if (info.constructed) return false;
  const uint32_t header = ASNTHeaderLength(info, data);
  return IdentifierLength(data, header) + 1 == header && data[header - 1] == kIndefiniteOctet;
}

DWORD ASNTGetIndefiniteLength(const BYTE* contents, DWORD size, bool constructed, int* status) {
  if (status) *status = 0;
  uint64_t end = 0;
  int code = 0;
  if (!contents) {
    code = kStatusCorrupt;
  } else if (constructed) {
    ASNTReader reader(contents, size, kASNTMemoryForm);
    bool closed = false;
    code = reader.WalkIndefinite(0, end, closed);
  } else {
    uint64_t length = 0;
    code = ASNTMeasureZeroTerminated(contents, size, length);
    if (code == 0) end = length + 2;
  }
  ReportStatus(status, code, "ASNTGetIndefiniteLength");
  return static_cast<DWORD>(end);
}

int ASNTElementSize(const ASNTElementInfo& info, const BYTE* data, uint32_t size, uint64_t* total) {
  const uint64_t header = ASNTHeaderLength(info, data);
  *total = header + info.length;
  if (info.length != kASNTIndefinite) {
    if (ASNTIsIndefinitePrimitive(info, data)) *total += 2;
    return 0;
  }
  ASNTReader reader(data, size, kASNTMemoryForm);
  uint64_t walked = 0;
  bool closed = false;
  const int status = reader.WalkIndefinite(header, walked, closed);
  if (status != 0) return status;
  if (!closed) return kStatusCorrupt;
  *total = header + walked;
  return 0;
}

uint32_t ASNTHeaderSize(uint32_t tagNumber, uint64_t contentLength) {
  uint32_t size = 2;
  if (tagNumber > 30) {
    for (uint32_t rest = tagNumber; rest; rest >>= 7) ++size;
  }
  if (contentLength >= 0x80) {
    for (uint64_t rest = contentLength; rest; rest >>= 8) ++size;
  }
  return size;
}

uint32_t ASNTWriteHeader(BYTE* out, uint8_t tagClass, uint8_t constructed, uint32_t tagNumber,
                         uint64_t contentLength) {
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
  for (uint64_t rest = contentLength; rest; rest >>= 8) ++count;
  out[position++] = static_cast<BYTE>(0x80 | count);
  for (uint32_t i = count; i-- > 0;) out[position++] = static_cast<BYTE>(contentLength >> (8 * i));
  return position;
}

}  // namespace cmskit
