// Content encrypted on its way from one file to another, a block at a time.
#ifndef CMSKIT_MAKE_ENCRYPT_BLOCKS_H
#define CMSKIT_MAKE_ENCRYPT_BLOCKS_H

#include <cstdint>

#include "cmskit/file.h"
#include "platform/win32.h"

namespace cmskit {

// Reads `length` octets where `from` stands, encrypts them with `key` (the
// last call final, so CBC padding is added) and writes the result where `to`
// stands. Returns the octets written; a short read (the content changed
// under us) or a failed write or encryption raises its status.
uint64_t EncryptBlocks(HCRYPTKEY key, CTOOFile& from, uint64_t length, CTOOFile& to);

}  // namespace cmskit

#endif
