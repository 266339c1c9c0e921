// The public-key functions: importing a certificate's public key, exporting
// the public half of a provider's key pair, and the provider's key pair itself.
#include <openssl/err.h>
#include <openssl/x509.h>

#include <memory>
#include <vector>

#include "platform/posix/crypt_asymmetric_key.h"
#include "platform/posix/crypt_call.h"
#include "platform/posix/crypt_provider.h"
#include "platform/posix/crypt_public_key_info.h"

namespace cmskit {
namespace posix {

namespace {

// The SubjectPublicKeyInfo DER of a key.
DWORD PublicKeyDer(EVP_PKEY* key, std::vector<BYTE>* der) {
  const int size = i2d_PUBKEY(key, nullptr);
  if (size <= 0) {
    ERR_clear_error();
    return NTE_BAD_KEY;
  }
  der->resize(static_cast<size_t>(size));
  unsigned char* next = der->data();
  if (i2d_PUBKEY(key, &next) != size) {
    ERR_clear_error();
    return NTE_BAD_KEY;
  }
  return 0;
}

}  // namespace

}  // namespace posix
}  // namespace cmskit

using cmskit::posix::AsymmetricKey;
using cmskit::posix::AsymmetricKeyTable;
using cmskit::posix::Provider;
using cmskit::posix::ProviderTable;
using cmskit::posix::RunCall;

extern "C" {

BOOL CryptImportPublicKeyInfo(HCRYPTPROV prov, DWORD encodingType, PCERT_PUBLIC_KEY_INFO info,
                              HCRYPTKEY* key) {
  return RunCall([&]() -> DWORD {
    if (!ProviderTable().Find(prov) || !info || !key) return ERROR_INVALID_PARAMETER;
    if (!(encodingType & X509_ASN_ENCODING)) return E_INVALIDARG;
    std::shared_ptr<AsymmetricKey> imported;
    if (const DWORD code = AsymmetricKey::FromPublicKeyInfo(*info, &imported)) return code;
    *key = static_cast<HCRYPTKEY>(AsymmetricKeyTable().Add(std::move(imported)));
    return 0;
  });
}

BOOL CryptExportPublicKeyInfo(HCRYPTPROV prov, DWORD keySpec, DWORD encodingType, PCERT_PUBLIC_KEY_INFO info,
                              DWORD* infoLength) {
  return RunCall([&]() -> DWORD {
    const std::shared_ptr<Provider> provider = ProviderTable().Find(prov);
    if (!provider || !infoLength) return ERROR_INVALID_PARAMETER;
    if (!(encodingType & X509_ASN_ENCODING)) return E_INVALIDARG;
    std::shared_ptr<AsymmetricKey> own;
    if (const DWORD code = provider->KeyFor(keySpec, &own)) return code;
    std::vector<BYTE> der;
    if (const DWORD code = cmskit::posix::PublicKeyDer(own->Pkey(), &der)) return code;
    return cmskit::posix::WritePublicKeyInfo(der, info, infoLength);
  });
}

BOOL CryptGetUserKey(HCRYPTPROV prov, DWORD keySpec, HCRYPTKEY* key) {
  return RunCall([&]() -> DWORD {
    const std::shared_ptr<Provider> provider = ProviderTable().Find(prov);
    if (!provider || !key) return ERROR_INVALID_PARAMETER;
    std::shared_ptr<AsymmetricKey> own;
    if (const DWORD code = provider->KeyFor(keySpec, &own)) return code;
    // Another handle to the provider's own key: parameters set through it
    // apply to what the provider signs.
    *key = static_cast<HCRYPTKEY>(AsymmetricKeyTable().Add(std::move(own)));
    return 0;
  });
}

}  // extern "C"
