// EncryptedContentInfo and EnvelopedData.
#include "enveloped_test_util.h"

namespace cmskit::test {
namespace {

const Bytes kContent = Hex("DE AD BE EF");
const Bytes kPieces = Hex("04 02 AA BB 04 01 CC 00 00");  // closed by end-of-contents

Bytes Eci(const Bytes& third) { return Tlv(0x30, Cat({DataOid(), Des3Cbc(), third})); }
Bytes RecipientEl(BYTE serial) {
  const Bytes rid = Tlv(0x30, Cat({IssuerName(), Tlv(0x02, {serial})}));
  return Tlv(0x30, Cat({Hex("02 01 00"), rid, RsaAlgorithm(), Hex("04 04 0B 71 0D E6")}));
}
Bytes Attrs() { return Tlv(0xA1, Tlv(0x31, Hex("30 07 06 02 2A 03 31 01 05"))); }
Bytes Message(BYTE version, const Bytes& fields) {
  return Tlv(0x30, Cat({EnvelopedOid(), Tlv(0xA0, Tlv(0x30, Cat({Tlv(0x02, {version}), fields})))}));
}
Bytes Standard() {
  return Message(0, Cat({Tlv(0x31, Cat({RecipientEl(5), RecipientEl(6)})), Eci(Tlv(0x80, kContent))}));
}

class EnvelopedDataTest : public ::testing::Test {
 protected:
  CTOOFile Stage(const Bytes& bytes, const Bytes& prefix = {}) {
    WriteBytes(path_, Cat({prefix, bytes}));
    CTOOFile file(path_.c_str(), "rb");
    file.Seek(static_cast<long>(prefix.size()), SEEK_SET);
    return file;
  }
  template <class Object>
  Bytes WriteToFile(Object& object) {
    const std::string path = dir_.Path("out.der");
    {
      CTOOFile out(path.c_str(), "wb");
      EXPECT_NE(object.WriteObject(out), 0u);
    }
    return ReadBytes(path);
  }
  TempDir dir_;
  const std::string path_ = dir_.Path("msg.der");
};

TEST_F(EnvelopedDataTest, EncryptedContentInfoReaders) {
  const Bytes full = Eci(Tlv(0x80, kContent)), noOid = Tlv(0x30, Cat({Hex("02 01 00"), Des3Cbc()}));
  const Bytes streamed = Cat({Hex("30 80"), DataOid(), Des3Cbc(), Hex("A0 80"), kPieces, Hex("00 00")});
  // Input, bytes consumed (0: refused with the code), flags, content.
  const std::tuple<Bytes, DWORD, DWORD, Bytes> kCases[] = {
      {full, Size(full), 0, kContent},
      {Eci({}), 35, 0, {}},
      {Eci(Tlv(0x81, kContent)), 41, 0, {}},  // a third element not [0] is ignored
      {streamed, 48, 2, kPieces},             // the constructed [0] keeps its end-of-contents
      {Tlv(0x30, DataOid()), 0, kAsn1Corrupt, {}},
      {Hex("04 02 05 00"), 0, kAsn1BadTag, {}}};
  for (const auto& [input, consumed, flagsOrError, content] : kCases) {
    EncryptedContentInfo eci;
    SetLastError(0);
    EXPECT_EQ(eci.ReadObject(input.data(), Size(input)), consumed) << ToHex(input);
    EXPECT_EQ(consumed ? eci.flags : GetLastError(), flagsOrError) << ToHex(input);
    EXPECT_EQ(ToHex(eci.encryptedContent), ToHex(content));
  }
  // The file reader swaps the codes of a wrong outer tag and a type that is no OID.
  const std::pair<Bytes, DWORD> kFileCases[] = {
      {Tlv(0x31, Cat({DataOid(), Des3Cbc()})), kAsn1BadTag},
      {noOid, kAsn1Corrupt},
      {Cat({Hex("30 80"), DataOid(), Des3Cbc(), Hex("A0 80 04 01 00")}), kAsn1Corrupt}};
  for (const auto& [input, error] : kFileCases) {
    CTOOFile file = Stage(input);
    EncryptedContentInfo eci;
    EXPECT_EQ(eci.ReadObject(file), 0u);
    EXPECT_EQ(GetLastError(), error);
  }
}

TEST_F(EnvelopedDataTest, EncryptedContentInfoLeavesContentInItsFile) {
  const Bytes content = Pattern(2 * 4096 + 123, 1);  // two copy blocks and a partial one
  const Bytes eci = Eci(Tlv(0x80, content));
  CTOOFile file = Stage(eci, Hex("05 00 05 00"));
  EncryptedContentInfo source;
  ASSERT_EQ(source.ReadObject(file), eci.size());
  EXPECT_EQ(source.flags + source.contentOffset + source.contentLength, 1u + 4u + eci.size());
  EXPECT_STREQ(source.fileName.c_str(), path_.c_str());
  EXPECT_TRUE(source.encryptedContent.IsEmpty());
  file.Close();
  EXPECT_EQ(source.GetObjectSize(), eci.size());  // the writers are checked on the published vectors
  // A short or missing source: the size needs no file, the writers fail.
  source.contentLength = 10000;
  EXPECT_EQ(source.GetObjectSize(), Eci(Tlv(0x80, Bytes(10000))).size());
  EXPECT_TRUE(source.WriteObject().IsEmpty());
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_BAD_ARGUMENTS));
  CTOOFile out(dir_.Path("out.der").c_str(), "wb");
  for (const std::string& name : {path_, dir_.Path("missing.bin")}) {
    source.fileName = name.c_str();
    EXPECT_EQ(source.WriteObject(out), 0u);
    EXPECT_EQ(GetLastError(), kFileError);
  }
  // Copies lose the name; assignment keeps the target's.
  EncryptedContentInfo target;
  target.fileName = "target.der";
  target = source;
  EXPECT_STREQ(target.fileName.c_str(), "target.der");
  EXPECT_EQ(target.contentLength, 10000u);
  const EncryptedContentInfo copy(source);
  EXPECT_TRUE(copy.fileName.IsEmpty());
  EXPECT_EQ(copy.contentOffset, source.contentOffset);
}

