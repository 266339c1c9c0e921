// ASNTEncodeElement: every value form with exact bytes, the length and tag
// forms, and the tags without a value form.
#include <gtest/gtest.h>

#include <string>

#include "asn_test_util.h"
#include "cmskit/asn_codec.h"

namespace cmskit::test {
namespace {

struct EncodeCase {
  const char* name;
  ASNTElementInfo info;
  Bytes value;
  const char* expected;
};

std::vector<EncodeCase> EncodeCases() {
  return {
      {"INTEGER zero trimmed", Universal(2), {0x00, 0x00}, "02 01 00"},
      {"INTEGER keeps sign octet", Universal(2), {0x80, 0x00}, "02 02 00 80"},
      {"INTEGER minus one trimmed", Universal(2), {0xFF, 0xFF}, "02 01 FF"},
      {"INTEGER -128", Universal(2), {0x80, 0xFF}, "02 01 80"},
      {"INTEGER -129", Universal(2), {0x7F, 0xFF}, "02 02 FF 7F"},
      {"INTEGER 256", Universal(2), {0x00, 0x01, 0x00, 0x00}, "02 02 01 00"},
      {"INTEGER one byte untouched", Universal(2), {0x80}, "02 01 80"},
      {"ENUMERATED", Universal(10), {0x03, 0x00}, "0A 01 03"},
      {"BOOLEAN false", Universal(1), {0x00, 0x00}, "01 01 00"},
      {"BOOLEAN any non-zero", Universal(1), {0x00, 0x02}, "01 01 FF"},
      {"NULL ignores its value", Universal(5), {0x01, 0x02}, "05 00"},
      {"OID", Universal(6), Bytes{'1', '.', '2', '.', '6', '4', '3', '.', '2', '.', '2', '.', '2', '1'},
       "06 06 2A 85 03 02 02 15"},
      {"OID text ends at NUL", Universal(6), Bytes{'1', '.', '2', 0, '.', '5'}, "06 01 2A"},
      {"OID stops at a non-digit", Universal(6), Bytes{'2', '.', '5', '.', '4', 'x', '.', '3'},
       "06 02 55 04"},
      {"OCTET STRING", Universal(4), {0x01, 0x02}, "04 02 01 02"},
      {"BIT STRING keeps unused-bits octet", Universal(3), {0x00, 0xFF}, "03 02 00 FF"},
      {"UTF8String", Universal(12), {'a'}, "0C 01 61"},
      {"NumericString", Universal(18), {'1'}, "12 01 31"},
      {"PrintableString", Universal(19), {'A'}, "13 01 41"},
      {"TeletexString", Universal(20), {'A'}, "14 01 41"},
      {"IA5String", Universal(22), {'A'}, "16 01 41"},
      {"VisibleString", Universal(26), {'A'}, "1A 01 41"},
      {"SEQUENCE copies contents", Universal(16, true), {0x05, 0x00}, "30 02 05 00"},
      {"SET copies contents", Universal(17, true), {0x05, 0x00}, "31 02 05 00"},
      {"implicit context", Context(0, false), {0x41, 0x42}, "80 02 41 42"},
      {"explicit context", Context(1, true), {0x05, 0x00}, "A1 02 05 00"},
      {"context 30 keeps one octet", Context(30, false), {}, "9E 00"},
      {"context 31 high form", Context(31, false), {}, "9F 1F 00"},
      {"context 200 high form", Context(200, true), {}, "BF 81 48 00"},
      {"context 2^21", Context(1u << 21, false), {}, "9F 81 80 80 00 00"},
      {"context copies any tag's bytes", Context(2, false), {0x00, 0x00}, "82 02 00 00"},
  };
}

TEST(ASNTEncodeElement, ValueForms) {
  for (const EncodeCase& c : EncodeCases()) {
    SCOPED_TRACE(c.name);
    const IdentObj element = ASNTEncodeElement(c.info, c.value.empty() ? nullptr : c.value.data(),
                                               static_cast<DWORD>(c.value.size()));
    EXPECT_EQ(ToHex(element), c.expected);
  }
}

TEST(ASNTEncodeElement, LengthForms) {
  const struct {
    DWORD length;
    const char* header;
  } cases[] = {{0, "04 00"},      {127, "04 7F"},       {128, "04 81 80"},        {200, "04 81 C8"},
               {255, "04 81 FF"}, {256, "04 82 01 00"}, {65536, "04 83 01 00 00"}};
  for (const auto& c : cases) {
    const Bytes contents(c.length, 0xAB);
    const IdentObj element = ASNTEncodeElement(Universal(4), contents.data(), c.length);
    const std::string header = c.header;
    const size_t headerSize = (header.size() + 1) / 3;
    ASSERT_EQ(element.size(), headerSize + c.length);
    EXPECT_EQ(ToHex(element.data(), headerSize), header);
    EXPECT_EQ(Bytes(element.data() + headerSize, element.data() + element.size()), contents);
  }
}

TEST(ASNTEncodeElement, NullValueGivesHeaderOnly) {
  EXPECT_EQ(ToHex(ASNTEncodeElement(Universal(16, true), nullptr, 300)), "30 82 01 2C");
  EXPECT_EQ(ToHex(ASNTEncodeElement(Context(0, true), nullptr, 5)), "A0 05");
  EXPECT_EQ(ToHex(ASNTEncodeElement(Universal(23), nullptr, 0)), "17 0D");
  EXPECT_EQ(ToHex(ASNTEncodeElement(Universal(24), nullptr, 0)), "18 0F");
}

TEST(ASNTEncodeElement, TagsWithoutValueFormAreEmpty) {
  const BYTE value[] = {1, 2};
  for (uint32_t tag : {0u, 7u, 8u, 9u, 11u, 13u, 14u, 15u, 21u, 25u, 27u, 30u, 31u, 100u}) {
    EXPECT_TRUE(ASNTEncodeElement(Universal(tag), value, 2).IsEmpty()) << tag;
  }
}

TEST(ASNTEncodeElement, OidLimits) {
  EXPECT_TRUE(ASNTEncodeElement(Universal(6), "", 0).IsEmpty());
  EXPECT_TRUE(ASNTEncodeElement(Universal(6), "abc", 3).IsEmpty());
  EXPECT_EQ(ToHex(ASNTEncodeElement(Universal(6), "2", 1)), "06 01 50");
  EXPECT_EQ(ToHex(ASNTEncodeElement(Universal(6), "1.2.4294967295", 14)), "06 06 2A 8F FF FF FF 7F");
  std::string fits = "1.2";
  while (fits.size() < 2 * 260) fits += ".1";  // 260 contents octets: the most allowed
  EXPECT_EQ(ASNTEncodeElement(Universal(6), fits.data(), static_cast<DWORD>(fits.size())).size(), 4u + 260);
  std::string tooLong = fits + ".1";
  EXPECT_TRUE(ASNTEncodeElement(Universal(6), tooLong.data(), static_cast<DWORD>(tooLong.size())).IsEmpty());
}

TEST(ASNTEncodeElement, Times) {
  const FILETIME t = MakeFileTime(2049, 12, 31, 23, 59, 7, 999);
  EXPECT_EQ(Text(ASNTEncodeElement(Universal(23), &t, sizeof t)).substr(2), "491231235907Z");
  EXPECT_EQ(ToHex(ASNTEncodeElement(Universal(23), &t, sizeof t).data(), 2), "17 0D");
  EXPECT_EQ(Text(ASNTEncodeElement(Universal(24), &t, sizeof t)).substr(2), "20491231235907Z");
  const FILETIME old = MakeFileTime(1601, 1, 1, 0, 0, 0);
  EXPECT_EQ(Text(ASNTEncodeElement(Universal(23), &old, sizeof old)).substr(2), "010101000000Z");
  EXPECT_EQ(Text(ASNTEncodeElement(Universal(24), &old, sizeof old)).substr(2), "16010101000000Z");
  const FILETIME bad{0xFFFFFFFF, 0xFFFFFFFF};
  EXPECT_TRUE(ASNTEncodeElement(Universal(23), &bad, sizeof bad).IsEmpty());
  EXPECT_TRUE(ASNTEncodeElement(Universal(24), &bad, sizeof bad).IsEmpty());
}

}  // namespace
}  // namespace cmskit::test
