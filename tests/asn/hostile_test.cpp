// Hostile input: lengths that overflow 32 bits, headers at the very end of a
// buffer, unterminated indefinite lengths, and mutated messages fed to every
// reader. Run under the sanitizers these catch any read outside the buffer.
#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "asn_test_util.h"
#include "cmskit/asn_record.h"
#include "cmskit/asn_types.h"
#include "cmskit/status.h"
#include "tree_gen.h"

namespace cmskit::test {
namespace {

// Every reader over exactly `size` bytes of a heap copy, so a read past the
// end is a heap overflow the sanitizers report.
void ReadEverything(const Bytes& input) {
  const size_t size = input.size();
  std::unique_ptr<BYTE[]> copy(new BYTE[size ? size : 1]);
  if (size) memcpy(copy.get(), input.data(), size);
  const BYTE* data = copy.get();
  const DWORD length = static_cast<DWORD>(size);

  ASNTElementInfo info;
  if (ASNTReadHeader(info, data, length) == 0) {
    const DWORD rest = static_cast<DWORD>(data + size - info.contents);
    int status = 0;
    EXPECT_LE(ASNTGetIndefiniteLength(info.contents, rest, info.constructed != 0, &status), rest);
    if (info.length != kASNTIndefinite && info.length <= rest) ASNTDecodeElement(info, &status);
  }
  std::list<IdentObj> out;
  int status = 0;
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

struct HostileCase {
  const char* name;
  const char* bytes;
  int sequenceStatus;
  int unitStatus;
};

const HostileCase kHostileCases[] = {
    {"length near 4 GiB", "30 84 FF FF FF F0 02 01 05", kStatusCorrupt, kStatusTruncated},
    {"length 2^31", "30 84 80 00 00 00 02 01 05", kStatusCorrupt, kStatusTruncated},
    {"eight octets, huge", "30 88 7F FF FF FF 7F FF FF FF 05 00", kStatusCorrupt, kStatusTruncated},
    {"eight octets ending in the marker", "30 88 00 00 00 00 FF FF FF FF 05 00", kStatusCorrupt,
     kStatusBadTag},
    {"child length wraps the parent", "30 09 04 84 FF FF FF FE 41 41 41", kStatusCorrupt, kStatusTruncated},
    {"header at the end", "30 82", kStatusCorrupt, kStatusBadTag},
    {"identifier only", "30", kStatusCorrupt, kStatusBadTag},
    {"high tag at the end", "3F 81 81", kStatusBadTag, kStatusBadTag},
    {"unterminated indefinite", "30 80 30 80 30 80 02 01 05", kStatusCorrupt, kStatusCorrupt},
    {"half end-of-contents", "30 80 02 01 05 00", kStatusCorrupt, kStatusBadTag},
    {"indefinite primitive unterminated", "30 80 04 80 41 42", kStatusCorrupt, kStatusBadTag},
};

TEST(Hostile, Vectors) {
  for (const HostileCase& c : kHostileCases) {
    SCOPED_TRACE(c.name);
    const Bytes bytes = Hex(c.bytes);
    std::list<IdentObj> out;
    int status = 0;
    ASNTGetSequence(out, bytes.data(), static_cast<DWORD>(bytes.size()), &status);
    EXPECT_EQ(status, c.sequenceStatus);
    CASNTUnit unit;
    unit.ReadFromMemory(bytes.data(), static_cast<DWORD>(bytes.size()), &status);
    EXPECT_EQ(status, c.unitStatus);
    ReadEverything(bytes);
  }
}

TEST(Hostile, EveryTruncationOfRealElements) {
  TreeGen gen(5);
  for (int i = 0; i < 60; ++i) {
    const Node tree = gen.Make(4);
    const Bytes der(tree.der.data(), tree.der.data() + tree.der.size());
    const Bytes ber = TreeGen::Ber(tree);
    for (const Bytes* whole : {&der, &ber}) {
      for (size_t cut = 0; cut < whole->size(); ++cut)
        ReadEverything(Bytes(whole->begin(), whole->begin() + cut));
    }
  }
}

TEST(Hostile, RandomMutations) {
  TreeGen gen(11);
  std::mt19937 rng(99);
  for (int i = 0; i < 300; ++i) {
    const Node tree = gen.Make(4);
    Bytes bytes = i % 2 ? TreeGen::Ber(tree) : Bytes(tree.der.data(), tree.der.data() + tree.der.size());
    for (int round = 0; round < 20; ++round) {
      Bytes mutated = bytes;
      const int edits = 1 + static_cast<int>(rng() % 4);
      for (int e = 0; e < edits && !mutated.empty(); ++e) {
        const size_t at = rng() % mutated.size();
        switch (rng() % 4) {
          case 0:
            mutated[at] ^= static_cast<BYTE>(1u << (rng() % 8));
            break;
          case 1:
            mutated[at] = static_cast<BYTE>(0x80 | (rng() % 9));
            break;
          case 2:
            mutated.insert(mutated.begin() + static_cast<long>(at), {0x00, 0x00});
            break;
          default:
            mutated.erase(mutated.begin() + static_cast<long>(at));
            break;
        }
      }
      ReadEverything(mutated);
    }
  }
}

}  // namespace
}  // namespace cmskit::test
