// Walking the few small DER structures a verification reads itself
// (Dss-Sig-Value, RSASSA-PSS-params, Dss-Parms, a SignerInfo's children):
// definite lengths only, every element checked to lie inside its parent.
#ifndef CMSKIT_VERIFY_DER_CURSOR_H
#define CMSKIT_VERIFY_DER_CURSOR_H

#include <cstddef>
#include <cstdint>

#include "cmskit/asn_codec.h"
#include "platform/win32.h"

namespace cmskit {

struct DerItem {
  ASNTElementInfo header{};
  const BYTE* start = nullptr;  // the identifier octet
  size_t size = 0;              // the whole element
  const BYTE* contents() const { return header.contents; }
  size_t length() const { return header.length; }
  // The first identifier octet, class and constructed bits included.
  BYTE tag() const { return start ? start[0] : 0; }
};

class DerCursor {
 public:
  DerCursor(const BYTE* data, size_t size) : next_(data), end_(data ? data + size : data) {}
  // The contents of `item` as a cursor.
  explicit DerCursor(const DerItem& item) : DerCursor(item.contents(), item.length()) {}

  bool AtEnd() const { return next_ == end_; }
  // The next element; false (and the cursor spent) when it is malformed or
  // overruns the range.
  bool Next(DerItem& item);

 private:
  const BYTE* next_;
  const BYTE* end_;
};

}  // namespace cmskit

#endif
