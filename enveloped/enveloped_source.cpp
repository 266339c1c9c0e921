#include "enveloped/enveloped_source.h"

#include "cmskit/status.h"
#include "enveloped/enveloped_support.h"

namespace cmskit {

EnvelopedSource::EnvelopedSource(const BYTE* data, DWORD size, const char* origin)
    : reader_(data, data ? size : 0, kASNTStrictMemoryForm), origin_(origin) {}

EnvelopedSource::EnvelopedSource(const CTOOFile& file, const char* origin, bool wide)
    : file_(file), reader_(file_, wide ? kASNTWideForm : kASNTFileForm), origin_(origin), wide_(wide) {
  Check(reader_.Status());
  const int64_t here = file_.Tell64();
  if (here < 0) Fail(file_.GetStatus() != 0 ? file_.GetStatus() : kStatusTell);
  position_ = static_cast<uint64_t>(here);
}

void EnvelopedSource::Fail(int status) const { ASNTRaise(status, origin_); }

void EnvelopedSource::Check(int status) const {
  if (status != 0) Fail(status);
}

void EnvelopedSource::SeekTo(uint64_t position) {
  if (position > End()) Fail(kStatusCorrupt);
  position_ = position;
}

ASNTHeader EnvelopedSource::ReadHeader() {
  ASNTHeader header;
  Check(reader_.ReadHeader(position_, header));
  position_ = header.ContentsStart();
  return header;
}

uint64_t EnvelopedSource::ContentsLength(const ASNTHeader& header) {
  uint64_t length = 0;
  Check(reader_.ContentsLength(header, length));
  return length;
}

IdentObj EnvelopedSource::ReadContents(const ASNTHeader& header) { return ReadBytes(ContentsLength(header)); }

IdentObj EnvelopedSource::ReadBytes(uint64_t count) {
  IdentObj bytes;
  Check(reader_.ReadBytes(position_, count, bytes));
  position_ += count;
  return bytes;
}

IdentObj EnvelopedSource::ReadElement() {
  const ASNTHeader header = ReadHeader();
  uint64_t total = 0;
  Check(reader_.ElementSize(header, total));
  position_ = header.start;
  return ReadBytes(total);
}

void EnvelopedSource::ReadEncryptedContent(EncryptedContentInfo& target) {
  if (!reader_.Memory()) {
    // The file form reads from where the stream stands and leaves it after
    // what it consumed.
    Finish();
    const uint64_t consumed = wide_ ? target.ReadObject64(file_) : target.ReadObject(file_);
    if (consumed == 0) RaiseLastError(origin_);
    const int64_t here = file_.Tell64();
    if (here < 0) Fail(file_.GetStatus() != 0 ? file_.GetStatus() : kStatusTell);
    position_ = static_cast<uint64_t>(here);
    return;
  }
  if (position_ >= End()) Fail(kStatusCorrupt);
  const DWORD consumed =
      target.ReadObject(reader_.Memory() + position_, static_cast<DWORD>(End() - position_));
  if (consumed == 0) RaiseLastError(origin_);
  position_ += consumed;
}

void EnvelopedSource::Finish() { Check(reader_.Leave(position_)); }

}  // namespace cmskit
