// Generated element trees.
#include <cstring>
#include <memory>
#include <tuple>

#include "asn_test_util.h"
#include "cmskit/asn_record.h"
#include "cmskit/asn_types.h"

namespace cmskit::test {
namespace {

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
  if (info.tagClass == kASNTUniversal) return ASNTPutSequence(items, info.tagNumber, nullptr);
  Bytes contents;
  for (const IdentObj& item : items) contents.insert(contents.end(), item.data(), item.data() + item.size());
  return ASNTEncodeElement(info, contents.data(), static_cast<DWORD>(contents.size()));
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

void ReadEverything(const Bytes& input) {
  const size_t size = input.size();
  std::unique_ptr<BYTE[]> copy(new BYTE[size ? size : 1]);
  if (size) memcpy(copy.get(), input.data(), size);
  const BYTE* data = copy.get();
  const DWORD length = static_cast<DWORD>(size);
  int status = 0;
  ASNTElementInfo info;
  if (ASNTReadHeader(info, data, length) == 0) {
    const DWORD rest = static_cast<DWORD>(data + size - info.contents);
    EXPECT_LE(ASNTGetIndefiniteLength(info.contents, rest, info.constructed != 0, &status), rest);
    if (info.length != kASNTIndefinite && info.length <= rest) ASNTDecodeElement(info, &status);
  }
  std::list<IdentObj> out;
  EXPECT_LE(ASNTGetSequence(out, data, length, &status), length);
  ASNTSplitElements(out, data, length);
  CASNTUnit unit;
  EXPECT_LE(unit.ReadFromMemory(data, length, &status), length);
  CASNTBaseRecord record;
  EXPECT_LE(record.ReadFromMemory(data, length, &status), length);
  if (status == 0) record.GetValue(&status);
  CASNTIdData idData;
  EXPECT_LE(idData.ReadData(data, length, &status), length);
}

TEST(Hostile, Vectors) {
  const std::tuple<const char*, int, int> kCases[] = {
      {"30 84 FF FF FF F0 02 01 05", kStatusCorrupt, kStatusTruncated},  // near 4 GiB
      {"30 84 80 00 00 00 02 01 05", kStatusCorrupt, kStatusTruncated},
      {"30 88 7F FF FF FF 7F FF FF FF 05 00", kStatusCorrupt, kStatusTruncated},
      {"30 88 00 00 00 00 FF FF FF FF 05 00", kStatusCorrupt, kStatusBadTag},
      {"30 09 04 84 FF FF FF FE 41 41 41", kStatusCorrupt, kStatusTruncated},  // child wraps the parent
      {"30 82", kStatusCorrupt, kStatusBadTag},
      {"3F 81 81", kStatusBadTag, kStatusBadTag},
      {"30 80 30 80 30 80 02 01 05", kStatusCorrupt, kStatusCorrupt},
      {"30 80 02 01 05 00", kStatusCorrupt, kStatusBadTag},
      {"30 80 04 80 41 42", kStatusCorrupt, kStatusBadTag}};
  for (const auto& [hex, sequenceStatus, unitStatus] : kCases) {
    const Bytes bytes = Hex(hex);
    std::list<IdentObj> out;
    int status = 0;
    ASNTGetSequence(out, bytes.data(), Size(bytes), &status);
    EXPECT_EQ(status, sequenceStatus) << hex;
    CASNTUnit unit;
    unit.ReadFromMemory(bytes.data(), Size(bytes), &status);
    EXPECT_EQ(status, unitStatus) << hex;
    ReadEverything(bytes);
  }
}

TEST(Hostile, TruncationsAndMutations) {
  TreeGen gen(5);
  std::mt19937 rng(99);
  for (int i = 0; i < 300; ++i) {
    const Node tree = gen.Make(4);
    const Bytes bytes = i % 2 ? TreeGen::Ber(tree) : ToBytes(tree.der);
    if (i < 120) {
      for (size_t cut = 0; cut < bytes.size(); ++cut)
        ReadEverything(Bytes(bytes.begin(), bytes.begin() + cut));
    }
    for (int round = 0; round < 20; ++round) {
      Bytes mutated = bytes;
      for (int e = 0, edits = 1 + static_cast<int>(rng() % 4); e < edits && !mutated.empty(); ++e) {
        const size_t at = rng() % mutated.size();
        const uint32_t kind = rng() % 4;
        if (kind == 0) mutated[at] ^= static_cast<BYTE>(1u << (rng() % 8));
        if (kind == 1) mutated[at] = static_cast<BYTE>(0x80 | (rng() % 9));  // a long-form length octet
        if (kind == 2) mutated.insert(mutated.begin() + static_cast<long>(at), {0x00, 0x00});
        if (kind == 3) mutated.erase(mutated.begin() + static_cast<long>(at));
      }
      ReadEverything(mutated);
    }
  }
}

}  // namespace
}  // namespace cmskit::test
