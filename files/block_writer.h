// Bytes collected in memory and written to a file in large blocks.
#ifndef CMSKIT_FILES_BLOCK_WRITER_H
#define CMSKIT_FILES_BLOCK_WRITER_H

#include <cstddef>
#include <vector>

#include "cmskit/file.h"
#include "platform/win32.h"

namespace cmskit {

class BlockWriter {
 public:
  BlockWriter(CTOOFile& file, size_t capacity) : file_(file), buffer_(capacity) {}

  // Room for `count` bytes (at most the capacity); null once a write failed.
  BYTE* Reserve(size_t count);
  void Commit(size_t count) { used_ += count; }

  // As with a file write, writing nothing counts as a failure.
  bool Write(const BYTE* bytes, size_t count);

  // Writes what was collected; false when this or an earlier write failed.
  bool Flush();

 private:
  CTOOFile& file_;
  std::vector<BYTE> buffer_;
  size_t used_ = 0;
  bool failed_ = false;
};

}  // namespace cmskit

#endif
