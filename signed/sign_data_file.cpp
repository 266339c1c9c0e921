// Reading and writing a SignData straight through a file: the content is
// located on reading and copied block by block on writing, never loaded.
#include "asn/asn_build.h"
#include "cmskit/paths.h"
#include "cmskit/sign_data.h"
#include "platform/win32.h"
#include "signed/block_copy.h"
#include "signed/segment_walk.h"
#include "signed/signed_file_reader.h"
#include "signed/signed_layout.h"
#include "signed/signed_oids.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr DWORD kNoOffset = 0xFFFFFFFF;
constexpr DWORD kOutOfRange = 0x8007000E;  // E_OUTOFMEMORY, the writer's range failure
constexpr int kStatusNotFound = 194;

[[noreturn]] void Throw(int status) { throw XTOOStatus(static_cast<uint32_t>(status), "SignData", false); }

void AppendSplit(const IdentObj& contents, std::list<IdentObj>& out) {
  std::list<IdentObj> elements;
  const int status = ASNTSplitElements(elements, contents.data(), contents.size());
  if (status != 0) Throw(status);
  out.splice(out.end(), elements);
}

// Emits one piece of the message; a file that reports a failed write stops
// the message there.
uint64_t Emit(CTOOFile& file, const void* bytes, uint64_t size) {
  const uint32_t written = file.Write(bytes, static_cast<uint32_t>(size));
  if (file.IsError()) Throw(file.GetStatus());
  return written;
}

// The ContentInfo type the object expects, or the alias taken in its place.
bool IsSignedDataType(const SignData& message, CASNTBaseRecord& record) {
  int status = 0;
  const IdentObj& type = record.GetValue(&status);
  IdentObj alias;
  alias = kOidSignedAlias;
  return status == 0 && (type == message.contentType || type == alias);
}

// Where the reader stands: the file position of the next element and the
// octets taken since the start of the message. The two part ways once the
// reader steps past the content (see ReadContent); `base` is the message's
// offset as the caller gave it, 0 for "where the file stands".
struct Cursor {
  uint64_t at;
  uint64_t consumed;
  uint64_t base;
  void Advance(uint64_t octets) {
    at += octets;
    consumed += octets;
  }
};

// The header at the cursor, stepped over; it must carry `tagNumber` (and,
// when asked, be constructed), otherwise `status`.
ASNTHeader ExpectHeader(SignedFileReader& reader, Cursor& cursor, uint32_t tagNumber, int status,
                        bool constructed = false) {
  const ASNTHeader header = reader.Header(cursor.at);
  cursor.Advance(header.size);
  if (header.tagNumber != tagNumber || (constructed && !header.constructed)) Throw(status);
  return header;
}

// ContentInfo, its contentType and [0], the SignedData header and version.
// Returns how many of the three outer headers have indefinite lengths.
uint32_t ReadOuterFields(SignData& message, SignedFileReader& reader, Cursor& cursor) {
  CASNTBaseRecord record;
  uint32_t indefinite = ExpectHeader(reader, cursor, kASNTSequence, kStatusBadTag).indefinite ? 1 : 0;
  cursor.Advance(reader.Element(cursor.at, record));
  if (!IsSignedDataType(message, record)) Throw(kStatusBadTag);
  if (cursor.base + cursor.consumed >= reader.End()) Throw(kStatusNotFound);
  const ASNTHeader wrapper = reader.Header(cursor.at);
  cursor.Advance(wrapper.size);
  // Only the class's high bit is asked of the explicit [0].
  if (wrapper.tagNumber != 0 || !(wrapper.tagClass & kASNTContext)) Throw(kStatusBadTag);
  indefinite += wrapper.indefinite ? 1 : 0;
  indefinite += ExpectHeader(reader, cursor, kASNTSequence, kStatusBadTag, true).indefinite ? 1 : 0;

  cursor.Advance(reader.Element(cursor.at, record));
  if (record.GetTagNumber() != kASNTInteger) Throw(kStatusBadTag);
  const IdentObj& versionValue = record.GetValue(nullptr);
  if (versionValue.size() > 4) Throw(kStatusCorrupt);
  message.version = ASNTSmallInteger(versionValue);
  return indefinite;
}

void ReadAlgorithms(SignData& message, SignedFileReader& reader, Cursor& cursor) {
  const ASNTHeader set = ExpectHeader(reader, cursor, kASNTSet, kStatusCorrupt);
  const uint64_t length = reader.ContentsLength(set);
  std::list<IdentObj> elements;
  AppendSplit(reader.Bytes(cursor.at, length), elements);
  cursor.Advance(length);
  for (const IdentObj& element : elements) {
    ASNAlgorithmIdentifier algorithm;
    algorithm.ReadData(element.data(), element.size(), nullptr);
    message.digestAlgorithms.push_back(algorithm);
  }
}

