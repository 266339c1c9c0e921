#include <cstring>

#include "cmskit/sign_data.h"

namespace cmskit {

ToSignStruct::ToSignStruct() { std::memset(static_cast<void*>(this), 0, sizeof(*this)); }

ToSignStruct::ToSignStruct(const ToSignStruct& other) { *this = other; }

// Word by word: the pointer travels, what it points to is neither copied nor
// freed.
ToSignStruct& ToSignStruct::operator=(const ToSignStruct& other) {
  if (this != &other) std::memcpy(static_cast<void*>(this), &other, sizeof(*this));
  return *this;
}

ToSignStruct64::ToSignStruct64() { std::memset(static_cast<void*>(this), 0, sizeof(*this)); }

namespace {

// All ones is a marker in both widths ("to the end of the file" as an end);
// it stays a marker, and a 64-bit offset of 0xFFFFFFFF or more does not fit.
uint64_t Widen(DWORD offset) {
  return offset == ToSignStruct::kToEndOfFile ? ToSignStruct64::kToEndOfFile : offset;
}

bool Fits(uint64_t offset) {
  return offset == ToSignStruct64::kToEndOfFile || offset < ToSignStruct::kToEndOfFile;
}

DWORD NarrowOffset(uint64_t offset) { return static_cast<DWORD>(offset); }

}  // namespace

ToSignStruct64::ToSignStruct64(const ToSignStruct& narrow)
    : flags(narrow.flags),
      fileMark(narrow.fileMark),
      data(narrow.data),
      begin(Widen(narrow.begin)),
      end(Widen(narrow.end)),
      extra(narrow.extra) {}

bool ToSignStruct64::Narrow(ToSignStruct& out) const {
  if (!Fits(begin) || !Fits(end)) return false;
  out.flags = flags;
  out.fileMark = fileMark;
  out.data = data;
  out.begin = NarrowOffset(begin);
  out.end = NarrowOffset(end);
  out.extra = extra;
  return true;
}

}  // namespace cmskit
