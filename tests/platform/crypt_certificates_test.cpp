// Certificate contexts: the CERT_INFO fields of a published certificate,
// serial numbers least significant byte first, hostile encodings, context
// references, and the key-provider property with the size-query protocol.
#include <gtest/gtest.h>

#include <cstring>
#include <cwchar>

#include "common/der.h"
#include "crypt_test_support.h"

namespace cmskit {
namespace crypt_test {
namespace {

Bytes BlobBytes(const CRYPT_INTEGER_BLOB& blob) { return Bytes(blob.pbData, blob.pbData + blob.cbData); }

std::vector<WORD> Fields(const FILETIME& time) {
  SYSTEMTIME st = {};
  EXPECT_TRUE(FileTimeToSystemTime(&time, &st));
  return {st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond};
}

// A Name of one commonName in the given string type.
Bytes CommonName(BYTE type, const std::string& text) {
  using cmskit_testing::Tlv;
  Bytes attribute = {0x06, 0x03, 0x55, 0x04, 0x03};
  const Bytes value = Tlv(type, Bytes(text.begin(), text.end()));
  attribute.insert(attribute.end(), value.begin(), value.end());
  return Tlv(0x30, Tlv(0x31, Tlv(0x30, attribute)));
}

class CertificateTest : public ::testing::Test {
 protected:
  void SetUp() override {
    bob_ = ReadBytes(DataFile("BobRSASignByCarl.cer"));
    ASSERT_FALSE(bob_.empty());
  }

