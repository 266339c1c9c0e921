// Byte helpers of the ASN.1 layer tests, and random element trees for the property tests.
#ifndef CMSKIT_TESTS_ASN_ASN_TEST_UTIL_H
#define CMSKIT_TESTS_ASN_ASN_TEST_UTIL_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <list>
#include <random>
#include <string>
#include <vector>

#include "cmskit/asn_codec.h"
#include "cmskit/identobj.h"
#include "cmskit/status.h"
#include "common/bytes.h"

namespace cmskit::test {

using cmskit_testing::Bytes;
using cmskit_testing::Cat;
using cmskit_testing::Hex;

inline std::string ToHex(const BYTE* data, size_t size) {
  std::string out;
  char octet[4];
  for (size_t i = 0; i < size; ++i) {
    snprintf(octet, sizeof octet, i ? " %02X" : "%02X", data[i]);
    out += octet;
  }
  return out;
}
inline std::string ToHex(const IdentObj& object) { return ToHex(object.data(), object.size()); }
inline std::string ToHex(const Bytes& bytes) { return ToHex(bytes.data(), bytes.size()); }
inline std::string Text(const IdentObj& object) {
  return std::string(reinterpret_cast<const char*>(object.data()), object.size());
}
inline IdentObj Obj(const Bytes& bytes) {
  return IdentObj(bytes.data(), static_cast<uint32_t>(bytes.size()));
}
inline Bytes ToBytes(const IdentObj& object) { return Bytes(object.data(), object.data() + object.size()); }
inline DWORD Size(const Bytes& bytes) { return static_cast<DWORD>(bytes.size()); }
inline std::vector<std::string> HexList(const std::list<IdentObj>& items) {
  std::vector<std::string> out;
  for (const IdentObj& item : items) out.push_back(ToHex(item));
  return out;
}
inline ASNTElementInfo Info(uint8_t tagClass, uint32_t tag, bool constructed) {
  return ASNTElementInfo{tagClass, static_cast<uint8_t>(constructed ? kASNTConstructed : 0), tag, 0, nullptr};
}
inline ASNTElementInfo Universal(uint32_t tag, bool constructed = false) {
  return Info(kASNTUniversal, tag, constructed);
}
inline ASNTElementInfo Context(uint32_t tag, bool constructed) {
  return Info(kASNTContext, tag, constructed);
}
inline FILETIME MakeFileTime(WORD year, WORD month, WORD day, WORD hour, WORD minute, WORD second,
                             WORD ms = 0) {
  const SYSTEMTIME st{year, month, 0, day, hour, minute, second, ms};
  FILETIME ft{};
  SystemTimeToFileTime(&st, &ft);
  return ft;
}

// Runs `call` expecting XTOOStatus with `status` (and `origin` when given).
inline void ExpectThrowsStatus(const std::function<void()>& call, int status, const char* origin = nullptr) {
  try {
    call();
    ADD_FAILURE() << "no exception, expected status " << status;
  } catch (const XTOOStatus& e) {
    EXPECT_EQ(e.GetStatus(), status);
    EXPECT_STREQ(e.GetMessage().c_str(), origin ? origin : e.GetMessage().c_str());
  }
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
    if (kind < 2) {
      node.der = ASNTPutSequence(items, node.info.tagNumber, nullptr);
      return node;
    }
    Bytes contents;
    for (const IdentObj& item : items) contents = Cat({contents, ToBytes(item)});
    node.der = ASNTEncodeElement(node.info, contents.data(), Size(contents));
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
    if (kind == 7)
      return Element(Universal(3), Cat({{static_cast<BYTE>(Pick(8))}, RandomBytes(20)}));  // unused bits
    // OCTET STRING or PrintableString, some long
    return Element(Universal(Pick(2) ? 4 : 19), RandomBytes(Pick(4) == 0 ? 400 : 30));
  }

  std::mt19937 rng_;
};

}  // namespace cmskit::test

#endif
