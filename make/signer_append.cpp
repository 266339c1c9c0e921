#include "make/signer_append.h"

#include <algorithm>

#include "make/make_failure.h"
#include "make/signer_profile.h"

namespace cmskit {

namespace {

constexpr uint64_t kWhereTheFileStands = UINT64_MAX;

bool SameBytes(const IdentObj& element, const BYTE* data, DWORD size) {
  return element.size() == size && std::equal(data, data + size, element.data());
}

void AddCertificate(SignData& message, const CERT_CONTEXT& certificate) {
  const bool present = std::any_of(
      message.certificates.begin(), message.certificates.end(),
      [&](const IdentObj& e) { return SameBytes(e, certificate.pbCertEncoded, certificate.cbCertEncoded); });
  if (!present) message.certificates.emplace_back(certificate.pbCertEncoded, certificate.cbCertEncoded);
}

void AddDigestAlgorithm(SignData& message, const std::string& oid) {
  const IdentObj id(oid.data(), static_cast<uint32_t>(oid.size()));
  const bool present = std::any_of(message.digestAlgorithms.begin(), message.digestAlgorithms.end(),
                                   [&](const ASNAlgorithmIdentifier& known) { return known.id == id; });
  if (!present) message.digestAlgorithms.emplace_back(oid.c_str(), IdentObj());
}

}  // namespace

std::vector<std::string> SignerDigests(const SignerCredential* signers, size_t count) {
  if (!signers || count == 0) FailWith(ERROR_INVALID_PARAMETER);
  std::vector<std::string> oids;
  for (size_t i = 0; i < count; ++i) {
    const SignerCredential& signer = signers[i];
    if (!signer.certificate || !signer.certificate->pCertInfo) FailWith(ERROR_INVALID_PARAMETER);
    const char* keyOid = signer.certificate->pCertInfo->SubjectPublicKeyInfo.Algorithm.pszObjId;
    SignerProfile profile;
    if (!keyOid || !FindSignerProfile(keyOid, signer.digestOid ? signer.digestOid : "", profile))
      FailWith(NTE_BAD_ALGID);
    oids.push_back(profile.digestOid);
  }
  return oids;
}

void AppendSigners(SignData& message, const SignerCredential* signers, size_t count,
                   const std::vector<std::string>& digestOids, const std::vector<IdentObj>& digests,
                   const SignOptions& options) {
  const IdentObj& type = message.encapContentInfo.id;
  const std::string contentType(reinterpret_cast<const char*>(type.data()), type.size());
  for (size_t i = 0; i < count; ++i) {
    int code = 0;
    IdentObj signerInfo = MakeSignerInfo(signers[i], contentType.c_str(), digests[i], options, &code);
    if (code != 0) FailWith(static_cast<DWORD>(code));
    AddDigestAlgorithm(message, digestOids[i]);
    AddCertificate(message, *signers[i].certificate);
    message.signerInfos.push_back(std::move(signerInfo));
  }
}

uint64_t WriteSigned(SignData& message, CTOOFile& file) {
  SetLastError(0);
  const uint64_t written = message.WriteObject64(file, kWhereTheFileStands);
  if (written == 0) FailWith(GetLastError());
  return written;
}

}  // namespace cmskit
