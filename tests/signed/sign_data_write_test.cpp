// SignData::WriteObject(int*): the DER it produces, content from memory or a
// file, order kept, and failures.
#include <gtest/gtest.h>

#include "signed/sign_data_fixtures.h"

namespace cmskit::signtest {
namespace {

Bytes Write(SignData& message) {
  int error = -1;
  const IdentObj out = message.WriteObject(&error);
  EXPECT_EQ(error, 0);
  return Of(out);
}

Bytes Encap(const Bytes& inside) { return Tlv(0x30, Cat({OidData(), inside})); }

Bytes Message(const Bytes& body) { return Tlv(0x30, Cat({OidSignedData(), Tlv(0xA0, Tlv(0x30, body))})); }

TEST(SignDataWriteMemory, FreshObject) {
  SignData message;
  EXPECT_EQ(Write(message), Message(Cat({Version(1), Hex("31 00"), Encap({}), Hex("31 00")})));
}

TEST(SignDataWriteMemory, EveryPartInOrder) {
  SignData message;
  message.version = 3;
  message.digestAlgorithms.emplace_back();
  message.digestAlgorithms.back().ReadData(Sha1NoParams().data(), static_cast<DWORD>(Sha1NoParams().size()),
                                           nullptr);
  message.encapContentInfo.data = Obj(Text("content"));
  message.certificates = {Obj(FakeCertificate(2)), Obj(FakeCertificate(1))};
  message.crls = {Obj(FakeCertificate(9))};
  message.signerInfos = {Obj(FakeSigner(0xB)), Obj(FakeSigner(0xA))};  // B before A stays so
  const Bytes expected = Message(Cat({
      Version(3),
      Tlv(0x31, Hex("30 09 06 05 2B 0E 03 02 1A 05 00")),  // absent parameters come back as NULL
      Encap(Tlv(0xA0, Tlv(0x04, Text("content")))),
      Tlv(0xA0, Cat({FakeCertificate(2), FakeCertificate(1)})),
      Tlv(0xA1, FakeCertificate(9)),
      Tlv(0x31, Cat({FakeSigner(0xB), FakeSigner(0xA)})),
  }));
  EXPECT_EQ(Write(message), expected);
}

TEST(SignDataWriteMemory, DerRoundTrip) {
  MessageParts parts;
  parts.crls = Tlv(0xA1, FakeCertificate(5));
  parts.version = Version(3);
  const Bytes input = parts.Build();
  SignData message;
  ASSERT_TRUE(message.ReadObject(input.data(), static_cast<DWORD>(input.size()), nullptr));
  EXPECT_EQ(Write(message), input);
}

TEST(SignDataWriteMemory, StreamedInputComesBackAsDer) {
  const Bytes streamed = StreamedMessage({Text("abc"), Text("def")}, Tlv(0x31, FakeSigner(1)));
  SignData message;
  ASSERT_TRUE(message.ReadObject(streamed.data(), static_cast<DWORD>(streamed.size()), nullptr));
  const Bytes expected =
      Message(Cat({Version(1), Tlv(0x31, Sha256()), Encap(Tlv(0xA0, Tlv(0x04, Text("abcdef")))),
                   Tlv(0xA0, FakeCertificate(3)), Tlv(0x31, FakeSigner(1))}));
  EXPECT_EQ(Write(message), expected);
}

TEST(SignDataWriteMemory, FileContent) {
  TempDir dir;
  const std::string path = dir.Path("content.bin");
  WriteBytes(path, Text("0123456789"));
  const std::string empty = dir.Path("empty.bin");
  WriteBytes(empty, {});
  struct Case {
    const char* name;
    ToSignStruct content;
    Bytes octets;
  };
  const Case cases[] = {
      {"range", FileContent(path, 2, 5), Text("234")},
      {"to the end", FileContent(path, 0, ToSignStruct::kToEndOfFile), Text("0123456789")},
      {"empty range", FileContent(path, 4, 4), {}},
      {"empty file", FileContent(empty, 0, ToSignStruct::kToEndOfFile), {}},
  };
  for (const Case& c : cases) {
    SignData message;
    ASSERT_TRUE(message.AttachData(c.content, nullptr)) << c.name;
    // File content is always written, even empty; memory content of zero
    // length means a detached signature.
    EXPECT_EQ(Write(message),
              Message(Cat({Version(1), Hex("31 00"), Encap(Tlv(0xA0, Tlv(0x04, c.octets))), Hex("31 00")})))
        << c.name;
  }
  SignData whole;
  ASSERT_TRUE(whole.AttachData(FileContent(path, 0, ToSignStruct::kToEndOfFile), nullptr));
  Write(whole);
  EXPECT_EQ(whole.GetDataInfo().end, 10u);
}

TEST(SignDataWriteMemory, Failures) {
  TempDir dir;
  const std::string path = dir.Path("content.bin");
  WriteBytes(path, Text("0123456789"));
  struct Case {
    const char* name;
    ToSignStruct content;
    int status;
  };
  const Case cases[] = {
      {"range past the end", FileContent(path, 8, 11), kStatusTruncated},
      {"start past the end", FileContent(path, 12, 13), kStatusTruncated},
      {"reversed range", FileContent(path, 5, 4), kStatusTruncated},
  };
  for (const Case& c : cases) {
    SignData message;
    message.dataInfo = c.content;
    int error = -1;
    EXPECT_TRUE(message.WriteObject(&error).IsEmpty()) << c.name;
    EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(c.status)) << c.name;
    // Without an error pointer the status leaves as the exception it is.
    try {
      message.WriteObject(nullptr);
      ADD_FAILURE() << c.name;
    } catch (const XTOOStatus& e) {
      EXPECT_EQ(e.GetStatus(), c.status) << c.name;
    }
  }
  SignData removed;
  ASSERT_TRUE(removed.AttachData(FileContent(path, 0, 3), nullptr));
  std::filesystem::remove(path);
  int error = -1;
  EXPECT_TRUE(removed.WriteObject(&error).IsEmpty());
  EXPECT_EQ(error, 2);  // status 4

  SignData badOid;
  badOid.contentType = Dotted("not.an.oid");
  EXPECT_TRUE(badOid.WriteObject(&error).IsEmpty());
  EXPECT_NE(error, 0);
}

}  // namespace
}  // namespace cmskit::signtest
