// EnvelopedData::GetEncryptionKey against an import function installed here
// for a private OID: which recipient matches a certificate, what the function
// is handed, and the error endings.
#include <algorithm>

#include "enveloped/enveloped_test_util.h"

namespace cmskit::test {
namespace {

constexpr char kTestOid[] = "1.3.6.1.4.1.55555.1.1";
constexpr HCRYPTKEY kImportedKey = 0xC0FFEE;
constexpr int kUntouched = 12345;

// What the installed function was last handed.
struct ImportCall {
  int count = 0;
  HCRYPTPROV prov = 0;
  DWORD keySpec = 0;
  std::string contentOid, publicKeyOid, encryptedKey;
  Bytes contentParams, publicKeyParams;
} lastCall;

Bytes BlobBytes(const CRYPTOAPI_BLOB& blob) { return Bytes(blob.pbData, blob.pbData + blob.cbData); }

// Hands out kImportedKey, or fails with NTE_BAD_DATA for the key "FAIL".
BOOL WINAPI RecordingImport(HCRYPTPROV prov, DWORD keySpec, PCRYPT_ALGORITHM_IDENTIFIER content,
                            PCRYPT_ALGORITHM_IDENTIFIER publicKey, PBYTE encryptedKey,
                            DWORD encryptedKeyLength, HCRYPTKEY* key) {
  lastCall = {lastCall.count + 1,
              prov,
              keySpec,
              content->pszObjId,
              publicKey->pszObjId,
              std::string(encryptedKey, encryptedKey + encryptedKeyLength),
              BlobBytes(content->Parameters),
              BlobBytes(publicKey->Parameters)};
  if (lastCall.encryptedKey == "FAIL") {
    SetLastError(kBadData);
    return FALSE;
  }
  *key = kImportedKey;
  return TRUE;
}

// A KeyTransRecipientInfo with the given identifier, read the way messages are.
TransRecipientInfo Recipient(const Bytes& rid, const std::string& key) {
  const Bytes der = Tlv(0x30, Cat({Hex(rid[0] == 0x30 ? "02 01 00" : "02 01 02"), rid, RsaAlgorithm(),
                                   Tlv(0x04, Bytes(key.begin(), key.end()))}));
  TransRecipientInfo recipient;
  EXPECT_EQ(der.size(), recipient.ReadObject(der.data(), static_cast<DWORD>(der.size())));
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
    certDer_ = ReadFileBytes(TestData("decrypt/recipient.cer"));
    cert_ = NewCertificate(AT_KEYEXCHANGE);
    ASSERT_NE(nullptr, cert_);
    const CERT_INFO& info = *cert_->pCertInfo;
    Bytes serial = BlobBytes(info.SerialNumber);
    std::reverse(serial.begin(), serial.end());
    const Bytes issuer = BlobBytes(info.Issuer);
    mine_ = Tlv(0x30, Cat({issuer, Tlv(0x02, serial)}));
    otherSerial_ = Tlv(0x30, Cat({issuer, Hex("02 03 01 02 03")}));
    otherIssuer_ = Tlv(0x30, Cat({IssuerName(), Tlv(0x02, serial)}));
    lastCall = ImportCall();
  }

  void TearDown() override {
    for (const CERT_CONTEXT* cert : certs_) CertFreeCertificateContext(cert);
  }

