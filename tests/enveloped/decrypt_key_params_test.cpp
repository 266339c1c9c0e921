// Algorithm parameters moved between AlgorithmIdentifiers and keys: the IV
// forms, the GOST SEQUENCE form that only "1.2.643.2.2.21" takes, and the
// character-prefix test that decides what counts as GOST.
#include <gtest/gtest.h>

#include "enveloped/decrypt_test_util.h"

namespace cmskit::test {
namespace {

constexpr DWORD kSentinel = 0x1234;
constexpr DWORD kProvGost2012 = 80;
constexpr ALG_ID kCalgGost28147 = 0x661E;

TEST(IsGostAlgTest, IsAPlainCharacterPrefixTest) {
  const struct {
    const char* oid;
    bool gost;
  } kCases[] = {
      {"1.2.643.2.2.21", true},          {"1.2.643.2.2", true}, {"1.2.643.2.20", true},
      {"1.2.643.2.2.3", true},           {"1.2.643.2.", false}, {"1.2.643.7.1.1.5.1", false},
      {"2.16.840.1.101.3.4.1.2", false}, {"", false},           {nullptr, false},
  };
  for (const auto& item : kCases) EXPECT_EQ(item.gost, IsGostAlg(item.oid)) << (item.oid ? item.oid : "null");
}

class KeyParamsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(AcquireVerifyContext(PROV_RSA_AES, prov_));
    key_.Reset(ImportPlainKey(prov_.handle, CALG_AES_128, Pattern(16, 1)));
    ASSERT_NE(0u, key_.handle);
    start_ = KeyIv(key_.handle);
    ASSERT_EQ(16u, start_.size());
  }

  // DecryptKeyParam on the AES key; the last error must stay as it was
  // unless the arguments are bad.
  bool Apply(const char* oid, const Bytes& params) {
    ASNAlgorithmIdentifier alg(oid, Obj(params));
    SetLastError(kSentinel);
    const bool ok = DecryptKeyParam(key_.handle, alg);
    if (!ok) {
      EXPECT_EQ(kSentinel, GetLastError()) << oid;
    }
    return ok;
  }

  ProviderHandle prov_;
  KeyHandle key_;
  Bytes start_;
};

TEST_F(KeyParamsTest, OtherAlgorithmsTakeABareIvOrTheRc2Form) {
  const Bytes iv = Pattern(16, 2);
  EXPECT_TRUE(Apply(kAes128Oid, Bytes()));
  EXPECT_EQ(start_, KeyIv(key_.handle));
  EXPECT_TRUE(Apply(kAes128Oid, Tlv(0x04, iv)));
  EXPECT_EQ(iv, KeyIv(key_.handle));
  const Bytes rc2Iv = Pattern(16, 3);
  EXPECT_TRUE(Apply(kAes128Oid, Tlv(0x30, Cat({Hex("02 01 3A"), Tlv(0x04, rc2Iv)}))));
  EXPECT_EQ(rc2Iv, KeyIv(key_.handle));
  // An OID that merely starts like GOST follows these rules too.
  EXPECT_TRUE(Apply("1.2.643.2.2.30", Tlv(0x04, iv)));
  EXPECT_EQ(iv, KeyIv(key_.handle));
  // A short IV is handed over zero-filled, never read past its end.
  EXPECT_TRUE(Apply(kAes128Oid, Hex("04 01 AB")));
  EXPECT_EQ(Concat(Hex("AB"), Bytes(15, 0)), KeyIv(key_.handle));
}

TEST_F(KeyParamsTest, RefusedParametersLeaveTheKeyAndTheLastError) {
  const Bytes iv = Pattern(16, 4);
  ASSERT_TRUE(Apply(kAes128Oid, Tlv(0x04, iv)));
  const struct {
    const char* what;
    const char* oid;
    Bytes params;
  } kCases[] = {
      {"GOST with a bare OCTET STRING", kGost28147Oid, Tlv(0x04, Pattern(8, 5))},
      {"GOST SEQUENCE of one", kGost28147Oid, Tlv(0x30, Tlv(0x04, Pattern(8, 5)))},
      {"GOST IV not an OCTET STRING", kGost28147Oid, Tlv(0x30, Cat({Hex("02 01 00"), Hex("06 01 00")}))},
      {"GOST without parameters", kGost28147Oid, Bytes()},
      {"RC2 form of one", kAes128Oid, Tlv(0x30, Hex("02 01 3A"))},
      {"RC2 form without INTEGER", kAes128Oid, Tlv(0x30, Cat({Tlv(0x04, iv), Tlv(0x04, iv)}))},
      {"a SET", kAes128Oid, Tlv(0x31, Cat({Hex("02 01 3A"), Tlv(0x04, iv)}))},
      {"truncated", kAes128Oid, Hex("30 10 02 01 3A 04")},
      {"BOOLEAN", kAes128Oid, Hex("01 01 FF")},
  };
  for (const auto& item : kCases) {
    EXPECT_FALSE(Apply(item.oid, item.params)) << item.what;
    EXPECT_EQ(iv, KeyIv(key_.handle)) << item.what;
  }
}

