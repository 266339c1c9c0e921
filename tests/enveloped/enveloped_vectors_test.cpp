// Published enveloped messages (RFC 4134 5.x, RFC 4490 9.x, TK26).
#include "enveloped_test_util.h"

namespace cmskit::test {
namespace {

std::string Vector(const char* name) { return TestData(std::string("enveloped/") + name); }

TEST(EnvelopedVectors, KeyTransportMessagesReadAndWriteBack) {
  // File, the recipient's serial number (least significant byte first), content offset and length.
  const std::tuple<const char*, const char*, DWORD, DWORD> kVectors[] = {
      {"rfc4134_5.1.bin", "D0 71 5D CD 2E 6E D3 11 BC 56 00 80 C7 6B 34 46", 258, 32},
      {"rfc4490_9.3_enveloped_keytrans.der", "21 2E B4 66 62 D4 DC C7 17 BD 11 C2 1E C6 F5 2B", 415, 12},
      {"EnvelopedKTRI_256.der", "01", 390, 2200},
      {"EnvelopedKTRI_512.der", "01", 458, 12}};
  TempDir dir;
  for (const auto& [name, serial, offset, length] : kVectors) {
    SCOPED_TRACE(name);
    const Bytes message = ReadBytes(Vector(name));
    EnvelopedData inMemory, fromFile;
    int error = -1;
    EXPECT_EQ(inMemory.ReadObject(message.data(), Size(message), &error), message.size());
    CTOOFile file(Vector(name).c_str(), "rb");
    EXPECT_EQ(fromFile.ReadObject(file, &error), message.size());
    EXPECT_EQ(error, 0);
    for (const EnvelopedData* data : {&inMemory, &fromFile}) {
      ASSERT_EQ(data->recipientInfos.size(), 1u);
      EXPECT_EQ(ToHex(data->recipientInfos.front().serialNumber), serial);
    }
    EXPECT_EQ(ToHex(inMemory.encryptedContentInfo.encryptedContent), ToHex(message.data() + offset, length));
    EXPECT_EQ(fromFile.encryptedContentInfo.contentOffset + fromFile.encryptedContentInfo.contentLength,
              offset + length);
    EXPECT_EQ(ToBytes(inMemory.WriteObject()), message);
    EXPECT_EQ(ToBytes(fromFile.WriteObject()), message);
    {
      CTOOFile out(dir.Path("copy.der").c_str(), "wb");
      EXPECT_EQ(fromFile.WriteObject(out, &error), message.size());
    }
    EXPECT_EQ(ReadBytes(dir.Path("copy.der")), message);
  }
}

// Key agreement ([1], version 3) and KEK ([2], version 4) recipients are not key transport.
TEST(EnvelopedVectors, OtherRecipientKindsFailWithTheirVersion) {
  for (const char* name : {"rfc4490_9.2_enveloped_keyagree.der", "EnvelopedKARI_256.der",
                           "EnvelopedKARI_512.der", "rfc4134_5.2.bin"}) {
    const Bytes message = ReadBytes(Vector(name));
    EnvelopedData data;
    int error = 0;
    data.ReadObject(message.data(), Size(message), &error);
    EXPECT_EQ(static_cast<DWORD>(error), 0x80340004u) << name;
    ExpectThrowsStatus([&] { data.ReadObject(message.data(), Size(message)); }, 136,
                       "TransRecipientInfo::ReadObject");
    CTOOFile file(Vector(name).c_str(), "rb");
    data.ReadObject(file, &error);
    EXPECT_EQ(static_cast<DWORD>(error), 0x80340004u) << name;
  }
}

}  // namespace
}  // namespace cmskit::test
