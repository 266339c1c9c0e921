// CASNTBaseRecord, CASNTUnit and CASNTIdData from memory and files, built,
// copied and depth-limited; IdentObj. Tables in asn/cases.txt.
#include <memory>

#include "asn_test_util.h"
#include "cmskit/asn_record.h"
#include "cmskit/asn_types.h"
#include "cmskit/file.h"
#include "common/table.h"
#include "common/test_util.h"

namespace cmskit::test {
namespace {

using cmskit_testing::Row;

TEST(CASNTBaseRecord, ReadFromMemory) {
  const Bytes bytes = Hex("04 03 01 02 03");
  CASNTBaseRecord record;
  int status = -1;
  EXPECT_EQ(record.ReadFromMemory(bytes.data(), 4, &status), 0u);
  EXPECT_EQ(status, kStatusTruncated);
  EXPECT_TRUE(record.GetEncodedRef(nullptr).IsEmpty());
  ExpectThrowsStatus([&] { record.ReadFromMemory(bytes.data(), 3, nullptr); }, kStatusTruncated,
                     "CASNTBaseRecord::ReadASNInfo");
  EXPECT_EQ(record.ReadASNInfo(bytes.data(), 3, &status), 2u);  // the header alone is enough
  EXPECT_EQ(record.GetLength(), 3u);
  EXPECT_EQ(record.ReadFromMemory(bytes.data(), 5, &status), 5u);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(ToHex(record.GetValue(&status)), "01 02 03");
  EXPECT_EQ(record.GetInfo().contents, record.GetEncodedRef(nullptr).data() + 2);
  const Bytes indefinite = Hex("30 80 02 01 05 00 00 FF");  // the children, without the closing zeros
  EXPECT_EQ(record.ReadFromMemory(indefinite.data(), Size(indefinite), &status), 7u);
  EXPECT_EQ(ToHex(record.GetValue(&status)), "02 01 05");
}

TEST(CASNTBaseRecord, BuiltFromValueMatchesEncoder) {
  const FILETIME time = MakeFileTime(2020, 2, 29, 1, 2, 3);
  const std::pair<ASNTElementInfo, IdentObj> kCases[] = {{Universal(2), Obj({0x80, 0x00})},
                                                         {Universal(23), IdentObj(&time, sizeof time)},
                                                         {Universal(16, true), Obj(Hex("05 00"))},
                                                         {Universal(7), Obj(Hex("01"))}};
  for (const auto& [info, value] : kCases) {
    CASNTBaseRecord record(info, value);
    IdentObj out;
    int status = -1;
    record.GetEncoded(out, &status);
    EXPECT_EQ(ToHex(out), ToHex(ASNTEncodeElement(info, value.data(), value.size())));
    if (info.tagNumber == 7) {  // no encoding
      EXPECT_EQ(status, kStatusUnsupported);
      continue;
    }
    EXPECT_EQ(status, 0);
    EXPECT_EQ(record.GetEncodedSize(), out.size());
    EXPECT_EQ(record.GetValue(&status), value);
  }
}

TEST(CASNTBaseRecord, ReadFromFileAndWriteToFile) {
  const cmskit_testing::Table table("asn/cases.txt");
  cmskit_testing::TempDir dir;
  const std::string path = dir.Path("record.bin");
  CASNTBaseRecord record;
  int status = -1;
  for (const Row& row : table.Rows("fileRecord")) {
    cmskit_testing::WriteBytes(path, table.Octets(row[0]));
    CTOOFile file(path.c_str(), "rb");
    EXPECT_EQ(record.ReadFromFile(file, std::stoul(row[1]), &status), 0u) << row.where;
    EXPECT_EQ(status, std::stoi(row[2])) << row.where;
  }
  // The header alone, then an element written behind it.
  cmskit_testing::WriteBytes(path, Hex("A1 82 01 00"));
  CTOOFile file(path.c_str(), "r+b");
  EXPECT_EQ(record.ReadASNInfo(file, 0, &status), 4u);
  EXPECT_EQ(record.GetTagClass(), kASNTContext);
  EXPECT_EQ(record.GetLength(), 256u);
  CASNTBaseRecord value(Universal(2), Obj({0x05}));
  EXPECT_EQ(value.WriteToFile(file, 5, &status), 0u);
  EXPECT_EQ(status, kStatusTruncated);
  EXPECT_EQ(value.WriteToFile(file, 4, &status), 3u);
  EXPECT_EQ(file.GetLength(), 7u);
  file.Seek(4, SEEK_SET);  // switches the stream from writing to reading
  EXPECT_EQ(record.ReadFromFile(file, 0xFFFFFFFF, &status), 3u);  // from the file's own position
  EXPECT_EQ(ToHex(record.GetEncodedRef(nullptr)), "02 01 05");
}

TEST(CASNTUnit, TreePrimitiveContextRuleAndCopies) {
  const Bytes bytes = Hex("30 80 31 07 02 01 01 A0 02 05 00 30 00 04 02 41 42 80 03 02 01 05 00 00");
  CASNTUnit unit;
  int status = -1;
  ASSERT_EQ(unit.ReadFromMemory(bytes.data(), Size(bytes), &status), bytes.size());
  ASSERT_EQ(unit.GetChildCount(), 4u);
  auto* set = dynamic_cast<CASNTUnit*>(unit.GetChild(0));
  ASSERT_EQ(set->GetChildCount(), 2u);
  auto* explicitTag = dynamic_cast<CASNTUnit*>(set->GetChild(1));
  ASSERT_EQ(explicitTag->GetChildCount(), 1u);
  EXPECT_EQ(explicitTag->GetChild(0)->GetTagNumber(), 5u);
  EXPECT_EQ(ToHex(unit.GetChild(2)->GetValue(nullptr)), "41 42");
  // A primitive [n] holding exactly one element is read as that element.
  auto* wrapped = dynamic_cast<CASNTUnit*>(unit.GetChild(3));
  ASSERT_EQ(wrapped->GetChildCount(), 1u);
  EXPECT_EQ(ToHex(wrapped->GetChild(0)->GetEncodedRef(nullptr)), "02 01 05");
  EXPECT_EQ(wrapped->GetChild(1), nullptr);
  for (const char* leaf : {"80 02 01 02", "80 04 02 01 05 00", "80 00", "02 03 02 01 05"}) {
    CASNTUnit single;
    EXPECT_EQ(single.ReadFromMemory(Hex(leaf).data(), Size(Hex(leaf)), &status), Hex(leaf).size());
    EXPECT_EQ(single.GetChildCount(), 0u) << leaf;
  }
  CASNTUnit copy(unit), assigned;
  IdentObj out;
  copy.GetEncoded(out, &status);
  EXPECT_EQ(ToHex(out), ToHex(bytes));
  assigned = copy;
  EXPECT_EQ(dynamic_cast<CASNTUnit*>(assigned.GetChild(0))->GetChildCount(), 2u);
}

TEST(CASNTUnit, DepthLimitAndOrigin) {
  CASNTUnit broken;
  ExpectThrowsStatus([&] { broken.ReadFromMemory(Hex("30 80").data(), 2, nullptr); }, kStatusCorrupt,
                     "CASNTUnit::Read");
  for (const char* level : {"30[ ", "30{ "}) {
    for (uint32_t depth : {kASNTMaxDepth, kASNTMaxDepth + 1}) {
      std::string text = "05 00";
      for (uint32_t i = 0; i < depth; ++i) text = level + text + (level[2] == '[' ? " ]" : " }");
      const Bytes bytes = Hex(text);
      CASNTUnit unit;
      int status = -1;
      const bool fits = depth <= kASNTMaxDepth;
      EXPECT_EQ(unit.ReadFromMemory(bytes.data(), Size(bytes), &status), fits ? bytes.size() : 0u);
      EXPECT_EQ(status, fits ? 0 : kStatusCorrupt) << level << depth;
    }
  }
}

TEST(CASNTUnit, BuiltTree) {
  CASNTUnit sequence(kASNTUniversal, kASNTConstructed, 16);
  sequence.AddChild(std::make_unique<CASNTBaseRecord>(Universal(2), Obj({0x07})));
  auto tagged = std::make_unique<CASNTUnit>(kASNTContext, kASNTConstructed, 0);
  tagged->AddChild(std::make_unique<CASNTBaseRecord>(Universal(5), IdentObj()));
  sequence.AddChild(std::move(tagged));
  IdentObj out;
  int status = -1;
  sequence.GetEncoded(out, &status);
  EXPECT_EQ(ToHex(out), "30 07 02 01 07 A0 02 05 00");
  EXPECT_EQ(sequence.GetEncodedSize(), 9u);
  BYTE small[8];
  EXPECT_EQ(sequence.CopyEncoded(small, 8, &status), 0u);
  EXPECT_EQ(status, kStatusTruncated);
}

TEST(CASNTIdData, ReadWriteAndOrder) {
  const cmskit_testing::Table table("asn/cases.txt");
  CASNTIdData value;
  int status = -1;
  for (const Row& row : table.Rows("idData")) {
    const Bytes bytes = table.Octets(row[0]);
    EXPECT_EQ(value.ReadData(bytes.data(), Size(bytes), &status), std::stoul(row[1])) << row.where;
    EXPECT_EQ(status ? "!" + std::to_string(status)
                     : Text(value.id) + (value.data.IsEmpty() ? "" : " ") + ToHex(value.data),
              row[2])
        << row.where;
  }
  cmskit_testing::TempDir dir;
  cmskit_testing::WriteBytes(dir.Path("id.bin"), Hex("30 0B 06 03 55 04 03 30 04 02 02 01 00 FF"));
  CTOOFile file(dir.Path("id.bin").c_str(), "rb");
  EXPECT_EQ(value.ReadData(file, &status), 13u);
  EXPECT_EQ(ToHex(value.data), "30 04 02 02 01 00");
  EXPECT_EQ(file.Tell(), 13);
  EXPECT_EQ(value.ReadData(file, &status), 0u);
  EXPECT_NE(status, 0);
  ASNAlgorithmIdentifier algorithm("1.2.643.2.2.21", IdentObj());
  EXPECT_EQ(ToHex(algorithm.WriteData(&status)), "30 0A 06 06 2A 85 03 02 02 15 05 00");
  EXPECT_EQ(algorithm.GetWriteSize(), 12u);
  CASNTIdData broken("not an oid", IdentObj());
  EXPECT_TRUE(broken.WriteData(&status).IsEmpty());
  EXPECT_EQ(status, kStatusBadArgument);
  EXPECT_EQ(broken.GetWriteSize(), 0u);
  // Ordered by id only, deliberately: neither of a and b comes first.
  const CASNTIdData a("1", Obj({0x22, 0x22})), b("2", Obj({0x11})), c("3", Obj({0x33, 0x33}));
  EXPECT_FALSE(a < b || b < a || a == b || a < a);
  EXPECT_TRUE(a < c);
  CASNTIdData copy(a);
  EXPECT_TRUE(copy == a);
  copy = c;
  EXPECT_TRUE(copy != a);
}

TEST(IdentObj, OrderIsByLengthFirstAndResizeKeepsThePrefix) {
  IdentObj obj = Obj({1, 2, 3});
  obj.Resize(5);
  obj.Resize(2);
  EXPECT_EQ(ToHex(obj), "01 02");
  const IdentObj sorted[] = {IdentObj(), Obj({0x02}), Obj({0x05}), Obj({0x01, 0x00})};
  for (size_t i = 0; i < 4; ++i) {
    for (size_t j = 0; j < 4; ++j) {
      EXPECT_EQ(sorted[i] < sorted[j], i < j) << i << j;
      EXPECT_EQ(sorted[i] > sorted[j], i > j) << i << j;  // so an empty one is never greater
      EXPECT_EQ(sorted[i] == sorted[j], i == j) << i << j;
    }
  }
}

}  // namespace
}  // namespace cmskit::test
