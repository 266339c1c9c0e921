// MessageSignerInfo::WriteData.
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "cmskit/cmskit.h"
#include "signed/signer_info_fixtures.h"

namespace cmskit::testing {
namespace {

MessageSignerInfo ReadInfo(const Bytes& input) {
  MessageSignerInfo info;
  int error = -1;
  EXPECT_EQ(info.ReadData(input.data(), static_cast<DWORD>(input.size()), &error), input.size());
  EXPECT_EQ(error, 0);
  return info;
}

Bytes Write(MessageSignerInfo& info) {
  int error = -1;
  const Bytes out = BytesOf(info.WriteData(&error));
  EXPECT_EQ(error, 0);
  return out;
}

TEST(SignerInfoWrite, RoundTripsByteForByte) {
  const Bytes unsignedAttrs =
      Tlv(0xA1, {Hex("30 81 19 06 09 2A 86 48 86 F7 0D 01 09 03 31 81 0B 06 09 2A 86 48 86 F7 0D 01 07 01")});
  const Bytes inputs[] = {
      SampleSignerInfo(),
      SampleSignerInfo(unsignedAttrs),
      Tlv(0x30, {Hex("02 01 03 80 04 DE AD BE EF"), Sha256WithNull(), RsaWithNull(), Hex("04 01 55")}),
      // Signed attributes not in DER order: they stay as received.
      Tlv(0x30, {Hex("02 01 01"), Tlv(0x30, {IssuerName(), Hex("02 01 FF")}), Sha256WithNull(),
                 Tlv(0xA0, {DigestAttr(), ContentTypeAttr()}), RsaWithNull(), Hex("04 03 0A 0B 0C")}),
  };
  for (const Bytes& input : inputs) {
    MessageSignerInfo info = ReadInfo(input);
    EXPECT_EQ(Write(info), input);
  }
}

TEST(SignerInfoWrite, AbsentParametersComeBackAsNull) {
  const Bytes input = Tlv(0x30, {Hex("02 01 03 80 01 07"), Hex("30 0B 06 09 60 86 48 01 65 03 04 02 01"),
                                 RsaWithNull(), Hex("04 01 55")});
  MessageSignerInfo info = ReadInfo(input);
  EXPECT_EQ(Write(info),
            Tlv(0x30, {Hex("02 01 03 80 01 07"), Sha256WithNull(), RsaWithNull(), Hex("04 01 55")}));
}

TEST(SignerInfoWrite, VersionFollowsTheSid) {
  // Read as version 1 with a key identifier: written as version 3.
  MessageSignerInfo byKey =
      ReadInfo(Tlv(0x30, {Hex("02 01 01 80 01 07"), Sha256WithNull(), RsaWithNull(), Hex("04 01 55")}));
  EXPECT_EQ(Write(byKey),
            Tlv(0x30, {Hex("02 01 03 80 01 07"), Sha256WithNull(), RsaWithNull(), Hex("04 01 55")}));
  EXPECT_EQ(byKey.version, 3u);

  // Read as version 3 with issuer and serial number: written as version 1.
  const Bytes sid = Tlv(0x30, {IssuerName(), Hex("02 01 01")});
  MessageSignerInfo byIssuer =
      ReadInfo(Tlv(0x30, {Hex("02 01 03"), sid, Sha256WithNull(), RsaWithNull(), Hex("04 01 55")}));
  EXPECT_EQ(Write(byIssuer),
            Tlv(0x30, {Hex("02 01 01"), sid, Sha256WithNull(), RsaWithNull(), Hex("04 01 55")}));
  EXPECT_EQ(byIssuer.version, 1u);
}

TEST(SignerInfoWrite, SignatureIsReversedInMemoryOnly) {
  MessageSignerInfo info = ReadInfo(SampleSignerInfo());
  EXPECT_EQ(BytesOf(info.signature), Hex("04 03 02 01"));
  info.signature = Ident(Hex("01 02 03 04 05"));
  const Bytes out = Write(info);
  const Bytes wire = Hex("04 05 05 04 03 02 01");
  EXPECT_NE(std::search(out.begin(), out.end(), wire.begin(), wire.end()), out.end());
}

TEST(SignerInfoWrite, BuildsFromFieldsWithMinimalIntegers) {
  MessageSignerInfo info;
  info.issuer = Ident(IssuerName());
  info.serialNumber = Ident(Hex("80 00"));  // 0x0080: needs a leading zero octet
  info.digestAlgorithm.id = "2.16.840.1.101.3.4.2.1";
  info.signatureAlgorithm.id = "1.2.840.113549.1.1.1";
  info.signature = Ident(Hex("02 01"));
  EXPECT_EQ(Write(info), Tlv(0x30, {Hex("02 01 01"), Tlv(0x30, {IssuerName(), Hex("02 02 00 80")}),
                                    Sha256WithNull(), RsaWithNull(), Hex("04 02 01 02")}));
}

TEST(SignerInfoWrite, AttributeListsGetTheirImplicitTags) {
  MessageSignerInfo info = ReadInfo(SampleSignerInfo(Tlv(0xA1, {ContentTypeAttr()})));
  // Whatever tags the lists carry, they are written as [0] and [1].
  std::swap(info.signedAttrs, info.unsignedAttrs);
  info.signedAttrs.universalClass = true;
  const Bytes out = Write(info);
  MessageSignerInfo again = ReadInfo(out);
  EXPECT_EQ(again.signedAttrs.size(), 1u);
  EXPECT_EQ(again.unsignedAttrs.size(), 3u);
  EXPECT_EQ(info.signedAttrs.tag, 0u);
  EXPECT_FALSE(info.signedAttrs.universalClass);
  EXPECT_EQ(info.unsignedAttrs.tag, 1u);
}

TEST(SignerInfoWrite, EmptyIssuerIsWrittenAsItStands) {
  MessageSignerInfo info;
  info.serialNumber = Ident(Hex("01"));
  info.digestAlgorithm.id = "2.16.840.1.101.3.4.2.1";
  info.signatureAlgorithm.id = "1.2.840.113549.1.1.1";
  info.signature = Ident(Hex("01"));
  EXPECT_EQ(Write(info), Tlv(0x30, {Hex("02 01 01"), Hex("30 03 02 01 01"), Sha256WithNull(), RsaWithNull(),
                                    Hex("04 01 01")}));
}

}  // namespace
}  // namespace cmskit::testing
