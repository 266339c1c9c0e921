#include "verify/certificate_lookup.h"

#include <cstring>
#include <vector>

#include "cmskit/asn_codec.h"
#include "verify/content_digest.h"
#include "verify/crypt_handles.h"

namespace cmskit {

namespace {

constexpr char kSubjectKeyIdOid[] = "2.5.29.14";

CertificateHandle Parse(const IdentObj& der) {
  return CertificateHandle(CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), der.size()));
}

// Octets without the high-order zeros a sign octet adds; least significant
// first, so those are at the end.
size_t SignificantLength(const BYTE* data, size_t size) {
  while (size > 1 && data[size - 1] == 0) --size;
  return size;
}

bool SameSerial(const CRYPT_INTEGER_BLOB& certificate, const IdentObj& serial) {
  const size_t left = SignificantLength(certificate.pbData, certificate.cbData);
  const size_t right = SignificantLength(serial.data(), serial.size());
  return left == right && left != 0 && std::memcmp(certificate.pbData, serial.data(), left) == 0;
}

bool SameBytes(const BYTE* data, size_t size, const IdentObj& other) {
  return size == other.size() && size != 0 && std::memcmp(data, other.data(), size) == 0;
}

// The key identifier octets of the extension's OCTET STRING.
bool ExtensionKeyId(const CERT_INFO& info, std::vector<BYTE>& keyId) {
  for (DWORD i = 0; i < info.cExtension; ++i) {
    const CERT_EXTENSION& extension = info.rgExtension[i];
    if (!extension.pszObjId || std::strcmp(extension.pszObjId, kSubjectKeyIdOid) != 0) continue;
    ASNTElementInfo header{};
    if (ASNTReadHeader(header, extension.Value.pbData, extension.Value.cbData) != 0) return false;
    const uint64_t headerSize = static_cast<uint64_t>(header.contents - extension.Value.pbData);
    if (header.tagNumber != kASNTOctetString || header.length == kASNTIndefinite ||
        headerSize + header.length > extension.Value.cbData)
      return false;
    keyId.assign(header.contents, header.contents + header.length);
    return true;
  }
  return false;
}

bool DerivedKeyId(const CERT_INFO& info, std::vector<BYTE>& keyId) {
  ProviderHandle provider;
  if (AcquireVerifyProvider(PROV_RSA_AES, provider) != 0) return false;
  const CRYPT_BIT_BLOB& bits = info.SubjectPublicKeyInfo.PublicKey;
  return DigestContent(provider.get(), CALG_SHA1, ContentSource::Memory(bits.pbData, bits.cbData), keyId) ==
         0;
}

}  // namespace

void CertificateLookup::Add(const std::list<IdentObj>& certificates) {
  for (const IdentObj& certificate : certificates) Add(certificate);
}

void CertificateLookup::Add(const IdentObj& certificate) { candidates_.push_back(&certificate); }

const IdentObj* CertificateLookup::FindByIssuerSerial(const IdentObj& issuer, const IdentObj& serial) const {
  for (const IdentObj* candidate : candidates_) {
    const CertificateHandle context = Parse(*candidate);
    if (!context) continue;
    const CERT_INFO& info = *context.get()->pCertInfo;
    if (SameBytes(info.Issuer.pbData, info.Issuer.cbData, issuer) && SameSerial(info.SerialNumber, serial))
      return candidate;
  }
  return nullptr;
}

const IdentObj* CertificateLookup::FindByKeyId(const IdentObj& keyId) const {
  for (const IdentObj* candidate : candidates_) {
    const CertificateHandle context = Parse(*candidate);
    if (!context) continue;
    const CERT_INFO& info = *context.get()->pCertInfo;
    std::vector<BYTE> own;
    if (!ExtensionKeyId(info, own) && !DerivedKeyId(info, own)) continue;
    if (SameBytes(own.data(), own.size(), keyId)) return candidate;
  }
  return nullptr;
}

const IdentObj* CertificateLookup::FindSigner(const MessageSignerInfo& signer) const {
  if (!signer.subjectKeyIdentifier.IsEmpty()) return FindByKeyId(signer.subjectKeyIdentifier);
  return FindByIssuerSerial(signer.issuer, signer.serialNumber);
}

}  // namespace cmskit
