#include "verify/signer_key.h"

#include <algorithm>

#include "verify/signature_octets.h"

namespace cmskit {

DWORD SignerKey::Open(const IdentObj& certificate) {
  certificate_.Reset(CertCreateCertificateContext(X509_ASN_ENCODING, certificate.data(), certificate.size()));
  if (!certificate_) return kCodeAsn1Corrupt;
  CERT_PUBLIC_KEY_INFO& keyInfo = certificate_.get()->pCertInfo->SubjectPublicKeyInfo;
  kind_ = KeyKindOfPublicKey(keyInfo.Algorithm.pszObjId ? keyInfo.Algorithm.pszObjId : "");
  if (kind_ == KeyKind::kUnknown) return kCodeBadAlgId;
  // Providers that take every key under the RSA types (the Linux one) have
  // no DSS type of their own.
  DWORD code = AcquireVerifyProvider(ProviderTypeFor(kind_), provider_);
  if (code == kCodeProvTypeNotDef && ProviderTypeFor(kind_) != PROV_RSA_AES)
    code = AcquireVerifyProvider(PROV_RSA_AES, provider_);
  if (code != 0) return code;
  if (!CryptImportPublicKeyInfo(provider_.get(), X509_ASN_ENCODING, &keyInfo, key_.Receive()))
    return LastCryptError();
  return 0;
}

size_t SignerKey::DssWidth() const {
  if (kind_ == KeyKind::kDsa) {
    const CRYPT_OBJID_BLOB& parameters = info().SubjectPublicKeyInfo.Algorithm.Parameters;
    return DsaOrderWidth(parameters.pbData, parameters.cbData);
  }
  DWORD bits = 0;
  DWORD size = sizeof(bits);
  if (!CryptGetKeyParam(key_.get(), KP_KEYLEN, reinterpret_cast<BYTE*>(&bits), &size, 0)) return 0;
  return (bits + 7) / 8;
}

bool SignerKey::ProviderSignature(const IdentObj& stored, std::vector<BYTE>& out) const {
  if (kind_ != KeyKind::kDsa && kind_ != KeyKind::kEcdsa) {
    // RSA and GOST signatures are taken least significant octet first.
    out.assign(stored.data(), stored.data() + stored.size());
    return true;
  }
  std::vector<BYTE> der(stored.data(), stored.data() + stored.size());
  std::reverse(der.begin(), der.end());
  return DssSignatureToCryptoApi(der.data(), der.size(), DssWidth(), out);
}

DWORD SignerKey::UsePss(DWORD saltLength) {
  if (kind_ != KeyKind::kRsa && kind_ != KeyKind::kRsaPss) return kCodeBadAlgId;
  if (CryptSetKeyParam(key_.get(), KP_CMSKIT_PSS_SALT_LENGTH, reinterpret_cast<const BYTE*>(&saltLength), 0))
    return 0;
  return LastCryptError();
}

}  // namespace cmskit
