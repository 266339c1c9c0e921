// Messages and signer infos built field by field, each field replaceable by
// the test that wants it broken, and a window on SignData's private helpers.
#ifndef CMSKIT_TESTS_SIGNED_SIGNED_FIXTURES_H
#define CMSKIT_TESTS_SIGNED_SIGNED_FIXTURES_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/sign_data_util.h"

namespace cmskit {

class SignDataTestPeer {
 public:
  static void FillEntry(SignData& message, const CASNTUnit& root) { message.FillEntry(root); }
  static int Certificates(SignData& m, const IdentObj& e) { return m.ReadObject_CertificateSet(e); }
};

namespace signtest {

using namespace cmskit_testing;

constexpr DWORD kCorrupt = 0x80093103;
constexpr DWORD kBadTag = 0x8009310B;
constexpr DWORD kNotFound = 1168;

// `read(pError)` fails with `code`: in *pError, and without pError in the
// last error and a false or zero result.
template <class Read>
void ExpectFails(Read read, DWORD code) {
  int error = -1;
  read(&error);
  EXPECT_EQ(static_cast<DWORD>(error), code);
  SetLastError(0);
  EXPECT_FALSE(read(nullptr));
  EXPECT_EQ(GetLastError(), code);
}

// ReadData and WriteData of the element classes, over Bytes.
template <class T>
DWORD Read(T& object, const Bytes& input, int* error = nullptr) {
  return object.ReadData(input.data(), static_cast<DWORD>(input.size()), error);
}
template <class T>
Bytes Write(T&& object) {
  int error = -1;
  const Bytes out = Of(object.WriteData(&error));
  EXPECT_EQ(error, 0);
  return out;
}

inline IdentObj Dotted(const char* text) {
  IdentObj object;
  object = text;
  return object;
}

inline Bytes Indef(BYTE tag, const Bytes& contents) { return Cat({{tag, 0x80}, contents, {0x00, 0x00}}); }

inline Bytes OidSignedData() { return Hex("06 09 2A 86 48 86 F7 0D 01 07 02"); }
inline Bytes OidData() { return Hex("06 09 2A 86 48 86 F7 0D 01 07 01"); }
inline Bytes OidSignedAlias() { return Hex("06 09 2A 86 48 86 F7 0D 01 07 1A"); }
inline Bytes OidContentType() { return Hex("06 09 2A 86 48 86 F7 0D 01 09 03"); }
inline Bytes OidMessageDigest() { return Hex("06 09 2A 86 48 86 F7 0D 01 09 04"); }
inline Bytes OidSigningTime() { return Hex("06 09 2A 86 48 86 F7 0D 01 09 05"); }
inline Bytes Sha256() { return Hex("30 0D 06 09 60 86 48 01 65 03 04 02 01 05 00"); }
inline Bytes Rsa() { return Hex("30 0D 06 09 2A 86 48 86 F7 0D 01 01 01 05 00"); }
inline Bytes Version(int v) { return Bytes{0x02, 0x01, static_cast<BYTE>(v)}; }
// Opaque stand-ins: the message classes keep them whole and never look inside.
inline Bytes FakeCertificate(BYTE tag) { return El(0x30, El(0x02, Bytes{tag}), Tlv(0x04, Bytes(40, tag))); }
inline Bytes FakeSigner(BYTE tag) { return El(0x30, Version(1), Tlv(0x04, Bytes(20, tag))); }

struct MessageParts {
  Bytes contentType = OidSignedData();
  Bytes version = Version(1);
  Bytes algorithms = Tlv(0x31, Sha256());
  Bytes encap = El(0x30, OidData(), El(0xA0, Tlv(0x04, Text("hello, signed world"))));
  Bytes certificates = El(0xA0, FakeCertificate(1), FakeCertificate(2));
  Bytes crls;
  Bytes signers = El(0x31, FakeSigner(7), FakeSigner(8));
  BYTE wrapperTag = 0xA0;
  Bytes trailer;  // further elements after the signerInfos

  Bytes SignedData() const {
    return El(0x30, version, algorithms, encap, certificates, crls, signers, trailer);
  }
  Bytes Build() const { return El(0x30, contentType, Tlv(wrapperTag, SignedData())); }
};

template <class Change>
Bytes With(Change change) {
  MessageParts parts;
  change(parts);
  return parts.Build();
}
inline Bytes With(Bytes MessageParts::*field, const Bytes& value) {
  return With([&](MessageParts& p) { p.*field = value; });
}
inline Bytes WithWrapper(BYTE tag) {
  return With([&](MessageParts& p) { p.wrapperTag = tag; });
}

// The shape of `openssl cms -sign -stream`: indefinite outer lengths and
// the content as a constructed OCTET STRING of segments.
inline Bytes StreamedMessage(const std::vector<Bytes>& segments,
                             const Bytes& signers = Tlv(0x31, FakeSigner(1))) {
  Bytes octets;
  for (const Bytes& segment : segments) octets = Cat({octets, Tlv(0x04, segment)});
  const Bytes encap = Indef(0x30, Cat({OidData(), Indef(0xA0, Indef(0x24, octets))}));
  const Bytes body =
      Indef(0x30, Cat({Version(1), Tlv(0x31, Sha256()), encap, Tlv(0xA0, FakeCertificate(3)), signers}));
  return Indef(0x30, Cat({OidSignedData(), Indef(0xA0, body)}));
}

// Attributes and a SignerInfo with issuerAndSerialNumber, three signed
// attributes (not in DER order) and a 4-octet signature.
inline Bytes ContentTypeAttr() { return El(0x30, OidContentType(), El(0x31, OidData())); }
inline Bytes SigningTimeAttr(const std::string& utc) {
  return El(0x30, OidSigningTime(), El(0x31, Tlv(0x17, Text(utc))));
}
inline Bytes DigestAttr() { return El(0x30, OidMessageDigest(), El(0x31, Tlv(0x04, Hex("AA BB CC DD")))); }
// A content-type attribute with needlessly long lengths.
inline Bytes LongFormAttr() {
  return Hex("30 81 19 06 09 2A 86 48 86 F7 0D 01 09 03 31 81 0B 06 09 2A 86 48 86 F7 0D 01 07 01");
}
inline Bytes IssuerName() { return El(0x30, El(0x31, El(0x30, Hex("06 03 55 04 03 0C 01 78")))); }
inline Bytes Sid() { return El(0x30, IssuerName(), Hex("02 01 01")); }
inline Bytes SampleSignerInfo(const Bytes& unsignedAttrs = {}) {
  return El(0x30, Version(1), El(0x30, IssuerName(), Hex("02 02 01 00")), Sha256(),
            El(0xA0, ContentTypeAttr(), SigningTimeAttr("250102030405Z"), DigestAttr()), Rsa(),
            Hex("04 04 01 02 03 04"), unsignedAttrs);
}

// FILETIME ticks of a UTC calendar time (days-from-civil, no platform calls).
inline uint64_t Ticks(int year, unsigned month, unsigned day, unsigned hour, unsigned minute,
                      unsigned second) {
  year -= month <= 2;
  const int era = (year >= 0 ? year : year - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(year - era * 400);
  const unsigned doy = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const int64_t days = int64_t{era} * 146097 + yoe * 365 + yoe / 4 - yoe / 100 + doy - 719468;
  return static_cast<uint64_t>(days * 86400 + hour * 3600 + minute * 60 + second + 11644473600LL) *
         10000000ULL;
}
inline uint64_t Ticks(const FILETIME& time) {
  return (uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}

}  // namespace signtest
}  // namespace cmskit

#endif
