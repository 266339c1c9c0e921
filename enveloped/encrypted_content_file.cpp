// EncryptedContentInfo through files: the reader records where the encrypted
// octets lie instead of loading them; the writer copies them across in
// fixed-size blocks, so content of any size passes through bounded memory.
#include <initializer_list>
#include <list>

#include "asn/asn_element.h"
#include "cmskit/asn_codec.h"
#include "cmskit/encrypted_content_info.h"
#include "cmskit/status.h"
#include "enveloped/enveloped_source.h"
#include "enveloped/enveloped_stream.h"
#include "enveloped/enveloped_support.h"
#include "tools/block_copy.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr char kReadOrigin[] = "EncryptedContentInfo::ReadObject";
constexpr char kWriteOrigin[] = "EncryptedContentInfo::WriteObject";

void ReadAlgorithm(EnvelopedSource& source, ASNAlgorithmIdentifier& algorithm) {
  const IdentObj element = source.ReadElement();
  int status = 0;
  algorithm.ReadData(element.data(), element.size(), &status);
  if (status != 0) source.Fail(status);
}

// Whether an element may follow the algorithm inside the outer SEQUENCE.
bool MayHoldContent(const EnvelopedSource& source, const ASNTHeader& outer) {
  if (outer.indefinite) return true;
  return source.Position() < outer.ContentsStart() + outer.length;
}

// Leaves the file after the [0] element, or where the element that is not
// [0] begins, so that whoever reads on finds its header again. An indefinite
// SEQUENCE's own end-of-contents octets are such an element.
void LocateContent(EnvelopedSource& source, EncryptedContentInfo& target, const ASNTHeader& outer,
                   bool wide) {
  target.SetContentRange64(0, 0);
  if (!MayHoldContent(source, outer)) return;
  const ASNTHeader next = source.ReadHeader();
  if (!next.Is(kASNTContext, 0)) {
    source.SeekTo(next.start);
    return;
  }
  const uint64_t offset = source.Position();
  const uint64_t length = source.ContentsLength(next);
  if (!wide && (offset > 0xFFFFFFFFull || length > 0xFFFFFFFFull)) source.Fail(kStatusTooLarge);
  target.SetContentRange64(offset, length);
  target.encryptedContent.Clear();
  if (next.constructed) target.flags |= EncryptedContentInfo::kContentConstructed;
  source.SeekTo(offset + length);
}

uint64_t ParseFromFile(EncryptedContentInfo& target, const CTOOFile& file, bool wide) {
  EnvelopedSource source(file, kReadOrigin, wide);
  target.fileName = file.GetFileName();
  const uint64_t begin = source.Position();
  // The codes are swapped relative to the memory reader on purpose: callers
  // tell the two readers apart by them.
  const ASNTHeader outer = source.ReadHeader();
  if (!outer.Is(kASNTUniversal, kASNTSequence)) source.Fail(kStatusBadTag);
  const IdentObj type = ASNTDecodePrimitive(source.ReadElement(), kASNTObjectId, kStatusCorrupt, kReadOrigin);
  target.contentType.Assign(reinterpret_cast<const char*>(type.data()), type.size());
  ReadAlgorithm(source, target.contentEncryptionAlgorithm);
  target.flags = EncryptedContentInfo::kContentInFile;
  LocateContent(source, target, outer, wide);
  source.Finish();
  return source.Position() - begin;
}

void CopyFromSourceFile(CTOOFile& target, const EncryptedContentInfo& source) {
  CTOOFile input(source.fileName.c_str(), "rbc");
  if (!input.IsOpen() || input.Seek64(static_cast<int64_t>(source.GetContentOffset64()), SEEK_SET) != 0)
    ASNTRaise(kStatusReadError, kWriteOrigin);
  const uint64_t length = source.GetContentLength64();
  if (CopyBlocks(input, target, length) == length) return;
  ASNTRaise(target.IsError() ? kStatusWriteError : kStatusReadError, kWriteOrigin);
}

uint64_t StreamToFile(const EncryptedContentInfo& source, CTOOFile& file, bool wide) {
  const EncryptedContentHead head = EncodeEncryptedContentHead(source, wide, false, kWriteOrigin);
  WriteEncryptedContentHead(head, file, kWriteOrigin);
  const bool inFile = (source.flags & EncryptedContentInfo::kContentInFile) != 0;
  if (!inFile)
    WriteBytes(file, source.encryptedContent, kWriteOrigin);
  else if (source.GetContentLength64() != 0)
    CopyFromSourceFile(file, source);
  if (!file.Flush()) ASNTRaise(file.GetStatus(), kWriteOrigin);
  return head.total;
}

}  // namespace

EncryptedContentHead EncodeEncryptedContentHead(const EncryptedContentInfo& source, bool wide,
                                                bool keepEmptyContent, const char* origin) {
  const bool inFile = (source.flags & EncryptedContentInfo::kContentInFile) != 0;
  const uint64_t contentLength = inFile ? source.GetContentLength64() : source.encryptedContent.size();
  EncryptedContentHead head;
  head.type = ASNTBuildOid(source.contentType.c_str(), source.contentType.GetLength(), origin);
  int status = 0;
  head.algorithm = source.contentEncryptionAlgorithm.WriteData(&status);
  if (status != 0) ASNTRaise(status, origin);
  if (contentLength != 0 || keepEmptyContent) {
    const uint8_t constructed =
        (source.flags & EncryptedContentInfo::kContentConstructed) ? kASNTConstructed : 0;
    head.contentHeader = ASNTEncodeHeader(kASNTContext, constructed, 0, contentLength);
  }
  const uint64_t inner = head.type.size() + head.algorithm.size() + head.contentHeader.size() + contentLength;
  head.header = ASNTEncodeHeader(kASNTUniversal, kASNTConstructed, kASNTSequence, inner);
  head.total = head.header.size() + inner;
  if (!wide && head.total > 0xFFFFFFFFull) ASNTRaise(kStatusTooLarge, origin);
  return head;
}

void WriteEncryptedContentHead(const EncryptedContentHead& head, CTOOFile& file, const char* origin) {
  for (const IdentObj* piece : {&head.header, &head.type, &head.algorithm, &head.contentHeader})
    WriteBytes(file, *piece, origin);
}

DWORD EncryptedContentInfo::ReadObject(const CTOOFile& file) {
  uint64_t consumed = 0;
  const int status = CatchStatus([&] {
    consumed = ParseFromFile(*this, file, false);
    if (consumed > 0xFFFFFFFFull) ASNTRaise(kStatusTooLarge, kReadOrigin);
  });
  return DeliverStatus(nullptr, status) ? static_cast<DWORD>(consumed) : 0;
}

uint64_t EncryptedContentInfo::ReadObject64(const CTOOFile& file) {
  uint64_t consumed = 0;
  const int status = CatchStatus([&] { consumed = ParseFromFile(*this, file, true); });
  return DeliverStatus(nullptr, status) ? consumed : 0;
}

// Short reads and writes are statuses 5 and 6, which both map to
// CRYPT_E_FILE_ERROR.
DWORD EncryptedContentInfo::WriteObject(CTOOFile& file) const {
  uint64_t written = 0;
  const int status = CatchStatus([&] { written = StreamToFile(*this, file, false); });
  return DeliverStatus(nullptr, status) ? static_cast<DWORD>(written) : 0;
}

uint64_t EncryptedContentInfo::WriteObject64(CTOOFile& file) const {
  uint64_t written = 0;
  const int status = CatchStatus([&] { written = StreamToFile(*this, file, true); });
  return DeliverStatus(nullptr, status) ? written : 0;
}

}  // namespace cmskit
