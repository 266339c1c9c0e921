// MessageSignerInfo: reading every field, the code of malformed fields, the
// signing time, writing back byte for byte, and the comparisons.
#include <gtest/gtest.h>

#include <sstream>

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

Bytes Signer(const std::string& sid) { return Octets("30{ " + sid + " $sha256 $rsa 04 01 55 }"); }

TEST(SignerInfoRead, DecodesEveryField) {
  const Bytes input = Octets(
      "30{ 02 01 01 30{ $issuer 02 02 01 00 } $sha256 A0{ $typeAttr $timeAttr $digestAttr } "
      "$rsa 04 04 01 02 03 04 A1{ $typeAttr } } FF FF");
  MessageSignerInfo info;
  SetLastError(99);
  int error = -1;
  EXPECT_EQ(Read(info, input, &error), input.size() - 2);  // stops at the element's end
  EXPECT_EQ(error, 0);
  EXPECT_EQ(GetLastError(), 99u);
  EXPECT_EQ(Of(info.issuer), Octets("$issuer"));
  EXPECT_EQ(Of(info.serialNumber), Hex("00 01"));  // 0x0100, least significant first
  EXPECT_TRUE(info.digestAlgorithm.id == CTOOString("2.16.840.1.101.3.4.2.1"));
  EXPECT_TRUE(info.signatureAlgorithm.id == CTOOString("1.2.840.113549.1.1.1"));
  EXPECT_EQ(Of(info.signature), Hex("04 03 02 01"));  // reversed in memory only
  EXPECT_EQ(info.signedAttrs.size(), 3u);
  EXPECT_EQ(info.unsignedAttrs.tag, 1u);
  for (const char* sid : {"$keyId", "02 01 03 A0 06 04 04 DE AD BE EF"}) {
    const MessageSignerInfo byKey = ReadInfo(Signer(sid));
    EXPECT_EQ(Of(byKey.subjectKeyIdentifier), Hex("DE AD BE EF"));
    EXPECT_TRUE(byKey.issuer.IsEmpty());
  }
  EXPECT_EQ(ReadInfo(Signer("02 04 01 02 03 04 $sid")).version, 0x01020304u);  // taken as it is
  ReadInfo(Octets("30{ 02 01 01 $sid $sha256 $rsa 04 01 01 05 00 }"));         // trailing child ignored
  for (const Row& row : Cases().Rows("signerFaults")) {
    SCOPED_TRACE(row.where);
    ExpectFails(
        [&](int* e) {
          MessageSignerInfo refused;
          return Read(refused, Octets(row[1]), e);
        },
        Code(row[0]));
  }
}

TEST(SignerInfoRead, SigningTime) {
  for (const Row& row : Cases().Rows("signingTime")) {
    SCOPED_TRACE(row.where);
    MessageSignerInfo info = ReadInfo(Octets("30{ 02 01 01 $sid $sha256 " + row[2] + " $rsa 04 01 01 }"));
    std::istringstream time(row[1]);
    int year = 0;
    unsigned month = 0, day = 0, hour = 0, minute = 0, second = 0;
    time >> year >> month >> day >> hour >> minute >> second;
    SetLastError(0);
    int error = -1;
    EXPECT_EQ(Ticks(info.GetSigningData(&error)), year ? Ticks(year, month, day, hour, minute, second) : 0);
    EXPECT_EQ(static_cast<DWORD>(error), Code(row[0]));
    EXPECT_EQ(GetLastError(), Code(row[0]));
  }
}

TEST(SignerInfoWrite, ByteForByte) {
  for (const Row& row : Cases().Rows("signerWrite"))
    EXPECT_EQ(Write(ReadInfo(Octets(row[1]))), Octets(row[row[0].empty() ? 1 : 0])) << row.where;
  MessageSignerInfo built;
  built.issuer = Obj(Octets("$issuer"));
  built.serialNumber = Obj(Hex("80 00"));  // 0x0080 needs a leading zero octet
  built.digestAlgorithm.id = "2.16.840.1.101.3.4.2.1";
  built.signatureAlgorithm.id = "1.2.840.113549.1.1.1";
  built.signature = Obj(Hex("02 01"));
  EXPECT_EQ(Write(built), Octets("30{ 02 01 01 30{ $issuer 02 02 00 80 } $sha256 $rsa 04 02 01 02 }"));
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
