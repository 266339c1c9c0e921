// IdentObj and CTOOCryptBitBlob: owning blobs that copy deeply and sort by
// length first.
#include <gtest/gtest.h>

#include <vector>

#include "cmskit/identobj.h"

namespace cmskit {
namespace {

using Bytes = std::vector<BYTE>;

IdentObj Obj(const Bytes& bytes) { return IdentObj(bytes.data(), static_cast<uint32_t>(bytes.size())); }

Bytes Contents(const IdentObj& obj) { return Bytes(obj.pbData, obj.pbData + obj.cbData); }

TEST(IdentObj, OrderIsByLengthFirst) {
  const IdentObj sorted[] = {IdentObj(), Obj({0x02}), Obj({0x05}), Obj({0x01, 0x00})};
  for (size_t i = 0; i < 4; ++i) {
    for (size_t j = 0; j < 4; ++j) {
      SCOPED_TRACE(testing::Message() << i << " vs " << j);
      EXPECT_EQ(sorted[i] < sorted[j], i < j);
      EXPECT_EQ(sorted[i] > sorted[j], i > j);  // so an empty one is never greater
      EXPECT_EQ(sorted[i] == sorted[j], i == j);
      EXPECT_EQ(sorted[i] != sorted[j], i != j);
    }
  }
  EXPECT_TRUE(Obj({0x05}) == Obj({0x05}));
  EXPECT_FALSE(Obj({0x05}) < Obj({0x05}));
}

TEST(CTOOCryptBitBlob, CopiesCarryTheUnusedBits) {
  CTOOCryptBitBlob bits;
  bits.SetData("\xF0", 1);
  bits.cUnusedBits = 4;
  const CTOOCryptBitBlob copy(bits);
  EXPECT_EQ(copy.cUnusedBits, 4u);
  EXPECT_NE(copy.pbData, bits.pbData);
  CTOOCryptBitBlob assigned;
  assigned = bits;
  const CTOOCryptBitBlob& alias = assigned;
  assigned = alias;
  EXPECT_EQ(assigned.cUnusedBits, 4u);
  EXPECT_EQ(Contents(assigned), (Bytes{0xF0}));
  assigned.Resize(2);
  EXPECT_EQ(assigned.cUnusedBits, 4u);
  IdentObj& base = assigned;
  base.Clear();  // inherited through the table
  EXPECT_TRUE(assigned.IsEmpty());

  const CRYPT_BIT_BLOB* platform = bits.AsBitBlob();  // what CryptoAPI sees
  EXPECT_EQ(platform->cbData, 1u);
  EXPECT_EQ(platform->pbData, bits.pbData);
  EXPECT_EQ(platform->cUnusedBits, 4u);
}

TEST(IdentObj, SetDataAllocateResizeClear) {
  IdentObj obj;
  obj.SetData("xyz", 3);
  EXPECT_EQ(Contents(obj), (Bytes{'x', 'y', 'z'}));
  obj.SetData(nullptr, 8);
  EXPECT_TRUE(obj.IsEmpty());
  obj.Allocate(4);
  EXPECT_EQ(obj.cbData, 4u);
  obj.Allocate(0);
  EXPECT_EQ(obj.pbData, nullptr);

  obj = Obj({1, 2, 3});
  const BYTE* before = obj.pbData;
  obj.Resize(3);
  EXPECT_EQ(obj.pbData, before);  // same size: no new buffer
  obj.Resize(5);
  ASSERT_EQ(obj.cbData, 5u);
  EXPECT_EQ(Bytes(obj.pbData, obj.pbData + 3), (Bytes{1, 2, 3}));
  obj.Resize(2);
  EXPECT_EQ(Contents(obj), (Bytes{1, 2}));
  obj.Resize(0);  // a zero-length allocation, freed by Clear
  EXPECT_EQ(obj.cbData, 0u);
  EXPECT_NE(obj.pbData, nullptr);
  obj.Clear();
  EXPECT_EQ(obj.pbData, nullptr);
  obj.Resize(2);
  EXPECT_EQ(obj.cbData, 2u);
}

}  // namespace
}  // namespace cmskit
