// EncryptedContentInfo: memory and file readers (with their swapped codes),
// the writers, the size computed without the content, and the assignment
// that keeps fileName.
#include <gtest/gtest.h>

#include "enveloped_test_util.h"

namespace cmskit::test {
namespace {

const Bytes kContent = Hex("DE AD BE EF");

Bytes Eci(const Bytes& third) { return Tlv(0x30, Cat({DataOid(), Des3Cbc(), third})); }

// A constructed indefinite [0]: two pieces closed by end-of-contents.
const Bytes kPieces = Hex("04 02 AA BB 04 01 CC 00 00");
Bytes StreamedEci() { return Cat({Hex("30 80"), DataOid(), Des3Cbc(), Hex("A0 80"), kPieces, Hex("00 00")}); }

struct MemoryCase {
  const char* name;
  Bytes input;
  DWORD consumed;  // 0: failure expected
  DWORD lastError;
  DWORD flags;
  Bytes content;
};

TEST(EncryptedContentInfo, ReadsFromMemory) {
  const Bytes full = Eci(Tlv(0x80, kContent));
  const MemoryCase cases[] = {
      {"primitive [0]", full, static_cast<DWORD>(full.size()), 0, 0, kContent},
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
  for (const MemoryCase& c : cases) {
    SCOPED_TRACE(c.name);
    EncryptedContentInfo eci;
    eci.flags = 7;
    SetLastError(0);
    EXPECT_EQ(eci.ReadObject(c.input.data(), static_cast<DWORD>(c.input.size())), c.consumed);
    EXPECT_EQ(GetLastError(), c.lastError);
    if (c.consumed == 0) continue;
    EXPECT_STREQ(eci.contentType.c_str(), "1.2.840.113549.1.7.1");
    EXPECT_EQ(Text(eci.contentEncryptionAlgorithm.id), "1.2.840.113549.3.7");
    EXPECT_EQ(ToHex(eci.contentEncryptionAlgorithm.data), "04 08 01 02 03 04 05 06 07 08");
    EXPECT_EQ(eci.flags, c.flags);
    EXPECT_EQ(ToHex(eci.encryptedContent), ToHex(c.content));
  }
}

class EncryptedContentFile : public ::testing::Test {
 protected:
  // Writes `prefix` + `eci` + `suffix`, opens it and positions after prefix.
  CTOOFile Stage(const Bytes& eci, const Bytes& prefix = {}, const Bytes& suffix = {}) {
    path_ = dir_.Path("eci.der");
    WriteFileBytes(path_, Cat({prefix, eci, suffix}));
    CTOOFile file(path_.c_str(), "rb");
    file.Seek(static_cast<long>(prefix.size()), SEEK_SET);
    return file;
  }

  TempDir dir_;
  std::string path_;
};

TEST_F(EncryptedContentFile, LeavesPrimitiveContentInTheFile) {
  const Bytes eci = Eci(Tlv(0x80, kContent));
  CTOOFile file = Stage(eci, Hex("05 00 05 00"));
  EncryptedContentInfo target;
  target.encryptedContent = Obj(Hex("01"));
  ASSERT_EQ(target.ReadObject(file), eci.size());
  EXPECT_EQ(target.flags, 1u);
  EXPECT_EQ(target.contentOffset, 4u + 37u);
  EXPECT_EQ(target.contentLength, 4u);
  EXPECT_STREQ(target.fileName.c_str(), path_.c_str());
  EXPECT_TRUE(target.encryptedContent.IsEmpty());
  EXPECT_EQ(file.Tell(), static_cast<int32_t>(4 + eci.size()));
}

TEST_F(EncryptedContentFile, SwapsTheCodesOfTheMemoryReader) {
  struct Case {
    const char* name;
    Bytes input;
    DWORD lastError;
  } const cases[] = {
      {"not a SEQUENCE", Tlv(0x31, Cat({DataOid(), Des3Cbc()})), kAsn1BadTag},
      {"type not an OID", Tlv(0x30, Cat({Hex("02 01 00"), Des3Cbc()})), kAsn1Corrupt},
      {"unterminated indefinite [0]", Cat({Hex("30 80"), DataOid(), Des3Cbc(), Hex("A0 80 04 01 00")}),
       kAsn1Corrupt},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CTOOFile file = Stage(c.input);
    EncryptedContentInfo target;
    SetLastError(0);
    EXPECT_EQ(target.ReadObject(file), 0u);
    EXPECT_EQ(GetLastError(), c.lastError);
  }
}

TEST_F(EncryptedContentFile, WritersCopyTheContentFromItsFile) {
  // Content longer than two copy blocks, with a partial last block.
  Bytes content(2 * 4096 + 123);
  for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<BYTE>(i * 7);
  const Bytes eci = Eci(Tlv(0x80, content));
  CTOOFile file = Stage(eci, Hex("05 00"));
  EncryptedContentInfo source;
  ASSERT_EQ(source.ReadObject(file), eci.size());
  file.Close();

  EXPECT_EQ(source.GetObjectSize(), eci.size());
  EXPECT_EQ(ToBytes(source.WriteObject()), eci);
  const std::string copy = dir_.Path("copy.der");
  {
    CTOOFile out(copy.c_str(), "wb");
    out.Write("\x05\x00", 2);
    EXPECT_EQ(source.WriteObject(out), eci.size());
  }
  EXPECT_EQ(ReadFileBytes(copy), Cat({Hex("05 00"), eci}));
}

TEST_F(EncryptedContentFile, WritersReportAMissingOrShortSource) {
  EncryptedContentInfo source;
  source.flags = EncryptedContentInfo::kContentInFile;
  source.contentEncryptionAlgorithm.ReadData(Des3Cbc().data(), static_cast<DWORD>(Des3Cbc().size()), nullptr);
  source.fileName = dir_.Path("short.bin").c_str();
  source.contentOffset = 2;
  source.contentLength = 10;
  WriteFileBytes(source.fileName.c_str(), Bytes(11));
  // The size needs no file at all.
  EXPECT_EQ(source.GetObjectSize(), Eci(Tlv(0x80, Bytes(10))).size());
  SetLastError(0);
  EXPECT_TRUE(source.WriteObject().IsEmpty());
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_BAD_ARGUMENTS));

