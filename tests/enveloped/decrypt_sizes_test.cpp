// The size helpers: the plaintext size taken from the encrypted octets, and
// the length of an EncryptedContentInfo that encrypting n bytes produces
// (always counted as GOST 28147-89 with the key's IV and parameter set).
#include <gtest/gtest.h>

#include <string>

#include "enveloped/decrypt_test_util.h"

namespace cmskit::test {
namespace {

constexpr DWORD kProvGost2012 = 80;
constexpr ALG_ID kCalgGost28147 = 0x661E;

TEST(GetOpenTextSizeTest, IsTheStoredOrRecordedLength) {
  EncryptedContentInfo eci;
  EXPECT_EQ(0u, eci.GetOpenTextSize());
  eci.encryptedContent = Obj(Cat({Tlv(0x04, Bytes(100)), Tlv(0x04, Bytes(20))}));
  eci.flags = EncryptedContentInfo::kContentConstructed;
  EXPECT_EQ(124u, eci.GetOpenTextSize());  // piece headers included
  eci.flags |= EncryptedContentInfo::kContentInFile;
  eci.contentLength = 5000;
  EXPECT_EQ(5000u, eci.GetOpenTextSize());
}

// Header octets of a definite length.
DWORD HeaderLength(uint64_t length) {
  if (length < 0x80) return 2;
  DWORD octets = 2;  // identifier and 0x8n
  for (uint64_t rest = length; rest != 0; rest >>= 8) ++octets;
  return octets;
}

class GostEncryptSizeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!AcquireVerifyContext(kProvGost2012, prov_)) GTEST_SKIP() << "no GOST provider";
    key_.Reset(ImportPlainKey(prov_.handle, kCalgGost28147, Pattern(32, 2)));
    if (!key_.handle) GTEST_SKIP() << "no GOST 28147-89 keys";
    DWORD length = 0;
    ASSERT_TRUE(CryptGetKeyParam(key_.handle, kParamCipherOid, nullptr, &length, 0));
    std::string text(length, '\0');
    ASSERT_TRUE(
        CryptGetKeyParam(key_.handle, kParamCipherOid, reinterpret_cast<BYTE*>(&text[0]), &length, 0));
    paramSet_ = text.c_str();
  }

  ProviderHandle prov_;
  KeyHandle key_;
  std::string paramSet_;
};

TEST_F(GostEncryptSizeTest, CountsPieceHeadersAndTheGostAlgorithm) {
  const IdentObj setOid =
      ASNTEncodeElement(Universal(kASNTObjectId), paramSet_.c_str(), static_cast<DWORD>(paramSet_.size()));
  // SEQUENCE { OID 1.2.643.2.2.21, SEQUENCE { OCTET STRING (8-byte IV), OID } }
  const DWORD algorithm = 2 + 8 + 2 + 10 + setOid.size();
  const DWORD dataType = 11;  // OID 1.2.840.113549.1.7.1
  const struct {
    DWORD plain, pieceFlags, content;
  } kCases[] = {
      {10000, 2, 10012}, {10000, 0, 10000}, {4096, 2, 4100}, {4097, 2, 4105},
      {1, 2, 5},         {0, 2, 0},         {0, 0, 0},       {200, 1, 200},
  };
  for (const auto& item : kCases) {
    SCOPED_TRACE(item.plain);
    for (DWORD flags : {DWORD{0}, DWORD{EncryptedContentInfo::kContentConstructed}}) {
      EncryptedContentInfo eci;
      eci.flags = flags;
      // The algorithm the object holds plays no part.
      eci.contentEncryptionAlgorithm = CbcAlgorithm(kAes128Oid, Pattern(16, 3));
      const DWORD inner =
          dataType + algorithm + (item.content ? HeaderLength(item.content) + item.content : 0);
      EXPECT_EQ(HeaderLength(inner) + inner, eci.GetEncryptSize(key_.handle, item.plain, item.pieceFlags));
    }
  }
  // The default TC26 set: 10000 bytes in pieces come to 10012 content bytes
  // and 10064 in all.
  if (paramSet_ == "1.2.643.7.1.2.5.1.1") {
    EncryptedContentInfo eci;
    EXPECT_EQ(10064u, eci.GetEncryptSize(key_.handle, 10000, 2));
  }
}

}  // namespace
}  // namespace cmskit::test
