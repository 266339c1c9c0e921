#include "files/asn_steps.h"

#include "tools/boundary.h"

namespace cmskit {

bool ReadHeaderAt(CASNTBaseRecord& record, const BYTE* data, uint64_t size, uint64_t& headerLength) {
  if (!data || size == 0) return false;
  int readStatus = 0;
  DWORD length = 0;
  const int thrown = CatchStatus([&] { length = record.ReadASNInfo(data, ClampToDword(size), &readStatus); });
  if (thrown != 0 || readStatus != 0 || length == 0 || length > size) return false;
  headerLength = length;
  return true;
}

bool AsnSteps::Advance(uint64_t count, EndRule rule) {
  if (count > Remaining()) {
    position_ = length_;
    return false;
  }
  position_ += count;
  return rule == kMayEnd || position_ < length_;
}

bool AsnSteps::Header(CASNTBaseRecord& record, EndRule rule) {
  uint64_t headerLength = 0;
  if (!ReadHeaderAt(record, Cursor(), Remaining(), headerLength)) return false;
  return Advance(headerLength, rule);
}

bool AsnSteps::Element(CASNTBaseRecord& record, EndRule rule, uint64_t* size) {
  if (Remaining() == 0) return false;
  int readStatus = 0;
  DWORD length = 0;
  const int thrown =
      CatchStatus([&] { length = record.ReadFromMemory(Cursor(), ClampToDword(Remaining()), &readStatus); });
  if (thrown != 0 || readStatus != 0 || length == 0) return false;
  if (size) *size = length;
  return Advance(length, rule);
}

bool AsnSteps::Skip(uint64_t count, EndRule rule) { return Advance(count, rule); }

}  // namespace cmskit
