// Writing a SignData as one DER ContentInfo in memory.
#include "cmskit/paths.h"
#include "cmskit/sign_data.h"
#include "platform/win32.h"
#include "signed/segment_walk.h"
#include "signed/signed_codec.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr int kStatusNoFile = 4;

CTOOFile OpenContent(const char* name) {
  CTOOFile file(name, "rb");
  if (!file.IsOpen()) throw XTOOStatus(file.GetStatus() ? file.GetStatus() : kStatusOpenFailed, name, false);
  return file;
}

// The file must hold the whole range; an open-ended range is resolved in
// place, before anything is read. Returns the range's length.
uint64_t CheckFileRange(const char* name, DWORD begin, DWORD& end) {
  if (!name || !FileExists(name)) throw XTOOStatus(kStatusNoFile, name, false);
  XTOOFile lengthError;
  const uint64_t fileSize = GetFileLengthByName(name, lengthError);
  if (lengthError.IsError()) throw XTOOStatus(static_cast<uint32_t>(lengthError.GetStatus()), name, false);
  if (end == ToSignStruct::kToEndOfFile) {
    end = static_cast<DWORD>(fileSize);
    return fileSize;
  }
  if (end < begin || begin > fileSize || end - begin > fileSize - begin)
    throw XTOOStatus(kStatusTruncated, name, false);
  return end - begin;
}

// The content octets of a file range, read whole: this writer returns the
// message in memory anyway (the file writer streams instead).
IdentObj ReadFileBytes(const char* name, DWORD begin, uint64_t length) {
  CTOOFile file = OpenContent(name);
  IdentObj octets;
  octets.Allocate(static_cast<uint32_t>(length));
  if (file.Seek(static_cast<long>(begin), SEEK_SET) != 0 || file.Read(octets.data(), octets.size()) != length)
    throw XTOOStatus(kStatusReadError, name, false);
  return octets;
}

// Content recorded as segments is written as its octets alone.
IdentObj ReadFileSegments(const char* name, DWORD begin, uint64_t range) {
  CTOOFile file = OpenContent(name);
  CountingSink counter;
  WalkSegments(file, begin, range, counter);
  IdentObj octets;
  octets.Allocate(static_cast<uint32_t>(counter.produced));
  MemorySink sink(octets.data(), octets.size());
  if (WalkSegments(file, begin, range, sink) != 0 || sink.produced != octets.size())
    throw XTOOStatus(kStatusReadError, name, false);
  return octets;
}

IdentObj ReadFileContent(ToSignStruct& content) {
  const char* name = static_cast<const char*>(content.data);
  const uint64_t length = CheckFileRange(name, content.begin, content.end);
  if (content.flags & ToSignStruct::kChunkedFile) return ReadFileSegments(name, content.begin, length);
  return ReadFileBytes(name, content.begin, length);
}

IdentObj WrapContent(const IdentObj& octets) {
  const IdentObj octetString =
      EncodeValue(kASNTUniversal, kASNTPrimitive, kASNTOctetString, octets.data(), octets.size());
  return EncodeValue(kASNTContext, kASNTConstructed, 0, octetString.data(), octetString.size());
}

// Memory content that is empty means a detached signature; file content is
// always written, even when the file is empty.
IdentObj EncodeEncapsulated(SignData& message) {
  std::list<IdentObj> items;
  items.push_back(EncodeOid(message.encapContentInfo.id));
  ToSignStruct& content = message.dataInfo;
  if (content.flags & ToSignStruct::kInFile) {
    items.push_back(WrapContent(ReadFileContent(content)));
  } else if (!message.encapContentInfo.data.IsEmpty()) {
    items.push_back(WrapContent(message.encapContentInfo.data));
  }
  return EncodeSequence(items, kASNTSequence);
}

IdentObj EncodeMessage(SignData& message) {
  std::list<IdentObj> fields;
  fields.push_back(EncodeVersion(message.version));
  fields.push_back(EncodeAlgorithmSet(message.digestAlgorithms));
  fields.push_back(EncodeEncapsulated(message));
  if (!message.certificates.empty()) fields.push_back(EncodeImplicitSet(0, message.certificates));
  if (!message.crls.empty()) fields.push_back(EncodeImplicitSet(1, message.crls));
  fields.push_back(EncodeSequence(message.signerInfos, kASNTSet));
  const IdentObj body = EncodeSequence(fields, kASNTSequence);
  std::list<IdentObj> outer;
  outer.push_back(EncodeOid(message.contentType));
  outer.push_back(EncodeValue(kASNTContext, kASNTConstructed, 0, body.data(), body.size()));
  return EncodeSequence(outer, kASNTSequence);
}

}  // namespace

IdentObj SignData::WriteObject(int* pError) {
  IdentObj encoded;
  RunOrRethrow(pError, [&] { encoded = EncodeMessage(*this); });
  return encoded;
}

}  // namespace cmskit
