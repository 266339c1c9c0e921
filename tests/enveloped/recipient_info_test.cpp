// TransRecipientInfo (both identifier forms, the explicit [0] around a whole
// OCTET STRING, the version the writer records) and OriginatorInfo (explicit
// wrappers around whole SETs, either order on reading), with the statuses and
// their origin texts under both error endings.
#include "enveloped_test_util.h"

namespace cmskit::test {
namespace {

const Bytes kEncryptedKey = Hex("04 04 0B 71 0D E6");
const Bytes kSerialDer = Hex("02 03 00 C7 80");  // 0xC780, with its sign octet
const Bytes kSki = Hex("01 02 03 04 05");
const Bytes kCert1 = Hex("30 03 02 01 01"), kCert2 = Hex("30 03 02 01 02"), kCrl = Hex("30 03 02 01 03");

Bytes Recipient(BYTE version, const Bytes& rid) {
  return Tlv(0x30, Cat({Tlv(0x02, {version}), rid, RsaAlgorithm(), kEncryptedKey}));
}
Bytes IssuerAndSerial() { return Tlv(0x30, Cat({IssuerName(), kSerialDer})); }
Bytes CertsElement() { return Tlv(0xA0, Tlv(0x31, Cat({kCert1, kCert2}))); }
Bytes CrlsElement() { return Tlv(0xA1, Tlv(0x31, kCrl)); }

struct BadCase {
  Bytes input;
  int status;
  const char* origin = nullptr;
};

template <class Object>
void ExpectRefused(const BadCase& c) {
  SCOPED_TRACE(ToHex(c.input));
  Object object;
  int error = 0;
  SetLastError(7);
  EXPECT_EQ(object.ReadObject(c.input.data(), Size(c.input), &error), 0u);
  EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(c.status));
  EXPECT_EQ(GetLastError(), 7u);
  ExpectThrowsStatus([&] { object.ReadObject(c.input.data(), Size(c.input)); }, c.status, c.origin);
}

TEST(TransRecipientInfo, KeyIdentifierInsideAnExplicitTag) {
  for (bool dropIssuer : {true, false}) {
    TransRecipientInfo recipient;
    recipient.issuer = Obj(IssuerName());
    recipient.serialNumber = Obj(Hex("80 C7 00"));  // least significant first
    recipient.keyEncryptionAlgorithm = Obj(RsaAlgorithm());
    recipient.encryptedKey = Obj(kEncryptedKey);
    (dropIssuer ? recipient.issuer : recipient.serialNumber).Clear();
    int error = 0;
    if (dropIssuer) {
      // Neither identifier is complete.
      EXPECT_TRUE(recipient.WriteObject(&error).IsEmpty());
      EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(42));
      EXPECT_EQ(recipient.GetObjectSize(), 0u);
      ExpectThrowsStatus([&] { recipient.WriteObject(); }, 42, "TransRecipientInfo::WriteObject");
    }
    recipient.subjectKeyIdentifier = Obj(kSki);
    const IdentObj encoded = recipient.WriteObject(&error);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(ToHex(encoded), ToHex(Recipient(2, Tlv(0xA0, Tlv(0x04, kSki)))));
    EXPECT_EQ(recipient.version, 2u);
    TransRecipientInfo read;
    EXPECT_EQ(read.ReadObject(encoded.data(), encoded.size(), &error), encoded.size());
    EXPECT_EQ(read.version, 2u);
    EXPECT_EQ(ToHex(read.subjectKeyIdentifier), ToHex(kSki));
    EXPECT_TRUE(read.issuer.IsEmpty() && read.serialNumber.IsEmpty());
  }
}

TEST(TransRecipientInfo, RefusesMalformedRecipients) {
  const char* kShared = "OriginatorInfo::ReadObject";
  const char* kOwn = "TransRecipientInfo::ReadObject";
  const BadCase kCases[] = {
      {Recipient(1, IssuerAndSerial()), 136, kOwn},
      {Recipient(0, Tlv(0x30, Cat({IssuerName(), kSerialDer, kSerialDer}))), 136, kOwn},
      {Recipient(0, Tlv(0x30, Cat({IssuerName(), Hex("04 01 05")}))), 206, kShared},
      {Recipient(2, Tlv(0x30, Tlv(0x04, kSki))), 205, kShared},
      {Tlv(0x30, Cat({Hex("04 01 00"), IssuerAndSerial()})), 206, kShared},
      {Tlv(0x30, Cat({Hex("02 01 00"), IssuerAndSerial(), RsaAlgorithm()})), 206, kShared},
      {Hex("04 02 05 00"), 205, kShared},
  };
  for (const BadCase& c : kCases) ExpectRefused<TransRecipientInfo>(c);
}

TEST(OriginatorInfo, WritesEachListInItsWrapperAndReadsEitherOrder) {
  OriginatorInfo info;
  info.certs = {Obj(kCert1), Obj(kCert2)};
  EXPECT_EQ(ToHex(info.WriteObject()), ToHex(Tlv(0x30, CertsElement())));
  info.crls = {Obj(kCrl)};
  const Bytes both = Tlv(0x30, Cat({CertsElement(), CrlsElement()}));
  EXPECT_EQ(ToHex(info.WriteObject()), ToHex(both));
  EXPECT_EQ(info.GetObjectSize(), both.size());
  info.certs.clear();
  EXPECT_EQ(ToHex(info.WriteObject()), ToHex(Tlv(0x30, CrlsElement())));

  const Bytes input = Tlv(0x30, Cat({CrlsElement(), CertsElement()}));
  OriginatorInfo read;
  read.certs = {Obj(kCrl)};  // reading appends
  int error = -1;
  EXPECT_EQ(read.ReadObject(input.data(), Size(input), &error), input.size());
  EXPECT_EQ(error, 0);
  EXPECT_EQ(HexList(read.certs), (std::vector<std::string>{ToHex(kCrl), ToHex(kCert1), ToHex(kCert2)}));
  EXPECT_EQ(HexList(read.crls), (std::vector<std::string>{ToHex(kCrl)}));
}

TEST(OriginatorInfo, RefusesOtherWrappersAndBrokenSets) {
  const BadCase kCases[] = {
      {Tlv(0x30, Cat({CertsElement(), Tlv(0xA2, Tlv(0x31, kCrl))})), 28},
      {Hex("04 02 05 00"), 205},
      {Tlv(0x30, Tlv(0xA0, Hex("31 09 30 03 02 01 01"))), 206},
      {Tlv(0x30, Hex("A0 00")), 206},
  };
  for (const BadCase& c : kCases) ExpectRefused<OriginatorInfo>(c);
}

}  // namespace
}  // namespace cmskit::test
