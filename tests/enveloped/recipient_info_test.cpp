// TransRecipientInfo and OriginatorInfo: both identifier forms, explicit
// wrappers, statuses and origins (the refusals in enveloped/cases.txt).
#include "enveloped_test_util.h"

namespace cmskit::test {
namespace {

template <class Object>
void ExpectRefused(const Bytes& input, int status, const char* origin) {
  Object object;
  int error = 0;
  SetLastError(7);
  EXPECT_EQ(object.ReadObject(input.data(), Size(input), &error), 0u);
  EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(status));
  EXPECT_EQ(GetLastError(), 7u);
  ExpectThrowsStatus([&] { object.ReadObject(input.data(), Size(input)); }, status, origin);
}

TEST(TransRecipientInfo, KeyIdentifierInsideAnExplicitTag) {
  TransRecipientInfo recipient;
  recipient.issuer = Obj(Octets("$issuer"));
  recipient.keyEncryptionAlgorithm = Obj(Octets("$rsa"));
  recipient.encryptedKey = Obj(Octets("$key"));
  int error = 0;  // neither identifier is complete
  EXPECT_TRUE(recipient.WriteObject(&error).IsEmpty());
  EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(42));
  EXPECT_EQ(recipient.GetObjectSize(), 0u);
  ExpectThrowsStatus([&] { recipient.WriteObject(); }, 42, "TransRecipientInfo::WriteObject");
  recipient.subjectKeyIdentifier = Obj(Octets("$ski"));
  const IdentObj encoded = recipient.WriteObject(&error);
  EXPECT_EQ(ToHex(encoded), ToHex(Octets("30{ 02 01 02 A0{ 04{ $ski } } $rsa $key }")));
  TransRecipientInfo read;
  EXPECT_EQ(read.ReadObject(encoded.data(), encoded.size(), &error), encoded.size());
  EXPECT_EQ(read.version, 2u);
  EXPECT_EQ(ToHex(read.subjectKeyIdentifier), ToHex(Octets("$ski")));
}

TEST(RecipientAndOriginatorInfo, RefuseMalformedInput) {
  for (const cmskit_testing::Row& row : Cases().Rows("recipients")) {
    SCOPED_TRACE(row.where);
    const char* origin = row[2] == "-" ? nullptr : row[2].c_str();
    if (row[0] == "recipient")
      ExpectRefused<TransRecipientInfo>(Octets(row[3]), std::stoi(row[1]), origin);
    else
      ExpectRefused<OriginatorInfo>(Octets(row[3]), std::stoi(row[1]), origin);
  }
}

TEST(OriginatorInfo, WritesEachListInItsWrapperAndReadsEitherOrder) {
  OriginatorInfo info;
  info.certs = {Obj(Octets("$cert1")), Obj(Octets("$cert2"))};
  info.crls = {Obj(Octets("$crl"))};
  const Bytes both = Octets("30{ A0{ 31{ $cert1 $cert2 } } A1{ 31{ $crl } } }");
  EXPECT_EQ(ToHex(info.WriteObject()), ToHex(both));
  EXPECT_EQ(info.GetObjectSize(), both.size());
  info.certs.clear();
  EXPECT_EQ(ToHex(info.WriteObject()), ToHex(Octets("30{ A1{ 31{ $crl } } }")));
  const Bytes input = Octets("30{ A1{ 31{ $crl } } A0{ 31{ $cert1 $cert2 } } }");
  OriginatorInfo read;
  read.certs = {Obj(Octets("$crl"))};  // reading appends
  EXPECT_EQ(read.ReadObject(input.data(), Size(input), nullptr), input.size());
  EXPECT_EQ(HexList(read.certs),
            (std::vector<std::string>{"30 03 02 01 03", "30 03 02 01 01", "30 03 02 01 02"}));
  EXPECT_EQ(HexList(read.crls), (std::vector<std::string>{"30 03 02 01 03"}));
}

}  // namespace
}  // namespace cmskit::test
