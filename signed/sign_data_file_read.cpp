// Reading a SignData straight through a file: the content is located, never
// loaded. One reader serves the 32-bit member and its 64-bit companion; the
// 32-bit one refuses what it could not report.
#include "asn/asn_build.h"
#include "cmskit/paths.h"
#include "cmskit/sign_data.h"
#include "platform/win32.h"
#include "signed/segment_walk.h"
#include "signed/signed_file_reader.h"
#include "signed/signed_layout.h"
#include "signed/signed_oids.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr DWORD kNoOffset = 0xFFFFFFFF;
constexpr uint64_t kNoOffset64 = UINT64_MAX;
constexpr int kStatusNotFound = 194;

[[noreturn]] void Throw(int status) { throw XTOOStatus(static_cast<uint32_t>(status), "SignData", false); }

void AppendSplit(const IdentObj& contents, std::list<IdentObj>& out) {
  std::list<IdentObj> elements;
  const int status = ASNTSplitElements(elements, contents.data(), contents.size());
  if (status != 0) Throw(status);
  out.splice(out.end(), elements);
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
  // The 32-bit member: content offsets must fit its descriptor.
  bool narrow;
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

// Where a 32-bit reading keeps the range as it is found, so that a failure
// later on leaves what was recorded so far.
void Keep(SignData& message, const Cursor& cursor, const ToSignStruct64& range) {
  if (cursor.narrow && !range.Narrow(message.dataInfo)) Throw(kStatusTooLarge);
}

// The content's OCTET STRING header is at the cursor: its range is recorded,
// its octets are not read.
void RecordContent(SignData& message, SignedFileReader& reader, Cursor& cursor, ToSignStruct64& content) {
  const ASNTHeader octets = reader.Header(cursor.at);
  cursor.Advance(octets.size);
  content.begin = cursor.base + cursor.consumed;
  Keep(message, cursor, content);
  if (!octets.indefinite && octets.length == 0) return;
  content.end = content.begin + reader.ContentsLength(octets);
  content.flags = ToSignStruct::kInFile | (octets.constructed ? ToSignStruct::kChunkedFile : 0);
  content.fileMark = ToSignStruct::kFileMark;
  content.data = const_cast<char*>(message.workPath.c_str());
  Keep(message, cursor, content);
}

// encapContentInfo. The step past it is an absolute seek to its end counted
// from the start of the message, without the message's offset in the file:
// required, and kept, although the content range does include the offset.
void ReadContent(SignData& message, SignedFileReader& reader, Cursor& cursor, ToSignStruct64& content) {
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
      RecordContent(message, reader, cursor, content);
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

Cursor StartAt(CTOOFile& file, const SignedFileReader& reader, uint64_t offset, bool narrow) {
  if (offset != kNoOffset64) {
    if (offset > reader.End()) Throw(kStatusTruncated);
    return Cursor{offset, 0, offset, narrow};
  }
  const int64_t here = file.Tell64();
  if (here < 0) Throw(file.GetStatus());
  return Cursor{static_cast<uint64_t>(here), 0, 0, narrow};
}

// Returns the octets the message occupies; the content's range goes to
// `content`, and, for the 32-bit member, to the object's descriptor as it is
// found.
uint64_t ReadMessage(SignData& message, CTOOFile& file, uint64_t offset, bool narrow,
                     ToSignStruct64& content) {
  message.workPath = file.GetFileName();
  SignedFileReader reader(file, !narrow);
  Cursor cursor = StartAt(file, reader, offset, narrow);
  message.digestAlgorithms.clear();
  message.certificates.clear();
  message.crls.clear();
  message.signerInfos.clear();
  message.encapContentInfo.data.Clear();
  message.dataInfo = ToSignStruct();

  const uint32_t indefinite = ReadOuterFields(message, reader, cursor);
  ReadAlgorithms(message, reader, cursor);
  ReadContent(message, reader, cursor, content);
  ReadSets(message, reader, cursor);
  ReadClosings(reader, cursor, indefinite);
  if (narrow && cursor.consumed > 0xFFFFFFFFu) Throw(kStatusTooLarge);
  return cursor.consumed;
}

}  // namespace

DWORD SignData::ReadObject(const CTOOFile& file, DWORD offset, int* pError) {
  // A copy shares the caller's open stream and keeps its own error record.
  CTOOFile stream(file);
  uint64_t consumed = 0;
  ToSignStruct64 content;
  wide_ = false;
  const int status = CatchStatus([&] {
    consumed = ReadMessage(*this, stream, offset == kNoOffset ? kNoOffset64 : offset, true, content);
  });
  return DeliverStatus(pError, status) ? static_cast<DWORD>(consumed) : 0;
}

uint64_t SignData::ReadObject64(const CTOOFile& file, uint64_t offset, int* pError) {
  CTOOFile stream(file);
  uint64_t consumed = 0;
  ToSignStruct64 content;
  const int status = CatchStatus([&] { consumed = ReadMessage(*this, stream, offset, false, content); });
  // What was found stays recorded, as the 32-bit member keeps it.
  SetContentRange(content);
  return DeliverStatus(pError, status) ? consumed : 0;
}

}  // namespace cmskit
