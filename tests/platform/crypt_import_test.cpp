// Key import through the installed "CryptMsgDllImportEncryptKey" functions.
#include "crypt_test_support.h"

namespace cmskit::test {
namespace {

void Acquire(const std::string& keyFile, DWORD type, ProviderHandle* prov) {
  ASSERT_TRUE(CryptAcquireContextA(&prov->handle, keyFile.c_str(), nullptr, type, 0)) << keyFile;
}

// The published RSA example's key (its decryption: DecryptOpenssl), then the error codes.
TEST(CryptImportTest, PublishedRsaMessagesAndImportErrors) {
  ProviderHandle bob, keyless;
  Acquire(DataFile("BobPrivRSAEncrypt.pri"), PROV_RSA_FULL, &bob);
  Envelope envelope = ParseEnvelope(ReadData("5.1.bin"));
  KeyHandle key;
  EXPECT_EQ(0u, ImportEnvelopeKey(bob.handle, envelope, &key.handle));
  ASSERT_TRUE(AcquireVerifyContext(PROV_RSA_AES, keyless));
  const std::tuple<HCRYPTPROV, DWORD, const char*, DWORD> kCases[] = {
      {bob.handle, AT_KEYEXCHANGE, "1.2.643.2.2.99", NTE_BAD_ALGID},
      {keyless.handle, AT_KEYEXCHANGE, nullptr, NTE_NO_KEY},
      {bob.handle, 7, nullptr, NTE_NO_KEY},
      {bob.handle + 1000, AT_KEYEXCHANGE, nullptr, ERROR_INVALID_PARAMETER}};
  for (const auto& [prov, keySpec, oid, error] : kCases) {
    HCRYPTKEY key = 0;
    EXPECT_EQ(error, ImportEnvelopeKey(prov, envelope, &key, keySpec, oid)) << error;
    EXPECT_EQ(0u, key);
  }
  Envelope damaged = envelope;
  damaged.encryptedKey[10] ^= 0x40;  // a damaged wrapping does not unwrap
  key.Reset();
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_DATA), ImportEnvelopeKey(bob.handle, damaged, &key.handle));
  // RC2 parameters: none, the bare IV, the version forms (40, 64, 128 and 300 bits); the rest are bad data.
  envelope.contentOid = "1.2.840.113549.3.2";
  const char* kRc2[] = {"05 00",
                        "04 08 0001020304050607",
                        "30 06 02 02 00 A0 04 00",
                        "30 05 02 01 78 04 00",
                        "30 05 02 01 3A 04 00",
                        "30 06 02 02 01 2C 04 00",
                        "30 05 02 01 07 04 00",
                        "31 00",
                        "04"};
  for (size_t i = 0; i < std::size(kRc2); ++i) {
    envelope.contentParams = Hex(kRc2[i]);
    key.Reset();
    EXPECT_EQ(i < 6 ? 0u : static_cast<DWORD>(NTE_BAD_DATA),
              ImportEnvelopeKey(bob.handle, envelope, &key.handle))
        << kRc2[i];
  }
}

// A TK26 message's key (its decryption: DecryptGost) has its parameter set; a
// damaged key transport fails its MAC, and other parameters are refused.
TEST(CryptImportTest, GostMessageParameterSetAndDamage) {
  if (!HaveGost()) GTEST_SKIP() << "the gost engine cannot be loaded";
  ProviderHandle prov;
  Acquire(DataFile("tk26_key_256.pem"), PROV_GOST_2012_256, &prov);
  const Envelope envelope = ParseEnvelope(ReadData("EnvelopedKTRI_256.der"));
  KeyHandle key;
  ASSERT_EQ(0u, ImportEnvelopeKey(prov.handle, envelope, &key.handle));
  EXPECT_EQ(Text(Obj(KeyParam(key.handle, KP_CIPHEROID))), std::string("1.2.643.7.1.2.5.1.1", 20));
  EXPECT_EQ(Bytes({CRYPT_SIMPLEMIX_MODE, 0, 0, 0}), KeyParam(key.handle, KP_MIXMODE));  // until the IV is set
  Envelope damaged = envelope;
  damaged.encryptedKey[8] ^= 0x01;  // inside the encrypted session key
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_DATA), ImportEnvelopeKey(prov.handle, damaged, &key.handle));
  damaged.encryptedKey = envelope.encryptedKey;
  damaged.contentParams = {0x04, 0x01, 0x00};  // not Gost28147-89-Parameters
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_DATA), ImportEnvelopeKey(prov.handle, damaged, &key.handle));
}

// Without the engine GOST is an algorithm the provider does not have: 0 when
// both a GOST provider type and a GOST key are refused with the right codes.
int GostRefusedWithoutEngine() {
  setenv("OPENSSL_ENGINES", "/nonexistent-engine-dir", 1);
  ProviderHandle gost, prov;
  const bool typeRefused = !AcquireVerifyContext(PROV_GOST_2012_256, gost) &&
                           GetLastError() == static_cast<DWORD>(NTE_PROV_TYPE_NOT_DEF);
  if (!AcquireVerifyContext(PROV_RSA_AES, prov)) return 2;
  const bool keyRefused = !ImportPlainKey(prov.handle, kCalgGost28147, Bytes(32)) &&
                          GetLastError() == static_cast<DWORD>(NTE_BAD_ALGID);
  HCRYPTHASH hash = 0;
  const bool hashRefused = !CryptCreateHash(prov.handle, CALG_GR3411_2012_256, 0, 0, &hash) &&
                           GetLastError() == static_cast<DWORD>(NTE_BAD_ALGID);
  return typeRefused && keyRefused && hashRefused ? 0 : 1;
}

// The engine loads once per process, so this runs in a fresh one.
TEST(CryptGostMissingTest, WithoutTheEngineGostIsBadAlgid) {
  if (!HaveOpenSsl()) GTEST_SKIP() << "needs a system with OpenSSL's engine directory";
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(std::exit(GostRefusedWithoutEngine()), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace cmskit::test
