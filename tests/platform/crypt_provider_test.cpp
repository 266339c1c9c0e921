// Providers: acquiring one from a key file or as a verification context,
// the codes for every way that fails, releasing, and random numbers.
#include <gtest/gtest.h>

#include "crypt_test_support.h"

namespace cmskit {
namespace crypt_test {
namespace {

DWORD AcquireError(const char* container, DWORD type, DWORD flags) {
  ProvHandle prov;
  return CryptAcquireContextA(&prov.handle, container, nullptr, type, flags) ? 0 : GetLastError();
}

TEST(CryptProviderTest, KeyFilesAndContextsAcquireOrFailWithWindowsCodes) {
  ScratchDir dir;
  WriteBytes(dir.File("garbage"), PatternBytes(300, 41));
  WriteBytes(dir.File("empty"), Bytes());
  const std::string bob = DataFile("BobPrivRSAEncrypt.pri");
  const std::string garbage = dir.File("garbage"), empty = dir.File("empty"), missing = dir.File("missing");
  const struct {
    const char* what;
    const char* container;
    DWORD type;
    DWORD flags;
    DWORD error;
  } kCases[] = {
      {"RSA key, DER", bob.c_str(), PROV_RSA_FULL, 0, 0},
      {"RSA key, AES type", bob.c_str(), PROV_RSA_AES, CRYPT_SILENT, 0},
      {"verification context", nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT, 0},
      {"verification context ignores the container", missing.c_str(), PROV_RSA_FULL, CRYPT_VERIFYCONTEXT, 0},
      {"missing file", missing.c_str(), PROV_RSA_FULL, 0, NTE_BAD_KEYSET},
      {"not a key", garbage.c_str(), PROV_RSA_FULL, 0, NTE_BAD_KEYSET},
      {"empty file", empty.c_str(), PROV_RSA_FULL, 0, NTE_BAD_KEYSET},
      {"a folder", "/", PROV_RSA_FULL, 0, NTE_BAD_KEYSET},
      {"no container", nullptr, PROV_RSA_FULL, 0, NTE_BAD_KEYSET},
      {"empty container", "", PROV_RSA_FULL, 0, NTE_BAD_KEYSET},
      {"unknown type", bob.c_str(), 999, 0, NTE_PROV_TYPE_NOT_DEF},
      {"new key sets are not made", bob.c_str(), PROV_RSA_FULL, CRYPT_NEWKEYSET, NTE_BAD_FLAGS},
  };
  for (const auto& item : kCases) {
    EXPECT_EQ(item.error, AcquireError(item.container, item.type, item.flags)) << item.what;
  }
  EXPECT_FALSE(CryptAcquireContextA(nullptr, bob.c_str(), nullptr, PROV_RSA_FULL, 0));
  EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_PARAMETER), GetLastError());
}

TEST(CryptProviderTest, KeyFamilyMustMatchTheProviderType) {
  if (!HaveGost()) GTEST_SKIP() << "the gost engine cannot be loaded";
  const std::string rsa = DataFile("BobPrivRSAEncrypt.pri"), gost = DataFile("tk26_key_256.pem");
  EXPECT_EQ(0u, AcquireError(gost.c_str(), PROV_GOST_2012_256, 0));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_KEYSET), AcquireError(gost.c_str(), PROV_RSA_AES, 0));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_KEYSET), AcquireError(rsa.c_str(), PROV_GOST_2012_256, 0));
}

TEST(CryptProviderTest, ReleasedAndForeignProvidersAreRefused) {
  HCRYPTPROV prov = 0;
  ASSERT_TRUE(CryptAcquireContextA(&prov, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT));
  BYTE random[64] = {};
  ASSERT_TRUE(CryptGenRandom(prov, sizeof(random), random));
  EXPECT_NE(Bytes(sizeof(random), 0), Bytes(random, random + sizeof(random)));
  EXPECT_TRUE(CryptGenRandom(prov, 0, nullptr));
  EXPECT_FALSE(CryptGenRandom(prov, 1, nullptr));
  EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_PARAMETER), GetLastError());
  ASSERT_TRUE(CryptReleaseContext(prov, 0));
  for (HCRYPTPROV handle : {prov, HCRYPTPROV{0}, HCRYPTPROV{1}, prov + 1, ~HCRYPTPROV{0}}) {
    EXPECT_FALSE(CryptReleaseContext(handle, 0)) << handle;
    EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_PARAMETER), GetLastError());
    EXPECT_FALSE(CryptGenRandom(handle, sizeof(random), random)) << handle;
    EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_PARAMETER), GetLastError());
  }
  // Flags on release are refused, but the provider is released all the same.
  ASSERT_TRUE(CryptAcquireContextA(&prov, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT));
  EXPECT_FALSE(CryptReleaseContext(prov, 1));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_FLAGS), GetLastError());
  EXPECT_FALSE(CryptReleaseContext(prov, 0));
}

TEST(CryptProviderTest, WideContainerNamesAreUtf8Paths) {
  ScratchDir dir;
  const std::string folder = dir.File("");  // plain ASCII
  WriteBytes(folder + "cl\xC3\xA9 \xE2\x82\xAC.pri", ReadBytes(DataFile("BobPrivRSAEncrypt.pri")));
  const std::wstring wide = std::wstring(folder.begin(), folder.end()) + L"cl\u00E9 \u20AC.pri";
  ProvHandle prov;
  EXPECT_TRUE(CryptAcquireContextW(&prov.handle, wide.c_str(), nullptr, PROV_RSA_FULL, 0))
      << std::hex << GetLastError();
  const wchar_t notACharacter[] = {L'/', static_cast<wchar_t>(0xD800), 0};
  HCRYPTPROV other = 0;
  EXPECT_FALSE(CryptAcquireContextW(&other, notACharacter, nullptr, PROV_RSA_FULL, 0));
  EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_PARAMETER), GetLastError());
}

TEST(CryptProviderTest, EncryptedKeyFilesAreRefusedWithoutPrompting) {
  if (!HaveOpenSsl()) GTEST_SKIP() << "the openssl command is not available";
  ScratchDir dir;
  const std::string key = dir.File("key.pem");
  ASSERT_TRUE(
      Shell("openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:1024 -aes128 -pass pass:secret -out " +
            key + " </dev/null"));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_KEYSET), AcquireError(key.c_str(), PROV_RSA_AES, 0));
}

}  // namespace
}  // namespace crypt_test
}  // namespace cmskit
