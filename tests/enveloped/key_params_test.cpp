// Parameters moved between AlgorithmIdentifiers and keys, IsGostAlg and the size helpers.
#include "enveloped/enveloped_test_util.h"

namespace cmskit::test {
namespace {

TEST(IsGostAlgTest, IsAPlainCharacterPrefixTest) {
  for (const char* oid : {"1.2.643.2.2.21", "1.2.643.2.2", "1.2.643.2.20", "1.2.643.2.2.3", "1.2.643.2.",
                          "1.2.643.7.1.1.5.1", kAes128Oid, "", static_cast<const char*>(nullptr)})
    EXPECT_EQ(IsGostAlg(oid), oid && strncmp(oid, "1.2.643.2.2", 11) == 0) << (oid ? oid : "null");
}

class KeyParamsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(AcquireVerifyContext(PROV_RSA_AES, prov_));
    key_.Reset(ImportPlainKey(prov_.handle, CALG_AES_128, Pattern(16, 1)));
  }

  ProviderHandle prov_;
  KeyHandle key_;
};

TEST_F(KeyParamsTest, AcceptedAndRefusedForms) {
  const Bytes iv = Pattern(16, 2), rc2Iv = Pattern(16, 3), gostIv = Pattern(8, 5);
  const Bytes start = KeyParam(key_.handle);
  // OID, parameters, the key's IV afterwards (empty: refused, IV unchanged).
  const std::tuple<const char*, Bytes, Bytes> kCases[] = {
      {kAes128Oid, {}, start},
      {kAes128Oid, Tlv(0x04, iv), iv},
      {kAes128Oid, Tlv(0x30, Cat({Hex("02 01 3A"), Tlv(0x04, rc2Iv)})), rc2Iv},  // the RC2 form
      {kAes128Oid, Hex("04 01 AB"), Cat({Hex("AB"), Bytes(15, 0)})},             // handed over zero-filled
      {kGost28147Oid, Tlv(0x04, gostIv), {}},  // GOST takes only its SEQUENCE
      {kGost28147Oid, Tlv(0x30, Hex("02 01 00 06 01 00")), {}},
      {kGost28147Oid, {}, {}},
      {kAes128Oid, Tlv(0x30, Cat({Tlv(0x04, iv), Tlv(0x04, iv)})), {}},
      {kAes128Oid, Tlv(0x31, Cat({Hex("02 01 3A"), Tlv(0x04, iv)})), {}},
      {kAes128Oid, Hex("30 10 02 01 3A 04"), {}}};
  Bytes current = start;
  for (const auto& [oid, params, after] : kCases) {
    ASNAlgorithmIdentifier alg(oid, Obj(params));
    SetLastError(0x1234);  // a refusal leaves the last error alone
    const bool ok = DecryptKeyParam(key_.handle, alg);
    EXPECT_EQ(!after.empty(), ok) << ToHex(params);
    EXPECT_EQ(ok ? GetLastError() : 0x1234u, GetLastError());
    current = after.empty() ? current : after;
    EXPECT_EQ(current, KeyParam(key_.handle)) << ToHex(params);
  }
}

TEST_F(KeyParamsTest, EncryptingSideAndBadArguments) {
  ASNAlgorithmIdentifier empty, alg = CbcAlgorithm(kAes128Oid, Pattern(16, 6));
  HCRYPTKEY none = 0;
  HCRYPTPROV noProv = 0;
  char oid[] = "2.16.840.1.101.3.4.1.2";
  IdentObj params;
  const IdentObj iv = Obj(Pattern(16, 6));
  const std::function<bool()> kCalls[] = {
      [&] { return DecryptKeyParam(none, alg); },
      [&] { return DecryptKeyParam(key_.handle, empty); },
      [&] { return EncryptKeySetParam(none, prov_.handle, oid, iv); },
      [&] { return EncryptKeySetParam(key_.handle, noProv, oid, iv); },
      [&] { return EncryptKeySetParam(key_.handle, prov_.handle, nullptr, iv); },
      [&] { return EncryptKeyGetParam(none, oid, iv, params); },
      [&] { return EncryptKeyGetParam(key_.handle, nullptr, iv, params); }};
  for (const auto& call : kCalls) {
    SetLastError(0);
    EXPECT_FALSE(call());
    EXPECT_EQ(kBadArguments, GetLastError());
  }
  EXPECT_TRUE(params.IsEmpty());
  char gostLike[] = "1.2.643.2.2.30";
  const Bytes fresh = Pattern(16, 7);
  EXPECT_TRUE(EncryptKeySetParam(key_.handle, prov_.handle, oid, Obj(fresh)));
  EXPECT_EQ(fresh, KeyParam(key_.handle));
  // Every IsGostAlg OID also asks for key meshing, which an AES key lacks.
  EXPECT_FALSE(EncryptKeySetParam(key_.handle, prov_.handle, gostLike, Obj(fresh)));
  ASSERT_TRUE(EncryptKeyGetParam(key_.handle, oid, Obj(fresh), params));
  EXPECT_EQ(Tlv(0x04, fresh), ToBytes(params));
  // GOST parameters need the key's parameter set, which an AES key has not.
  IdentObj untouched = Obj(Hex("05 00"));
  EXPECT_FALSE(EncryptKeyGetParam(key_.handle, gostLike, Obj(fresh), untouched));
  EXPECT_EQ(Hex("05 00"), ToBytes(untouched));
}

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

class GostKeyTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!AcquireVerifyContext(kProvGost2012, prov_)) GTEST_SKIP() << "no GOST provider";
    key_.Reset(ImportPlainKey(prov_.handle, kCalgGost28147, Pattern(32, 8)));
    if (!key_.handle) GTEST_SKIP() << "no GOST 28147-89 keys";
    const Bytes set = KeyParam(key_.handle, kParamCipherOid);
    ASSERT_FALSE(set.empty());
    paramSet_.assign(set.begin(), set.end() - 1);
    setOid_ = ToBytes(
        ASNTEncodeElement(Universal(kASNTObjectId), paramSet_.c_str(), static_cast<DWORD>(paramSet_.size())));
  }

  ProviderHandle prov_;
  KeyHandle key_;
  std::string paramSet_;
  Bytes setOid_;
};

TEST_F(GostKeyTest, TheSequenceFormSetsIvAndMeshingButNotTheParameterSet) {
  const Bytes iv = Pattern(8, 9);
  // The CryptoPro A set named in the message is not applied.
  ASNAlgorithmIdentifier alg(kGost28147Oid,
                             Obj(Tlv(0x30, Cat({Tlv(0x04, iv), Hex("06 07 2A 85 03 02 02 1F 01")}))));
  ASSERT_TRUE(DecryptKeyParam(key_.handle, alg));
  EXPECT_EQ(iv, KeyParam(key_.handle));
  EXPECT_EQ(Hex("01 00 00 00"), KeyParam(key_.handle, kParamMixMode));
  EXPECT_EQ(paramSet_,
            std::string(reinterpret_cast<const char*>(KeyParam(key_.handle, kParamCipherOid).data())));
  char gost[] = "1.2.643.2.2.21";
  IdentObj params, generated;
  ASSERT_TRUE(GenerateNewInitVector(key_.handle, prov_.handle, generated));
  EXPECT_EQ(8u, generated.size());
  ASSERT_TRUE(EncryptKeyGetParam(key_.handle, gost, Obj(iv), params));
  EXPECT_EQ(Tlv(0x30, Cat({Tlv(0x04, iv), setOid_})), ToBytes(params));
  EXPECT_TRUE(EncryptKeySetParam(key_.handle, prov_.handle, gost, Obj(Pattern(8, 10))));
  EXPECT_EQ(Pattern(8, 10), KeyParam(key_.handle));
}

// Header octets of a definite length.
DWORD HeaderLength(uint64_t length) {
  DWORD octets = 2;  // identifier and the first length octet
  for (uint64_t rest = length; length >= 0x80 && rest != 0; rest >>= 8) ++octets;
  return octets;
}

TEST_F(GostKeyTest, EncryptSizeCountsPieceHeadersAndTheGostAlgorithm) {
  // SEQUENCE { OID 1.2.643.2.2.21, SEQUENCE { OCTET STRING (8-byte IV), OID } }
  const DWORD algorithm = 2 + 8 + 2 + 10 + static_cast<DWORD>(setOid_.size());
  const DWORD kCases[][3] = {{10000, 2, 10012}, {10000, 0, 10000}, {4096, 2, 4100}, {4097, 2, 4105},
                             {1, 2, 5},         {0, 2, 0},         {0, 0, 0},       {200, 1, 200}};
  for (const auto& [plain, pieceFlags, content] : kCases) {
    for (DWORD flags : {DWORD{0}, DWORD{EncryptedContentInfo::kContentConstructed}}) {
      EncryptedContentInfo eci;
      eci.flags = flags;
      eci.contentEncryptionAlgorithm = CbcAlgorithm(kAes128Oid, Pattern(16, 3));  // plays no part
      const DWORD inner =
          11 + algorithm + (content ? HeaderLength(content) + content : 0);  // 11: the data OID
      EXPECT_EQ(HeaderLength(inner) + inner, eci.GetEncryptSize(key_.handle, plain, pieceFlags)) << plain;
    }
  }
  // The default TC26 set: 10000 bytes in pieces come to 10064 in all.
  if (paramSet_ == "1.2.643.7.1.2.5.1.1") {
    EXPECT_EQ(10064u, EncryptedContentInfo().GetEncryptSize(key_.handle, 10000, 2));
  }
}

}  // namespace
}  // namespace cmskit::test
