// Attribute: one attrType with its attrValues kept whole.
#include <gtest/gtest.h>

#include "cmskit/cmskit.h"
#include "signed/signer_info_fixtures.h"

namespace cmskit::testing {
namespace {

constexpr int kCorrupt = static_cast<int>(0x80093103);

TEST(AttrAttribute, ReadsTypeAndWholeValues) {
  const Bytes input = ContentTypeAttr();
  Attribute attribute;
  int error = -1;
  EXPECT_EQ(attribute.ReadData(input.data(), static_cast<DWORD>(input.size()), &error), input.size());
  EXPECT_EQ(error, 0);
  EXPECT_STREQ(attribute.attrOID.c_str(), "1.2.840.113549.1.9.3");
  EXPECT_EQ(BytesOf(attribute.values), Tlv(0x31, {OidData()}));
}

TEST(AttrAttribute, CountStopsAtTheValuesElement) {
  // Bytes after the attribute are not part of it.
  const Bytes input = Cat({SigningTimeAttr("250102030405Z"), Hex("05 00 05 00")});
  Attribute attribute;
  int error = -1;
  EXPECT_EQ(attribute.ReadData(input.data(), static_cast<DWORD>(input.size()), &error), input.size() - 4);
  EXPECT_EQ(error, 0);
}

TEST(AttrAttribute, WritesValuesAsStored) {
  // The stored values are not re-checked or re-encoded, not even a BER length.
  const Bytes values = Hex("31 81 03 02 01 07");
  Attribute attribute(CTOOString("1.2.840.113549.1.9.3"), Ident(values));
  int error = -1;
  EXPECT_EQ(BytesOf(attribute.WriteData(&error)), Tlv(0x30, {OidContentType(), values}));
  EXPECT_EQ(error, 0);
}

TEST(AttrAttribute, RoundTripsReadBytes) {
  const Bytes input = DigestAttr();
  Attribute attribute;
  attribute.ReadData(input.data(), static_cast<DWORD>(input.size()), nullptr);
  EXPECT_EQ(BytesOf(attribute.WriteData(nullptr)), input);
}

struct BadAttribute {
  const char* name;
  Bytes input;
};

class AttrAttributeBad : public ::testing::TestWithParam<BadAttribute> {};

TEST_P(AttrAttributeBad, FailsWithCorruptCode) {
  const Bytes& input = GetParam().input;
  Attribute attribute;
  int error = 0;
  attribute.ReadData(input.data(), static_cast<DWORD>(input.size()), &error);
  EXPECT_EQ(error, kCorrupt);

  // Without pError: result 0 and the same code as last error.
  SetLastError(0);
  EXPECT_EQ(attribute.ReadData(input.data(), static_cast<DWORD>(input.size()), nullptr), 0u);
  EXPECT_EQ(GetLastError(), 0x80093103u);
}

INSTANTIATE_TEST_SUITE_P(
    Table, AttrAttributeBad,
    ::testing::Values(BadAttribute{"SetOutside", Tlv(0x31, {OidContentType(), Tlv(0x31, {OidData()})})},
                      BadAttribute{"IntegerType", Tlv(0x30, {Hex("02 01 01"), Tlv(0x31, {OidData()})})},
                      BadAttribute{"NoValues", Tlv(0x30, {OidContentType()})}, BadAttribute{"Empty", Bytes{}},
                      BadAttribute{"OneByte", Hex("30")}),
    [](const ::testing::TestParamInfo<BadAttribute>& info) { return info.param.name; });

TEST(AttrAttribute, ValuesLongerThanTheBufferAreTruncated) {
  const Bytes input = Cat({Hex("30 84 FF FF FF F0"), OidContentType(), Hex("31 84 FF FF FF F0 06 01 00")});
  Attribute attribute;
  int error = 0;
  attribute.ReadData(input.data(), static_cast<DWORD>(input.size()), &error);
  EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(kStatusTruncated));
}

TEST(AttrAttribute, PErrorKeepsLastErrorAndReportsCountSoFar) {
  const Bytes input = Tlv(0x30, {OidContentType()});
  Attribute attribute;
  SetLastError(1234);
  int error = 0;
  // The header and the type were consumed before the values were missed.
  EXPECT_EQ(attribute.ReadData(input.data(), static_cast<DWORD>(input.size()), &error), input.size());
  EXPECT_NE(error, 0);
  EXPECT_EQ(GetLastError(), 1234u);
}

TEST(AttrAttribute, EveryTruncationFailsInsideTheBuffer) {
  const Bytes input = SigningTimeAttr("250102030405Z");
  for (size_t cut = 0; cut < input.size(); ++cut) {
    const Bytes part(input.begin(), input.begin() + static_cast<std::ptrdiff_t>(cut));
    Attribute attribute;
    int error = 0;
    attribute.ReadData(part.data(), static_cast<DWORD>(part.size()), &error);
    EXPECT_NE(error, 0) << "cut at " << cut;
  }
}

}  // namespace
}  // namespace cmskit::testing
