// ToSignStruct and SignData as objects: layout, construction, copies, size
// estimates, attaching content and refilling from a parsed tree.
#include <gtest/gtest.h>

#include <cstring>

#include "signed/sign_data_fixtures.h"

namespace cmskit::signtest {
namespace {

TEST(ToSignStruct, FourZeroWordsAndShallowCopies) {
  ToSignStruct zero;
  const uint64_t* words = reinterpret_cast<const uint64_t*>(&zero);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(words[i], 0u) << i;

  char name[] = "content.bin";
  ToSignStruct a;
  a.flags = 3;
  a.fileMark = ToSignStruct::kFileMark;
  a.data = name;
  a.begin = 10;
  a.end = 20;
  a.extra = 0x1122334455667788ull;
  ToSignStruct b;
  b = a;
  EXPECT_EQ(std::memcmp(&a, &b, sizeof a), 0);
  EXPECT_EQ(b.data, static_cast<void*>(name));  // the pointer travels, nothing is duplicated
}

TEST(SignData, FreshObject) {
  SignData message;
  EXPECT_EQ(message.version, 1u);
  EXPECT_TRUE(message.digestAlgorithms.empty());
  EXPECT_TRUE(message.certificates.empty() && message.crls.empty() && message.signerInfos.empty());
  EXPECT_TRUE(message.encapContentInfo.id == Dotted("1.2.840.113549.1.7.1"));
  EXPECT_TRUE(message.encapContentInfo.data.IsEmpty());
  EXPECT_TRUE(message.contentType == Dotted("1.2.840.113549.1.7.2"));
  EXPECT_EQ(message.GetDataInfo().flags, 0u);
  EXPECT_EQ(message.GetDataInfo().data, nullptr);
  EXPECT_EQ(message.workPath.GetLength(), 0u);
  // 12 + id-data with NULL parameters (15) + 4, and the allowances after the
  // certificates and the CRLs.
  EXPECT_EQ(message.GetDataSize(), 12u + 15u + 4u + 4u + 4u);
  EXPECT_EQ(message.GetObjectSize(), message.GetDataSize() + 24u);
}

TEST(SignData, SizeEstimateCoversWhatIsWritten) {
  SignData message;
  ASSERT_TRUE(message.ReadObject(MessageParts().Build().data(),
                                 static_cast<DWORD>(MessageParts().Build().size()), nullptr));
  const IdentObj written = message.WriteObject(nullptr);
  EXPECT_GE(message.GetObjectSize(), written.size());
  EXPECT_EQ(message.GetObjectSize() - message.GetDataSize(), 24u);
}

TEST(SignData, CopyAndAssignmentLeaveWorkPath) {
  TempDir dir;
  const std::string path = dir.Path("m.der");
  WriteBytes(path, MessageParts().Build());
  SignData source;
  ASSERT_NE(ReadFromFile(source, path, 0, nullptr), 0u);
  ASSERT_STREQ(source.workPath.c_str(), path.c_str());
  source.version = 3;

  SignData copy(source);
  EXPECT_EQ(copy.workPath.GetLength(), 0u);
  EXPECT_EQ(copy.version, 3u);
  EXPECT_EQ(copy.certificates, source.certificates);
  EXPECT_EQ(copy.signerInfos, source.signerInfos);
  EXPECT_EQ(std::memcmp(&copy.GetDataInfo(), &source.GetDataInfo(), sizeof(ToSignStruct)), 0);

  SignData target;
  target.workPath = "kept.der";
  target = source;
  EXPECT_STREQ(target.workPath.c_str(), "kept.der");
  EXPECT_TRUE(target.encapContentInfo == source.encapContentInfo);
  target = target;
  EXPECT_EQ(target.version, 3u);
}

TEST(SignData, AttachMemoryContent) {
  const Bytes bytes = Text("0123456789");
  SignData message;
  message.encapContentInfo.id = Dotted("1.2.3.4");
  ToSignStruct content = MemoryContent(bytes);
  content.begin = 2;
  content.end = 6;
  int error = -1;
  EXPECT_TRUE(message.AttachData(content, &error));
  EXPECT_EQ(error, 0);
  EXPECT_EQ(Of(message.encapContentInfo.data), Text("2345"));
  EXPECT_TRUE(message.encapContentInfo.id == Dotted("1.2.840.113549.1.7.1"));  // always forced to id-data
  EXPECT_EQ(message.GetDataInfo().data, nullptr);                              // left as it was

  content.begin = content.end = 4;
  EXPECT_TRUE(message.AttachData(content, nullptr));
  EXPECT_TRUE(message.encapContentInfo.data.IsEmpty());
}

TEST(SignData, AttachFileContentOnlyNamesTheFile) {
  TempDir dir;
  const std::string path = dir.Path("content.bin");
  WriteBytes(path, Text("abc"));
  SignData message;
  ToSignStruct content = FileContent(path, 7, 9000);  // the range is not checked here
  content.extra = 42;
  int error = -1;
  EXPECT_TRUE(message.AttachData(content, &error));
  EXPECT_EQ(error, 0);
  EXPECT_EQ(std::memcmp(&message.GetDataInfo(), &content, sizeof content), 0);
}

TEST(SignData, AttachFailures) {
  TempDir dir;
  const std::string missing = dir.Path("missing.bin");
  const Bytes bytes = Text("xy");
  struct Case {
    const char* name;
    ToSignStruct content;
    DWORD code;
  };
  ToSignStruct nullName = FileContent(missing, 0, 1);
  nullName.data = nullptr;
  ToSignStruct reversed = MemoryContent(bytes);
  reversed.begin = 2;
  reversed.end = 1;
  const Case cases[] = {{"null file name", nullName, ERROR_BAD_ARGUMENTS},
                        {"missing file", FileContent(missing, 0, 1), ERROR_FILE_NOT_FOUND},
                        {"reversed memory range", reversed, ERROR_BAD_ARGUMENTS}};
  for (const Case& c : cases) {
    SignData message;
    SetLastError(0);
    int error = -1;
    EXPECT_FALSE(message.AttachData(c.content, &error)) << c.name;
    EXPECT_EQ(static_cast<DWORD>(error), c.code) << c.name;
    EXPECT_EQ(GetLastError(), c.code) << c.name;
    EXPECT_EQ(message.GetDataInfo().flags, 0u) << c.name;
  }
}

// FillEntry, from a tree the record reader built.
DWORD FillFrom(SignData& message, const Bytes& bytes) {
  CASNTUnit root;
  int status = -1;
  root.ReadFromMemory(bytes.data(), static_cast<DWORD>(bytes.size()), &status);
  EXPECT_EQ(status, 0);
  SetLastError(0);
  SignDataTestPeer::FillEntry(message, root);
  return GetLastError();
}

TEST(SignDataFillEntry, ReadsEveryPart) {
  MessageParts parts;
  parts.crls = Tlv(0xA1, FakeCertificate(9));
  SignData message;
  message.signerInfos.push_back(Obj(Text("stale")));
  ASSERT_EQ(FillFrom(message, parts.Build()), 0u);
  EXPECT_EQ(message.version, 1u);
  ASSERT_EQ(message.digestAlgorithms.size(), 1u);
  EXPECT_TRUE(message.digestAlgorithms.front().id == Dotted("2.16.840.1.101.3.4.2.1"));
  EXPECT_EQ(Of(message.encapContentInfo.data), Text("hello, signed world"));
  ASSERT_EQ(message.certificates.size(), 2u);
  EXPECT_EQ(Of(message.certificates.back()), FakeCertificate(2));
  ASSERT_EQ(message.crls.size(), 1u);
  ASSERT_EQ(message.signerInfos.size(), 2u);
  EXPECT_EQ(Of(message.signerInfos.front()), FakeSigner(7));
}

TEST(SignDataFillEntry, AliasTypeSetsInAnyOrderAndDetachedContent) {
  MessageParts parts;
  parts.contentType = OidSignedAlias();
  parts.encap = Tlv(0x30, OidData());
  // signerInfos first, then certificates, unknown context tags skipped.
  parts.certificates.clear();
  parts.trailer = Cat({Tlv(0xA5, Hex("05 00")), Tlv(0xA0, FakeCertificate(4)), Tlv(0x31, FakeSigner(9))});
  SignData message;
  ASSERT_EQ(FillFrom(message, parts.Build()), 0u);
  EXPECT_TRUE(message.contentType == Dotted("1.2.840.113549.1.7.2"));  // not changed by reading
  EXPECT_TRUE(message.encapContentInfo.data.IsEmpty());
  EXPECT_EQ(message.certificates.size(), 1u);
  EXPECT_EQ(message.signerInfos.size(), 3u);  // the two sets add up
}

TEST(SignDataFillEntry, BareOctetStringAndVersionWidths) {
  MessageParts parts;
  parts.encap = Tlv(0x30, Cat({OidData(), Tlv(0x04, Text("bare"))}));
  parts.version = Hex("02 00");
  SignData message;
  ASSERT_EQ(FillFrom(message, parts.Build()), 0u);
  EXPECT_EQ(message.version, 0u);
  EXPECT_EQ(Of(message.encapContentInfo.data), Text("bare"));

  parts.version = Hex("02 05 01 00 00 00 00");
  EXPECT_EQ(FillFrom(message, parts.Build()), 0x80093103u);
}

TEST(SignDataFillEntry, StructuralFaults) {
  struct Case {
    const char* name;
    Bytes message;
    DWORD code;
  };
  MessageParts wrongType;
  wrongType.contentType = OidData();
  MessageParts wrongWrapper;
  wrongWrapper.wrapperTag = 0xA3;
  MessageParts setAlgorithms;
  setAlgorithms.algorithms = Tlv(0x30, Sha256());
  MessageParts setEncap;
  setEncap.encap = Tlv(0x31, OidData());
  const Case cases[] = {
      {"root is a SET", Tlv(0x31, OidSignedData()), 0x8009310B},
      {"wrong content type", wrongType.Build(), 0x8009310B},
      {"content type alone", Tlv(0x30, OidSignedData()), 0x80090011},
      {"wrapper [3]", wrongWrapper.Build(), 0x80093103},
      {"SignedData not a SEQUENCE", Tlv(0x30, Cat({OidSignedData(), Tlv(0xA0, Tlv(0x31, Version(1)))})),
       0x8009310B},
      {"digestAlgorithms not a SET", setAlgorithms.Build(), 0x8009310B},
      {"encapContentInfo not a SEQUENCE", setEncap.Build(), 0x8009310B},
  };
  for (const Case& c : cases) {
    SignData message;
    EXPECT_EQ(FillFrom(message, c.message), c.code) << c.name;
  }
}

}  // namespace
}  // namespace cmskit::signtest