// The content's OCTET STRING header is at the cursor: its range is recorded,
// its octets are not read.
void RecordContent(SignData& message, SignedFileReader& reader, Cursor& cursor) {
  const ASNTHeader octets = reader.Header(cursor.at);
  cursor.Advance(octets.size);
  ToSignStruct& content = message.dataInfo;
  content.begin = static_cast<DWORD>(cursor.base + cursor.consumed);
  if (!octets.indefinite && octets.length == 0) return;
  content.end = static_cast<DWORD>(content.begin + reader.ContentsLength(octets));
  content.flags = ToSignStruct::kInFile | (octets.constructed ? ToSignStruct::kChunkedFile : 0);
  content.fileMark = ToSignStruct::kFileMark;
  content.data = const_cast<char*>(message.workPath.c_str());
}

// encapContentInfo. The step past it is an absolute seek to its end counted
// from the start of the message, without the message's offset in the file:
// required, and kept, although the content range does include the offset.
void ReadContent(SignData& message, SignedFileReader& reader, Cursor& cursor) {
  const ASNTHeader encap = ExpectHeader(reader, cursor, kASNTSequence, kStatusBadTag);
  const uint64_t encapLength = reader.ContentsLength(encap);
  const uint64_t encapEnd = cursor.consumed + encapLength;
  CASNTBaseRecord typeRecord;
  const uint64_t typeLength = reader.Element(cursor.at, typeRecord);
  cursor.Advance(typeLength);
  if (encapLength > typeLength) {
    const ASNTHeader wrapper = reader.Header(cursor.at);
    cursor.Advance(wrapper.size);
    if (wrapper.indefinite || wrapper.length != 0) {
      if (wrapper.tagClass != kASNTContext) Throw(kStatusBadTag);
      RecordContent(message, reader, cursor);
    }
  }
  cursor.at = encapEnd;
  cursor.consumed = encapEnd;
  message.encapContentInfo.id = typeRecord.GetValue(nullptr);
}

// Certificate and CRL sets in any order and number, then the signer infos.
void ReadSets(SignData& message, SignedFileReader& reader, Cursor& cursor) {
  for (;;) {
    const ASNTHeader header = reader.Header(cursor.at);
    const bool context = header.tagClass == kASNTContext;
    const bool signers = header.Is(kASNTUniversal, kASNTSet);
    if (!context && !signers) return;
    const uint64_t length = reader.ContentsLength(header);
    const IdentObj contents = reader.Bytes(header.ContentsStart(), length);
    cursor.Advance(header.size + length);
    if (signers) {
      message.signerInfos.clear();
      AppendSplit(contents, message.signerInfos);
      return;
    }
    if (header.tagNumber == 0)
      AppendSplit(contents, message.certificates);
    else if (header.tagNumber == 1)
      AppendSplit(contents, message.crls);
  }
}

// A streamed message closes its outer headers after the signer infos.
void ReadClosings(SignedFileReader& reader, Cursor& cursor, uint32_t count) {
  for (; count > 0 && cursor.at + 2 <= reader.End(); --count) {
    if (!reader.Header(cursor.at).IsEndOfContents()) return;
    cursor.Advance(2);
  }
}

Cursor StartAt(CTOOFile& file, const SignedFileReader& reader, DWORD offset) {
  if (offset != kNoOffset) {
    if (offset > reader.End()) Throw(kStatusTruncated);
    return Cursor{offset, 0, offset};
  }
  const int32_t here = file.Tell();
  if (here < 0) Throw(file.GetStatus());
  return Cursor{static_cast<uint64_t>(here), 0, 0};
}

DWORD ReadMessage(SignData& message, CTOOFile& file, DWORD offset) {
  message.workPath = file.GetFileName();
  SignedFileReader reader(file, kASNTFileForm);
  Cursor cursor = StartAt(file, reader, offset);
  message.digestAlgorithms.clear();
  message.certificates.clear();
  message.crls.clear();
  message.signerInfos.clear();
  message.encapContentInfo.data.Clear();
  message.dataInfo = ToSignStruct();

  const uint32_t indefinite = ReadOuterFields(message, reader, cursor);
  ReadAlgorithms(message, reader, cursor);
  ReadContent(message, reader, cursor);
  ReadSets(message, reader, cursor);
  ReadClosings(reader, cursor, indefinite);
  return static_cast<DWORD>(cursor.consumed);
}

