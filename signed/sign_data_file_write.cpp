// Writing a SignData straight into a file: every length is computed ahead
// and the content is copied across in blocks, never loaded. One writer
// serves the 32-bit member and its 64-bit companion.
#include "asn/asn_build.h"
#include "cmskit/paths.h"
#include "cmskit/sign_data.h"
#include "platform/win32.h"
#include "signed/segment_walk.h"
#include "signed/signed_file_reader.h"
#include "signed/signed_layout.h"
#include "tools/block_copy.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr DWORD kNoOffset = 0xFFFFFFFF;
constexpr uint64_t kNoOffset64 = UINT64_MAX;
constexpr DWORD kOutOfRange = 0x8007000E;  // E_OUTOFMEMORY, the writer's range failure

[[noreturn]] void Throw(int status) { throw XTOOStatus(static_cast<uint32_t>(status), "SignData", false); }

// Emits one piece of the message; a file that reports a failed write stops
// the message there.
uint64_t Emit(CTOOFile& file, const void* bytes, uint64_t size) {
  const uint32_t written = file.Write(bytes, static_cast<uint32_t>(size));
  if (file.IsError()) Throw(file.GetStatus());
  return written;
}

// Content read in segments goes out as its octets alone, like any other.
uint64_t StreamSegments(const ToSignStruct64& content, CTOOFile& file, uint64_t contentSize, bool wide) {
  CTOOFile source = OpenContentFile(static_cast<const char*>(content.data));
  SignedFileReader reader(source, wide);
  FileSink sink(file);
  const DWORD code = WalkSegments(reader, content.begin, content.end - content.begin, sink);
  if (file.IsError()) Throw(file.GetStatus());
  if (code != 0 || sink.produced != contentSize) Throw(kStatusReadError);
  return sink.produced;
}

uint64_t StreamContent(SignData& message, const ToSignStruct64& content, CTOOFile& file, uint64_t contentSize,
                       bool wide) {
  if (!(content.flags & ToSignStruct::kInFile)) {
    const IdentObj& octets = message.encapContentInfo.data;
    return Emit(file, octets.data(), octets.size());
  }
  if (content.flags & ToSignStruct::kChunkedFile) return StreamSegments(content, file, contentSize, wide);
  CTOOFile source = OpenContentFile(static_cast<const char*>(content.data));
  // A start of all ones (the "to the end" marker's twin) reads from the
  // first octet.
  if (content.begin != 0 && content.begin != kNoOffset64)
    source.Seek64(static_cast<int64_t>(content.begin), SEEK_SET);
  const uint64_t copied = CopyBlocks(source, file, contentSize);
  if (file.IsError()) Throw(file.GetStatus());
  if (copied != contentSize) Throw(source.IsError() ? source.GetStatus() : kStatusReadError);
  return copied;
}

// Size of the content the writer will stream, checked before anything is
// written; 0 or the platform code to report. An open-ended range is resolved
// in `content`.
DWORD MeasureContent(ToSignStruct64& content, uint64_t& size, bool wide) {
  if (!(content.flags & ToSignStruct::kInFile)) return 0;
  const char* name = static_cast<const char*>(content.data);
  XTOOFile lengthError;
  const uint64_t fileLength = name ? GetFileLengthByName64(name, lengthError) : UINT64_MAX;
  if (!name || lengthError.IsError()) return ERROR_FILE_NOT_FOUND;
  if (content.end == ToSignStruct64::kToEndOfFile) {
    if (!wide && fileLength >= 0xFFFFFFFFu) return kErrorFileTooLarge;
    size = fileLength;
    content.end = fileLength;
    return 0;
  }
  if (content.end < content.begin || content.begin > fileLength ||
      fileLength - content.begin < content.end - content.begin)
    return kOutOfRange;
  size = content.end - content.begin;
  if (!(content.flags & ToSignStruct::kChunkedFile)) return 0;
  const int status = CatchStatus([&] { size = SegmentedContentSize(name, content.begin, size, wide); });
  return BoundaryCode(status);
}

uint64_t StreamMessage(SignData& message, const ToSignStruct64& content, CTOOFile& file, uint64_t contentSize,
                       bool wide) {
  const SignedLayout layout = LayOutSignedData(message, contentSize, contentSize > 0, wide);
  uint64_t written = 0;
  EmitSignedData(
      layout, message, [&](const void* bytes, uint64_t size) { written += Emit(file, bytes, size); },
      [&] { written += StreamContent(message, content, file, contentSize, wide); });
  return written;
}

// The writer behind both members; failures go to the thread's last error.
// `content` is the object's range, resolved in place by MeasureContent.
uint64_t WriteMessage(SignData& message, ToSignStruct64& content, CTOOFile& file, uint64_t offset,
                      bool wide) {
  if (file.IsError()) {
    SetLastError(StatusToWin32(file.GetStatus()));
    return 0;
  }
  if (offset != kNoOffset64) {
    const uint64_t length = file.GetLength64();
    if (offset > length) {
      SetLastError(kOutOfRange);
      return 0;
    }
    file.Seek64(static_cast<int64_t>(offset), SEEK_SET);
  }
  uint64_t contentSize = message.encapContentInfo.data.size();
  const DWORD code = MeasureContent(content, contentSize, wide);
  if (code != 0) {
    SetLastError(code);
    return 0;
  }
  uint64_t written = 0;
  const int status = CatchStatus([&] {
    written = StreamMessage(message, content, file, contentSize, wide);
    if (!file.Flush()) Throw(file.GetStatus());
  });
  if (status == 0) return written;
  SetLastError(BoundaryCode(status));
  return 0;
}

}  // namespace

DWORD SignData::WriteObject(CTOOFile& file, DWORD offset) {
  if (ContentTooLarge()) {
    SetLastError(kErrorFileTooLarge);
    return 0;
  }
  ToSignStruct64 content = ContentRange();
  const bool open = content.end == ToSignStruct64::kToEndOfFile;
  const uint64_t written =
      WriteMessage(*this, content, file, offset == kNoOffset ? kNoOffset64 : offset, false);
  // An open range's end, once resolved, is stored even when writing failed
  // after it.
  if (open && content.end != ToSignStruct64::kToEndOfFile) ResolveContentEnd(content.end);
  return static_cast<DWORD>(written);
}

uint64_t SignData::WriteObject64(CTOOFile& file, uint64_t offset) {
  ToSignStruct64 content = ContentRange();
  const bool open = content.end == ToSignStruct64::kToEndOfFile;
  const uint64_t written = WriteMessage(*this, content, file, offset, true);
  if (open && content.end != ToSignStruct64::kToEndOfFile) ResolveContentEnd(content.end);
  return written;
}

}  // namespace cmskit
