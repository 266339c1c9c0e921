// The content digests a set of signers needs, one pass over the content per
// distinct digest algorithm, whatever the content's size.
#ifndef CMSKIT_MAKE_CONTENT_DIGESTS_H
#define CMSKIT_MAKE_CONTENT_DIGESTS_H

#include <cstddef>
#include <string>
#include <vector>

#include "cmskit/identobj.h"
#include "cmskit/make_signed.h"
#include "verify/content_digest.h"

namespace cmskit {

// Element i is the digest of `source` under `oids[i]` (dotted), most
// significant octet first, computed on signers[i]'s provider; throws
// MakeFailure.
std::vector<IdentObj> SignerContentDigests(const ContentSource& source, const SignerCredential* signers,
                                           const std::vector<std::string>& oids);

// Where the octets of `content` lie, for the digest.
ContentSource SourceOf(const ToSignStruct64& content);

}  // namespace cmskit

#endif
