#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "cmskit/message_signer_info.h"
#include "cmskit/verify.h"
#include "verify/algorithm_names.h"
#include "verify/certificate_lookup.h"
#include "verify/content_digest.h"
#include "verify/crypt_handles.h"
#include "verify/signature_octets.h"
#include "verify/signed_attributes.h"
#include "verify/signer_key.h"

namespace cmskit {

namespace {

// Digests already computed, by algorithm, so that signers sharing one read
// the content once.
using DigestCache = std::map<ALG_ID, std::vector<BYTE>>;

// The outcome of one step: carry on, a verdict, or a failure code.
struct Step {
  bool done = false;
  DWORD failure = 0;
  static Step Next() { return Step{}; }
  static Step Failed(DWORD code) { return Step{true, code}; }
  static Step Decided() { return Step{true, 0}; }
};

Step Verdict(SignerReport& report, SignerVerdict verdict, DWORD code = 0) {
  report.verdict = verdict;
  report.code = code;
  return Step::Decided();
}

Step Unsupported(SignerReport& report, const std::string& name, DWORD code = kCodeBadAlgId) {
  report.unsupported = name.c_str();
  return Verdict(report, SignerVerdict::kUnsupportedAlgorithm, code);
}

bool KeyFits(KeyKind signature, KeyKind key) {
  if (signature == KeyKind::kRsaPss) return key == KeyKind::kRsa || key == KeyKind::kRsaPss;
  return signature == key;
}

// One signer info checked through the steps in the order that avoids
// reading the content when an earlier step already decides.
class SignerCheck {
 public:
  SignerCheck(const SignData& message, const CertificateLookup& lookup, const ContentSource& content,
              DigestCache& cache, SignerReport& report)
      : message_(message), lookup_(lookup), content_(content), cache_(cache), report_(report) {}

  // Only the steps that compare the content with the signed attributes.
  void DigestsOnly() { digestsOnly_ = true; }

  Step Run(const IdentObj& encoded) {
    int error = 0;
    if (!info_.ReadData(encoded.data(), encoded.size(), &error))
      return Step::Failed(error ? static_cast<DWORD>(error) : kCodeAsn1Corrupt);
    if (!ReceivedSignedAttributes(encoded, signedAttrs_)) return Step::Failed(kCodeAsn1Corrupt);
    Describe();
    for (Step (SignerCheck::*step)() :
         {&SignerCheck::Algorithms, &SignerCheck::Certificate, &SignerCheck::Key, &SignerCheck::Digest,
          &SignerCheck::Attributes, &SignerCheck::Signature}) {
      const Step outcome = (this->*step)();
      if (outcome.done) return outcome;
    }
    return Verdict(report_, SignerVerdict::kValid);
  }

 private:
  void Describe() {
    report_ = SignerReport();
    report_.digestAlgorithm = AlgorithmName(OidText(info_.digestAlgorithm.id)).c_str();
    report_.signatureAlgorithm = AlgorithmName(OidText(info_.signatureAlgorithm.id)).c_str();
    report_.issuer = info_.issuer;
    report_.serialNumber = info_.serialNumber;
    report_.subjectKeyIdentifier = info_.subjectKeyIdentifier;
    int error = 0;
    report_.signingTime = info_.GetSigningData(&error);
  }

  Step Algorithms() {
    const std::string digestOid = OidText(info_.digestAlgorithm.id);
    const std::string signatureOid = OidText(info_.signatureAlgorithm.id);
    digest_ = FindDigestByOid(digestOid);
    if (!digest_) return Unsupported(report_, AlgorithmName(digestOid));
    signature_ = FindSignatureByOid(signatureOid);
    if (!signature_) return Unsupported(report_, AlgorithmName(signatureOid));
    if (signature_->digest != 0 && signature_->digest != digest_->algId)
      return Unsupported(report_, std::string(signature_->name) + " over " + digest_->name);
    return Step::Next();
  }

  Step Certificate() {
    certificate_ = lookup_.FindSigner(info_);
    if (!certificate_) return Verdict(report_, SignerVerdict::kCertificateNotFound, kCodeNotFound);
    report_.certificate = *certificate_;
    return Step::Next();
  }

