#include "make/content_digests.h"

#include "make/make_failure.h"
#include "verify/algorithm_names.h"

namespace cmskit {

std::vector<IdentObj> SignerContentDigests(const ContentSource& source, const SignerCredential* signers,
                                           const std::vector<std::string>& oids) {
  std::vector<IdentObj> digests(oids.size());
  for (size_t i = 0; i < oids.size(); ++i) {
    // Signers sharing an algorithm share its pass.
    size_t earlier = 0;
    while (earlier < i && oids[earlier] != oids[i]) ++earlier;
    if (earlier < i) {
      digests[i] = digests[earlier];
      continue;
    }
    const DigestAlgorithm* algorithm = FindDigestByOid(oids[i]);
    if (!algorithm) FailWith(NTE_BAD_ALGID);
    std::vector<BYTE> value;
    const DWORD code = DigestContent(signers[i].provider, algorithm->algId, source, value);
    if (code != 0) FailWith(code);
    digests[i].SetData(value.data(), static_cast<uint32_t>(value.size()));
  }
  return digests;
}

ContentSource SourceOf(const ToSignStruct64& content) {
  if (content.flags & ToSignStruct::kInFile) return ContentSource::FileRange(content);
  const BYTE* bytes = static_cast<const BYTE*>(content.data);
  const size_t size = content.end >= content.begin ? static_cast<size_t>(content.end - content.begin) : 0;
  return ContentSource::Memory(bytes ? bytes + content.begin : nullptr, size);
}

}  // namespace cmskit
