// Messages made at test time by `openssl cms -encrypt` decrypt through
// GetEncryptionKey, DecryptKeyParam and DecryptContent: RSA recipients with
// AES and 3DES content, and GOST recipients with the gost engine. Where the
// file-to-file path makes no final call, the CBC padding stays: pinned here.
// Skipped without the openssl command (and, for GOST, the engine).
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "interop/decrypt_interop_util.h"

namespace cmskit::test {
namespace {

constexpr size_t kOneMiB = 1 << 20;

struct Cipher {
  const char* option;
  size_t block;
};

constexpr Cipher kCiphers[] = {{"-aes128", 16}, {"-aes256", 16}, {"-des3", 8}};

class DecryptOpenssl : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (!HaveOpenssl()) return;
    dir_ = new TempDir();
    key_ = dir_->Path("recipient.key");
    for (const char* name : {"recipient", "stranger"}) {
      const std::string cert = dir_->Path(std::string(name) + ".pem");
      RunQuietly("openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=" + std::string(name) +
                 " -keyout " + dir_->Path(std::string(name) + ".key") + " -out " + cert);
      RunQuietly("openssl x509 -in " + cert + " -outform DER -out " + dir_->Path(std::string(name) + ".cer"));
    }
  }

  static void TearDownTestSuite() {
    delete dir_;
    dir_ = nullptr;
  }

  void SetUp() override {
    if (!dir_) GTEST_SKIP() << "openssl is not available";
    cert_ = std::make_unique<RecipientCertificate>(ReadFileBytes(dir_->Path("recipient.cer")), key_,
                                                   PROV_RSA_AES);
    ASSERT_NE(nullptr, cert_->Get());
    ASSERT_TRUE(CryptAcquireContextA(&prov_.handle, key_.c_str(), nullptr, PROV_RSA_AES, 0))
        << GetLastError();
  }

  // Encrypts `plain` with openssl to the recipient; returns the message path.
  static std::string Encrypt(const Bytes& plain, const std::string& options, const std::string& name) {
    const std::string in = dir_->Path(name + ".plain"), out = dir_->Path(name + ".der");
    WriteFileBytes(in, plain);
    const std::string command = "openssl cms -encrypt -binary -outform DER " + options + " -in " + in +
                                " -out " + out + " " + dir_->Path("recipient.pem");
    EXPECT_EQ(0, RunQuietly(command)) << command;
    return out;
  }

  Decryption Run(const std::string& message, bool fromMemory, bool toFile) {
    const std::string target = toFile ? dir_->Path("out" + std::to_string(++outputs_)) : std::string();
    return DecryptMessage(message, fromMemory, target, cert_->Get(), prov_.handle);
  }

  static TempDir* dir_;
  static std::string key_;
  std::unique_ptr<RecipientCertificate> cert_;
  ProviderHandle prov_;
  int outputs_ = 0;
};

TempDir* DecryptOpenssl::dir_ = nullptr;
std::string DecryptOpenssl::key_;

TEST_F(DecryptOpenssl, RsaMessagesDecryptOnEveryPath) {
  for (const Cipher& cipher : kCiphers) {
    for (size_t size : {size_t{0}, size_t{1}, size_t{4095}, size_t{4097}, kOneMiB}) {
      SCOPED_TRACE(std::string(cipher.option) + " " + std::to_string(size));
      const Bytes plain = Pattern(size, static_cast<unsigned>(size));
      const std::string message = Encrypt(plain, cipher.option, "rsa");
      const Decryption toMemory = Run(message, false, false);
      EXPECT_TRUE(toMemory.ok) << std::hex << toMemory.error;
      EXPECT_EQ(plain, toMemory.plain);
      // File to file: a ciphertext of whole 4096-byte blocks (4095 bytes of
      // plaintext under both block sizes) gets no final call.
      const Decryption toFile = Run(message, false, true);
      EXPECT_TRUE(toFile.ok);
      const bool wholeBlocks = toFile.contentLength % 4096 == 0;
      EXPECT_EQ(size == 4095, wholeBlocks);
      EXPECT_EQ(wholeBlocks ? WithPadding(plain, cipher.block) : plain, toFile.plain);
      // Read from memory: one final call either way.
      EXPECT_EQ(plain, Run(message, true, false).plain);
      EXPECT_EQ(plain, Run(message, true, true).plain);
    }
  }
}