TEST_F(KeyParamsTest, BadArgumentsSetError160) {
  ASNAlgorithmIdentifier empty;
  ASNAlgorithmIdentifier alg = CbcAlgorithm(kAes128Oid, Pattern(16, 6));
  HCRYPTKEY none = 0;
  char oid[] = "2.16.840.1.101.3.4.1.2";
  HCRYPTPROV noProv = 0;
  IdentObj params;
  const IdentObj iv = Obj(Pattern(16, 6));
  const struct {
    const char* what;
    bool result;
  } kCases[] = {
      {"DecryptKeyParam null key", DecryptKeyParam(none, alg)},
      {"DecryptKeyParam empty OID", DecryptKeyParam(key_.handle, empty)},
      {"EncryptKeySetParam null key", EncryptKeySetParam(none, prov_.handle, oid, iv)},
      {"EncryptKeySetParam null provider", EncryptKeySetParam(key_.handle, noProv, oid, iv)},
      {"EncryptKeySetParam null OID", EncryptKeySetParam(key_.handle, prov_.handle, nullptr, iv)},
      {"EncryptKeyGetParam null key", EncryptKeyGetParam(none, oid, iv, params)},
      {"EncryptKeyGetParam null OID", EncryptKeyGetParam(key_.handle, nullptr, iv, params)},
  };
  for (const auto& item : kCases) EXPECT_FALSE(item.result) << item.what;
  // Each call sets the code; check it on a fresh one.
  SetLastError(0);
  EXPECT_FALSE(DecryptKeyParam(none, alg));
  EXPECT_EQ(kBadArguments, GetLastError());
  SetLastError(0);
  EXPECT_FALSE(EncryptKeyGetParam(key_.handle, nullptr, iv, params));
  EXPECT_EQ(kBadArguments, GetLastError());
  EXPECT_TRUE(params.IsEmpty());
}

TEST_F(KeyParamsTest, EncryptingSideSetsAndEncodesTheIv) {
  char aes[] = "2.16.840.1.101.3.4.1.2";
  char gostLike[] = "1.2.643.2.2.30";
  const Bytes iv = Pattern(16, 7);
  EXPECT_TRUE(EncryptKeySetParam(key_.handle, prov_.handle, aes, Obj(iv)));
  EXPECT_EQ(iv, KeyIv(key_.handle));
  // Every IsGostAlg OID also asks for key meshing, which an AES key lacks.
  EXPECT_FALSE(EncryptKeySetParam(key_.handle, prov_.handle, gostLike, Obj(iv)));

  IdentObj params;
  ASSERT_TRUE(EncryptKeyGetParam(key_.handle, aes, Obj(iv), params));
  EXPECT_EQ(Tlv(0x04, iv), ToBytes(params));
  // GOST parameters need the key's parameter set, which an AES key has not.
  IdentObj untouched = Obj(Hex("05 00"));
  EXPECT_FALSE(EncryptKeyGetParam(key_.handle, gostLike, Obj(iv), untouched));
  EXPECT_EQ(Hex("05 00"), ToBytes(untouched));
}

// GOST 28147-89 keys need a provider that has them (on Linux the gost engine).
class GostKeyParamsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!AcquireVerifyContext(kProvGost2012, prov_)) GTEST_SKIP() << "no GOST provider";
    key_.Reset(ImportPlainKey(prov_.handle, kCalgGost28147, Pattern(32, 8)));
    if (!key_.handle) GTEST_SKIP() << "no GOST 28147-89 keys";
  }

  Bytes Param(DWORD param) {
    DWORD length = 0;
    if (!CryptGetKeyParam(key_.handle, param, nullptr, &length, 0)) return Bytes();
    Bytes value(length);
    EXPECT_TRUE(CryptGetKeyParam(key_.handle, param, value.data(), &length, 0));
    return value;
  }

  ProviderHandle prov_;
  KeyHandle key_;
};

TEST_F(GostKeyParamsTest, TheSequenceFormSetsIvAndMeshingButNotTheParameterSet) {
  const Bytes paramSet = Param(kParamCipherOid);
  ASSERT_FALSE(paramSet.empty());
  const Bytes iv = Pattern(8, 9);
  // The CryptoPro A set named in the message is not applied.
  ASNAlgorithmIdentifier alg(kGost28147Oid,
                             Obj(Tlv(0x30, Cat({Tlv(0x04, iv), Hex("06 07 2A 85 03 02 02 1F 01")}))));
  ASSERT_TRUE(DecryptKeyParam(key_.handle, alg));
  EXPECT_EQ(iv, KeyIv(key_.handle));
  EXPECT_EQ(Hex("01 00 00 00"), Param(kParamMixMode));
  EXPECT_EQ(paramSet, Param(kParamCipherOid));

  char gost[] = "1.2.643.2.2.21";
  IdentObj params;
  ASSERT_TRUE(EncryptKeyGetParam(key_.handle, gost, Obj(iv), params));
  const std::string setText(paramSet.begin(), paramSet.end() - 1);
  const IdentObj setOid =
      ASNTEncodeElement(Universal(kASNTObjectId), setText.c_str(), static_cast<DWORD>(setText.size()));
  EXPECT_EQ(Tlv(0x30, Cat({Tlv(0x04, iv), ToBytes(setOid)})), ToBytes(params));
  EXPECT_TRUE(EncryptKeySetParam(key_.handle, prov_.handle, gost, Obj(Pattern(8, 10))));
  EXPECT_EQ(Pattern(8, 10), KeyIv(key_.handle));
}

}  // namespace
}  // namespace cmskit::test
