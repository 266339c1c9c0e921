#include "tools/block_copy.h"

#include <vector>

#include "platform/win32.h"

namespace cmskit {

uint64_t CopyBlocks(CTOOFile& from, CTOOFile& to, uint64_t length) {
  if (length == 0) return 0;
  const uint64_t group = uint64_t{kCopyBlock} * kBlocksPerCall;
  std::vector<BYTE> buffer(static_cast<size_t>(length < group ? length : group));
  uint64_t copied = 0;
  while (copied < length) {
    const uint64_t left = length - copied;
    const uint32_t want = static_cast<uint32_t>(left < buffer.size() ? left : buffer.size());
    const uint32_t got = from.Read(buffer.data(), want);
    const uint32_t put = to.Write(buffer.data(), got);
    copied += put;
    if (got != want || put != got) break;
  }
  return copied;
}

}  // namespace cmskit
