// Messages made at test time by `openssl cms -encrypt` to RSA recipients
// (AES, 3DES) and GOST ones (gost engine) decrypt to the right bytes.
#include <gtest/gtest.h>

#include <algorithm>

#include "interop/decrypt_interop_util.h"

namespace cmskit_testing {
namespace {

class DecryptOpenssl : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!S().ok()) GTEST_SKIP() << "the openssl command is not available";
    S().Cert("recipient");
  }
  static Openssl& S() { return Openssl::Get(); }

  // Decrypts the last made message (the key file is the container).
  static Decryption Decrypt(bool fromMemory, bool toFile) {
    const std::string key = S().Path("recipient.key");
    RecipientCertificate cert(ReadBytes(S().Path("recipient.cer")), key, PROV_RSA_AES);
    ProviderHandle prov;
    EXPECT_TRUE(CryptAcquireContextA(&prov.handle, key.c_str(), nullptr, PROV_RSA_AES, 0));
    return DecryptMessage(S().Path("message.der"), fromMemory, toFile ? S().Path("plain.out") : "",
                          cert.Get(), prov.handle);
  }
};

// File to file, whole 4096-byte blocks (4095 bytes) get no final call; read
// from memory, one final call either way.
TEST_F(DecryptOpenssl, RsaMessagesDecryptOnEveryPath) {
  for (const auto& cipher : {std::make_pair("-aes128", 16), {"-aes256", 16}, {"-des3", 8}}) {
    for (size_t size : {0, 1, 4095, 4097, 1 << 20}) {
      const Bytes plain = Pattern(size, static_cast<unsigned>(size));
      ASSERT_FALSE(S().Make(plain, std::string("cms -encrypt ") + cipher.first + " @recipient").empty());
      for (int path = 0; path < 4; ++path) {
        SCOPED_TRACE(std::string(cipher.first) + " " + std::to_string(size) + " path " +
                     std::to_string(path));
        const Decryption result = Decrypt(path & 1, path & 2);
        EXPECT_TRUE(result.ok) << std::hex << result.error;
        EXPECT_EQ(path == 2 && size == 4095 ? WithPadding(plain, cipher.second) : plain, result.plain);
      }
    }
  }
}

constexpr DWORD kProvGost2001 = 75, kProvGost2012_256 = 80, kProvGost2012_512 = 81;

class DecryptGost : public DecryptOpenssl {
 protected:
  void SetUp() override {
    if (!S().ok() || !Shell("openssl engine -t gost")) GTEST_SKIP() << "the gost engine cannot be loaded";
    ProviderHandle probe;
    if (!AcquireVerifyContext(kProvGost2012_256, probe)) GTEST_SKIP() << "no GOST provider";
  }

  // An unsigned certificate of `keyFile` naming the message's first recipient.
  static Bytes CertificateFor(const std::string& messagePath, const std::string& keyFile) {
    EnvelopedData message;
    CTOOFile file(messagePath.c_str(), "rb");
    EXPECT_NE(0u, message.ReadObject(file));
    if (message.recipientInfos.empty()) return Bytes();
    const TransRecipientInfo& recipient = message.recipientInfos.front();
    Bytes serial = Of(recipient.serialNumber);
    std::reverse(serial.begin(), serial.end());
    const std::string spki = S().Path("spki.der");
    EXPECT_TRUE(Shell("openssl pkey -engine gost -in " + keyFile + " -pubout -outform DER -out " + spki));
    const Bytes signature = Hex("30 08 06 06 2A 85 03 02 02 03");
    const Bytes validity = El(0x30, Tlv(0x17, Text("200101000000Z")), Tlv(0x17, Text("400101000000Z")));
    const Bytes tbs = El(0x30, El(0xA0, Hex("02 01 02")), Tlv(0x02, serial), signature, Of(recipient.issuer),
                         validity, Of(recipient.issuer), ReadBytes(spki));
    return El(0x30, tbs, signature, Hex("03 01 00"));
  }

