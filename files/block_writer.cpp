#include "files/block_writer.h"

#include <cstring>

namespace cmskit {

BYTE* BlockWriter::Reserve(size_t count) {
  if (failed_ || count > buffer_.size()) return nullptr;
  if (buffer_.size() - used_ < count && !Flush()) return nullptr;
  return buffer_.data() + used_;
}

bool BlockWriter::Write(const BYTE* bytes, size_t count) {
  if (count == 0) return false;
  BYTE* room = Reserve(count);
  if (!room) return false;
  memcpy(room, bytes, count);
  Commit(count);
  return true;
}

bool BlockWriter::Flush() {
  if (failed_) return false;
  if (used_ == 0) return true;
  const uint32_t size = static_cast<uint32_t>(used_);
  failed_ = file_.Write(buffer_.data(), size) != size;
  used_ = 0;
  return !failed_;
}

}  // namespace cmskit
