// CASNTBaseRecord, CASNTUnit and CASNTIdData read from memory and files,
// built from values, copied and limited in depth; IdentObj as a blob.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <string>

#include "asn_test_util.h"
#include "cmskit/asn_record.h"
#include "cmskit/asn_types.h"
#include "cmskit/file.h"
#include "cmskit/status.h"

namespace cmskit::test {
namespace {

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

void ExpectThrows(const std::function<void()>& call, int status, const char* origin) {
  try {
    call();
    ADD_FAILURE() << "no exception";
  } catch (const XTOOStatus& e) {
    EXPECT_EQ(e.GetStatus(), status);
    EXPECT_STREQ(e.GetMessage().c_str(), origin);
  }
}

TEST(CASNTBaseRecord, ReadFromMemory) {
  const Bytes bytes = Hex("04 03 01 02 03");
  CASNTBaseRecord record;
  int status = -1;
  EXPECT_EQ(record.ReadFromMemory(bytes.data(), 4, &status), 0u);
  EXPECT_EQ(status, kStatusTruncated);
  EXPECT_EQ(record.GetTagNumber(), 0u);
  EXPECT_TRUE(record.GetEncodedRef(nullptr).IsEmpty());
  ExpectThrows([&] { record.ReadFromMemory(bytes.data(), 3, nullptr); }, kStatusTruncated,
               "CASNTBaseRecord::ReadASNInfo");
  EXPECT_EQ(record.ReadASNInfo(bytes.data(), 3, &status), 2u);  // the header alone is enough
  EXPECT_EQ(record.GetLength(), 3u);
  EXPECT_EQ(record.ReadFromMemory(bytes.data(), 5, &status), 5u);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(record.GetTagNumber(), 4u);
  EXPECT_FALSE(record.IsConstructed());
  EXPECT_EQ(ToHex(record.GetValue(&status)), "01 02 03");
  EXPECT_EQ(record.GetInfo().contents, record.GetEncodedRef(nullptr).data() + 2);
}

TEST(CASNTBaseRecord, BuiltFromValueMatchesEncoder) {
  const FILETIME time = MakeFileTime(2020, 2, 29, 1, 2, 3);
  const struct {
    ASNTElementInfo info;
    IdentObj value;
  } kCases[] = {
      {Universal(2), Obj({0x80, 0x00})},
      {Universal(6), IdentObj("1.2.643.2.2.21", 14)},
      {Universal(5), IdentObj()},
      {Universal(23), IdentObj(&time, sizeof time)},
      {Universal(16, true), Obj(Hex("05 00"))},
      {Context(3, false), Obj(Hex("01 02"))},
  };
  for (const auto& c : kCases) {
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

TEST(CASNTBaseRecord, ReadFromFile) {
  const struct {
    const char* name;
    const char* bytes;
    DWORD offset;
    int status;
    DWORD size;
  } kCases[] = {
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
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    const Bytes bytes = Hex(c.bytes);
    TempFile temp(bytes);
    CTOOFile file(temp.path(), "rb");
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
  EXPECT_EQ(record.GetTagClass(), kASNTContext);
  EXPECT_EQ(record.GetLength(), 256u);
  CASNTBaseRecord value(Universal(2), Obj({0x05}));
  EXPECT_EQ(value.WriteToFile(file, 5, &status), 0u);
  EXPECT_EQ(status, kStatusTruncated);
  EXPECT_EQ(value.WriteToFile(file, 4, &status), 3u);
  EXPECT_EQ(file.GetLength(), 7u);
  file.Seek(4, SEEK_SET);  // switches the stream from writing to reading
  CASNTBaseRecord back;
  back.ReadFromFile(file, 4, &status);
  EXPECT_EQ(ToHex(back.GetEncodedRef(nullptr)), "02 01 05");
}

TEST(CASNTUnit, TreePrimitiveContextRuleAndCopies) {
  const Bytes bytes = Hex("30 80 31 07 02 01 01 A0 02 05 00 30 00 04 02 41 42 80 03 02 01 05 00 00");
  CASNTUnit unit;
  int status = -1;
  ASSERT_EQ(unit.ReadFromMemory(bytes.data(), static_cast<DWORD>(bytes.size()), &status), bytes.size());
  ASSERT_EQ(unit.GetChildCount(), 4u);
  auto* set = dynamic_cast<CASNTUnit*>(unit.GetChild(0));
  ASSERT_EQ(set->GetChildCount(), 2u);
  EXPECT_EQ(set->GetTagNumber(), 17u);
  auto* explicitTag = dynamic_cast<CASNTUnit*>(set->GetChild(1));
  ASSERT_EQ(explicitTag->GetChildCount(), 1u);
  EXPECT_EQ(explicitTag->GetChild(0)->GetTagNumber(), 5u);
  EXPECT_EQ(dynamic_cast<CASNTUnit*>(unit.GetChild(1))->GetChildCount(), 0u);
  EXPECT_EQ(ToHex(unit.GetChild(2)->GetValue(nullptr)), "41 42");
  // A primitive [n] holding exactly one element is read as that element.
  auto* wrapped = dynamic_cast<CASNTUnit*>(unit.GetChild(3));
  ASSERT_EQ(wrapped->GetChildCount(), 1u);
  EXPECT_EQ(ToHex(wrapped->GetChild(0)->GetEncodedRef(nullptr)), "02 01 05");
  EXPECT_EQ(wrapped->GetChild(1), nullptr);
  for (const char* leaf : {"80 02 01 02", "80 04 02 01 05 00", "80 00", "02 03 02 01 05"}) {
    const Bytes other = Hex(leaf);
    CASNTUnit single;
    EXPECT_EQ(single.ReadFromMemory(other.data(), static_cast<DWORD>(other.size()), &status), other.size());
    EXPECT_EQ(single.GetChildCount(), 0u) << leaf;
    EXPECT_EQ(ToHex(single.GetEncodedRef(nullptr)), ToHex(other));
  }

  CASNTUnit copy(unit);
  IdentObj out;
  copy.GetEncoded(out, &status);
  EXPECT_EQ(ToHex(out), ToHex(bytes));
  EXPECT_EQ(dynamic_cast<CASNTUnit*>(copy.GetChild(0))->GetChildCount(), 2u);
  CASNTUnit assigned;
  assigned = copy;
  EXPECT_EQ(assigned.GetChildCount(), 4u);
}

TEST(CASNTUnit, Failures) {
  const struct {
    const char* name;
    const char* bytes;
    int status;
  } kCases[] = {
      {"indefinite without end-of-contents", "30 80 02 01 05", kStatusCorrupt},
      {"indefinite header ends the buffer", "30 80", kStatusCorrupt},
      {"header failure", "30", kStatusBadTag},
      {"bad child header", "30 02 02 81", kStatusBadTag},
      {"definite past the buffer", "30 05 02 01 05", kStatusTruncated},
      {"child past its parent", "30 03 04 05 01 02 03 04 05", kStatusTruncated},
      {"primitive past the buffer", "04 02 01", kStatusTruncated},
  };
  for (const auto& c : kCases) {
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
  ExpectThrows([&] { unit.ReadFromMemory(bytes.data(), 2, nullptr); }, kStatusCorrupt, "CASNTUnit::Read");
}

Bytes Nested(uint32_t depth, bool indefinite) {
  Bytes inner = {0x05, 0x00};
  for (uint32_t i = 0; i < depth; ++i) {
    if (!indefinite) {
      inner = ToBytes(ASNTEncodeElement(Universal(16, true), inner.data(), static_cast<DWORD>(inner.size())));
      continue;
    }
    inner.insert(inner.begin(), {0x30, 0x80});
    inner.insert(inner.end(), {0x00, 0x00});
  }
  return inner;
}

TEST(CASNTUnit, DepthLimit) {
  for (bool indefinite : {false, true}) {
    for (uint32_t depth : {kASNTMaxDepth, kASNTMaxDepth + 1, 5000u}) {
      SCOPED_TRACE(testing::Message() << indefinite << " " << depth);
      const Bytes bytes = Nested(depth, indefinite);
      CASNTUnit unit;
      int status = -1;
      const bool fits = depth <= kASNTMaxDepth;
      EXPECT_EQ(unit.ReadFromMemory(bytes.data(), static_cast<DWORD>(bytes.size()), &status),
                fits ? bytes.size() : 0u);
      EXPECT_EQ(status, fits ? 0 : kStatusCorrupt);
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

TEST(CASNTIdData, ReadData) {
  const struct {
    const char* name;
    const char* bytes;
    int status;
    DWORD consumed;
    const char* id = "";
    const char* data = "";
  } kCases[] = {
      {"NULL parameters not counted", "30 0A 06 06 2A 85 03 02 02 15 05 00", 0, 10, "1.2.643.2.2.21", ""},
      {"absent parameters", "30 08 06 06 2A 85 03 02 02 15", 0, 10, "1.2.643.2.2.21", ""},
      {"absent parameters, more bytes after", "30 08 06 06 2A 85 03 02 02 15 04 01 41", 0, 10,
       "1.2.643.2.2.21", ""},
      {"parameters kept whole", "30 0B 06 03 55 04 03 30 04 02 02 01 00", 0, 13, "2.5.4.3",
       "30 04 02 02 01 00"},
      {"indefinite outer", "30 80 06 03 55 04 03 04 01 41 00 00", 0, 10, "2.5.4.3", "04 01 41"},
      {"indefinite outer, absent", "30 80 06 03 55 04 03 00 00", 0, 7, "2.5.4.3", ""},
      {"indefinite parameters", "30 80 06 01 2A 30 80 05 00 00 00 00 00", 0, 11, "1.2", "30 80 05 00 00 00"},
      {"a SET", "31 08 06 06 2A 85 03 02 02 15", kStatusCorrupt, 0},
      {"first element not an OID", "30 03 02 01 05", kStatusCorrupt, 2},
      {"OID past the outer end", "30 03 06 06 2A 85 03 02 02 15", kStatusTruncated, 2},
      {"outer past the buffer", "30 0A 06 06 2A 85 03 02 02 15", kStatusTruncated, 0},
      {"parameters past the outer end", "30 05 06 01 2A 04 05 41", kStatusTruncated, 5},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    const Bytes bytes = Hex(c.bytes);
    CASNTIdData value;
    int status = -1;
    EXPECT_EQ(value.ReadData(bytes.data(), static_cast<DWORD>(bytes.size()), &status), c.consumed);
    EXPECT_EQ(status, c.status);
    if (c.status) continue;
    EXPECT_EQ(Text(value.id), c.id);
    EXPECT_EQ(ToHex(value.data), c.data);
  }
  TempFile temp(Hex("30 0B 06 03 55 04 03 30 04 02 02 01 00 FF"));
  CTOOFile file(temp.path(), "rb");
  CASNTIdData value;
  int status = -1;
  EXPECT_EQ(value.ReadData(file, &status), 13u);
  EXPECT_EQ(Text(value.id), "2.5.4.3");
  EXPECT_EQ(ToHex(value.data), "30 04 02 02 01 00");
  EXPECT_EQ(file.Tell(), 13);
  EXPECT_EQ(value.ReadData(file, &status), 0u);
  EXPECT_NE(status, 0);
}

TEST(CASNTIdData, WriteDataAndOrder) {
  ASNAlgorithmIdentifier algorithm("1.2.643.2.2.21", IdentObj());
  int status = -1;
  EXPECT_EQ(ToHex(algorithm.WriteData(&status)), "30 0A 06 06 2A 85 03 02 02 15 05 00");
  EXPECT_EQ(algorithm.GetWriteSize(), 12u);
  algorithm.data = Obj(Hex("04 01 41"));
  EXPECT_EQ(ToHex(algorithm.WriteData(&status)), "30 0B 06 06 2A 85 03 02 02 15 04 01 41");
  CASNTIdData broken("not an oid", IdentObj());
  EXPECT_TRUE(broken.WriteData(&status).IsEmpty());
  EXPECT_EQ(status, kStatusBadArgument);
  EXPECT_EQ(broken.GetWriteSize(), 0u);

  // Ordered by id only, deliberately: neither of a and b comes first.
  const CASNTIdData a("1", Obj({0x22, 0x22})), b("2", Obj({0x11})), c("3", Obj({0x33, 0x33}));
  EXPECT_FALSE(a < b || b < a || a == b || a < a);
  EXPECT_TRUE(a < c);
  CASNTIdData copy(a);
  copy = *&copy;
  EXPECT_TRUE(copy == a);
  copy = c;
  EXPECT_TRUE(copy != a);
}

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
}

TEST(IdentObj, BuffersAndBitBlobCopies) {
  IdentObj obj;
  obj.SetData("xyz", 3);
  EXPECT_EQ(ToHex(obj), "78 79 7A");
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
  EXPECT_EQ(ToHex(obj.pbData, 3), "01 02 03");
  obj.Resize(2);
  EXPECT_EQ(ToHex(obj), "01 02");
  obj.Resize(0);  // a zero-length allocation, freed by Clear
  EXPECT_NE(obj.pbData, nullptr);
  obj.Clear();
  EXPECT_EQ(obj.pbData, nullptr);

  CTOOCryptBitBlob bits;
  bits.SetData("\xF0", 1);
  bits.cUnusedBits = 4;
  const CTOOCryptBitBlob copy(bits);
  EXPECT_EQ(copy.cUnusedBits, 4u);
  EXPECT_NE(copy.pbData, bits.pbData);
  CTOOCryptBitBlob assigned;
  assigned = bits;
  assigned = *&assigned;
  EXPECT_EQ(assigned.cUnusedBits, 4u);
  EXPECT_EQ(ToHex(assigned), "F0");
  assigned.Resize(2);
  EXPECT_EQ(assigned.cUnusedBits, 4u);
  static_cast<IdentObj&>(assigned).Clear();  // inherited through the table
  EXPECT_TRUE(assigned.IsEmpty());
  const CRYPT_BIT_BLOB* platform = bits.AsBitBlob();
  EXPECT_EQ(platform->cbData, 1u);
  EXPECT_EQ(platform->pbData, bits.pbData);
  EXPECT_EQ(platform->cUnusedBits, 4u);
}

}  // namespace
}  // namespace cmskit::test
