// AttributesList: the signedAttrs / unsignedAttrs field as a whole.
#include <gtest/gtest.h>

#include "cmskit/cmskit.h"
#include "signed/signer_info_fixtures.h"

namespace cmskit::testing {
namespace {

Bytes ThreeAttributes(uint8_t identifier) {
  // Not in DER SET OF order: the digest sorts before the content type.
  return Tlv(identifier, {ContentTypeAttr(), SigningTimeAttr("250102030405Z"), DigestAttr()});
}

TEST(AttrAttributesList, ReadKeepsOrderTagAndClassFlag) {
  const Bytes input = ThreeAttributes(0xA1);
  AttributesList list;
  int error = -1;
  EXPECT_EQ(list.ReadData(input.data(), static_cast<DWORD>(input.size()), &error), input.size());
  EXPECT_EQ(error, 0);
  EXPECT_EQ(list.tag, 1u);
  EXPECT_FALSE(list.universalClass);
  ASSERT_EQ(list.size(), 3u);
  EXPECT_STREQ(list.front().getAttrOID().c_str(), "1.2.840.113549.1.9.3");
  EXPECT_STREQ(list.back().getAttrOID().c_str(), "1.2.840.113549.1.9.4");
  EXPECT_EQ(BytesOf(list.WriteData(&error)), input);
  EXPECT_EQ(error, 0);
}

TEST(AttrAttributesList, ReadEmptiesTheListFirst) {
  const Bytes input = Tlv(0xA0, {ContentTypeAttr()});
  AttributesList list;
  list.push_back(OneAttributesSet());
  list.push_back(OneAttributesSet());
  list.ReadData(input.data(), static_cast<DWORD>(input.size()), nullptr);
  EXPECT_EQ(list.size(), 1u);
}

TEST(AttrAttributesList, UniversalSetIsWrittenBackContextSpecific) {
  const Bytes input = ThreeAttributes(0x31);
  AttributesList list;
  EXPECT_EQ(list.ReadData(input.data(), static_cast<DWORD>(input.size()), nullptr), input.size());
  EXPECT_EQ(list.tag, 17u);
  EXPECT_FALSE(list.universalClass);
  EXPECT_EQ(BytesOf(list.WriteData(nullptr)), ThreeAttributes(0xB1));

  // The flag is the caller's: a read leaves it as it was.
  list.universalClass = true;
  list.ReadData(input.data(), static_cast<DWORD>(input.size()), nullptr);
  EXPECT_TRUE(list.universalClass);
  EXPECT_EQ(BytesOf(list.WriteData(nullptr)), input);
}

TEST(AttrAttributesList, WritesContentsAsTheyAreUnderAnyTag) {
  struct Case {
    DWORD tag;
    bool universal;
    bool withSet;
    Bytes header;
  };
  // Universal tags that have value forms elsewhere (UTCTime, INTEGER) and a
  // high tag number still carry the attributes unchanged.
  const Case cases[] = {{0, false, false, Hex("A0 00")},
                        {23, true, false, Hex("37 00")},
                        {2, true, true, Hex("22 1A")},
                        {40, false, false, Hex("BF 28 00")},
                        {40, true, true, Hex("3F 28 1A")}};
  for (const Case& c : cases) {
    AttributesList list;
    list.tag = c.tag;
    list.universalClass = c.universal;
    if (c.withSet) {
      const Bytes attr = ContentTypeAttr();
      list.emplace_back();
      list.back().ReadData(attr.data(), static_cast<DWORD>(attr.size()), nullptr);
    }
    const Bytes expected = c.withSet ? Cat({c.header, ContentTypeAttr()}) : c.header;
    EXPECT_EQ(BytesOf(list.WriteData(nullptr)), expected) << "tag " << c.tag;
  }
}

TEST(AttrAttributesList, MixesPristineAndRebuiltSets) {
  const Bytes oddLength =
      Hex("30 81 19 06 09 2A 86 48 86 F7 0D 01 09 03 31 81 0B 06 09 2A 86 48 86 F7 0D 01 07 01");
  const Bytes input = Tlv(0xA0, {oddLength, DigestAttr()});
  AttributesList list;
  list.ReadData(input.data(), static_cast<DWORD>(input.size()), nullptr);
  list.back().setModified();
  list.back().pushBackEntry(Ident(Hex("04 00")));
  const Bytes rebuilt = Tlv(
      0x30, {OidMessageDigest(), Tlv(0x31, {Tlv(0x30, {Tlv(0x04, {Hex("AA BB CC DD")}), Hex("04 00")})})});
  EXPECT_EQ(BytesOf(list.WriteData(nullptr)), Tlv(0xA0, {oddLength, rebuilt}));
}

TEST(AttrAttributesList, BadChildStopsTheWalkKeepingEarlierSets) {
  const Bytes input = Tlv(0xA0, {ContentTypeAttr(), Tlv(0x31, {OidData()}), DigestAttr()});
  AttributesList list;
  int error = 0;
  EXPECT_EQ(list.ReadData(input.data(), static_cast<DWORD>(input.size()), &error), 0u);
  EXPECT_EQ(error, static_cast<int>(0x80093103));
  EXPECT_EQ(list.size(), 1u);

  SetLastError(0);
  EXPECT_EQ(list.ReadData(input.data(), static_cast<DWORD>(input.size()), nullptr), 0u);
  EXPECT_EQ(GetLastError(), 0x80093103u);
}

TEST(AttrAttributesList, HostileInputNeverReadsOutside) {
  const Bytes input = ThreeAttributes(0xA0);
  for (size_t cut = 0; cut < input.size(); ++cut) {
    const Bytes part(input.begin(), input.begin() + static_cast<std::ptrdiff_t>(cut));
    AttributesList list;
    int error = 0;
    EXPECT_EQ(list.ReadData(part.data(), static_cast<DWORD>(part.size()), &error), 0u) << "cut at " << cut;
    EXPECT_NE(error, 0) << "cut at " << cut;
  }
  const Bytes huge[] = {Hex("A0 84 FF FF FF FF 30 00"), Hex("A0 89 01 02 03 04 05 06 07 08 09"),
                        Hex("A0 06 30 84 7F FF FF FF")};
  for (const Bytes& bytes : huge) {
    AttributesList list;
    int error = 0;
    EXPECT_EQ(list.ReadData(bytes.data(), static_cast<DWORD>(bytes.size()), &error), 0u);
    EXPECT_NE(error, 0);
  }
}

}  // namespace
}  // namespace cmskit::testing
