// Writing a SignData as one DER ContentInfo in memory.
#include <cstring>

#include "asn/asn_build.h"
#include "cmskit/paths.h"
#include "cmskit/sign_data.h"
#include "platform/win32.h"
#include "signed/segment_walk.h"
#include "signed/signed_layout.h"
#include "signed/signed_oids.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr int kStatusNoFile = 4;

// The file must hold the whole range; an open-ended range is resolved in
// place, before anything is read. Returns the range's length.
uint64_t CheckFileRange(const char* name, DWORD begin, DWORD& end) {
  if (!name || !FileExists(name)) throw XTOOStatus(kStatusNoFile, name, false);
  XTOOFile lengthError;
  const uint64_t fileSize = GetFileLengthByName64(name, lengthError);
  if (lengthError.IsError()) throw XTOOStatus(static_cast<uint32_t>(lengthError.GetStatus()), name, false);
  if (end == ToSignStruct::kToEndOfFile) {
    if (fileSize >= ToSignStruct::kToEndOfFile) throw XTOOStatus(kStatusTooLarge, name, false);
    end = static_cast<DWORD>(fileSize);
    return fileSize;
  }
  if (end < begin || begin > fileSize || end - begin > fileSize - begin)
    throw XTOOStatus(kStatusTruncated, name, false);
  return end - begin;
}

// Where the content comes from, and how many octets it gives.
struct ContentSource {
  const char* name = nullptr;  // a file, or the object's memory when null
  DWORD begin = 0;
  uint64_t range = 0;
  bool segmented = false;
  uint64_t size = 0;
};

ContentSource LocateContent(SignData& message) {
  ContentSource source;
  ToSignStruct& content = message.dataInfo;
  source.size = message.encapContentInfo.data.size();
  if (!(content.flags & ToSignStruct::kInFile)) return source;
  source.name = static_cast<const char*>(content.data);
  source.begin = content.begin;
  source.range = CheckFileRange(source.name, content.begin, content.end);
  source.segmented = (content.flags & ToSignStruct::kChunkedFile) != 0;
  source.size = source.range;
  // Content recorded as segments is written as its octets alone.
  if (source.segmented) source.size = SegmentedContentSize(source.name, source.begin, source.range, false);
  return source;
}

// Puts the content octets at `out`, which has room for exactly source.size.
void FillContent(const SignData& message, const ContentSource& source, BYTE* out) {
  if (!source.name) {
    if (source.size) std::memcpy(out, message.encapContentInfo.data.data(), source.size);
    return;
  }
  CTOOFile file = OpenContentFile(source.name);
  if (source.segmented) {
    SignedFileReader reader(file, false);
    MemorySink sink(out, source.size);
    if (WalkSegments(reader, source.begin, source.range, sink) != 0 || sink.produced != source.size)
      throw XTOOStatus(kStatusReadError, source.name, false);
    return;
  }
  if (file.Seek(static_cast<long>(source.begin), SEEK_SET) != 0 ||
      file.Read(out, static_cast<uint32_t>(source.size)) != source.size)
    throw XTOOStatus(kStatusReadError, source.name, false);
}

// One allocation at the final size: pieces and content are written in place.
// Memory content that is empty means a detached signature; file content is
// always written, even when the file is empty.
IdentObj EncodeMessage(SignData& message) {
  const ContentSource source = LocateContent(message);
  const SignedLayout layout = LayOutSignedData(message, source.size, source.name || source.size > 0, false);
  IdentObj encoded;
  encoded.Allocate(static_cast<uint32_t>(layout.total));
  BYTE* cursor = encoded.data();
  EmitSignedData(
      layout, message,
      [&](const void* bytes, uint64_t size) {
        std::memcpy(cursor, bytes, size);
        cursor += size;
      },
      [&] {
        FillContent(message, source, cursor);
        cursor += source.size;
      });
  return encoded;
}

}  // namespace

IdentObj SignData::WriteObject(int* pError) {
  IdentObj encoded;
  RunOrRethrow(pError, [&] {
    if (ContentTooLarge()) throw XTOOStatus(kStatusTooLarge, "SignData", false);
    encoded = EncodeMessage(*this);
  });
  return encoded;
}

}  // namespace cmskit
