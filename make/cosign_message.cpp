// Another signer on a signed message. The reader kept every certificate, CRL
// and signer info as the octets it read and the content as its place in the
// file, so the writer gives them back unchanged and earlier signatures stay
// valid.
#include "cmskit/make_signed.h"
#include "make/content_digests.h"
#include "make/make_failure.h"
#include "make/signer_append.h"

namespace cmskit {

uint64_t CoSignMessage64(SignData& message, const ToSignStruct64* content, const SignerCredential* signers,
                         size_t count, const SignOptions& options, CTOOFile& file, int* pError) {
  uint64_t written = 0;
  RunMaking(pError, [&] {
    const std::vector<std::string> digestOids = SignerDigests(signers, count);
    const ContentSource source = content ? SourceOf(*content) : ContentSource::Message(message);
    const std::vector<IdentObj> digests = SignerContentDigests(source, signers, digestOids);
    AppendSigners(message, signers, count, digestOids, digests, options);
    written = WriteSigned(message, file);
  });
  return written;
}

}  // namespace cmskit
