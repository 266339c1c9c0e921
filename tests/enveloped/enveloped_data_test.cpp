// EncryptedContentInfo and EnvelopedData: memory and file readers (the file
// reader swaps two of the memory reader's codes), both writers, sizes known
// without the content, the version rule for unprotectedAttrs, the refusal to
// write over the own content file, and the copy rules for fileName.
#include <gtest/gtest.h>

#include "enveloped_test_util.h"

namespace cmskit::test {
namespace {

const Bytes kContent = Hex("DE AD BE EF");
const Bytes kPieces = Hex("04 02 AA BB 04 01 CC 00 00");  // closed by end-of-contents

Bytes Eci(const Bytes& third) { return Tlv(0x30, Cat({DataOid(), Des3Cbc(), third})); }
Bytes StreamedEci() { return Cat({Hex("30 80"), DataOid(), Des3Cbc(), Hex("A0 80"), kPieces, Hex("00 00")}); }
Bytes RecipientEl(BYTE serial) {
  return Tlv(0x30, Cat({Hex("02 01 00"), Tlv(0x30, Cat({IssuerName(), Tlv(0x02, {serial})})), RsaAlgorithm(),
                        Hex("04 04 0B 71 0D E6")}));
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
  // A file of prefix + bytes, opened and positioned after the prefix.
  CTOOFile Stage(const Bytes& bytes, const Bytes& prefix = {}) {
    path_ = dir_.Path("msg.der");
    WriteFileBytes(path_, Cat({prefix, bytes}));
    CTOOFile file(path_.c_str(), "rb");
    file.Seek(static_cast<long>(prefix.size()), SEEK_SET);
    return file;
  }

  template <class Object>
  Bytes WriteToFile(Object& object, const Bytes& prefix = {}) {
    const std::string path = dir_.Path("out.der");
    DWORD written = 0;
    {
      CTOOFile out(path.c_str(), "wb");
      if (!prefix.empty()) out.Write(prefix.data(), Size(prefix));
      written = object.WriteObject(out);
    }
    const Bytes bytes = ReadFileBytes(path);
    EXPECT_EQ(written + prefix.size(), bytes.size());
    return bytes;
  }

  TempDir dir_;
  std::string path_;
};

TEST_F(EnvelopedDataTest, EncryptedContentInfoFromMemory) {
  const Bytes full = Eci(Tlv(0x80, kContent));
  const struct {
    const char* name;
    Bytes input;
    DWORD consumed;  // 0: failure expected
    DWORD lastError, flags;
    Bytes content;
  } kCases[] = {
      {"primitive [0]", full, Size(full), 0, 0, kContent},
      {"no [0]", Eci({}), 35, 0, 0, {}},
      {"third element not [0] is ignored", Eci(Tlv(0x81, kContent)), 41, 0, 0, {}},
      {"constructed indefinite keeps its end-of-contents", StreamedEci(), 48, 0, 2, kPieces},
      {"one child", Tlv(0x30, DataOid()), 0, kAsn1Corrupt, 0, {}},
      {"four children",
       Tlv(0x30, Cat({DataOid(), Des3Cbc(), Tlv(0x80, kContent), Hex("05 00")})),
       0,
       kAsn1Corrupt,
       0,
       {}},
      {"type not an OID", Tlv(0x30, Cat({Hex("02 01 00"), Des3Cbc()})), 0, kAsn1BadTag, 0, {}},
      {"truncated", Bytes(full.begin(), full.end() - 1), 0, kAsn1Corrupt, 0, {}},
      {"primitive outer", Hex("04 02 05 00"), 0, kAsn1BadTag, 0, {}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    EncryptedContentInfo eci;
    eci.flags = 7;
    SetLastError(0);
    EXPECT_EQ(eci.ReadObject(c.input.data(), Size(c.input)), c.consumed);
    EXPECT_EQ(GetLastError(), c.lastError);
    if (c.consumed == 0) continue;
    EXPECT_STREQ(eci.contentType.c_str(), "1.2.840.113549.1.7.1");
    EXPECT_EQ(Text(eci.contentEncryptionAlgorithm.id), "1.2.840.113549.3.7");
    EXPECT_EQ(ToHex(eci.contentEncryptionAlgorithm.data), "04 08 01 02 03 04 05 06 07 08");
    EXPECT_EQ(eci.flags, c.flags);
    EXPECT_EQ(ToHex(eci.encryptedContent), ToHex(c.content));
  }
  // The file reader swaps the codes of a wrong outer tag and a type that is
  // no OID.
  const struct {
    const char* name;
    Bytes input;
    DWORD lastError;
  } kFileCases[] = {
      {"not a SEQUENCE", Tlv(0x31, Cat({DataOid(), Des3Cbc()})), kAsn1BadTag},
      {"type not an OID", Tlv(0x30, Cat({Hex("02 01 00"), Des3Cbc()})), kAsn1Corrupt},
      {"unterminated indefinite [0]", Cat({Hex("30 80"), DataOid(), Des3Cbc(), Hex("A0 80 04 01 00")}),
       kAsn1Corrupt},
  };
  for (const auto& c : kFileCases) {
    SCOPED_TRACE(c.name);
    CTOOFile file = Stage(c.input);
    EncryptedContentInfo eci;
    SetLastError(0);
    EXPECT_EQ(eci.ReadObject(file), 0u);
    EXPECT_EQ(GetLastError(), c.lastError);
  }
}

TEST_F(EnvelopedDataTest, EncryptedContentInfoLeavesContentInItsFile) {
  // Longer than two copy blocks, with a partial last one.
  Bytes content(2 * 4096 + 123);
  for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<BYTE>(i * 7);
  const Bytes eci = Eci(Tlv(0x80, content));
  CTOOFile file = Stage(eci, Hex("05 00 05 00"));
  EncryptedContentInfo source;
  source.encryptedContent = Obj(Hex("01"));
  ASSERT_EQ(source.ReadObject(file), eci.size());
  EXPECT_EQ(source.flags, 1u);
  EXPECT_EQ(source.contentOffset, 4u + eci.size() - content.size());
  EXPECT_EQ(source.contentLength, content.size());
  EXPECT_STREQ(source.fileName.c_str(), path_.c_str());
  EXPECT_TRUE(source.encryptedContent.IsEmpty());
  EXPECT_EQ(file.Tell(), static_cast<int32_t>(4 + eci.size()));
  file.Close();
  EXPECT_EQ(source.GetObjectSize(), eci.size());
  EXPECT_EQ(ToBytes(source.WriteObject()), eci);
  EXPECT_EQ(WriteToFile(source, Hex("05 00")), Cat({Hex("05 00"), eci}));

  // A short or missing source: the size needs no file, the writers fail.
  source.contentLength = 10000;
  EXPECT_EQ(source.GetObjectSize(), Eci(Tlv(0x80, Bytes(10000))).size());
  SetLastError(0);
  EXPECT_TRUE(source.WriteObject().IsEmpty());
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_BAD_ARGUMENTS));
  CTOOFile out(dir_.Path("out.der").c_str(), "wb");
  for (const std::string& name : {path_, dir_.Path("missing.bin")}) {
    source.fileName = name.c_str();
    SetLastError(0);
    EXPECT_EQ(source.WriteObject(out), 0u);
    EXPECT_EQ(GetLastError(), kFileError);
  }
}

TEST(EncryptedContentInfo, WritesMemoryContentAndSizes) {
  const struct {
    const char* name;
    DWORD flags;
    Bytes content, expected;
  } kCases[] = {
      {"primitive", 0, kContent, Eci(Tlv(0x80, kContent))},
      {"constructed", 2, Hex("04 01 AA"), Eci(Tlv(0xA0, Hex("04 01 AA")))},
      {"no content", 0, {}, Eci({})},
      {"long content", 0, Bytes(300, 0x11), Eci(Tlv(0x80, Bytes(300, 0x11)))},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    EncryptedContentInfo eci;
    eci.contentEncryptionAlgorithm.ReadData(Des3Cbc().data(), Size(Des3Cbc()), nullptr);
    eci.flags = c.flags;
    eci.encryptedContent = Obj(c.content);
    EXPECT_EQ(ToHex(eci.WriteObject()), ToHex(c.expected));
    EXPECT_EQ(eci.GetObjectSize(), c.expected.size());
  }
  // Text that is no object identifier has no encoding: the writers fail
  // rather than leave the element out.
  const Bytes input = Tlv(0x30, Cat({Hex("06 00"), Des3Cbc(), Tlv(0x80, kContent)}));
  EncryptedContentInfo eci;
  ASSERT_EQ(eci.ReadObject(input.data(), Size(input)), input.size());
  EXPECT_TRUE(eci.contentType.IsEmpty());
  SetLastError(0);
  EXPECT_TRUE(eci.WriteObject().IsEmpty());
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_BAD_ARGUMENTS));
  EXPECT_EQ(eci.GetObjectSize(), 0u);
  EnvelopedData message;
  message.encryptedContentInfo = eci;
  ExpectThrowsStatus([&] { message.WriteObject(); }, 28, "EnvelopedData::WriteObject");
}

