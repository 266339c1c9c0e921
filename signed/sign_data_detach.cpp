// Taking the encapsulated content out of a SignData, into memory or a file.
#include <cstring>
#include <filesystem>
#include <new>
#include <string>
#include <system_error>

#include "cmskit/paths.h"
#include "cmskit/sign_data.h"
#include "platform/win32.h"
#include "signed/segment_walk.h"
#include "tools/block_copy.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr DWORD kNoMemory = 0x8009000E;  // NTE_NO_MEMORY: no buffer for the content
constexpr DWORD kCannotCopy = 266;       // ERROR_CANNOT_COPY

DWORD OpenFailure(const CTOOFile& file) {
  return StatusToWin32(file.GetStatus() ? file.GetStatus() : kStatusOpenFailed);
}

const char* BaseName(const char* path) {
  const char* name = path;
  for (const char* p = path; *p; ++p)
    if (*p == '/' || *p == '\\') name = p + 1;
  return name;
}

// Another name of the same file (a link, another spelling of the path):
// opening it for writing would empty the source before it is read.
bool SameFile(const char* source, const char* target) {
  std::error_code ignored;
  return *source && *target && std::filesystem::equivalent(source, target, ignored);
}

// Where the content goes when it goes to a file. Detaching into the very
// file the content is read from writes into a private temporary folder first
// and copies over the original only once everything else has succeeded, so a
// failure on the way leaves the original untouched.
class DetachTarget {
 public:
  // `target` null: the source file itself. Without `toFile` there is no file
  // target and nothing is named (the caller's pointer is then a buffer).
  DetachTarget(const char* source, const char* target, bool toFile) : temp_(true) {
    if (!toFile) return;
    target_ = target ? target : source;
    viaTemp_ = _stricmp(source, target_.c_str()) == 0 || SameFile(source, target_.c_str());
    staging_ = viaTemp_ ? TOO::FILENAME(temp_.c_str(), BaseName(target_.c_str())).path : target_;
  }

  bool IsNamed() const { return !target_.empty(); }
  const char* Staging() const { return staging_.c_str(); }

  DWORD Finish() {
    if (!viaTemp_) return 0;
    XTOOFile error;
    return CopyWithRetry(staging_.c_str(), target_.c_str(), false, error) ? 0 : kCannotCopy;
  }

 private:
  TOO::TEMPFOLDER temp_;
  std::string target_;
  std::string staging_;
  bool viaTemp_ = false;
};

// The walk with its structural failures turned into their platform codes.
DWORD WalkSegmentsCode(SignedFileReader& source, uint64_t begin, uint64_t length, SegmentSink& sink) {
  DWORD code = 0;
  const int status = CatchStatus([&] { code = WalkSegments(source, begin, length, sink); });
  return status ? BoundaryCode(status) : code;
}

DWORD WriteFile(const char* name, const IdentObj& bytes, ToSignStruct64& out) {
  CTOOFile file(name, "wb");
  if (!file.IsOpen()) return OpenFailure(file);
  const uint32_t written = file.Write(bytes.data(), bytes.size());
  out.begin = 0;
  out.end = written;
  return written == bytes.size() && file.Flush() ? 0 : kIncompleteCopy;
}

DWORD NothingToMemory(ToSignStruct64& out) {
  out.begin = 0;
  out.end = 0;
  return 0;
}

DWORD CopyToMemory(const IdentObj& bytes, ToSignStruct64& out) {
  if (!bytes.IsEmpty() && !out.data) out.data = new BYTE[bytes.size()];
  if (!bytes.IsEmpty()) std::memcpy(out.data, bytes.data(), bytes.size());
  out.begin = 0;
  out.end = bytes.size();
  return 0;
}

// The octets a new buffer gets for a file range: as recorded, not as
// resolved. With the 32-bit "to the end" marker that is more than the
// content (in 32-bit arithmetic), and this stays so; the 64-bit member
// takes the resolved length there.
uint64_t RecordedLength(const ToSignStruct64& range, uint64_t length, bool wide) {
  if (!wide) return static_cast<DWORD>(static_cast<DWORD>(range.end) - static_cast<DWORD>(range.begin));
  return range.end == ToSignStruct64::kToEndOfFile ? length : range.end - range.begin;
}

