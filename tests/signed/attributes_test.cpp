// Attribute, OneAttributesSet and AttributesList: received bytes re-emitted
// until changed, rebuilt sets, tags, and failures inside the buffer.
#include <gtest/gtest.h>

#include "signed/signed_fixtures.h"

namespace cmskit::signtest {
namespace {

OneAttributesSet ReadSet(const Bytes& input) {
  OneAttributesSet set;
  int error = -1;
  EXPECT_EQ(Read(set, input, &error), 0u);
  EXPECT_EQ(error, 0);
  return set;
}
Bytes ThreeAttributes(BYTE tag) {
  return El(tag, Octets("$typeAttr"), Octets("$timeAttr"), Octets("$digestAttr"));
}

TEST(Attribute, ReadsWritesAndFails) {
  const Bytes input = Octets("$timeAttr 05 00 05 00");
  Attribute attribute;
  int error = -1;
  EXPECT_EQ(Read(attribute, input, &error), input.size() - 4);  // stops at the attribute's end
  EXPECT_EQ(error, 0);
  EXPECT_STREQ(attribute.attrOID.c_str(), "1.2.840.113549.1.9.5");
  EXPECT_EQ(Write(attribute), Octets("$timeAttr"));
  // Stored values are not re-checked or re-encoded, not even a BER length.
  const Attribute built(CTOOString("1.2.840.113549.1.9.3"), Obj(Hex("31 81 03 02 01 07")));
  EXPECT_EQ(Write(built), Octets("30{ $oidType 31 81 03 02 01 07 }"));
  for (const char* bad : {"31{ $oidType 31{ $oidData } }", "30{ 02 01 01 31{ $oidData } }", "30"})
    ExpectFails([&](int* e) { return Read(attribute, Octets(bad), e); }, kCorrupt);
  // With pError: the last error is kept and the count so far reported.
  const Bytes noValues = Octets("30{ $oidType }");
  SetLastError(1234);
  EXPECT_EQ(Read(attribute, noValues, &error), noValues.size());
  EXPECT_EQ(GetLastError(), 1234u);
  Read(attribute, Octets("30 84 FF FF FF F0 $oidType 31 84 FF FF FF F0 06 01 00"), &error);
  EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(kStatusTruncated));
}

TEST(OneAttributesSet, KeepsReceivedBytesUntilChanged) {
  const OneAttributesSet split = ReadSet(Octets("30{ $oidDigest 31{ 02 01 05 04 02 AA BB } }"));
  ASSERT_EQ(split.getEntryCount(), 2u);
  EXPECT_EQ(Of(split.getEntry(1)), Hex("04 02 AA BB"));
  EXPECT_EQ(&split.getEntry(2),
            &OneAttributesSet().getEntry(12345));  // out of range: one shared empty object
  EXPECT_TRUE(split.getEntry(2).IsEmpty());
  // Long-form lengths, values out of DER order, trailing octets: nothing normalised.
  for (const Bytes& input :
       {Octets("$longAttr"), Octets("30{ $oidType 31{ 04 01 FF 04 01 00 } }"), Octets("$typeAttr 00 00")})
    EXPECT_EQ(Write(ReadSet(input)), input);
  OneAttributesSet byOid = ReadSet(Octets("$longAttr"));
  byOid.setAttrOID("1.2.840.113549.1.9.3");
  EXPECT_EQ(Write(byOid), Octets("$typeAttr"));
  OneAttributesSet byEntry = ReadSet(Octets("$longAttr"));
  byEntry.pushBackEntry(Obj(Hex("05 00")));  // several values: one SEQUENCE inside the SET, in push order
  EXPECT_EQ(Write(byEntry), Octets("30{ $oidType 31{ 30{ $oidData 05 00 } } }"));
  int error = -1;
  Read(byEntry, Octets("$longAttr"), &error);  // reading again makes it pristine
  EXPECT_EQ(Write(byEntry), Octets("$longAttr"));
  OneAttributesSet modified = ReadSet(Octets("30{ $oidType 31 06 04 01 FF 04 01 00 }"));
  modified.setModified();
  EXPECT_EQ(Write(modified), Octets("30{ $oidType 31 08 30 06 04 01 FF 04 01 00 }"));
  OneAttributesSet empty;
  empty.setAttrOID("1.2.840.113549.1.9.3");
  EXPECT_EQ(Write(empty), Octets("30{ $oidType 31 00 }"));
}

TEST(OneAttributesSet, ComparisonsAndFailures) {
  OneAttributesSet a, b, built;
  a.setAttrOID("1.1");
  b.setAttrOID("2.2");
  EXPECT_FALSE(a < b || b < a || a < a);  // never less: sorting keeps order
  AttributesList list;
  list.push_back(b);
  list.push_back(a);
  list.sort();
  EXPECT_STREQ(list.front().getAttrOID().c_str(), "2.2");
  const OneAttributesSet read = ReadSet(Octets("$longAttr"));  // equality ignores the received bytes
  built.setAttrOID("1.2.840.113549.1.9.3");
  built.pushBackEntry(Obj(Octets("$oidData")));
  EXPECT_TRUE(read == built);
  built.pushBackEntry(Obj(Octets("$oidData")));
  EXPECT_FALSE(read == built);
  b = read;
  b.setAttrOID("1.2.840.113549.1.9.4");
  EXPECT_FALSE(read == b);

  OneAttributesSet set;
  SetLastError(77);
  int error = 0;
  EXPECT_EQ(Read(set, Octets("31{ $oidType 31{ $oidData } }"), &error), 0u);
  EXPECT_EQ(static_cast<DWORD>(error), kCorrupt);
  EXPECT_EQ(GetLastError(), 77u);
  SetLastError(0);
  EXPECT_THROW(Read(set, Octets("30{ 02 01 01 31{ $oidData } }"), nullptr), XTOOStatus);
  EXPECT_EQ(GetLastError(), kCorrupt);
  Read(set, Octets("30{ $oidType 04 01 00 }"), &error);  // values not constructed
  EXPECT_EQ(static_cast<DWORD>(error), kBadTag);
}

TEST(AttributesList, ReadsAndWrites) {
  AttributesList list;
  list.push_back(OneAttributesSet());
  const Bytes input = ThreeAttributes(0xA1);
  int error = -1;
  EXPECT_EQ(Read(list, input, &error), input.size());
  EXPECT_EQ(list.tag, 1u);
  ASSERT_EQ(list.size(), 3u);  // emptied first, order kept
  EXPECT_EQ(Write(list), input);
  // A universal SET comes back context-specific unless the caller says so.
  EXPECT_EQ(Read(list, ThreeAttributes(0x31), nullptr), input.size());
  EXPECT_EQ(list.tag, 17u);
  EXPECT_EQ(Write(list), ThreeAttributes(0xB1));
  list.universalClass = true;
  EXPECT_EQ(Write(list), ThreeAttributes(0x31));
  // Any tag carries the attributes unchanged, high tag numbers too.
  const struct {
    DWORD tag;
    bool universal;
    Bytes header;
  } tags[] = {{2, true, Hex("22 1A")}, {40, false, Hex("BF 28 1A")}, {40, true, Hex("3F 28 1A")}};
  for (const auto& t : tags) {
    AttributesList one;
    one.tag = t.tag;
    one.universalClass = t.universal;
    one.emplace_back(ReadSet(Octets("$typeAttr")));
    EXPECT_EQ(Write(one), Cat({t.header, Octets("$typeAttr")})) << t.tag;
  }
}

TEST(AttributesList, Failures) {
  // A bad child stops the walk, keeping the sets before it.
  const Bytes input = Octets("A0{ $typeAttr 31{ $oidData } $digestAttr }");
  AttributesList list;
  ExpectFails([&](int* error) { return Read(list, input, error); }, kCorrupt);
  EXPECT_EQ(list.size(), 1u);
  const Bytes whole = ThreeAttributes(0xA0);
  std::vector<Bytes> bad = {Hex("A0 06 30 84 7F FF FF FF")};
  for (size_t cut = 0; cut < whole.size(); ++cut) bad.emplace_back(whole.begin(), whole.begin() + cut);
  for (const Bytes& b : bad) {
    int error = 0;
    EXPECT_EQ(Read(list, b, &error), 0u);
    EXPECT_NE(error, 0) << b.size();
  }
}

}  // namespace
}  // namespace cmskit::signtest
