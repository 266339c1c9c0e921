// The whole decryption of a message as a caller does it, with handles and
// certificate contexts that release themselves.
#ifndef CMSKIT_TESTS_INTEROP_DECRYPT_INTEROP_UTIL_H
#define CMSKIT_TESTS_INTEROP_DECRYPT_INTEROP_UTIL_H

#include <gtest/gtest.h>

#include "common/crypt.h"
#include "common/test_util.h"

namespace cmskit_testing {

using namespace cmskit;

constexpr DWORD kBadArguments = 160;

struct Decryption {
  bool ok = false;
  int importError = -1;  // pError of GetEncryptionKey
  DWORD error = 0;       // last error of DecryptContent
  Bytes plain;
  DWORD contentLength = 0;  // of the encrypted octets
};

// Reads the message at `path` from its file (or, with `fromMemory`, from its
// bytes) and decrypts it for `cert` into memory or into the file `target`.
inline Decryption DecryptMessage(const std::string& path, bool fromMemory, const std::string& target,
                                 const CERT_CONTEXT* cert, HCRYPTPROV prov) {
  Decryption result;
  EnvelopedData message;
  int error = -1;
  const Bytes bytes = ReadBytes(path);
  if (fromMemory) {
    message.ReadObject(bytes.data(), static_cast<DWORD>(bytes.size()), &error);
  } else {
    CTOOFile file(path.c_str(), "rb");
    message.ReadObject(file, &error);
  }
  EXPECT_EQ(0, error) << path;
  EncryptedContentInfo& eci = message.encryptedContentInfo;
  result.contentLength = fromMemory ? eci.encryptedContent.size() : eci.contentLength;
  ASNAlgorithmIdentifier alg = eci.contentEncryptionAlgorithm;
  KeyHandle key;
  if (!message.GetEncryptionKey(cert, prov, key.handle, alg, &result.importError)) return result;
  EXPECT_TRUE(DecryptKeyParam(key.handle, alg));
  Bytes buffer(eci.GetOpenTextSize() + 1);
  ToSignStruct out;
  out.data = target.empty() ? static_cast<void*>(buffer.data()) : const_cast<char*>(target.c_str());
  out.flags = target.empty() ? 0 : ToSignStruct::kInFile;
  out.begin = target.empty() ? 1 : 0;
  out.end = target.empty() ? 1 + eci.GetOpenTextSize() : 0;
  SetLastError(0);
  result.ok = DecryptContent(key.handle, eci, out);
  result.error = GetLastError();
  if (!target.empty()) result.plain = ReadBytes(target);
  if (target.empty() && result.ok) result.plain = Bytes(buffer.begin() + out.begin, buffer.begin() + out.end);
  return result;
}

}  // namespace cmskit_testing

#endif
