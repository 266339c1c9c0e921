// Key transport for recipients: RSA through CryptExportKey's SIMPLEBLOB, GOST
// through the installed "CryptMsgDllExportEncryptKey" functions. Messages made
// with both decrypt with openssl and the tool in the make suite.
#include "crypt_key_ring.h"

namespace cmskit::test {
namespace {

const KeyKind& Kind(const std::string& name) {
  for (const KeyKind& kind : KeyKinds())
    if (name == kind.name) return kind;
  throw std::logic_error(name);
}

// Content encrypted with GOST `key` decrypts with `imported`, from the same IV.
void ExpectSameKey(HCRYPTKEY key, HCRYPTKEY imported, const Bytes& iv) {
  const DWORD mix = CRYPT_PROMIX_MODE;
  for (HCRYPTKEY handle : {key, imported}) {
    ASSERT_TRUE(CryptSetKeyParam(handle, KP_IV, iv.data(), 0));
    ASSERT_TRUE(CryptSetKeyParam(handle, KP_MIXMODE, reinterpret_cast<const BYTE*>(&mix), 0));
  }
  const Bytes plain = Pattern(3000, 31);
  Bytes encrypted, decrypted;
  ASSERT_TRUE(EncryptPieces(key, plain, 1024, &encrypted));
  ASSERT_TRUE(DecryptPieces(imported, encrypted, 1024, &decrypted));
  EXPECT_EQ(plain, decrypted);
}

TEST(CryptExportTest, RsaSimpleBlobsUnwrapWithOpenssl) {
  const KeyKind& rsa = Kind("rsa");
  if (!KeyRing::Get().Have(rsa)) GTEST_SKIP() << "the openssl command is not available";
  KeyRing& ring = KeyRing::Get();
  ProviderHandle prov;
  ASSERT_TRUE(AcquireVerifyContext(PROV_RSA_AES, prov));
  KeyHandle recipient(ImportCertKey(prov.handle, ring.Path("rsa.cer"))), content;
  ASSERT_TRUE(CryptGenKey(prov.handle, CALG_AES_256, CRYPT_EXPORTABLE, &content.handle));
  DWORD length = 0;
  ASSERT_TRUE(CryptExportKey(content.handle, recipient.handle, SIMPLEBLOB, 0, nullptr, &length));
  ASSERT_EQ(12u + 256, length);
  Bytes blob(length);
  length -= 1;
  EXPECT_TRUE(FailsWith(CryptExportKey(content.handle, recipient.handle, SIMPLEBLOB, 0, blob.data(), &length),
                        ERROR_MORE_DATA));
  ASSERT_TRUE(CryptExportKey(content.handle, recipient.handle, SIMPLEBLOB, 0, blob.data(), &length));
  EXPECT_EQ(Hex("01020000 10660000 00A40000"), Bytes(blob.begin(), blob.begin() + 12));
  const Bytes encryptedKey = Reversed(Bytes(blob.begin() + 12, blob.end()));
  WriteBytes(ring.Path("wrapped"), encryptedKey);
  ASSERT_TRUE(ring.Openssl(rsa, "pkeyutl", "-decrypt -inkey rsa.key -in wrapped -out unwrapped"));
  EXPECT_EQ(PlainKeyBytes(content.handle), ReadBytes(ring.Path("unwrapped")));
  // Keys of other kinds transport nothing; RSA recipients have no export function.
  if (KeyRing::Get().Have(Kind("ec"))) {
    KeyHandle ec(ImportCertKey(prov.handle, ring.Path("ec.cer")));
    EXPECT_TRUE(
        FailsWith(CryptExportKey(content.handle, ec.handle, SIMPLEBLOB, 0, nullptr, &length), NTE_BAD_KEY));
  }
  DWORD error = 0;
  EXPECT_EQ(nullptr, OidFunction(CMSG_OID_EXPORT_ENCRYPT_KEY_FUNC, "1.2.840.113549.1.1.1", &error));
  EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), error);
}

