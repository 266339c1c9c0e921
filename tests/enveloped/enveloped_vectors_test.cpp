// Published enveloped messages (RFC 4134 5.x, RFC 4490 9.x, TK26): the
// key-transport ones read from memory and from a file, name the right
// recipient and write back unchanged; the key-agreement and KEK ones are
// refused with the recipient-version status 136.
#include <gtest/gtest.h>

#include "enveloped_test_util.h"

namespace cmskit::test {
namespace {

std::string Vector(const char* name) { return TestData(std::string("enveloped/") + name); }

TEST(EnvelopedVectors, KeyTransportMessagesReadAndWriteBack) {
  const struct {
    const char* file;
    size_t issuerOffset, issuerLength;  // the recipient's issuer Name in the file
    const char* serial;                 // least significant byte first
    const char* algorithm;
    DWORD contentOffset, contentLength;
  } kVectors[] = {
      {"rfc4134_5.1.bin", 37, 20, "D0 71 5D CD 2E 6E D3 11 BC 56 00 80 C7 6B 34 46", "1.2.840.113549.3.7",
       258, 32},
      {"rfc4490_9.3_enveloped_keytrans.der", 40, 111, "21 2E B4 66 62 D4 DC C7 17 BD 11 C2 1E C6 F5 2B",
       "1.2.643.2.2.21", 415, 12},
      {"EnvelopedKTRI_256.der", 39, 88, "01", "1.2.643.2.2.21", 390, 2200},
      {"EnvelopedKTRI_512.der", 39, 88, "01", "1.2.643.2.2.21", 458, 12},
  };
  TempDir dir;
  for (const auto& v : kVectors) {
    SCOPED_TRACE(v.file);
    const Bytes message = ReadFileBytes(Vector(v.file));
    ASSERT_FALSE(message.empty());
    EnvelopedData inMemory, fromFile;
    int error = -1;
    EXPECT_EQ(inMemory.ReadObject(message.data(), static_cast<DWORD>(message.size()), &error),
              message.size());
    EXPECT_EQ(error, 0);
    {
      CTOOFile file(Vector(v.file).c_str(), "rb");
      EXPECT_EQ(fromFile.ReadObject(file, &error), message.size());
      EXPECT_EQ(error, 0);
    }
    for (const EnvelopedData* data : {&inMemory, &fromFile}) {
      ASSERT_EQ(data->recipientInfos.size(), 1u);
      const TransRecipientInfo& recipient = data->recipientInfos.front();
      EXPECT_EQ(recipient.version, 0u);
      EXPECT_EQ(ToHex(recipient.issuer), ToHex(message.data() + v.issuerOffset, v.issuerLength));
      EXPECT_EQ(ToHex(recipient.serialNumber), v.serial);
      EXPECT_EQ(Text(data->encryptedContentInfo.contentEncryptionAlgorithm.id), v.algorithm);
    }
    EXPECT_EQ(ToHex(inMemory.encryptedContentInfo.encryptedContent),
              ToHex(message.data() + v.contentOffset, v.contentLength));
    EXPECT_EQ(fromFile.encryptedContentInfo.contentOffset, v.contentOffset);
    EXPECT_EQ(fromFile.encryptedContentInfo.contentLength, v.contentLength);
    EXPECT_EQ(ToBytes(inMemory.WriteObject()), message);
    EXPECT_EQ(ToBytes(fromFile.WriteObject()), message);
    const std::string copy = dir.Path("copy.der");
    {
      CTOOFile out(copy.c_str(), "wb");
      EXPECT_EQ(fromFile.WriteObject(out, &error), message.size());
      EXPECT_EQ(error, 0);
    }
    EXPECT_EQ(ReadFileBytes(copy), message);
  }
}

// Key agreement ([1], version 3) and KEK ([2], version 4) recipients are not
// key transport: the recipient reader refuses their version.
TEST(EnvelopedVectors, OtherRecipientKindsFailWithTheirVersion) {
  for (const char* name : {"rfc4490_9.2_enveloped_keyagree.der", "EnvelopedKARI_256.der",
                           "EnvelopedKARI_512.der", "rfc4134_5.2.bin"}) {
    SCOPED_TRACE(name);
    const Bytes message = ReadFileBytes(Vector(name));
    ASSERT_FALSE(message.empty());
    EnvelopedData data;
    int error = 0;
    data.ReadObject(message.data(), static_cast<DWORD>(message.size()), &error);
    EXPECT_EQ(static_cast<DWORD>(error), 0x80340004u);
    ExpectThrowsStatus([&] { data.ReadObject(message.data(), static_cast<DWORD>(message.size())); }, 136,
                       "TransRecipientInfo::ReadObject");
    CTOOFile file(Vector(name).c_str(), "rb");
    error = 0;
    data.ReadObject(file, &error);
    EXPECT_EQ(static_cast<DWORD>(error), 0x80340004u);
  }
}

}  // namespace
}  // namespace cmskit::test
