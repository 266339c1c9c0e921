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

// Everything of an EncryptedContentInfo's encoding that comes before its
// encrypted octets (their length taken as WriteObject64 takes it), and the
// length of the whole encoding, octets included.
struct EncryptedContentHead {
  IdentObj header, type, algorithm, contentHeader;
  uint64_t total = 0;
};

// `keepEmptyContent` writes an empty [0] for content of length 0, where the
// message writers leave it out (absent content is content held elsewhere).
// Failures raise their status.
EncryptedContentHead EncodeEncryptedContentHead(const EncryptedContentInfo& source, bool wide,
                                                bool keepEmptyContent, const char* origin);
void WriteEncryptedContentHead(const EncryptedContentHead& head, CTOOFile& file, const char* origin);

// Writes `source` as WriteObject64 does, except that `writeContentInfo`
// writes the encryptedContentInfo, `contentInfoSize` octets, and returns how
// many it wrote. Failures raise their status.
uint64_t StreamEnvelopedData(const EnvelopedData& source, CTOOFile& file, bool wide, uint64_t contentInfoSize,
                             const std::function<uint64_t(CTOOFile&)>& writeContentInfo);

}  // namespace cmskit

#endif
