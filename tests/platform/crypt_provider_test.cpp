// Providers, their failure codes, release, random numbers and the OID function table.
#include "crypt_test_support.h"

namespace cmskit::test {
namespace {

DWORD AcquireError(const std::string& container, DWORD type, DWORD flags = 0) {
  ProviderHandle prov;
  const char* name = container == "-" ? nullptr : container.c_str();
  return CryptAcquireContextA(&prov.handle, name, nullptr, type, flags) ? 0 : GetLastError();
}

TEST(CryptProviderTest, KeyFilesAndContextsAcquireOrFailWithWindowsCodes) {
  TempDir dir;
  WriteBytes(dir.Path("garbage"), Pattern(300, 41));
  const std::string bob = DataFile("BobPrivRSAEncrypt.pri"), missing = dir.Path("missing");
  const struct {
    std::string container;
    DWORD type, flags, error;
  } kCases[] = {{bob, PROV_RSA_FULL, 0, 0},
                {bob, PROV_RSA_AES, CRYPT_SILENT, 0},
                {missing, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT, 0},  // the container is ignored
                {missing, PROV_RSA_FULL, 0, NTE_BAD_KEYSET},
                {dir.Path("garbage"), PROV_RSA_FULL, 0, NTE_BAD_KEYSET},
                {"/", PROV_RSA_FULL, 0, NTE_BAD_KEYSET},
                {"-", PROV_RSA_FULL, 0, NTE_BAD_KEYSET},
                {"", PROV_RSA_FULL, 0, NTE_BAD_KEYSET},
                {bob, 999, 0, NTE_PROV_TYPE_NOT_DEF},
                {bob, PROV_RSA_FULL, CRYPT_NEWKEYSET, NTE_BAD_FLAGS}};
  for (const auto& c : kCases) EXPECT_EQ(c.error, AcquireError(c.container, c.type, c.flags)) << c.container;
  EXPECT_TRUE(FailsWith(CryptAcquireContextA(nullptr, bob.c_str(), nullptr, PROV_RSA_FULL, 0),
                        ERROR_INVALID_PARAMETER));
  // Wide names are UTF-8 paths.
  const std::string folder = dir.Path("");
  WriteBytes(folder + "cl\xC3\xA9 \xE2\x82\xAC.pri", ReadBytes(bob));
  const std::wstring wide = std::wstring(folder.begin(), folder.end()) + L"cl\u00E9 \u20AC.pri";
  ProviderHandle prov;
  EXPECT_TRUE(CryptAcquireContextW(&prov.handle, wide.c_str(), nullptr, PROV_RSA_FULL, 0));
  const wchar_t notACharacter[] = {L'/', static_cast<wchar_t>(0xD800), 0};
  HCRYPTPROV other = 0;
  EXPECT_TRUE(FailsWith(CryptAcquireContextW(&other, notACharacter, nullptr, PROV_RSA_FULL, 0),
                        ERROR_INVALID_PARAMETER));
}

TEST(CryptProviderTest, KeyFamilyMustMatchAndEncryptedKeysAreRefused) {
  if (!HaveOpenSsl()) GTEST_SKIP() << "the openssl command is not available";
  TempDir dir;
  const std::string key = dir.Path("key.pem");
  ASSERT_TRUE(
      Shell("openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:1024 -aes128 -pass pass:secret -out " +
            key + " </dev/null"));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_KEYSET), AcquireError(key, PROV_RSA_AES));  // never prompts
  if (!HaveGost()) GTEST_SKIP() << "the gost engine cannot be loaded";
  const std::string rsa = DataFile("BobPrivRSAEncrypt.pri"), gost = DataFile("tk26_key_256.pem");
  EXPECT_EQ(0u, AcquireError(gost, PROV_GOST_2012_256));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_KEYSET), AcquireError(gost, PROV_RSA_AES));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_KEYSET), AcquireError(rsa, PROV_GOST_2012_256));
}