  Bytes bob_;
};

TEST_F(CertificateTest, FieldsOfAPublishedCertificate) {
  PCCERT_CONTEXT cert =
      CertCreateCertificateContext(X509_ASN_ENCODING, bob_.data(), static_cast<DWORD>(bob_.size()));
  ASSERT_NE(nullptr, cert) << std::hex << GetLastError();
  EXPECT_EQ(static_cast<DWORD>(X509_ASN_ENCODING), cert->dwCertEncodingType);
  EXPECT_EQ(bob_, Bytes(cert->pbCertEncoded, cert->pbCertEncoded + cert->cbCertEncoded));
  const CERT_INFO& info = *cert->pCertInfo;
  EXPECT_EQ(2u, info.dwVersion);
  EXPECT_EQ(
      (Bytes{0xD0, 0x71, 0x5D, 0xCD, 0x2E, 0x6E, 0xD3, 0x11, 0xBC, 0x56, 0x00, 0x80, 0xC7, 0x6B, 0x34, 0x46}),
      BlobBytes(info.SerialNumber));
  EXPECT_EQ(CommonName(0x13, "CarlRSA"), BlobBytes(info.Issuer));
  EXPECT_EQ(CommonName(0x13, "BobRSA"), BlobBytes(info.Subject));
  EXPECT_STREQ("1.2.840.113549.1.1.5", info.SignatureAlgorithm.pszObjId);
  EXPECT_EQ((Bytes{0x05, 0x00}), BlobBytes(info.SignatureAlgorithm.Parameters));

  EXPECT_EQ((std::vector<WORD>{1999, 9, 19, 1, 9, 2}), Fields(info.NotBefore));
  EXPECT_EQ((std::vector<WORD>{2039, 12, 31, 23, 59, 59}), Fields(info.NotAfter));

  const CERT_PUBLIC_KEY_INFO& key = info.SubjectPublicKeyInfo;
  EXPECT_STREQ("1.2.840.113549.1.1.1", key.Algorithm.pszObjId);
  EXPECT_EQ((Bytes{0x05, 0x00}), BlobBytes(key.Algorithm.Parameters));
  EXPECT_EQ(140u, key.PublicKey.cbData);
  EXPECT_EQ(0u, key.PublicKey.cUnusedBits);
  EXPECT_EQ(cert->pbCertEncoded + 139, key.PublicKey.pbData);  // after the unused-bits octet

  ASSERT_EQ(5u, info.cExtension);
  EXPECT_STREQ("2.5.29.19", info.rgExtension[0].pszObjId);
  EXPECT_TRUE(info.rgExtension[0].fCritical);
  EXPECT_EQ((Bytes{0x30, 0x00}), BlobBytes(info.rgExtension[0].Value));
  EXPECT_STREQ("2.5.29.17", info.rgExtension[4].pszObjId);
  EXPECT_FALSE(info.rgExtension[4].fCritical);
  EXPECT_TRUE(CertFreeCertificateContext(cert));
}

TEST_F(CertificateTest, SerialNumbersKeepTheirSignOctet) {
  if (!HaveOpenSsl()) GTEST_SKIP() << "the openssl command is not available";
  ScratchDir dir;
  ASSERT_TRUE(
      Shell("openssl req -x509 -newkey rsa:1024 -nodes -subj /CN=abc -set_serial 0xFF01 -days 1 -keyout " +
            dir.File("key.pem") + " -outform DER -out " + dir.File("cert.der")));
  const Bytes der = ReadBytes(dir.File("cert.der"));
  PCCERT_CONTEXT cert =
      CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size()));
  ASSERT_NE(nullptr, cert);
  EXPECT_EQ((Bytes{0x01, 0xFF, 0x00}), BlobBytes(cert->pCertInfo->SerialNumber));
  const Bytes name = CommonName(0x0C, "abc");
  EXPECT_EQ(name, BlobBytes(cert->pCertInfo->Issuer));
  EXPECT_EQ(name, BlobBytes(cert->pCertInfo->Subject));
  EXPECT_TRUE(CertFreeCertificateContext(cert));
}

TEST_F(CertificateTest, HostileEncodingsAreRefused) {
  for (size_t length = 0; length < bob_.size(); ++length) {
    EXPECT_EQ(nullptr,
              CertCreateCertificateContext(X509_ASN_ENCODING, bob_.data(), static_cast<DWORD>(length)))
        << length;
  }
  const struct {
    const char* what;
    size_t offset;
    BYTE value;
    DWORD error;
  } kCases[] = {
      {"outer tag", 0, 0x31, CRYPT_E_ASN1_BADTAG},
      {"outer length beyond the bytes", 3, 0xFF, CRYPT_E_ASN1_EOD},
      {"serial number tag", 13, 0x04, CRYPT_E_ASN1_BADTAG},
      {"not a UTCTime", 68, 0x04, CRYPT_E_ASN1_BADTAG},
      {"month digit", 70, 'x', CRYPT_E_ASN1_CORRUPT},
      {"five-octet length", 1, 0x85, CRYPT_E_ASN1_CORRUPT},
      {"high tag number in the parameters", 44, 0x1F, CRYPT_E_ASN1_CORRUPT},
  };
  for (const auto& item : kCases) {
    Bytes broken = bob_;
    broken[item.offset] = item.value;
    EXPECT_EQ(nullptr, CertCreateCertificateContext(X509_ASN_ENCODING, broken.data(),
                                                    static_cast<DWORD>(broken.size())))
        << item.what;
    EXPECT_EQ(item.error, GetLastError()) << item.what;
  }
  EXPECT_EQ(nullptr,
            CertCreateCertificateContext(PKCS_7_ASN_ENCODING, bob_.data(), static_cast<DWORD>(bob_.size())));
  EXPECT_EQ(static_cast<DWORD>(E_INVALIDARG), GetLastError());
}

TEST_F(CertificateTest, KeyProviderInfoFollowsTheSizeQueryProtocol) {
  PCCERT_CONTEXT cert =
      CertCreateCertificateContext(X509_ASN_ENCODING, bob_.data(), static_cast<DWORD>(bob_.size()));
  ASSERT_NE(nullptr, cert);
  DWORD length = 0;
  EXPECT_FALSE(CertGetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &length));
  EXPECT_EQ(static_cast<DWORD>(CRYPT_E_NOT_FOUND), GetLastError());

