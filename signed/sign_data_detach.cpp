// Taking the encapsulated content out of a SignData, into memory or a file.
#include <cstring>
#include <filesystem>
#include <new>
#include <string>
#include <system_error>

#include "cmskit/paths.h"
#include "cmskit/sign_data.h"
#include "platform/win32.h"
#include "signed/block_copy.h"
#include "signed/segment_walk.h"
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
  return status ? StatusToWin32(status) : code;
}

DWORD WriteFile(const char* name, const IdentObj& bytes, ToSignStruct& out) {
  CTOOFile file(name, "wb");
  if (!file.IsOpen()) return OpenFailure(file);
  const uint32_t written = file.Write(bytes.data(), bytes.size());
  out.begin = 0;
  out.end = written;
  return written == bytes.size() ? 0 : kIncompleteCopy;
}

DWORD NothingToMemory(ToSignStruct& out) {
  out.begin = 0;
  out.end = 0;
  return 0;
}

DWORD CopyToMemory(const IdentObj& bytes, ToSignStruct& out) {
  if (!bytes.IsEmpty() && !out.data) out.data = new BYTE[bytes.size()];
  if (!bytes.IsEmpty()) std::memcpy(out.data, bytes.data(), bytes.size());
  out.begin = 0;
  out.end = bytes.size();
  return 0;
}

// A file range (plain or in segments) into the caller's buffer or a new one.
// A new buffer is sized from the range as recorded, not as resolved: with
// the "to the end" marker that is more than the content, and this stays so.
DWORD FileRangeToMemory(SignedFileReader& source, const ToSignStruct& range, uint64_t length,
                        ToSignStruct& out) {
  const uint64_t recorded = static_cast<DWORD>(range.end - range.begin);
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
    out.end = static_cast<DWORD>(length);
    return 0;
  }
  MemorySink sink(buffer + out.begin, recorded);
  const DWORD code = WalkSegmentsCode(source, range.begin, length, sink);
  out.end = static_cast<DWORD>(out.begin + sink.produced);
  return code;
}

DWORD FileRangeToFile(SignedFileReader& source, const ToSignStruct& range, uint64_t length,
                      const char* target, ToSignStruct& out) {
  CTOOFile file(target, "wb");
  if (!file.IsOpen()) return OpenFailure(file);
  FileSink sink(file);
  DWORD code = 0;
  if (range.flags & ToSignStruct::kChunkedFile)
    code = WalkSegmentsCode(source, range.begin, length, sink);
  else
    code = sink.Take(source.Reader(), range.begin, length);
  if (code == 0) code = sink.Finish();
  out.begin = 0;
  out.end = static_cast<DWORD>(sink.produced);
  return code;
}

DWORD FileRange(const ToSignStruct& range, const char* target, ToSignStruct& out) {
  CTOOFile file(static_cast<const char*>(range.data), "rb");
  if (!file.IsOpen()) return OpenFailure(file);
  SignedFileReader source(file, kASNTFileForm);
  uint64_t end = range.end;
  if (end == ToSignStruct::kToEndOfFile) end = source.End();
  if (end < range.begin || end > source.End()) return kIncompleteCopy;
  const uint64_t length = end - range.begin;
  if (target) return FileRangeToFile(source, range, length, target, out);
  return FileRangeToMemory(source, range, length, out);
}

}  // namespace

bool SignData::DetachData(ToSignStruct& out, int* pError) {
  DWORD code = 0;
  const int status = CatchStatus([&] { code = DetachContent(out); });
  if (status != 0) code = StatusToWin32(status);
  if (pError) *pError = static_cast<int>(code);
  SetLastError(code);
  return code == 0;
}

DWORD SignData::DetachContent(ToSignStruct& out) {
  const bool inFile = (dataInfo.flags & ToSignStruct::kInFile) != 0;
  // The source file: the content's own when it lives in a file, else the one
  // this object was read from.
  const char* source = inFile && dataInfo.data ? static_cast<const char*>(dataInfo.data) : workPath.c_str();
  const bool toFile = (out.flags & ToSignStruct::kInFile) != 0;
  DetachTarget target(source, static_cast<const char*>(out.data), toFile);
  if (toFile && !target.IsNamed()) return ERROR_BAD_ARGUMENTS;
  const char* staging = toFile ? target.Staging() : nullptr;

  DWORD code = 0;
  if (dataInfo.end == dataInfo.begin && encapContentInfo.data.IsEmpty())
    code = toFile ? WriteFile(staging, IdentObj(), out) : NothingToMemory(out);
  else if (!inFile)
    code = toFile ? WriteFile(staging, encapContentInfo.data, out) : CopyToMemory(encapContentInfo.data, out);
  else
    code = FileRange(dataInfo, staging, out);
  if (code == 0 && toFile) code = target.Finish();
  if (code != 0) return code;
  if (inFile) dataInfo = ToSignStruct();
  encapContentInfo.data.Clear();
  return 0;
}

}  // namespace cmskit
