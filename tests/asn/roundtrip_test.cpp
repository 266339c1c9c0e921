// Properties over generated element trees: encode, split, read as a tree,
// decode every value and encode again must give the same bytes, from DER and
// from the same tree written with indefinite lengths.
#include <gtest/gtest.h>

#include "asn_test_util.h"
#include "cmskit/asn_record.h"
#include "tree_gen.h"

namespace cmskit::test {
namespace {

constexpr int kTrees = 400;

// DER again from a tree that was read: values decoded and re-encoded,
// constructed elements rebuilt from their children.
IdentObj Rebuild(CASNTUnit& unit) {
  const ASNTElementInfo info{unit.GetTagClass(),
                             static_cast<uint8_t>(unit.IsConstructed() ? kASNTConstructed : 0),
                             unit.GetTagNumber(), 0, nullptr};
  if (!unit.IsConstructed()) {
    int status = -1;
    const IdentObj& value = unit.GetValue(&status);
    EXPECT_EQ(status, 0);
    return ASNTEncodeElement(info, value.data(), value.size());
  }
  std::list<IdentObj> items;
  for (size_t i = 0; i < unit.GetChildCount(); ++i)
    items.push_back(Rebuild(*dynamic_cast<CASNTUnit*>(unit.GetChild(i))));
  if (info.tagClass == kASNTUniversal) return ASNTPutSequence(items, info.tagNumber, nullptr);
  Bytes contents;
  for (const IdentObj& item : items) contents.insert(contents.end(), item.data(), item.data() + item.size());
  return ASNTEncodeElement(info, contents.data(), static_cast<DWORD>(contents.size()));
}

void CheckSequenceRoutines(const Node& node, const BYTE* data, DWORD size) {
  if (!node.info.constructed) return;
  std::list<IdentObj> children;
  int status = -1;
  EXPECT_EQ(ASNTGetSequence(children, data, size, &status), size);
  ASSERT_EQ(status, 0);
  ASSERT_EQ(children.size(), node.children.size());
  auto child = children.begin();
  for (const Node& expected : node.children) {
    // A child read from the BER form is that child's BER form.
    const Bytes ber = TreeGen::Ber(expected);
    const bool der = child->size() == expected.der.size() && *child == expected.der;
    EXPECT_TRUE(der || ToHex(*child) == ToHex(ber));
    CheckSequenceRoutines(expected, child->data(), child->size());
    ++child;
  }
}

void CheckSplit(const Node& node) {
  if (!node.info.constructed) return;
  ASNTElementInfo info;
  ASSERT_EQ(ASNTReadHeader(info, node.der.data(), node.der.size()), 0);
  std::list<IdentObj> split;
  ASSERT_EQ(ASNTSplitElements(split, info.contents, info.length), 0);
  std::vector<std::string> expected;
  for (const Node& child : node.children) {
    ASNTElementInfo childInfo;
    ASNTReadHeader(childInfo, child.der.data(), child.der.size());
    if (childInfo.length == 0) break;  // a zero-length element ends a split
    expected.push_back(ToHex(child.der));
  }
  EXPECT_EQ(HexList(split), expected);
  for (const Node& child : node.children) CheckSplit(child);
}

TEST(RoundTrip, DerTrees) {
  TreeGen gen(20240501);
  for (int i = 0; i < kTrees; ++i) {
    const Node tree = gen.Make(5);
    SCOPED_TRACE(ToHex(tree.der));
    CASNTUnit unit;
    int status = -1;
    ASSERT_EQ(unit.ReadFromMemory(tree.der.data(), tree.der.size(), &status), tree.der.size());
    ASSERT_EQ(status, 0);
    EXPECT_EQ(Rebuild(unit), tree.der);
    IdentObj again;
    unit.GetEncoded(again, &status);
    EXPECT_EQ(again, tree.der);
    CheckSequenceRoutines(tree, tree.der.data(), tree.der.size());
    CheckSplit(tree);
  }
}

TEST(RoundTrip, BerTreesGiveTheSameDer) {
  TreeGen gen(77);
  for (int i = 0; i < kTrees; ++i) {
    const Node tree = gen.Make(5);
    const Bytes ber = TreeGen::Ber(tree);
    SCOPED_TRACE(ToHex(ber));
    CASNTUnit unit;
    int status = -1;
    ASSERT_EQ(unit.ReadFromMemory(ber.data(), static_cast<DWORD>(ber.size()), &status), ber.size());
    ASSERT_EQ(status, 0);
    EXPECT_EQ(Rebuild(unit), tree.der);
    CheckSequenceRoutines(tree, ber.data(), static_cast<DWORD>(ber.size()));
    if (tree.info.constructed) {
      ASNTElementInfo info;
      ASSERT_EQ(ASNTReadHeader(info, ber.data(), static_cast<DWORD>(ber.size())), 0);
      const DWORD rest = static_cast<DWORD>(ber.data() + ber.size() - info.contents);
      EXPECT_EQ(ASNTGetIndefiniteLength(info.contents, rest, true, nullptr), rest);
    }
    CASNTBaseRecord record;
    EXPECT_EQ(record.ReadFromMemory(ber.data(), static_cast<DWORD>(ber.size()), &status), ber.size());
  }
}

}  // namespace
}  // namespace cmskit::test
