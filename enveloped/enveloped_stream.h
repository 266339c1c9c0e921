// The streaming writers of the enveloped family opened up for a caller that
// produces the encrypted octets while the message is written: every length
// is fixed beforehand, so the message still comes out as DER in one pass.
#ifndef CMSKIT_ENVELOPED_ENVELOPED_STREAM_H
#define CMSKIT_ENVELOPED_ENVELOPED_STREAM_H

#include <cstdint>
#include <functional>

#include "cmskit/encrypted_content_info.h"
#include "cmskit/enveloped_data.h"
#include "cmskit/file.h"

namespace cmskit {

// Writes everything of `source`'s encoding that comes before its encrypted
// octets (their length taken as WriteObject64 takes it); returns the length
// of the whole encoding, octets included. Failures raise their status.
uint64_t WriteEncryptedContentHead(const EncryptedContentInfo& source, CTOOFile& file, bool wide,
                                   const char* origin);

// Writes `source` as WriteObject64 does, except that `writeContentInfo`
// writes the encryptedContentInfo and returns how many octets it wrote,
// which must be its GetObjectSize64(). Failures raise their status.
uint64_t StreamEnvelopedData(const EnvelopedData& source, CTOOFile& file, bool wide,
                             const std::function<uint64_t(CTOOFile&)>& writeContentInfo);

}  // namespace cmskit

#endif
