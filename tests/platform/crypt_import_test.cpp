// Key import through the installed "CryptMsgDllImportEncryptKey" functions:
// RSA recipients (PKCS #1 v1.5) and GOST recipients (GostR3410-KeyTransport
// through the gost engine), on published messages and on messages that
// `openssl cms` encrypts at test time; then content decryption with the key.
#include <gtest/gtest.h>

#include <cstdlib>

#include "crypt_test_support.h"

namespace cmskit {
namespace crypt_test {
namespace {

constexpr size_t kStreamPiece = 4096;

// Acquires the provider for a key file; the test fails if it cannot.
void Acquire(const std::string& keyFile, DWORD type, ProvHandle* prov) {
  ASSERT_TRUE(CryptAcquireContextA(&prov->handle, keyFile.c_str(), nullptr, type, 0))
      << keyFile << " " << std::hex << GetLastError();
}

// Imports the envelope's key, applies its parameters, and checks that the
// content decrypts to `plain` in one call and in 4096-byte pieces.
void ExpectDecrypts(HCRYPTPROV prov, const Envelope& envelope, const Bytes& plain) {
  KeyHandle key;
  ASSERT_EQ(0u, ImportEnvelopeKey(prov, envelope, &key.handle)) << envelope.contentOid;
  ASSERT_TRUE(ApplyContentParams(key.handle, envelope));
  Bytes whole = envelope.encryptedContent;
  DWORD length = static_cast<DWORD>(whole.size());
  ASSERT_TRUE(CryptDecrypt(key.handle, 0, TRUE, 0, whole.data(), &length)) << std::hex << GetLastError();
  EXPECT_EQ(plain, Bytes(whole.begin(), whole.begin() + length));
  Bytes streamed;
  ASSERT_TRUE(DecryptPieces(key.handle, envelope.encryptedContent, kStreamPiece, &streamed));
  EXPECT_EQ(plain, streamed);
}

Envelope LoadEnvelope(const std::string& path) {
  Envelope envelope;
  EXPECT_TRUE(ParseEnvelope(ReadBytes(path), &envelope)) << path;
  return envelope;
}

// The published RSA examples: 3DES and RC2/128 content to Bob's DER key.
TEST(CryptImportTest, PublishedRsaMessagesDecrypt) {
  ProvHandle prov;
  Acquire(DataFile("BobPrivRSAEncrypt.pri"), PROV_RSA_FULL, &prov);
  const Bytes content = ReadBytes(DataFile("ExContent.bin"));
  for (const char* message : {"5.1.bin", "5.2.bin"}) {
    SCOPED_TRACE(message);
    ExpectDecrypts(prov.handle, LoadEnvelope(DataFile(message)), content);
  }
}

class RsaRecipientTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!HaveOpenSsl()) GTEST_SKIP() << "the openssl command is not available";
    ASSERT_TRUE(Shell("openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=recipient -days 2 -keyout " +
                      dir_.File("key.pem") + " -out " + dir_.File("cert.pem")));
    Acquire(dir_.File("key.pem"), PROV_RSA_AES, &prov_);
  }

  ScratchDir dir_;
  ProvHandle prov_;
};

TEST_F(RsaRecipientTest, KeyWrappedByPkeyutlImportsAndDecryptsEnc) {
  const Bytes cek = PatternBytes(16, 21), iv = PatternBytes(16, 22), plain = PatternBytes(5000, 23);
  WriteBytes(dir_.File("cek"), cek);
  WriteBytes(dir_.File("plain"), plain);
  ASSERT_TRUE(
      Shell("openssl x509 -in " + dir_.File("cert.pem") + " -pubkey -noout -out " + dir_.File("pub.pem")));
  ASSERT_TRUE(Shell("openssl pkeyutl -encrypt -pubin -inkey " + dir_.File("pub.pem") +
                    " -pkeyopt rsa_padding_mode:pkcs1 -in " + dir_.File("cek") + " -out " +
                    dir_.File("wrapped")));
  ASSERT_TRUE(Shell("openssl enc -e -aes-128-cbc -K " + Hex(cek) + " -iv " + Hex(iv) + " -in " +
                    dir_.File("plain") + " -out " + dir_.File("cipher")));
  Envelope envelope;
  envelope.contentOid = "2.16.840.1.101.3.4.1.2";
  envelope.contentParams = {0x04, 16};
  envelope.contentParams.insert(envelope.contentParams.end(), iv.begin(), iv.end());
  envelope.iv = iv;
  envelope.encryptedKey = ReadBytes(dir_.File("wrapped"));
  envelope.encryptedContent = ReadBytes(dir_.File("cipher"));
  ExpectDecrypts(prov_.handle, envelope, plain);

  // A damaged wrapping does not unwrap.
  envelope.encryptedKey[10] ^= 0x40;
  KeyHandle key;
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_DATA), ImportEnvelopeKey(prov_.handle, envelope, &key.handle));
}

