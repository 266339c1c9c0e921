// TransRecipientInfo: both recipient identifier forms, the explicit [0]
// around a whole OCTET STRING, the version the writer records, and the
// statuses with their origin texts under both error endings.
#include <gtest/gtest.h>

#include "enveloped_test_util.h"

namespace cmskit::test {
namespace {

const Bytes kEncryptedKey = Hex("04 04 0B 71 0D E6");
const Bytes kSerialDer = Hex("02 03 00 C7 80");  // 0xC780, with its sign octet
const Bytes kSki = Hex("01 02 03 04 05");

Bytes Recipient(BYTE version, const Bytes& rid) {
  return Tlv(0x30, Cat({Tlv(0x02, {version}), rid, RsaAlgorithm(), kEncryptedKey}));
}
Bytes IssuerAndSerial() { return Tlv(0x30, Cat({IssuerName(), kSerialDer})); }
Bytes KeyIdentifier() { return Tlv(0xA0, Tlv(0x04, kSki)); }

TransRecipientInfo Filled() {
  TransRecipientInfo recipient;
  recipient.issuer = Obj(IssuerName());
  recipient.serialNumber = Obj(Hex("80 C7 00"));  // least significant first
  recipient.keyEncryptionAlgorithm = Obj(RsaAlgorithm());
  recipient.encryptedKey = Obj(kEncryptedKey);
  return recipient;
}

TEST(TransRecipientInfo, WritesKeyIdentifierInsideAnExplicitTag) {
  for (bool dropIssuer : {true, false}) {
    TransRecipientInfo recipient = Filled();
    (dropIssuer ? recipient.issuer : recipient.serialNumber).Clear();
    recipient.subjectKeyIdentifier = Obj(kSki);
    int error = -1;
    const IdentObj encoded = recipient.WriteObject(&error);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(ToHex(encoded), ToHex(Recipient(2, KeyIdentifier())));
    EXPECT_EQ(recipient.version, 2u);

    TransRecipientInfo read;
    EXPECT_EQ(read.ReadObject(encoded.data(), encoded.size(), &error), encoded.size());
    EXPECT_EQ(error, 0);
    EXPECT_EQ(read.version, 2u);
    EXPECT_EQ(ToHex(read.subjectKeyIdentifier), ToHex(kSki));
    EXPECT_TRUE(read.issuer.IsEmpty() && read.serialNumber.IsEmpty());
  }
}

TEST(TransRecipientInfo, RecipientWithoutIdentificationFails) {
  TransRecipientInfo recipient = Filled();
  recipient.issuer.Clear();
  int error = 0;
  EXPECT_TRUE(recipient.WriteObject(&error).IsEmpty());
  EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(42));
  EXPECT_EQ(recipient.GetObjectSize(), 0u);
  ExpectThrowsStatus([&] { recipient.WriteObject(); }, 42, "TransRecipientInfo::WriteObject");
}

struct BadCase {
  const char* name;
  Bytes input;
  int status;
  const char* origin;
};

TEST(TransRecipientInfo, RefusesMalformedRecipients) {
  const char* kShared = "OriginatorInfo::ReadObject";
  const char* kOwn = "TransRecipientInfo::ReadObject";
  const BadCase cases[] = {
      {"version 1", Recipient(1, IssuerAndSerial()), 136, kOwn},
      {"version 3", Recipient(3, IssuerAndSerial()), 136, kOwn},
      {"three-part IssuerAndSerialNumber",
       Recipient(0, Tlv(0x30, Cat({IssuerName(), kSerialDer, kSerialDer}))), 136, kOwn},
      {"serial not an INTEGER", Recipient(0, Tlv(0x30, Cat({IssuerName(), Hex("04 01 05")}))), 206, kShared},
      {"version 2 without [0]", Recipient(2, Tlv(0x30, Tlv(0x04, kSki))), 205, kShared},
      {"version not an INTEGER", Tlv(0x30, Cat({Hex("04 01 00"), IssuerAndSerial()})), 206, kShared},
      {"no encrypted key", Tlv(0x30, Cat({Hex("02 01 00"), IssuerAndSerial(), RsaAlgorithm()})), 206,
       kShared},
      {"primitive element", Hex("04 02 05 00"), 205, kShared},
      {"truncated", Hex("30 05 02 01 00"), 206, kShared},
  };
  for (const BadCase& c : cases) {
    SCOPED_TRACE(c.name);
    TransRecipientInfo recipient;
    int error = 0;
    SetLastError(7);
    EXPECT_EQ(recipient.ReadObject(c.input.data(), static_cast<DWORD>(c.input.size()), &error), 0u);
    EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(c.status));
    EXPECT_EQ(GetLastError(), 7u);
    ExpectThrowsStatus([&] { recipient.ReadObject(c.input.data(), static_cast<DWORD>(c.input.size())); },
                       c.status, c.origin);
  }
}

}  // namespace
}  // namespace cmskit::test
