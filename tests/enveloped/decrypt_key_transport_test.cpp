// EnvelopedData::GetEncryptionKey against an import function installed here for a private OID.
#include <algorithm>
#include <memory>

#include "enveloped/enveloped_test_util.h"

namespace cmskit::test {
namespace {

constexpr char kTestOid[] = "1.3.6.1.4.1.55555.1.1";
constexpr HCRYPTKEY kImportedKey = 0xC0FFEE;

std::string lastCall;  // what the installed function was last handed
Bytes BlobBytes(const CRYPTOAPI_BLOB& blob) { return Bytes(blob.pbData, blob.pbData + blob.cbData); }

// Hands out kImportedKey, or fails with NTE_BAD_DATA for the key "FAIL".
BOOL WINAPI RecordingImport(HCRYPTPROV prov, DWORD keySpec, PCRYPT_ALGORITHM_IDENTIFIER content,
                            PCRYPT_ALGORITHM_IDENTIFIER publicKey, PBYTE encryptedKey, DWORD length,
                            HCRYPTKEY* key) {
  const std::string wrapped(encryptedKey, encryptedKey + length);
  lastCall = std::to_string(prov != 0) + std::to_string(keySpec) + " " + content->pszObjId + " " +
             ToHex(BlobBytes(content->Parameters)).substr(0, 5) + " " + publicKey->pszObjId + " " +
             ToHex(BlobBytes(publicKey->Parameters)) + " " + wrapped;
  if (wrapped == "FAIL") SetLastError(kBadData);
  *key = wrapped == "FAIL" ? 0 : kImportedKey;
  return wrapped != "FAIL";
}

TransRecipientInfo Recipient(const Bytes& rid, const std::string& key) {
  const Bytes der = Tlv(0x30, Cat({Hex(rid[0] == 0x30 ? "02 01 00" : "02 01 02"), rid, Octets("$rsa"),
                                   Tlv(0x04, Bytes(key.begin(), key.end()))}));
  TransRecipientInfo recipient;
  EXPECT_EQ(der.size(), recipient.ReadObject(der.data(), Size(der)));
  return recipient;
}

class GetEncryptionKeyTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    const CRYPT_OID_FUNC_ENTRY entry{kTestOid, reinterpret_cast<void*>(&RecordingImport)};
    ASSERT_TRUE(CryptInstallOIDFunctionAddress(nullptr, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                               CMSG_OID_IMPORT_ENCRYPT_KEY_FUNC, 1, &entry, 0));
  }
  void SetUp() override {
    ASSERT_TRUE(AcquireVerifyContext(PROV_RSA_AES, prov_));
    cert_ = NewCertificate(AT_KEYEXCHANGE);
    ASSERT_NE(nullptr, cert_);
    Bytes serial = BlobBytes(cert_->pCertInfo->SerialNumber);
    std::reverse(serial.begin(), serial.end());
    const Bytes issuer = BlobBytes(cert_->pCertInfo->Issuer);
    mine_ = Tlv(0x30, Cat({issuer, Tlv(0x02, serial)}));
    otherSerial_ = Tlv(0x30, Cat({issuer, Hex("02 03 01 02 03")}));
    otherIssuer_ = Tlv(0x30, Cat({Octets("$issuer"), Tlv(0x02, serial)}));
    lastCall.clear();
  }
  // With keySpec 0 the certificate has no key-provider property.
  const CERT_CONTEXT* NewCertificate(DWORD keySpec) {
    certs_.push_back(std::make_unique<cmskit_testing::RecipientCertificate>(
        ReadBytes(TestData("decrypt/recipient.cer")), "cmskit-test-container", PROV_RSA_AES, keySpec));
    return certs_.back()->Get();
  }
  int Import(std::vector<TransRecipientInfo> recipients, const CERT_CONTEXT* cert, int* error,
             const char* oid = kTestOid) {
    EnvelopedData message;
    message.recipientInfos.resize(recipients.size());
    std::copy(recipients.begin(), recipients.end(), message.recipientInfos.begin());  // by assignment
    ASNAlgorithmIdentifier alg(oid, Obj(Tlv(0x04, Pattern(16, 1))));
    key_ = 0;
    *error = 12345;
    return message.GetEncryptionKey(cert, prov_.handle, key_, alg, error);
  }

  ProviderHandle prov_;
  Bytes mine_, otherSerial_, otherIssuer_;
  const CERT_CONTEXT* cert_ = nullptr;
  std::vector<std::unique_ptr<cmskit_testing::RecipientCertificate>> certs_;
  HCRYPTKEY key_ = 0;
};

TEST_F(GetEncryptionKeyTest, TheFunctionGetsThePlatformsArgumentList) {
  int error = 0;
  SetLastError(0x1234);
  ASSERT_EQ(1, Import({Recipient(mine_, "wrapped key")}, cert_, &error));
  EXPECT_EQ(0, error);
  EXPECT_EQ(0u, GetLastError());
  EXPECT_EQ(kImportedKey, key_);
  EXPECT_EQ(lastCall, std::string("11 ") + kTestOid + " 04 10 1.2.840.113549.1.1.1 05 00 wrapped key");
  // dwKeySpec comes from the certificate's property.
  ASSERT_EQ(1, Import({Recipient(mine_, "k")}, NewCertificate(AT_SIGNATURE), &error));
  EXPECT_EQ(lastCall.substr(0, 2), "12");
}

TEST_F(GetEncryptionKeyTest, TheFirstRecipientNamedByIssuerAndSerialWins) {
  const Bytes keyId = Tlv(0xA0, Tlv(0x04, Hex("01 02 03 04")));
  const std::pair<std::vector<TransRecipientInfo>, std::string> kCases[] = {
      {{Recipient(otherIssuer_, "a"), Recipient(otherSerial_, "b")}, ""},  // serial in one, issuer in another
      {{Recipient(mine_, "first"), Recipient(mine_, "second")}, "first"},
      {{Recipient(keyId, "kid"), Recipient(otherSerial_, "b"), Recipient(mine_, "mine")}, "mine"},
      {{Recipient(keyId, "kid")}, ""},
      {{}, ""}};
  for (const auto& [recipients, key] : kCases) {
    lastCall.clear();
    int error = 0;
    EXPECT_EQ(key.empty() ? 0 : 1, Import(recipients, cert_, &error)) << key;
    EXPECT_EQ(key.empty() ? static_cast<int>(kBadArguments) : 0, error);
    EXPECT_EQ(key, lastCall.substr(lastCall.empty() ? 0 : lastCall.rfind(' ') + 1));
  }
}

TEST_F(GetEncryptionKeyTest, PlatformFailuresArriveMapped) {
  int error = 0;
  EXPECT_EQ(0, Import({Recipient(mine_, "FAIL")}, cert_, &error));
  EXPECT_EQ(static_cast<int>(StatusToWin32(Win32ToStatus(kBadData))), error);
  // No function for the algorithm; a certificate that names no key.
  EXPECT_EQ(0, Import({Recipient(mine_, "key")}, cert_, &error, "1.3.6.1.4.1.55555.1.2"));
  EXPECT_TRUE(error != 0 && error != 12345);
  lastCall.clear();
  EXPECT_EQ(0, Import({Recipient(mine_, "key")}, NewCertificate(0), &error));
  EXPECT_TRUE(error != 0 && error != 12345);
  EXPECT_EQ("", lastCall);
}

}  // namespace
}  // namespace cmskit::test
