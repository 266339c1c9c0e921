#include "make/test_signer.h"

#include "common/test_util.h"

namespace cmskit_testing {

namespace {

Bytes Decode(LPCSTR structure, const Bytes& der) {
  DWORD length = 0;
  if (!CryptDecodeObjectEx(X509_ASN_ENCODING, structure, der.data(), static_cast<DWORD>(der.size()), 0,
                           nullptr, nullptr, &length))
    return {};
  Bytes out(length);
  if (!CryptDecodeObjectEx(X509_ASN_ENCODING, structure, der.data(), static_cast<DWORD>(der.size()), 0,
                           nullptr, out.data(), &length))
    return {};
  out.resize(length);
  return out;
}

}  // namespace

TestSigner::TestSigner(const std::string& certificateDer, const std::string& keyFile) {
  const Bytes der = ReadBytes(certificateDer);
  certificate_ = CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size()));
  const Bytes blob = Decode(PKCS_RSA_PRIVATE_KEY, ReadBytes(keyFile));
  if (!certificate_ || blob.empty() ||
      !CryptAcquireContextA(&provider_, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT))
    return;
  if (!CryptImportKey(provider_, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key_)) {
    CryptReleaseContext(provider_, 0);
    provider_ = 0;
  }
  keySpec_ = AT_KEYEXCHANGE;
}

}  // namespace cmskit_testing
