// Checking the signatures of a SignedData: for each signer info, that its
// certificate is at hand, that its signed attributes name the content and
// carry the content's digest, and that its signature holds over them. The
// content is streamed (never loaded whole), from memory, from the message's
// own file range or from a separate file. Whether a signer's certificate is
// to be trusted is the caller's decision: nothing here checks chains,
// validity periods or revocation.
#ifndef CMSKIT_VERIFY_H
#define CMSKIT_VERIFY_H

#include <cstddef>
#include <list>

#include "export.h"
#include "identobj.h"
#include "platform/win32.h"
#include "sign_data.h"
#include "tstring.h"

namespace cmskit {

enum class SignerVerdict : int {
  kValid = 0,
  // The messageDigest attribute (or, without signed attributes, the signed
  // digest) differs from the content's digest.
  kDigestMismatch = 1,
  // The signature does not hold under the signer's public key.
  kSignatureInvalid = 2,
  // No certificate of the message or of the caller's matches the signer's
  // identifier.
  kCertificateNotFound = 3,
  // The provider cannot compute or check an algorithm: `unsupported` names it.
  kUnsupportedAlgorithm = 4,
  // The contentType attribute names another type than the content's.
  kContentTypeMismatch = 5,
  // Signed attributes without a readable contentType or messageDigest.
  kAttributesMalformed = 6,
};

// Short English text for a verdict ("valid", "content digest mismatch"...).
CMSKIT_API const char* SignerVerdictText(SignerVerdict verdict);

// What was found out about one signer.
struct CMSKIT_API SignerReport {
  SignerReport();
  SignerReport(const SignerReport& other);
  SignerReport& operator=(const SignerReport& other);
  ~SignerReport();

  SignerVerdict verdict;
  // The algorithm the provider lacks, by name.
  CTOOString unsupported;
  // Readable names (dotted text when unknown).
  CTOOString digestAlgorithm;
  CTOOString signatureAlgorithm;
  // The signer's identifier: issuer Name (whole element) and serial number
  // (least significant octet first), or the subject key identifier.
  IdentObj issuer;
  IdentObj serialNumber;
  IdentObj subjectKeyIdentifier;
  // The certificate that was used (DER) and its subject Name (whole
  // element); empty when none was found.
  IdentObj certificate;
  IdentObj subject;
  // The signingTime attribute; {0, 0} when absent.
  FILETIME signingTime;
  // The provider's code behind a verdict other than kValid, 0 when none.
  DWORD code;
};

// Checks the signer infos of one message. The message, and any memory or
// file name given as content, must outlive the verifier.
class CMSKIT_API SignatureVerifier {
 public:
  explicit SignatureVerifier(const SignData& message);
  SignatureVerifier(const SignatureVerifier&) = delete;
  SignatureVerifier& operator=(const SignatureVerifier&) = delete;
  ~SignatureVerifier();

  // A certificate (DER, copied) searched besides the message's own.
  void AddCertificate(const IdentObj& certificate);
  // The content of a detached signature, in memory or in a file. Without
  // either, the message's encapsulated content is checked (as
  // SignData::StreamContent gives it).
  void SetContent(const BYTE* data, size_t size);
  void SetContentFile(const char* path);

  size_t SignerCount() const;
  // The signer info at `index` of message.signerInfos. False, with the
  // platform code in *pError and the last error, when it cannot be decoded or
  // the content cannot be read; every other outcome is a verdict.
  bool VerifySigner(size_t index, SignerReport& report, int* pError) const;
  // Any encoded SignerInfo checked against this message's content.
  bool VerifySignerInfo(const IdentObj& signerInfo, SignerReport& report, int* pError) const;
  // Every signer in order; the content is read once per digest algorithm.
  // False at the first signer that cannot be checked (the reports before it
  // are kept).
  bool VerifyAll(std::list<SignerReport>& reports, int* pError) const;
  // Only the content against each signer's contentType and messageDigest
  // attributes, without certificates or signatures: kValid, kDigestMismatch,
  // kContentTypeMismatch, kAttributesMalformed or kUnsupportedAlgorithm. A
  // signer without signed attributes has no digest to compare and is kValid.
  bool CheckContentDigests(std::list<SignerReport>& reports, int* pError) const;

 private:
  class Impl;
  Impl* impl_;
};

}  // namespace cmskit

#endif
