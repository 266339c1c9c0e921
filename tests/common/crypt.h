// Provider and key handles that release themselves, session keys from their
// plain bytes and key parameters, for the suites that decrypt.
#ifndef CMSKIT_TESTS_COMMON_CRYPT_H
#define CMSKIT_TESTS_COMMON_CRYPT_H

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "cmskit/cmskit.h"
#include "common/bytes.h"

namespace cmskit_testing {

template <class Handle, BOOL (*Release)(Handle)>
class Owned {
 public:
  Owned() = default;
  explicit Owned(Handle h) : handle(h) {}
  ~Owned() { Reset(); }
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  void Reset(Handle h = 0) {
    if (handle) Release(handle);
    handle = h;
  }
  Handle handle = 0;
};
inline BOOL ReleaseProvider(HCRYPTPROV prov) { return CryptReleaseContext(prov, 0); }
using ProviderHandle = Owned<HCRYPTPROV, ReleaseProvider>;
using KeyHandle = Owned<HCRYPTKEY, CryptDestroyKey>;

inline bool AcquireVerifyContext(DWORD type, ProviderHandle& prov) {
  return CryptAcquireContextA(&prov.handle, nullptr, nullptr, type, CRYPT_VERIFYCONTEXT) != FALSE;
}

inline Bytes PlainKeyBlob(ALG_ID algorithm, const Bytes& keyBytes) {
  const BLOBHEADER header{PLAINTEXTKEYBLOB, CUR_BLOB_VERSION, 0, algorithm};
  const DWORD length = static_cast<DWORD>(keyBytes.size());
  Bytes blob(sizeof header + sizeof length);
  memcpy(blob.data(), &header, sizeof header);
  memcpy(blob.data() + sizeof header, &length, sizeof length);
  return Cat({blob, keyBytes});
}
// A session key from its plain bytes; 0 when the provider refuses it.
inline HCRYPTKEY ImportPlainKey(HCRYPTPROV prov, ALG_ID algorithm, const Bytes& keyBytes) {
  const Bytes blob = PlainKeyBlob(algorithm, keyBytes);
  HCRYPTKEY key = 0;
  return CryptImportKey(prov, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key) ? key : 0;
}

// A value by the size-query protocol: `get(buffer, &length)` asked for the
// size, then for the value; empty on failure.
template <class Get>
Bytes Queried(Get get) {
  DWORD length = 0;
  if (!get(nullptr, &length)) return Bytes();
  Bytes value(length);
  if (!get(value.data(), &length)) return Bytes();
  value.resize(length);
  return value;
}
// A key parameter (KP_IV: the key's current IV).
inline Bytes KeyParam(HCRYPTKEY key, DWORD param = KP_IV) {
  return Queried([&](BYTE* data, DWORD* length) { return CryptGetKeyParam(key, param, data, length, 0); });
}

// A certificate context whose key-provider property names `container`, for
// the key of `keySpec` (0: no such property).
class RecipientCertificate {
 public:
  RecipientCertificate(const Bytes& der, const std::string& container, DWORD provType,
                       DWORD keySpec = AT_KEYEXCHANGE) {
    context_ = CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, der.data(),
                                            static_cast<DWORD>(der.size()));
    std::wstring name(container.begin(), container.end());
    CRYPT_KEY_PROV_INFO info{};
    info.pwszContainerName = &name[0];
    info.dwProvType = provType;
    info.dwKeySpec = keySpec;
    if (context_ && keySpec &&
        !CertSetCertificateContextProperty(context_, CERT_KEY_PROV_INFO_PROP_ID, 0, &info)) {
      CertFreeCertificateContext(context_);
      context_ = nullptr;
    }
  }
  ~RecipientCertificate() {
    if (context_) CertFreeCertificateContext(context_);
  }
  RecipientCertificate(const RecipientCertificate&) = delete;
  RecipientCertificate& operator=(const RecipientCertificate&) = delete;
  const CERT_CONTEXT* Get() const { return context_; }

 private:
  const CERT_CONTEXT* context_ = nullptr;
};

// A call's result that must be a failure leaving `error` as the last error.
inline ::testing::AssertionResult FailsWith(BOOL result, DWORD error) {
  const DWORD last = GetLastError();
  if (result) return ::testing::AssertionFailure() << "succeeded";
  if (last == error) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << std::hex << "failed with 0x" << last << ", not 0x" << error;
}

// `plain` with the CBC padding that a missing final call leaves in place.
inline Bytes WithPadding(const Bytes& plain, size_t block) {
  const size_t pad = block - plain.size() % block;
  return Cat({plain, Bytes(pad, static_cast<BYTE>(pad))});
}

}  // namespace cmskit_testing

#endif
