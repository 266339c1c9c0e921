// Header octets, indefinite lengths, the element encoder and decoder, SEQUENCE/SET building and splitting.
#include <cstdio>
#include <cstring>
#include <tuple>

#include "asn_test_util.h"

namespace cmskit::test {
namespace {

// "class constructed tag length header-length" of a header, or its status.
std::string Header(const char* hex) {
  const Bytes bytes = Hex(hex);
  ASNTElementInfo info{0xFF, 0xFF, 0xFFFF, 0xFFFF, nullptr};
  const int status = ASNTReadHeader(info, bytes.data(), Size(bytes));
  if (status) return info.contents == nullptr ? "#" + std::to_string(status) : "contents set on failure";
  char text[64];
  snprintf(text, sizeof text, "%02X %02X %u %u %u", info.tagClass, info.constructed, info.tagNumber,
           info.length, static_cast<unsigned>(info.contents - bytes.data()));
  return text;
}

TEST(ASNTReadHeader, Table) {
  const std::pair<const char*, const char*> kCases[] = {
      {"04 03 01 02 03", "00 00 4 3 2"},
      {"A3 01 05", "80 20 3 1 2"},
      {"9F 1F 00", "80 00 31 0 3"},
      {"BF 81 48 00", "80 20 200 0 4"},
      {"04 84 7F FF FF FF", "00 00 4 2147483647 6"},
      {"04 88 00 00 00 01 00 00 00 05", "00 00 4 5 10"},  // eight octets keep the low four
      {"30 80", "00 20 16 4294967295 2"},
      {"04 80 41 42 00 00", "00 00 4 2 2"},  // an indefinite primitive gets its extent
      {"04", "#206"},
      {"04 89 00 00 00 00 00 00 00 00 01", "#206"},
      {"04 84 FF FF FF FF", "#206"},  // equal to the indefinite marker
      {"9F 81 82", "#205"},
      {"04 FF 00", "#206"}};
  for (const auto& [bytes, expected] : kCases) EXPECT_EQ(Header(bytes), expected) << bytes;
}

TEST(ASNTGetIndefiniteLength, NestingLimit) {
  for (uint32_t depth : {kASNTMaxDepth, kASNTMaxDepth + 2}) {
    Bytes bytes;
    for (uint32_t i = 0; i < depth; ++i) bytes.insert(bytes.end(), {0x30, 0x80});
    bytes = Cat({bytes, {0x05, 0x00}, Bytes(2 * depth)});
    int status = -1;
    const DWORD length = ASNTGetIndefiniteLength(bytes.data(), Size(bytes), true, &status);
    EXPECT_EQ(status, depth > kASNTMaxDepth ? kStatusCorrupt : 0);
    EXPECT_EQ(length, depth <= kASNTMaxDepth ? bytes.size() : length);
  }
}

TEST(ASNTEncodeElement, ValueAndLengthForms) {
  const auto text = [](const char* s) { return Bytes(s, s + strlen(s)); };
  const std::tuple<ASNTElementInfo, Bytes, const char*> kCases[] = {
      {Universal(2), {0x00, 0x00}, "02 01 00"},
      {Universal(2), {0x80, 0x00}, "02 02 00 80"},  // keeps the sign octet
      {Universal(2), {0x7F, 0xFF}, "02 02 FF 7F"},
      {Universal(1), {0x00, 0x02}, "01 01 FF"},
      {Universal(5), {0x01, 0x02}, "05 00"},
      {Universal(6), text("1.2.643.2.2.21"), "06 06 2A 85 03 02 02 15"},
      {Universal(6), text("2.5.4x.3"), "06 02 55 04"},
      {Universal(6), text("1.2.4294967295"), "06 06 2A 8F FF FF FF 7F"},
      {Universal(6), text("abc"), ""},
      {Universal(3), {0x00, 0xFF}, "03 02 00 FF"},
      {Universal(17, true), {0x05, 0x00}, "31 02 05 00"},
      {Context(0, false), {0x41, 0x42}, "80 02 41 42"},
      {Context(31, false), {}, "9F 1F 00"},
      {Context(1u << 21, false), {}, "9F 81 80 80 00 00"},
      {Context(2, false), {0x00, 0x00}, "82 02 00 00"},  // no INTEGER trimming
      {Universal(4), Bytes(127, 0xAB), "04 7F"},
      {Universal(4), Bytes(128, 0xAB), "04 81 80"}};
  for (const auto& [info, value, expected] : kCases) {
    const Bytes encoded = ToBytes(
        ASNTEncodeElement(info, value.empty() ? static_cast<const void*>("") : value.data(), Size(value)));
    const size_t header = strlen(expected) / 3 + 1;
    EXPECT_EQ(ToHex(Bytes(encoded.begin(), encoded.begin() + std::min(header, encoded.size()))), expected);
  }
  for (uint32_t tag : {0u, 7u, 21u, 31u}) EXPECT_TRUE(ASNTEncodeElement(Universal(tag), "ab", 2).IsEmpty());
  std::string oid = "1.2";
  while (oid.size() < 2 * 260) oid += ".1";  // 260 contents octets: the most allowed
  EXPECT_EQ(ASNTEncodeElement(Universal(6), oid.data(), static_cast<DWORD>(oid.size())).size(), 4u + 260);
  oid += ".1";
  EXPECT_TRUE(ASNTEncodeElement(Universal(6), oid.data(), static_cast<DWORD>(oid.size())).IsEmpty());
  // A null value gives the header of that many octets (a time: its text's).
  EXPECT_EQ(ToHex(ASNTEncodeElement(Universal(16, true), nullptr, 300)), "30 82 01 2C");
  EXPECT_EQ(ToHex(ASNTEncodeElement(Universal(24), nullptr, 0)), "18 0F");
  const FILETIME t = MakeFileTime(2049, 12, 31, 23, 59, 7, 999), bad{0xFFFFFFFF, 0xFFFFFFFF};
  EXPECT_EQ(Text(ASNTEncodeElement(Universal(23), &t, sizeof t)),
            "\x17\x0D"
            "491231235907Z");
  EXPECT_EQ(Text(ASNTEncodeElement(Universal(24), &t, sizeof t)),
            "\x18\x0F"
            "20491231235907Z");
  EXPECT_TRUE(ASNTEncodeElement(Universal(24), &bad, sizeof bad).IsEmpty());
}

IdentObj Decode(const Bytes& element, int* status) {
  ASNTElementInfo info;
  EXPECT_EQ(ASNTReadHeader(info, element.data(), Size(element)), 0);
  return ASNTDecodeElement(info, status);
}

TEST(ASNTDecodeElement, ValueFormsAndObjectIdentifiers) {
  const std::pair<const char*, const char*> kCases[] = {
      {"02 02 00 80", "80 00"}, {"01 01 05", "01 00 00 00"}, {"1E 02 00 41", "00 41"},
      {"9F 81 48 01 07", "07"}, {"44 01 07", "07"},  // application class goes by the tag number
      {"07 00", "#115"},        {"1F 81 00 00", "#115"},     {"30 80 05 00 00 00", "#206"}};
  for (const auto& [element, expected] : kCases) {
    int status = -1;
    const std::string value = ToHex(Decode(Hex(element), &status));
    EXPECT_EQ(status ? "#" + std::to_string(status) : value, expected) << element;
  }
  const std::pair<const char*, const char*> kOids[] = {
      {"06 06 2A 85 03 02 02 15", "1.2.643.2.2.21"},
      {"06 03 81 34 03", "4.20.3"},             // the first arc is split by 40 whatever its size
      {"06 07 2A 90 80 80 80 80 01", "1.2.1"},  // arcs are 32-bit: a wider one keeps its low bits
      {"06 02 2A 85", "1.2.5"}                  // a last octet with the continuation bit ends the arc
  };
  for (const auto& [element, text] : kOids) EXPECT_EQ(Text(Decode(Hex(element), nullptr)), text) << element;
  EXPECT_NO_THROW(Decode(Hex("30 80 05 00 00 00"), nullptr));  // silent without a status pointer
}

TEST(ASNTDecodeElement, Times) {
  const std::tuple<uint32_t, const char*, std::vector<WORD>> kCases[] = {
      {23, "4912312359Z", {2049, 12, 31, 23, 59, 0}},
      {23, "4912312359-0130", {2050, 1, 1, 1, 29, 0}},
      {24, "2049123123Z", {2049, 12, 31, 23, 0, 0}},
      {24, "20491231235959,1239Z", {2049, 12, 31, 23, 59, 59, 123}},
      {24, "204912312359.25Z", {2049, 12, 31, 23, 59, 15}},
      {24, "20491231235959+0200", {2049, 12, 31, 21, 59, 59}},
      {24, "16010101000000Z", {1601, 1, 1, 0, 0, 0}},
      {23, "4912312359", {}},
      {23, "4912312359ZZ", {}},
      {23, "491231235960Z", {}},
      {23, "490230120000Z", {}},
      {23, "4912312359+0A00", {}},
      {24, "204912312", {}},
      {24, "00001231235959Z", {}},
      {24, "16010101000000+0100", {}},
      {24, "20491231235959.5.5Z", {}}};
  for (const auto& [tag, text, f] : kCases) {
    int status = -1;
    const Bytes header{static_cast<BYTE>(tag), static_cast<BYTE>(strlen(text))};
    const IdentObj value = Decode(Cat({header, Bytes(text, text + strlen(text))}), &status);
    EXPECT_EQ(status, f.empty() ? kStatusCorrupt : 0) << text;
    if (f.empty()) continue;
    const FILETIME expected = MakeFileTime(f[0], f[1], f[2], f[3], f[4], f[5], f.size() > 6 ? f[6] : 0);
    EXPECT_EQ(ToHex(value), ToHex(reinterpret_cast<const BYTE*>(&expected), sizeof expected)) << text;
  }
}

std::list<IdentObj> Items(std::initializer_list<const char*> elements) {
  std::list<IdentObj> items;
  for (const char* element : elements) items.push_back(Obj(Hex(element)));
  return items;
}

TEST(ASNTPutSequence, KeepsListOrderAndRefusesOtherTags) {
  int status = -1;
  EXPECT_EQ(ToHex(ASNTPutSequence(Items({"04 01 FF", "02 01 05"}), 17, &status)), "31 06 04 01 FF 02 01 05");
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(ASNTPutSequence(Items({"05 00"}), 4, &status).IsEmpty());
  EXPECT_EQ(status, kStatusBadArgument);
  EXPECT_TRUE(ASNTPutSequenceHeader(Items({"05 00"}), 18, &status).IsEmpty());
  ExpectThrowsStatus([] { ASNTPutSequence(Items({"05 00"}), 4, nullptr); }, kStatusBadArgument,
                     "ASNTPutSequence");
}

TEST(ASNTGetSequenceAndSplitElements, Tables) {
  const std::tuple<const char*, int, DWORD, std::vector<std::string>> kCases[] = {
      {"30 06 02 01 05 04 01 41 FF", 0, 8, {"02 01 05", "04 01 41"}},
      {"30 80 02 01 05 00 00 FF", 0, 7, {"02 01 05"}},
      {"30 80 30 80 02 01 01 00 00 00 00", 0, 11, {"30 80 02 01 01 00 00"}},  // indefinite child kept whole
      // Without its end-of-contents the children read so far stay in the list.
      {"30 80 02 01 05", kStatusCorrupt, 5, {"02 01 05"}},
      {"30 80 30 80 02 01 01 00 00 02", kStatusCorrupt, 9, {"30 80 02 01 01 00 00"}},
      {"04 01 00", kStatusBadTag, 0, {}},
      {"30 03 02 02 05 00", kStatusCorrupt, 2, {}},
      {"30 05 02 01 05 04 05", kStatusCorrupt, 5, {"02 01 05"}},
      {"", kStatusCorrupt, 0, {}}};
  for (const auto& [hex, expectedStatus, consumed, children] : kCases) {
    const Bytes bytes = Hex(hex);
    std::list<IdentObj> out;
    int status = -1;
    EXPECT_EQ(ASNTGetSequence(out, bytes.data(), Size(bytes), &status), consumed) << hex;
    EXPECT_EQ(status, expectedStatus) << hex;
    EXPECT_EQ(HexList(out), children) << hex;
  }
  const std::tuple<const char*, int, std::vector<std::string>> kSplits[] = {
      {"02 01 05 04 01 41 30 00", 0, {"02 01 05", "04 01 41"}},  // a zero length ends the split
      {"30 80 02 01 05 00 00 02 01 06", 0, {"30 80 02 01 05 00 00", "02 01 06"}},
      {"02 01 05 02 05 01", kStatusCorrupt, {}},
      {"30 80 02 01 05", kStatusCorrupt, {}},
      {"02 01 05 1F 81", kStatusBadTag, {}}};
  for (const auto& [hex, status, children] : kSplits) {
    const Bytes bytes = Hex(hex);
    std::list<IdentObj> out = Items({"05 00"});
    EXPECT_EQ(ASNTSplitElements(out, bytes.data(), Size(bytes)), status) << hex;
    EXPECT_EQ(HexList(out), children) << hex;
  }
}

}  // namespace
}  // namespace cmskit::test
