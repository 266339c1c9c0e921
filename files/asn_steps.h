// A forward walk over the elements of a bounded buffer with the record
// reader, positions kept in 64 bits. Every failure of the reader is a value.
#ifndef CMSKIT_FILES_ASN_STEPS_H
#define CMSKIT_FILES_ASN_STEPS_H

#include <cstdint>

#include "cmskit/asn_record.h"
#include "platform/win32.h"

namespace cmskit {

class AsnSteps {
 public:
  // Whether a step may use up the last byte: only the step that settles the
  // answer may.
  enum EndRule { kMustRemain, kMayEnd };

  AsnSteps(const BYTE* bytes, uint64_t length) : bytes_(bytes), length_(bytes ? length : 0) {}

  // Identifier and length octets at the position; steps past them.
  bool Header(CASNTBaseRecord& record, EndRule rule);
  // One whole element; steps past it and gives its total size.
  bool Element(CASNTBaseRecord& record, EndRule rule, uint64_t* size = nullptr);
  // Steps over `count` bytes (contents already described by a header).
  bool Skip(uint64_t count, EndRule rule);

  uint64_t Position() const { return position_; }
  uint64_t Remaining() const { return position_ < length_ ? length_ - position_ : 0; }
  const BYTE* Cursor() const { return bytes_ + position_; }

 private:
  bool Advance(uint64_t count, EndRule rule);

  const BYTE* bytes_;
  uint64_t length_;
  uint64_t position_ = 0;
};

// The record reader takes 32-bit sizes; a larger range is read in its first 4 GiB.
inline DWORD ClampToDword(uint64_t size) {
  return size > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<DWORD>(size);
}

inline bool IsUniversal(const CASNTBaseRecord& record, uint32_t tagNumber) {
  return record.GetTagClass() == kASNTUniversal && record.GetTagNumber() == tagNumber;
}

// Identifier and length octets at `data`; false (never an exception) when
// they cannot be read. `headerLength` receives their size.
bool ReadHeaderAt(CASNTBaseRecord& record, const BYTE* data, uint64_t size, uint64_t& headerLength);

}  // namespace cmskit

#endif
