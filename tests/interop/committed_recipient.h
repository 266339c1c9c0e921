// The committed RSA recipient of tests/data/decrypt (certificate, key) as a
// fixture, on every platform. Where the provider cannot take the key file as
// its container (Windows, Wine), the key is imported as a PRIVATEKEYBLOB and
// the missing import function for the AES and 3DES OIDs is installed here.
#ifndef CMSKIT_TESTS_INTEROP_COMMITTED_RECIPIENT_H
#define CMSKIT_TESTS_INTEROP_COMMITTED_RECIPIENT_H

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "interop/decrypt_interop_util.h"

namespace cmskit_testing {

inline constexpr BYTE kPrivateKeyBlob = 0x7;

struct ContentAlgorithm {
  const char* oid;
  ALG_ID algId;
};

constexpr ContentAlgorithm kAlgorithms[] = {{"2.16.840.1.101.3.4.1.2", CALG_AES_128},
                                            {"2.16.840.1.101.3.4.1.42", CALG_AES_256},
                                            {"1.2.840.113549.3.7", CALG_3DES}};

// The RSA key the installed function unwraps with.
inline HCRYPTKEY& UnwrapKey() {
  static HCRYPTKEY key = 0;
  return key;
}

inline BOOL WINAPI UnwrapWithProvider(HCRYPTPROV prov, DWORD /*keySpec*/, PCRYPT_ALGORITHM_IDENTIFIER content,
                                      PCRYPT_ALGORITHM_IDENTIFIER /*publicKey*/, PBYTE encryptedKey,
                                      DWORD length, HCRYPTKEY* key) {
  const ContentAlgorithm* algorithm =
      std::find_if(std::begin(kAlgorithms), std::end(kAlgorithms),
                   [&](const ContentAlgorithm& a) { return !strcmp(a.oid, content->pszObjId); });
  if (algorithm == std::end(kAlgorithms)) {
    SetLastError(0x80090005u);  // NTE_BAD_DATA
    return FALSE;
  }
  Bytes wrapped(encryptedKey, encryptedKey + length);
  std::reverse(wrapped.begin(), wrapped.end());
  DWORD size = length;
  if (!CryptDecrypt(UnwrapKey(), 0, TRUE, 0, wrapped.data(), &size)) return FALSE;
  wrapped.resize(size);
  *key = ImportPlainKey(prov, algorithm->algId, wrapped);
  return *key != 0;
}

class CommittedRecipientTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string keyFile = TestData("decrypt/recipient.key");
    cert_ = std::make_unique<RecipientCertificate>(ReadBytes(TestData("decrypt/recipient.cer")), keyFile,
                                                   PROV_RSA_AES);
    ASSERT_NE(nullptr, cert_->Get());
    if (CryptAcquireContextA(&prov_.handle, keyFile.c_str(), nullptr, PROV_RSA_AES, 0)) return;
    ASSERT_TRUE(CryptAcquireContextA(&prov_.handle, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT));
    const Bytes blob = ReadBytes(TestData("decrypt/recipient.blob"));
    ASSERT_FALSE(blob.empty());
    ASSERT_EQ(kPrivateKeyBlob, blob[0]);
    ASSERT_TRUE(
        CryptImportKey(prov_.handle, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &rsaKey_.handle))
        << std::hex << GetLastError();
    UnwrapKey() = rsaKey_.handle;
    Install();
  }

  void TearDown() override { UnwrapKey() = 0; }

  static void Install() {
    static bool installed = false;
    if (installed) return;
    CRYPT_OID_FUNC_ENTRY entries[3];
    for (size_t i = 0; i < 3; ++i)
      entries[i] = {kAlgorithms[i].oid, reinterpret_cast<void*>(&UnwrapWithProvider)};
    ASSERT_TRUE(CryptInstallOIDFunctionAddress(nullptr, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                               CMSG_OID_IMPORT_ENCRYPT_KEY_FUNC, 3, entries,
                                               CRYPT_INSTALL_OID_FUNC_BEFORE_FLAG));
    installed = true;
  }

  std::unique_ptr<RecipientCertificate> cert_;
  ProviderHandle prov_;
  KeyHandle rsaKey_;
};

}  // namespace cmskit_testing

#endif
