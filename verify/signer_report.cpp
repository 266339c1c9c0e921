#include "cmskit/verify.h"

namespace cmskit {

SignerReport::SignerReport() : verdict(SignerVerdict::kValid), signingTime{0, 0}, code(0) {}
SignerReport::SignerReport(const SignerReport& other) = default;
SignerReport& SignerReport::operator=(const SignerReport& other) = default;
SignerReport::~SignerReport() = default;

const char* SignerVerdictText(SignerVerdict verdict) {
  switch (verdict) {
    case SignerVerdict::kValid:
      return "valid";
    case SignerVerdict::kDigestMismatch:
      return "content digest mismatch";
    case SignerVerdict::kSignatureInvalid:
      return "signature invalid";
    case SignerVerdict::kCertificateNotFound:
      return "signer certificate not found";
    case SignerVerdict::kUnsupportedAlgorithm:
      return "unsupported algorithm";
    case SignerVerdict::kContentTypeMismatch:
      return "content type attribute mismatch";
    case SignerVerdict::kAttributesMalformed:
      return "signed attributes malformed";
  }
  return "unknown";
}

}  // namespace cmskit