  // A context of the test certificate; with keySpec 0 it has no key-provider
  // property.
  const CERT_CONTEXT* NewCertificate(DWORD keySpec) {
    const CERT_CONTEXT* cert = CertCreateCertificateContext(
        X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, certDer_.data(), static_cast<DWORD>(certDer_.size()));
    if (!cert) return nullptr;
    certs_.push_back(cert);
    if (keySpec == 0) return cert;
    std::wstring container = L"cmskit-test-container";
    CRYPT_KEY_PROV_INFO info{};
    info.pwszContainerName = &container[0];
    info.dwProvType = PROV_RSA_AES;
    info.dwKeySpec = keySpec;
    EXPECT_TRUE(CertSetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
    return cert;
  }

  int Import(std::vector<TransRecipientInfo> recipients, const CERT_CONTEXT* cert, int* error,
             const char* oid = kTestOid) {
    EnvelopedData message;
    message.recipientInfos.resize(recipients.size());
    std::copy(recipients.begin(), recipients.end(), message.recipientInfos.begin());  // by assignment
    ASNAlgorithmIdentifier alg(oid, Obj(Tlv(0x04, Pattern(16, 1))));
    key_ = 0;
    *error = kUntouched;
    return message.GetEncryptionKey(cert, prov_.handle, key_, alg, error);
  }

  ProviderHandle prov_;
  Bytes certDer_, mine_, otherSerial_, otherIssuer_;
  const CERT_CONTEXT* cert_ = nullptr;
  std::vector<const CERT_CONTEXT*> certs_;
  HCRYPTKEY key_ = 0;
};

TEST_F(GetEncryptionKeyTest, TheFunctionGetsThePlatformsArgumentList) {
  int error = 0;
  SetLastError(0x1234);
  ASSERT_EQ(1, Import({Recipient(mine_, "wrapped key")}, cert_, &error));
  EXPECT_EQ(0, error);
  EXPECT_EQ(0u, GetLastError());
  EXPECT_EQ(kImportedKey, key_);
  EXPECT_EQ(prov_.handle, lastCall.prov);
  EXPECT_EQ(static_cast<DWORD>(AT_KEYEXCHANGE), lastCall.keySpec);
  EXPECT_EQ(kTestOid, lastCall.contentOid);
  EXPECT_EQ(Tlv(0x04, Pattern(16, 1)), lastCall.contentParams);
  EXPECT_EQ("1.2.840.113549.1.1.1", lastCall.publicKeyOid);
  EXPECT_EQ(Hex("05 00"), lastCall.publicKeyParams);
  EXPECT_EQ("wrapped key", lastCall.encryptedKey);
  // dwKeySpec comes from the certificate's property.
  ASSERT_EQ(1, Import({Recipient(mine_, "k")}, NewCertificate(AT_SIGNATURE), &error));
  EXPECT_EQ(static_cast<DWORD>(AT_SIGNATURE), lastCall.keySpec);
}

TEST_F(GetEncryptionKeyTest, TheFirstRecipientNamedByIssuerAndSerialWins) {
  const Bytes keyId = Tlv(0xA0, Tlv(0x04, Hex("01 02 03 04")));
  const struct {
    const char* what;
    std::vector<TransRecipientInfo> recipients;
    const char* key;  // nullptr: no recipient matches
  } kCases[] = {
      {"serial in one, issuer in another",
       {Recipient(otherIssuer_, "a"), Recipient(otherSerial_, "b")},
       nullptr},
      {"duplicates", {Recipient(mine_, "first"), Recipient(mine_, "second")}, "first"},
      {"after others",
       {Recipient(keyId, "kid"), Recipient(otherSerial_, "b"), Recipient(mine_, "mine")},
       "mine"},
      {"key identifier only", {Recipient(keyId, "kid")}, nullptr},
      {"no recipients", {}, nullptr},
  };
  for (const auto& item : kCases) {
    SCOPED_TRACE(item.what);
    lastCall = ImportCall();
    int error = 0;
    EXPECT_EQ(item.key ? 1 : 0, Import(item.recipients, cert_, &error));
    EXPECT_EQ(item.key ? 0 : static_cast<int>(kBadArguments), error);
    EXPECT_EQ(item.key ? item.key : "", lastCall.encryptedKey);
  }
}

TEST_F(GetEncryptionKeyTest, PlatformFailuresArriveMapped) {
  int error = 0;
  EXPECT_EQ(0, Import({Recipient(mine_, "FAIL")}, cert_, &error));
  EXPECT_EQ(static_cast<int>(StatusToWin32(Win32ToStatus(kBadData))), error);
  // No function for the algorithm; a certificate that names no key.
  EXPECT_EQ(0, Import({Recipient(mine_, "key")}, cert_, &error, "1.3.6.1.4.1.55555.1.2"));
  EXPECT_NE(0, error);
  EXPECT_NE(kUntouched, error);
  lastCall = ImportCall();
  EXPECT_EQ(0, Import({Recipient(mine_, "key")}, NewCertificate(0), &error));
  EXPECT_NE(0, error);
  EXPECT_NE(kUntouched, error);
  EXPECT_EQ(0, lastCall.count);
}

}  // namespace
}  // namespace cmskit::test
