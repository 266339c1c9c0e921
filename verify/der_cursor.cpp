#include "verify/der_cursor.h"

namespace cmskit {

bool DerCursor::Next(DerItem& item) {
  const uint64_t room = static_cast<uint64_t>(end_ - next_);
  if (room == 0 || room > UINT32_MAX) return false;
  item = DerItem{};
  if (ASNTReadHeader(item.header, next_, static_cast<DWORD>(room)) != 0 ||
      item.header.length == kASNTIndefinite) {
    next_ = end_;
    return false;
  }
  const uint64_t headerSize = static_cast<uint64_t>(item.header.contents - next_);
  if (headerSize > room || item.header.length > room - headerSize) {
    next_ = end_;
    return false;
  }
  item.start = next_;
  item.size = static_cast<size_t>(headerSize + item.header.length);
  next_ += item.size;
  return true;
}

}  // namespace cmskit