TEST(CryptExportTest, GostTransportsImportBack) {
  const Bytes iv = Pattern(8, 33);
  // Gost28147-89-Parameters: the IV and the CryptoPro A parameter set.
  const Bytes contentParams = Tlv(0x30, Cat({Tlv(0x04, iv), Hex("06072A85030202 1F01")}));
  for (const char* name : {"gost2001", "gost2012-256", "gost2012-512"}) {
    const KeyKind& kind = Kind(name);
    if (!KeyRing::Get().Have(kind)) GTEST_SKIP() << "the gost engine cannot be loaded";
    SCOPED_TRACE(name);
    KeyRing& ring = KeyRing::Get();
    ProviderHandle prov, owner;
    ASSERT_TRUE(AcquireVerifyContext(kind.provType, prov));
    const CertPtr cert = LoadCert(ring.Path(std::string(name) + ".cer"));
    CERT_PUBLIC_KEY_INFO* recipient = &cert->pCertInfo->SubjectPublicKeyInfo;
    const auto exportKey = reinterpret_cast<PFN_CMSG_EXPORT_ENCRYPT_KEY>(
        OidFunction(CMSG_OID_EXPORT_ENCRYPT_KEY_FUNC, recipient->Algorithm.pszObjId));
    ASSERT_NE(nullptr, exportKey);
    KeyHandle content;
    ASSERT_TRUE(CryptGenKey(prov.handle, CALG_G28147, CRYPT_EXPORTABLE, &content.handle));
    DWORD length = 0;
    ASSERT_TRUE(exportKey(prov.handle, content.handle, recipient, nullptr, &length));
    Bytes transport(length);
    length -= 1;
    EXPECT_TRUE(FailsWith(exportKey(prov.handle, content.handle, recipient, transport.data(), &length),
                          ERROR_MORE_DATA));
    ASSERT_TRUE(exportKey(prov.handle, content.handle, recipient, transport.data(), &length));
    ASSERT_EQ(transport.size(), length);
    EXPECT_EQ(0x30, transport[0]);  // a DER GostR3410-KeyTransport
    ASSERT_TRUE(CryptAcquireContextA(&owner.handle, ring.Path(std::string(name) + ".key").c_str(), nullptr,
                                     kind.provType, 0));
    KeyHandle imported;
    ASSERT_EQ(0u, ImportEnvelopeKey(owner.handle, Envelope{kGost28147Oid, contentParams, transport, {}},
                                    &imported.handle));
    ExpectSameKey(content.handle, imported.handle, iv);
    // Keys that cannot go: not exportable, not 32 bytes, to a key that is not GOST.
    KeyHandle secret, aes;
    ASSERT_TRUE(CryptGenKey(prov.handle, CALG_G28147, 0, &secret.handle));
    ASSERT_TRUE(CryptGenKey(prov.handle, CALG_AES_128, CRYPT_EXPORTABLE, &aes.handle));
    const CertPtr rsaCert = KeyRing::Get().Have(Kind("rsa")) ? LoadCert(ring.Path("rsa.cer")) : nullptr;
    const std::tuple<HCRYPTKEY, CERT_PUBLIC_KEY_INFO*, DWORD> kFailures[] = {
        {secret.handle, recipient, NTE_BAD_KEY_STATE},
        {aes.handle, recipient, NTE_BAD_KEY},
        {content.handle + 1000, recipient, ERROR_INVALID_PARAMETER},
        {content.handle, rsaCert ? &rsaCert->pCertInfo->SubjectPublicKeyInfo : recipient,
         rsaCert ? NTE_BAD_ALGID : 0}};
    for (const auto& [key, info, error] : kFailures) {
      length = 0;
      const BOOL ok = exportKey(prov.handle, key, info, nullptr, &length);
      EXPECT_EQ(error, ok ? 0 : GetLastError());
    }
  }
}

}  // namespace
}  // namespace cmskit::test
