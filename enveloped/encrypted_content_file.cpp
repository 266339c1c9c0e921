// EncryptedContentInfo through files: the reader records where the encrypted
// octets lie instead of loading them; the writer copies them across in
// fixed-size blocks, so content of any size passes through bounded memory.
#include <initializer_list>
#include <list>

#include "cmskit/asn_codec.h"
#include "cmskit/encrypted_content_info.h"
#include "cmskit/status.h"
#include "enveloped/element_source.h"
#include "enveloped/element_tools.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr char kReadOrigin[] = "EncryptedContentInfo::ReadObject";
constexpr char kWriteOrigin[] = "EncryptedContentInfo::WriteObject";
constexpr uint32_t kCopyBlock = 4096;

void ReadAlgorithm(ElementSource& source, ASNAlgorithmIdentifier& algorithm) {
  const IdentObj element = source.ReadElement();
  int status = 0;
  algorithm.ReadData(element.data(), element.size(), &status);
  if (status != 0) source.Fail(status);
}

// Whether an element may follow the algorithm inside the outer SEQUENCE.
bool MayHoldContent(ElementSource& source, const ElementHeader& outer) {
  if (outer.IsIndefinite()) return true;
  return source.Position() < outer.start + outer.headerLength + outer.info.length;
}

void LocateContent(ElementSource& source, EncryptedContentInfo& target, const ElementHeader& outer) {
  target.contentOffset = 0;
  target.contentLength = 0;
  if (!MayHoldContent(source, outer)) return;
  const ElementHeader next = source.ReadHeader();
  if (!IsContext(next.info, 0)) {
    // Not ours: whoever reads on finds this header again.
    source.SeekTo(next.start);
    return;
  }
  const uint64_t offset = source.Position();
  const uint64_t length = source.ContentsLength(next);
  target.contentOffset = static_cast<DWORD>(offset);
  target.contentLength = static_cast<DWORD>(length);
  target.encryptedContent.Clear();
  if (next.info.constructed) target.flags |= EncryptedContentInfo::kContentConstructed;
  source.SeekTo(offset + length);
}

// An indefinite-length EncryptedContentInfo is consumed with its own end-of-
// contents octets, as the memory reader consumes them.
void CloseIndefinite(ElementSource& source, const ElementHeader& outer) {
  if (!outer.IsIndefinite()) return;
  if (!source.ReadHeader().IsEndOfContents()) source.Fail(kStatusCorrupt);
}

DWORD ParseFromFile(EncryptedContentInfo& target, const CTOOFile& file) {
  FileElementSource source(file, kReadOrigin);
  target.fileName = file.GetFileName();
  const uint64_t begin = source.Position();
  // The codes are swapped relative to the memory reader on purpose: callers
  // tell the two readers apart by them.
  const ElementHeader outer = source.ReadHeader();
  if (!IsUniversal(outer.info, kASNTSequence)) source.Fail(kStatusBadTag);
  const IdentObj type = DecodePrimitive(source.ReadElement(), kASNTObjectId, kStatusCorrupt, kReadOrigin);
  target.contentType.Assign(reinterpret_cast<const char*>(type.data()), type.size());
  ReadAlgorithm(source, target.contentEncryptionAlgorithm);
  target.flags = EncryptedContentInfo::kContentInFile;
  LocateContent(source, target, outer);
  CloseIndefinite(source, outer);
  return static_cast<DWORD>(source.Position() - begin);
}

void CopyFromSourceFile(CTOOFile& target, const EncryptedContentInfo& source) {
  CTOOFile input(source.fileName.c_str(), "rbc");
  if (!input.IsOpen() || input.Seek(static_cast<long>(source.contentOffset), SEEK_SET) != 0)
    RaiseStatus(kStatusReadError, kWriteOrigin);
  BYTE block[kCopyBlock];
  for (uint32_t left = source.contentLength; left != 0;) {
    const uint32_t count = left < kCopyBlock ? left : kCopyBlock;
    if (input.Read(block, count) != count) RaiseStatus(kStatusReadError, kWriteOrigin);
    if (target.Write(block, count) != count) RaiseStatus(kStatusWriteError, kWriteOrigin);
    left -= count;
  }
}

DWORD StreamToFile(const EncryptedContentInfo& source, CTOOFile& file) {
  const bool inFile = (source.flags & EncryptedContentInfo::kContentInFile) != 0;
  const uint64_t contentLength = inFile ? source.contentLength : source.encryptedContent.size();
  const IdentObj type = EncodeObjectId(source.contentType.c_str());
  int status = 0;
  const IdentObj algorithm = source.contentEncryptionAlgorithm.WriteData(&status);
  if (status != 0) RaiseStatus(status, kWriteOrigin);
  IdentObj contentHeader;
  if (contentLength != 0) {
    const uint8_t constructed =
        (source.flags & EncryptedContentInfo::kContentConstructed) ? kASNTConstructed : 0;
    contentHeader = EncodeHeader(kASNTContext, constructed, 0, contentLength);
  }
  const uint64_t inner = type.size() + algorithm.size() + contentHeader.size() + contentLength;
  const IdentObj header = EncodeHeader(kASNTUniversal, kASNTConstructed, kASNTSequence, inner);
  if (header.size() + inner > 0xFFFFFFFFull) RaiseStatus(kStatusCorrupt, kWriteOrigin);

  for (const IdentObj* piece :
       std::initializer_list<const IdentObj*>{&header, &type, &algorithm, &contentHeader})
    WriteBytes(file, *piece, kWriteOrigin);
  if (contentLength != 0) {
    if (inFile)
      CopyFromSourceFile(file, source);
    else
      WriteBytes(file, source.encryptedContent, kWriteOrigin);
  }
  return static_cast<DWORD>(header.size() + inner);
}

}  // namespace

DWORD EncryptedContentInfo::ReadObject(const CTOOFile& file) {
  DWORD consumed = 0;
  const int status = CatchStatus([&] { consumed = ParseFromFile(*this, file); });
  return DeliverStatus(nullptr, status) ? consumed : 0;
}

DWORD EncryptedContentInfo::WriteObject(CTOOFile& file) const {
  DWORD written = 0;
  // Short reads and writes are statuses 5 and 6, which both map to
  // CRYPT_E_FILE_ERROR.
  const int status = CatchStatus([&] { written = StreamToFile(*this, file); });
  return DeliverStatus(nullptr, status) ? written : 0;
}

}  // namespace cmskit