  Step Key() {
    const DWORD code = key_.Open(*certificate_);
    if (code == kCodeAsn1Corrupt) return Verdict(report_, SignerVerdict::kSignatureInvalid, code);
    if (code != 0) return Unsupported(report_, KeyKindName(key_.kind()), code);
    const CERT_NAME_BLOB& subject = key_.info().Subject;
    report_.subject.SetData(subject.pbData, subject.cbData);
    if (!KeyFits(signature_->kind, key_.kind()))
      return Verdict(report_, SignerVerdict::kSignatureInvalid, kCodeBadKey);
    if (signature_->kind == KeyKind::kRsaPss) return Pss();
    return Step::Next();
  }

  Step Pss() {
    PssParameters parameters;
    if (!ReadPssParameters(info_.signatureAlgorithm.data, parameters))
      return Verdict(report_, SignerVerdict::kSignatureInvalid, kCodeAsn1Corrupt);
    const std::string digestOid = OidText(info_.digestAlgorithm.id);
    if (parameters.digestOid != digestOid || parameters.maskDigestOid != digestOid)
      return Unsupported(report_, "RSASSA-PSS with " + AlgorithmName(parameters.digestOid) + " and MGF1 " +
                                      AlgorithmName(parameters.maskDigestOid) + " over " + digest_->name);
    const DWORD code = key_.UsePss(parameters.saltLength);
    if (code != 0) return Unsupported(report_, "RSASSA-PSS", code);
    return Step::Next();
  }

  Step Digest() {
    auto cached = cache_.find(digest_->algId);
    if (cached == cache_.end()) {
      std::vector<BYTE> digest;
      ProviderHandle provider;
      DWORD code = AcquireVerifyProvider(digest_->providerType, provider);
      if (code == kCodeProvTypeNotDef && digest_->providerType != PROV_RSA_AES)
        code = AcquireVerifyProvider(PROV_RSA_AES, provider);
      if (code != 0) return Unsupported(report_, digest_->name, code);
      code = DigestContent(provider.get(), digest_->algId, content_, digest);
      if (code == kCodeBadAlgId) return Unsupported(report_, digest_->name, code);
      if (code != 0) return Step::Failed(code);
      cached = cache_.emplace(digest_->algId, std::move(digest)).first;
    }
    contentDigest_ = &cached->second;
    return Step::Next();
  }

  Step Attributes() {
    if (signedAttrs_.empty()) return Step::Next();
    std::string contentType;
    std::vector<BYTE> messageDigest;
    if (!ContentTypeAttribute(info_.signedAttrs, contentType) ||
        !MessageDigestAttribute(info_.signedAttrs, messageDigest))
      return Verdict(report_, SignerVerdict::kAttributesMalformed, kCodeAsn1Corrupt);
    if (contentType != OidText(message_.encapContentInfo.id))
      return Verdict(report_, SignerVerdict::kContentTypeMismatch, kCodeBadData);
    if (messageDigest != *contentDigest_)
      return Verdict(report_, SignerVerdict::kDigestMismatch, kCodeBadHash);
    return Step::Next();
  }

  Step Signature() {
    HashHandle hash;
    if (!CryptCreateHash(key_.provider(), digest_->algId, 0, 0, hash.Receive()))
      return Unsupported(report_, digest_->name, LastCryptError());
    const bool filled =
        signedAttrs_.empty()
            ? CryptSetHashParam(hash.get(), HP_HASHVAL, contentDigest_->data(), 0)
            : CryptHashData(hash.get(), signedAttrs_.data(), static_cast<DWORD>(signedAttrs_.size()), 0);
    if (!filled) return Step::Failed(LastCryptError());
    std::vector<BYTE> value;
    if (!key_.ProviderSignature(info_.signature, value))
      return Verdict(report_, SignerVerdict::kSignatureInvalid, kCodeBadSignature);
    if (CryptVerifySignatureA(hash.get(), value.data(), static_cast<DWORD>(value.size()), key_.key(), nullptr,
                              0))
      return Step::Next();
    const DWORD code = LastCryptError();
    if (code == kCodeBadAlgId)
      return Unsupported(report_, std::string(signature_->name) + " over " + digest_->name, code);
    return Verdict(report_, SignerVerdict::kSignatureInvalid, code);
  }

