// EnvelopedData: reading from memory and from files, both writers, the
// version rule for unprotectedAttrs, the own-content-file refusal, the copy
// rules and the two error endings.
#include <gtest/gtest.h>

#include "enveloped_test_util.h"

namespace cmskit::test {
namespace {

const Bytes kEncryptedKey = Hex("04 04 0B 71 0D E6");
const Bytes kContent = Hex("DE AD BE EF 01 02 03 04");

Bytes RecipientEl(BYTE serial) {
  return Tlv(0x30, Cat({Hex("02 01 00"), Tlv(0x30, Cat({IssuerName(), Tlv(0x02, {serial})})), RsaAlgorithm(),
                        kEncryptedKey}));
}
Bytes EciEl() { return Tlv(0x30, Cat({DataOid(), Des3Cbc(), Tlv(0x80, kContent)})); }
Bytes Attrs() { return Tlv(0xA1, Tlv(0x31, Hex("30 07 06 02 2A 03 31 01 05"))); }
Bytes Originator() { return Tlv(0xA0, Tlv(0x30, Tlv(0xA0, Tlv(0x31, Hex("30 03 02 01 01"))))); }

Bytes Message(BYTE version, const Bytes& fields) {
  return Tlv(0x30, Cat({EnvelopedOid(), Tlv(0xA0, Tlv(0x30, Cat({Tlv(0x02, {version}), fields})))}));
}
Bytes Standard() { return Message(0, Cat({Tlv(0x31, Cat({RecipientEl(5), RecipientEl(6)})), EciEl()})); }

DWORD Size(const Bytes& bytes) { return static_cast<DWORD>(bytes.size()); }

class EnvelopedDataTest : public ::testing::Test {
 protected:
  std::string Stage(const Bytes& bytes, const std::string& name = "msg.der") {
    const std::string path = dir_.Path(name);
    WriteFileBytes(path, bytes);
    return path;
  }

  Bytes WriteToFile(const EnvelopedData& data, const std::string& name = "out.der") {
    const std::string path = dir_.Path(name);
    DWORD written = 0;
    {
      CTOOFile out(path.c_str(), "wb");
      int error = -1;
      written = data.WriteObject(out, &error);
      EXPECT_EQ(error, 0);
    }
    const Bytes bytes = ReadFileBytes(path);
    EXPECT_EQ(written, bytes.size());
    return bytes;
  }

