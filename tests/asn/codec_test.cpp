// The codec over memory: headers, indefinite lengths, the element encoder and
// decoder, SEQUENCE/SET building and splitting, and the statuses of damaged
// elements; the cases are in asn/cases.txt.
#include <cstdio>
#include <cstring>
#include <sstream>

#include "asn_test_util.h"
#include "cmskit/asn_record.h"
#include "common/table.h"

namespace cmskit::test {
namespace {

using cmskit_testing::Row;

const cmskit_testing::Table& Cases() {
  static const cmskit_testing::Table table("asn/cases.txt");
  return table;
}
Bytes Octets(const std::string& field) { return Cases().Octets(field); }
std::string Failed(int status) { return "!" + std::to_string(status); }
std::vector<std::string> HexFields(const Row& row, size_t first) {
  std::vector<std::string> out;
  for (size_t i = first; i < row.fields.size(); ++i) out.push_back(ToHex(Octets(row[i])));
  return out;
}

TEST(ASNTReadHeader, Cases) {
  for (const Row& row : Cases().Rows("header")) {
    const Bytes bytes = Octets(row[0]);
    ASNTElementInfo info{0xFF, 0xFF, 0xFFFF, 0xFFFF, reinterpret_cast<const BYTE*>("x")};  // reset on failure
    const int status = ASNTReadHeader(info, bytes.data(), Size(bytes));
    char text[64];
    snprintf(text, sizeof text, "%02X %02X %u %u %u", info.tagClass, info.constructed, info.tagNumber,
             info.length, static_cast<unsigned>(info.contents - bytes.data()));
    EXPECT_EQ(status ? info.contents ? "contents set on failure" : Failed(status) : std::string(text), row[1])
        << row.where;
  }
}

TEST(ASNTGetIndefiniteLength, Cases) {
  for (const Row& row : Cases().Rows("indefinite")) {
    const Bytes bytes = Octets(row[1]);
    int status = -1;
    const DWORD length = ASNTGetIndefiniteLength(bytes.data(), Size(bytes), row[0] == "1", &status);
    EXPECT_EQ(status ? Failed(status) : std::to_string(length), row[2]) << row.where;
  }
}

TEST(ASNTEncodeElement, Cases) {
  for (const Row& row : Cases().Rows("encode")) {
    const unsigned identifier = std::stoul(row[0], nullptr, 16);
    const ASNTElementInfo info = Info(static_cast<uint8_t>(identifier & 0xC0),
                                      static_cast<uint32_t>(std::stoul(row[0].substr(row[0].find('/') + 1))),
                                      identifier & kASNTConstructed);
    const Bytes value = Octets(row[1]), expected = Octets(row[2]);
    const Bytes encoded = ToBytes(
        ASNTEncodeElement(info, value.empty() ? static_cast<const void*>("") : value.data(), Size(value)));
    EXPECT_EQ(ToHex(Bytes(encoded.begin(), encoded.begin() + std::min(expected.size(), encoded.size()))),
              ToHex(expected))
        << row.where;
    EXPECT_EQ(encoded.empty(), expected.empty()) << row.where;
  }
  // A null value gives the header of that many octets (a time: its text's).
  EXPECT_EQ(ToHex(ASNTEncodeElement(Universal(16, true), nullptr, 300)), "30 82 01 2C");
  EXPECT_EQ(ToHex(ASNTEncodeElement(Universal(24), nullptr, 0)), "18 0F");
  const FILETIME t = MakeFileTime(2049, 12, 31, 23, 59, 7, 999), bad{0xFFFFFFFF, 0xFFFFFFFF};
  EXPECT_EQ(Text(ASNTEncodeElement(Universal(23), &t, sizeof t)), std::string("\x17\x0D") + "491231235907Z");
  EXPECT_EQ(Text(ASNTEncodeElement(Universal(24), &t, sizeof t)),
            std::string("\x18\x0F") + "20491231235907Z");
  EXPECT_TRUE(ASNTEncodeElement(Universal(24), &bad, sizeof bad).IsEmpty());
}

IdentObj Decode(const Bytes& element, int* status) {
  ASNTElementInfo info;
  EXPECT_EQ(ASNTReadHeader(info, element.data(), Size(element)), 0);
  return ASNTDecodeElement(info, status);
}

TEST(ASNTDecodeElement, ValuesAndTimes) {
  for (const Row& row : Cases().Rows("decode")) {
    int status = -1;
    const std::string value = ToHex(Decode(Octets(row[0]), &status));
    EXPECT_EQ(status ? Failed(status) : value, row[1][0] == '!' ? row[1] : ToHex(Octets(row[1])))
        << row.where;
  }
  EXPECT_NO_THROW(Decode(Hex("30 80 05 00 00 00"), nullptr));  // silent without a status pointer
  for (const Row& row : Cases().Rows("time")) {
    int status = -1;
    const IdentObj value = Decode(Octets(row[0]), &status);
    std::vector<WORD> f;
    std::istringstream fields(row[1]);
    for (WORD n = 0; fields >> n;) f.push_back(n);
    EXPECT_EQ(status, f.empty() ? kStatusCorrupt : 0) << row.where;
    if (f.empty()) continue;
    const FILETIME expected = MakeFileTime(f[0], f[1], f[2], f[3], f[4], f[5], f.size() > 6 ? f[6] : 0);
    EXPECT_EQ(ToHex(value), ToHex(reinterpret_cast<const BYTE*>(&expected), sizeof expected)) << row.where;
  }
}

TEST(ASNTPutSequence, KeepsListOrderAndRefusesOtherTags) {
  const std::list<IdentObj> items = {Obj(Hex("04 01 FF")), Obj(Hex("02 01 05"))};
  int status = -1;
  EXPECT_EQ(ToHex(ASNTPutSequence(items, 17, &status)), "31 06 04 01 FF 02 01 05");
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(ASNTPutSequence(items, 4, &status).IsEmpty());
  EXPECT_EQ(status, kStatusBadArgument);
  EXPECT_TRUE(ASNTPutSequenceHeader(items, 18, &status).IsEmpty());
  ExpectThrowsStatus([&] { ASNTPutSequence(items, 4, nullptr); }, kStatusBadArgument, "ASNTPutSequence");
}

TEST(ASNTGetSequenceAndSplitElements, Cases) {
  int status = -1;
  for (const Row& row : Cases().Rows("sequence")) {
    const Bytes bytes = Octets(row[0]);
    std::list<IdentObj> out;
    EXPECT_EQ(ASNTGetSequence(out, bytes.data(), Size(bytes), &status), std::stoul(row[2])) << row.where;
    EXPECT_EQ(status, std::stoi(row[1])) << row.where;
    EXPECT_EQ(HexList(out), HexFields(row, 3)) << row.where;
  }
  for (const Row& row : Cases().Rows("split")) {
    const Bytes bytes = Octets(row[0]);
    std::list<IdentObj> out = {Obj(Hex("05 00"))};
    EXPECT_EQ(ASNTSplitElements(out, bytes.data(), Size(bytes)), std::stoi(row[1])) << row.where;
    EXPECT_EQ(HexList(out), HexFields(row, 2)) << row.where;
  }
}

TEST(Hostile, SequenceAndTreeStatuses) {
  for (const Row& row : Cases().Rows("hostile")) {
    const Bytes bytes = Octets(row[0]);
    std::list<IdentObj> out;
    int status = 0;
    ASNTGetSequence(out, bytes.data(), Size(bytes), &status);
    EXPECT_EQ(status, std::stoi(row[1])) << row.where;
    CASNTUnit unit;
    unit.ReadFromMemory(bytes.data(), Size(bytes), &status);
    EXPECT_EQ(status, std::stoi(row[2])) << row.where;
  }
}

}  // namespace
}  // namespace cmskit::test