CTOOFile OpenContent(const ToSignStruct& content) {
  return OpenContentFile(static_cast<const char*>(content.data));
}

// Content read in segments goes out as its octets alone, like any other.
uint64_t StreamSegments(const ToSignStruct& content, CTOOFile& file, uint64_t contentSize) {
  CTOOFile source = OpenContent(content);
  SignedFileReader reader(source, kASNTFileForm);
  FileSink sink(file);
  const DWORD code = WalkSegments(reader, content.begin, content.end - content.begin, sink);
  if (file.IsError()) Throw(file.GetStatus());
  if (code != 0 || sink.produced != contentSize) Throw(kStatusReadError);
  return sink.produced;
}

uint64_t StreamContent(SignData& message, CTOOFile& file, uint64_t contentSize) {
  const ToSignStruct& content = message.dataInfo;
  if (!(content.flags & ToSignStruct::kInFile)) {
    const IdentObj& octets = message.encapContentInfo.data;
    return Emit(file, octets.data(), octets.size());
  }
  if (content.flags & ToSignStruct::kChunkedFile) return StreamSegments(content, file, contentSize);
  CTOOFile source = OpenContent(content);
  if (content.begin != 0 && content.begin != kNoOffset)
    source.Seek(static_cast<long>(content.begin), SEEK_SET);
  const uint64_t copied = CopyBlocks(source, file, contentSize);
  if (file.IsError()) Throw(file.GetStatus());
  if (copied != contentSize) Throw(source.IsError() ? source.GetStatus() : kStatusReadError);
  return copied;
}

// Size of the content the writer will stream, checked before anything is
// written; 0 or the platform code to report.
DWORD MeasureContent(ToSignStruct& content, uint64_t& size) {
  if (!(content.flags & ToSignStruct::kInFile)) return 0;
  const char* name = static_cast<const char*>(content.data);
  XTOOFile lengthError;
  const uint64_t fileLength = name ? GetFileLengthByName(name, lengthError) : 0xFFFFFFFF;
  if (!name || lengthError.IsError()) return ERROR_FILE_NOT_FOUND;
  if (content.end == ToSignStruct::kToEndOfFile) {
    size = fileLength;
    content.end = static_cast<DWORD>(fileLength);
    return 0;
  }
  if (content.end < content.begin || content.begin > fileLength ||
      fileLength - content.begin < static_cast<uint64_t>(content.end - content.begin))
    return kOutOfRange;
  size = content.end - content.begin;
  if (!(content.flags & ToSignStruct::kChunkedFile)) return 0;
  const int status = CatchStatus([&] { size = SegmentedContentSize(name, content.begin, size); });
  return StatusToWin32(status);
}

DWORD StreamMessage(SignData& message, CTOOFile& file, uint64_t contentSize) {
  const SignedLayout layout = LayOutSignedData(message, contentSize, contentSize > 0);
  uint64_t written = 0;
  EmitSignedData(
      layout, message, [&](const void* bytes, uint64_t size) { written += Emit(file, bytes, size); },
      [&] { written += StreamContent(message, file, contentSize); });
  return static_cast<DWORD>(written);
}

}  // namespace

DWORD SignData::ReadObject(const CTOOFile& file, DWORD offset, int* pError) {
  // A copy shares the caller's open stream and keeps its own error record.
  CTOOFile stream(file);
  DWORD consumed = 0;
  const int status = CatchStatus([&] { consumed = ReadMessage(*this, stream, offset); });
  return DeliverStatus(pError, status) ? consumed : 0;
}

DWORD SignData::WriteObject(CTOOFile& file, DWORD offset) {
  if (file.IsError()) {
    SetLastError(StatusToWin32(file.GetStatus()));
    return 0;
  }
  if (offset != kNoOffset) {
    if (offset > file.GetLength()) {
      SetLastError(kOutOfRange);
      return 0;
    }
    file.Seek(static_cast<long>(offset), SEEK_SET);
  }
  uint64_t contentSize = encapContentInfo.data.size();
  const DWORD code = MeasureContent(dataInfo, contentSize);
  if (code != 0) {
    SetLastError(code);
    return 0;
  }
  DWORD written = 0;
  const int status = CatchStatus([&] { written = StreamMessage(*this, file, contentSize); });
  if (status == 0) return written;
  SetLastError(StatusToWin32(status));
  return 0;
}

}  // namespace cmskit
