// Enveloped messages made by EncryptMessage64 and `cmskit encrypt`: every
// cipher for RSA and GOST recipients decrypts with `openssl cms` and with
// `cmskit decrypt` to the same bytes; a fixed key and IV give one exact
// message per form; failures leave a clear code and no damaged output.
#include <gtest/gtest.h>

#include <memory>

#include "interop/committed_recipient.h"
#include "make/make_tool_fixture.h"

namespace cmskit_testing {
namespace {

using namespace cmskit;

// A certificate context of the DER file, with no key of its own.
std::unique_ptr<RecipientCertificate> LoadCertificate(const std::string& derPath) {
  return std::make_unique<RecipientCertificate>(ReadBytes(derPath), "", 0, 0);
}

// EncryptMessage64 from file to file; the returned pError.
int Encrypt(const std::vector<std::string>& derCertificates, const EncryptOptions& options,
            const std::string& content, const std::string& message) {
  std::vector<std::unique_ptr<RecipientCertificate>> owned;
  std::vector<const CERT_CONTEXT*> recipients;
  for (const std::string& path : derCertificates) {
    owned.push_back(LoadCertificate(path));
    recipients.push_back(owned.back()->Get());
  }
  CTOOFile in(content.c_str(), "rb"), out(message.c_str(), "wb");
  int error = -1;
  cmskit::EncryptMessage64(in, recipients.data(), static_cast<DWORD>(recipients.size()), options, out,
                           &error);
  return error;
}

EncryptOptions Options(ContentCipher cipher, const std::string& key = "", const std::string& iv = "") {
  EncryptOptions options;
  options.cipher = cipher;
  options.key = Obj(Hex(key));
  options.iv = Obj(Hex(iv));
  return options;
}

// Recipients made by `openssl req` at test time (GOST ones with the engine):
// NAME.pem, NAME.key and NAME.cer (DER) in the openssl folder.
class MakeEncryptInterop : public MakeSignTool {
 protected:
  struct Form {
    const char* recipient;  // -newkey of openssl req
    ContentCipher cipher;
  };

  static bool Gost(const std::string& recipient) { return recipient.compare(0, 4, "gost") == 0; }

  static std::string Recipient(const std::string& newkey, const std::string& holder) {
    // Apart from the signing tests' key files in the same folder.
    const std::string name = "recipient-" + holder;
    const std::string engine = Gost(newkey) ? " -engine gost " : " ";
    const std::string options = Gost(newkey) ? " -pkeyopt paramset:A" : "";
    if (!std::filesystem::exists(P(name + ".cer")))
      Shell("openssl req" + engine + "-x509 -newkey " + newkey + options + " -nodes -days 1 -subj /CN=" +
            name + " -keyout " + P(name + ".key") + " -out " + P(name + ".pem") + " && openssl x509 -in " +
            P(name + ".pem") + " -outform DER -out " + P(name + ".cer"));
    return name;
  }

  // Both decryptions of `message` for `name` equal `plain`.
  void ExpectDecrypts(const std::string& message, const std::string& name, const Bytes& plain) const {
    const std::string engine = gost_ ? "-engine gost " : "";
    EXPECT_TRUE(Shell("openssl cms " + engine + "-decrypt -binary -inform DER -in " + message + " -inkey " +
                      P(name + ".key") + " -recip " + P(name + ".pem") + " -out " + P("openssl.out")));
    EXPECT_EQ(plain, ReadBytes(P("openssl.out"))) << "openssl, " << name;
    if (!kTool) return;
    EXPECT_EQ(0, Tool("decrypt " + message + " -c " + P(name + ".pem") + " -k " + P(name + ".key") + " -o " +
                      P("cmskit.out")))
        << Read("err.txt");
    EXPECT_EQ(plain, ReadBytes(P("cmskit.out"))) << "cmskit, " << name;
  }

