#include "signed/segment_walk.h"

#include "cmskit/asn_codec.h"
#include "cmskit/status.h"
#include "tools/block_copy.h"

namespace cmskit {

namespace {

constexpr uint64_t kEndOfContents = 2;

// CopyBlocks from [position, position + length) of a reader's source.
uint64_t CopyBlocks(ASNTReader& from, uint64_t position, CTOOFile& to, uint64_t length) {
  if (length == 0) return 0;
  const uint64_t group = uint64_t{kCopyBlock} * kBlocksPerCall;
  std::vector<BYTE> buffer(static_cast<size_t>(length < group ? length : group));
  uint64_t copied = 0;
  while (copied < length) {
    const uint64_t left = length - copied;
    const uint32_t want = static_cast<uint32_t>(left < buffer.size() ? left : buffer.size());
    if (from.Read(position + copied, buffer.data(), want) != 0) break;
    const uint32_t put = to.Write(buffer.data(), want);
    copied += put;
    if (put != want) break;
  }
  return copied;
}

}  // namespace

DWORD CountingSink::Take(ASNTReader&, uint64_t, uint64_t length) {
  produced += length;
  return 0;
}

DWORD MemorySink::Take(ASNTReader& source, uint64_t position, uint64_t length) {
  if (length > room_ - produced) return kSegmentOverflow;
  if (source.Read(position, buffer_ + produced, length) != 0) return kIncompleteCopy;
  produced += length;
  return 0;
}

FileSink::FileSink(CTOOFile& target) : target_(target), held_(uint64_t{kCopyBlock} * kBlocksPerCall) {}

DWORD FileSink::Take(ASNTReader& source, uint64_t position, uint64_t length) {
  if (length > held_.size() - count_) {
    const DWORD code = Finish();
    if (code != 0) return code;
  }
  if (length >= held_.size()) {
    const uint64_t copied = CopyBlocks(source, position, target_, length);
    produced += copied;
    return copied == length ? 0 : kIncompleteCopy;
  }
  if (source.Read(position, held_.data() + count_, length) != 0) return kIncompleteCopy;
  count_ += length;
  return 0;
}

DWORD FileSink::Finish() {
  if (count_ == 0) return 0;
  const uint32_t put = target_.Write(held_.data(), static_cast<uint32_t>(count_));
  produced += put;
  const bool complete = put == count_;
  count_ = 0;
  return complete ? 0 : kIncompleteCopy;
}

CTOOFile OpenContentFile(const char* name) {
  CTOOFile file(name, "rb");
  if (!file.IsOpen()) throw XTOOStatus(file.GetStatus() ? file.GetStatus() : kStatusOpenFailed, name, false);
  return file;
}

uint64_t SegmentedContentSize(const char* name, uint64_t begin, uint64_t length, bool wide) {
  CTOOFile source = OpenContentFile(name);
  SignedFileReader reader(source, wide);
  CountingSink counter;
  WalkSegments(reader, begin, length, counter);
  return counter.produced;
}

DWORD WalkSegments(SignedFileReader& source, uint64_t begin, uint64_t length, SegmentSink& sink) {
  if (length <= kEndOfContents) return 0;
  const uint64_t limit = begin + length - kEndOfContents;
  const uint64_t end = begin + length;
  for (uint64_t position = begin; position < limit;) {
    const ASNTHeader segment = source.Header(position);
    position += segment.size;
    if (segment.constructed || segment.IsEndOfContents()) continue;
    if (position > end || segment.length > end - position)
      throw XTOOStatus(kStatusCorrupt, "SignData", false);
    const DWORD code = sink.Take(source.Reader(), position, segment.length);
    if (code != 0) return code;
    position += segment.length;
  }
  return sink.Finish();
}

}  // namespace cmskit