  const std::string target = dir_.Path("out.der");
  CTOOFile out(target.c_str(), "wb");
  SetLastError(0);
  EXPECT_EQ(source.WriteObject(out), 0u);
  EXPECT_EQ(GetLastError(), kFileError);
  source.fileName = dir_.Path("missing.bin").c_str();
  SetLastError(0);
  EXPECT_EQ(source.WriteObject(out), 0u);
  EXPECT_EQ(GetLastError(), kFileError);
}

TEST(EncryptedContentInfo, WritesMemoryContentAndSizes) {
  struct Case {
    const char* name;
    DWORD flags;
    Bytes content;
    Bytes expected;
  } const cases[] = {
      {"primitive", 0, kContent, Eci(Tlv(0x80, kContent))},
      {"constructed", 2, Hex("04 01 AA"), Eci(Tlv(0xA0, Hex("04 01 AA")))},
      {"no content", 0, {}, Eci({})},
      {"long content", 0, Bytes(300, 0x11), Eci(Tlv(0x80, Bytes(300, 0x11)))},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EncryptedContentInfo eci;
    eci.contentEncryptionAlgorithm.ReadData(Des3Cbc().data(), static_cast<DWORD>(Des3Cbc().size()), nullptr);
    eci.flags = c.flags;
    eci.encryptedContent = Obj(c.content);
    EXPECT_EQ(ToHex(eci.WriteObject()), ToHex(c.expected));
    EXPECT_EQ(eci.GetObjectSize(), c.expected.size());
  }
}

// Text that is no object identifier has no encoding: the writers fail
// rather than leave the element out.
TEST(EncryptedContentInfo, ContentTypeThatIsNoObjectIdentifierFailsToWrite) {
  const Bytes input = Tlv(0x30, Cat({Hex("06 00"), Des3Cbc(), Tlv(0x80, kContent)}));
  EncryptedContentInfo eci;
  ASSERT_EQ(eci.ReadObject(input.data(), static_cast<DWORD>(input.size())), input.size());
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
  EXPECT_STREQ(target.fileName.c_str(), "target.der");
  EXPECT_STREQ(target.contentType.c_str(), "1.2.3");
  EXPECT_EQ(target.flags, 3u);
  EXPECT_EQ(target.contentOffset, 17u);
  EXPECT_EQ(target.contentLength, 4096u);
  EXPECT_EQ(ToHex(target.encryptedContent), "01 02");

  const EncryptedContentInfo copy(source);
  EXPECT_TRUE(copy.fileName.IsEmpty());
  EXPECT_EQ(copy.contentOffset, 17u);

  target = *&target;
  EXPECT_STREQ(target.fileName.c_str(), "target.der");
  EXPECT_STREQ(EncryptedContentInfo().contentType.c_str(), "1.2.840.113549.1.7.1");
}

}  // namespace
}  // namespace cmskit::test
