// SEQUENCE and SET building and splitting over lists of complete elements.
#include <cstring>

#include "asn/asn_element.h"
#include "asn/asn_reader.h"
#include "cmskit/asn_codec.h"
#include "cmskit/status.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

// Sum of the items' sizes; status 45 when it cannot be a contents length.
int ContentsLength(const std::list<IdentObj>& items, DWORD tagNumber, uint32_t* length) {
  if (tagNumber != kASNTSequence && tagNumber != kASNTSet) return kStatusBadArgument;
  uint64_t sum = 0;
  for (const IdentObj& item : items) sum += item.size();
  if (sum + ASNTHeaderSize(tagNumber, 0xFFFFFFFF) > kASNTMaxElement) return kStatusLength;
  *length = static_cast<uint32_t>(sum);
  return 0;
}

IdentObj SequenceElement(const std::list<IdentObj>& items, DWORD tagNumber, bool headerOnly, int* status,
                         const char* routine) {
  uint32_t length = 0;
  const int code = ContentsLength(items, tagNumber, &length);
  ReportStatus(status, code, routine);
  if (code != 0) return IdentObj();
  const uint32_t header = ASNTHeaderSize(tagNumber, length);
  IdentObj element;
  element.Allocate(headerOnly ? header : header + length);
  uint32_t position = ASNTWriteHeader(element.data(), kASNTUniversal, kASNTConstructed, tagNumber, length);
  if (headerOnly) return element;
  for (const IdentObj& item : items) {
    if (item.size()) memcpy(element.data() + position, item.data(), item.size());
    position += item.size();
  }
  return element;
}

// Size of the element at `position`, which must end inside the reader.
int LocateChild(ASNTReader& reader, uint64_t position, uint32_t* total) {
  ASNTHeader header;
  int code = reader.ReadHeader(position, header);
  uint64_t size = 0;
  if (code == 0) code = reader.ElementSize(header, size);
  if (code == 0) *total = static_cast<uint32_t>(size);
  return code;
}

// Walks the children of the constructed element at `data`, handing each
// whole child to `take`; `*consumed` follows the position so a failure still
// tells how far the walk came. The children of an indefinite-length element
// are taken as they come, so those read before a missing end-of-contents
// are kept.
template <class Take>
int ReadSequence(const BYTE* data, uint32_t size, uint32_t* consumed, Take&& take) {
  ASNTReader reader(data, size, kASNTMemoryForm);
  ASNTHeader outer;
  int code = reader.ReadHeader(0, outer);
  if (code != 0) return code;
  if (!outer.constructed) return kStatusBadTag;
  uint32_t position = outer.size;
  if (!outer.indefinite) {
    if (outer.length > size - position) return kStatusCorrupt;
    *consumed = position;
    const uint32_t end = position + static_cast<uint32_t>(outer.length);
    ASNTReader inside(data, end, kASNTMemoryForm);
    while (position < end) {
      uint32_t child = 0;
      code = LocateChild(inside, position, &child);
      if (code != 0) return code;
      take(data + position, child);
      position += child;
      *consumed = position;
    }
    return 0;
  }
  *consumed = position;
  while (!ASNTIsEndOfContents(data, position, size)) {
    if (position >= size) return kStatusCorrupt;
    uint32_t child = 0;
    code = LocateChild(reader, position, &child);
    if (code != 0) return code;
    take(data + position, child);
    position += child;
    *consumed = position;
  }
  *consumed = position + 2;
  return 0;
}

}  // namespace

IdentObj ASNTPutSequence(const std::list<IdentObj>& items, DWORD tagNumber, int* status) {
  return SequenceElement(items, tagNumber, false, status, "ASNTPutSequence");
}

IdentObj ASNTPutSequenceHeader(const std::list<IdentObj>& items, DWORD tagNumber, int* status) {
  return SequenceElement(items, tagNumber, true, status, "ASNTPutSequence");
}

DWORD ASNTGetSequence(std::list<IdentObj>& out, const BYTE* data, DWORD size, int* status) {
  if (status) *status = 0;
  uint32_t consumed = 0;
  int result = 0;
  const int code = CatchStatus([&] {
    result = ReadSequence(data, size, &consumed,
                          [&](const BYTE* child, uint32_t length) { out.emplace_back(child, length); });
  });
  ReportStatus(status, code != 0 ? code : result, "ASNTGetSequence");
  return consumed;
}

int ASNTSplitSpans(const BYTE* data, uint32_t size, std::vector<ASNTSpan>& out) {
  out.clear();
  uint32_t consumed = 0;
  int result = 0;
  const int code = CatchStatus([&] {
    result = ReadSequence(data, size, &consumed, [&](const BYTE* child, uint32_t length) {
      out.push_back(ASNTSpan{child, length});
    });
  });
  return code != 0 ? code : result;
}

int ASNTSplitElements(std::list<IdentObj>& out, const BYTE* data, DWORD size) {
  out.clear();
  ASNTReader reader(data, size, kASNTMemoryForm);
  uint32_t position = 0;
  while (position < size) {
    ASNTHeader header;
    int code = reader.ReadHeader(position, header);
    if (code == 0 && !header.indefinite && header.length == 0)
      return 0;  // taken as an end-of-contents marker
    uint32_t child = 0;
    if (code == 0) code = LocateChild(reader, position, &child);
    if (code != 0) {
      out.clear();
      return code;
    }
    out.emplace_back(data + position, child);
    position += child;
  }
  return 0;
}

}  // namespace cmskit