TEST(EncryptedContentInfo, AssignmentKeepsTheTargetsFileName) {
  EncryptedContentInfo source;
  source.contentType = "1.2.3";
  source.flags = 3;
  source.contentOffset = 17;
  source.contentLength = 4096;
  source.fileName = "source.der";
  source.encryptedContent = Obj(Hex("01 02"));
  EncryptedContentInfo target;
  target.fileName = "target.der";
  target = source;
  target = *&target;
  EXPECT_STREQ(target.fileName.c_str(), "target.der");
  EXPECT_STREQ(target.contentType.c_str(), "1.2.3");
  EXPECT_EQ(target.flags + target.contentOffset + target.contentLength, 3u + 17u + 4096u);
  EXPECT_EQ(ToHex(target.encryptedContent), "01 02");
  const EncryptedContentInfo copy(source);
  EXPECT_TRUE(copy.fileName.IsEmpty());
  EXPECT_EQ(copy.contentOffset, 17u);
  EXPECT_STREQ(EncryptedContentInfo().contentType.c_str(), "1.2.840.113549.1.7.1");
}

TEST_F(EnvelopedDataTest, LayoutsRoundTripFromMemoryAndFile) {
  const Bytes originator = Tlv(0xA0, Tlv(0x30, Tlv(0xA0, Tlv(0x31, Hex("30 03 02 01 01")))));
  const Bytes withEverything =
      Message(2, Cat({originator, Tlv(0x31, RecipientEl(5)), Eci(Tlv(0x80, kContent)), Attrs()}));
  for (const Bytes& message : {Standard(), withEverything}) {
    const bool standard = message == Standard();
    EnvelopedData data;
    int error = -1;
    ASSERT_EQ(data.ReadObject(message.data(), Size(message), &error), message.size());
    EXPECT_EQ(error, 0);
    EXPECT_EQ(data.version, standard ? 0u : 2u);
    EXPECT_EQ(data.originatorInfo.certs.size(), standard ? 0u : 1u);
    EXPECT_EQ(data.unprotectedAttrs.size(), standard ? 0u : 1u);
    EXPECT_EQ(ToHex(data.recipientInfos.back().serialNumber), standard ? "06" : "05");
    EXPECT_EQ(ToHex(data.encryptedContentInfo.encryptedContent), ToHex(kContent));
    EXPECT_EQ(ToBytes(data.WriteObject()), message);
    EXPECT_EQ(WriteToFile(data), message);
    CTOOFile file = Stage(message);
    EnvelopedData fromFile;
    ASSERT_EQ(fromFile.ReadObject(file), message.size());
    EXPECT_EQ(fromFile.unprotectedAttrs.size(), data.unprotectedAttrs.size());
    EXPECT_EQ(fromFile.originatorInfo.certs.size(), data.originatorInfo.certs.size());
  }
}

