// Decoding a DER certificate into the CERT_INFO layout. The blobs point into
// the context's own copy of the certificate, except the serial number, which
// CryptoAPI keeps least significant byte first.
#include "platform/posix/crypt_certificate.h"

#include <algorithm>
#include <cctype>

namespace cmskit {
namespace posix {

namespace {

constexpr BYTE kVersionTag = 0xA0;
constexpr BYTE kIssuerUniqueIdTag = 0x81;
constexpr BYTE kSubjectUniqueIdTag = 0x82;
constexpr BYTE kExtensionsTag = 0xA3;

CRYPT_OBJID_BLOB BlobOf(const BYTE* data, size_t size) {
  CRYPT_OBJID_BLOB blob;
  blob.cbData = static_cast<DWORD>(size);
  blob.pbData = size ? const_cast<BYTE*>(data) : nullptr;
  return blob;
}

// Reads `count` decimal digits; false unless all are digits.
bool Digits(const BYTE* text, size_t count, WORD* value) {
  WORD result = 0;
  for (size_t i = 0; i < count; ++i) {
    if (!std::isdigit(text[i])) return false;
    result = static_cast<WORD>(result * 10 + (text[i] - '0'));
  }
  *value = result;
  return true;
}

// UTCTime (YYMMDDHHMM[SS]Z) or GeneralizedTime (YYYYMMDDHHMMSS[.f]Z).
DWORD DecodeTime(const DerElement& element, FILETIME* time) {
  const BYTE* text = element.value;
  const size_t length = element.length;
  SYSTEMTIME st = {};
  size_t at = 0;
  if (element.tag == kDerUtcTime) {
    if (length < 11 || !Digits(text, 2, &st.wYear)) return CRYPT_E_ASN1_CORRUPT;
    st.wYear = static_cast<WORD>(st.wYear + (st.wYear < 50 ? 2000 : 1900));
    at = 2;
  } else if (element.tag == kDerGeneralizedTime) {
    if (length < 15 || !Digits(text, 4, &st.wYear)) return CRYPT_E_ASN1_CORRUPT;
    at = 4;
  } else {
    return CRYPT_E_ASN1_BADTAG;
  }
  if (!Digits(text + at, 2, &st.wMonth) || !Digits(text + at + 2, 2, &st.wDay) ||
      !Digits(text + at + 4, 2, &st.wHour) || !Digits(text + at + 6, 2, &st.wMinute))
    return CRYPT_E_ASN1_CORRUPT;
  at += 8;
  if (at + 2 < length && Digits(text + at, 2, &st.wSecond)) at += 2;
  if (at < length && text[at] == '.') {
    for (++at; at < length && std::isdigit(text[at]); ++at) {
    }
  }
  if (at + 1 != length || text[at] != 'Z') return CRYPT_E_ASN1_CORRUPT;
  return SystemTimeToFileTime(&st, time) ? 0 : CRYPT_E_ASN1_CORRUPT;
}

}  // namespace

CertificateContext::CertificateContext(const BYTE* encoded, DWORD length)
    : encoded_(encoded, encoded + length) {}

DWORD CertificateContext::Parse(const BYTE* encoded, DWORD length,
                                std::shared_ptr<CertificateContext>* parsed) {
  std::shared_ptr<CertificateContext> context(new CertificateContext(encoded, length));
  if (const DWORD code = context->ParseCertificate()) return code;
  *parsed = std::move(context);
  return 0;
}

DWORD CertificateContext::ParseCertificate() {
  DerReader outer(encoded_.data(), encoded_.size());
  DerElement certificate, tbs, signatureAlgorithm, signature;
  if (const DWORD code = outer.Expect(kDerSequence, &certificate)) return code;
  DerReader parts(certificate);
  DWORD code = parts.Expect(kDerSequence, &tbs);
  if (!code) code = parts.Expect(kDerSequence, &signatureAlgorithm);
  if (!code) code = parts.Expect(kDerBitString, &signature);
  if (!code) code = ParseToBeSigned(tbs);
  if (code) return code;
  context_.dwCertEncodingType = X509_ASN_ENCODING;
  context_.pbCertEncoded = encoded_.data();
  context_.cbCertEncoded = static_cast<DWORD>(encoded_.size());
  context_.pCertInfo = &info_;
  context_.hCertStore = nullptr;
  return 0;
}

DWORD CertificateContext::ParseToBeSigned(const DerElement& tbs) {
  DerReader fields(tbs);
  DerElement element;
  if (const DWORD code = ParseVersionAndSerial(fields)) return code;
  if (const DWORD code = fields.Expect(kDerSequence, &element)) return code;
  if (const DWORD code = ParseAlgorithm(element, &info_.SignatureAlgorithm)) return code;
  if (const DWORD code = fields.Expect(kDerSequence, &element)) return code;
  info_.Issuer = BlobOf(element.start, element.size);
  if (const DWORD code = fields.Expect(kDerSequence, &element)) return code;
  if (const DWORD code = ParseValidity(element)) return code;
  if (const DWORD code = fields.Expect(kDerSequence, &element)) return code;
  info_.Subject = BlobOf(element.start, element.size);
  if (const DWORD code = fields.Expect(kDerSequence, &element)) return code;
  if (const DWORD code = ParsePublicKeyInfo(element)) return code;
  return ParseOptionalFields(fields);
}

DWORD CertificateContext::ParseVersionAndSerial(DerReader& fields) {
  DerElement element;
  uint32_t version = 0;  // absent: v1
  if (fields.PeekTag() == kVersionTag) {
    DerElement versionInteger;
    if (const DWORD code = fields.Next(&element)) return code;
    if (const DWORD code = DerReader(element).Expect(kDerInteger, &versionInteger)) return code;
    if (!SmallInteger(versionInteger, &version)) return CRYPT_E_ASN1_CORRUPT;
  }
  info_.dwVersion = version;
  if (const DWORD code = fields.Expect(kDerInteger, &element)) return code;
  if (element.length == 0) return CRYPT_E_ASN1_CORRUPT;
  serial_.assign(element.value, element.value + element.length);
  std::reverse(serial_.begin(), serial_.end());
  info_.SerialNumber.cbData = static_cast<DWORD>(serial_.size());
  info_.SerialNumber.pbData = serial_.data();
  return 0;
}

// issuerUniqueID [1], subjectUniqueID [2], extensions [3].
DWORD CertificateContext::ParseOptionalFields(DerReader& fields) {
  DerElement element;
  while (!fields.AtEnd()) {
    if (const DWORD code = fields.Next(&element)) return code;
    CRYPT_BIT_BLOB* uniqueId = element.tag == kIssuerUniqueIdTag    ? &info_.IssuerUniqueId
                               : element.tag == kSubjectUniqueIdTag ? &info_.SubjectUniqueId
                                                                    : nullptr;
    if (uniqueId && element.length > 0) {
      uniqueId->cUnusedBits = element.value[0];
      uniqueId->cbData = static_cast<DWORD>(element.length - 1);
      uniqueId->pbData = element.length > 1 ? const_cast<BYTE*>(element.value + 1) : nullptr;
    } else if (element.tag == kExtensionsTag) {
      if (const DWORD code = ParseExtensions(element)) return code;
    } else {
      return CRYPT_E_ASN1_BADTAG;
    }
  }
  return 0;
}

const char* CertificateContext::KeepOid(const DerElement& oid) {
  std::string text = OidText(oid.value, oid.length);
  if (text.empty()) return nullptr;
  oids_.push_back(std::move(text));
  return oids_.back().c_str();
}

DWORD CertificateContext::ParseAlgorithm(const DerElement& element, CRYPT_ALGORITHM_IDENTIFIER* algorithm) {
  DerReader parts(element);
  DerElement oid, parameters;
  if (const DWORD code = parts.Expect(kDerOid, &oid)) return code;
  algorithm->pszObjId = const_cast<LPSTR>(KeepOid(oid));
  if (!algorithm->pszObjId) return CRYPT_E_ASN1_CORRUPT;
  algorithm->Parameters = BlobOf(nullptr, 0);
  if (parts.AtEnd()) return 0;
  if (const DWORD code = parts.Next(&parameters)) return code;
  algorithm->Parameters = BlobOf(parameters.start, parameters.size);
  return parts.AtEnd() ? 0 : CRYPT_E_ASN1_CORRUPT;
}

DWORD CertificateContext::ParseValidity(const DerElement& element) {
  DerReader times(element);
  DerElement notBefore, notAfter;
  if (const DWORD code = times.Next(&notBefore)) return code;
  if (const DWORD code = times.Next(&notAfter)) return code;
  if (const DWORD code = DecodeTime(notBefore, &info_.NotBefore)) return code;
  return DecodeTime(notAfter, &info_.NotAfter);
}

DWORD CertificateContext::ParsePublicKeyInfo(const DerElement& element) {
  DerReader parts(element);
  DerElement algorithm, key;
  if (const DWORD code = parts.Expect(kDerSequence, &algorithm)) return code;
  if (const DWORD code = ParseAlgorithm(algorithm, &info_.SubjectPublicKeyInfo.Algorithm)) return code;
  if (const DWORD code = parts.Expect(kDerBitString, &key)) return code;
  if (key.length == 0 || key.value[0] > 7) return CRYPT_E_ASN1_CORRUPT;
  CRYPT_BIT_BLOB& publicKey = info_.SubjectPublicKeyInfo.PublicKey;
  publicKey.cUnusedBits = key.value[0];
  publicKey.cbData = static_cast<DWORD>(key.length - 1);
  publicKey.pbData = key.length > 1 ? const_cast<BYTE*>(key.value + 1) : nullptr;
  return 0;
}

DWORD CertificateContext::ParseExtensions(const DerElement& element) {
  DerElement list;
  if (const DWORD code = DerReader(element).Expect(kDerSequence, &list)) return code;
  DerReader entries(list);
  while (!entries.AtEnd()) {
    DerElement entry, oid, value;
    if (const DWORD code = entries.Expect(kDerSequence, &entry)) return code;
    DerReader parts(entry);
    if (const DWORD code = parts.Expect(kDerOid, &oid)) return code;
    CERT_EXTENSION extension = {};
    extension.pszObjId = const_cast<LPSTR>(KeepOid(oid));
    if (!extension.pszObjId) return CRYPT_E_ASN1_CORRUPT;
    if (parts.PeekTag() == kDerBoolean) {
      DerElement critical;
      if (const DWORD code = parts.Next(&critical)) return code;
      extension.fCritical = critical.length == 1 && critical.value[0] != 0;
    }
    if (const DWORD code = parts.Expect(kDerOctetString, &value)) return code;
    extension.Value = BlobOf(value.value, value.length);
    extensions_.push_back(extension);
  }
  info_.cExtension = static_cast<DWORD>(extensions_.size());
  info_.rgExtension = extensions_.empty() ? nullptr : extensions_.data();
  return 0;
}

DWORD CertificateContext::SetKeyProvInfo(const CRYPT_KEY_PROV_INFO* info) {
  std::unique_ptr<KeyProvInfo> copy;
  if (info) {
    copy.reset(new KeyProvInfo());
    if (const DWORD code = KeyProvInfo::Copy(*info, copy.get())) return code;
  }
  std::lock_guard<std::mutex> lock(mutex_);
  keyProvInfo_.swap(copy);
  return 0;
}

DWORD CertificateContext::GetKeyProvInfo(void* data, DWORD* length) const {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!keyProvInfo_) return CRYPT_E_NOT_FOUND;
  return keyProvInfo_->Write(data, length);
}

}  // namespace posix
}  // namespace cmskit
