// SEQUENCE/SET building, reading and splitting, with BER indefinite lengths
// and the status convention (status pointer or XTOOStatus).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "asn_test_util.h"
#include "cmskit/asn_codec.h"
#include "cmskit/status.h"

namespace cmskit::test {
namespace {

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
