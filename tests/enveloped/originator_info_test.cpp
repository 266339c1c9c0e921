// OriginatorInfo: explicit [0]/[1] wrappers around whole SETs, either order
// on reading, and the error endings.
#include <gtest/gtest.h>

#include "enveloped_test_util.h"

namespace cmskit::test {
namespace {

const Bytes kCert1 = Hex("30 03 02 01 01");
const Bytes kCert2 = Hex("30 03 02 01 02");
const Bytes kCrl = Hex("30 03 02 01 03");

Bytes CertsElement() { return Tlv(0xA0, Tlv(0x31, Cat({kCert1, kCert2}))); }
Bytes CrlsElement() { return Tlv(0xA1, Tlv(0x31, kCrl)); }

TEST(OriginatorInfo, WritesEachListInsideItsWrapper) {
  OriginatorInfo info;
  info.certs = {Obj(kCert1), Obj(kCert2)};
  EXPECT_EQ(ToHex(info.WriteObject()), ToHex(Tlv(0x30, CertsElement())));
  info.crls = {Obj(kCrl)};
  const Bytes both = Tlv(0x30, Cat({CertsElement(), CrlsElement()}));
  EXPECT_EQ(ToHex(info.WriteObject()), ToHex(both));
  EXPECT_EQ(info.GetObjectSize(), both.size());
  info.certs.clear();
  EXPECT_EQ(ToHex(info.WriteObject()), ToHex(Tlv(0x30, CrlsElement())));
}

TEST(OriginatorInfo, ReadsEitherOrderAndAppends) {
  const Bytes input = Tlv(0x30, Cat({CrlsElement(), CertsElement()}));
  OriginatorInfo info;
  info.certs = {Obj(kCrl)};
  int error = -1;
  EXPECT_EQ(info.ReadObject(input.data(), static_cast<DWORD>(input.size()), &error), input.size());
  EXPECT_EQ(error, 0);
  EXPECT_EQ(HexList(info.certs), (std::vector<std::string>{ToHex(kCrl), ToHex(kCert1), ToHex(kCert2)}));
  EXPECT_EQ(HexList(info.crls), (std::vector<std::string>{ToHex(kCrl)}));
}

TEST(OriginatorInfo, RefusesOtherWrappersAndBrokenSets) {
  const struct {
    const char* name;
    Bytes input;
    int status;
  } cases[] = {
      {"[2] child", Tlv(0x30, Cat({CertsElement(), Tlv(0xA2, Tlv(0x31, kCrl))})), 28},
      {"primitive outer", Hex("04 02 05 00"), 205},
      {"wrapped SET runs past its wrapper", Tlv(0x30, Tlv(0xA0, Hex("31 09 30 03 02 01 01"))), 206},
      {"empty wrapper", Tlv(0x30, Hex("A0 00")), 206},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    OriginatorInfo info;
    int error = 0;
    EXPECT_EQ(info.ReadObject(c.input.data(), static_cast<DWORD>(c.input.size()), &error), 0u);
    EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(c.status));
    ExpectThrowsStatus([&] { info.ReadObject(c.input.data(), static_cast<DWORD>(c.input.size())); },
                       c.status);
  }
}

}  // namespace
}  // namespace cmskit::test
