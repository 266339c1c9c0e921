// Random element trees for the property tests: every node knows its DER bytes
// and its children, and can be re-encoded with indefinite lengths (BER).
#ifndef CMSKIT_TESTS_ASN_TREE_GEN_H
#define CMSKIT_TESTS_ASN_TREE_GEN_H

#include <random>
#include <string>
#include <vector>

#include "asn_test_util.h"
#include "cmskit/asn_codec.h"

namespace cmskit::test {

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
    const uint32_t count = Pick(6);
    std::list<IdentObj> items;
    for (uint32_t i = 0; i < count; ++i) {
      node.children.push_back(Make(depth - 1));
      items.push_back(node.children.back().der);
    }
    if (kind < 2) {
      node.der = ASNTPutSequence(items, node.info.tagNumber, nullptr);
    } else {
      IdentObj contents = ASNTPutSequence(items, 16, nullptr);
      const uint32_t header = contents.size() - Total(items);
      node.der = ASNTEncodeElement(node.info, contents.data() + header, contents.size() - header);
    }
    return node;
  }

  // The same tree with every constructed length indefinite.
  static Bytes Ber(const Node& node) {
    if (node.children.empty() && !node.info.constructed)
      return Bytes(node.der.data(), node.der.data() + node.der.size());
    IdentObj header = ASNTEncodeElement(node.info, nullptr, 0);
    Bytes out(header.data(), header.data() + header.size() - 1);
    out.push_back(0x80);
    for (const Node& child : node.children) {
      const Bytes inner = Ber(child);
      out.insert(out.end(), inner.begin(), inner.end());
    }
    out.insert(out.end(), {0x00, 0x00});
    return out;
  }

 private:
  static uint32_t Total(const std::list<IdentObj>& items) {
    uint32_t sum = 0;
    for (const IdentObj& item : items) sum += item.size();
    return sum;
  }

  uint32_t Pick(uint32_t n) { return std::uniform_int_distribution<uint32_t>(0, n - 1)(rng_); }

  uint32_t TagNumber() { return Pick(4) == 0 ? 31 + Pick(5000) : Pick(31); }

  Bytes RandomBytes(uint32_t maxLength) {
    Bytes bytes(Pick(maxLength + 1));
    for (BYTE& b : bytes) b = static_cast<BYTE>(Pick(256));
    return bytes;
  }

  std::string RandomOid() {
    std::string oid = std::to_string(Pick(3)) + "." + std::to_string(Pick(40));
    const uint32_t arcs = Pick(8);
    for (uint32_t i = 0; i < arcs; ++i)
      oid += "." + std::to_string(Pick(2) ? Pick(128) : static_cast<uint32_t>(rng_()));
    return oid;
  }

  FILETIME RandomTime(WORD firstYear, WORD years) {
    return MakeFileTime(static_cast<WORD>(firstYear + Pick(years)), static_cast<WORD>(1 + Pick(12)),
                        static_cast<WORD>(1 + Pick(28)), static_cast<WORD>(Pick(24)),
                        static_cast<WORD>(Pick(60)), static_cast<WORD>(Pick(60)));
  }

  Node Leaf() {
    Node node;
    const uint32_t kind = Pick(10);
    Bytes value;
    switch (kind) {
      case 0:
        node.info = Universal(2);
        value = RandomBytes(24);
        if (value.empty()) value.push_back(0);
        break;
      case 1:
        node.info = Universal(1);
        value = RandomBytes(2);
        break;
      case 2:
        node.info = Universal(5);
        break;
      case 3: {
        node.info = Universal(6);
        const std::string oid = RandomOid();
        value.assign(oid.begin(), oid.end());
        break;
      }
      case 4: {
        node.info = Universal(23);
        const FILETIME t = RandomTime(1950, 100);
        node.der = ASNTEncodeElement(node.info, &t, sizeof t);
        return node;
      }
      case 5: {
        node.info = Universal(24);
        const FILETIME t = RandomTime(1601, 8000);
        node.der = ASNTEncodeElement(node.info, &t, sizeof t);
        return node;
      }
      case 6:
        node.info = Context(TagNumber(), false);
        value = RandomBytes(40);
        break;
      case 7:
        node.info = Universal(3);
        value = RandomBytes(20);
        value.insert(value.begin(), static_cast<BYTE>(Pick(8)));
        break;
      default:
        node.info = Universal(Pick(2) ? 4 : 19);
        value = RandomBytes(Pick(4) == 0 ? 400 : 30);
        break;
    }
    node.der = ASNTEncodeElement(node.info, value.data(), static_cast<DWORD>(value.size()));
    return node;
  }

  std::mt19937 rng_;
};

}  // namespace cmskit::test

#endif
