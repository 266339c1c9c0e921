// Handing the encapsulated content to a caller's sink without detaching it,
// for callers that digest or copy it themselves.
#include <vector>

#include "cmskit/sign_data.h"
#include "platform/win32.h"
#include "signed/segment_walk.h"
#include "signed/signed_file_reader.h"
#include "tools/boundary.h"

namespace cmskit {

ContentSink::~ContentSink() = default;

namespace {

constexpr DWORD kCancelled = ERROR_CANCELLED;
constexpr uint64_t kBlock = 1 << 20;

// Octets of the source read block by block into the caller's sink.
class ForwardingSink : public SegmentSink {
 public:
  explicit ForwardingSink(ContentSink& sink) : sink_(sink) {}
  DWORD Take(ASNTReader& source, uint64_t position, uint64_t length) override {
    while (length != 0) {
      const uint64_t part = length < kBlock ? length : kBlock;
      if (buffer_.size() < part) buffer_.resize(static_cast<size_t>(part));
      if (source.Read(position, buffer_.data(), part) != 0) return kIncompleteCopy;
      if (!sink_.Take(buffer_.data(), static_cast<size_t>(part))) return kCancelled;
      produced += part;
      position += part;
      length -= part;
    }
    return 0;
  }

 private:
  ContentSink& sink_;
  std::vector<BYTE> buffer_;
};

DWORD StreamFileRange(const ToSignStruct64& range, ContentSink& out) {
  CTOOFile file(static_cast<const char*>(range.data), "rb");
  if (!file.IsOpen()) return StatusToWin32(file.GetStatus() ? file.GetStatus() : kStatusOpenFailed);
  SignedFileReader source(file, true);
  uint64_t end = range.end;
  if (end == ToSignStruct64::kToEndOfFile) end = source.End();
  if (end < range.begin || end > source.End()) return kIncompleteCopy;
  ForwardingSink sink(out);
  if (range.flags & ToSignStruct::kChunkedFile)
    return WalkSegments(source, range.begin, end - range.begin, sink);
  return sink.Take(source.Reader(), range.begin, end - range.begin);
}

}  // namespace

bool SignData::StreamContent(ContentSink& sink, int* pError) const {
  DWORD code = 0;
  const ToSignStruct64 range = ContentRange();
  const int status = CatchStatus([&] {
    if (range.flags & ToSignStruct::kInFile) {
      code = StreamFileRange(range, sink);
    } else if (!encapContentInfo.data.IsEmpty() &&
               !sink.Take(encapContentInfo.data.data(), encapContentInfo.data.size())) {
      code = kCancelled;
    }
  });
  if (status != 0) code = BoundaryCode(status);
  if (pError) *pError = static_cast<int>(code);
  if (code != 0) SetLastError(code);
  return code == 0;
}

}  // namespace cmskit