  std::wstring container = L"/keys/bob.pem";
  BYTE paramData[3] = {7, 8, 9};
  CRYPT_KEY_PROV_PARAM param = {42, paramData, sizeof(paramData), 5};
  CRYPT_KEY_PROV_INFO info = {};
  info.pwszContainerName = &container[0];
  info.dwProvType = PROV_RSA_AES;
  info.dwFlags = 3;
  info.cProvParam = 1;
  info.rgProvParam = &param;
  info.dwKeySpec = AT_KEYEXCHANGE;
  ASSERT_TRUE(CertSetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
  container = L"changed";  // the context keeps its own copy

  ASSERT_TRUE(CertGetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &length));
  const DWORD size = length;
  EXPECT_GE(size, sizeof(CRYPT_KEY_PROV_INFO) + sizeof(CRYPT_KEY_PROV_PARAM) + 3 + 14 * sizeof(WCHAR));
  std::vector<uint64_t> storage(size / 8 + 1);
  BYTE* buffer = reinterpret_cast<BYTE*>(storage.data());
  length = size - 1;
  EXPECT_FALSE(CertGetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, buffer, &length));
  EXPECT_EQ(static_cast<DWORD>(ERROR_MORE_DATA), GetLastError());
  EXPECT_EQ(size, length);
  ASSERT_TRUE(CertGetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, buffer, &length));

  const auto* got = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(buffer);
  const auto inside = [&](const void* p) {
    return static_cast<const BYTE*>(p) >= buffer && static_cast<const BYTE*>(p) < buffer + size;
  };
  EXPECT_STREQ(L"/keys/bob.pem", got->pwszContainerName);
  EXPECT_TRUE(inside(got->pwszContainerName));
  EXPECT_EQ(nullptr, got->pwszProvName);
  EXPECT_EQ(static_cast<DWORD>(PROV_RSA_AES), got->dwProvType);
  EXPECT_EQ(3u, got->dwFlags);
  EXPECT_EQ(static_cast<DWORD>(AT_KEYEXCHANGE), got->dwKeySpec);
  ASSERT_EQ(1u, got->cProvParam);
  ASSERT_TRUE(inside(got->rgProvParam));
  EXPECT_EQ(42u, got->rgProvParam[0].dwParam);
  EXPECT_EQ(5u, got->rgProvParam[0].dwFlags);
  ASSERT_EQ(3u, got->rgProvParam[0].cbData);
  EXPECT_TRUE(inside(got->rgProvParam[0].pbData));
  EXPECT_EQ(0, std::memcmp(paramData, got->rgProvParam[0].pbData, 3));

  // A null value removes the property; other properties are not kept.
  ASSERT_TRUE(CertSetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, 0, nullptr));
  EXPECT_FALSE(CertGetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &length));
  EXPECT_EQ(static_cast<DWORD>(CRYPT_E_NOT_FOUND), GetLastError());
  EXPECT_FALSE(CertSetCertificateContextProperty(cert, 11, 0, &info));
  info.rgProvParam = nullptr;  // a count with nothing behind it
  EXPECT_FALSE(CertSetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
  EXPECT_EQ(static_cast<DWORD>(E_INVALIDARG), GetLastError());
  EXPECT_TRUE(CertFreeCertificateContext(cert));
}

TEST_F(CertificateTest, ContextsAreCountedReferences) {
  PCCERT_CONTEXT cert =
      CertCreateCertificateContext(X509_ASN_ENCODING, bob_.data(), static_cast<DWORD>(bob_.size()));
  ASSERT_NE(nullptr, cert);
  EXPECT_EQ(cert, CertDuplicateCertificateContext(cert));
  EXPECT_TRUE(CertFreeCertificateContext(cert));
  EXPECT_NE(nullptr, cert->pCertInfo);  // still referenced once
  EXPECT_TRUE(CertFreeCertificateContext(cert));
  EXPECT_FALSE(CertFreeCertificateContext(cert));
  EXPECT_EQ(static_cast<DWORD>(E_INVALIDARG), GetLastError());
  CERT_CONTEXT foreign = {};
  EXPECT_FALSE(CertFreeCertificateContext(&foreign));
  EXPECT_EQ(nullptr, CertDuplicateCertificateContext(&foreign));
  EXPECT_TRUE(CertFreeCertificateContext(nullptr));
  DWORD length = 0;
  EXPECT_FALSE(CertGetCertificateContextProperty(&foreign, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &length));
  EXPECT_EQ(static_cast<DWORD>(E_INVALIDARG), GetLastError());
}

}  // namespace
}  // namespace crypt_test
}  // namespace cmskit
