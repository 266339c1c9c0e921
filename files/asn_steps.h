// The one element reader as the message-file checks walk a bounded prefix:
// forward only, every failure a value.
#ifndef CMSKIT_FILES_ASN_STEPS_H
#define CMSKIT_FILES_ASN_STEPS_H

#include <cstdint>

#include "asn/asn_reader.h"
#include "platform/win32.h"

namespace cmskit {

class AsnSteps {
 public:
  // Whether a step may use up the last byte: only the step that settles the
  // answer may.
  enum EndRule { kMustRemain, kMayEnd };

  AsnSteps(const BYTE* bytes, uint64_t length) : reader_(bytes, bytes ? length : 0, kASNTMemoryForm) {}

  // Identifier and length octets at the position; steps past them.
  bool Header(ASNTHeader& header, EndRule rule);
  // One whole element; steps past it and gives its total size.
  bool Element(ASNTHeader& header, EndRule rule, uint64_t* size = nullptr);
  // Steps over `count` bytes (contents already described by a header).
  bool Skip(uint64_t count, EndRule rule) { return Advance(count, rule); }
  // The decoded value of the element of `size` octets that Element read
  // (the children of an indefinite one, without the closing octets); false
  // when it has none.
  bool Value(const ASNTHeader& header, uint64_t size, IdentObj& value) const;

  uint64_t Position() const { return position_; }
  uint64_t Remaining() const { return position_ < reader_.End() ? reader_.End() - position_ : 0; }
  const BYTE* Cursor() const { return reader_.Memory() + position_; }

 private:
  bool Advance(uint64_t count, EndRule rule);

  ASNTReader reader_;
  uint64_t position_ = 0;
};

inline bool IsUniversal(const ASNTHeader& header, uint32_t tagNumber) {
  return header.Is(kASNTUniversal, tagNumber);
}

}  // namespace cmskit

#endif
