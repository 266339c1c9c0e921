// SignData::ReadObject from memory: the layout it accepts, and which code
// each failing step leaves in the last error and in *pError.
#include <gtest/gtest.h>

#include "signed/sign_data_fixtures.h"

namespace cmskit::signtest {
namespace {

constexpr DWORD kBadTag = 0x8009310B;
constexpr DWORD kCorrupt = 0x80093103;
constexpr DWORD kBadVersion = 0x80340004;

struct Outcome {
  bool ok;
  DWORD lastError;
  int reported;
};

Outcome Read(SignData& message, const Bytes& bytes) {
  SetLastError(0x1234);
  int reported = -1;
  const bool ok = message.ReadObject(bytes.data(), static_cast<DWORD>(bytes.size()), &reported);
  return Outcome{ok, GetLastError(), reported};
}

TEST(SignDataReadMemory, ReadsEveryPart) {
  MessageParts parts;
  parts.crls = Tlv(0xA1, Cat({FakeCertificate(5), FakeCertificate(6)}));
  SignData message;
  const Outcome outcome = Read(message, parts.Build());
  ASSERT_TRUE(outcome.ok);
  EXPECT_EQ(outcome.lastError, 0x1234u);  // success leaves the last error alone
  EXPECT_EQ(outcome.reported, 0);
  EXPECT_EQ(message.version, 1u);
  ASSERT_EQ(message.digestAlgorithms.size(), 1u);
  EXPECT_TRUE(message.encapContentInfo.id == Dotted("1.2.840.113549.1.7.1"));
  EXPECT_EQ(Of(message.encapContentInfo.data), Text("hello, signed world"));
  ASSERT_EQ(message.certificates.size(), 2u);
  EXPECT_EQ(Of(message.certificates.front()), FakeCertificate(1));
  ASSERT_EQ(message.crls.size(), 2u);
  EXPECT_EQ(Of(message.crls.back()), FakeCertificate(6));
  ASSERT_EQ(message.signerInfos.size(), 2u);
  EXPECT_EQ(Of(message.signerInfos.back()), FakeSigner(8));
}

TEST(SignDataReadMemory, AcceptedVariants) {
  struct Case {
    const char* name;
    MessageParts parts;
  };
  std::vector<Case> cases(6);
  cases[0].name = "wrapper [2]";
  cases[0].parts.wrapperTag = 0xA2;
  cases[1].name = "version 3";
  cases[1].parts.version = Version(3);
  cases[2].name = "bare OCTET STRING content";
  cases[2].parts.encap = Tlv(0x30, Cat({OidData(), Tlv(0x04, Text("hello, signed world"))}));
  cases[3].name = "no certificates or CRLs";
  cases[3].parts.certificates.clear();
  cases[4].name = "indefinite sets";
  cases[4].parts.certificates = Indef(0xA0, Cat({FakeCertificate(1), FakeCertificate(2)}));
  cases[4].parts.signers = Indef(0x31, Cat({FakeSigner(7), FakeSigner(8)}));
  cases[5].name = "segmented content";
  cases[5].parts.encap = Tlv(
      0x30,
      Cat({OidData(),
           Indef(0xA0, Indef(0x24, Cat({Tlv(0x04, Text("hello, ")), Tlv(0x04, Text("signed world"))})))}));
  for (const Case& c : cases) {
    SignData message;
    const Outcome outcome = Read(message, c.parts.Build());
    ASSERT_TRUE(outcome.ok) << c.name << " " << std::hex << outcome.lastError;
    EXPECT_EQ(Of(message.encapContentInfo.data), Text("hello, signed world")) << c.name;
    EXPECT_EQ(message.signerInfos.size(), 2u) << c.name;
  }
}

TEST(SignDataReadMemory, IndefiniteOuterLengths) {
  const Bytes message = StreamedMessage({Text("abc"), Text("def")}, Tlv(0x31, FakeSigner(1)));
  SignData read;
  ASSERT_TRUE(Read(read, message).ok);
  EXPECT_EQ(Of(read.encapContentInfo.data), Text("abcdef"));
  EXPECT_EQ(read.certificates.size(), 1u);
  EXPECT_EQ(read.signerInfos.size(), 1u);
}

TEST(SignDataReadMemory, DetachedContentLeavesDataAlone) {
  MessageParts parts;
  parts.encap = Tlv(0x30, OidData());
  SignData fresh;
  ASSERT_TRUE(Read(fresh, parts.Build()).ok);
  EXPECT_TRUE(fresh.encapContentInfo.data.IsEmpty());

  // Reuse keeps what the second message does not have: the reader's behaviour.
  SignData reused;
  ASSERT_TRUE(Read(reused, MessageParts().Build()).ok);
  parts.certificates.clear();
  ASSERT_TRUE(Read(reused, parts.Build()).ok);
  EXPECT_EQ(Of(reused.encapContentInfo.data), Text("hello, signed world"));
  EXPECT_EQ(reused.certificates.size(), 2u);
}

TEST(SignDataReadMemory, EmptyElementEndsCertificateSet) {
  MessageParts parts;
  parts.certificates = Tlv(0xA0, Cat({FakeCertificate(1), Hex("30 00"), FakeCertificate(2)}));
  SignData message;
  ASSERT_TRUE(Read(message, parts.Build()).ok);
  ASSERT_EQ(message.certificates.size(), 1u);
  EXPECT_EQ(Of(message.certificates.front()), FakeCertificate(1));
}

// Direct checks leave *pError at 0; failing helpers report their code in both
// places; decoder failures report the raw status in *pError.
TEST(SignDataReadMemory, FailureCodes) {
  struct Case {
    const char* name;
    Bytes bytes;
    DWORD lastError;
    int reported;
  };
  auto with = [](auto change) {
    MessageParts parts;
    change(parts);
    return parts.Build();
  };
  const Bytes good = MessageParts().Build();
  const std::vector<Case> cases = {
      {"third element",
       Tlv(0x30, Cat({OidSignedData(), Tlv(0xA0, MessageParts().SignedData()), Hex("05 00")})), kCorrupt, 0},
      {"alias content type", with([](MessageParts& p) { p.contentType = OidSignedAlias(); }), kCorrupt, 0},
      {"content type not an OID", with([](MessageParts& p) { p.contentType = Hex("04 01 00"); }), kBadTag, 0},
      {"universal wrapper", with([](MessageParts& p) { p.wrapperTag = 0x30; }), kCorrupt, 0},
      {"version 2", with([](MessageParts& p) { p.version = Version(2); }), kBadVersion, 0},
      {"version 4", with([](MessageParts& p) { p.version = Version(4); }), kBadVersion, 0},
      {"version 5", with([](MessageParts& p) { p.version = Version(5); }), kBadVersion, 0},
      {"version of 5 octets", with([](MessageParts& p) { p.version = Hex("02 03 00 00 01"); }), kCorrupt, 0},
      {"version not an INTEGER", with([](MessageParts& p) { p.version = Hex("04 01 01"); }), kBadTag, 0},
      {"no signerInfos",
       Tlv(0x30, Cat({OidSignedData(),
                      Tlv(0xA0, Tlv(0x30, Cat({Version(1), Tlv(0x31, {}), Tlv(0x30, OidData())})))})),
       kCorrupt, 0},
      {"algorithm not a SEQUENCE",
       with([](MessageParts& p) { p.algorithms = Tlv(0x31, Hex("31 03 06 01 00")); }), kCorrupt,
       static_cast<int>(kCorrupt)},
      {"empty encapContentInfo", with([](MessageParts& p) { p.encap = Hex("30 00"); }), kCorrupt,
       static_cast<int>(kCorrupt)},
      {"eContentType not an OID", with([](MessageParts& p) { p.encap = Tlv(0x30, Hex("04 01 00")); }),
       kBadTag, static_cast<int>(kBadTag)},
      {"[0] without OCTET STRING", with([](MessageParts& p) {
         p.encap = Tlv(0x30, Cat({OidData(), Tlv(0xA0, Hex("0C 01 41"))}));
       }),
       kBadTag, static_cast<int>(kBadTag)},
      {"certificates overrun their set",
       with([](MessageParts& p) { p.certificates = Hex("A0 03 30 05 00"); }), kCorrupt,
       static_cast<int>(kCorrupt)},
      {"truncated message", Bytes(good.begin(), good.end() - 1), kCorrupt, kStatusCorrupt},
      {"primitive outer element", Hex("04 02 00 00"), kBadTag, kStatusBadTag},
      {"empty input", Bytes(), kCorrupt, kStatusCorrupt},
  };
  for (const Case& c : cases) {
    SignData message;
    const Outcome outcome = Read(message, c.bytes);
    EXPECT_FALSE(outcome.ok) << c.name;
    EXPECT_EQ(outcome.lastError, c.lastError) << c.name << " " << std::hex << outcome.lastError;
    EXPECT_EQ(outcome.reported, c.reported) << c.name << " " << std::hex << outcome.reported;
  }
}

TEST(SignDataReadMemory, NullErrorPointer) {
  SignData message;
  SetLastError(0);
  const Bytes bytes = Hex("30 03 02 01");
  EXPECT_FALSE(message.ReadObject(bytes.data(), static_cast<DWORD>(bytes.size()), nullptr));
  EXPECT_EQ(GetLastError(), kCorrupt);
}

// Every prefix of a valid message and every single-octet corruption is read
// without crossing the buffer (checked by the sanitizer build) and refused
// or accepted cleanly.
TEST(SignDataReadMemory, HostileMutations) {
  MessageParts parts;
  parts.crls = Tlv(0xA1, FakeCertificate(5));
  const Bytes good = parts.Build();
  for (size_t cut = 0; cut < good.size(); ++cut) {
    const Bytes prefix(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(cut));
    SignData message;
    EXPECT_FALSE(
        message.ReadObject(prefix.empty() ? nullptr : prefix.data(), static_cast<DWORD>(cut), nullptr))
        << cut;
  }
  for (size_t at = 0; at < good.size(); ++at) {
    for (BYTE value : {BYTE{0x00}, BYTE{0x80}, BYTE{0xFF}, BYTE{0x84}}) {
      Bytes bad = good;
      bad[at] = value;
      SignData message;
      message.ReadObject(bad.data(), static_cast<DWORD>(bad.size()), nullptr);
    }
  }
}

TEST(SignDataReadMemory, PrivateHelpers) {
  SignData message;
  EXPECT_EQ(SignDataTestPeer::AlgList(message, Obj(Tlv(0x31, {}))), 0);
  EXPECT_TRUE(message.digestAlgorithms.empty());
  EXPECT_EQ(SignDataTestPeer::AlgList(message, Obj(Tlv(0x31, Cat({Sha256(), Sha1NoParams()})))), 0);
  EXPECT_EQ(message.digestAlgorithms.size(), 2u);

  // The last content child wins.
  const Bytes encap =
      Tlv(0x30, Cat({OidData(), Tlv(0x04, Text("first")), Tlv(0xA0, Tlv(0x04, Text("second")))}));
  EXPECT_EQ(SignDataTestPeer::Encaps(message, Obj(encap)), 0);
  EXPECT_EQ(Of(message.encapContentInfo.data), Text("second"));

  message.certificates.push_back(Obj(Text("stale")));
  EXPECT_EQ(SignDataTestPeer::Certificates(message, Obj(Tlv(0xA1, FakeCertificate(1)))),
            static_cast<int>(kBadTag));
  EXPECT_TRUE(message.certificates.empty());
  EXPECT_EQ(SignDataTestPeer::Crls(message, Obj(Tlv(0xA1, FakeCertificate(1)))), 0);
  EXPECT_EQ(message.crls.size(), 1u);
  EXPECT_EQ(SignDataTestPeer::Crls(message, Obj(Hex("A1"))), static_cast<int>(kCorrupt));
  EXPECT_TRUE(message.crls.empty());
}

}  // namespace
}  // namespace cmskit::signtest
