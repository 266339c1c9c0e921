#include "signing_key.h"

#include <algorithm>
#include <vector>

#include "cli_error.h"

namespace cmskit_cli {

namespace {

constexpr uint32_t kWrongKey = 0x80090016;  // NTE_BAD_KEYSET

// The public half of the provider's key pair, as a certificate holds it.
std::vector<BYTE> PublicKeyBits(HCRYPTPROV provider, DWORD keySpec) {
  DWORD length = 0;
  if (!CryptExportPublicKeyInfo(provider, keySpec, X509_ASN_ENCODING, nullptr, &length)) return {};
  std::vector<BYTE> buffer(length);
  auto* info = reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(buffer.data());
  if (!CryptExportPublicKeyInfo(provider, keySpec, X509_ASN_ENCODING, info, &length)) return {};
  return std::vector<BYTE>(info->PublicKey.pbData, info->PublicKey.pbData + info->PublicKey.cbData);
}

}  // namespace

void SigningKey::RequireCertificateKey(const std::string& keyPath, const std::string& certificateName) const {
  const CRYPT_BIT_BLOB& expected = certificate_->pCertInfo->SubjectPublicKeyInfo.PublicKey;
  const std::vector<BYTE> bits = PublicKeyBits(provider_, keySpec_);
  if (bits.size() != expected.cbData || !std::equal(bits.begin(), bits.end(), expected.pbData))
    throw OperationError(kWrongKey, "the private key " + keyPath + " is not the key of " + certificateName);
}

SigningKey::SigningKey(const std::string& certificateDer, const std::string& certificateName,
                       const std::string& keyPath) {
  try {
    Load(certificateDer, certificateName, keyPath);
  } catch (...) {
    Release();
    throw;
  }
}

SigningKey::~SigningKey() { Release(); }

void SigningKey::Release() {
  if (key_) CryptDestroyKey(key_);
  if (provider_) CryptReleaseContext(provider_, 0);
  if (certificate_) CertFreeCertificateContext(certificate_);
  key_ = 0;
  provider_ = 0;
  certificate_ = nullptr;
}

cmskit::SignerCredential SigningKey::signer(const char* digestOid) const {
  cmskit::SignerCredential key;
  key.certificate = certificate_;
  key.provider = provider_;
  key.keySpec = keySpec_;
  key.digestOid = digestOid;
  return key;
}

}  // namespace cmskit_cli