TEST(CryptProviderTest, ReleasedAndForeignProvidersAreRefused) {
  HCRYPTPROV prov = 0;
  ASSERT_TRUE(CryptAcquireContextA(&prov, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT));
  BYTE random[64] = {};
  ASSERT_TRUE(CryptGenRandom(prov, sizeof(random), random));
  EXPECT_NE(Bytes(sizeof(random), 0), Bytes(random, random + sizeof(random)));
  EXPECT_TRUE(CryptGenRandom(prov, 0, nullptr));
  EXPECT_TRUE(FailsWith(CryptGenRandom(prov, 1, nullptr), ERROR_INVALID_PARAMETER));
  ASSERT_TRUE(CryptReleaseContext(prov, 0));
  for (HCRYPTPROV handle : {prov, HCRYPTPROV{0}, prov + 1, ~HCRYPTPROV{0}}) {
    EXPECT_TRUE(FailsWith(CryptReleaseContext(handle, 0), ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(FailsWith(CryptGenRandom(handle, sizeof(random), random), ERROR_INVALID_PARAMETER));
  }
  // Flags on release are refused, but the provider is released all the same.
  ASSERT_TRUE(CryptAcquireContextA(&prov, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT));
  EXPECT_TRUE(FailsWith(CryptReleaseContext(prov, 1), NTE_BAD_FLAGS));
  EXPECT_FALSE(CryptReleaseContext(prov, 0));
}

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

BOOL WINAPI FirstImport(HCRYPTPROV, DWORD, PCRYPT_ALGORITHM_IDENTIFIER, PCRYPT_ALGORITHM_IDENTIFIER, PBYTE,
                        DWORD, HCRYPTKEY*) {
  return FALSE;
}
BOOL WINAPI SecondImport(HCRYPTPROV, DWORD, PCRYPT_ALGORITHM_IDENTIFIER, PCRYPT_ALGORITHM_IDENTIFIER, PBYTE,
                         DWORD, HCRYPTKEY*) {
  return TRUE;
}

TEST(CryptOidFunctionsTest, PreinstalledInstalledInOrderAndBadArguments) {
  HCRYPTOIDFUNCSET set = CryptInitOIDFunctionSet(CMSG_OID_IMPORT_ENCRYPT_KEY_FUNC, 0);
  EXPECT_EQ(set, CryptInitOIDFunctionSet(CMSG_OID_IMPORT_ENCRYPT_KEY_FUNC, 0));
  for (const char* oid : {"2.16.840.1.101.3.4.1.2", "2.16.840.1.101.3.4.1.22", "2.16.840.1.101.3.4.1.42",
                          "1.2.840.113549.3.7", "1.2.840.113549.3.2", "1.2.643.2.2.21"})
    EXPECT_NE(nullptr, OidFunction(CMSG_OID_IMPORT_ENCRYPT_KEY_FUNC, oid)) << oid;
  DWORD error = 0;
  EXPECT_EQ(nullptr, OidFunction(CMSG_OID_IMPORT_ENCRYPT_KEY_FUNC, "1.2.840.113549.3.4", &error));  // RC4
  EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), error);
  CRYPT_OID_FUNC_ENTRY first = {"1.2.3.4", reinterpret_cast<void*>(&FirstImport)};
  CRYPT_OID_FUNC_ENTRY second = {"1.2.3.4", reinterpret_cast<void*>(&SecondImport)};
  ASSERT_TRUE(CryptInstallOIDFunctionAddress(nullptr, kEncoding, "CmskitTestFunctionSet", 1, &first, 0));
  ASSERT_TRUE(CryptInstallOIDFunctionAddress(nullptr, kEncoding, "CmskitTestFunctionSet", 1, &second, 0));
  EXPECT_EQ(reinterpret_cast<void*>(&FirstImport), OidFunction("CmskitTestFunctionSet", "1.2.3.4"));
  ASSERT_TRUE(CryptInstallOIDFunctionAddress(nullptr, kEncoding, "CmskitTestFunctionSet", 1, &second,
                                             CRYPT_INSTALL_OID_FUNC_BEFORE_FLAG));
  EXPECT_EQ(reinterpret_cast<void*>(&SecondImport), OidFunction("CmskitTestFunctionSet", "1.2.3.4"));
  EXPECT_EQ(nullptr, OidFunction("CmskitTestFunctionSet", "1.2.3"));
  EXPECT_EQ(nullptr,
            OidFunction(CMSG_OID_IMPORT_ENCRYPT_KEY_FUNC, "1.2.3.4"));  // another set does not see them
  void* function = reinterpret_cast<void*>(&FirstImport);
  HCRYPTOIDFUNCADDR handle = nullptr;
  int notASet = 0;
  EXPECT_TRUE(FailsWith(CryptGetOIDFunctionAddress(&notASet, kEncoding, kGost28147Oid, 0, &function, &handle),
                        E_INVALIDARG));
  EXPECT_EQ(nullptr, function);
  EXPECT_FALSE(CryptGetOIDFunctionAddress(set, kEncoding, nullptr, 0, &function, &handle));
  EXPECT_EQ(nullptr, CryptInitOIDFunctionSet(nullptr, 0));
  EXPECT_FALSE(CryptInstallOIDFunctionAddress(nullptr, kEncoding, "Set", 1, nullptr, 0));
  ASSERT_TRUE(CryptGetOIDFunctionAddress(set, kEncoding, kGost28147Oid, 0, &function, &handle));
  EXPECT_TRUE(CryptFreeOIDFunctionAddress(handle, 0));
  EXPECT_TRUE(FailsWith(CryptFreeOIDFunctionAddress(handle, 0), E_INVALIDARG));
  EXPECT_TRUE(CryptFreeOIDFunctionAddress(nullptr, 0));
}

}  // namespace
}  // namespace cmskit::test
