// Byte-building helpers and well-known elements shared by the attribute and
// signer-info tests. Lengths here are computed by the tests themselves, so the
// expected bytes do not come from the code under test.
#ifndef CMSKIT_TESTS_SIGNER_INFO_FIXTURES_H
#define CMSKIT_TESTS_SIGNER_INFO_FIXTURES_H

#include <cstdint>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <list>
#include <string>
#include <vector>

#include "cmskit/cmskit.h"

namespace cmskit::testing {

using Bytes = std::vector<uint8_t>;

inline Bytes Hex(const std::string& text) {
  Bytes out;
  int high = -1;
  for (char c : text) {
    int digit;
    if (c >= '0' && c <= '9') {
      digit = c - '0';
    } else if (c >= 'a' && c <= 'f') {
      digit = c - 'a' + 10;
    } else if (c >= 'A' && c <= 'F') {
      digit = c - 'A' + 10;
    } else {
      continue;
    }
    if (high < 0) {
      high = digit;
    } else {
      out.push_back(static_cast<uint8_t>(high * 16 + digit));
      high = -1;
    }
  }
  return out;
}

inline Bytes Text(const std::string& text) { return Bytes(text.begin(), text.end()); }

inline Bytes Cat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& part : parts) out.insert(out.end(), part.begin(), part.end());
  return out;
}

// One definite-length element with a single identifier octet.
inline Bytes Tlv(uint8_t identifier, std::initializer_list<Bytes> parts) {
  const Bytes contents = Cat(parts);
  Bytes out{identifier};
  const size_t n = contents.size();
  if (n < 0x80) {
    out.push_back(static_cast<uint8_t>(n));
  } else if (n < 0x100) {
    out.insert(out.end(), {0x81, static_cast<uint8_t>(n)});
  } else {
    out.insert(out.end(), {0x82, static_cast<uint8_t>(n >> 8), static_cast<uint8_t>(n)});
  }
  out.insert(out.end(), contents.begin(), contents.end());
  return out;
}

inline IdentObj Ident(const Bytes& bytes) {
  return IdentObj(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

inline Bytes BytesOf(const IdentObj& object) { return Bytes(object.data(), object.data() + object.size()); }

inline Bytes ReadFileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// FILETIME ticks of a UTC calendar time (days-from-civil, no platform calls).
inline FILETIME FileTimeOf(int year, unsigned month, unsigned day, unsigned hour, unsigned minute,
                           unsigned second) {
  year -= month <= 2;
  const int era = (year >= 0 ? year : year - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(year - era * 400);
  const unsigned doy = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  const int64_t daysSince1970 = static_cast<int64_t>(era) * 146097 + static_cast<int64_t>(doe) - 719468;
  const int64_t seconds = daysSince1970 * 86400 + hour * 3600 + minute * 60 + second + 11644473600LL;
  const uint64_t ticks = static_cast<uint64_t>(seconds) * 10000000ULL;
  return FILETIME{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

// Well-known elements.
inline Bytes OidContentType() { return Hex("06 09 2A 86 48 86 F7 0D 01 09 03"); }
inline Bytes OidMessageDigest() { return Hex("06 09 2A 86 48 86 F7 0D 01 09 04"); }
inline Bytes OidSigningTime() { return Hex("06 09 2A 86 48 86 F7 0D 01 09 05"); }
inline Bytes OidData() { return Hex("06 09 2A 86 48 86 F7 0D 01 07 01"); }
inline Bytes Sha256WithNull() { return Hex("30 0D 06 09 60 86 48 01 65 03 04 02 01 05 00"); }
inline Bytes RsaWithNull() { return Hex("30 0D 06 09 2A 86 48 86 F7 0D 01 01 01 05 00"); }

inline Bytes ContentTypeAttr() { return Tlv(0x30, {OidContentType(), Tlv(0x31, {OidData()})}); }
inline Bytes SigningTimeAttr(const std::string& utc) {
  return Tlv(0x30, {OidSigningTime(), Tlv(0x31, {Tlv(0x17, {Text(utc)})})});
}
inline Bytes DigestAttr() {
  return Tlv(0x30, {OidMessageDigest(), Tlv(0x31, {Tlv(0x04, {Hex("AA BB CC DD")})})});
}

inline Bytes IssuerName() {
  return Tlv(0x30, {Tlv(0x31, {Tlv(0x30, {Hex("06 03 55 04 03"), Tlv(0x0C, {Text("x")})})})});
}

// A SignerInfo with issuerAndSerialNumber, signed attributes and a 4-octet
// signature; `unsignedAttrs` is appended as it is.
inline Bytes SampleSignerInfo(const Bytes& unsignedAttrs = {}) {
  return Tlv(0x30, {Hex("02 01 01"), Tlv(0x30, {IssuerName(), Hex("02 02 01 00")}), Sha256WithNull(),
                    Tlv(0xA0, {ContentTypeAttr(), SigningTimeAttr("250102030405Z"), DigestAttr()}),
                    RsaWithNull(), Hex("04 04 01 02 03 04"), unsignedAttrs});
}

// Children of the constructed element `element`, each whole.
inline std::vector<Bytes> Children(const Bytes& element) {
  std::list<IdentObj> parts;
  int status = 0;
  ASNTGetSequence(parts, element.data(), static_cast<DWORD>(element.size()), &status);
  std::vector<Bytes> out;
  if (status != 0) return out;
  for (const IdentObj& part : parts) out.push_back(BytesOf(part));
  return out;
}

// The SignerInfo elements of a ContentInfo holding SignedData, each whole.
inline std::vector<Bytes> SignerInfosOf(const Bytes& message) {
  const std::vector<Bytes> contentInfo = Children(message);
  if (contentInfo.size() < 2) return {};
  const std::vector<Bytes> wrapper = Children(contentInfo[1]);
  if (wrapper.empty()) return {};
  const std::vector<Bytes> signedData = Children(wrapper[0]);
  for (size_t i = signedData.size(); i-- > 3;) {
    if (signedData[i][0] == 0x31) return Children(signedData[i]);
  }
  return {};
}

// What a SignerInfo becomes once written: every top-level AlgorithmIdentifier
// that holds only its identifier gains NULL parameters.
inline Bytes WithNullParameters(const Bytes& signerInfo) {
  Bytes contents;
  for (Bytes child : Children(signerInfo)) {
    const bool onlyIdentifier = child.size() > 4 && child[0] == 0x30 && child[1] < 0x80 && child[2] == 0x06 &&
                                child[1] == child[3] + 2;
    if (onlyIdentifier) child = Tlv(0x30, {Bytes(child.begin() + 2, child.end()), Hex("05 00")});
    contents.insert(contents.end(), child.begin(), child.end());
  }
  return Tlv(0x30, {contents});
}

}  // namespace cmskit::testing

#endif
