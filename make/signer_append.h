// What signing a new message and co-signing one share: the digests every
// signer needs, and appending signers to a SignData.
#ifndef CMSKIT_MAKE_SIGNER_APPEND_H
#define CMSKIT_MAKE_SIGNER_APPEND_H

#include <cstddef>
#include <string>
#include <vector>

#include "cmskit/make_signed.h"

namespace cmskit {

// The digest algorithm of each signer, in order; throws MakeFailure for a
// key the writer cannot sign with.
std::vector<std::string> SignerDigests(const SignerCredential* signers, size_t count);

// Appends one SignerInfo per signer, with `digests[i]` the content digest
// under SignerDigests' i-th algorithm; each signer's certificate and digest
// algorithm join the message's lists unless already there. Nothing already
// in the lists changes.
void AppendSigners(SignData& message, const SignerCredential* signers, size_t count,
                   const std::vector<std::string>& digestOids, const std::vector<IdentObj>& digests,
                   const SignOptions& options);

// WriteObject64 at the file's position; throws MakeFailure with its code.
uint64_t WriteSigned(SignData& message, CTOOFile& file);

}  // namespace cmskit

#endif