  TempDir dir_;
};

TEST_F(EnvelopedDataTest, ReadsAndWritesTheStandardLayout) {
  const Bytes message = Standard();
  EnvelopedData data;
  int error = -1;
  ASSERT_EQ(data.ReadObject(message.data(), Size(message), &error), message.size());
  EXPECT_EQ(error, 0);
  EXPECT_EQ(data.version, 0u);
  EXPECT_TRUE(data.originatorInfo.IsEmpty());
  ASSERT_EQ(data.recipientInfos.size(), 2u);
  EXPECT_EQ(ToHex(data.recipientInfos.front().serialNumber), "05");
  EXPECT_EQ(ToHex(data.recipientInfos.back().serialNumber), "06");
  EXPECT_EQ(ToHex(data.encryptedContentInfo.encryptedContent), ToHex(kContent));
  EXPECT_EQ(ToBytes(data.WriteObject()), message);
  EXPECT_EQ(WriteToFile(data), message);
}

TEST_F(EnvelopedDataTest, OriginatorInfoAndAttributesRoundTrip) {
  const Bytes message = Message(2, Cat({Originator(), Tlv(0x31, RecipientEl(5)), EciEl(), Attrs()}));
  EnvelopedData data;
  ASSERT_EQ(data.ReadObject(message.data(), Size(message)), message.size());
  EXPECT_EQ(data.version, 2u);
  EXPECT_EQ(data.originatorInfo.certs.size(), 1u);
  EXPECT_EQ(data.unprotectedAttrs.size(), 1u);
  EXPECT_EQ(ToBytes(data.WriteObject()), message);
  EXPECT_EQ(WriteToFile(data), message);
  CTOOFile file(Stage(message).c_str(), "rb");
  EnvelopedData fromFile;
  ASSERT_EQ(fromFile.ReadObject(file), message.size());
  EXPECT_EQ(fromFile.unprotectedAttrs.size(), 1u);
  EXPECT_EQ(fromFile.originatorInfo.certs.size(), 1u);
}

TEST_F(EnvelopedDataTest, AttributesAreReadOnlyWhenVersionIsNotZero) {
  const Bytes fields = Cat({Tlv(0x31, RecipientEl(5)), EciEl(), Attrs()});
  const Bytes v0 = Message(0, fields);
  EnvelopedData data;
  EXPECT_EQ(data.ReadObject(v0.data(), Size(v0)), v0.size() - Attrs().size());
  EXPECT_TRUE(data.unprotectedAttrs.empty());
  CTOOFile file(Stage(v0).c_str(), "rb");
  EXPECT_EQ(data.ReadObject(file), v0.size() - Attrs().size());
  EXPECT_TRUE(data.unprotectedAttrs.empty());

  const Bytes v1 = Message(1, fields);
  EXPECT_EQ(data.ReadObject(v1.data(), Size(v1)), v1.size());
  EXPECT_EQ(data.unprotectedAttrs.size(), 1u);
  // Not [1]: its header counts as consumed, the element is left alone.
  const Bytes other = Message(1, Cat({Tlv(0x31, RecipientEl(5)), EciEl(), Hex("A2 02 05 00")}));
  EXPECT_EQ(data.ReadObject(other.data(), Size(other)), other.size() - 2);
  EXPECT_TRUE(data.unprotectedAttrs.empty());
}

TEST_F(EnvelopedDataTest, StructuralFaults) {
  const Bytes kStandard = Standard();
  const struct {
    const char* name;
    Bytes input;
    int status;
  } cases[] = {
      {"empty recipient SET", Message(0, Cat({Hex("31 00"), EciEl()})), 206},
      {"outer not a SEQUENCE", Tlv(0x31, EnvelopedOid()), 206},
      {"content not [0]", Tlv(0x30, Cat({EnvelopedOid(), Tlv(0xA1, Hex("30 00"))})), 206},
      {"version not an INTEGER", Tlv(0x30, Cat({EnvelopedOid(), Tlv(0xA0, Tlv(0x30, Hex("04 01 00")))})),
       206},
      {"[1] where originatorInfo goes", Message(0, Cat({Hex("A1 02 30 00"), Tlv(0x31, RecipientEl(5))})),
       206},
      {"recipients not a SET", Message(0, Cat({Tlv(0x30, RecipientEl(5)), EciEl()})), 206},
      {"recipient of version 3", Message(2, Cat({Tlv(0x31, Tlv(0xA1, Hex("02 01 03 30 00"))), EciEl()})),
       136},
      {"broken EncryptedContentInfo", Message(0, Cat({Tlv(0x31, RecipientEl(5)), Tlv(0x30, DataOid())})),
       206},
      {"truncated", Bytes(kStandard.begin(), kStandard.end() - 3), 206},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EnvelopedData data;
    int error = 0;
    SetLastError(0);
    data.ReadObject(c.input.data(), Size(c.input), &error);
    EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(c.status));
    ExpectThrowsStatus([&] { data.ReadObject(c.input.data(), Size(c.input)); }, c.status);
    CTOOFile file(Stage(c.input).c_str(), "rb");
    error = 0;
    data.ReadObject(file, &error);
    EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(c.status));
    file.Seek(0, SEEK_SET);
    ExpectThrowsStatus([&] { data.ReadObject(file); }, c.status);
  }
  const Bytes empty = Message(0, Cat({Hex("31 00"), EciEl()}));
  EnvelopedData data;
  ExpectThrowsStatus([&] { data.ReadObject(empty.data(), Size(empty)); }, 206, "EnvelopedData::ReadObject");
  int error = 0;
  // Bytes consumed up to the faulty SET: headers, type and version.
  EXPECT_EQ(data.ReadObject(empty.data(), Size(empty), &error), 2u + 11u + 2u + 2u + 3u + 2u);
}

