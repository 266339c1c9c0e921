// Identifier and length octets: parsing (every length form and its limits)
// and the resolution of indefinite lengths.
#include <gtest/gtest.h>

#include "asn_test_util.h"
#include "cmskit/asn_codec.h"
#include "cmskit/status.h"

namespace cmskit::test {
namespace {

struct HeaderCase {
  const char* name;
  const char* bytes;
  int status;
  uint8_t tagClass;
  uint8_t constructed;
  uint32_t tagNumber;
  uint32_t length;
  uint32_t headerLength;
};

const HeaderCase kHeaderCases[] = {
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
    {"one byte", "04", kStatusCorrupt, 0, 0, 0, 0, 0},
    {"nine length octets", "04 89 00 00 00 00 00 00 00 00 01", kStatusCorrupt, 0, 0, 0, 0, 0},
    {"length octets past the end", "04 82 01", kStatusCorrupt, 0, 0, 0, 0, 0},
    {"definite length equal to the marker", "04 84 FF FF FF FF", kStatusCorrupt, 0, 0, 0, 0, 0},
    {"unterminated high tag", "9F 81 82", kStatusBadTag, 0, 0, 0, 0, 0},
    {"high tag without length", "9F 81 48", kStatusCorrupt, 0, 0, 0, 0, 0},
    {"indefinite primitive unterminated", "04 80 41 42 00", kStatusCorrupt, 0, 0, 0, 0, 0},
    {"reserved 0xFF length", "04 FF 00", kStatusCorrupt, 0, 0, 0, 0, 0},
};

TEST(ASNTReadHeader, Table) {
  for (const HeaderCase& c : kHeaderCases) {
    SCOPED_TRACE(c.name);
    const Bytes bytes = Hex(c.bytes);
    ASNTElementInfo info{0xFF, 0xFF, 0xFFFF, 0xFFFF, nullptr};
    const int status = ASNTReadHeader(info, bytes.data(), static_cast<DWORD>(bytes.size()));
    ASSERT_EQ(status, c.status);
    if (status != 0) {
      EXPECT_EQ(info.tagNumber, 0u);
      EXPECT_EQ(info.contents, nullptr);
      continue;
    }
    EXPECT_EQ(info.tagClass, c.tagClass);
    EXPECT_EQ(info.constructed, c.constructed);
    EXPECT_EQ(info.tagNumber, c.tagNumber);
    EXPECT_EQ(info.length, c.length);
    EXPECT_EQ(info.contents, bytes.data() + c.headerLength);
  }
}

struct IndefiniteCase {
  const char* name;
  const char* contents;
  bool constructed;
  int status;
  DWORD length;
};

const IndefiniteCase kIndefiniteCases[] = {
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

TEST(ASNTGetIndefiniteLength, Table) {
  for (const IndefiniteCase& c : kIndefiniteCases) {
    SCOPED_TRACE(c.name);
    const Bytes bytes = Hex(c.contents);
    int status = -1;
    const DWORD length =
        ASNTGetIndefiniteLength(bytes.data(), static_cast<DWORD>(bytes.size()), c.constructed, &status);
    EXPECT_EQ(status, c.status);
    EXPECT_EQ(length, c.length);
  }
}

Bytes NestedIndefinite(int depth) {
  Bytes bytes;
  for (int i = 0; i < depth; ++i) bytes.insert(bytes.end(), {0x30, 0x80});
  bytes.insert(bytes.end(), {0x05, 0x00});
  for (int i = 0; i < depth; ++i) bytes.insert(bytes.end(), {0x00, 0x00});
  return bytes;
}

TEST(ASNTGetIndefiniteLength, NestingLimit) {
  for (int depth : {1, 100, static_cast<int>(kASNTMaxDepth)}) {
    const Bytes bytes = NestedIndefinite(depth);
    int status = -1;
    EXPECT_EQ(ASNTGetIndefiniteLength(bytes.data(), static_cast<DWORD>(bytes.size()), true, &status),
              bytes.size());
    EXPECT_EQ(status, 0) << depth;
  }
  const Bytes deep = NestedIndefinite(kASNTMaxDepth + 2);
  int status = 0;
  ASNTGetIndefiniteLength(deep.data(), static_cast<DWORD>(deep.size()), true, &status);
  EXPECT_EQ(status, kStatusCorrupt);
}

}  // namespace
}  // namespace cmskit::test
