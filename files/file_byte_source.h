// An open file read forward through a buffer of fixed size, byte by byte or
// in runs.
#ifndef CMSKIT_FILES_FILE_BYTE_SOURCE_H
#define CMSKIT_FILES_FILE_BYTE_SOURCE_H

#include <cstddef>
#include <vector>

#include "cmskit/file.h"
#include "platform/win32.h"

namespace cmskit {

class FileByteSource {
 public:
  // With a capacity of 1 the file is never read ahead of what was consumed.
  FileByteSource(CTOOFile& file, size_t capacity);

  // The next byte; false at the end of the file.
  bool Next(BYTE& byte);
  // Up to `count` following bytes; returns how many there were.
  size_t Take(BYTE* out, size_t count);

  // Makes at least `wanted` (at most the capacity) bytes available unless the
  // file ends first; returns whether they are.
  bool Fill(size_t wanted);
  const BYTE* Cursor() const { return buffer_.data() + begin_; }
  size_t Available() const { return end_ - begin_; }
  void Skip(size_t count) { begin_ += count; }

 private:
  CTOOFile& file_;
  std::vector<BYTE> buffer_;
  size_t begin_ = 0;
  size_t end_ = 0;
  bool ended_ = false;
};

}  // namespace cmskit

#endif
