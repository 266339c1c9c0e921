// Owners for the provider's handles, so that every path out of a
// verification releases what it acquired.
#ifndef CMSKIT_VERIFY_CRYPT_HANDLES_H
#define CMSKIT_VERIFY_CRYPT_HANDLES_H

#include <utility>

#include "platform/win32.h"

namespace cmskit {

// The provider's codes as the DWORDs GetLastError gives (Windows declares
// them as signed HRESULTs).
constexpr DWORD kCodeBadAlgId = static_cast<DWORD>(NTE_BAD_ALGID);
constexpr DWORD kCodeProvTypeNotDef = static_cast<DWORD>(NTE_PROV_TYPE_NOT_DEF);
constexpr DWORD kCodeFail = static_cast<DWORD>(NTE_FAIL);
constexpr DWORD kCodeBadSignature = static_cast<DWORD>(NTE_BAD_SIGNATURE);
constexpr DWORD kCodeBadKey = static_cast<DWORD>(NTE_BAD_KEY);
constexpr DWORD kCodeBadData = static_cast<DWORD>(NTE_BAD_DATA);
constexpr DWORD kCodeBadHash = static_cast<DWORD>(NTE_BAD_HASH);
constexpr DWORD kCodeNoMemory = static_cast<DWORD>(NTE_NO_MEMORY);
constexpr DWORD kCodeAsn1Corrupt = static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);
constexpr DWORD kCodeNotFound = static_cast<DWORD>(CRYPT_E_NOT_FOUND);

// One handle of type H released by Release; move-only, 0 or null when empty.
template <typename H, void (*Release)(H)>
class CryptHandle {
 public:
  CryptHandle() = default;
  explicit CryptHandle(H handle) : handle_(handle) {}
  CryptHandle(const CryptHandle&) = delete;
  CryptHandle& operator=(const CryptHandle&) = delete;
  CryptHandle(CryptHandle&& other) noexcept : handle_(std::exchange(other.handle_, H{})) {}
  CryptHandle& operator=(CryptHandle&& other) noexcept {
    if (this != &other) Reset(std::exchange(other.handle_, H{}));
    return *this;
  }
  ~CryptHandle() { Reset(H{}); }

  H get() const { return handle_; }
  explicit operator bool() const { return handle_ != H{}; }
  // For the provider's out-parameters: releases what was held first.
  H* Receive() {
    Reset(H{});
    return &handle_;
  }
  void Reset(H handle) {
    if (handle_ != H{}) Release(handle_);
    handle_ = handle;
  }

 private:
  H handle_{};
};

inline void ReleaseProvider(HCRYPTPROV handle) { CryptReleaseContext(handle, 0); }
inline void ReleaseHash(HCRYPTHASH handle) { CryptDestroyHash(handle); }
inline void ReleaseKey(HCRYPTKEY handle) { CryptDestroyKey(handle); }
inline void ReleaseCertificate(PCCERT_CONTEXT handle) { CertFreeCertificateContext(handle); }

using ProviderHandle = CryptHandle<HCRYPTPROV, ReleaseProvider>;
using HashHandle = CryptHandle<HCRYPTHASH, ReleaseHash>;
using KeyHandle = CryptHandle<HCRYPTKEY, ReleaseKey>;
using CertificateHandle = CryptHandle<PCCERT_CONTEXT, ReleaseCertificate>;

// A provider without a key of the given type (PROV_RSA_AES, a GOST type...);
// returns 0 or the provider's code.
inline DWORD AcquireVerifyProvider(DWORD providerType, ProviderHandle& out) {
  if (CryptAcquireContextA(out.Receive(), nullptr, nullptr, providerType, CRYPT_VERIFYCONTEXT)) return 0;
  const DWORD code = GetLastError();
  return code ? code : kCodeProvTypeNotDef;
}

// The provider's last error, never 0, for a call that reported failure.
inline DWORD LastCryptError() {
  const DWORD code = GetLastError();
  return code ? code : kCodeFail;
}

}  // namespace cmskit

#endif
