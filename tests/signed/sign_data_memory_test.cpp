// SignData in memory: what ReadObject accepts and the code each failing step
// leaves, the DER WriteObject produces, content attachment and FillEntry.
#include <gtest/gtest.h>

#include <cstring>

#include "signed/signed_fixtures.h"

namespace cmskit::signtest {
namespace {

Bytes Encap(const Bytes& inside) { return El(0x30, OidData(), inside); }
Bytes Message(const Bytes& body) { return El(0x30, OidSignedData(), El(0xA0, Tlv(0x30, body))); }
Bytes Written(SignData& message) {
  int error = -1;
  const Bytes out = Of(message.WriteObject(&error));
  EXPECT_EQ(error, 0);
  return out;
}

// Direct checks leave *pError at 0; failing helpers report their code in both
// places; decoder failures report the raw status in *pError. Every prefix is
// refused inside the buffer.
TEST(SignDataMemory, FailureCodes) {
  const int corrupt = static_cast<int>(kCorrupt), badTag = static_cast<int>(kBadTag);
  const Bytes good = With(&MessageParts::crls, Tlv(0xA1, FakeCertificate(5)));
  const struct {
    Bytes bytes;
    DWORD lastError;
    int reported;
  } cases[] = {
      {El(0x30, OidSignedData(), Tlv(0xA0, MessageParts().SignedData()), Hex("05 00")), kCorrupt, 0},
      {With(&MessageParts::contentType, OidSignedAlias()), kCorrupt, 0},
      {WithWrapper(0x30), kCorrupt, 0},
      {With(&MessageParts::version, Version(2)), 0x80340004, 0},
      {With(&MessageParts::version, Hex("04 01 01")), kBadTag, 0},
      {El(0x30, OidSignedData(), El(0xA0, El(0x30, Version(1), Hex("31 00"), El(0x30, OidData())))), kCorrupt,
       0},
      {With(&MessageParts::algorithms, Tlv(0x31, Hex("31 03 06 01 00"))), kCorrupt, corrupt},
      {With(&MessageParts::encap, Tlv(0x30, Hex("04 01 00"))), kBadTag, badTag},
      {With(&MessageParts::certificates, Hex("A0 03 30 05 00")), kCorrupt, corrupt},
      {Hex("04 02 00 00"), kBadTag, kStatusBadTag},
      {Bytes(good.begin(), good.end() - 1), kCorrupt, kStatusCorrupt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    SignData message;
    SetLastError(0x1234);
    int reported = -1;
    EXPECT_FALSE(ReadMemory(message, c.bytes, &reported));
    EXPECT_EQ(GetLastError(), c.lastError);
    EXPECT_EQ(reported, c.reported);
    SetLastError(0);
    EXPECT_FALSE(ReadMemory(message, c.bytes));
    EXPECT_EQ(GetLastError(), c.lastError);
  }
  for (size_t cut = 0; cut < good.size(); ++cut) {
    SignData message;
    EXPECT_FALSE(message.ReadObject(cut ? good.data() : nullptr, static_cast<DWORD>(cut), nullptr)) << cut;
  }
  SignData message;  // a set under the wrong tag
  EXPECT_EQ(SignDataTestPeer::Certificates(message, Obj(Tlv(0xA1, FakeCertificate(1)))), badTag);
}

TEST(SignDataMemory, WritesDer) {
  SignData fresh;
  EXPECT_EQ(Written(fresh), Message(Cat({Version(1), Hex("31 00"), Encap({}), Hex("31 00")})));
  // 12 + id-data with NULL parameters (15) + 4, and allowances after the
  // certificates and the CRLs.
  EXPECT_EQ(fresh.GetDataSize(), 12u + 15u + 4u + 4u + 4u);
  EXPECT_EQ(fresh.GetObjectSize(), fresh.GetDataSize() + 24u);
  SignData message;
  message.version = 3;
  message.digestAlgorithms.emplace_back();
  Read(message.digestAlgorithms.back(), Hex("30 07 06 05 2B 0E 03 02 1A"));
  message.encapContentInfo.data = Obj(Text("content"));
  message.certificates = {Obj(FakeCertificate(2)), Obj(FakeCertificate(1))};
  message.crls = {Obj(FakeCertificate(9))};
  message.signerInfos = {Obj(FakeSigner(0xB)), Obj(FakeSigner(0xA))};  // order kept
  const Bytes expected = Message(
      Cat({Version(3), Tlv(0x31, Hex("30 09 06 05 2B 0E 03 02 1A 05 00")),
           Encap(El(0xA0, Tlv(0x04, Text("content")))), El(0xA0, FakeCertificate(2), FakeCertificate(1)),
           El(0xA1, FakeCertificate(9)), El(0x31, FakeSigner(0xB), FakeSigner(0xA))}));
  EXPECT_EQ(Written(message), expected);
  EXPECT_GE(message.GetObjectSize(), expected.size());
}

TEST(SignDataMemory, WritesFileContent) {
  TempDir dir;
  const std::string path = dir.Path("content.bin"), empty = dir.Path("empty.bin");
  WriteBytes(path, Text("0123456789"));
  WriteBytes(empty, {});
  const struct {
    ToSignStruct content;
    Bytes octets;  // file content is always written, even empty
    int status;
  } cases[] = {
      {FileContent(path, 2, 5), Text("234"), 0},
      {FileContent(path, 4, 4), {}, 0},
      {FileContent(empty, 0, ToSignStruct::kToEndOfFile), {}, 0},
      {FileContent(path, 8, 11), {}, kStatusTruncated},
      {FileContent(path, 5, 4), {}, kStatusTruncated},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    SignData message;
    message.dataInfo = c.content;
    int error = -1;
    const Bytes out = Of(message.WriteObject(&error));
    EXPECT_EQ(static_cast<DWORD>(error), c.status ? StatusToWin32(c.status) : 0u);
    if (c.status) {
      EXPECT_TRUE(out.empty());
      EXPECT_THROW(message.WriteObject(nullptr), XTOOStatus);  // without pError the status leaves as it is
    } else {
      EXPECT_EQ(out,
                Message(Cat({Version(1), Hex("31 00"), Encap(El(0xA0, Tlv(0x04, c.octets))), Hex("31 00")})));
    }
  }
  SignData whole;
  ASSERT_TRUE(whole.AttachData(FileContent(path, 0, ToSignStruct::kToEndOfFile), nullptr));
  Written(whole);
  EXPECT_EQ(whole.GetDataInfo().end, 10u);
  std::filesystem::remove(path);
  int error = -1;
  EXPECT_TRUE(whole.WriteObject(&error).IsEmpty());
  EXPECT_EQ(error, 2);
}

TEST(SignDataMemory, CopiesAndAttach) {
  TempDir dir;
  const std::string path = dir.Path("m.der"), missing = dir.Path("missing");
  WriteBytes(path, MessageParts().Build());
  SignData source;
  ASSERT_NE(ReadFromFile(source, path), 0u);
  ASSERT_STREQ(source.workPath.c_str(), path.c_str());
  SignData copy(source);  // the work path is not copied, the content range is
  EXPECT_EQ(copy.workPath.GetLength(), 0u);
  EXPECT_EQ(std::memcmp(&copy.GetDataInfo(), &source.GetDataInfo(), sizeof(ToSignStruct)), 0);
  SignData target;
  target.workPath = "kept.der";
  target = source;
  EXPECT_STREQ(target.workPath.c_str(), "kept.der");
  EXPECT_TRUE(target.encapContentInfo == source.encapContentInfo);

  const Bytes bytes = Text("0123456789");
  SignData message;
  message.encapContentInfo.id = Dotted("1.2.3.4");
  ToSignStruct content = MemoryContent(bytes);
  content.begin = 2;
  content.end = 6;
  EXPECT_TRUE(message.AttachData(content, nullptr));
  EXPECT_EQ(Of(message.encapContentInfo.data), Text("2345"));
  EXPECT_TRUE(message.encapContentInfo.id == Dotted("1.2.840.113549.1.7.1"));  // forced to id-data
  EXPECT_EQ(message.GetDataInfo().data, nullptr);
  ToSignStruct file = FileContent(path, 7, 9000);  // the range is not checked here
  file.extra = 42;
  EXPECT_TRUE(message.AttachData(file, nullptr));
  EXPECT_EQ(std::memcmp(&message.GetDataInfo(), &file, sizeof file), 0);
  ToSignStruct reversed = MemoryContent(bytes);
  reversed.begin = 2;
  reversed.end = 1;
  const struct {
    ToSignStruct content;
    DWORD code;
  } failures[] = {{FileTarget(""), ERROR_BAD_ARGUMENTS},
                  {FileContent(missing, 0, 1), ERROR_FILE_NOT_FOUND},
                  {reversed, ERROR_BAD_ARGUMENTS}};
  for (const auto& f : failures)
    ExpectFails([&](int* error) { return SignData().AttachData(f.content, error); }, f.code);
}

}  // namespace
}  // namespace cmskit::signtest