TEST_F(DecryptOpenssl, StreamedCbcMessagesDecryptIntoFilesWithTheirPadding) {
  for (size_t size : {size_t{1}, size_t{10000}}) {
    SCOPED_TRACE(size);
    const Bytes plain = Pattern(size, 5);
    const std::string message = Encrypt(plain, "-aes128 -stream", "streamed");
    // Pieces towards a file are never final.
    const Decryption toFile = Run(message, false, true);
    EXPECT_TRUE(toFile.ok);
    EXPECT_EQ(WithPadding(plain, 16), toFile.plain);
    // Towards memory each piece is final: one piece decrypts, a stream cut
    // into several does not.
    const Decryption toMemory = Run(message, false, false);
    if (size == 1) {
      EXPECT_TRUE(toMemory.ok);
      EXPECT_EQ(plain, toMemory.plain);
    } else {
      EXPECT_TRUE(!toMemory.ok || toMemory.plain != plain);
    }
  }
}

TEST_F(DecryptOpenssl, FailuresAreCodesNeverCrashes) {
  const Bytes plain = Pattern(3000, 6);
  const std::string message = Encrypt(plain, "-aes128", "errors");

  // Another certificate names no recipient.
  RecipientCertificate stranger(ReadFileBytes(dir_->Path("stranger.cer")), dir_->Path("stranger.key"),
                                PROV_RSA_AES);
  ProviderHandle strangerProv;
  ASSERT_TRUE(CryptAcquireContextA(&strangerProv.handle, dir_->Path("stranger.key").c_str(), nullptr,
                                   PROV_RSA_AES, 0));
  Decryption result = DecryptMessage(message, false, "", stranger.Get(), strangerProv.handle);
  EXPECT_EQ(static_cast<int>(kBadArguments), result.importError);

  // The right certificate with the wrong private key: the unwrap fails.
  result = DecryptMessage(message, false, "", cert_->Get(), strangerProv.handle);
  EXPECT_NE(0, result.importError);
  EXPECT_FALSE(result.ok);

  // A buffer one byte too small.
  EnvelopedData data;
  CTOOFile file(message.c_str(), "rb");
  ASSERT_NE(0u, data.ReadObject(file));
  ASNAlgorithmIdentifier alg = data.encryptedContentInfo.contentEncryptionAlgorithm;
  KeyHandle key;
  ASSERT_EQ(1, data.GetEncryptionKey(cert_->Get(), prov_.handle, key.handle, alg));
  ASSERT_TRUE(DecryptKeyParam(key.handle, alg));
  Bytes buffer(plain.size());
  ToSignStruct out = MemoryOut(buffer, 0, static_cast<DWORD>(plain.size() - 1));
  EXPECT_FALSE(DecryptContent(key.handle, data.encryptedContentInfo, out));
  EXPECT_EQ(kOutOfRoom, GetLastError());
  EXPECT_EQ(plain.size() - 1, out.end);
  ASSERT_TRUE(DecryptKeyParam(key.handle, alg));
  out.end = static_cast<DWORD>(plain.size());
  EXPECT_TRUE(DecryptContent(key.handle, data.encryptedContentInfo, out));
  EXPECT_EQ(plain, buffer);
}

// GOST: the published vectors and messages of the gost engine.
constexpr DWORD kProvGost2001 = 75;
constexpr DWORD kProvGost2012_256 = 80;
constexpr DWORD kProvGost2012_512 = 81;

class DecryptGost : public DecryptOpenssl {
 protected:
  void SetUp() override {
    if (!dir_) GTEST_SKIP() << "openssl is not available";
    ProviderHandle probe;
    if (!AcquireVerifyContext(kProvGost2012_256, probe) || RunQuietly("openssl engine -t gost") != 0)
      GTEST_SKIP() << "the gost engine cannot be loaded";
  }

