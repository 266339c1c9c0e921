#include "signed/block_copy.h"

#include "platform/win32.h"

namespace cmskit {

uint64_t CopyBlocks(CTOOFile& from, CTOOFile& to, uint64_t length) {
  if (length == 0) return 0;
  BYTE block[kCopyBlock];
  const uint64_t chunk = length <= kCopyBlock ? length : kCopyBlock;
  uint64_t copied = 0;
  while (copied < length) {
    const uint32_t want = static_cast<uint32_t>(length - copied < chunk ? length - copied : chunk);
    const uint32_t got = from.Read(block, want);
    const uint32_t put = to.Write(block, got);
    copied += put;
    if (got != want || put != got) break;
  }
  return copied;
}

}  // namespace cmskit