  // The library's side runs without the tool too (the sanitizer build has none).
  void SetUp() override {
    if (PLATFORM_PATH_SEPARATOR != '/' || !Openssl::Get().ok()) GTEST_SKIP() << "needs the openssl command";
    gost_ = Shell("openssl engine -t gost");
  }
  bool gost_ = false;
};

// GOST key transport wraps 32-byte keys only: GOST 28147-89 and AES-256.
TEST_F(MakeEncryptInterop, EveryCipherAndRecipientDecrypts) {
  const std::vector<ContentCipher> all{ContentCipher::kAes128, ContentCipher::kAes192, ContentCipher::kAes256,
                                       ContentCipher::kDes3, ContentCipher::kGost28147},
      wide{ContentCipher::kGost28147, ContentCipher::kAes256};
  const struct {
    const char* newkey;
    const char* name;
    const std::vector<ContentCipher>& ciphers;
  } kRecipients[] = {{"rsa:2048", "rsa", all},
                     {"gost2001", "gost2001", wide},
                     {"gost2012_256", "gost2012_256", wide},
                     {"gost2012_512", "gost2012_512", wide}};
  for (const auto& recipient : kRecipients) {
    if (Gost(recipient.name) && !gost_) continue;
    const std::string name = Recipient(recipient.newkey, recipient.name);
    for (ContentCipher cipher : recipient.ciphers) {
      if (cipher == ContentCipher::kGost28147 && !gost_) continue;
      for (size_t size : {0, 1, 16, 4095, 4097, 100000}) {
        SCOPED_TRACE(name + " cipher " + std::to_string(static_cast<int>(cipher)) + " size " +
                     std::to_string(size));
        const Bytes plain = Pattern(size, static_cast<unsigned>(size));
        WriteBytes(P("plain"), plain);
        ASSERT_EQ(0, Encrypt({P(name + ".cer")}, Options(cipher), P("plain"), P("message.der")));
        ExpectDecrypts(P("message.der"), name, plain);
      }
    }
  }
}

TEST_F(MakeEncryptInterop, EveryRecipientOfSeveralDecrypts) {
  std::vector<std::string> names{Recipient("rsa:2048", "rsa"), Recipient("rsa:2048", "rsa2")};
  if (gost_) names.push_back(Recipient("gost2012_256", "gost2012_256"));
  std::vector<std::string> certificates;
  for (const std::string& name : names) certificates.push_back(P(name + ".cer"));
  const Bytes plain = Pattern(5000);
  WriteBytes(P("plain"), plain);
  ASSERT_EQ(0, Encrypt(certificates, Options(ContentCipher::kAes256), P("plain"), P("several.der")));
  for (const std::string& name : names) ExpectDecrypts(P("several.der"), name, plain);
}

// The tool: pipes both ways, the cipher following the recipient's key, and
// failures that leave the target as it was.
TEST_F(MakeEncryptInterop, ToolEncryptsThroughPipesAndFailsCleanly) {
  if (!Usable()) GTEST_SKIP() << "needs the cmskit tool";
  const std::string rsa = Recipient("rsa:2048", "rsa");
  const Bytes plain = Pattern(70000, 7);
  WriteBytes(P("plain"), plain);
  ASSERT_EQ(0, Tool("encrypt - -r recipient-rsa.pem -o - >" + P("piped.der"), P("plain"))) << Read("err.txt");
  ExpectDecrypts(P("piped.der"), rsa, plain);
  EXPECT_EQ(0, Tool("info piped.der"));
  EXPECT_NE(std::string::npos, Read("out.txt").find("aes256")) << Read("out.txt");
  if (gost_) {
    const std::string gost = Recipient("gost2012_512", "gost2012_512");
    ASSERT_EQ(0, Tool("encrypt plain -r recipient-gost2012_512.pem -r recipient-rsa.pem -o mixed.der"))
        << Read("err.txt");
    EXPECT_EQ(0, Tool("info mixed.der"));
    EXPECT_NE(std::string::npos, Read("out.txt").find("gost28147")) << Read("out.txt");
    ExpectDecrypts(P("mixed.der"), gost, plain);
    ExpectDecrypts(P("mixed.der"), rsa, plain);
    EXPECT_EQ(
        2,
        Tool("encrypt plain -r recipient-rsa.pem -r recipient-gost2012_512.pem --cipher aes128 -o kept.der"));
  }

  Recipient("ec -pkeyopt ec_paramgen_curve:prime256v1", "ec");
  WriteBytes(P("bad.pem"), Text("not a certificate"));
  ExpectFailuresKeepTheOutput("encrypt failures");
}

// The committed RSA recipient, on every platform (the Windows leg under
// Wine's CryptoAPI): messages decrypt through the library, and a fixed key
// and IV give the exact message, the RSA-encrypted key aside (PKCS #1 v1.5
// padding is random).
class MakeEncryptCommitted : public CommittedRecipientTest {
 protected:
  TempDir dir_;
};

TEST_F(MakeEncryptCommitted, RoundTripsThroughTheLibrary) {
  for (ContentCipher cipher : {ContentCipher::kAes128, ContentCipher::kAes256, ContentCipher::kDes3}) {
    for (size_t size : {0, 4097, 100000}) {
      SCOPED_TRACE(std::to_string(static_cast<int>(cipher)) + " " + std::to_string(size));
      const Bytes plain = Pattern(size, 3);
      WriteBytes(dir_.Path("plain"), plain);
      ASSERT_EQ(0, Encrypt({TestData("decrypt/recipient.cer")}, Options(cipher), dir_.Path("plain"),
                           dir_.Path("message.der")));
      const Decryption result =
          DecryptMessage(dir_.Path("message.der"), false, "", cert_->Get(), prov_.handle);
      EXPECT_TRUE(result.ok) << std::hex << result.error;
      EXPECT_EQ(plain, result.plain);
    }
  }
}

TEST_F(MakeEncryptCommitted, FixedKeyAndIvGiveTheExactMessage) {
  constexpr char kKey[] = "000102030405060708090a0b0c0d0e0f 1011121314151617 18191a1b1c1d1e1f";
  // The ciphertexts are those of `openssl enc` with the same key and IV.
  const struct {
    ContentCipher cipher;
    size_t keyBytes;
    const char* iv;
    const char* algorithm;  // the content algorithm's OID and parameters
    const char* encrypted;
  } kForms[] = {
      {ContentCipher::kAes128, 16, "f0e0d0c0b0a090807060504030201000", "06 09 608648016503040102 04 10",
       "00d2affdce596a82b063a4d3498d25ee655e25d9c61849435f2ac13ded097148"},
      {ContentCipher::kAes256, 32, "f0e0d0c0b0a090807060504030201000", "06 09 60864801650304012A 04 10",
       "58fd2f57245d3e538382ee41d6443acee96e70cc603721b231ec4e61908859b9"},
      {ContentCipher::kDes3, 24, "f0e0d0c0b0a09080", "06 08 2A864886F70D0307 04 08",
       "f47bfea34a020f309f8e42bd7fd56b9af8cc04150b36f9b5"},
      // CryptoPro A parameters (the engine's gost89 with CRYPT_PARAMS naming them).
      {ContentCipher::kGost28147, 32, "f0e0d0c0b0a09080", "06 06 2A8503020215 30{04 08",
       "cda86395b63c861fb1d748780d7cd4f9512669383f"}};
  WriteBytes(dir_.Path("plain"), Text("cmskit makes messages"));
  const auto recipient = LoadCertificate(TestData("decrypt/recipient.cer"));
  ASSERT_TRUE(recipient->Get());
  const CERT_NAME_BLOB& issuer = recipient->Get()->pCertInfo->Issuer;
  for (const auto& form : kForms) {
    SCOPED_TRACE(form.algorithm);
    const Bytes allKey = Hex(kKey);
    const std::string key = ToHex(allKey.data(), form.keyBytes);
    const int error = Encrypt({TestData("decrypt/recipient.cer")}, Options(form.cipher, key, form.iv),
                              dir_.Path("plain"), dir_.Path("exact.der"));
    if (form.cipher == ContentCipher::kGost28147 && error != 0) continue;  // no GOST provider here
    ASSERT_EQ(0, error);
    const Bytes made = ReadBytes(dir_.Path("exact.der"));
    cmskit::EnvelopedData message;
    ASSERT_NE(0u, message.ReadObject(made.data(), static_cast<DWORD>(made.size())));
    const Bytes encryptedKey = Of(message.recipientInfos.front().encryptedKey);
    const bool gost = form.cipher == ContentCipher::kGost28147;
    const std::string parameters =
        std::string(form.algorithm) + form.iv + (gost ? " 06 07 2A850302021F01}" : "");
    const Bytes expected =
        Hex("30{06 09 2A864886F70D010703 A0{30{02 01 00 31{30{02 01 00 30{" +
            ToHex(issuer.pbData, issuer.cbData) + " 02 05 00C1D2E3F4} 30 0D 06 09 2A864886F70D010101 05 00 " +
            ToHex(encryptedKey) + "}} 30{06 09 2A864886F70D010701 30{" + parameters + "} 80 " +
            ToHex(Bytes{static_cast<BYTE>(Hex(form.encrypted).size())}) + form.encrypted + "}}}}");
    EXPECT_EQ(ToHex(expected), ToHex(made));
    EXPECT_EQ(0x04u, encryptedKey.front());
    EXPECT_EQ(260u, encryptedKey.size());
    if (!gost) continue;
    // The size an encrypting caller is told ahead (a GOST-only measure) is what was written.
    ProviderHandle prov;
    ASSERT_TRUE(AcquireVerifyContext(PROV_GOST_2012_256, prov));
    const KeyHandle gostKey(ImportPlainKey(prov.handle, CALG_G28147, Hex(key)));
    char gostOid[] = "1.2.643.2.2.21";
    ASSERT_TRUE(cmskit::EncryptKeySetParam(gostKey.handle, prov.handle, gostOid, Obj(Hex(form.iv))));
    EXPECT_EQ(message.encryptedContentInfo.GetObjectSize64(),
              cmskit::EncryptedContentInfo().GetEncryptSize64(gostKey.handle, 21, 0));
  }
}

TEST_F(MakeEncryptCommitted, RefusesWhatCannotMakeAMessage) {
  WriteBytes(dir_.Path("plain"), Text("content"));
  const std::string cer = TestData("decrypt/recipient.cer"), plain = dir_.Path("plain"),
                    out = dir_.Path("out.der");
  EXPECT_EQ(160, Encrypt({}, Options(ContentCipher::kAes128), plain, out));
  EXPECT_EQ(160, Encrypt({cer}, Options(ContentCipher::kAes128, "0001"), plain, out));
  EXPECT_EQ(160, Encrypt({cer}, Options(ContentCipher::kAes128, "", "0001"), plain, out));
  EXPECT_EQ(160, Encrypt({cer}, Options(ContentCipher::kAes128), dir_.Path("missing"), out));
  int error = 0;
  const auto recipient = LoadCertificate(cer);
  const CERT_CONTEXT* recipients[] = {recipient->Get(), nullptr};
  CTOOFile in(plain.c_str(), "rb"), message(out.c_str(), "wb");
  EXPECT_EQ(0u, cmskit::EncryptMessage64(in, recipients, 2, EncryptOptions(), message, &error));
  EXPECT_EQ(160, error);
  EXPECT_THROW(cmskit::EncryptMessage64(in, recipients, 0, EncryptOptions(), message), cmskit::XTOOStatus);
  if (PLATFORM_PATH_SEPARATOR != '/') return;
  CTOOFile full("/dev/full", "wb");
  EXPECT_EQ(0u, cmskit::EncryptMessage64(in, recipients, 1, EncryptOptions(), full, &error));
  EXPECT_NE(0, error);
}

}  // namespace
}  // namespace cmskit_testing
