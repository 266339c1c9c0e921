// Names the recipients the library's enveloped reader does not take (it
// reads key transport recipients only), for an error message that says
// what the message holds instead of a decoding code.
#ifndef CMSKIT_CLI_RECIPIENT_KINDS_H
#define CMSKIT_CLI_RECIPIENT_KINDS_H

#include <string>

namespace cmskit_cli {

// The first recipient of the enveloped message in the DER file `path` that
// is not a key transport one, as "key agreement recipient (kari)"; empty
// when there is none, or when the recipients do not lie within the file's
// first MiB or cannot be read.
std::string UnsupportedRecipient(const std::string& path);

}  // namespace cmskit_cli

#endif