TEST_F(EnvelopedDataTest, IndefiniteLengthsReadAlikeFromMemoryAndFile) {
  const Bytes recipients = Cat({Hex("31 80"), RecipientEl(5), Hex("00 00")});
  const Bytes eci = Cat({Hex("30 80"), DataOid(), Des3Cbc(), Hex("A0 80 04 02 AA BB 00 00 00 00")});
  const Bytes message = Cat(
      {Hex("30 80"), EnvelopedOid(), Hex("A0 80 30 80 02 01 00"), recipients, eci, Hex("00 00 00 00 00 00")});
  EnvelopedData inMemory;
  const DWORD consumed = inMemory.ReadObject(message.data(), Size(message));
  EXPECT_EQ(consumed, message.size() - 6);
  CTOOFile file(Stage(message).c_str(), "rb");
  EnvelopedData fromFile;
  EXPECT_EQ(fromFile.ReadObject(file), consumed);
  for (const EnvelopedData* data : {&inMemory, &fromFile}) {
    EXPECT_EQ(data->recipientInfos.size(), 1u);
    EXPECT_EQ(data->encryptedContentInfo.flags & 2u, 2u);
  }
  EXPECT_EQ(ToHex(inMemory.encryptedContentInfo.encryptedContent), "04 02 AA BB 00 00");
  EXPECT_EQ(fromFile.encryptedContentInfo.contentLength, 6u);
  // Both writers give the same definite-length message.
  const Bytes written = ToBytes(inMemory.WriteObject());
  EXPECT_EQ(WriteToFile(fromFile), written);
  EXPECT_EQ(ToBytes(fromFile.WriteObject()), written);
}

TEST_F(EnvelopedDataTest, RefusesToWriteOverItsOwnContentFile) {
  const std::string path = Stage(Standard(), "Msg.der");
  EnvelopedData data;
  {
    CTOOFile file(path.c_str(), "rb");
    ASSERT_EQ(data.ReadObject(file), Standard().size());
  }
  for (const std::string& target : {path, dir_.Path("MSG.DER")}) {
    SCOPED_TRACE(target);
    CTOOFile out(target.c_str(), "ab");
    int error = 0;
    EXPECT_EQ(data.WriteObject(out, &error), 0u);
    EXPECT_EQ(error, static_cast<int>(StatusToWin32(156)));
    ExpectThrowsStatus([&] { data.WriteObject(out); }, 156, "EnvelopedData::WriteObject");
  }
  EXPECT_EQ(ReadFileBytes(path), Standard());
}

TEST_F(EnvelopedDataTest, CopiesFollowTheContentAssignment) {
  const Bytes message = Standard();
  const std::string path = Stage(message);
  EnvelopedData source;
  {
    CTOOFile file(path.c_str(), "rb");
    ASSERT_EQ(source.ReadObject(file), message.size());
  }
  EnvelopedData copy(source);
  EXPECT_EQ(copy.recipientInfos.size(), 2u);
  EXPECT_EQ(copy.encryptedContentInfo.contentOffset, source.encryptedContentInfo.contentOffset);
  EXPECT_TRUE(copy.encryptedContentInfo.fileName.IsEmpty());
  // The content file is lost with the name: writing the copy fails cleanly.
  int error = 0;
  EXPECT_TRUE(copy.WriteObject(&error).IsEmpty());
  EXPECT_NE(error, 0);

  EnvelopedData target;
  target.encryptedContentInfo.fileName = path.c_str();
  target = source;
  EXPECT_EQ(ToBytes(target.WriteObject()), message);
  // Reading from memory keeps the name through the reset, then clears it.
  target.ReadObject(message.data(), Size(message));
  EXPECT_TRUE(target.encryptedContentInfo.fileName.IsEmpty());
}

}  // namespace
}  // namespace cmskit::test
