// What the tool must know of a content-encryption algorithm to deliver the
// exact plaintext: its CBC block size, or none for a cipher without padding.
#ifndef CMSKIT_CLI_CONTENT_CIPHER_H
#define CMSKIT_CLI_CONTENT_CIPHER_H

#include <cmskit/cmskit.h>

#include <cstdint>
#include <string>

namespace cmskit_cli {

struct ContentCipher {
  const char* oid;
  // PKCS #7 padding block of a CBC cipher; 0 for GOST 28147-89 in CFB mode.
  uint32_t blockBytes;
};

// Null for an algorithm the tool does not know.
const ContentCipher* FindContentCipher(const std::string& oid);

// Whether DecryptContent, writing to a file, leaves the CBC padding in place
// for this content: it makes no final call for content in pieces, nor for a
// primitive string read from a file whose length is a whole multiple of its
// 4096-byte block.
bool DecryptionLeavesPadding(const cmskit::EncryptedContentInfo& content);

}  // namespace cmskit_cli

#endif