TEST_F(EnvelopedDataTest, AttributesAreReadOnlyWhenVersionIsNotZero) {
  const Bytes fields = Cat({Tlv(0x31, RecipientEl(5)), Eci(Tlv(0x80, kContent)), Attrs()});
  const Bytes v0 = Message(0, fields), v1 = Message(1, fields);
  EnvelopedData data;
  EXPECT_EQ(data.ReadObject(v0.data(), Size(v0)), v0.size() - Attrs().size());
  EXPECT_TRUE(data.unprotectedAttrs.empty());
  CTOOFile file = Stage(v0);
  EXPECT_EQ(data.ReadObject(file), v0.size() - Attrs().size());
  EXPECT_TRUE(data.unprotectedAttrs.empty());
  EXPECT_EQ(data.ReadObject(v1.data(), Size(v1)), v1.size());
  EXPECT_EQ(data.unprotectedAttrs.size(), 1u);
  // Not [1]: its header counts as consumed, the element is left alone.
  const Bytes other =
      Message(1, Cat({Tlv(0x31, RecipientEl(5)), Eci(Tlv(0x80, kContent)), Hex("A2 02 05 00")}));
  EXPECT_EQ(data.ReadObject(other.data(), Size(other)), other.size() - 2);
  EXPECT_TRUE(data.unprotectedAttrs.empty());
}

