// TransRecipientInfo and OriginatorInfo: both identifier forms, explicit wrappers, statuses and origins.
#include "common/table.h"
#include "enveloped_test_util.h"

namespace cmskit::test {
namespace {

const Bytes kEncryptedKey = Hex("04 04 0B 71 0D E6"), kSki = Hex("01 02 03 04 05");
const Bytes kCert1 = Hex("30 03 02 01 01"), kCert2 = Hex("30 03 02 01 02"), kCrl = Hex("30 03 02 01 03");

Bytes Recipient(BYTE version, const Bytes& rid) {
  return Tlv(0x30, Cat({Tlv(0x02, {version}), rid, RsaAlgorithm(), kEncryptedKey}));
}
Bytes CertsElement() { return Tlv(0xA0, Tlv(0x31, Cat({kCert1, kCert2}))); }
Bytes CrlsElement() { return Tlv(0xA1, Tlv(0x31, kCrl)); }

template <class Object>
void ExpectRefused(const Bytes& input, int status, const char* origin) {
  Object object;
  int error = 0;
  SetLastError(7);
  EXPECT_EQ(object.ReadObject(input.data(), Size(input), &error), 0u) << ToHex(input);
  EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(status)) << ToHex(input);
  EXPECT_EQ(GetLastError(), 7u);
  ExpectThrowsStatus([&] { object.ReadObject(input.data(), Size(input)); }, status, origin);
}

TEST(TransRecipientInfo, KeyIdentifierInsideAnExplicitTag) {
  TransRecipientInfo recipient;
  recipient.issuer = Obj(IssuerName());
  recipient.keyEncryptionAlgorithm = Obj(RsaAlgorithm());
  recipient.encryptedKey = Obj(kEncryptedKey);
  int error = 0;  // neither identifier is complete
  EXPECT_TRUE(recipient.WriteObject(&error).IsEmpty());
  EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(42));
  EXPECT_EQ(recipient.GetObjectSize(), 0u);
  ExpectThrowsStatus([&] { recipient.WriteObject(); }, 42, "TransRecipientInfo::WriteObject");
  recipient.subjectKeyIdentifier = Obj(kSki);
  const IdentObj encoded = recipient.WriteObject(&error);
  EXPECT_EQ(ToHex(encoded), ToHex(Recipient(2, Tlv(0xA0, Tlv(0x04, kSki)))));
  TransRecipientInfo read;
  EXPECT_EQ(read.ReadObject(encoded.data(), encoded.size(), &error), encoded.size());
  EXPECT_EQ(read.version, 2u);
  EXPECT_EQ(ToHex(read.subjectKeyIdentifier), ToHex(kSki));
}

TEST(RecipientAndOriginatorInfo, RefuseMalformedInput) {
  const cmskit_testing::Table table("enveloped/cases.txt");
  for (const cmskit_testing::Row& row : table.Rows("recipients")) {
    SCOPED_TRACE(row.where);
    const Bytes input = table.Octets(row[3]);
    const char* origin = row[2] == "-" ? nullptr : row[2].c_str();
    if (row[0] == "recipient")
      ExpectRefused<TransRecipientInfo>(input, std::stoi(row[1]), origin);
    else
      ExpectRefused<OriginatorInfo>(input, std::stoi(row[1]), origin);
  }
}

TEST(OriginatorInfo, WritesEachListInItsWrapperAndReadsEitherOrder) {
  OriginatorInfo info;
  info.certs = {Obj(kCert1), Obj(kCert2)};
  info.crls = {Obj(kCrl)};
  const Bytes both = Tlv(0x30, Cat({CertsElement(), CrlsElement()}));
  EXPECT_EQ(ToHex(info.WriteObject()), ToHex(both));
  EXPECT_EQ(info.GetObjectSize(), both.size());
  info.certs.clear();
  EXPECT_EQ(ToHex(info.WriteObject()), ToHex(Tlv(0x30, CrlsElement())));
  const Bytes input = Tlv(0x30, Cat({CrlsElement(), CertsElement()}));
  OriginatorInfo read;
  read.certs = {Obj(kCrl)};  // reading appends
  EXPECT_EQ(read.ReadObject(input.data(), Size(input), nullptr), input.size());
  EXPECT_EQ(HexList(read.certs), (std::vector<std::string>{ToHex(kCrl), ToHex(kCert1), ToHex(kCert2)}));
  EXPECT_EQ(HexList(read.crls), (std::vector<std::string>{ToHex(kCrl)}));
}

}  // namespace
}  // namespace cmskit::test
