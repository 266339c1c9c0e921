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

TEST(TransRecipientInfo, WritesIssuerAndSerialAsVersion0) {
  TransRecipientInfo recipient = Filled();
  recipient.version = 2;
  recipient.subjectKeyIdentifier = Obj(kSki);  // not written beside issuer and serial
  EXPECT_EQ(ToHex(recipient.WriteObject()), ToHex(Recipient(0, IssuerAndSerial())));
  EXPECT_EQ(recipient.version, 0u);
  EXPECT_EQ(recipient.GetObjectSize(), Recipient(0, IssuerAndSerial()).size());
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

TEST(TransRecipientInfo, ReadsIssuerAndSerialNumber) {
  const Bytes input = Cat({Recipient(0, IssuerAndSerial()), Hex("05 00")});
  TransRecipientInfo recipient;
  recipient.subjectKeyIdentifier = Obj(kSki);
  EXPECT_EQ(recipient.ReadObject(input.data(), static_cast<DWORD>(input.size())), input.size() - 2);
  EXPECT_EQ(recipient.version, 0u);
  EXPECT_EQ(ToHex(recipient.issuer), ToHex(IssuerName()));
  EXPECT_EQ(ToHex(recipient.serialNumber), "80 C7 00");
  EXPECT_TRUE(recipient.subjectKeyIdentifier.IsEmpty());
  EXPECT_EQ(ToHex(recipient.keyEncryptionAlgorithm), ToHex(RsaAlgorithm()));
  EXPECT_EQ(ToHex(recipient.encryptedKey), ToHex(kEncryptedKey));
  EXPECT_EQ(ToHex(recipient.WriteObject()), ToHex(Recipient(0, IssuerAndSerial())));
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

TEST(TransRecipientInfo, ImplicitKeyIdentifierStaysInBounds) {
  // The standard's implicit [0] (80 len SKI): the octets are read as the
  // element the explicit form would wrap; the result depends on them, but
  // nothing is read outside the input.
  const Bytes keys[] = {kSki, Hex("04 10 AA"), Hex("30 80 04 01"), Hex("01"), Hex("1F FF FF FF FF 7F 01")};
  for (const Bytes& key : keys) {
    const Bytes input = Recipient(2, Tlv(0x80, key));
    TransRecipientInfo recipient;
    int error = -1;
    recipient.ReadObject(input.data(), static_cast<DWORD>(input.size()), &error);
    if (error == 0) {
      EXPECT_LE(recipient.subjectKeyIdentifier.size(), key.size());
    }
  }
}

TEST(TransRecipientInfo, CopiesAreDeep) {
  TransRecipientInfo original = Filled();
  TransRecipientInfo copy(original);
  original.issuer.data()[0] = 0x31;
  EXPECT_EQ(ToHex(copy.issuer), ToHex(IssuerName()));
  copy = original;
  EXPECT_EQ(copy.issuer.data()[0], 0x31);
}

}  // namespace
}  // namespace cmskit::test