// A file range (plain or in segments) into the caller's buffer or a new one.
DWORD FileRangeToMemory(SignedFileReader& source, const ToSignStruct64& range, uint64_t length,
                        ToSignStruct64& out, bool wide) {
  const uint64_t recorded = RecordedLength(range, length, wide);
  if (length != 0 && !out.data) {
    out.data = new (std::nothrow) BYTE[recorded];
    if (!out.data) return kNoMemory;
    out.begin = 0;
  }
  BYTE* buffer = static_cast<BYTE*>(out.data);
  if (!(range.flags & ToSignStruct::kChunkedFile)) {
    out.begin = 0;
    out.end = 0;
    if (source.Reader().Read(range.begin, buffer, length) != 0) return kIncompleteCopy;
    out.end = length;
    return 0;
  }
  MemorySink sink(buffer + out.begin, recorded);
  const DWORD code = WalkSegmentsCode(source, range.begin, length, sink);
  out.end = out.begin + sink.produced;
  return code;
}

DWORD FileRangeToFile(SignedFileReader& source, const ToSignStruct64& range, uint64_t length,
                      const char* target, ToSignStruct64& out) {
  CTOOFile file(target, "wb");
  if (!file.IsOpen()) return OpenFailure(file);
  FileSink sink(file);
  DWORD code = 0;
  if (range.flags & ToSignStruct::kChunkedFile)
    code = WalkSegmentsCode(source, range.begin, length, sink);
  else
    code = sink.Take(source.Reader(), range.begin, length);
  if (code == 0) code = sink.Finish();
  if (code == 0 && !file.Flush()) code = kIncompleteCopy;
  out.begin = 0;
  out.end = sink.produced;
  return code;
}

DWORD FileRange(const ToSignStruct64& range, const char* target, ToSignStruct64& out, bool wide) {
  CTOOFile file(static_cast<const char*>(range.data), "rb");
  if (!file.IsOpen()) return OpenFailure(file);
  SignedFileReader source(file, wide);
  uint64_t end = range.end;
  if (end == ToSignStruct64::kToEndOfFile) end = source.End();
  if (end < range.begin || end > source.End()) return kIncompleteCopy;
  const uint64_t length = end - range.begin;
  // The 32-bit member could not report the octets it delivered.
  if (!wide && length >= ToSignStruct::kToEndOfFile) return kErrorFileTooLarge;
  if (target) return FileRangeToFile(source, range, length, target, out);
  return FileRangeToMemory(source, range, length, out, wide);
}

}  // namespace

bool SignData::DetachData(ToSignStruct& out, int* pError) {
  DWORD code = kErrorFileTooLarge;
  if (!ContentTooLarge()) {
    ToSignStruct64 wide(out);
    const int status = CatchStatus([&] { code = DetachContent(wide, false); });
    if (status != 0) code = BoundaryCode(status);
    // Only what the 32-bit caller can be told travels back.
    out.data = wide.data;
    out.begin = static_cast<DWORD>(wide.begin);
    out.end = static_cast<DWORD>(wide.end);
  }
  if (pError) *pError = static_cast<int>(code);
  SetLastError(code);
  return code == 0;
}

bool SignData::DetachData64(ToSignStruct64& out, int* pError) {
  DWORD code = 0;
  const int status = CatchStatus([&] { code = DetachContent(out, true); });
  if (status != 0) code = BoundaryCode(status);
  if (pError) *pError = static_cast<int>(code);
  SetLastError(code);
  return code == 0;
}

DWORD SignData::DetachContent(ToSignStruct64& out, bool wide) {
  const ToSignStruct64 range = ContentRange();
  const bool inFile = (range.flags & ToSignStruct::kInFile) != 0;
  // The source file: the content's own when it lives in a file, else the one
  // this object was read from.
  const char* source = inFile && range.data ? static_cast<const char*>(range.data) : workPath.c_str();
  const bool toFile = (out.flags & ToSignStruct::kInFile) != 0;
  DetachTarget target(source, static_cast<const char*>(out.data), toFile);
  if (toFile && !target.IsNamed()) return ERROR_BAD_ARGUMENTS;
  const char* staging = toFile ? target.Staging() : nullptr;

  DWORD code = 0;
  if (range.end == range.begin && encapContentInfo.data.IsEmpty())
    code = toFile ? WriteFile(staging, IdentObj(), out) : NothingToMemory(out);
  else if (!inFile)
    code = toFile ? WriteFile(staging, encapContentInfo.data, out) : CopyToMemory(encapContentInfo.data, out);
  else
    code = FileRange(range, staging, out, wide);
  if (code == 0 && toFile) code = target.Finish();
  if (code != 0) return code;
  if (inFile) SetContentRange(ToSignStruct64());
  encapContentInfo.data.Clear();
  return 0;
}

}  // namespace cmskit
