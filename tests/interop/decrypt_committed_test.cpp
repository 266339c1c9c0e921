// Messages made once by `openssl cms -encrypt` (tests/data/decrypt) decrypt
// on every platform. Where the provider cannot take the key file as its
// container (Windows, Wine), the key is imported as a PRIVATEKEYBLOB and the
// missing import function for these OIDs is installed here.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "interop/decrypt_interop_util.h"

namespace cmskit_testing {
namespace {

constexpr BYTE kPrivateKeyBlob = 0x7;

struct ContentAlgorithm {
  const char* oid;
  ALG_ID algId;
};

constexpr ContentAlgorithm kAlgorithms[] = {
    {"2.16.840.1.101.3.4.1.2", CALG_AES_128},
    {"2.16.840.1.101.3.4.1.42", CALG_AES_256},
    {"1.2.840.113549.3.7", CALG_3DES},
};

// The RSA key the installed function unwraps with.
HCRYPTKEY& UnwrapKey() {
  static HCRYPTKEY key = 0;
  return key;
}

BOOL WINAPI UnwrapWithProvider(HCRYPTPROV prov, DWORD /*keySpec*/, PCRYPT_ALGORITHM_IDENTIFIER content,
                               PCRYPT_ALGORITHM_IDENTIFIER /*publicKey*/, PBYTE encryptedKey, DWORD length,
                               HCRYPTKEY* key) {
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

class DecryptCommitted : public ::testing::Test {
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

  Decryption Decrypt(const char* message, bool fromMemory, bool toFile) {
    const std::string target = toFile ? dir_.Path("plain" + std::to_string(++outputs_)) : std::string();
    return DecryptMessage(TestData(std::string("decrypt/") + message), fromMemory, target, cert_->Get(),
                          prov_.handle);
  }

  std::unique_ptr<RecipientCertificate> cert_;
  ProviderHandle prov_;
  KeyHandle rsaKey_;
  TempDir dir_;
  int outputs_ = 0;
};

// A ciphertext of whole 4096-byte blocks (aes128_4095) gets no final call
// file to file, so its CBC padding stays there.
TEST_F(DecryptCommitted, MessagesDecryptOnEveryPath) {
  const Bytes plain = ReadBytes(TestData("decrypt/plain.txt")),
              short4095 = ReadBytes(TestData("decrypt/plain4095.txt"));
  ASSERT_EQ(5000u, plain.size());
  for (const char* message : {"aes128.der", "aes256.der", "des3.der", "aes128_4095.der"}) {
    for (int path = 0; path < 4; ++path) {
      const bool fromMemory = path & 1, toFile = path & 2;
      SCOPED_TRACE(std::string(message) + " " + std::to_string(path));
      const Decryption result = Decrypt(message, fromMemory, toFile);
      EXPECT_EQ(0, result.importError);
      EXPECT_TRUE(result.ok) << std::hex << result.error;
      if (message[6] != '_') {
        EXPECT_EQ(plain, result.plain);
        continue;
      }
      EXPECT_EQ(4096u, result.contentLength);
      EXPECT_EQ(toFile && !fromMemory ? WithPadding(short4095, 16) : short4095, result.plain);
    }
  }
}

// A null certificate (pError untouched), a copy naming no recipient, and a
// damaged transported key.
TEST_F(DecryptCommitted, ErrorPaths) {
  EnvelopedData message;
  CTOOFile file(TestData("decrypt/aes128.der").c_str(), "rb");
  ASSERT_NE(0u, message.ReadObject(file));
  ASNAlgorithmIdentifier alg = message.encryptedContentInfo.contentEncryptionAlgorithm;
  KeyHandle key;
  int error = 777;
  SetLastError(0);
  EXPECT_EQ(0, message.GetEncryptionKey(nullptr, prov_.handle, key.handle, alg, &error));
  EXPECT_EQ(kBadArguments, GetLastError());
  EXPECT_EQ(777, error);
  EnvelopedData other = message;
  other.recipientInfos.front().serialNumber = Obj(Hex("01"));
  EXPECT_EQ(0, other.GetEncryptionKey(cert_->Get(), prov_.handle, key.handle, alg, &error));
  EXPECT_EQ(static_cast<int>(kBadArguments), error);
  other = message;
  other.recipientInfos.front().encryptedKey.data()[10] ^= 0x55;
  EXPECT_EQ(0, other.GetEncryptionKey(cert_->Get(), prov_.handle, key.handle, alg, &error));
  EXPECT_NE(0, error);
}

}  // namespace
}  // namespace cmskit_testing
