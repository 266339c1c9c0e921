#include "cmskit/status.h"
#include "enveloped/element_source.h"
#include "enveloped/element_tools.h"

namespace cmskit {

namespace {

// Identifier (up to five octets for a 32-bit tag number and the lead octet)
// plus the longest length the file form accepts, with room to spare.
constexpr uint32_t kHeaderWindow = 16;
constexpr uint64_t kMaxSeek = 0x7FFFFFFF;

}  // namespace

FileElementSource::FileElementSource(const CTOOFile& file, const char* origin)
    : ElementSource(origin), file_(file) {}

uint64_t FileElementSource::Position() {
  const int32_t position = file_.Tell();
  if (position < 0) Fail(file_.GetStatus() != 0 ? file_.GetStatus() : kStatusTell);
  return static_cast<uint64_t>(position);
}

uint64_t FileElementSource::End() {
  if (endKnown_) return end_;
  // GetLength flushes the stream first; on a stream being read, the Windows
  // runtime drops its read-ahead there and leaves the position at the end of
  // it, so the position is put back explicitly.
  const int32_t position = file_.Tell();
  if (position < 0) Fail(file_.GetStatus() != 0 ? file_.GetStatus() : kStatusTell);
  const uint32_t length = file_.GetLength();
  if (file_.IsError()) Fail(file_.GetStatus());
  if (file_.Seek(position, SEEK_SET) != 0) Fail(kStatusCorrupt);
  end_ = length;
  endKnown_ = true;
  return end_;
}

void FileElementSource::SeekTo(uint64_t position) {
  if (position > End() || position > kMaxSeek) Fail(kStatusCorrupt);
  if (file_.Seek(static_cast<long>(position), SEEK_SET) != 0)
    Fail(file_.IsError() ? file_.GetStatus() : kStatusCorrupt);
}

ElementHeader FileElementSource::ReadHeader() {
  const uint64_t start = Position();
  if (start >= End()) Fail(kStatusCorrupt);
  BYTE window[kHeaderWindow];
  const uint64_t left = End() - start;
  const uint32_t wanted = left < kHeaderWindow ? static_cast<uint32_t>(left) : kHeaderWindow;
  const uint32_t got = file_.Read(window, wanted);
  if (file_.IsError()) Fail(file_.GetStatus());
  const ElementHeader header = ParseHeader(window, got, start, true);
  SeekTo(start + header.headerLength);
  return header;
}

IdentObj FileElementSource::ReadBytes(uint64_t count) {
  const uint64_t position = Position();
  if (position > End() || count > End() - position) Fail(kStatusCorrupt);
  IdentObj bytes;
  bytes.Allocate(static_cast<uint32_t>(count));
  const uint32_t got = file_.Read(bytes.data(), static_cast<uint32_t>(count));
  if (got != count) Fail(file_.IsError() ? file_.GetStatus() : kStatusReadError);
  return bytes;
}

void FileElementSource::ReadEncryptedContent(EncryptedContentInfo& target) {
  if (target.ReadObject(file_) == 0) RaiseLastError(Origin());
}

}  // namespace cmskit
