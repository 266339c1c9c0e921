// Moving content between files in fixed blocks, so that no content of any
// size is ever held in memory.
#ifndef CMSKIT_TOOLS_BLOCK_COPY_H
#define CMSKIT_TOOLS_BLOCK_COPY_H

#include <cstdint>

#include "cmskit/file.h"

namespace cmskit {

constexpr uint32_t kCopyBlock = 4096;
// Blocks moved per read and write call: the copy is still made of whole
// 4096-octet blocks (and the remainder), but each call to the stream carries
// several of them, which spares most of the system calls.
constexpr uint32_t kBlocksPerCall = 256;

// Copies `length` octets from where `from` stands to where `to` stands: one
// block when the length is at most kCopyBlock, else blocks of kCopyBlock and
// the remainder. Stops at the first short read or write; returns the octets
// written. Never holds more than kBlocksPerCall blocks.
uint64_t CopyBlocks(CTOOFile& from, CTOOFile& to, uint64_t length);

}  // namespace cmskit

#endif
