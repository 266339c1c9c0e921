// Digests of a signed content, computed by streaming it through a provider's
// hash object in blocks: memory, a file range as the message reader recorded
// it (plain or as the segments of a constructed OCTET STRING), a whole file,
// or a message's own content. Memory use does not grow with the content.
#ifndef CMSKIT_VERIFY_CONTENT_DIGEST_H
#define CMSKIT_VERIFY_CONTENT_DIGEST_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "cmskit/sign_data.h"
#include "platform/win32.h"

namespace cmskit {

// Where the octets to digest lie. Plain data: nothing it points to is owned,
// and it must outlive the digest.
struct ContentSource {
  enum class Kind { kMemory, kFileRange, kFile, kMessage };

  static ContentSource Memory(const BYTE* data, size_t size);
  // `range` names its file in `data` and carries kInFile, with kChunkedFile
  // when it covers segments; an `end` of all ones runs to the end of the file.
  static ContentSource FileRange(const ToSignStruct64& range);
  // The whole of the named file (a detached signature's content).
  static ContentSource File(const char* path);
  // What SignData::StreamContent hands out: the octets held in memory or the
  // file range the reader recorded.
  static ContentSource Message(const SignData& message);

  Kind kind = Kind::kMemory;
  const BYTE* data = nullptr;
  size_t size = 0;
  ToSignStruct64 range;
  const SignData* message = nullptr;
};

// Feeds the source into `hash` in blocks; returns 0 or a platform code
// (ERROR_FILE_NOT_FOUND, a read failure, the hash object's own).
DWORD HashContent(HCRYPTHASH hash, const ContentSource& source);

// The value of `hash` (which ends it) into `value`; returns 0 or a code.
DWORD ReadHashValue(HCRYPTHASH hash, std::vector<BYTE>& value);

// The digest of the source under `algorithm` on `provider`; returns 0 or a
// platform code (NTE_BAD_ALGID when the provider lacks the algorithm).
DWORD DigestContent(HCRYPTPROV provider, ALG_ID algorithm, const ContentSource& source,
                    std::vector<BYTE>& digest);

}  // namespace cmskit

#endif
