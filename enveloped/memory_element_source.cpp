#include "cmskit/status.h"
#include "enveloped/element_source.h"
#include "enveloped/element_tools.h"

namespace cmskit {

MemoryElementSource::MemoryElementSource(const BYTE* data, DWORD size, const char* origin)
    : ElementSource(origin), data_(data), size_(data ? size : 0) {}

void MemoryElementSource::SeekTo(uint64_t position) {
  if (position > size_) Fail(kStatusCorrupt);
  position_ = position;
}

ElementHeader MemoryElementSource::ReadHeader() {
  if (position_ >= size_) Fail(kStatusCorrupt);
  const uint32_t available = static_cast<uint32_t>(size_ - position_);
  const ElementHeader header = ParseHeader(data_ + position_, available, position_, false);
  position_ += header.headerLength;
  return header;
}

IdentObj MemoryElementSource::ReadBytes(uint64_t count) {
  if (count > size_ - position_) Fail(kStatusCorrupt);
  IdentObj bytes(data_ + position_, static_cast<uint32_t>(count));
  position_ += count;
  return bytes;
}

void MemoryElementSource::ReadEncryptedContent(EncryptedContentInfo& target) {
  if (position_ >= size_) Fail(kStatusCorrupt);
  const DWORD consumed = target.ReadObject(data_ + position_, static_cast<DWORD>(size_ - position_));
  if (consumed == 0) RaiseLastError(Origin());
  position_ += consumed;
}

}  // namespace cmskit
