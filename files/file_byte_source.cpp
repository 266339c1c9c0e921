#include "files/file_byte_source.h"

#include <cstring>

namespace cmskit {

FileByteSource::FileByteSource(CTOOFile& file, size_t capacity)
    : file_(file), buffer_(capacity ? capacity : 1) {}

bool FileByteSource::Fill(size_t wanted) {
  if (wanted > buffer_.size()) wanted = buffer_.size();
  while (Available() < wanted && !ended_) {
    if (begin_ != 0) {
      memmove(buffer_.data(), buffer_.data() + begin_, Available());
      end_ -= begin_;
      begin_ = 0;
    }
    const uint32_t room = static_cast<uint32_t>(buffer_.size() - end_);
    const uint32_t got = file_.Read(buffer_.data() + end_, room);
    if (got == 0) ended_ = true;
    end_ += got;
  }
  return Available() >= wanted;
}

bool FileByteSource::Next(BYTE& byte) {
  if (!Fill(1)) return false;
  byte = buffer_[begin_++];
  return true;
}

size_t FileByteSource::Take(BYTE* out, size_t count) {
  size_t taken = 0;
  while (taken < count && Fill(1)) {
    const size_t run = Available() < count - taken ? Available() : count - taken;
    memcpy(out + taken, Cursor(), run);
    Skip(run);
    taken += run;
  }
  return taken;
}

}  // namespace cmskit
