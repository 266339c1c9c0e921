// MessageSignerInfo: reading every field, the code of malformed fields, the
// signing time, writing back byte for byte, and the comparisons.
#include <gtest/gtest.h>

#include "signed/signed_fixtures.h"

namespace cmskit::signtest {
namespace {

MessageSignerInfo ReadInfo(const Bytes& input) {
  MessageSignerInfo info;
  int error = -1;
  EXPECT_EQ(Read(info, input, &error), input.size());
  EXPECT_EQ(error, 0);
  return info;
}

const Bytes kSig = Hex("04 01 01"), kKeyId = Hex("02 01 03 80 04 DE AD BE EF");
Bytes Signer(const Bytes& sid) { return El(0x30, sid, Sha256(), Rsa(), Hex("04 01 55")); }
Bytes WithAttrs(const Bytes& signedAttrs) {
  return El(0x30, Version(1), Sid(), Sha256(), signedAttrs, Rsa(), kSig);
}

TEST(SignerInfoRead, DecodesEveryField) {
  const Bytes input = Cat({SampleSignerInfo(El(0xA1, ContentTypeAttr())), Hex("FF FF")});
  MessageSignerInfo info;
  SetLastError(99);
  int error = -1;
  EXPECT_EQ(Read(info, input, &error), input.size() - 2);  // stops at the element's end
  EXPECT_EQ(error, 0);
  EXPECT_EQ(GetLastError(), 99u);
  EXPECT_EQ(Of(info.issuer), IssuerName());
  EXPECT_EQ(Of(info.serialNumber), Hex("00 01"));  // 0x0100, least significant first
  EXPECT_TRUE(info.digestAlgorithm.id == CTOOString("2.16.840.1.101.3.4.2.1"));
  EXPECT_TRUE(info.signatureAlgorithm.id == CTOOString("1.2.840.113549.1.1.1"));
  EXPECT_EQ(Of(info.signature), Hex("04 03 02 01"));  // reversed in memory only
  EXPECT_EQ(info.signedAttrs.size(), 3u);
  EXPECT_EQ(info.unsignedAttrs.tag, 1u);
  for (const Bytes& sid : {kKeyId, Hex("02 01 03 A0 06 04 04 DE AD BE EF")}) {
    const MessageSignerInfo byKey = ReadInfo(Signer(sid));
    EXPECT_EQ(Of(byKey.subjectKeyIdentifier), Hex("DE AD BE EF"));
    EXPECT_TRUE(byKey.issuer.IsEmpty());
  }
  EXPECT_EQ(ReadInfo(Signer(Cat({Hex("02 04 01 02 03 04"), Sid()}))).version, 0x01020304u);  // taken as it is
  ReadInfo(El(0x30, Version(1), Sid(), Sha256(), Rsa(), Hex("04 01 01 05 00")));  // trailing child ignored
}

TEST(SignerInfoRead, FaultCodes) {
  const Bytes v1 = Version(1);
  const struct {
    Bytes input;
    DWORD code;
  } cases[] = {
      {Hex("30 00"), kCorrupt},
      {Hex("04 02 01 01"), kBadTag},
      {WithAttrs(El(0xA2, ContentTypeAttr())), kCorrupt},
      {El(0x30, v1, Sid(), Sha256(), Rsa(), Hex("04 00")), kCorrupt},
      {El(0x30, v1, Sid(), Sha256(), Rsa(), kSig, El(0xA2, ContentTypeAttr())), kBadTag},
      {Hex("30 84 FF FF FF FF 02 01 01"), kCorrupt},
      {Hex("30 89 01 01 01 01 01 01 01 01 01"), kCorrupt},
      {Hex("30 08 02 84 7F FF FF FF 01 01"), kCorrupt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    ExpectFails(
        [&](int* error) {
          MessageSignerInfo info;
          return Read(info, c.input, error);
        },
        c.code);
  }
}

TEST(SignerInfoRead, SigningTime) {
  auto time = [](const Bytes& value) { return El(0xA0, El(0x30, OidSigningTime(), El(0x31, value))); };
  const struct {
    Bytes signedAttrs;
    DWORD code;
    uint64_t ticks;
  } cases[] = {
      {El(0xA0, ContentTypeAttr(), SigningTimeAttr("250102030405Z")), 0, Ticks(2025, 1, 2, 3, 4, 5)},
      {time(Tlv(0x17, Text("4912312359Z"))), 0, Ticks(2049, 12, 31, 23, 59, 0)},
      {time(Tlv(0x17, Text("500101000000Z"))), 0, Ticks(1950, 1, 1, 0, 0, 0)},
      {time(Tlv(0x18, Text("20500101000000Z"))), 0, Ticks(2050, 1, 1, 0, 0, 0)},
      {El(0xA0, SigningTimeAttr("250102030405Z"), SigningTimeAttr("500101000000Z")), 0,
       Ticks(2025, 1, 2, 3, 4, 5)},
      {El(0xA0, ContentTypeAttr(), DigestAttr()), kNotFound, 0},
      {time(Hex("02 01 05")), kCorrupt, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    MessageSignerInfo info = ReadInfo(WithAttrs(c.signedAttrs));
    SetLastError(0);
    int error = -1;
    EXPECT_EQ(Ticks(info.GetSigningData(&error)), c.ticks);
    EXPECT_EQ(static_cast<DWORD>(error), c.code);
    EXPECT_EQ(GetLastError(), c.code);
  }
}

TEST(SignerInfoWrite, ByteForByte) {
  const struct {
    Bytes input, output;
  } cases[] = {
      // Long-form attribute lengths and signed attributes out of DER order stay as received.
      {SampleSignerInfo(El(0xA1, LongFormAttr())), SampleSignerInfo(El(0xA1, LongFormAttr()))},
      {WithAttrs(El(0xA0, DigestAttr(), ContentTypeAttr())),
       WithAttrs(El(0xA0, DigestAttr(), ContentTypeAttr()))},
      // Absent parameters come back as NULL; the version follows the sid.
      {El(0x30, Hex("02 01 03 80 01 07"), Hex("30 0B 06 09 60 86 48 01 65 03 04 02 01"), Rsa(),
          Hex("04 01 55")),
       Signer(Hex("02 01 03 80 01 07"))},
      {Signer(Hex("02 01 01 80 01 07")), Signer(Hex("02 01 03 80 01 07"))},
      {Signer(Cat({Version(3), Sid()})), Signer(Cat({Version(1), Sid()}))},
  };
  for (const auto& c : cases) EXPECT_EQ(Write(ReadInfo(c.input)), c.output);
  MessageSignerInfo built;
  built.issuer = Obj(IssuerName());
  built.serialNumber = Obj(Hex("80 00"));  // 0x0080 needs a leading zero octet
  built.digestAlgorithm.id = "2.16.840.1.101.3.4.2.1";
  built.signatureAlgorithm.id = "1.2.840.113549.1.1.1";
  built.signature = Obj(Hex("02 01"));
  EXPECT_EQ(Write(built), El(0x30, Version(1), El(0x30, IssuerName(), Hex("02 02 00 80")), Sha256(), Rsa(),
                             Hex("04 02 01 02")));
}

// Seven members of one octet each, so raising them all makes a greater object.
MessageSignerInfo Ordered(BYTE n) {
  MessageSignerInfo info;
  info.version = n;
  for (IdentObj* field :
       {&info.issuer, &info.serialNumber, &info.signature, &info.digestAlgorithm.id,
        &info.digestAlgorithm.data, &info.signatureAlgorithm.id, &info.signatureAlgorithm.data})
    *field = Obj(Bytes{n});
  return info;
}

TEST(SignerInfoOrder, Comparisons) {
  const MessageSignerInfo a = Ordered(1), b = Ordered(2);
  MessageSignerInfo same = Ordered(1), other = Ordered(1), mixed = Ordered(2), longer = Ordered(9);
  same.subjectKeyIdentifier = Obj(Hex("03"));  // equality ignores the other members
  other.signature.Clear();
  EXPECT_TRUE(a == same && !(a != same) && a != other && a < b && !(b < a));
  mixed.serialNumber = Obj(Bytes{1});  // one member not less: neither is less
  EXPECT_FALSE(a < mixed || mixed < a);
  EXPECT_TRUE(a > mixed && mixed > a);  // greater is the negation of less
  longer.version = 0x80000000u;         // lengths first, version unsigned
  longer.signature = Obj(Hex("00 00"));
  EXPECT_TRUE(a < longer);

  WholeSignature x, y;
  x.info = a;
  y.info = b;
  x.encoded = Obj(Hex("01"));
  y.encoded = Obj(Hex("02"));
  EXPECT_TRUE(x < y && !(y < x) && y > x && !(x > y));
  WholeSignature copy = x;
  copy.encoded = Obj(Hex("01 00"));
  EXPECT_TRUE(x != copy && copy > x && !(x < copy) && x == x);
  x.info.uniqueID.SetData(Hex("0A 0B").data(), 2);
  x.info.uniqueID.cUnusedBits = 3;
  const CTOOCryptBitBlob id = x.GetSignerUniqueID();
  EXPECT_EQ(Of(id), Hex("0A 0B"));
  EXPECT_EQ(id.cUnusedBits, 3u);
  EXPECT_NE(id.data(), x.info.uniqueID.data());
}

}  // namespace
}  // namespace cmskit::signtest