  // A certificate for `keyFile` that names the message's first recipient:
  // its issuer and serial number, the key's SubjectPublicKeyInfo (the
  // signature is not checked by anyone here).
  static Bytes CertificateFor(const std::string& messagePath, const std::string& keyFile) {
    EnvelopedData message;
    CTOOFile file(messagePath.c_str(), "rb");
    EXPECT_NE(0u, message.ReadObject(file));
    if (message.recipientInfos.empty()) return Bytes();
    const TransRecipientInfo& recipient = message.recipientInfos.front();
    Bytes serial = ToBytes(recipient.serialNumber);
    std::reverse(serial.begin(), serial.end());
    const std::string spkiPath = dir_->Path("spki.der");
    EXPECT_EQ(
        0, RunQuietly("openssl pkey -engine gost -in " + keyFile + " -pubout -outform DER -out " + spkiPath));
    const Bytes signature = Hex("30 08 06 06 2A 85 03 02 02 03");
    const Bytes validity =
        Tlv(0x30, Cat({Tlv(0x17, Bytes({'2', '0', '0', '1', '0', '1', '0', '0', '0', '0', '0', '0', 'Z'})),
                       Tlv(0x17, Bytes({'4', '0', '0', '1', '0', '1', '0', '0', '0', '0', '0', '0', 'Z'}))}));
    const Bytes tbs =
        Tlv(0x30, Cat({Tlv(0xA0, Hex("02 01 02")), Tlv(0x02, serial), signature, ToBytes(recipient.issuer),
                       validity, ToBytes(recipient.issuer), ReadFileBytes(spkiPath)}));
    return Tlv(0x30, Cat({tbs, signature, Hex("03 01 00")}));
  }

  // Decrypts to memory and file to file; both must give `plain`.
  void ExpectDecrypts(const std::string& message, const std::string& keyFile, DWORD provType,
                      const Bytes& plain, bool memoryToo = true) {
    RecipientCertificate cert(CertificateFor(message, keyFile), keyFile, provType);
    ASSERT_NE(nullptr, cert.Get());
    ProviderHandle prov;
    ASSERT_TRUE(CryptAcquireContextA(&prov.handle, keyFile.c_str(), nullptr, provType, 0)) << keyFile;
    const Decryption toFile = DecryptMessage(message, false, dir_->Path("gost.out"), cert.Get(), prov.handle);
    EXPECT_EQ(0, toFile.importError);
    EXPECT_TRUE(toFile.ok) << std::hex << toFile.error;
    EXPECT_EQ(plain, toFile.plain);
    if (!memoryToo) return;
    const Decryption toMemory = DecryptMessage(message, false, "", cert.Get(), prov.handle);
    EXPECT_TRUE(toMemory.ok) << std::hex << toMemory.error;
    EXPECT_EQ(plain, toMemory.plain);
  }
};

TEST_F(DecryptGost, PublishedVectorsDecrypt) {
  const struct {
    const char* message;
    const char* key;
    DWORD provType;
    const char* plain;
  } kVectors[] = {
      {"rfc4490_9.3_enveloped_keytrans.der", "rfc4490_recipient_GostR3410-2001.p8.der", kProvGost2001,
       "sample_text.txt"},
      {"EnvelopedKTRI_256.der", "tk26_key_256.pem", kProvGost2012_256, "plain_ktri_256.txt"},
      {"EnvelopedKTRI_512.der", "tk26_key_512.p8.der", kProvGost2012_512, "test_message.txt"},
  };
  for (const auto& item : kVectors) {
    SCOPED_TRACE(item.message);
    ExpectDecrypts(TestData(std::string("crypt/") + item.message), TestData(std::string("crypt/") + item.key),
                   item.provType, ReadFileBytes(TestData(std::string("crypt/") + item.plain)));
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
      {"gost2001", kProvGost2001, ""},
  };
  int index = 0;
  for (const auto& recipient : kRecipients) {
    SCOPED_TRACE(std::string(recipient.algorithm) + " " + recipient.environment);
    const std::string name = "gost" + std::to_string(++index);
    const std::string key = dir_->Path(name + ".key"), cert = dir_->Path(name + ".pem");
    ASSERT_EQ(0, RunQuietly("openssl req -engine gost -x509 -newkey " + std::string(recipient.algorithm) +
                            " -pkeyopt paramset:A -nodes -subj /CN=" + name + " -days 1 -keyout " + key +
                            " -out " + cert));
    for (size_t size : {size_t{1}, size_t{4096}, size_t{100000}}) {
      for (const char* form : {"", "-stream "}) {
        SCOPED_TRACE(std::to_string(size) + " " + form);
        const Bytes plain = Pattern(size, static_cast<unsigned>(size + index));
        const std::string in = dir_->Path(name + ".plain"), out = dir_->Path(name + ".der");
        WriteFileBytes(in, plain);
        ASSERT_EQ(
            0, RunQuietly(std::string(recipient.environment) + "openssl cms -engine gost -encrypt -binary " +
                          form + "-gost89 -outform DER -in " + in + " -out " + out + " " + cert));
        // Streamed pieces decrypt file to file, none final; into memory each
        // piece would restart the stream.
        ExpectDecrypts(out, key, recipient.provType, plain, form[0] == '\0');
      }
    }
  }
}

}  // namespace
}  // namespace cmskit::test
