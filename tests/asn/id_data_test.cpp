// CASNTIdData, ASNAlgorithmIdentifier and CASNPublicKeyInfo.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "asn_test_util.h"
#include "cmskit/asn_types.h"
#include "cmskit/status.h"

namespace cmskit::test {
namespace {

struct ReadCase {
  const char* name;
  const char* bytes;
  int status;
  DWORD consumed;
  const char* id;
  const char* data;
};

const ReadCase kReadCases[] = {
    {"NULL parameters not counted", "30 0A 06 06 2A 85 03 02 02 15 05 00", 0, 10, "1.2.643.2.2.21", ""},
    {"absent parameters", "30 08 06 06 2A 85 03 02 02 15", 0, 10, "1.2.643.2.2.21", ""},
    {"absent parameters, more bytes after", "30 08 06 06 2A 85 03 02 02 15 04 01 41", 0, 10, "1.2.643.2.2.21",
     ""},
    {"parameters kept whole", "30 0B 06 03 55 04 03 30 04 02 02 01 00", 0, 13, "2.5.4.3",
     "30 04 02 02 01 00"},
    {"indefinite outer", "30 80 06 03 55 04 03 04 01 41 00 00", 0, 10, "2.5.4.3", "04 01 41"},
    {"indefinite outer, absent", "30 80 06 03 55 04 03 00 00", 0, 7, "2.5.4.3", ""},
    {"indefinite parameters", "30 80 06 01 2A 30 80 05 00 00 00 00 00", 0, 11, "1.2", "30 80 05 00 00 00"},
    {"a SET", "31 08 06 06 2A 85 03 02 02 15", kStatusCorrupt, 0, "", ""},
    {"first element not an OID", "30 03 02 01 05", kStatusCorrupt, 2, "", ""},
    {"OID past the outer end", "30 03 06 06 2A 85 03 02 02 15", kStatusTruncated, 2, "", ""},
    {"outer past the buffer", "30 0A 06 06 2A 85 03 02 02 15", kStatusTruncated, 0, "", ""},
    {"parameters past the outer end", "30 05 06 01 2A 04 05 41", kStatusTruncated, 5, "1.2", ""},
};

TEST(CASNTIdData, ReadData) {
  for (const ReadCase& c : kReadCases) {
    SCOPED_TRACE(c.name);
    const Bytes bytes = Hex(c.bytes);
    CASNTIdData value;
    int status = -1;
    EXPECT_EQ(value.ReadData(bytes.data(), static_cast<DWORD>(bytes.size()), &status), c.consumed);
    EXPECT_EQ(status, c.status);
    if (c.status != 0) continue;
    EXPECT_EQ(Text(value.id), c.id);
    EXPECT_EQ(ToHex(value.data), c.data);
  }
}

TEST(CASNTIdData, WriteData) {
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
}

TEST(CASNTIdData, ReadFromFile) {
  const std::string path = testing::TempDir() + "cmskit_asn_iddata.bin";
  const Bytes bytes = Hex("30 0B 06 03 55 04 03 30 04 02 02 01 00 FF");
  FILE* f = fopen(path.c_str(), "wb");
  fwrite(bytes.data(), 1, bytes.size(), f);
  fclose(f);
  {
    CTOOFile file(path.c_str(), "rb");
    CASNTIdData value;
    int status = -1;
    EXPECT_EQ(value.ReadData(file, &status), 13u);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(Text(value.id), "2.5.4.3");
    EXPECT_EQ(ToHex(value.data), "30 04 02 02 01 00");
    EXPECT_EQ(file.Tell(), 13);
    EXPECT_EQ(value.ReadData(file, &status), 0u);
    EXPECT_NE(status, 0);
  }
  remove(path.c_str());
}

TEST(CASNTIdData, ComparisonIsDeliberatelyNotLexicographic) {
  const CASNTIdData a("1", Obj({0x22, 0x22}));
  const CASNTIdData b("2", Obj({0x11}));
  EXPECT_FALSE(a < b);  // ids ordered, data not
  EXPECT_FALSE(b < a);
  EXPECT_FALSE(a == b);
  const CASNTIdData c("3", Obj({0x33, 0x33}));
  EXPECT_TRUE(a < c);
  EXPECT_FALSE(a < a);
  CASNTIdData copy(a);
  EXPECT_TRUE(copy == a);
  copy = copy;
  EXPECT_TRUE(copy == a);
  copy = c;
  EXPECT_TRUE(copy != a);
}

}  // namespace
}  // namespace cmskit::test