  const SignData& message_;
  const CertificateLookup& lookup_;
  const ContentSource& content_;
  DigestCache& cache_;
  SignerReport& report_;

  MessageSignerInfo info_;
  std::vector<BYTE> signedAttrs_;
  const DigestAlgorithm* digest_ = nullptr;
  const SignatureAlgorithm* signature_ = nullptr;
  const IdentObj* certificate_ = nullptr;
  SignerKey key_;
  const std::vector<BYTE>* contentDigest_ = nullptr;
  bool digestsOnly_ = false;
};

bool Deliver(const Step& step, int* pError) {
  if (pError) *pError = static_cast<int>(step.failure);
  if (step.failure != 0) SetLastError(step.failure);
  return step.failure == 0;
}

}  // namespace

class SignatureVerifier::Impl {
 public:
  explicit Impl(const SignData& message) : message(message) {}

  ContentSource Content() const {
    if (!path.empty()) return ContentSource::File(path.c_str());
    if (memory) return ContentSource::Memory(memory, memorySize);
    return ContentSource::Message(message);
  }

  Step Check(const IdentObj& encoded, DigestCache& cache, SignerReport& report,
             bool digestsOnly = false) const {
    CertificateLookup lookup;
    lookup.Add(message.certificates);
    lookup.Add(extra);
    const ContentSource content = Content();
    try {
      SignerCheck check(message, lookup, content, cache, report);
      if (digestsOnly) check.DigestsOnly();
      return check.Run(encoded);
    } catch (const std::bad_alloc&) {
      return Step::Failed(kCodeNoMemory);
    }
  }

  bool CheckAll(std::list<SignerReport>& reports, bool digestsOnly, int* pError) const;

  const SignData& message;
  std::list<IdentObj> extra;
  const BYTE* memory = nullptr;
  size_t memorySize = 0;
  std::string path;
};

SignatureVerifier::SignatureVerifier(const SignData& message) : impl_(new Impl(message)) {}
SignatureVerifier::~SignatureVerifier() { delete impl_; }

void SignatureVerifier::AddCertificate(const IdentObj& certificate) { impl_->extra.push_back(certificate); }

void SignatureVerifier::SetContent(const BYTE* data, size_t size) {
  impl_->path.clear();
  // An empty content still differs from "the message's own".
  static const BYTE kNothing = 0;
  impl_->memory = data ? data : &kNothing;
  impl_->memorySize = data ? size : 0;
}

void SignatureVerifier::SetContentFile(const char* path) {
  impl_->memory = nullptr;
  impl_->path = path ? path : "";
}

size_t SignatureVerifier::SignerCount() const { return impl_->message.signerInfos.size(); }

bool SignatureVerifier::VerifySigner(size_t index, SignerReport& report, int* pError) const {
  if (index >= SignerCount()) return Deliver(Step::Failed(ERROR_INVALID_PARAMETER), pError);
  return VerifySignerInfo(*std::next(impl_->message.signerInfos.begin(), static_cast<long>(index)), report,
                          pError);
}

bool SignatureVerifier::VerifySignerInfo(const IdentObj& signerInfo, SignerReport& report,
                                         int* pError) const {
  DigestCache cache;
  return Deliver(impl_->Check(signerInfo, cache, report), pError);
}

bool SignatureVerifier::VerifyAll(std::list<SignerReport>& reports, int* pError) const {
  return impl_->CheckAll(reports, false, pError);
}

bool SignatureVerifier::CheckContentDigests(std::list<SignerReport>& reports, int* pError) const {
  return impl_->CheckAll(reports, true, pError);
}

bool SignatureVerifier::Impl::CheckAll(std::list<SignerReport>& reports, bool digestsOnly,
                                       int* pError) const {
  reports.clear();
  DigestCache cache;
  for (const IdentObj& signerInfo : message.signerInfos) {
    SignerReport report;
    const Step step = Check(signerInfo, cache, report, digestsOnly);
    if (step.failure != 0) return Deliver(step, pError);
    reports.push_back(report);
  }
  return Deliver(Step::Decided(), pError);
}

}  // namespace cmskit