TEST_F(EnvelopedDataTest, StructuralFaults) {
  const Bytes standard = Standard(), eci = Eci(Tlv(0x80, kContent));
  const struct {
    const char* name;
    Bytes input;
    int status;
  } kCases[] = {
      {"empty recipient SET", Message(0, Cat({Hex("31 00"), eci})), 206},
      {"outer not a SEQUENCE", Tlv(0x31, EnvelopedOid()), 206},
      {"content not [0]", Tlv(0x30, Cat({EnvelopedOid(), Tlv(0xA1, Hex("30 00"))})), 206},
      {"version not an INTEGER", Tlv(0x30, Cat({EnvelopedOid(), Tlv(0xA0, Tlv(0x30, Hex("04 01 00")))})),
       206},
      {"[1] where originatorInfo goes", Message(0, Cat({Hex("A1 02 30 00"), Tlv(0x31, RecipientEl(5))})),
       206},
      {"recipients not a SET", Message(0, Cat({Tlv(0x30, RecipientEl(5)), eci})), 206},
      {"recipient of version 3", Message(2, Cat({Tlv(0x31, Tlv(0xA1, Hex("02 01 03 30 00"))), eci})), 136},
      {"broken EncryptedContentInfo", Message(0, Cat({Tlv(0x31, RecipientEl(5)), Tlv(0x30, DataOid())})),
       206},
      {"truncated", Bytes(standard.begin(), standard.end() - 3), 206},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    EnvelopedData data;
    int error = 0;
    data.ReadObject(c.input.data(), Size(c.input), &error);
    EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(c.status));
    ExpectThrowsStatus([&] { data.ReadObject(c.input.data(), Size(c.input)); }, c.status);
    CTOOFile file = Stage(c.input);
    error = 0;
    data.ReadObject(file, &error);
    EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(c.status));
    file.Seek(0, SEEK_SET);
    ExpectThrowsStatus([&] { data.ReadObject(file); }, c.status);
  }
  const Bytes& empty = kCases[0].input;
  EnvelopedData data;
  ExpectThrowsStatus([&] { data.ReadObject(empty.data(), Size(empty)); }, 206, "EnvelopedData::ReadObject");
  int error = 0;
  // Bytes consumed up to the faulty SET: headers, type and version.
  EXPECT_EQ(data.ReadObject(empty.data(), Size(empty), &error), 2u + 11u + 2u + 2u + 3u + 2u);
}

TEST_F(EnvelopedDataTest, IndefiniteLengthsReadAlikeFromMemoryAndFile) {
  const Bytes message = Cat({Hex("30 80"), EnvelopedOid(), Hex("A0 80 30 80 02 01 00 31 80"), RecipientEl(5),
                             Hex("00 00"), StreamedEci(), Hex("00 00 00 00 00 00")});
  EnvelopedData inMemory, fromFile;
  const DWORD consumed = inMemory.ReadObject(message.data(), Size(message));
  EXPECT_EQ(consumed, message.size() - 6);
  CTOOFile file = Stage(message);
  EXPECT_EQ(fromFile.ReadObject(file), consumed);
  for (const EnvelopedData* data : {&inMemory, &fromFile}) {
    EXPECT_EQ(data->recipientInfos.size(), 1u);
    EXPECT_EQ(data->encryptedContentInfo.flags & 2u, 2u);
  }
  EXPECT_EQ(ToBytes(inMemory.encryptedContentInfo.encryptedContent), kPieces);
  EXPECT_EQ(fromFile.encryptedContentInfo.contentLength, kPieces.size());
  // Both writers give the same definite-length message.
  const Bytes written = ToBytes(inMemory.WriteObject());
  EXPECT_EQ(WriteToFile(fromFile), written);
  EXPECT_EQ(ToBytes(fromFile.WriteObject()), written);
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
    SCOPED_TRACE(target);
    CTOOFile out(target.c_str(), "ab");
    int error = 0;
    EXPECT_EQ(source.WriteObject(out, &error), 0u);
    EXPECT_EQ(error, static_cast<int>(StatusToWin32(156)));
    ExpectThrowsStatus([&] { source.WriteObject(out); }, 156, "EnvelopedData::WriteObject");
  }
  EXPECT_EQ(ReadFileBytes(path_), message);

  EnvelopedData copy(source);
  EXPECT_EQ(copy.recipientInfos.size(), 2u);
  EXPECT_EQ(copy.encryptedContentInfo.contentOffset, source.encryptedContentInfo.contentOffset);
  EXPECT_TRUE(copy.encryptedContentInfo.fileName.IsEmpty());
  int error = 0;  // the content file is lost with the name
  EXPECT_TRUE(copy.WriteObject(&error).IsEmpty());
  EXPECT_NE(error, 0);
  EnvelopedData target;
  target.encryptedContentInfo.fileName = path_.c_str();
  target = source;
  EXPECT_EQ(ToBytes(target.WriteObject()), message);
  // Reading from memory keeps the name through the reset, then clears it.
  target.ReadObject(message.data(), Size(message));
  EXPECT_TRUE(target.encryptedContentInfo.fileName.IsEmpty());
}

}  // namespace
}  // namespace cmskit::test
