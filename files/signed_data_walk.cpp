#include "asn/asn_reader.h"
#include "cmskit/asn_codec.h"
#include "files/asn_steps.h"
#include "files/content_type.h"

namespace cmskit {

namespace {

constexpr uint32_t kExplicitContent = 0;

// Past the first zero byte at or after `from`, and the byte behind it.
uint64_t PastFirstZero(const BYTE* bytes, uint64_t from, uint64_t available) {
  for (uint64_t i = from; i < available; ++i) {
    if (bytes[i] == 0) return i + 2;
  }
  return available;
}

uint64_t AtMost(uint64_t value, uint64_t limit) { return value < limit ? value : limit; }

}  // namespace

uint64_t IndefiniteExtent(const BYTE* contents, uint64_t available, bool constructed) {
  if (!contents) return 0;
  if (!constructed) return AtMost(PastFirstZero(contents, 0, available), available);
  ASNTReader reader(contents, available, kASNTMemoryForm);
  uint64_t position = 0;
  int64_t depth = 0;
  while (position < available) {
    ASNTHeader header;
    // A header that cannot be read ends the walk where it stands.
    if (reader.ReadHeader(position, header) != 0) return position;
    position += header.size;
    if (header.indefinite) {
      ++depth;
      continue;
    }
    // A primitive element with the indefinite marker is stepped over by its
    // measured contents; the zeros that close it are then taken below.
    position += header.length;
    // Each zero byte here is taken as an end-of-contents pair closing a level.
    while (position < available && contents[position] == 0) {
      position += 2;
      if (--depth < 0) return AtMost(position, available);
    }
  }
  return available;
}

bool InspectSignedData(const BYTE* bytes, size_t length, bool& hasContent) {
  AsnSteps steps(bytes, length);
  ASNTHeader h;
  // ContentInfo, its contentType and the explicit [0] around the SignedData;
  // only the high class bit of [0] is tested.
  if (!steps.Header(h, AsnSteps::kMustRemain) || !IsUniversal(h, kASNTSequence)) return false;
  if (!steps.Element(h, AsnSteps::kMustRemain)) return false;
  if (!steps.Header(h, AsnSteps::kMustRemain)) return false;
  if (h.tagNumber != kExplicitContent || !(h.tagClass & kASNTContext)) return false;
  if (!steps.Header(h, AsnSteps::kMustRemain)) return false;
  if (h.tagNumber != kASNTSequence || !h.constructed) return false;
  // version, at most 32 bits; digestAlgorithms skipped by their length.
  if (!steps.Element(h, AsnSteps::kMustRemain) || !IsUniversal(h, kASNTInteger)) return false;
  if (h.indefinite || h.length > 4) return false;
  if (!steps.Header(h, AsnSteps::kMustRemain) || !IsUniversal(h, kASNTSet)) return false;
  if (!steps.Skip(h.indefinite ? kASNTIndefinite : h.length, AsnSteps::kMustRemain)) return false;
  // encapContentInfo: content follows the eContentType when its extent says so.
  if (!steps.Header(h, AsnSteps::kMustRemain) || !IsUniversal(h, kASNTSequence)) return false;
  const uint64_t extent =
      h.indefinite ? IndefiniteExtent(steps.Cursor(), steps.Remaining(), h.constructed) : h.length;
  uint64_t typeSize = 0;
  if (!steps.Element(h, AsnSteps::kMayEnd, &typeSize)) return false;
  if (extent <= typeSize) {
    hasContent = false;
    return true;
  }
  if (!steps.Header(h, AsnSteps::kMustRemain)) return false;
  if (!h.indefinite && h.length == 0) {
    hasContent = false;
    return true;
  }
  if (!(h.tagClass & kASNTContext)) return false;
  hasContent = true;
  return true;
}

}  // namespace cmskit
