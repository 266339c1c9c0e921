// EnvelopedData::GetEncryptionKey against an import function installed here
// for a private OID: which recipient matches a certificate, what the function
// is handed, and the error endings.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "enveloped/decrypt_test_util.h"

namespace cmskit::test {
namespace {

constexpr char kTestOid[] = "1.3.6.1.4.1.55555.1.1";
constexpr char kUnregisteredOid[] = "1.3.6.1.4.1.55555.1.2";
constexpr HCRYPTKEY kImportedKey = 0xC0FFEE;
constexpr int kUntouched = 12345;

// What the installed function was last handed.
struct ImportCall {
  int count = 0;
  HCRYPTPROV prov = 0;
  DWORD keySpec = 0;
  std::string contentOid, publicKeyOid;
  Bytes contentParams, publicKeyParams, encryptedKey;
};

ImportCall& LastCall() {
  static ImportCall call;
  return call;
}

Bytes BlobBytes(const CRYPTOAPI_BLOB& blob) { return Bytes(blob.pbData, blob.pbData + blob.cbData); }

// Hands out kImportedKey, or fails with NTE_BAD_DATA for the key "FAIL".
BOOL WINAPI RecordingImport(HCRYPTPROV prov, DWORD keySpec, PCRYPT_ALGORITHM_IDENTIFIER content,
                            PCRYPT_ALGORITHM_IDENTIFIER publicKey, PBYTE encryptedKey,
                            DWORD encryptedKeyLength, HCRYPTKEY* key) {
  ImportCall& call = LastCall();
  ++call.count;
  call.prov = prov;
  call.keySpec = keySpec;
  call.contentOid = content->pszObjId;
  call.contentParams = BlobBytes(content->Parameters);
  call.publicKeyOid = publicKey->pszObjId;
  call.publicKeyParams = BlobBytes(publicKey->Parameters);
  call.encryptedKey.assign(encryptedKey, encryptedKey + encryptedKeyLength);
  if (call.encryptedKey == Bytes{'F', 'A', 'I', 'L'}) {
    SetLastError(kBadData);
    return FALSE;
  }
  *key = kImportedKey;
  return TRUE;
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
    issuer_ = BlobBytes(info.Issuer);
    serialDer_ = Bytes(info.SerialNumber.pbData, info.SerialNumber.pbData + info.SerialNumber.cbData);
    std::reverse(serialDer_.begin(), serialDer_.end());
    LastCall() = ImportCall();
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

  // A KeyTransRecipientInfo named by issuer and DER serial, read the way
  // messages are read.
  static TransRecipientInfo Recipient(const Bytes& issuer, const Bytes& serialDer, const std::string& key) {
    const Bytes der = Tlv(0x30, Cat({Hex("02 01 00"), Tlv(0x30, Cat({issuer, Tlv(0x02, serialDer)})),
                                     RsaAlgorithm(), Tlv(0x04, Bytes(key.begin(), key.end()))}));
    TransRecipientInfo recipient;
    EXPECT_EQ(der.size(), recipient.ReadObject(der.data(), static_cast<DWORD>(der.size())));
    return recipient;
  }

  static TransRecipientInfo KeyIdRecipient(const std::string& key) {
    const Bytes der = Tlv(0x30, Cat({Hex("02 01 02"), Tlv(0xA0, Tlv(0x04, Hex("01 02 03 04"))),
                                     RsaAlgorithm(), Tlv(0x04, Bytes(key.begin(), key.end()))}));
    TransRecipientInfo recipient;
    EXPECT_EQ(der.size(), recipient.ReadObject(der.data(), static_cast<DWORD>(der.size())));
    return recipient;
  }

  Bytes OtherIssuer() const { return IssuerName(); }
  Bytes OtherSerial() const { return Hex("01 02 03"); }

  int Import(EnvelopedData& message, const CERT_CONTEXT* cert, int* error, const char* oid = kTestOid) {
    ASNAlgorithmIdentifier alg(oid, Obj(Tlv(0x04, Pattern(16, 1))));
    key_ = 0;
    return message.GetEncryptionKey(cert, prov_.handle, key_, alg, error);
  }

  ProviderHandle prov_;
  Bytes certDer_, issuer_, serialDer_;
  const CERT_CONTEXT* cert_ = nullptr;
  std::vector<const CERT_CONTEXT*> certs_;
  HCRYPTKEY key_ = 0;
};

TEST_F(GetEncryptionKeyTest, TheFunctionGetsThePlatformsArgumentList) {
  EnvelopedData message;
  message.recipientInfos.push_back(Recipient(issuer_, serialDer_, "wrapped key"));
  int error = kUntouched;
  SetLastError(0x1234);
  ASSERT_EQ(1, Import(message, cert_, &error));
  EXPECT_EQ(0, error);
  EXPECT_EQ(0u, GetLastError());
  EXPECT_EQ(kImportedKey, key_);
  const ImportCall& call = LastCall();
  EXPECT_EQ(prov_.handle, call.prov);
  EXPECT_EQ(static_cast<DWORD>(AT_KEYEXCHANGE), call.keySpec);
  EXPECT_EQ(kTestOid, call.contentOid);
  EXPECT_EQ(Tlv(0x04, Pattern(16, 1)), call.contentParams);
  EXPECT_EQ("1.2.840.113549.1.1.1", call.publicKeyOid);
  EXPECT_EQ(Hex("05 00"), call.publicKeyParams);
  EXPECT_EQ(Bytes({'w', 'r', 'a', 'p', 'p', 'e', 'd', ' ', 'k', 'e', 'y'}), call.encryptedKey);

  // dwKeySpec comes from the certificate's property.
  ASSERT_EQ(1, Import(message, NewCertificate(AT_SIGNATURE), &error));
  EXPECT_EQ(static_cast<DWORD>(AT_SIGNATURE), LastCall().keySpec);
}

TEST_F(GetEncryptionKeyTest, TheFirstRecipientNamedByIssuerAndSerialWins) {
  const struct {
    const char* what;
    std::vector<TransRecipientInfo> recipients;
    const char* key;  // nullptr: no recipient matches
  } kCases[] = {
      {"serial in one, issuer in another",
       {Recipient(OtherIssuer(), serialDer_, "a"), Recipient(issuer_, OtherSerial(), "b")},
       nullptr},
      {"duplicates",
       {Recipient(issuer_, serialDer_, "first"), Recipient(issuer_, serialDer_, "second")},
       "first"},
      {"after others",
       {KeyIdRecipient("kid"), Recipient(issuer_, OtherSerial(), "b"),
        Recipient(issuer_, serialDer_, "mine")},
       "mine"},
      {"key identifier only", {KeyIdRecipient("kid")}, nullptr},
      {"no recipients", {}, nullptr},
  };
  for (const auto& item : kCases) {
    SCOPED_TRACE(item.what);
    EnvelopedData message;
    message.recipientInfos.assign(item.recipients.begin(), item.recipients.end());
    LastCall() = ImportCall();
    int error = kUntouched;
    const int result = Import(message, cert_, &error);
    if (!item.key) {
      EXPECT_EQ(0, result);
      EXPECT_EQ(static_cast<int>(kBadArguments), error);
      EXPECT_EQ(0, LastCall().count);
      continue;
    }
    EXPECT_EQ(1, result);
    EXPECT_EQ(std::string(item.key),
              std::string(LastCall().encryptedKey.begin(), LastCall().encryptedKey.end()));
  }
}

TEST_F(GetEncryptionKeyTest, PlatformFailuresArriveMapped) {
  EnvelopedData message;
  message.recipientInfos.push_back(Recipient(issuer_, serialDer_, "FAIL"));
  int error = kUntouched;
  EXPECT_EQ(0, Import(message, cert_, &error));
  EXPECT_EQ(static_cast<int>(StatusToWin32(Win32ToStatus(kBadData))), error);

  message.recipientInfos.front() = Recipient(issuer_, serialDer_, "key");
  error = kUntouched;
  EXPECT_EQ(0, Import(message, cert_, &error, kUnregisteredOid));
  EXPECT_NE(0, error);
  EXPECT_NE(kUntouched, error);

  // A certificate that names no key: the property query's failure.
  LastCall() = ImportCall();
  error = kUntouched;
  EXPECT_EQ(0, Import(message, NewCertificate(0), &error));
  EXPECT_NE(0, error);
  EXPECT_NE(kUntouched, error);
  EXPECT_EQ(0, LastCall().count);
}

}  // namespace
}  // namespace cmskit::test