TEST(EncryptedContentInfo, WritesMemoryContentAndRefusesABadType) {
  const std::tuple<DWORD, Bytes, Bytes> kCases[] = {{0, kContent, Eci(Tlv(0x80, kContent))},
                                                    {2, Hex("04 01 AA"), Eci(Tlv(0xA0, Hex("04 01 AA")))},
                                                    {0, {}, Eci({})}};
  for (const auto& [flags, content, expected] : kCases) {
    EncryptedContentInfo eci;
    eci.contentEncryptionAlgorithm.ReadData(Des3Cbc().data(), Size(Des3Cbc()), nullptr);
    eci.flags = flags;
    eci.encryptedContent = Obj(content);
    EXPECT_EQ(ToHex(eci.WriteObject()), ToHex(expected));
    EXPECT_EQ(eci.GetObjectSize(), expected.size());
  }
  // Text that is no object identifier has no encoding: the writers fail rather than leave it out.
  const Bytes input = Tlv(0x30, Cat({Hex("06 00"), Des3Cbc(), Tlv(0x80, kContent)}));
  EncryptedContentInfo eci;
  ASSERT_EQ(eci.ReadObject(input.data(), Size(input)), input.size());
  EXPECT_TRUE(eci.WriteObject().IsEmpty());
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_BAD_ARGUMENTS));
  EXPECT_EQ(eci.GetObjectSize(), 0u);
  EnvelopedData message;
  message.encryptedContentInfo = eci;
  ExpectThrowsStatus([&] { message.WriteObject(); }, 28, "EnvelopedData::WriteObject");
  int error = 0;
  EXPECT_TRUE(message.WriteObject(&error).IsEmpty());
  EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(28));
}

