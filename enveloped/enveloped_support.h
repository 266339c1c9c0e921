// What the enveloped family adds to the ASN.1 layer's building steps: its
// own statuses, the turning of a component's last error into a status, and
// checked writes.
#ifndef CMSKIT_ENVELOPED_ENVELOPED_SUPPORT_H
#define CMSKIT_ENVELOPED_ENVELOPED_SUPPORT_H

#include "asn/asn_build.h"
#include "cmskit/file.h"
#include "cmskit/identobj.h"

namespace cmskit {

// Statuses of the enveloped family beyond those of cmskit/status.h.
enum : int {
  kStatusNoRecipientId = 42,        // a recipient with neither issuer/serial nor key identifier
  kStatusUnsupportedVersion = 136,  // a recipient version other than 0 and 2
};

// Turns the thread's last error left by a component that reports that way
// into a status of the caller's boundary.
[[noreturn]] void RaiseLastError(const char* origin);

// Writes all of `bytes`; a short write raises the file's status (6 if none).
void WriteBytes(CTOOFile& file, const IdentObj& bytes, const char* origin);

}  // namespace cmskit

#endif
