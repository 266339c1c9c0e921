// Public keys and signatures against keys and signatures of the openssl command.
#include "crypt_key_ring.h"

namespace cmskit::test {
namespace {

KeyRing& Ring() { return KeyRing::Get(); }

// The last error of verifying `signature` over `content`, 0 when it verifies.
DWORD VerifyError(HCRYPTPROV prov, ALG_ID hashAlg, const Bytes& content, const Bytes& signature,
                  HCRYPTKEY key) {
  HashHandle hash(HashOf(prov, hashAlg, content));
  if (!hash.handle) return GetLastError();
  return CryptVerifySignatureA(hash.handle, signature.data(), Size(signature), key, nullptr, 0)
             ? 0
             : GetLastError();
}

// A key parameter set to a DWORD.
bool SetDwordParam(HCRYPTKEY key, DWORD param, DWORD value) {
  return CryptSetKeyParam(key, param, reinterpret_cast<const BYTE*>(&value), 0) != FALSE;
}

Bytes BlobBytes(const BYTE* data, DWORD size) { return data ? Bytes(data, data + size) : Bytes(); }

TEST(CryptPublicKeyTest, KeyFilesExportWhatTheirCertificatesHold) {
  for (const KeyKind& kind : KeyKinds()) {
    if (!Ring().Have(kind)) continue;
    SCOPED_TRACE(kind.name);
    ProviderHandle prov;
    ASSERT_TRUE(CryptAcquireContextA(&prov.handle, Ring().Path(kind.name + ".key").c_str(), nullptr,
                                     kind.provType, 0));
    DWORD length = 0;
    ASSERT_TRUE(CryptExportPublicKeyInfo(prov.handle, AT_SIGNATURE, X509_ASN_ENCODING, nullptr, &length));
    std::vector<uint64_t> buffer(length / 8 + 1);  // aligned as the structure needs
    auto* info = reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(buffer.data());
    DWORD shortLength = length - 1;
    EXPECT_TRUE(
        FailsWith(CryptExportPublicKeyInfo(prov.handle, AT_SIGNATURE, X509_ASN_ENCODING, info, &shortLength),
                  ERROR_MORE_DATA));
    EXPECT_EQ(length, shortLength);
    ASSERT_TRUE(CryptExportPublicKeyInfo(prov.handle, AT_KEYEXCHANGE, X509_ASN_ENCODING, info, &length));
    const BYTE* begin = reinterpret_cast<const BYTE*>(buffer.data());
    EXPECT_TRUE(info->PublicKey.pbData > begin &&
                info->PublicKey.pbData + info->PublicKey.cbData <= begin + length);  // all in the one buffer
    const CertPtr cert = LoadCert(Ring().Path(kind.name + ".cer"));
    ASSERT_TRUE(cert);
    const CERT_PUBLIC_KEY_INFO& expected = cert->pCertInfo->SubjectPublicKeyInfo;
    EXPECT_STREQ(expected.Algorithm.pszObjId, info->Algorithm.pszObjId);
    EXPECT_EQ(BlobBytes(expected.Algorithm.Parameters.pbData, expected.Algorithm.Parameters.cbData),
              BlobBytes(info->Algorithm.Parameters.pbData, info->Algorithm.Parameters.cbData));
    EXPECT_EQ(BlobBytes(expected.PublicKey.pbData, expected.PublicKey.cbData),
              BlobBytes(info->PublicKey.pbData, info->PublicKey.cbData));
    EXPECT_EQ(expected.PublicKey.cUnusedBits, info->PublicKey.cUnusedBits);
    KeyHandle imported;
    EXPECT_TRUE(CryptImportPublicKeyInfo(prov.handle, X509_ASN_ENCODING, info, &imported.handle));
  }
}

TEST(CryptPublicKeyTest, FailuresHaveWindowsCodes) {
  ProviderHandle prov;
  ASSERT_TRUE(AcquireVerifyContext(PROV_RSA_AES, prov));
  HCRYPTKEY key = 0;
  DWORD length = 0;
  EXPECT_TRUE(FailsWith(CryptGetUserKey(prov.handle, AT_SIGNATURE, &key), NTE_NO_KEY));
  EXPECT_TRUE(FailsWith(
      CryptExportPublicKeyInfo(prov.handle, AT_SIGNATURE, X509_ASN_ENCODING, nullptr, &length), NTE_NO_KEY));
  ProviderHandle bob;
  ASSERT_TRUE(CryptAcquireContextA(&bob.handle, DataFile("BobPrivRSAEncrypt.pri").c_str(), nullptr,
                                   PROV_RSA_FULL, 0));
  EXPECT_TRUE(FailsWith(CryptGetUserKey(bob.handle, 7, &key), NTE_NO_KEY));
  EXPECT_TRUE(
      FailsWith(CryptExportPublicKeyInfo(bob.handle, AT_SIGNATURE, PKCS_7_ASN_ENCODING, nullptr, &length),
                E_INVALIDARG));

  // Structures that do not import: algorithm, parameters and key bits.
  Bytes params = Hex("06082A8648CE3D030107"), bits = Pattern(65, 5), nullParams = Hex("0500");
  const std::tuple<const char*, Bytes*, BYTE*, DWORD> kInfos[] = {
      {"1.3.101.112", nullptr, bits.data(), NTE_BAD_ALGID},               // Ed25519
      {"1.2.3", nullptr, bits.data(), NTE_BAD_ALGID},                     // unknown
      {nullptr, nullptr, bits.data(), NTE_BAD_ALGID},                     // no algorithm
      {"1.2.840.10045.2.1", &nullParams, bits.data(), NTE_BAD_ALGID},     // EC without a named curve
      {"1.2.840.10045.2.1", &params, bits.data(), CRYPT_E_ASN1_CORRUPT},  // not a point
      {"1.2.840.113549.1.1.1", &nullParams, bits.data(), CRYPT_E_ASN1_CORRUPT},
      {"1.2.840.113549.1.1.1", &nullParams, nullptr, E_INVALIDARG},  // a length without its bytes
  };
  for (const auto& [oid, parameters, keyBits, error] : kInfos) {
    CERT_PUBLIC_KEY_INFO info = {};
    info.Algorithm.pszObjId = const_cast<LPSTR>(oid);
    if (parameters) info.Algorithm.Parameters = {Size(*parameters), parameters->data()};
    info.PublicKey = {Size(bits), keyBits, 0};
    EXPECT_TRUE(FailsWith(CryptImportPublicKeyInfo(prov.handle, X509_ASN_ENCODING, &info, &key), error));
  }
  CERT_PUBLIC_KEY_INFO info = {};
  EXPECT_TRUE(FailsWith(CryptImportPublicKeyInfo(prov.handle + 1000, X509_ASN_ENCODING, &info, &key),
                        ERROR_INVALID_PARAMETER));

  // Public and private keys are not session keys, and their parameters are their own.
  ASSERT_TRUE(CryptGetUserKey(bob.handle, AT_KEYEXCHANGE, &key));
  EXPECT_EQ(Bytes({0, 4, 0, 0}), KeyParam(key, KP_KEYLEN));  // 1024 bits
  BYTE data[16] = {};
  length = 16;
  EXPECT_TRUE(FailsWith(CryptDecrypt(key, 0, TRUE, 0, data, &length), NTE_BAD_KEY));
  EXPECT_TRUE(FailsWith(CryptGetKeyParam(key, KP_IV, nullptr, &length, 0), NTE_BAD_TYPE));
  EXPECT_TRUE(FailsWith(SetDwordParam(key, KP_CMSKIT_PSS_SALT_LENGTH, 1000), NTE_BAD_DATA));
  EXPECT_TRUE(SetDwordParam(key, KP_CMSKIT_PSS_SALT_LENGTH, 20));
  ASSERT_TRUE(CryptDestroyKey(key));
  EXPECT_TRUE(FailsWith(CryptDestroyKey(key), ERROR_INVALID_PARAMETER));
  EXPECT_TRUE(FailsWith(CryptGetKeyParam(key, KP_KEYLEN, nullptr, &length, 0), ERROR_INVALID_PARAMETER));
}

// Signatures the openssl command made verify in CryptoAPI's order only, with
// the right key over the right content and digest.
TEST(CryptSignatureTest, OpensslSignaturesVerify) {
  const Bytes content = Pattern(5000, 7);
  for (const KeyKind& kind : KeyKinds()) {
    if (!Ring().Have(kind)) continue;
    SCOPED_TRACE(kind.name);
    WriteBytes(Ring().Path("content"), content);
    const std::string name = kind.name;
    ASSERT_TRUE(Ring().Openssl(
        kind, "dgst", kind.digest + " -sign " + name + ".key " + kind.sigopts + " -out signature content"));
    const Bytes wire = ReadBytes(Ring().Path("signature"));
    const Bytes signature = ApiSignature(kind, wire, kind.signatureSize);
    ASSERT_EQ(kind.signatureSize, signature.size());
    EXPECT_EQ(wire, WireSignature(kind, signature));
    ProviderHandle prov;
    ASSERT_TRUE(AcquireVerifyContext(kind.provType, prov));
    KeyHandle key(ImportCertKey(prov.handle, Ring().Path(name + ".cer")));
    KeyHandle other(ImportCertKey(prov.handle, Ring().Path(name + "-other.cer")));
    ASSERT_TRUE(key.handle && other.handle);
    if (kind.pssSaltLength) {
      // Without the switch the key expects PKCS #1 v1.5.
      EXPECT_EQ(static_cast<DWORD>(NTE_BAD_SIGNATURE),
                VerifyError(prov.handle, kind.hashAlg, content, signature, key.handle));
      ASSERT_TRUE(SetDwordParam(key.handle, KP_CMSKIT_PSS_SALT_LENGTH, kind.pssSaltLength));
      ASSERT_TRUE(SetDwordParam(other.handle, KP_CMSKIT_PSS_SALT_LENGTH, kind.pssSaltLength));
    }
    Bytes flipped = signature, changed = content;
    flipped[signature.size() / 3] ^= 0x01;
    changed[4999] ^= 0x80;
    // A digest of the other family does not go with the key; another of the
    // same family is just the wrong digest, except among the GOST ones.
    const ALG_ID otherHash = kind.gost ? CALG_SHA_256 : CALG_GR3411_2012_256;
    const ALG_ID sameFamily =
        kind.gost ? (kind.hashAlg == CALG_GR3411 ? CALG_GR3411_2012_256 : CALG_GR3411) : CALG_SHA1;
    const std::tuple<Bytes, Bytes, HCRYPTKEY, ALG_ID, DWORD> kCases[] = {
        {content, signature, key.handle, kind.hashAlg, 0},
        {content, flipped, key.handle, kind.hashAlg, NTE_BAD_SIGNATURE},
        {changed, signature, key.handle, kind.hashAlg, NTE_BAD_SIGNATURE},
        {content, signature, other.handle, kind.hashAlg, NTE_BAD_SIGNATURE},
        {content, wire, key.handle, kind.hashAlg, NTE_BAD_SIGNATURE},  // the wire order
        {content, Cat({signature, Bytes(1)}), key.handle, kind.hashAlg, NTE_BAD_SIGNATURE},
        {content, Bytes(signature.begin() + 1, signature.end()), key.handle, kind.hashAlg, NTE_BAD_SIGNATURE},
        {content, signature, key.handle, otherHash, NTE_BAD_ALGID},
        {content, signature, key.handle, sameFamily, kind.gost ? NTE_BAD_ALGID : NTE_BAD_SIGNATURE},
    };
    for (const auto& [data, tried, verifier, hashAlg, error] : kCases)
      if (hashAlg != CALG_GR3411_2012_256 || HaveGost()) {
        EXPECT_EQ(error, VerifyError(prov.handle, hashAlg, data, tried, verifier)) << tried.size();
      }
  }
}

// The provider's signatures verify with the openssl command once put in the
// wire order; PKCS #1 v1.5 ones are the very bytes openssl makes.
TEST(CryptSignatureTest, ProviderSignaturesVerifyWithOpenssl) {
  const Bytes content = Pattern(3000, 9);
  for (const KeyKind& kind : KeyKinds()) {
    if (!Ring().Have(kind)) continue;
    SCOPED_TRACE(kind.name);
    const std::string name = kind.name;
    WriteBytes(Ring().Path("content"), content);
    ProviderHandle prov;
    ASSERT_TRUE(
        CryptAcquireContextA(&prov.handle, Ring().Path(name + ".key").c_str(), nullptr, kind.provType, 0));
    if (kind.pssSaltLength) {
      KeyHandle own;
      ASSERT_TRUE(CryptGetUserKey(prov.handle, AT_SIGNATURE, &own.handle));
      ASSERT_TRUE(SetDwordParam(own.handle, KP_CMSKIT_PSS_SALT_LENGTH, kind.pssSaltLength));
    }  // the setting stays with the provider's key
    HashHandle hash(HashOf(prov.handle, kind.hashAlg, content));
    DWORD length = 0;
    ASSERT_TRUE(CryptSignHashA(hash.handle, AT_SIGNATURE, nullptr, 0, nullptr, &length));
    ASSERT_EQ(kind.signatureSize, length);
    Bytes signature(length);
    length -= 1;
    EXPECT_TRUE(FailsWith(CryptSignHashA(hash.handle, AT_SIGNATURE, nullptr, 0, signature.data(), &length),
                          ERROR_MORE_DATA));
    ASSERT_TRUE(CryptSignHashA(hash.handle, AT_SIGNATURE, nullptr, 0, signature.data(), &length));
    ASSERT_EQ(kind.signatureSize, length);
    WriteBytes(Ring().Path("signature"), WireSignature(kind, signature));
    EXPECT_TRUE(Ring().Openssl(
        kind, "dgst",
        kind.digest + " -verify " + name + ".pub " + kind.sigopts + " -signature signature content"));
    if (name == "rsa") {
      ASSERT_TRUE(Ring().Openssl(kind, "dgst", "-sha256 -sign rsa.key -out signature content"));
      EXPECT_EQ(ReadBytes(Ring().Path("signature")), WireSignature(kind, signature));
    }
    KeyHandle key(ImportCertKey(prov.handle, Ring().Path(name + ".cer")));
    ASSERT_TRUE(!kind.pssSaltLength ||
                SetDwordParam(key.handle, KP_CMSKIT_PSS_SALT_LENGTH, kind.pssSaltLength));
    EXPECT_EQ(0u, VerifyError(prov.handle, kind.hashAlg, content, signature, key.handle));
    // Signing ended the hash.
    EXPECT_TRUE(FailsWith(CryptHashData(hash.handle, content.data(), 1, 0), NTE_BAD_HASH_STATE));
  }
}

TEST(CryptSignatureTest, SigningFailuresHaveWindowsCodes) {
  ProviderHandle keyless, bob;
  ASSERT_TRUE(AcquireVerifyContext(PROV_RSA_AES, keyless));
  ASSERT_TRUE(CryptAcquireContextA(&bob.handle, DataFile("BobPrivRSAEncrypt.pri").c_str(), nullptr,
                                   PROV_RSA_FULL, 0));
  HashHandle keylessHash(HashOf(keyless.handle, CALG_SHA1, Bytes(3))),
      sha(HashOf(bob.handle, CALG_SHA1, Bytes(3)));
  BYTE signature[256];
  const std::tuple<HCRYPTHASH, DWORD, DWORD, DWORD> kCases[] = {
      {keylessHash.handle, AT_SIGNATURE, 0, NTE_NO_KEY},
      {sha.handle, 9, 0, NTE_NO_KEY},
      {sha.handle, AT_SIGNATURE, 1, NTE_BAD_FLAGS},
      {sha.handle + 1000, AT_SIGNATURE, 0, ERROR_INVALID_PARAMETER},
  };
  DWORD length = sizeof(signature);
  for (const auto& [hash, keySpec, flags, error] : kCases)
    EXPECT_TRUE(FailsWith(CryptSignHashA(hash, keySpec, nullptr, flags, signature, &length), error)) << error;
  if (!HaveGost()) return;
  HashHandle gost(HashOf(bob.handle, CALG_GR3411_2012_256, Bytes(3)));
  EXPECT_TRUE(
      FailsWith(CryptSignHashA(gost.handle, AT_SIGNATURE, nullptr, 0, signature, &length), NTE_BAD_ALGID));
}

}  // namespace
}  // namespace cmskit::test
