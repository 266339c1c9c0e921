#include "content_cipher.h"

namespace cmskit_cli {

namespace {

constexpr uint32_t kDecryptBlock = 4096;

constexpr ContentCipher kCiphers[] = {
    {"2.16.840.1.101.3.4.1.2", 16},   // aes128-cbc
    {"2.16.840.1.101.3.4.1.22", 16},  // aes192-cbc
    {"2.16.840.1.101.3.4.1.42", 16},  // aes256-cbc
    {"1.2.840.113549.3.7", 8},        // des-ede3-cbc
    {"1.3.14.3.2.7", 8},              // des-cbc
    {"1.2.840.113549.3.2", 8},        // rc2-cbc
    {"1.2.643.2.2.21", 0},            // GOST 28147-89, CFB
};

}  // namespace

const ContentCipher* FindContentCipher(const std::string& oid) {
  for (const ContentCipher& cipher : kCiphers) {
    if (oid == cipher.oid) return &cipher;
  }
  return nullptr;
}

bool DecryptionLeavesPadding(const cmskit::EncryptedContentInfo& content) {
  if (content.flags & cmskit::EncryptedContentInfo::kContentConstructed) return true;
  return (content.flags & cmskit::EncryptedContentInfo::kContentInFile) &&
         content.GetContentLength64() % kDecryptBlock == 0;
}

}  // namespace cmskit_cli
