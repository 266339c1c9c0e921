// Generated element trees, DER and BER, read and rebuilt.
#include <random>

#include "asn_test_util.h"
#include "cmskit/asn_record.h"
#include "cmskit/asn_types.h"

namespace cmskit::test {
namespace {

// SEQUENCE and SET through the sequence builder, [n] through the element encoder.
IdentObj Constructed(const ASNTElementInfo& info, const std::list<IdentObj>& items) {
  if (info.tagClass == kASNTUniversal) return ASNTPutSequence(items, info.tagNumber, nullptr);
  Bytes contents;
  for (const IdentObj& item : items) contents = Cat({contents, ToBytes(item)});
  return ASNTEncodeElement(info, contents.data(), Size(contents));
}

struct Node {
  ASNTElementInfo info{};
  std::vector<Node> children;
  IdentObj der;
};

class TreeGen {
 public:
  explicit TreeGen(uint32_t seed) : rng_(seed) {}

  Node Make(int depth) {
    if (depth <= 0 || Pick(3) == 0) return Leaf();
    Node node;
    const uint32_t kind = Pick(3);
    node.info = kind == 0   ? Universal(16, true)
                : kind == 1 ? Universal(17, true)
                            : Context(TagNumber(), true);
    std::list<IdentObj> items;
    for (uint32_t i = 0, count = Pick(6); i < count; ++i) {
      node.children.push_back(Make(depth - 1));
      items.push_back(node.children.back().der);
    }
    node.der = Constructed(node.info, items);
    return node;
  }

  // The same tree with every constructed length indefinite.
  static Bytes Ber(const Node& node) {
    if (node.children.empty() && !node.info.constructed) return ToBytes(node.der);
    IdentObj header = ASNTEncodeElement(node.info, nullptr, 0);
    Bytes out = Cat({Bytes(header.data(), header.data() + header.size() - 1), {0x80}});
    for (const Node& child : node.children) out = Cat({out, Ber(child)});
    return Cat({out, {0x00, 0x00}});
  }

 private:
  uint32_t Pick(uint32_t n) { return std::uniform_int_distribution<uint32_t>(0, n - 1)(rng_); }
  uint32_t TagNumber() { return Pick(4) == 0 ? 31 + Pick(5000) : Pick(31); }
  Bytes RandomBytes(uint32_t maxLength) {
    Bytes bytes(Pick(maxLength + 1));
    for (BYTE& b : bytes) b = static_cast<BYTE>(Pick(256));
    return bytes;
  }
  Bytes RandomOid() {
    std::string oid = std::to_string(Pick(3)) + "." + std::to_string(Pick(40));
    for (uint32_t i = 0, arcs = Pick(8); i < arcs; ++i)
      oid += "." + std::to_string(Pick(2) ? Pick(128) : static_cast<uint32_t>(rng_()));
    return Bytes(oid.begin(), oid.end());
  }
  static Node Element(const ASNTElementInfo& info, const Bytes& value) {
    return Node{info, {}, ASNTEncodeElement(info, value.data(), Size(value))};
  }
  Node Time(uint32_t tag, WORD firstYear, WORD years) {
    const auto pick = [this](uint32_t n, uint32_t from) { return static_cast<WORD>(from + Pick(n)); };
    const FILETIME t =
        MakeFileTime(pick(years, firstYear), pick(12, 1), pick(28, 1), pick(24, 0), pick(60, 0), pick(60, 0));
    return Element(Universal(tag),
                   Bytes(reinterpret_cast<const BYTE*>(&t), reinterpret_cast<const BYTE*>(&t + 1)));
  }
  Node Leaf() {
    const Bytes integer = RandomBytes(24);
    const uint32_t kind = Pick(10);
    if (kind == 0) return Element(Universal(2), integer.empty() ? Bytes{0} : integer);
    if (kind == 1) return Element(Universal(1), RandomBytes(2));
    if (kind == 2) return Element(Universal(5), Bytes());
    if (kind == 3) return Element(Universal(6), RandomOid());
    if (kind == 4) return Time(23, 1950, 100);
    if (kind == 5) return Time(24, 1601, 8000);
    if (kind == 6) return Element(Context(TagNumber(), false), RandomBytes(40));
    if (kind == 7) return Element(Universal(3), Cat({{static_cast<BYTE>(Pick(8))}, RandomBytes(20)}));
    return Element(Universal(Pick(2) ? 4 : 19), RandomBytes(Pick(4) == 0 ? 400 : 30));  // some long
  }

  std::mt19937 rng_;
};

// DER again from a tree that was read: values decoded and re-encoded, constructed elements rebuilt.
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
  return Constructed(info, items);
}

TEST(RoundTrip, DerAndBerTreesGiveTheSameDer) {
  TreeGen gen(20240501);
  for (int i = 0; i < 800; ++i) {
    const Node tree = gen.Make(5);
    const bool ber = i % 2;
    const Bytes bytes = ber ? TreeGen::Ber(tree) : ToBytes(tree.der);
    const DWORD size = Size(bytes);
    SCOPED_TRACE(ToHex(bytes));
    CASNTUnit unit;
    int status = -1;
    ASSERT_EQ(unit.ReadFromMemory(bytes.data(), size, &status), size);
    ASSERT_EQ(status, 0);
    EXPECT_EQ(Rebuild(unit), tree.der);
    if (!ber) {
      IdentObj again;
      unit.GetEncoded(again, &status);
      EXPECT_EQ(again, tree.der);
      continue;
    }
    CASNTBaseRecord record;
    EXPECT_EQ(record.ReadFromMemory(bytes.data(), size, &status), size);
  }
}

}  // namespace
}  // namespace cmskit::test
