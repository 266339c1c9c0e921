// Messages made once by `openssl cms -encrypt` (tests/data/decrypt) decrypt
// on every platform.
#include <gtest/gtest.h>

#include "interop/committed_recipient.h"

namespace cmskit_testing {
namespace {

class DecryptCommitted : public CommittedRecipientTest {
 protected:
  Decryption Decrypt(const char* message, bool fromMemory, bool toFile) {
    const std::string target = toFile ? dir_.Path("plain" + std::to_string(++outputs_)) : std::string();
    return DecryptMessage(TestData(std::string("decrypt/") + message), fromMemory, target, cert_->Get(),
                          prov_.handle);
  }

  TempDir dir_;
  int outputs_ = 0;
};

// A ciphertext of whole 4096-byte blocks (aes128_4095) gets no final call
// file to file, so its CBC padding stays there.
TEST_F(DecryptCommitted, MessagesDecryptOnEveryPath) {
  const Bytes plain = ReadBytes(TestData("decrypt/plain.txt")),
              short4095 = ReadBytes(TestData("decrypt/plain4095.txt"));
  ASSERT_EQ(5000u, plain.size());
  for (const char* message : {"aes128.der", "aes256.der", "des3.der", "aes128_4095.der"}) {
    for (int path = 0; path < 4; ++path) {
      const bool fromMemory = path & 1, toFile = path & 2;
      SCOPED_TRACE(std::string(message) + " " + std::to_string(path));
      const Decryption result = Decrypt(message, fromMemory, toFile);
      EXPECT_EQ(0, result.importError);
      EXPECT_TRUE(result.ok) << std::hex << result.error;
      if (message[6] != '_') {
        EXPECT_EQ(plain, result.plain);
        continue;
      }
      EXPECT_EQ(4096u, result.contentLength);
      EXPECT_EQ(toFile && !fromMemory ? WithPadding(short4095, 16) : short4095, result.plain);
    }
  }
}

// A null certificate (pError untouched), a copy naming no recipient, and a
// damaged transported key.
TEST_F(DecryptCommitted, ErrorPaths) {
  EnvelopedData message;
  CTOOFile file(TestData("decrypt/aes128.der").c_str(), "rb");
  ASSERT_NE(0u, message.ReadObject(file));
  ASNAlgorithmIdentifier alg = message.encryptedContentInfo.contentEncryptionAlgorithm;
  KeyHandle key;
  int error = 777;
  SetLastError(0);
  EXPECT_EQ(0, message.GetEncryptionKey(nullptr, prov_.handle, key.handle, alg, &error));
  EXPECT_EQ(kBadArguments, GetLastError());
  EXPECT_EQ(777, error);
  EnvelopedData other = message;
  other.recipientInfos.front().serialNumber = Obj(Hex("01"));
  EXPECT_EQ(0, other.GetEncryptionKey(cert_->Get(), prov_.handle, key.handle, alg, &error));
  EXPECT_EQ(static_cast<int>(kBadArguments), error);
  other = message;
  other.recipientInfos.front().encryptedKey.data()[10] ^= 0x55;
  EXPECT_EQ(0, other.GetEncryptionKey(cert_->Get(), prov_.handle, key.handle, alg, &error));
  EXPECT_NE(0, error);
}

}  // namespace
}  // namespace cmskit_testing