TEST_F(RsaRecipientTest, CmsMessagesOfEveryCipherDecrypt) {
  const Bytes plain = PatternBytes(10000, 24);
  WriteBytes(dir_.File("plain"), plain);
  const struct {
    const char* option;
    const char* oid;
  } kCiphers[] = {
      {"-aes128", "2.16.840.1.101.3.4.1.2"},
      {"-aes192", "2.16.840.1.101.3.4.1.22"},
      {"-aes256", "2.16.840.1.101.3.4.1.42"},
      {"-des3", "1.2.840.113549.3.7"},
      {"-rc2 -provider legacy -provider default", "1.2.840.113549.3.2"},
  };
  for (const auto& cipher : kCiphers) {
    SCOPED_TRACE(cipher.option);
    ASSERT_TRUE(Shell(std::string("openssl cms -encrypt -binary ") + cipher.option + " -outform DER -in " +
                      dir_.File("plain") + " -out " + dir_.File("msg.der") + " " + dir_.File("cert.pem")));
    const Envelope envelope = LoadEnvelope(dir_.File("msg.der"));
    EXPECT_EQ(cipher.oid, envelope.contentOid);
    ExpectDecrypts(prov_.handle, envelope, plain);
  }
}

TEST(CryptImportTest, ImportErrorsCarryWindowsCodes) {
  ProvHandle bob, keyless;
  Acquire(DataFile("BobPrivRSAEncrypt.pri"), PROV_RSA_FULL, &bob);
  ASSERT_TRUE(CryptAcquireContextA(&keyless.handle, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT));
  const Envelope envelope = LoadEnvelope(DataFile("5.1.bin"));

  HCRYPTOIDFUNCSET set = CryptInitOIDFunctionSet(CMSG_OID_IMPORT_ENCRYPT_KEY_FUNC, 0);
  void* function = nullptr;
  HCRYPTOIDFUNCADDR handle = nullptr;
  ASSERT_TRUE(CryptGetOIDFunctionAddress(set, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                         envelope.contentOid.c_str(), 0, &function, &handle));
  const auto import = reinterpret_cast<PFN_CMSG_IMPORT_ENCRYPT_KEY>(function);
  Bytes encryptedKey = envelope.encryptedKey;
  CRYPT_ALGORITHM_IDENTIFIER publicKey = {};

  const struct {
    const char* what;
    HCRYPTPROV prov;
    DWORD keySpec;
    const char* oid;
    DWORD error;
  } kCases[] = {
      {"algorithm not available", bob.handle, AT_KEYEXCHANGE, "1.2.643.2.2.99", NTE_BAD_ALGID},
      {"no private key", keyless.handle, AT_KEYEXCHANGE, envelope.contentOid.c_str(), NTE_NO_KEY},
      {"unknown dwKeySpec", bob.handle, 7, envelope.contentOid.c_str(), NTE_NO_KEY},
      {"foreign provider", bob.handle + 1000, AT_KEYEXCHANGE, envelope.contentOid.c_str(),
       ERROR_INVALID_PARAMETER},
  };
  for (const auto& item : kCases) {
    CRYPT_ALGORITHM_IDENTIFIER content = {};
    content.pszObjId = const_cast<LPSTR>(item.oid);
    HCRYPTKEY key = 0;
    EXPECT_FALSE(import(item.prov, item.keySpec, &content, &publicKey, encryptedKey.data(),
                        static_cast<DWORD>(encryptedKey.size()), &key))
        << item.what;
    EXPECT_EQ(item.error, GetLastError()) << item.what;
    EXPECT_EQ(0u, key) << item.what;
  }
  EXPECT_TRUE(CryptFreeOIDFunctionAddress(handle, 0));
}

// GOST recipients need the gost engine here and in the openssl command.
class GostRecipientTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!HaveGost()) GTEST_SKIP() << "the gost engine cannot be loaded";
  }
};

TEST_F(GostRecipientTest, PublishedMessagesDecryptWithTheirParameterSets) {
  const struct {
    const char* message;
    const char* key;
    DWORD provType;
    const char* plain;
    const char* paramSet;
  } kMessages[] = {
      {"rfc4490_9.3_enveloped_keytrans.der", "rfc4490_recipient_GostR3410-2001.p8.der", PROV_GOST_2001_DH,
       "sample_text.txt", "1.2.643.2.2.31.1"},
      {"EnvelopedKTRI_256.der", "tk26_key_256.pem", PROV_GOST_2012_256, "plain_ktri_256.txt",
       "1.2.643.7.1.2.5.1.1"},
      {"EnvelopedKTRI_512.der", "tk26_key_512.p8.der", PROV_GOST_2012_512, "test_message.txt",
       "1.2.643.7.1.2.5.1.1"},
  };
  for (const auto& item : kMessages) {
    SCOPED_TRACE(item.message);
    ProvHandle prov;
    Acquire(DataFile(item.key), item.provType, &prov);
    const Envelope envelope = LoadEnvelope(DataFile(item.message));
    ExpectDecrypts(prov.handle, envelope, ReadBytes(DataFile(item.plain)));
    KeyHandle key;
    ASSERT_EQ(0u, ImportEnvelopeKey(prov.handle, envelope, &key.handle));
    const Bytes paramSet = KeyParam(key.handle, KP_CIPHEROID);
    ASSERT_FALSE(paramSet.empty());
    EXPECT_EQ(std::string(item.paramSet), std::string(paramSet.begin(), paramSet.end()).c_str());
    EXPECT_EQ(0, paramSet.back());
  }
}

