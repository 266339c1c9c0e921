#include <gtest/gtest.h>

#include <random>
#include <string>

#include "der_builder.h"
#include "files/content_type.h"

namespace cmskit {
namespace {

using namespace der;

const BYTE* Data(const std::string& bytes) { return reinterpret_cast<const BYTE*>(bytes.data()); }

struct ExtentCase {
  const char* name;
  std::string contents;
  bool constructed;
  uint64_t extent;
};

TEST(IndefiniteExtent, FollowsNestingToTheClosingOctets) {
  const ExtentCase cases[] = {
      {"one element", std::string("\x06\x01\x01\x00\x00\xFF", 6), true, 5},
      {"nested", std::string("\x30\x80\x04\x01\xAA\x00\x00\x00\x00\xFF", 10), true, 9},
      {"two levels", Ber(0x30, Ber(0xA0, Tlv(0x04, "ab"))) + std::string(2, '\0') + "tail", true, 14},
      {"runs out", std::string("\x30\x80\x04\x01\xAA", 5), true, 5},
      {"definite beyond the end", std::string("\x04\x10\x01", 3), true, 3},
      {"unreadable header", std::string("\x1F", 1), true, 0},
      {"unreadable later", std::string("\x04\x01\xAA\x1F\xFF\xFF", 6), true, 3},
      {"primitive: first zero and one more", std::string("\x01\x02\x00\x03\x04", 5), false, 4},
      {"primitive without zero", std::string("\x01\x02", 2), false, 2},
      {"zero byte cut at the end", std::string("\x04\x01\xAA\x00", 4), true, 4},
  };
  for (const ExtentCase& c : cases) {
    EXPECT_EQ(IndefiniteExtent(Data(c.contents), c.contents.size(), c.constructed), c.extent) << c.name;
  }
}

TEST(InspectSignedData, TellsAttachedFromDetached) {
  const struct {
    std::string bytes;
    bool result;
    bool hasContent;
  } cases[] = {
      {SignedData(Attached("hello")), true, true},
      {SignedData(Detached()), true, false},
      {SignedData(Tlv(0x30, kDataOid + Tlv(0xA0, ""))), true, false},
      {Ber(0x30, kSignedDataOid + Ber(0xA0, Ber(0x30, kVersion1 + kSha1Set + Ber(0x30, kDataOid)))), true,
       false},
      {SignedData(Tlv(0x30, kDataOid + Tlv(0x04, "x"))), false, false},
      {Tlv(0x30, kSignedDataOid), false, false},
  };
  for (const auto& c : cases) {
    bool hasContent = !c.hasContent;
    EXPECT_EQ(InspectSignedData(Data(c.bytes), c.bytes.size(), hasContent), c.result);
    if (c.result) {
      EXPECT_EQ(hasContent, c.hasContent);
    }
  }
}

TEST(InspectSignedData, DetachedTypeMayEndTheBytes) {
  // The walk is settled by the eContentType; nothing has to follow it.
  const std::string message = SignedData(Detached());
  const size_t end = message.find(kDataOid) + kDataOid.size();
  bool hasContent = true;
  EXPECT_TRUE(InspectSignedData(Data(message), end, hasContent));
  EXPECT_FALSE(hasContent);
  EXPECT_FALSE(InspectSignedData(Data(message), end - 1, hasContent));
}

TEST(InspectSignedData, StaysInsideTruncatedAndMangledInput) {
  const std::string message = SignedData(Attached(std::string(300, 'x')));
  bool hasContent = false;
  for (size_t length = 0; length < 40; ++length) {
    // Exactly sized copies, so that a read past the end is caught by the sanitizers.
    const std::string cut = message.substr(0, length);
    EXPECT_FALSE(InspectSignedData(Data(cut), cut.size(), hasContent)) << length;
  }
  std::mt19937 random(3);
  for (int round = 0; round < 20000; ++round) {
    std::string bytes = message.substr(0, 255);
    for (int flips = 1 + round % 4; flips > 0; --flips)
      bytes[random() % bytes.size()] = static_cast<char>(random());
    bytes.resize(random() % 256);
    InspectSignedData(Data(bytes), bytes.size(), hasContent);
    IndefiniteExtent(Data(bytes), bytes.size(), round % 2 == 0);
  }
}

TEST(ReadContentType, GivesTheTypeTextAndWhatItConsumed) {
  std::string oid;
  size_t consumed = 0;
  const std::string message = SignedData(Detached());
  ASSERT_TRUE(ReadContentType(Data(message), message.size(), oid, &consumed));
  EXPECT_EQ(oid, "1.2.840.113549.1.7.2");
  EXPECT_EQ(consumed, 2u + kSignedDataOid.size());
  const std::string empty = Tlv(0x30, Tlv(0x04, ""));
  EXPECT_FALSE(ReadContentType(Data(empty), empty.size(), oid, nullptr));
  EXPECT_FALSE(ReadContentType(nullptr, 10, oid, nullptr));
}

}  // namespace
}  // namespace cmskit
