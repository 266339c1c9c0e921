// EncryptMessage64: the recipients are made first, so that every length is
// known before the first octet is written and the content is read once.
#include <list>

#include "asn/asn_build.h"
#include "cmskit/enveloped_data.h"
#include "cmskit/make.h"
#include "enveloped/enveloped_stream.h"
#include "enveloped/enveloped_support.h"
#include "make/content_key.h"
#include "make/encrypt_blocks.h"
#include "make/recipient_export.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr char kOrigin[] = "EncryptMessage";

uint64_t ContentLeft(CTOOFile& content) {
  const int64_t at = content.Tell64();
  const uint64_t length = content.GetLength64();
  if (at < 0 || length == UINT64_MAX || static_cast<uint64_t>(at) > length)
    ASNTRaise(kStatusReadError, kOrigin);
  return length - static_cast<uint64_t>(at);
}

uint64_t Encrypt(CTOOFile& content, const CERT_CONTEXT* const* recipients, DWORD count,
                 const EncryptOptions& options, CTOOFile& target) {
  if (!recipients || count == 0 || !content.IsOpen() || !target.IsOpen())
    ASNTRaise(kStatusBadArgument, kOrigin);
  for (DWORD i = 0; i < count; ++i)
    if (!recipients[i] || !recipients[i]->pCertInfo) ASNTRaise(kStatusBadArgument, kOrigin);
  const uint64_t plainSize = ContentLeft(content);
  const ContentKey key(options);

  EnvelopedData message;
  message.version = 0;
  for (DWORD i = 0; i < count; ++i)
    message.recipientInfos.push_back(ExportToRecipient(*recipients[i], key.provider(), key.key()));
  EncryptedContentInfo& info = message.encryptedContentInfo;
  info.contentEncryptionAlgorithm = key.algorithm();
  // Described as content held elsewhere, of the length it will have, so the
  // writers size it without holding it.
  info.flags = EncryptedContentInfo::kContentInFile;
  const uint64_t encryptedSize = key.EncryptedSize(plainSize);
  info.SetContentRange64(0, encryptedSize);

  // Empty content is still there, empty: an absent one would be held elsewhere.
  const EncryptedContentHead head = EncodeEncryptedContentHead(info, true, true, kOrigin);
  return StreamEnvelopedData(message, target, true, head.total, [&](CTOOFile& file) {
    WriteEncryptedContentHead(head, file, kOrigin);
    if (EncryptBlocks(key.key(), content, plainSize, file) != encryptedSize)
      ASNTRaise(kStatusCorrupt, kOrigin);
    return head.total;
  });
}

}  // namespace

uint64_t EncryptMessage64(CTOOFile& content, const CERT_CONTEXT* const* recipients, DWORD count,
                          const EncryptOptions& options, CTOOFile& message, int* pError) {
  uint64_t written = 0;
  RunOrRethrow(pError, [&] { written = Encrypt(content, recipients, count, options, message); });
  return written;
}

}  // namespace cmskit
