// Comparisons of MessageSignerInfo and WholeSignature.
#include <gtest/gtest.h>

#include "cmskit/cmskit.h"
#include "signed/signer_info_fixtures.h"

namespace cmskit::testing {
namespace {

// Six members all made of one octet value, so that raising every member of
// one object makes it greater member by member.
MessageSignerInfo Signer(uint8_t n) {
  MessageSignerInfo info;
  info.version = n;
  info.issuer = Ident(Bytes{n});
  info.serialNumber = Ident(Bytes{n});
  info.digestAlgorithm.id = Ident(Bytes{n});
  info.digestAlgorithm.data = Ident(Bytes{n});
  info.signatureAlgorithm.id = Ident(Bytes{n});
  info.signatureAlgorithm.data = Ident(Bytes{n});
  info.signature = Ident(Bytes{n});
  return info;
}

TEST(SignerInfoOrder, EqualityOverTheSixMembersOnly) {
  MessageSignerInfo a = Signer(1), b = Signer(1);
  b.uniqueID.SetData(Hex("01 02").data(), 2);
  b.subjectKeyIdentifier = Ident(Hex("03"));
  b.signedAttrs.push_back(OneAttributesSet());
  b.unsignedAttrs.tag = 5;
  EXPECT_TRUE(a == b);
  EXPECT_FALSE(a != b);

  MessageSignerInfo c = Signer(1);
  c.signature = Ident(Hex("02"));
  EXPECT_FALSE(a == c);
  EXPECT_TRUE(a != c);
  MessageSignerInfo d = Signer(1);
  d.digestAlgorithm.data.Clear();
  EXPECT_TRUE(a != d);
  MessageSignerInfo e = Signer(1);
  e.version = 3;
  EXPECT_TRUE(a != e);
}

TEST(SignerInfoOrder, LessNeedsEveryMemberLess) {
  const MessageSignerInfo a = Signer(1), b = Signer(2);
  EXPECT_TRUE(a < b);
  EXPECT_FALSE(b < a);

  // One member not less is enough to make `<` false in both directions.
  MessageSignerInfo mixed = Signer(2);
  mixed.serialNumber = Ident(Bytes{1});
  EXPECT_FALSE(a < mixed);
  EXPECT_FALSE(mixed < a);
  MessageSignerInfo paramsEqual = Signer(2);
  paramsEqual.signatureAlgorithm.data = Ident(Bytes{1});
  EXPECT_FALSE(a < paramsEqual);
}

TEST(SignerInfoOrder, LessOrdersIdentObjByLengthFirst) {
  MessageSignerInfo shorter = Signer(9), longer = Signer(9);
  longer.version = 10;
  for (IdentObj* field :
       {&longer.issuer, &longer.serialNumber, &longer.signature, &longer.digestAlgorithm.id,
        &longer.digestAlgorithm.data, &longer.signatureAlgorithm.id, &longer.signatureAlgorithm.data}) {
    *field = Ident(Hex("00 00"));
  }
  EXPECT_TRUE(shorter < longer);
}

TEST(SignerInfoOrder, VersionComparesUnsigned) {
  MessageSignerInfo low = Signer(1), high = Signer(2);
  high.version = 0x80000000u;
  EXPECT_TRUE(low < high);
}

TEST(SignerInfoOrder, GreaterIsTheNegationOfLess) {
  const MessageSignerInfo a = Signer(1), b = Signer(2);
  EXPECT_TRUE(a > a);
  EXPECT_FALSE(a < a);
  EXPECT_TRUE(b > a);
  EXPECT_FALSE(a > b);
  MessageSignerInfo mixed = Signer(2);
  mixed.issuer = Ident(Bytes{1});
  EXPECT_TRUE(a > mixed);
  EXPECT_TRUE(mixed > a);
  EXPECT_TRUE(MessageSignerInfo() > MessageSignerInfo());
}

TEST(SignerInfoOrder, WholeSignatureComparesBothParts) {
  WholeSignature a, b;
  a.info = Signer(1);
  b.info = Signer(2);
  a.encoded = Ident(Hex("01"));
  b.encoded = Ident(Hex("02"));
  EXPECT_TRUE(a < b);
  EXPECT_FALSE(b < a);
  EXPECT_TRUE(b > a);
  EXPECT_FALSE(a > b);  // a.info < b.info, so info > is false

  WholeSignature same = a;
  EXPECT_TRUE(a == same);
  EXPECT_FALSE(a != same);
  EXPECT_FALSE(a > same);  // encoded equal: not greater
  same.encoded = Ident(Hex("01 00"));
  EXPECT_TRUE(a != same);
  EXPECT_TRUE(same > a);   // info > on equal infos is true, and longer encoded is greater
  EXPECT_FALSE(a < same);  // infos equal: not less

  WholeSignature empty;
  EXPECT_FALSE(empty > empty);  // an empty encoded is never greater
  EXPECT_TRUE(empty == WholeSignature());
}

TEST(SignerInfoOrder, GetSignerUniqueIDCopiesTheBlob) {
  WholeSignature whole;
  whole.info.uniqueID.SetData(Hex("0A 0B").data(), 2);
  whole.info.uniqueID.cUnusedBits = 3;
  const CTOOCryptBitBlob id = whole.GetSignerUniqueID();
  EXPECT_EQ(BytesOf(id), Hex("0A 0B"));
  EXPECT_EQ(id.cUnusedBits, 3u);
  EXPECT_NE(id.data(), whole.info.uniqueID.data());
}

}  // namespace
}  // namespace cmskit::testing
