// EnvelopedData through files: the reader leaves the encrypted content in
// its file; the writer computes every length in advance and streams the
// content from its source file.
#include "asn/asn_element.h"
#include "cmskit/asn_codec.h"
#include "cmskit/enveloped_data.h"
#include "cmskit/status.h"
#include "enveloped/enveloped_data_parts.h"
#include "enveloped/enveloped_data_reader.h"
#include "enveloped/enveloped_source.h"
#include "enveloped/enveloped_stream.h"
#include "enveloped/enveloped_support.h"
#include "platform/win32.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr char kReadOrigin[] = "EnvelopedData::ReadObject";
constexpr char kWriteOrigin[] = "EnvelopedData::WriteObject";

// A message cannot be written over the file its content is copied from.
void RefuseOwnContentFile(const EnvelopedData& source, const CTOOFile& file) {
  const EncryptedContentInfo& content = source.encryptedContentInfo;
  if (!(content.flags & EncryptedContentInfo::kContentInFile)) return;
  if (_stricmp(content.fileName.c_str(), file.GetFileName()) == 0) ASNTRaise(kStatusSameFile, kWriteOrigin);
}

uint64_t StreamMessage(const EnvelopedData& source, CTOOFile& file, bool wide) {
  RefuseOwnContentFile(source, file);
  const uint64_t contentSize = source.encryptedContentInfo.GetObjectSize64();
  if (contentSize == 0) ASNTRaise(kStatusCorrupt, kWriteOrigin);
  return StreamEnvelopedData(source, file, wide, contentSize, [&source](CTOOFile& target) {
    const uint64_t written = source.encryptedContentInfo.WriteObject64(target);
    if (written == 0) RaiseLastError(kWriteOrigin);
    return written;
  });
}

}  // namespace

uint64_t StreamEnvelopedData(const EnvelopedData& source, CTOOFile& file, bool wide, uint64_t contentSize,
                             const std::function<uint64_t(CTOOFile&)>& writeContentInfo) {
  const EnvelopedDataParts parts = EncodeEnvelopedDataParts(source, kWriteOrigin);

  const uint64_t innerLength = uint64_t{parts.version.size()} + parts.originator.size() +
                               parts.recipients.size() + contentSize + parts.attributes.size();
  const IdentObj innerHeader = ASNTEncodeHeader(kASNTUniversal, kASNTConstructed, kASNTSequence, innerLength);
  const uint64_t wrapperLength = innerHeader.size() + innerLength;
  const IdentObj wrapperHeader = ASNTEncodeHeader(kASNTContext, kASNTConstructed, 0, wrapperLength);
  const uint64_t outerLength = parts.contentType.size() + wrapperHeader.size() + wrapperLength;
  const IdentObj outerHeader = ASNTEncodeHeader(kASNTUniversal, kASNTConstructed, kASNTSequence, outerLength);
  const uint64_t total = outerHeader.size() + outerLength;
  if (!wide && total > 0xFFFFFFFFull) ASNTRaise(kStatusTooLarge, kWriteOrigin);

  for (const IdentObj* piece : {&outerHeader, &parts.contentType, &wrapperHeader, &innerHeader,
                                &parts.version, &parts.originator, &parts.recipients})
    WriteBytes(file, *piece, kWriteOrigin);
  if (writeContentInfo(file) != contentSize) ASNTRaise(kStatusWriteError, kWriteOrigin);
  WriteBytes(file, parts.attributes, kWriteOrigin);
  if (!file.Flush()) ASNTRaise(file.GetStatus(), kWriteOrigin);
  return total;
}

DWORD EnvelopedData::ReadObject(const CTOOFile& file, int* pError) {
  EnvelopedSource source(file, kReadOrigin, false);
  const uint64_t consumed = ReadEnvelopedDataAt(*this, source, pError, 0xFFFFFFFFull);
  return consumed > 0xFFFFFFFFull ? 0 : static_cast<DWORD>(consumed);
}

uint64_t EnvelopedData::ReadObject64(const CTOOFile& file, int* pError) {
  EnvelopedSource source(file, kReadOrigin, true);
  return ReadEnvelopedDataAt(*this, source, pError, UINT64_MAX);
}

DWORD EnvelopedData::WriteObject(CTOOFile& file, int* pError) const {
  uint64_t written = 0;
  RunOrRethrow(pError, [&] { written = StreamMessage(*this, file, false); });
  return static_cast<DWORD>(written);
}

uint64_t EnvelopedData::WriteObject64(CTOOFile& file, int* pError) const {
  uint64_t written = 0;
  RunOrRethrow(pError, [&] { written = StreamMessage(*this, file, true); });
  return written;
}

}  // namespace cmskit
