// CASNTBaseRecord and CASNTUnit: reading from memory and files, the lazy
// encoded/decoded forms, copies, the primitive context-tag rule and the
// depth limit of the tree reader.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "asn_test_util.h"
#include "cmskit/asn_record.h"
#include "cmskit/file.h"
#include "cmskit/status.h"

namespace cmskit::test {
namespace {

TEST(CASNTBaseRecord, ReadFromMemoryBounds) {
  const Bytes bytes = Hex("04 03 01 02 03");
  CASNTBaseRecord record;
  int status = -1;
  EXPECT_EQ(record.ReadFromMemory(bytes.data(), 4, &status), 0u);
  EXPECT_EQ(status, kStatusTruncated);
  EXPECT_EQ(record.GetTagNumber(), 0u);
  EXPECT_TRUE(record.GetEncodedRef(nullptr).IsEmpty());
  EXPECT_EQ(record.ReadFromMemory(bytes.data(), 5, &status), 5u);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(record.GetTagNumber(), 4u);
  EXPECT_EQ(record.GetLength(), 3u);
  EXPECT_FALSE(record.IsConstructed());
  EXPECT_EQ(ToHex(record.GetValue(&status)), "01 02 03");
  EXPECT_EQ(record.GetInfo().contents, record.GetEncodedRef(nullptr).data() + 2);
}

TEST(CASNTBaseRecord, StatusConvention) {
  const Bytes bytes = Hex("04 03 01");
  CASNTBaseRecord record;
  try {
    record.ReadFromMemory(bytes.data(), 3, nullptr);
    FAIL() << "no exception";
  } catch (const XTOOStatus& e) {
    EXPECT_EQ(e.GetStatus(), kStatusTruncated);
    EXPECT_STREQ(e.GetMessage().c_str(), "CASNTBaseRecord::ReadASNInfo");
  }
  int status = -1;
  EXPECT_EQ(record.ReadASNInfo(bytes.data(), 3, &status), 2u);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(record.GetLength(), 3u);
}

TEST(CASNTBaseRecord, BuiltFromValueMatchesEncoder) {
  const Bytes integer = {0x80, 0x00};
  const FILETIME time = MakeFileTime(2020, 2, 29, 1, 2, 3);
  const struct {
    ASNTElementInfo info;
    IdentObj value;
  } cases[] = {
      {Universal(2), Obj(integer)},
      {Universal(6), IdentObj("1.2.643.2.2.21", 14)},
      {Universal(5), IdentObj()},
      {Universal(23), IdentObj(&time, sizeof time)},
      {Universal(16, true), Obj(Hex("05 00"))},
      {Context(3, false), Obj(Hex("01 02"))},
  };
  for (const auto& c : cases) {
    CASNTBaseRecord record(c.info, c.value);
    IdentObj out;
    int status = -1;
    record.GetEncoded(out, &status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(ToHex(out), ToHex(ASNTEncodeElement(c.info, c.value.data(), c.value.size())));
    EXPECT_EQ(record.GetEncodedSize(), out.size());
    EXPECT_EQ(record.GetValue(&status), c.value);
  }
  CASNTBaseRecord unencodable(Universal(7), Obj(Hex("01")));
  int status = 0;
  IdentObj out;
  unencodable.GetEncoded(out, &status);
  EXPECT_EQ(status, kStatusUnsupported);
  EXPECT_TRUE(out.IsEmpty());
}

class TempFile {
 public:
  explicit TempFile(const Bytes& bytes) : path_(testing::TempDir() + "cmskit_asn_record.bin") {
    FILE* f = fopen(path_.c_str(), "wb");
    if (!bytes.empty()) fwrite(bytes.data(), 1, bytes.size(), f);
    fclose(f);
  }
  ~TempFile() { remove(path_.c_str()); }
  const char* path() const { return path_.c_str(); }

 private:
  std::string path_;
};

struct FileCase {
  const char* name;
  const char* bytes;
  DWORD offset;
  int status;
  DWORD size;
};

const FileCase kFileCases[] = {
    {"definite", "30 03 02 01 05 FF", 0, 0, 5},
    {"unknown offset", "04 00 FF", 0xFFFFFFFF, 0, 2},
    {"four length octets", "04 84 00 00 00 01 41", 0, 0, 7},
    {"five length octets", "04 85 00 00 00 00 01 41", 0, kStatusCorrupt, 0},
    {"indefinite", "30 80 04 01 41 00 00 99", 0, 0, 7},
    {"indefinite unterminated", "30 80 04 01 41 00", 0, kStatusCorrupt, 0},
    {"contents past the end", "04 05 41", 0, kStatusReadError, 0},
    {"length past the end", "04 82 01", 0, kStatusCorrupt, 0},
    {"malformed tag", "1F 81 81 81 81 81 81 81 81 81 81 81 81 81 81", 0, kStatusBadTag, 0},
    {"offset at the end", "05 00", 2, kStatusTruncated, 0},
    {"empty file", "", 0, kStatusTruncated, 0},
};

TEST(CASNTBaseRecord, ReadFromFile) {
  for (const FileCase& c : kFileCases) {
    SCOPED_TRACE(c.name);
    const Bytes bytes = Hex(c.bytes);
    TempFile temp(bytes);
    CTOOFile file(temp.path(), "rb");
    ASSERT_TRUE(file.IsOpen());
    CASNTBaseRecord record;
    int status = -1;
    EXPECT_EQ(record.ReadFromFile(file, c.offset, &status), c.size);
    EXPECT_EQ(status, c.status);
    if (status != 0) continue;
    EXPECT_EQ(ToHex(record.GetEncodedRef(nullptr)), ToHex(bytes.data(), c.size));
    EXPECT_EQ(file.Tell(), static_cast<int32_t>(c.size));
  }
}

TEST(CASNTBaseRecord, ReadASNInfoFromFileAndWriteToFile) {
  TempFile temp(Hex("A1 82 01 00"));
  CTOOFile file(temp.path(), "r+b");
  CASNTBaseRecord record;
  int status = -1;
  EXPECT_EQ(record.ReadASNInfo(file, 0, &status), 4u);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(record.GetTagClass(), kASNTContext);
  EXPECT_EQ(record.GetLength(), 256u);

  CASNTBaseRecord value(Universal(2), Obj({0x05}));
  EXPECT_EQ(value.WriteToFile(file, 5, &status), 0u);
  EXPECT_EQ(status, kStatusTruncated);
  EXPECT_EQ(value.WriteToFile(file, 4, &status), 3u);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(file.GetLength(), 7u);
  file.Seek(4, SEEK_SET);
  CASNTBaseRecord back;
  back.ReadFromFile(file, 4, &status);
  EXPECT_EQ(ToHex(back.GetEncodedRef(nullptr)), "02 01 05");
}

TEST(CASNTUnit, PrimitiveContextRule) {
  const Bytes wrapped = Hex("80 03 02 01 05");
  CASNTUnit unit;
  int status = -1;
  EXPECT_EQ(unit.ReadFromMemory(wrapped.data(), 5, &status), 5u);
  ASSERT_EQ(unit.GetChildCount(), 1u);
  EXPECT_EQ(ToHex(unit.GetChild(0)->GetEncodedRef(nullptr)), "02 01 05");
  EXPECT_EQ(unit.GetChild(1), nullptr);

  for (const char* leaf : {"80 02 01 02", "80 04 02 01 05 00", "80 00", "02 03 02 01 05"}) {
    const Bytes bytes = Hex(leaf);
    EXPECT_EQ(unit.ReadFromMemory(bytes.data(), static_cast<DWORD>(bytes.size()), &status), bytes.size());
    EXPECT_EQ(status, 0);
    EXPECT_EQ(unit.GetChildCount(), 0u) << leaf;
    EXPECT_EQ(ToHex(unit.GetEncodedRef(nullptr)), ToHex(bytes));
  }
}

TEST(CASNTUnit, Tree) {
  const Bytes bytes = Hex("30 80 31 07 02 01 01 A0 02 05 00 30 00 04 02 41 42 00 00");
  CASNTUnit unit;
  int status = -1;
  ASSERT_EQ(unit.ReadFromMemory(bytes.data(), static_cast<DWORD>(bytes.size()), &status), bytes.size());
  ASSERT_EQ(unit.GetChildCount(), 3u);
  auto* set = dynamic_cast<CASNTUnit*>(unit.GetChild(0));
  ASSERT_NE(set, nullptr);
  EXPECT_EQ(set->GetTagNumber(), 17u);
  ASSERT_EQ(set->GetChildCount(), 2u);
  auto* explicitTag = dynamic_cast<CASNTUnit*>(set->GetChild(1));
  ASSERT_EQ(explicitTag->GetChildCount(), 1u);
  EXPECT_EQ(explicitTag->GetChild(0)->GetTagNumber(), 5u);
  EXPECT_EQ(dynamic_cast<CASNTUnit*>(unit.GetChild(1))->GetChildCount(), 0u);
  EXPECT_EQ(ToHex(unit.GetChild(2)->GetValue(nullptr)), "41 42");

  CASNTUnit copy(unit);
  IdentObj out;
  copy.GetEncoded(out, &status);
  EXPECT_EQ(ToHex(out), ToHex(bytes));
  EXPECT_EQ(dynamic_cast<CASNTUnit*>(copy.GetChild(0))->GetChildCount(), 2u);
  CASNTUnit assigned;
  assigned = copy;
  EXPECT_EQ(assigned.GetChildCount(), 3u);
}

struct UnitFailure {
  const char* name;
  const char* bytes;
  int status;
};

const UnitFailure kUnitFailures[] = {
    {"indefinite without end-of-contents", "30 80 02 01 05", kStatusCorrupt},
    {"indefinite header ends the buffer", "30 80", kStatusCorrupt},
    {"header failure", "30", kStatusBadTag},
    {"bad child header", "30 02 02 81", kStatusBadTag},
    {"definite past the buffer", "30 05 02 01 05", kStatusTruncated},
    {"child past its parent", "30 03 04 05 01 02 03 04 05", kStatusTruncated},
    {"primitive past the buffer", "04 02 01", kStatusTruncated},
};

TEST(CASNTUnit, Failures) {
  for (const UnitFailure& c : kUnitFailures) {
    SCOPED_TRACE(c.name);
    const Bytes bytes = Hex(c.bytes);
    CASNTUnit unit;
    int status = -1;
    EXPECT_EQ(unit.ReadFromMemory(bytes.data(), static_cast<DWORD>(bytes.size()), &status), 0u);
    EXPECT_EQ(status, c.status);
    EXPECT_EQ(unit.GetChildCount(), 0u);
  }
  CASNTUnit unit;
  const Bytes bytes = Hex("30 80");
  try {
    unit.ReadFromMemory(bytes.data(), 2, nullptr);
    FAIL() << "no exception";
  } catch (const XTOOStatus& e) {
    EXPECT_STREQ(e.GetMessage().c_str(), "CASNTUnit::Read");
  }
}

Bytes Nested(uint32_t depth, bool indefinite) {
  Bytes inner = {0x05, 0x00};
  for (uint32_t i = 0; i < depth; ++i) {
    Bytes outer;
    if (indefinite) {
      outer = {0x30, 0x80};
      outer.insert(outer.end(), inner.begin(), inner.end());
      outer.insert(outer.end(), {0x00, 0x00});
    } else {
      IdentObj element =
          ASNTEncodeElement(Universal(16, true), inner.data(), static_cast<DWORD>(inner.size()));
      outer.assign(element.data(), element.data() + element.size());
    }
    inner.swap(outer);
  }
  return inner;
}

TEST(CASNTUnit, DepthLimit) {
  for (bool indefinite : {false, true}) {
    CASNTUnit unit;
    int status = -1;
    const Bytes fits = Nested(kASNTMaxDepth, indefinite);
    EXPECT_EQ(unit.ReadFromMemory(fits.data(), static_cast<DWORD>(fits.size()), &status), fits.size());
    EXPECT_EQ(status, 0);
    const Bytes deep = Nested(kASNTMaxDepth + 1, indefinite);
    EXPECT_EQ(unit.ReadFromMemory(deep.data(), static_cast<DWORD>(deep.size()), &status), 0u);
    EXPECT_EQ(status, kStatusCorrupt);
    const Bytes veryDeep = Nested(5000, indefinite);
    EXPECT_EQ(unit.ReadFromMemory(veryDeep.data(), static_cast<DWORD>(veryDeep.size()), &status), 0u);
    EXPECT_EQ(status, kStatusCorrupt);
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
  EXPECT_EQ(status, 0);
  EXPECT_EQ(ToHex(out), "30 07 02 01 07 A0 02 05 00");
  EXPECT_EQ(sequence.GetEncodedSize(), 9u);
  BYTE small[8];
  EXPECT_EQ(sequence.CopyEncoded(small, 8, &status), 0u);
  EXPECT_EQ(status, kStatusTruncated);
}

}  // namespace
}  // namespace cmskit::test
