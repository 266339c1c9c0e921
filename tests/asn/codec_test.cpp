// Identifier and length octets, indefinite lengths, the element encoder and
// decoder with exact bytes for every value form, and SEQUENCE/SET building,
// reading and splitting under both error endings.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "asn_test_util.h"
#include "cmskit/status.h"

namespace cmskit::test {
namespace {

TEST(ASNTReadHeader, Table) {
  const struct {
    const char* name;
    const char* bytes;
    int status;
    uint8_t tagClass = 0, constructed = 0;
    uint32_t tagNumber = 0, length = 0, headerLength = 0;
  } kCases[] = {
      {"short form", "04 03 01 02 03", 0, 0x00, 0x00, 4, 3, 2},
      {"sequence", "30 00", 0, 0x00, 0x20, 16, 0, 2},
      {"context constructed", "A3 01 05", 0, 0x80, 0x20, 3, 1, 2},
      {"private class", "C1 00", 0, 0xC0, 0x00, 1, 0, 2},
      {"high tag 31", "9F 1F 00", 0, 0x80, 0x00, 31, 0, 3},
      {"high tag 200", "BF 81 48 00", 0, 0x80, 0x20, 200, 0, 4},
      {"long form 1 octet", "04 81 C8", 0, 0x00, 0x00, 4, 200, 3},
      {"long form 2 octets", "04 82 01 00", 0, 0x00, 0x00, 4, 256, 4},
      {"long form 4 octets", "04 84 7F FF FF FF", 0, 0x00, 0x00, 4, 0x7FFFFFFF, 6},
      {"eight octets keep the low four", "04 88 00 00 00 01 00 00 00 05", 0, 0x00, 0x00, 4, 5, 10},
      {"indefinite constructed", "30 80", 0, 0x00, 0x20, 16, 0xFFFFFFFF, 2},
      {"indefinite primitive", "04 80 41 42 00 00", 0, 0x00, 0x00, 4, 2, 2},
      {"indefinite primitive empty", "04 80 00 00", 0, 0x00, 0x00, 4, 0, 2},
      {"one byte", "04", kStatusCorrupt},
      {"nine length octets", "04 89 00 00 00 00 00 00 00 00 01", kStatusCorrupt},
      {"length octets past the end", "04 82 01", kStatusCorrupt},
      {"definite length equal to the marker", "04 84 FF FF FF FF", kStatusCorrupt},
      {"unterminated high tag", "9F 81 82", kStatusBadTag},
      {"high tag without length", "9F 81 48", kStatusCorrupt},
      {"indefinite primitive unterminated", "04 80 41 42 00", kStatusCorrupt},
      {"reserved 0xFF length", "04 FF 00", kStatusCorrupt},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    const Bytes bytes = Hex(c.bytes);
    ASNTElementInfo info{0xFF, 0xFF, 0xFFFF, 0xFFFF, nullptr};
    ASSERT_EQ(ASNTReadHeader(info, bytes.data(), static_cast<DWORD>(bytes.size())), c.status);
    EXPECT_EQ(info.tagNumber, c.tagNumber);
    EXPECT_EQ(info.contents, c.status ? nullptr : bytes.data() + c.headerLength);
    if (c.status) continue;
    EXPECT_EQ(info.tagClass, c.tagClass);
    EXPECT_EQ(info.constructed, c.constructed);
    EXPECT_EQ(info.length, c.length);
  }
}

TEST(ASNTGetIndefiniteLength, TableAndNestingLimit) {
  const struct {
    const char* name;
    const char* contents;
    bool constructed;
    int status;
    DWORD length;
  } kCases[] = {
      {"one child", "02 01 05 00 00", true, 0, 5},
      {"empty", "00 00 02 01 05", true, 0, 2},
      {"trailing bytes ignored", "02 01 05 00 00 FF FF", true, 0, 5},
      {"nested indefinite", "30 80 02 01 05 00 00 00 00", true, 0, 9},
      {"nested definite", "30 03 02 01 05 04 00 00 00", true, 0, 9},
      {"primitive child", "04 80 41 42 00 00 00 00", true, 0, 8},
      {"unterminated ends at the buffer", "02 01 05", true, 0, 3},
      {"child past the end", "04 05 01", true, 0, 3},
      {"bad child header", "02", true, kStatusCorrupt, 0},
      {"primitive", "41 42 00 00 99", false, 0, 4},
      {"primitive unterminated", "41 42 00", false, kStatusCorrupt, 0},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    const Bytes bytes = Hex(c.contents);
    int status = -1;
    EXPECT_EQ(ASNTGetIndefiniteLength(bytes.data(), static_cast<DWORD>(bytes.size()), c.constructed, &status),
              c.length);
    EXPECT_EQ(status, c.status);
  }
  for (uint32_t depth : {1u, 100u, kASNTMaxDepth, kASNTMaxDepth + 2}) {
    SCOPED_TRACE(depth);
    Bytes bytes;
    for (uint32_t i = 0; i < depth; ++i) bytes.insert(bytes.end(), {0x30, 0x80});
    bytes.insert(bytes.end(), {0x05, 0x00});
    bytes.resize(bytes.size() + 2 * depth, 0x00);
    int status = -1;
    const DWORD length =
        ASNTGetIndefiniteLength(bytes.data(), static_cast<DWORD>(bytes.size()), true, &status);
    EXPECT_EQ(status, depth > kASNTMaxDepth ? kStatusCorrupt : 0);
    EXPECT_EQ(length, depth > kASNTMaxDepth ? length : bytes.size());
  }
}

TEST(ASNTEncodeElement, ValueForms) {
  const struct {
    const char* name;
    ASNTElementInfo info;
    Bytes value;
    const char* expected;
  } kCases[] = {
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
      {"OID one arc", Universal(6), {'2'}, "06 01 50"},
      {"OID 32-bit arc", Universal(6),
       Bytes{'1', '.', '2', '.', '4', '2', '9', '4', '9', '6', '7', '2', '9', '5'},
       "06 06 2A 8F FF FF FF 7F"},
      {"OID empty", Universal(6), {}, ""},
      {"OID no digits", Universal(6), {'a', 'b', 'c'}, ""},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(ToHex(ASNTEncodeElement(c.info, c.value.empty() ? static_cast<const void*>("") : c.value.data(),
                                      static_cast<DWORD>(c.value.size()))),
              c.expected);
  }
  const BYTE value[] = {1, 2};
  for (uint32_t tag : {0u, 7u, 8u, 9u, 11u, 13u, 14u, 15u, 21u, 25u, 27u, 30u, 31u, 100u})
    EXPECT_TRUE(ASNTEncodeElement(Universal(tag), value, 2).IsEmpty()) << tag;
  std::string oid = "1.2";
  while (oid.size() < 2 * 260) oid += ".1";  // 260 contents octets: the most allowed
  EXPECT_EQ(ASNTEncodeElement(Universal(6), oid.data(), static_cast<DWORD>(oid.size())).size(), 4u + 260);
  oid += ".1";
  EXPECT_TRUE(ASNTEncodeElement(Universal(6), oid.data(), static_cast<DWORD>(oid.size())).IsEmpty());
}

TEST(ASNTEncodeElement, LengthFormsAndHeaderOnly) {
  const struct {
    DWORD length;
    const char* header;
  } kCases[] = {{0, "04 00"},      {127, "04 7F"},       {128, "04 81 80"},        {200, "04 81 C8"},
                {255, "04 81 FF"}, {256, "04 82 01 00"}, {65536, "04 83 01 00 00"}};
  for (const auto& c : kCases) {
    const Bytes contents(c.length, 0xAB);
    const IdentObj element = ASNTEncodeElement(Universal(4), contents.data(), c.length);
    const size_t headerSize = (strlen(c.header) + 1) / 3;
    ASSERT_EQ(element.size(), headerSize + c.length);
    EXPECT_EQ(ToHex(element.data(), headerSize), c.header);
    EXPECT_EQ(Bytes(element.data() + headerSize, element.data() + element.size()), contents);
  }
  // A null value gives the header of that many octets (a time: its text's).
  EXPECT_EQ(ToHex(ASNTEncodeElement(Universal(16, true), nullptr, 300)), "30 82 01 2C");
  EXPECT_EQ(ToHex(ASNTEncodeElement(Context(0, true), nullptr, 5)), "A0 05");
  EXPECT_EQ(ToHex(ASNTEncodeElement(Universal(23), nullptr, 0)), "17 0D");
  EXPECT_EQ(ToHex(ASNTEncodeElement(Universal(24), nullptr, 0)), "18 0F");
}

TEST(ASNTEncodeElement, Times) {
  const FILETIME t = MakeFileTime(2049, 12, 31, 23, 59, 7, 999), old = MakeFileTime(1601, 1, 1, 0, 0, 0);
  const FILETIME bad{0xFFFFFFFF, 0xFFFFFFFF};
  EXPECT_EQ(ToHex(ASNTEncodeElement(Universal(23), &t, sizeof t).data(), 2), "17 0D");
  EXPECT_EQ(Text(ASNTEncodeElement(Universal(23), &t, sizeof t)).substr(2), "491231235907Z");
  EXPECT_EQ(Text(ASNTEncodeElement(Universal(24), &t, sizeof t)).substr(2), "20491231235907Z");
  EXPECT_EQ(Text(ASNTEncodeElement(Universal(23), &old, sizeof old)).substr(2), "010101000000Z");
  EXPECT_EQ(Text(ASNTEncodeElement(Universal(24), &old, sizeof old)).substr(2), "16010101000000Z");
  EXPECT_TRUE(ASNTEncodeElement(Universal(23), &bad, sizeof bad).IsEmpty());
  EXPECT_TRUE(ASNTEncodeElement(Universal(24), &bad, sizeof bad).IsEmpty());
}

IdentObj Decode(const Bytes& element, int* status) {
  ASNTElementInfo info;
  EXPECT_EQ(ASNTReadHeader(info, element.data(), static_cast<DWORD>(element.size())), 0);
  return ASNTDecodeElement(info, status);
}

TEST(ASNTDecodeElement, ValueFormsAndObjectIdentifiers) {
  const struct {
    const char* name;
    const char* element;
    int status;
    const char* value;
  } kCases[] = {
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
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    int status = -1;
    EXPECT_EQ(ToHex(Decode(Hex(c.element), &status)), c.value);
    EXPECT_EQ(status, c.status);
  }
  const struct {
    const char* element;
    const char* text;
  } kOids[] = {
      {"06 06 2A 85 03 02 02 15", "1.2.643.2.2.21"},
      {"06 03 55 04 03", "2.5.4.3"},
      {"06 01 00", "0.0"},
      {"06 00", ""},
      {"06 03 81 34 03", "4.20.3"},             // the first arc is split by 40 whatever its size
      {"06 07 2A 90 80 80 80 80 01", "1.2.1"},  // arcs are 32-bit: a wider one keeps its low bits
      {"06 02 2A 85", "1.2.5"},                 // a last octet with the continuation bit ends the arc
  };
  for (const auto& c : kOids) {
    int status = -1;
    EXPECT_EQ(Text(Decode(Hex(c.element), &status)), c.text) << c.element;
    EXPECT_EQ(status, 0);
  }
  int status = 0;
  EXPECT_TRUE(Decode(Hex("30 80 05 00 00 00"), &status).IsEmpty());
  EXPECT_EQ(status, kStatusCorrupt);
  EXPECT_NO_THROW(Decode(Hex("30 80 05 00 00 00"), nullptr));  // silent without a status pointer
}

TEST(ASNTDecodeElement, Times) {
  const struct {
    uint32_t tag;
    const char* text;
    WORD fields[7];
  } kCases[] = {
      {23, "4912312359Z", {2049, 12, 31, 23, 59, 0}},
      {23, "500101000000Z", {1950, 1, 1, 0, 0, 0}},
      {23, "000229120000Z", {2000, 2, 29, 12, 0, 0}},
      {23, "4912312359+0100", {2049, 12, 31, 22, 59, 0}},
      {23, "4912312359-0130", {2050, 1, 1, 1, 29, 0}},
      {23, "491231235930+0000", {2049, 12, 31, 23, 59, 30}},
      {24, "2049123123Z", {2049, 12, 31, 23, 0, 0}},
      {24, "204912312359", {2049, 12, 31, 23, 59, 0}},
      {24, "20491231235959Z", {2049, 12, 31, 23, 59, 59}},
      {24, "20491231235959.5Z", {2049, 12, 31, 23, 59, 59, 500}},
      {24, "20491231235959,1239Z", {2049, 12, 31, 23, 59, 59, 123}},
      {24, "204912312359.25Z", {2049, 12, 31, 23, 59, 15}},
      {24, "2049123123.5Z", {2049, 12, 31, 23, 30, 0}},
      {24, "20491231235959.0000000001Z", {2049, 12, 31, 23, 59, 59}},
      {24, "20491231235959+0200", {2049, 12, 31, 21, 59, 59}},
      {24, "2049123123-0030", {2049, 12, 31, 23, 30, 0}},
      {24, "16010101000000Z", {1601, 1, 1, 0, 0, 0}},
  };
  const auto decode = [](uint32_t tag, const char* text, int* status) {
    Bytes element = ToBytes(ASNTEncodeElement(Universal(4), text, static_cast<DWORD>(strlen(text))));
    element[0] = static_cast<BYTE>(tag);
    return Decode(element, status);
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.text);
    const WORD* f = c.fields;
    const FILETIME expected = MakeFileTime(f[0], f[1], f[2], f[3], f[4], f[5], f[6]);
    int status = -1;
    const IdentObj value = decode(c.tag, c.text, &status);
    ASSERT_EQ(status, 0);
    ASSERT_EQ(value.size(), sizeof(FILETIME));
    FILETIME got;
    memcpy(&got, value.data(), sizeof got);
    EXPECT_EQ(got.dwHighDateTime, expected.dwHighDateTime);
    EXPECT_EQ(got.dwLowDateTime, expected.dwLowDateTime);
  }
  const struct {
    uint32_t tag;
    std::vector<const char*> texts;
  } kRefused[] = {
      {23,
       {"4912312359", "491231235Z", "49123123590Z", "4912312359X0", "4912312359ZZ", "4912312359+01",
        "4912312359+01000", "491231235960Z", "491331235900Z", "490230120000Z", "4912312359+0A00",
        "4912312359123456Z", "A912312359Z"}},
      {24,
       {"204912312", "2049123123595", "20491231235959.Z", "20491231235959Z0", "20491231235959+020",
        "00001231235959Z", "16010101000000+0100", "20491331235959Z", "2049123124Z", "2049123123x",
        "20491231235959.5.5Z"}},
  };
  for (const auto& r : kRefused) {
    for (const char* text : r.texts) {
      int status = -1;
      decode(r.tag, text, &status);
      EXPECT_EQ(status, kStatusCorrupt) << text;
    }
  }
}

std::list<IdentObj> Items(std::initializer_list<const char*> elements) {
  std::list<IdentObj> items;
  for (const char* element : elements) items.push_back(Obj(Hex(element)));
  return items;
}

TEST(ASNTPutSequence, KeepsListOrderUnsorted) {
  int status = -1;
  EXPECT_EQ(ToHex(ASNTPutSequence(Items({"04 01 FF", "02 01 05"}), 17, &status)), "31 06 04 01 FF 02 01 05");
  EXPECT_EQ(status, 0);
  EXPECT_EQ(ToHex(ASNTPutSequence({}, 16, &status)), "30 00");
}

TEST(ASNTPutSequence, OtherTagNumbers) {
  for (DWORD tag : {0u, 4u, 15u, 18u}) {
    int status = 0;
    EXPECT_TRUE(ASNTPutSequence(Items({"05 00"}), tag, &status).IsEmpty());
    EXPECT_EQ(status, kStatusBadArgument);
    EXPECT_TRUE(ASNTPutSequenceHeader(Items({"05 00"}), tag, &status).IsEmpty());
    EXPECT_EQ(status, kStatusBadArgument);
  }
  try {
    ASNTPutSequence(Items({"05 00"}), 4, nullptr);
    FAIL() << "no exception";
  } catch (const XTOOStatus& e) {
    EXPECT_EQ(e.GetStatus(), kStatusBadArgument);
    EXPECT_STREQ(e.GetMessage().c_str(), "ASNTPutSequence");
  }
}

struct GetCase {
  const char* name;
  const char* bytes;
  int status;
  DWORD consumed;
  std::vector<std::string> children;
};

std::vector<GetCase> GetCases() {
  return {
      {"definite", "30 06 02 01 05 04 01 41 FF", 0, 8, {"02 01 05", "04 01 41"}},
      {"empty", "31 00", 0, 2, {}},
      {"indefinite", "30 80 02 01 05 00 00 FF", 0, 7, {"02 01 05"}},
      {"indefinite empty", "30 80 00 00", 0, 4, {}},
      {"indefinite child kept whole", "30 80 30 80 02 01 01 00 00 00 00", 0, 11, {"30 80 02 01 01 00 00"}},
      {"context explicit", "A0 03 02 01 07", 0, 5, {"02 01 07"}},
      {"missing end-of-contents", "30 80 02 01 05", kStatusCorrupt, 0, {}},
      {"end-of-contents cut", "30 80 02 01 05 00", kStatusCorrupt, 0, {}},
      {"primitive outer", "04 01 00", kStatusBadTag, 0, {}},
      {"outer past the buffer", "30 07 02 01 05", kStatusCorrupt, 0, {}},
      {"child past the outer end", "30 03 02 02 05 00", kStatusCorrupt, 2, {}},
      {"second child broken", "30 05 02 01 05 04 05", kStatusCorrupt, 5, {"02 01 05"}},
      {"empty buffer", "", kStatusCorrupt, 0, {}},
  };
}

TEST(ASNTGetSequence, Table) {
  for (const GetCase& c : GetCases()) {
    SCOPED_TRACE(c.name);
    const Bytes bytes = Hex(c.bytes);
    std::list<IdentObj> out;
    int status = -1;
    const DWORD consumed = ASNTGetSequence(out, bytes.data(), static_cast<DWORD>(bytes.size()), &status);
    EXPECT_EQ(status, c.status);
    EXPECT_EQ(consumed, c.consumed);
    EXPECT_EQ(HexList(out), c.children);
  }
}

struct SplitCase {
  const char* name;
  const char* bytes;
  int status;
  std::vector<std::string> children;
};

std::vector<SplitCase> SplitCases() {
  return {
      {"three", "02 01 05 04 01 41 30 00", 0, {"02 01 05", "04 01 41"}},
      {"zero length ends", "02 01 05 05 00 02 01 06", 0, {"02 01 05"}},
      {"indefinite child", "30 80 02 01 05 00 00 02 01 06", 0, {"30 80 02 01 05 00 00", "02 01 06"}},
      {"nothing", "", 0, {}},
      {"child past the end", "02 01 05 02 05 01", kStatusCorrupt, {}},
      {"one trailing byte", "02 01 05 01", kStatusCorrupt, {}},
      {"unterminated indefinite", "30 80 02 01 05", kStatusCorrupt, {}},
      {"bad high tag", "02 01 05 1F 81", kStatusBadTag, {}},
  };
}

TEST(ASNTSplitElements, Table) {
  for (const SplitCase& c : SplitCases()) {
    SCOPED_TRACE(c.name);
    const Bytes bytes = Hex(c.bytes);
    std::list<IdentObj> out = Items({"05 00"});
    EXPECT_EQ(ASNTSplitElements(out, bytes.data(), static_cast<DWORD>(bytes.size())), c.status);
    EXPECT_EQ(HexList(out), c.children);
  }
}

}  // namespace
}  // namespace cmskit::test
