// ASNTDecodeElement: value forms, the object identifier arithmetic, and the
// two time syntaxes with their offsets, fractions and failures.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "asn_test_util.h"
#include "cmskit/asn_codec.h"
#include "cmskit/status.h"

namespace cmskit::test {
namespace {

IdentObj DecodeBytes(const Bytes& element, int* status) {
  ASNTElementInfo info;
  EXPECT_EQ(ASNTReadHeader(info, element.data(), static_cast<DWORD>(element.size())), 0);
  return ASNTDecodeElement(info, status);
}

struct DecodeCase {
  const char* name;
  const char* element;
  int status;
  const char* value;
};

const DecodeCase kDecodeCases[] = {
    {"INTEGER reversed", "02 02 00 80", 0, "80 00"},
    {"INTEGER no sign extension", "02 01 FF", 0, "FF"},
    {"ENUMERATED", "0A 02 01 02", 0, "02 01"},
    {"BOOLEAN true", "01 01 05", 0, "01 00 00 00"},
    {"BOOLEAN false", "01 01 00", 0, "00 00 00 00"},
    {"NULL", "05 00", 0, ""},
    {"OCTET STRING", "04 02 01 02", 0, "01 02"},
    {"BMPString is read", "1E 02 00 41", 0, "00 41"},
    {"SET contents", "31 02 05 00", 0, "05 00"},
    {"context contents", "A5 02 05 00", 0, "05 00"},
    {"context high tag", "9F 81 48 01 07", 0, "07"},
    {"application class goes by tag number", "44 01 07", 0, "07"},
    {"tag 0", "00 00", kStatusUnsupported, ""},
    {"tag 7", "07 00", kStatusUnsupported, ""},
    {"tag 21", "15 00", kStatusUnsupported, ""},
    {"high universal tag", "1F 81 00 00", kStatusUnsupported, ""},
};

TEST(ASNTDecodeElement, Table) {
  for (const DecodeCase& c : kDecodeCases) {
    SCOPED_TRACE(c.name);
    int status = -1;
    const IdentObj value = DecodeBytes(Hex(c.element), &status);
    EXPECT_EQ(status, c.status);
    EXPECT_EQ(ToHex(value), c.value);
  }
}

TEST(ASNTDecodeElement, ObjectIdentifiers) {
  const struct {
    const char* element;
    const char* text;
  } cases[] = {
      {"06 06 2A 85 03 02 02 15", "1.2.643.2.2.21"},
      {"06 03 55 04 03", "2.5.4.3"},
      {"06 01 00", "0.0"},
      {"06 00", ""},
      // The first sub-identifier is split by 40 whatever its size.
      {"06 03 81 34 03", "4.20.3"},
      // Sub-identifiers are 32-bit: a wider one keeps its low bits.
      {"06 07 2A 90 80 80 80 80 01", "1.2.1"},
      // A final octet with the continuation bit still ends the arc.
      {"06 02 2A 85", "1.2.5"},
  };
  for (const auto& c : cases) {
    int status = -1;
    EXPECT_EQ(Text(DecodeBytes(Hex(c.element), &status)), c.text) << c.element;
    EXPECT_EQ(status, 0);
  }
}

TEST(ASNTDecodeElement, IndefiniteInfoIsRefused) {
  const Bytes element = Hex("30 80 05 00 00 00");
  ASNTElementInfo info;
  ASSERT_EQ(ASNTReadHeader(info, element.data(), 6), 0);
  int status = 0;
  EXPECT_TRUE(ASNTDecodeElement(info, &status).IsEmpty());
  EXPECT_EQ(status, kStatusCorrupt);
  // Without a status pointer a failure is silent.
  EXPECT_NO_THROW(ASNTDecodeElement(info, nullptr));
}

struct TimeCase {
  const char* text;
  uint32_t tag;
  int status;
  FILETIME expected;
};

IdentObj TimeElement(uint32_t tag, const std::string& text) {
  return ASNTEncodeElement(Context(tag, false), text.data(), static_cast<DWORD>(text.size()));
}

void CheckTime(uint32_t tag, const std::string& text, int expectedStatus, const FILETIME& expected) {
  SCOPED_TRACE(text);
  IdentObj element = TimeElement(tag, text);
  element.data()[0] = static_cast<BYTE>(tag);  // universal primitive
  int status = -1;
  const IdentObj value = DecodeBytes(Bytes(element.data(), element.data() + element.size()), &status);
  ASSERT_EQ(status, expectedStatus);
  if (status != 0) return;
  ASSERT_EQ(value.size(), sizeof(FILETIME));
  FILETIME got;
  memcpy(&got, value.data(), sizeof got);
  EXPECT_EQ(got.dwHighDateTime, expected.dwHighDateTime);
  EXPECT_EQ(got.dwLowDateTime, expected.dwLowDateTime);
}

TEST(ASNTDecodeElement, UtcTime) {
  CheckTime(23, "4912312359Z", 0, MakeFileTime(2049, 12, 31, 23, 59, 0));
  CheckTime(23, "500101000000Z", 0, MakeFileTime(1950, 1, 1, 0, 0, 0));
  CheckTime(23, "000229120000Z", 0, MakeFileTime(2000, 2, 29, 12, 0, 0));
  CheckTime(23, "4912312359+0100", 0, MakeFileTime(2049, 12, 31, 22, 59, 0));
  CheckTime(23, "4912312359-0130", 0, MakeFileTime(2050, 1, 1, 1, 29, 0));
  CheckTime(23, "491231235930+0000", 0, MakeFileTime(2049, 12, 31, 23, 59, 30));
  const FILETIME none{};
  for (const char* bad : {"4912312359", "491231235Z", "49123123590Z", "4912312359X0", "4912312359ZZ",
                          "4912312359+01", "4912312359+01000", "491231235960Z", "491331235900Z",
                          "490230120000Z", "4912312359+0A00", "4912312359123456Z", "A912312359Z"}) {
    CheckTime(23, bad, kStatusCorrupt, none);
  }
}

TEST(ASNTDecodeElement, GeneralizedTime) {
  CheckTime(24, "2049123123Z", 0, MakeFileTime(2049, 12, 31, 23, 0, 0));
  CheckTime(24, "204912312359", 0, MakeFileTime(2049, 12, 31, 23, 59, 0));
  CheckTime(24, "20491231235959Z", 0, MakeFileTime(2049, 12, 31, 23, 59, 59));
  CheckTime(24, "20491231235959.5Z", 0, MakeFileTime(2049, 12, 31, 23, 59, 59, 500));
  CheckTime(24, "20491231235959,1239Z", 0, MakeFileTime(2049, 12, 31, 23, 59, 59, 123));
  CheckTime(24, "204912312359.25Z", 0, MakeFileTime(2049, 12, 31, 23, 59, 15));
  CheckTime(24, "2049123123.5Z", 0, MakeFileTime(2049, 12, 31, 23, 30, 0));
  CheckTime(24, "20491231235959.0000000001Z", 0, MakeFileTime(2049, 12, 31, 23, 59, 59));
  CheckTime(24, "20491231235959+0200", 0, MakeFileTime(2049, 12, 31, 21, 59, 59));
  CheckTime(24, "2049123123-0030", 0, MakeFileTime(2049, 12, 31, 23, 30, 0));
  CheckTime(24, "16010101000000Z", 0, MakeFileTime(1601, 1, 1, 0, 0, 0));
  const FILETIME none{};
  for (const char* bad : {"204912312", "2049123123595", "20491231235959.Z", "20491231235959Z0",
                          "20491231235959+020", "00001231235959Z", "16010101000000+0100", "20491331235959Z",
                          "2049123124Z", "2049123123x", "20491231235959.5.5Z"}) {
    CheckTime(24, bad, kStatusCorrupt, none);
  }
}

}  // namespace
}  // namespace cmskit::test