// A message `openssl cms` encrypts to a fresh GOST key: it decrypts, its
// content needs the key meshing, and a damaged key transport fails its MAC.
TEST_F(GostRecipientTest, OpenSslCmsMessage) {
  ScratchDir dir;
  ASSERT_TRUE(
      Shell("openssl req -engine gost -x509 -newkey gost2012_256 -pkeyopt paramset:A -nodes "
            "-subj /CN=gost-recipient -days 2 -keyout " +
            dir.File("key.pem") + " -out " + dir.File("cert.pem")));
  const Bytes plain = PatternBytes(5000, 31);
  WriteBytes(dir.File("plain"), plain);
  ASSERT_TRUE(Shell("openssl cms -engine gost -encrypt -binary -gost89 -outform DER -in " +
                    dir.File("plain") + " -out " + dir.File("msg.der") + " " + dir.File("cert.pem")));
  const Envelope envelope = LoadEnvelope(dir.File("msg.der"));
  ProvHandle prov;
  Acquire(dir.File("key.pem"), PROV_GOST_2012_256, &prov);
  EXPECT_EQ("1.2.643.2.2.21", envelope.contentOid);
  ExpectDecrypts(prov.handle, envelope, plain);

  KeyHandle key;
  ASSERT_EQ(0u, ImportEnvelopeKey(prov.handle, envelope, &key.handle));
  ASSERT_TRUE(CryptSetKeyParam(key.handle, KP_IV, envelope.iv.data(), 0));
  EXPECT_EQ(Bytes({CRYPT_SIMPLEMIX_MODE, 0, 0, 0}), KeyParam(key.handle, KP_MIXMODE));
  Bytes data = envelope.encryptedContent;
  DWORD length = static_cast<DWORD>(data.size());
  ASSERT_TRUE(CryptDecrypt(key.handle, 0, TRUE, 0, data.data(), &length));
  // Without meshing the first 1024 bytes agree and the rest does not.
  EXPECT_EQ(Bytes(plain.begin(), plain.begin() + 1024), Bytes(data.begin(), data.begin() + 1024));
  EXPECT_NE(Bytes(plain.begin() + 1024, plain.end()), Bytes(data.begin() + 1024, data.end()));

  Envelope damaged = envelope;
  damaged.encryptedKey[8] ^= 0x01;  // inside the encrypted session key
  KeyHandle none;
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_DATA), ImportEnvelopeKey(prov.handle, damaged, &none.handle));
  damaged = envelope;
  damaged.contentParams = {0x04, 0x01, 0x00};  // not Gost28147-89-Parameters
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_DATA), ImportEnvelopeKey(prov.handle, damaged, &none.handle));
}

// Without the engine GOST is an algorithm the provider does not have: 0 when
// both a GOST provider type and a GOST key are refused with the right codes.
int GostRefusedWithoutEngine() {
  setenv("OPENSSL_ENGINES", "/nonexistent-engine-dir", 1);
  HCRYPTPROV prov = 0;
  const bool typeRefused =
      !CryptAcquireContextA(&prov, nullptr, nullptr, PROV_GOST_2012_256, CRYPT_VERIFYCONTEXT) &&
      GetLastError() == static_cast<DWORD>(NTE_PROV_TYPE_NOT_DEF);
  if (!CryptAcquireContextA(&prov, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT)) return 2;
  BYTE blob[12 + 32] = {PLAINTEXTKEYBLOB, CUR_BLOB_VERSION, 0, 0, 0x1e, 0x66, 0, 0, 32, 0, 0, 0};
  HCRYPTKEY key = 0;
  const bool keyRefused = !CryptImportKey(prov, blob, sizeof(blob), 0, 0, &key) &&
                          GetLastError() == static_cast<DWORD>(NTE_BAD_ALGID);
  CryptReleaseContext(prov, 0);
  return typeRefused && keyRefused ? 0 : 1;
}

// The engine loads once per process, so this runs in a fresh one.
TEST(CryptGostMissingTest, WithoutTheEngineGostIsBadAlgid) {
  if (!HaveOpenSsl()) GTEST_SKIP() << "needs a system with OpenSSL's engine directory";
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(std::exit(GostRefusedWithoutEngine()), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace crypt_test
}  // namespace cmskit
