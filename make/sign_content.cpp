// A new SignedData around content of any size: the content is digested in
// blocks first, then the file writer copies it into the message.
#include "cmskit/make_signed.h"
#include "make/content_digests.h"
#include "make/make_failure.h"
#include "make/signer_append.h"

namespace cmskit {

uint64_t SignContent64(const ToSignStruct64& content, const SignerCredential* signers, size_t count,
                       const SignOptions& options, CTOOFile& file, int* pError) {
  uint64_t written = 0;
  RunMaking(pError, [&] {
    const std::vector<std::string> digestOids = SignerDigests(signers, count);
    SignData message;
    if (!options.detached) {
      int code = 0;
      if (!message.AttachData64(content, &code)) FailWith(static_cast<DWORD>(code));
    }
    const std::vector<IdentObj> digests = SignerContentDigests(SourceOf(content), signers, digestOids);
    AppendSigners(message, signers, count, digestOids, digests, options);
    written = WriteSigned(message, file);
  });
  return written;
}

}  // namespace cmskit
