// A certificate context: the DER certificate, its fields decoded into the
// CERT_INFO layout, and the properties a caller attaches to it.
#ifndef CMSKIT_PLATFORM_POSIX_CRYPT_CERTIFICATE_H
#define CMSKIT_PLATFORM_POSIX_CRYPT_CERTIFICATE_H

#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/posix/crypt_der.h"
#include "platform/posix/crypt_key_prov_info.h"

namespace cmskit {
namespace posix {

class CertificateContext {
 public:
  // CRYPT_E_ASN1_* codes for bytes that are not an X.509 certificate.
  static DWORD Parse(const BYTE* encoded, DWORD length, std::shared_ptr<CertificateContext>* parsed);

  const CERT_CONTEXT* Context() const { return &context_; }

  // CERT_KEY_PROV_INFO_PROP_ID: a null `info` removes the property.
  DWORD SetKeyProvInfo(const CRYPT_KEY_PROV_INFO* info);
  DWORD GetKeyProvInfo(void* data, DWORD* length) const;

 private:
  CertificateContext(const BYTE* encoded, DWORD length);
  DWORD ParseCertificate();
  DWORD ParseToBeSigned(const DerElement& tbs);
  DWORD ParseVersionAndSerial(DerReader& fields);
  DWORD ParseOptionalFields(DerReader& fields);
  DWORD ParseAlgorithm(const DerElement& element, CRYPT_ALGORITHM_IDENTIFIER* algorithm);
  DWORD ParseValidity(const DerElement& element);
  DWORD ParsePublicKeyInfo(const DerElement& element);
  DWORD ParseExtensions(const DerElement& element);
  const char* KeepOid(const DerElement& oid);

  std::vector<BYTE> encoded_;
  std::vector<BYTE> serial_;      // least significant byte first
  std::deque<std::string> oids_;  // a deque keeps the texts in place as it grows
  std::vector<CERT_EXTENSION> extensions_;
  CERT_INFO info_ = {};
  CERT_CONTEXT context_ = {};

  mutable std::mutex mutex_;
  std::unique_ptr<KeyProvInfo> keyProvInfo_;
};

}  // namespace posix
}  // namespace cmskit

#endif
