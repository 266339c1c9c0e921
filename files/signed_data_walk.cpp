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

// Where the element read at `position` ends: an indefinite constructed one
// does not end here but opens a level.
uint64_t StepOver(const CASNTBaseRecord& record, const BYTE* bytes, uint64_t position, uint64_t headerLength,
                  uint64_t available) {
  if (record.GetLength() != kASNTIndefinite) return position + headerLength + record.GetLength();
  return PastFirstZero(bytes, position + headerLength, available);
}

}  // namespace

uint64_t IndefiniteExtent(const BYTE* contents, uint64_t available, bool constructed) {
  if (!contents) return 0;
  if (!constructed) return AtMost(PastFirstZero(contents, 0, available), available);
  uint64_t position = 0;
  int64_t depth = 0;
  while (position < available) {
    CASNTBaseRecord record;
    uint64_t headerLength = 0;
    // A header that cannot be read ends the walk where it stands.
    if (!ReadHeaderAt(record, contents + position, available - position, headerLength)) return position;
    if (record.GetLength() == kASNTIndefinite && record.IsConstructed()) {
      position += headerLength;
      ++depth;
      continue;
    }
    position = StepOver(record, contents, position, headerLength, available);
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
  CASNTBaseRecord record;
  // ContentInfo, its contentType and the explicit [0] around the SignedData;
  // only the high class bit of [0] is tested.
  if (!steps.Header(record, AsnSteps::kMustRemain) || !IsUniversal(record, kASNTSequence)) return false;
  if (!steps.Element(record, AsnSteps::kMustRemain)) return false;
  if (!steps.Header(record, AsnSteps::kMustRemain)) return false;
  if (record.GetTagNumber() != kExplicitContent || !(record.GetTagClass() & kASNTContext)) return false;
  if (!steps.Header(record, AsnSteps::kMustRemain)) return false;
  if (record.GetTagNumber() != kASNTSequence || !record.IsConstructed()) return false;
  // version, at most 32 bits; digestAlgorithms skipped by their length.
  if (!steps.Element(record, AsnSteps::kMustRemain) || !IsUniversal(record, kASNTInteger)) return false;
  if (record.GetLength() > 4) return false;
  if (!steps.Header(record, AsnSteps::kMustRemain) || !IsUniversal(record, kASNTSet)) return false;
  if (!steps.Skip(record.GetLength(), AsnSteps::kMustRemain)) return false;
  // encapContentInfo: content follows the eContentType when its extent says so.
  if (!steps.Header(record, AsnSteps::kMustRemain) || !IsUniversal(record, kASNTSequence)) return false;
  uint64_t extent = record.GetLength();
  if (extent == kASNTIndefinite)
    extent = IndefiniteExtent(steps.Cursor(), steps.Remaining(), record.IsConstructed());
  uint64_t typeSize = 0;
  if (!steps.Element(record, AsnSteps::kMayEnd, &typeSize)) return false;
  if (extent <= typeSize) {
    hasContent = false;
    return true;
  }
  if (!steps.Header(record, AsnSteps::kMustRemain)) return false;
  if (record.GetLength() == 0) {
    hasContent = false;
    return true;
  }
  if (!(record.GetTagClass() & kASNTContext)) return false;
  hasContent = true;
  return true;
}

}  // namespace cmskit
