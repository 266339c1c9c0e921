// Certificate contexts.
#include "crypt_test_support.h"

namespace cmskit::test {
namespace {

Bytes BlobBytes(const CRYPT_INTEGER_BLOB& blob) { return Bytes(blob.pbData, blob.pbData + blob.cbData); }
Bytes Ascii(const std::string& text) { return Bytes(text.begin(), text.end()); }
// A Name of one commonName in the given string type.
Bytes CommonName(BYTE type, const std::string& text) {
  return Tlv(0x30, Tlv(0x31, Tlv(0x30, Cat({Hex("06 03 55 04 03"), Tlv(type, Ascii(text))}))));
}
std::string Fields(const FILETIME& time) {
  SYSTEMTIME st = {};
  EXPECT_TRUE(FileTimeToSystemTime(&time, &st));
  return ToHex(Bytes{static_cast<BYTE>(st.wYear - 1900), static_cast<BYTE>(st.wMonth),
                     static_cast<BYTE>(st.wDay), static_cast<BYTE>(st.wHour), static_cast<BYTE>(st.wMinute),
                     static_cast<BYTE>(st.wSecond)});
}
PCCERT_CONTEXT Create(const Bytes& der, DWORD encoding = X509_ASN_ENCODING) {
  return CertCreateCertificateContext(encoding, der.data(), Size(der));
}

TEST(CertificateTest, FieldsOfAPublishedCertificate) {
  const Bytes bob = ReadData("BobRSASignByCarl.cer");
  PCCERT_CONTEXT cert = Create(bob);
  ASSERT_NE(nullptr, cert);
  EXPECT_EQ(bob, Bytes(cert->pbCertEncoded, cert->pbCertEncoded + cert->cbCertEncoded));
  const CERT_INFO& info = *cert->pCertInfo;
  EXPECT_EQ(2u, info.dwVersion);
  EXPECT_EQ("D0 71 5D CD 2E 6E D3 11 BC 56 00 80 C7 6B 34 46", ToHex(BlobBytes(info.SerialNumber)));
  EXPECT_EQ(CommonName(0x13, "CarlRSA"), BlobBytes(info.Issuer));
  EXPECT_EQ(CommonName(0x13, "BobRSA"), BlobBytes(info.Subject));
  EXPECT_STREQ("1.2.840.113549.1.1.5", info.SignatureAlgorithm.pszObjId);
  EXPECT_EQ(Hex("05 00"), BlobBytes(info.SignatureAlgorithm.Parameters));
  EXPECT_EQ("63 09 13 01 09 02", Fields(info.NotBefore));
  EXPECT_EQ("8B 0C 1F 17 3B 3B", Fields(info.NotAfter));
  const CERT_PUBLIC_KEY_INFO& key = info.SubjectPublicKeyInfo;
  EXPECT_STREQ("1.2.840.113549.1.1.1", key.Algorithm.pszObjId);
  EXPECT_EQ(140u, key.PublicKey.cbData);
  EXPECT_EQ(0u, key.PublicKey.cUnusedBits);
  EXPECT_EQ(cert->pbCertEncoded + 139, key.PublicKey.pbData);  // after the unused-bits octet
  ASSERT_EQ(5u, info.cExtension);
  EXPECT_STREQ("2.5.29.19", info.rgExtension[0].pszObjId);
  EXPECT_TRUE(info.rgExtension[0].fCritical);
  EXPECT_EQ(Hex("30 00"), BlobBytes(info.rgExtension[0].Value));
  EXPECT_FALSE(info.rgExtension[4].fCritical);
  EXPECT_EQ(cert, CertDuplicateCertificateContext(cert));
  EXPECT_TRUE(CertFreeCertificateContext(cert));
  EXPECT_NE(nullptr, cert->pCertInfo);  // a counted reference, still held once
  EXPECT_TRUE(CertFreeCertificateContext(cert));
  EXPECT_TRUE(FailsWith(CertFreeCertificateContext(cert), E_INVALIDARG));
  CERT_CONTEXT foreign = {};
  EXPECT_FALSE(CertFreeCertificateContext(&foreign));
  EXPECT_EQ(nullptr, CertDuplicateCertificateContext(&foreign));
  EXPECT_TRUE(CertFreeCertificateContext(nullptr));
  DWORD length = 0;
  EXPECT_TRUE(
      FailsWith(CertGetCertificateContextProperty(&foreign, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &length),
                E_INVALIDARG));
}

TEST(CertificateTest, SerialNumbersKeepTheirSignOctet) {
  if (!HaveOpenSsl()) GTEST_SKIP() << "the openssl command is not available";
  TempDir dir;
  ASSERT_TRUE(
      Shell("openssl req -x509 -newkey rsa:1024 -nodes -subj /CN=abc -set_serial 0xFF01 -days 1 -keyout " +
            dir.Path("key.pem") + " -outform DER -out " + dir.Path("cert.der")));
  PCCERT_CONTEXT cert = Create(ReadBytes(dir.Path("cert.der")));
  ASSERT_NE(nullptr, cert);
  EXPECT_EQ(Hex("01 FF 00"), BlobBytes(cert->pCertInfo->SerialNumber));
  EXPECT_EQ(CommonName(0x0C, "abc"), BlobBytes(cert->pCertInfo->Issuer));
  EXPECT_TRUE(CertFreeCertificateContext(cert));
}

TEST(CertificateTest, HostileEncodingsAreRefused) {
  const Bytes bob = ReadData("BobRSASignByCarl.cer");
  for (size_t length = 0; length < bob.size(); ++length)
    EXPECT_EQ(nullptr, Create(Bytes(bob.begin(), bob.begin() + static_cast<long>(length)))) << length;
  const std::tuple<size_t, BYTE, DWORD> kCases[] = {
      {0, 0x31, CRYPT_E_ASN1_BADTAG},   // outer tag
      {3, 0xFF, CRYPT_E_ASN1_EOD},      // outer length beyond the bytes
      {13, 0x04, CRYPT_E_ASN1_BADTAG},  // serial number tag
      {68, 0x04, CRYPT_E_ASN1_BADTAG},  // not a UTCTime
      {70, 'x', CRYPT_E_ASN1_CORRUPT},  // month digit
      {1, 0x85, CRYPT_E_ASN1_CORRUPT},  // five-octet length
      {44, 0x1F, CRYPT_E_ASN1_CORRUPT}  // high tag number in the parameters
  };
  for (const auto& [offset, value, error] : kCases) {
    Bytes broken = bob;
    broken[offset] = value;
    EXPECT_TRUE(FailsWith(Create(broken) != nullptr, error)) << offset;
  }
  EXPECT_TRUE(FailsWith(Create(bob, PKCS_7_ASN_ENCODING) != nullptr, E_INVALIDARG));
}

TEST(CertificateTest, KeyProviderInfoIsCopiedWhole) {
  PCCERT_CONTEXT cert = Create(ReadData("BobRSASignByCarl.cer"));
  ASSERT_NE(nullptr, cert);
  DWORD length = 0;
  EXPECT_TRUE(FailsWith(CertGetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &length),
                        CRYPT_E_NOT_FOUND));
  std::wstring container = L"/keys/bob.pem";
  BYTE paramData[3] = {7, 8, 9};
  CRYPT_KEY_PROV_PARAM param = {42, paramData, sizeof(paramData), 5};
  CRYPT_KEY_PROV_INFO info = {&container[0], nullptr, PROV_RSA_AES, 3, 1, &param, AT_KEYEXCHANGE};
  ASSERT_TRUE(CertSetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
  container = L"changed";  // the context keeps its own copy
  ASSERT_TRUE(CertGetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &length));
  std::vector<uint64_t> storage(length / 8 + 1);
  auto* got = reinterpret_cast<CRYPT_KEY_PROV_INFO*>(storage.data());
  length -= 1;
  EXPECT_TRUE(FailsWith(CertGetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, got, &length),
                        ERROR_MORE_DATA));
  ASSERT_TRUE(CertGetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, got, &length));
  EXPECT_STREQ(L"/keys/bob.pem", got->pwszContainerName);
  EXPECT_EQ(3u + PROV_RSA_AES + AT_KEYEXCHANGE, got->dwFlags + got->dwProvType + got->dwKeySpec);
  ASSERT_EQ(1u, got->cProvParam);
  EXPECT_EQ(Bytes({7, 8, 9}), BlobBytes({got->rgProvParam->cbData, got->rgProvParam->pbData}));
  // A null value removes the property; other properties are not kept.
  ASSERT_TRUE(CertSetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, 0, nullptr));
  EXPECT_FALSE(CertGetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &length));
  EXPECT_FALSE(CertSetCertificateContextProperty(cert, 11, 0, &info));
  info.rgProvParam = nullptr;  // a count with nothing behind it
  EXPECT_TRUE(
      FailsWith(CertSetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, 0, &info), E_INVALIDARG));
  EXPECT_TRUE(CertFreeCertificateContext(cert));
}

}  // namespace
}  // namespace cmskit::test
