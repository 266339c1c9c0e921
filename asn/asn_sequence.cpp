// SEQUENCE and SET building and splitting over lists of complete elements.
#include <cstring>

#include "asn/asn_element.h"
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

// Header and total size of the element at `data`, which must end within
// `limit` bytes; the failure status otherwise.
int LocateChild(const BYTE* data, uint32_t limit, uint32_t* total) {
  ASNTElementInfo info;
  int code = ASNTReadHeader(info, data, limit);
  if (code != 0) return code;
  uint64_t size = 0;
  code = ASNTElementSize(info, data, limit, &size);
  if (code != 0) return code;
  if (size > limit) return kStatusCorrupt;
  *total = static_cast<uint32_t>(size);
  return 0;
}

// Walks the children of the constructed element at `data`, handing each
// whole child to `take`; `*consumed` follows the position so a failure still
// tells how far the walk came.
template <class Take>
int ReadSequence(const BYTE* data, uint32_t size, uint32_t* consumed, Take&& take) {
  ASNTElementInfo outer;
  int code = ASNTReadHeader(outer, data, size);
  if (code != 0) return code;
  if (!outer.constructed) return kStatusBadTag;
  const bool indefinite = outer.length == kASNTIndefinite;
  uint64_t total = 0;
  code = ASNTElementSize(outer, data, size, &total);
  if (code != 0) return code;
  if (total > size) return kStatusCorrupt;
  const uint32_t end = static_cast<uint32_t>(indefinite ? total - 2 : total);
  uint32_t position = ASNTHeaderLength(outer, data);
  *consumed = position;
  while (position < end) {
    if (indefinite && ASNTIsEndOfContents(data, position, end)) break;
    uint32_t child = 0;
    code = LocateChild(data + position, end - position, &child);
    if (code != 0) return code;
    take(data + position, child);
    position += child;
    *consumed = position;
  }
  if (indefinite) {
    if (!ASNTIsEndOfContents(data, position, size)) return kStatusCorrupt;
    position += 2;
  }
  *consumed = position;
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
  uint32_t position = 0;
  while (position < size) {
    ASNTElementInfo info;
    int code = ASNTReadHeader(info, data + position, size - position);
    if (code == 0 && info.length == 0) return 0;  // taken as an end-of-contents marker
    uint32_t child = 0;
    if (code == 0) code = LocateChild(data + position, size - position, &child);
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