  // Decrypts file to file and (unless streamed) to memory; both give `plain`.
  static void ExpectDecrypts(const std::string& message, const std::string& keyFile, DWORD provType,
                             const Bytes& plain, bool memoryToo = true) {
    RecipientCertificate cert(CertificateFor(message, keyFile), keyFile, provType);
    ASSERT_NE(nullptr, cert.Get());
    ProviderHandle prov;
    ASSERT_TRUE(CryptAcquireContextA(&prov.handle, keyFile.c_str(), nullptr, provType, 0)) << keyFile;
    for (const std::string& target : {S().Path("gost.out"), std::string()}) {
      if (target.empty() && !memoryToo) break;
      const Decryption result = DecryptMessage(message, false, target, cert.Get(), prov.handle);
      EXPECT_EQ(0, result.importError);
      EXPECT_TRUE(result.ok) << std::hex << result.error;
      EXPECT_EQ(plain, result.plain);
    }
  }
};

TEST_F(DecryptGost, PublishedVectorsDecrypt) {
  const struct {
    const char *message, *key;
    DWORD provType;
    const char* plain;
  } kVectors[] = {{"rfc4490_9.3_enveloped_keytrans.der", "rfc4490_recipient_GostR3410-2001.p8.der",
                   kProvGost2001, "sample_text.txt"},
                  {"EnvelopedKTRI_256.der", "tk26_key_256.pem", kProvGost2012_256, "plain_ktri_256.txt"},
                  {"EnvelopedKTRI_512.der", "tk26_key_512.p8.der", kProvGost2012_512, "test_message.txt"}};
  for (const auto& v : kVectors) {
    SCOPED_TRACE(v.message);
    ExpectDecrypts(TestData(std::string("crypt/") + v.message), TestData(std::string("crypt/") + v.key),
                   v.provType, ReadBytes(TestData(std::string("crypt/") + v.plain)));
  }
}

TEST_F(DecryptGost, OpensslGostMessagesDecrypt) {
  const struct {
    const char* algorithm;
    DWORD provType;
    const char* environment;  // the CryptoPro A content parameter set comes from CRYPT_PARAMS
  } kRecipients[] = {
      {"gost2012_256", kProvGost2012_256, ""},
      {"gost2012_256", kProvGost2012_256, "CRYPT_PARAMS=id-Gost28147-89-CryptoPro-A-ParamSet "},
      {"gost2001", kProvGost2001, ""}};
  int index = 0;
  for (const auto& r : kRecipients) {
    SCOPED_TRACE(std::string(r.algorithm) + " " + r.environment);
    const std::string name = "gost" + std::to_string(++index);
    const std::string key = S().Path(name + ".key"), cert = S().Path(name + ".pem");
    ASSERT_TRUE(Shell("openssl req -engine gost -x509 -newkey " + std::string(r.algorithm) +
                      " -pkeyopt paramset:A -nodes -subj /CN=" + name + " -days 1 -keyout " + key + " -out " +
                      cert));
    for (size_t size : {1, 4096, 100000}) {
      for (const char* form : {"", "-stream "}) {
        SCOPED_TRACE(std::to_string(size) + " " + form);
        const Bytes plain = Pattern(size, static_cast<unsigned>(size + index));
        const std::string in = S().Path(name + ".plain"), out = S().Path(name + ".der");
        WriteBytes(in, plain);
        ASSERT_TRUE(Shell(std::string(r.environment) + "openssl cms -engine gost -encrypt -binary " + form +
                          "-gost89 -outform DER -in " + in + " -out " + out + " " + cert));
        // Streamed pieces decrypt file to file, none final; into memory each
        // piece would restart the stream.
        ExpectDecrypts(out, key, r.provType, plain, form[0] == '\0');
      }
    }
  }
}

}  // namespace
}  // namespace cmskit_testing
