// The OID function table: the provider's pre-installed key import functions,
// installing more, and the handles lookups hand out.
#include <gtest/gtest.h>

#include "crypt_test_support.h"

namespace cmskit {
namespace crypt_test {
namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

BOOL WINAPI FirstImport(HCRYPTPROV, DWORD, PCRYPT_ALGORITHM_IDENTIFIER, PCRYPT_ALGORITHM_IDENTIFIER, PBYTE,
                        DWORD, HCRYPTKEY*) {
  return FALSE;
}

BOOL WINAPI SecondImport(HCRYPTPROV, DWORD, PCRYPT_ALGORITHM_IDENTIFIER, PCRYPT_ALGORITHM_IDENTIFIER, PBYTE,
                         DWORD, HCRYPTKEY*) {
  return FALSE;
}

// The function found for `oid` in `set`, null if none; releases the handle.
void* Lookup(HCRYPTOIDFUNCSET set, const char* oid, DWORD* error = nullptr) {
  void* function = nullptr;
  HCRYPTOIDFUNCADDR handle = nullptr;
  const BOOL found = CryptGetOIDFunctionAddress(set, kEncoding, oid, 0, &function, &handle);
  if (error) *error = found ? 0 : GetLastError();
  if (found) {
    EXPECT_TRUE(CryptFreeOIDFunctionAddress(handle, 0));
  }
  return function;
}

TEST(CryptOidFunctionsTest, ImportFunctionsArePreinstalledForEveryContentCipher) {
  HCRYPTOIDFUNCSET set = CryptInitOIDFunctionSet(CMSG_OID_IMPORT_ENCRYPT_KEY_FUNC, 0);
  ASSERT_NE(nullptr, set);
  EXPECT_EQ(set, CryptInitOIDFunctionSet(CMSG_OID_IMPORT_ENCRYPT_KEY_FUNC, 0));
  const char* const kOids[] = {"2.16.840.1.101.3.4.1.2", "2.16.840.1.101.3.4.1.22", "2.16.840.1.101.3.4.1.42",
                               "1.2.840.113549.3.7",     "1.2.840.113549.3.2",      "1.2.643.2.2.21"};
  for (const char* oid : kOids) EXPECT_NE(nullptr, Lookup(set, oid)) << oid;
  DWORD error = 0;
  EXPECT_EQ(nullptr, Lookup(set, "1.2.840.113549.3.4", &error));  // RC4: none
  EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), error);
}

TEST(CryptOidFunctionsTest, InstalledFunctionsAreFoundInOrder) {
  HCRYPTOIDFUNCSET set = CryptInitOIDFunctionSet("CmskitTestFunctionSet", 0);
  CRYPT_OID_FUNC_ENTRY first = {"1.2.3.4", reinterpret_cast<void*>(&FirstImport)};
  CRYPT_OID_FUNC_ENTRY second = {"1.2.3.4", reinterpret_cast<void*>(&SecondImport)};
  ASSERT_TRUE(CryptInstallOIDFunctionAddress(nullptr, kEncoding, "CmskitTestFunctionSet", 1, &first, 0));
  ASSERT_TRUE(CryptInstallOIDFunctionAddress(nullptr, kEncoding, "CmskitTestFunctionSet", 1, &second, 0));
  EXPECT_EQ(reinterpret_cast<void*>(&FirstImport), Lookup(set, "1.2.3.4"));
  ASSERT_TRUE(CryptInstallOIDFunctionAddress(nullptr, kEncoding, "CmskitTestFunctionSet", 1, &second,
                                             CRYPT_INSTALL_OID_FUNC_BEFORE_FLAG));
  EXPECT_EQ(reinterpret_cast<void*>(&SecondImport), Lookup(set, "1.2.3.4"));
  EXPECT_EQ(nullptr, Lookup(set, "1.2.3"));
  // Another set does not see them.
  EXPECT_EQ(nullptr, Lookup(CryptInitOIDFunctionSet(CMSG_OID_IMPORT_ENCRYPT_KEY_FUNC, 0), "1.2.3.4"));
}

TEST(CryptOidFunctionsTest, BadArgumentsAndStaleHandlesAreRefused) {
  HCRYPTOIDFUNCSET set = CryptInitOIDFunctionSet(CMSG_OID_IMPORT_ENCRYPT_KEY_FUNC, 0);
  void* function = reinterpret_cast<void*>(&FirstImport);
  HCRYPTOIDFUNCADDR handle = nullptr;
  int notASet = 0;
  EXPECT_FALSE(CryptGetOIDFunctionAddress(&notASet, kEncoding, "1.2.643.2.2.21", 0, &function, &handle));
  EXPECT_EQ(static_cast<DWORD>(E_INVALIDARG), GetLastError());
  EXPECT_EQ(nullptr, function);
  EXPECT_FALSE(CryptGetOIDFunctionAddress(set, kEncoding, nullptr, 0, &function, &handle));
  EXPECT_EQ(nullptr, CryptInitOIDFunctionSet(nullptr, 0));
  EXPECT_FALSE(CryptInstallOIDFunctionAddress(nullptr, kEncoding, "Set", 1, nullptr, 0));

  ASSERT_TRUE(CryptGetOIDFunctionAddress(set, kEncoding, "1.2.643.2.2.21", 0, &function, &handle));
  EXPECT_TRUE(CryptFreeOIDFunctionAddress(handle, 0));
  EXPECT_FALSE(CryptFreeOIDFunctionAddress(handle, 0));
  EXPECT_EQ(static_cast<DWORD>(E_INVALIDARG), GetLastError());
  EXPECT_TRUE(CryptFreeOIDFunctionAddress(nullptr, 0));
}

}  // namespace
}  // namespace crypt_test
}  // namespace cmskit
