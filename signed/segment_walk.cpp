#include "signed/segment_walk.h"

#include "cmskit/asn_codec.h"
#include "cmskit/status.h"
#include "signed/block_copy.h"
#include "signed/file_element_reader.h"

namespace cmskit {

namespace {

constexpr uint64_t kEndOfContents = 2;

}  // namespace

DWORD CountingSink::Take(CTOOFile&, uint64_t length) {
  produced += length;
  return 0;
}

DWORD MemorySink::Take(CTOOFile& source, uint64_t length) {
  if (length > room_ - produced) return kSegmentOverflow;
  if (source.Read(buffer_ + produced, static_cast<uint32_t>(length)) != length) return kIncompleteCopy;
  produced += length;
  return 0;
}

FileSink::FileSink(CTOOFile& target) : target_(target), held_(uint64_t{kCopyBlock} * kBlocksPerCall) {}

DWORD FileSink::Take(CTOOFile& source, uint64_t length) {
  if (length > held_.size() - count_) {
    const DWORD code = Finish();
    if (code != 0) return code;
  }
  if (length >= held_.size()) {
    const uint64_t copied = CopyBlocks(source, target_, length);
    produced += copied;
    return copied == length ? 0 : kIncompleteCopy;
  }
  const uint32_t got = source.Read(held_.data() + count_, static_cast<uint32_t>(length));
  count_ += got;
  return got == length ? 0 : kIncompleteCopy;
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

uint64_t SegmentedContentSize(const char* name, uint64_t begin, uint64_t length) {
  CTOOFile source = OpenContentFile(name);
  CountingSink counter;
  WalkSegments(source, begin, length, counter);
  return counter.produced;
}

DWORD WalkSegments(CTOOFile& source, uint64_t begin, uint64_t length, SegmentSink& sink) {
  if (length <= kEndOfContents) return 0;
  FileElementReader reader(source);
  const uint64_t limit = begin + length - kEndOfContents;
  const uint64_t end = begin + length;
  for (uint64_t position = begin; position < limit;) {
    CASNTBaseRecord record;
    position += reader.ReadHeader(position, record);
    if (record.IsConstructed() || IsEndOfContents(record)) continue;
    if (record.GetLength() == kASNTIndefinite || position > end || record.GetLength() > end - position)
      throw XTOOStatus(kStatusCorrupt, "SignData", false);
    if (sink.ReadsOctets()) reader.SeekTo(position);
    const DWORD code = sink.Take(source, record.GetLength());
    if (code != 0) return code;
    position += record.GetLength();
    if (sink.ReadsOctets()) reader.MovedTo(position);
  }
  return sink.Finish();
}

}  // namespace cmskit