TEST_F(EnvelopedDataTest, LayoutsRoundTripAndAttributesNeedAVersion) {
  const Bytes originator = Tlv(0xA0, Tlv(0x30, Tlv(0xA0, Tlv(0x31, Hex("30 03 02 01 01")))));
  const Bytes fields = Cat({Tlv(0x31, RecipientEl(5)), Eci(Tlv(0x80, kContent)), Attrs()});
  const Bytes everything = Message(2, Cat({originator, fields}));
  for (const Bytes& message : {Standard(), everything}) {
    EnvelopedData data, fromFile;
    ASSERT_EQ(data.ReadObject(message.data(), Size(message)), message.size());
    EXPECT_EQ(data.originatorInfo.certs.size() + data.unprotectedAttrs.size(),
              message == everything ? 2u : 0u);
    EXPECT_EQ(ToBytes(data.WriteObject()), message);
    EXPECT_EQ(WriteToFile(data), message);
    CTOOFile file = Stage(message);
    ASSERT_EQ(fromFile.ReadObject(file), message.size());
    EXPECT_EQ(fromFile.unprotectedAttrs.size(), data.unprotectedAttrs.size());
  }
  // Version 0: the attributes are not read; a [2] there counts only its header.
  const Bytes v0 = Message(0, fields),
              other = Message(1, Cat({Tlv(0x31, RecipientEl(5)), Eci({}), Hex("A2 02 05 00")}));
  EnvelopedData data;
  EXPECT_EQ(data.ReadObject(v0.data(), Size(v0)), v0.size() - Attrs().size());
  CTOOFile file = Stage(v0);
  EXPECT_EQ(data.ReadObject(file), v0.size() - Attrs().size());
  EXPECT_TRUE(data.unprotectedAttrs.empty());
  EXPECT_EQ(data.ReadObject(other.data(), Size(other)), other.size() - 2);
}

TEST_F(EnvelopedDataTest, StructuralFaults) {
  const Bytes standard = Standard(), eci = Eci(Tlv(0x80, kContent));
  const std::pair<Bytes, int> kCases[] = {
      {Message(0, Cat({Hex("31 00"), eci})), 206},
      {Tlv(0x31, EnvelopedOid()), 206},
      {Message(0, Cat({Hex("A1 02 30 00"), Tlv(0x31, RecipientEl(5))})), 206},
      {Message(2, Cat({Tlv(0x31, Tlv(0xA1, Hex("02 01 03 30 00"))), eci})), 136},
      {Bytes(standard.begin(), standard.end() - 3), 206}};
  for (const auto& [input, status] : kCases) {
    EnvelopedData data;
    int error = 0;
    data.ReadObject(input.data(), Size(input), &error);
    EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(status)) << ToHex(input);
    ExpectThrowsStatus([&] { data.ReadObject(input.data(), Size(input)); }, status);
    CTOOFile file = Stage(input);
    error = 0;
    data.ReadObject(file, &error);
    EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(status)) << ToHex(input);
  }
  const Bytes& empty = kCases[0].first;
  EnvelopedData data;
  ExpectThrowsStatus([&] { data.ReadObject(empty.data(), Size(empty)); }, 206, "EnvelopedData::ReadObject");
  int error = 0;  // consumed up to the faulty SET: headers, type and version
  EXPECT_EQ(data.ReadObject(empty.data(), Size(empty), &error), 22u);
}

TEST_F(EnvelopedDataTest, OwnContentFileAndCopies) {
  const Bytes message = Standard();
  EnvelopedData source;
  {
    CTOOFile file = Stage(message);
    ASSERT_EQ(source.ReadObject(file), message.size());
  }
  // Never written over its own content file, whatever the name's case.
  std::string upper = path_;
  upper.replace(upper.size() - 7, 7, "MSG.DER");
  for (const std::string& target : {path_, upper}) {
    CTOOFile out(target.c_str(), "ab");
    int error = 0;
    EXPECT_EQ(source.WriteObject(out, &error), 0u);
    EXPECT_EQ(error, static_cast<int>(StatusToWin32(156)));
    ExpectThrowsStatus([&] { source.WriteObject(out); }, 156, "EnvelopedData::WriteObject");
  }
  EXPECT_EQ(ReadBytes(path_), message);
  EnvelopedData copy(source), target;
  EXPECT_EQ(copy.recipientInfos.size(), 2u);
  int error = 0;  // the content file is lost with the name
  EXPECT_TRUE(copy.WriteObject(&error).IsEmpty());
  EXPECT_NE(error, 0);
  target.encryptedContentInfo.fileName = path_.c_str();
  target = source;
  EXPECT_EQ(ToBytes(target.WriteObject()), message);
  // Reading from memory keeps the name through the reset, then clears it.
  target.ReadObject(message.data(), Size(message));
  EXPECT_TRUE(target.encryptedContentInfo.fileName.IsEmpty());
}

}  // namespace
}  // namespace cmskit::test
