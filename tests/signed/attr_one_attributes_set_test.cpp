// OneAttributesSet: values held separately, received bytes re-emitted until
// the set is changed.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "cmskit/cmskit.h"
#include "signed/signer_info_fixtures.h"

namespace cmskit::testing {
namespace {

constexpr int kCorrupt = static_cast<int>(0x80093103);

OneAttributesSet ReadSet(const Bytes& input) {
  OneAttributesSet set;
  int error = -1;
  EXPECT_EQ(set.ReadData(input.data(), static_cast<DWORD>(input.size()), &error), 0u);
  EXPECT_EQ(error, 0);
  return set;
}

Bytes Write(const OneAttributesSet& set) {
  int error = -1;
  const Bytes out = BytesOf(set.WriteData(&error));
  EXPECT_EQ(error, 0);
  return out;
}

TEST(AttrOneAttributesSet, ReadSplitsTheValues) {
  const Bytes v1 = Hex("02 01 05"), v2 = Hex("04 02 AA BB");
  const OneAttributesSet set = ReadSet(Tlv(0x30, {OidMessageDigest(), Tlv(0x31, {v1, v2})}));
  EXPECT_STREQ(set.getAttrOID().c_str(), "1.2.840.113549.1.9.4");
  ASSERT_EQ(set.getEntryCount(), 2u);
  EXPECT_EQ(BytesOf(set.getEntry(0)), v1);
  EXPECT_EQ(BytesOf(set.getEntry(1)), v2);
}

TEST(AttrOneAttributesSet, UnchangedSetComesBackByteForByte) {
  // Long-form lengths and values out of DER order: nothing is normalised.
  const std::vector<Bytes> inputs = {
      Hex("30 81 19 06 09 2A 86 48 86 F7 0D 01 09 03 31 81 0B 06 09 2A 86 48 86 F7 0D 01 07 01"),
      Tlv(0x30, {OidContentType(), Tlv(0x31, {Hex("04 01 FF"), Hex("04 01 00")})}),
      SigningTimeAttr("250102030405Z"),
  };
  for (const Bytes& input : inputs) EXPECT_EQ(Write(ReadSet(input)), input);
}

TEST(AttrOneAttributesSet, WholeInputIsKeptNotOnlyTheAttribute) {
  const Bytes input = Cat({ContentTypeAttr(), Hex("00 00")});
  EXPECT_EQ(Write(ReadSet(input)), input);
}

struct Shape {
  const char* name;
  std::vector<Bytes> entries;
  Bytes values;
};

class AttrOneAttributesSetShape : public ::testing::TestWithParam<Shape> {};

TEST_P(AttrOneAttributesSetShape, ModifiedSetIsRebuilt) {
  OneAttributesSet set;
  set.setAttrOID("1.2.840.113549.1.9.3");
  for (const Bytes& entry : GetParam().entries) set.pushBackEntry(Ident(entry));
  EXPECT_EQ(Write(set), Tlv(0x30, {OidContentType(), GetParam().values}));
}

INSTANTIATE_TEST_SUITE_P(
    Table, AttrOneAttributesSetShape,
    ::testing::Values(Shape{"None", {}, Hex("31 00")}, Shape{"One", {Hex("02 01 07")}, Hex("31 03 02 01 07")},
                      // Several values: one SEQUENCE inside the SET, in push order.
                      Shape{"Two", {Hex("04 01 FF"), Hex("04 01 00")}, Hex("31 08 30 06 04 01 FF 04 01 00")},
                      Shape{"Three",
                            {Hex("02 01 03"), Hex("02 01 01"), Hex("02 01 02")},
                            Hex("31 0B 30 09 02 01 03 02 01 01 02 01 02")}),
    [](const ::testing::TestParamInfo<Shape>& info) { return info.param.name; });

TEST(AttrOneAttributesSet, SetModifiedRebuildsTwoReadValues) {
  OneAttributesSet set = ReadSet(Tlv(0x30, {OidContentType(), Hex("31 06 04 01 FF 04 01 00")}));
  set.setModified();
  EXPECT_EQ(Write(set), Tlv(0x30, {OidContentType(), Hex("31 08 30 06 04 01 FF 04 01 00")}));
}

TEST(AttrOneAttributesSet, EveryChangeMarksModified) {
  const Bytes input =
      Hex("30 81 19 06 09 2A 86 48 86 F7 0D 01 09 03 31 81 0B 06 09 2A 86 48 86 F7 0D 01 07 01");
  const Bytes der = ContentTypeAttr();

  OneAttributesSet byOid = ReadSet(input);
  byOid.setAttrOID("1.2.840.113549.1.9.3");
  EXPECT_EQ(Write(byOid), der);

  OneAttributesSet byEntry = ReadSet(input);
  byEntry.pushBackEntry(Ident(Hex("05 00")));
  EXPECT_EQ(Write(byEntry), Tlv(0x30, {OidContentType(), Tlv(0x31, {Tlv(0x30, {OidData(), Hex("05 00")})})}));

  // Reading again makes it pristine.
  byEntry.ReadData(input.data(), static_cast<DWORD>(input.size()), nullptr);
  EXPECT_EQ(Write(byEntry), input);
}

TEST(AttrOneAttributesSet, LessIsAlwaysFalseAndSortKeepsOrder) {
  OneAttributesSet a, b;
  a.setAttrOID("1.1");
  b.setAttrOID("2.2");
  EXPECT_FALSE(a < b);
  EXPECT_FALSE(b < a);
  EXPECT_FALSE(a < a);

  AttributesList list;
  list.push_back(b);
  list.push_back(a);
  list.sort();
  EXPECT_STREQ(list.front().getAttrOID().c_str(), "2.2");
}

TEST(AttrOneAttributesSet, EqualityIgnoresReceivedBytes) {
  const OneAttributesSet read =
      ReadSet(Hex("30 81 19 06 09 2A 86 48 86 F7 0D 01 09 03 31 81 0B 06 09 2A 86 48 86 F7 0D 01 07 01"));
  OneAttributesSet built;
  built.setAttrOID("1.2.840.113549.1.9.3");
  built.pushBackEntry(Ident(OidData()));
  EXPECT_TRUE(read == built);
  built.pushBackEntry(Ident(OidData()));
  EXPECT_FALSE(read == built);
  OneAttributesSet other = read;
  other.setAttrOID("1.2.840.113549.1.9.4");
  EXPECT_FALSE(read == other);
}

TEST(AttrOneAttributesSet, EntryOutOfRangeIsOneSharedEmptyObject) {
  const OneAttributesSet set = ReadSet(ContentTypeAttr());
  const IdentObj& first = set.getEntry(set.getEntryCount());
  const IdentObj& second = set.getEntry(12345);
  EXPECT_TRUE(first.IsEmpty());
  EXPECT_EQ(&first, &second);
  EXPECT_EQ(&first, &OneAttributesSet().getEntry(0));
}

TEST(AttrOneAttributesSet, FailureWithPErrorLeavesLastError) {
  const Bytes input = Tlv(0x31, {OidContentType(), Tlv(0x31, {OidData()})});
  OneAttributesSet set;
  SetLastError(77);
  int error = 0;
  EXPECT_EQ(set.ReadData(input.data(), static_cast<DWORD>(input.size()), &error), 0u);
  EXPECT_EQ(error, kCorrupt);
  EXPECT_EQ(GetLastError(), 77u);
}

TEST(AttrOneAttributesSet, FailureWithoutPErrorSetsLastErrorAndThrows) {
  const Bytes input = Tlv(0x30, {Hex("02 01 01"), Tlv(0x31, {OidData()})});
  OneAttributesSet set;
  SetLastError(0);
  EXPECT_THROW(set.ReadData(input.data(), static_cast<DWORD>(input.size()), nullptr), XTOOStatus);
  EXPECT_EQ(GetLastError(), 0x80093103u);
}

TEST(AttrOneAttributesSet, ValuesThatAreNotConstructedFail) {
  // A primitive where the SET belongs cannot be split into values.
  const Bytes input = Tlv(0x30, {OidContentType(), Hex("04 01 00")});
  OneAttributesSet set;
  int error = 0;
  set.ReadData(input.data(), static_cast<DWORD>(input.size()), &error);
  EXPECT_EQ(error, static_cast<int>(0x8009310B));
}

TEST(AttrOneAttributesSet, EveryTruncationFails) {
  const Bytes input = SigningTimeAttr("250102030405Z");
  for (size_t cut = 0; cut < input.size(); ++cut) {
    const Bytes part(input.begin(), input.begin() + static_cast<std::ptrdiff_t>(cut));
    OneAttributesSet set;
    int error = 0;
    set.ReadData(part.data(), static_cast<DWORD>(part.size()), &error);
    EXPECT_NE(error, 0) << "cut at " << cut;
  }
}

}  // namespace
}  // namespace cmskit::testing
