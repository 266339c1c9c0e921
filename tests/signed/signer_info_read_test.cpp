// MessageSignerInfo::ReadData and GetSigningData.
#include <gtest/gtest.h>

#include <string>

#include "cmskit/cmskit.h"
#include "signed/signer_info_fixtures.h"

namespace cmskit::testing {
namespace {

constexpr DWORD kCorrupt = 0x80093103;
constexpr DWORD kBadTag = 0x8009310B;
constexpr DWORD kNotFound = 1168;

DWORD Read(MessageSignerInfo& info, const Bytes& input, int* error) {
  return info.ReadData(input.data(), static_cast<DWORD>(input.size()), error);
}

TEST(SignerInfoRead, DecodesEveryField) {
  const Bytes input = SampleSignerInfo();
  MessageSignerInfo info;
  int error = -1;
  EXPECT_EQ(Read(info, input, &error), input.size());
  EXPECT_EQ(error, 0);
  EXPECT_EQ(info.version, 1u);
  EXPECT_EQ(BytesOf(info.issuer), IssuerName());
  EXPECT_EQ(BytesOf(info.serialNumber), Hex("00 01"));  // 0x0100, least significant first
  EXPECT_TRUE(info.subjectKeyIdentifier.IsEmpty());
  EXPECT_TRUE(info.digestAlgorithm.id == CTOOString("2.16.840.1.101.3.4.2.1"));
  EXPECT_TRUE(info.signatureAlgorithm.id == CTOOString("1.2.840.113549.1.1.1"));
  EXPECT_EQ(BytesOf(info.signature), Hex("04 03 02 01"));
  EXPECT_EQ(info.signedAttrs.size(), 3u);
  EXPECT_EQ(info.signedAttrs.tag, 0u);
  EXPECT_TRUE(info.unsignedAttrs.empty());
}

TEST(SignerInfoRead, ReadsUnsignedAttributesAndStopsAtTheElement) {
  const Bytes input = Cat({SampleSignerInfo(Tlv(0xA1, {ContentTypeAttr()})), Hex("FF FF")});
  MessageSignerInfo info;
  int error = -1;
  EXPECT_EQ(Read(info, input, &error), input.size() - 2);
  EXPECT_EQ(error, 0);
  ASSERT_EQ(info.unsignedAttrs.size(), 1u);
  EXPECT_EQ(info.unsignedAttrs.tag, 1u);
}

TEST(SignerInfoRead, KeyIdentifierSid) {
  const Bytes primitive =
      Tlv(0x30, {Hex("02 01 03 80 04 DE AD BE EF"), Sha256WithNull(), RsaWithNull(), Hex("04 01 55")});
  const Bytes constructed =
      Tlv(0x30, {Hex("02 01 03 A0 06 04 04 DE AD BE EF"), Sha256WithNull(), RsaWithNull(), Hex("04 01 55")});
  for (const Bytes& input : {primitive, constructed}) {
    MessageSignerInfo info;
    int error = -1;
    EXPECT_EQ(Read(info, input, &error), input.size());
    EXPECT_EQ(error, 0);
    EXPECT_EQ(info.version, 3u);
    EXPECT_EQ(BytesOf(info.subjectKeyIdentifier), Hex("DE AD BE EF"));
    EXPECT_TRUE(info.issuer.IsEmpty());
    EXPECT_TRUE(info.signedAttrs.empty());
    EXPECT_EQ(BytesOf(info.signature), Hex("55"));
  }
}

TEST(SignerInfoRead, VersionIsTakenAsItIs) {
  const Bytes input = Tlv(0x30, {Hex("02 04 01 02 03 04"), Tlv(0x30, {IssuerName(), Hex("02 01 01")}),
                                 Sha256WithNull(), RsaWithNull(), Hex("04 01 01")});
  MessageSignerInfo info;
  int error = -1;
  Read(info, input, &error);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(info.version, 0x01020304u);
}

TEST(SignerInfoRead, TrailingUniversalChildIsIgnored) {
  const Bytes input = Tlv(0x30, {Hex("02 01 01"), Tlv(0x30, {IssuerName(), Hex("02 01 01")}),
                                 Sha256WithNull(), RsaWithNull(), Hex("04 01 01 05 00")});
  MessageSignerInfo info;
  int error = -1;
  EXPECT_EQ(Read(info, input, &error), input.size());
  EXPECT_EQ(error, 0);
}

struct Fault {
  const char* name;
  Bytes input;
  DWORD code;
};

Bytes Sid() { return Tlv(0x30, {IssuerName(), Hex("02 01 01")}); }

class SignerInfoReadFault : public ::testing::TestWithParam<Fault> {};

TEST_P(SignerInfoReadFault, ReportsItsCodeBothWays) {
  MessageSignerInfo info;
  SetLastError(0);
  int error = 0;
  EXPECT_EQ(Read(info, GetParam().input, &error), 0u);
  EXPECT_EQ(static_cast<DWORD>(error), GetParam().code);
  EXPECT_EQ(GetLastError(), GetParam().code);

  SetLastError(0);
  EXPECT_EQ(Read(info, GetParam().input, nullptr), 0u);
  EXPECT_EQ(GetLastError(), GetParam().code);
}

const Bytes kV1 = Hex("02 01 01");
const Bytes kSig = Hex("04 01 01");

INSTANTIATE_TEST_SUITE_P(
    Table, SignerInfoReadFault,
    ::testing::Values(
        Fault{"NoChildren", Hex("30 00"), kCorrupt}, Fault{"PrimitiveOuter", Hex("04 02 01 01"), kBadTag},
        Fault{"Empty", Bytes{}, kCorrupt},
        Fault{"VersionNotInteger", Tlv(0x30, {Hex("04 01 01"), Sid()}), kBadTag},
        Fault{"VersionFiveOctets", Tlv(0x30, {Hex("02 05 01 02 03 04 05"), Sid()}), kCorrupt},
        Fault{"OnlyVersion", Tlv(0x30, {kV1}), kCorrupt},
        Fault{"SidIsSet", Tlv(0x30, {kV1, Tlv(0x31, {IssuerName(), Hex("02 01 01")})}), kCorrupt},
        Fault{"SidOfThree", Tlv(0x30, {kV1, Tlv(0x30, {IssuerName(), Hex("02 01 01 02 01 01")})}), kCorrupt},
        Fault{"SidOfOne", Tlv(0x30, {kV1, Tlv(0x30, {IssuerName()})}), kCorrupt},
        Fault{"NoDigestAlgorithm", Tlv(0x30, {kV1, Sid()}), kCorrupt},
        Fault{"DigestAlgorithmIsSet", Tlv(0x30, {kV1, Sid(), Hex("31 02 05 00"), RsaWithNull(), kSig}),
              kCorrupt},
        Fault{"NothingAfterDigest", Tlv(0x30, {kV1, Sid(), Sha256WithNull()}), kCorrupt},
        Fault{"SignedAttrsTagTwo",
              Tlv(0x30, {kV1, Sid(), Sha256WithNull(), Tlv(0xA2, {ContentTypeAttr()}), RsaWithNull(), kSig}),
              kCorrupt},
        Fault{"NothingAfterSignedAttrs",
              Tlv(0x30, {kV1, Sid(), Sha256WithNull(), Tlv(0xA0, {ContentTypeAttr()})}), kCorrupt},
        Fault{"BadSignedAttribute",
              Tlv(0x30,
                  {kV1, Sid(), Sha256WithNull(), Tlv(0xA0, {Tlv(0x31, {OidData()})}), RsaWithNull(), kSig}),
              kCorrupt},
        Fault{"NoSignature", Tlv(0x30, {kV1, Sid(), Sha256WithNull(), RsaWithNull()}), kCorrupt},
        Fault{"EmptySignature", Tlv(0x30, {kV1, Sid(), Sha256WithNull(), RsaWithNull(), Hex("04 00")}),
              kCorrupt},
        Fault{"UnsignedAttrsTagTwo",
              Tlv(0x30, {kV1, Sid(), Sha256WithNull(), RsaWithNull(), kSig, Tlv(0xA2, {ContentTypeAttr()})}),
              kBadTag},
        Fault{"UnsignedAttrsTagZero",
              Tlv(0x30, {kV1, Sid(), Sha256WithNull(), RsaWithNull(), kSig, Tlv(0xA0, {ContentTypeAttr()})}),
              kBadTag}),
    [](const ::testing::TestParamInfo<Fault>& info) { return info.param.name; });

TEST(SignerInfoRead, SuccessWithPErrorLeavesLastError) {
  const Bytes input = SampleSignerInfo();
  MessageSignerInfo info;
  SetLastError(99);
  int error = -1;
  Read(info, input, &error);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(GetLastError(), 99u);
}

TEST(SignerInfoRead, HostileInputFailsCleanly) {
  const Bytes input = SampleSignerInfo(Tlv(0xA1, {ContentTypeAttr()}));
  for (size_t cut = 0; cut < input.size(); ++cut) {
    const Bytes part(input.begin(), input.begin() + static_cast<std::ptrdiff_t>(cut));
    MessageSignerInfo info;
    int error = 0;
    EXPECT_EQ(Read(info, part, &error), 0u) << "cut at " << cut;
    EXPECT_NE(error, 0) << "cut at " << cut;
  }
  // Every single-octet corruption either reads or fails with a code.
  for (size_t at = 0; at < input.size(); ++at) {
    for (uint8_t flip : {0x01, 0x80, 0xFF}) {
      Bytes bad = input;
      bad[at] ^= flip;
      MessageSignerInfo info;
      int error = 0;
      const DWORD size = Read(info, bad, &error);
      EXPECT_TRUE((error == 0) == (size != 0)) << "octet " << at;
      EXPECT_LE(size, bad.size());
    }
  }
  for (const Bytes& huge : {Hex("30 84 FF FF FF FF 02 01 01"), Hex("30 80 02 01 01"),
                            Hex("30 89 01 01 01 01 01 01 01 01 01"), Hex("30 08 02 84 7F FF FF FF 01 01")}) {
    MessageSignerInfo info;
    int error = 0;
    EXPECT_EQ(Read(info, huge, &error), 0u);
    EXPECT_NE(error, 0);
  }
}

struct TimeCase {
  const char* name;
  Bytes value;
  FILETIME expected;
};

class SignerInfoSigningTime : public ::testing::TestWithParam<TimeCase> {};

TEST_P(SignerInfoSigningTime, DecodesTheFirstValue) {
  const Bytes attrs =
      Tlv(0xA0, {ContentTypeAttr(), Tlv(0x30, {OidSigningTime(), Tlv(0x31, {GetParam().value})})});
  const Bytes input = Tlv(0x30, {Hex("02 01 01"), Sid(), Sha256WithNull(), attrs, RsaWithNull(), kSig});
  MessageSignerInfo info;
  ASSERT_NE(Read(info, input, nullptr), 0u);
  int error = -1;
  const FILETIME time = info.GetSigningData(&error);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(time.dwLowDateTime, GetParam().expected.dwLowDateTime);
  EXPECT_EQ(time.dwHighDateTime, GetParam().expected.dwHighDateTime);
}

INSTANTIATE_TEST_SUITE_P(
    Table, SignerInfoSigningTime,
    ::testing::Values(
        TimeCase{"UtcTime", Tlv(0x17, {Text("250102030405Z")}), FileTimeOf(2025, 1, 2, 3, 4, 5)},
        TimeCase{"UtcTime2049", Tlv(0x17, {Text("4912312359Z")}), FileTimeOf(2049, 12, 31, 23, 59, 0)},
        TimeCase{"UtcTime1950", Tlv(0x17, {Text("500101000000Z")}), FileTimeOf(1950, 1, 1, 0, 0, 0)},
        TimeCase{"GeneralizedTime", Tlv(0x18, {Text("20500101000000Z")}), FileTimeOf(2050, 1, 1, 0, 0, 0)}),
    [](const ::testing::TestParamInfo<TimeCase>& info) { return info.param.name; });

struct TimeFault {
  const char* name;
  Bytes signedAttrs;
  DWORD code;
};

class SignerInfoSigningTimeFault : public ::testing::TestWithParam<TimeFault> {};

TEST_P(SignerInfoSigningTimeFault, GivesZeroAndItsCode) {
  const Bytes& attrs = GetParam().signedAttrs;
  const Bytes input = attrs.empty()
                          ? Tlv(0x30, {Hex("02 01 01"), Sid(), Sha256WithNull(), RsaWithNull(), kSig})
                          : Tlv(0x30, {Hex("02 01 01"), Sid(), Sha256WithNull(), attrs, RsaWithNull(), kSig});
  MessageSignerInfo info;
  ASSERT_NE(Read(info, input, nullptr), 0u);
  SetLastError(0);
  int error = 0;
  const FILETIME time = info.GetSigningData(&error);
  EXPECT_EQ(time.dwLowDateTime, 0u);
  EXPECT_EQ(time.dwHighDateTime, 0u);
  EXPECT_EQ(static_cast<DWORD>(error), GetParam().code);
  EXPECT_EQ(GetLastError(), GetParam().code);
}

INSTANTIATE_TEST_SUITE_P(
    Table, SignerInfoSigningTimeFault,
    ::testing::Values(
        TimeFault{"NoSignedAttrs", Bytes{}, kNotFound},
        TimeFault{"NoSigningTime", Tlv(0xA0, {ContentTypeAttr(), DigestAttr()}), kNotFound},
        TimeFault{"NoValue", Tlv(0xA0, {Tlv(0x30, {OidSigningTime(), Hex("31 00")})}), kCorrupt},
        TimeFault{"NotATime", Tlv(0xA0, {Tlv(0x30, {OidSigningTime(), Hex("31 03 02 01 05")})}), kCorrupt},
        TimeFault{"BadTimeText",
                  Tlv(0xA0, {Tlv(0x30, {OidSigningTime(), Tlv(0x31, {Tlv(0x17, {Text("25x102030405Z")})})})}),
                  kCorrupt},
        // Two values are kept as one SEQUENCE entry, which is no time.
        TimeFault{"SequenceOfTimes",
                  Tlv(0xA0, {Tlv(0x30, {OidSigningTime(),
                                        Tlv(0x31, {Tlv(0x30, {Tlv(0x17, {Text("250102030405Z")}),
                                                              Tlv(0x17, {Text("250102030405Z")})})})})}),
                  kCorrupt}),
    [](const ::testing::TestParamInfo<TimeFault>& info) { return info.param.name; });

TEST(SignerInfoSigningTime, FirstSigningTimeWins) {
  const Bytes attrs = Tlv(0xA0, {SigningTimeAttr("250102030405Z"), SigningTimeAttr("500101000000Z")});
  const Bytes input = Tlv(0x30, {Hex("02 01 01"), Sid(), Sha256WithNull(), attrs, RsaWithNull(), kSig});
  MessageSignerInfo info;
  ASSERT_NE(Read(info, input, nullptr), 0u);
  const FILETIME time = info.GetSigningData(nullptr);
  EXPECT_EQ(time.dwHighDateTime, FileTimeOf(2025, 1, 2, 3, 4, 5).dwHighDateTime);
}

}  // namespace
}  // namespace cmskit::testing
