#include "asn/asn_reader.h"

#include <cstdio>
#include <cstring>

#include "asn/asn_element.h"
#include "cmskit/status.h"

namespace cmskit {

namespace {

constexpr BYTE kHighTag = 0x1F;
constexpr BYTE kMore = 0x80;
constexpr BYTE kIndefiniteOctet = 0x80;
// A file header is parsed from at most this many octets: a 32-bit tag number
// needs five, the longest length nine.
constexpr uint64_t kMaxFileHeader = 16;
// Reads handed to the stream at once; CTOOFile counts in 32 bits.
constexpr uint64_t kMaxStreamRead = 1u << 30;

// Contents of a primitive element with the indefinite marker run up to the
// first pair of zero octets.
int MeasureZeroTerminated(const BYTE* data, uint64_t from, uint64_t size, uint64_t& length) {
  for (uint64_t at = from; at + 1 < size; ++at) {
    if (data[at] == 0 && data[at + 1] == 0) {
      length = at - from;
      return 0;
    }
  }
  return kStatusCorrupt;
}

int ParseLength(const BYTE* data, uint64_t size, const ASNTHeaderForm& form, uint64_t& at,
                ASNTHeader& header) {
  if (at >= size) return kStatusCorrupt;
  const BYTE first = data[at++];
  if (first < 0x80) {
    header.length = first;
    return 0;
  }
  if (first == kIndefiniteOctet) {
    if (header.constructed) {
      header.indefinite = true;
      return 0;
    }
    if (!form.measurePrimitiveIndefinite) return kStatusCorrupt;
    header.zeroTerminated = true;
    return MeasureZeroTerminated(data, at, size, header.length);
  }
  const uint64_t count = first & 0x7F;
  constexpr uint64_t kMostOctets = 8;
  const uint64_t limit = form.tellTooLarge ? kMostOctets : form.maxLengthOctets;
  if (count > limit || count > size - at) return kStatusCorrupt;
  uint64_t length = 0;
  for (uint64_t i = 0; i < count; ++i) length = (length << 8) | data[at++];
  header.lengthOctets = static_cast<uint8_t>(count);
  if (count > form.maxLengthOctets) {
    if (length <= 0xFFFFFFFFu) return kStatusCorrupt;
    header.length = length;
    return kStatusTooLarge;
  }
  if (!form.wideLength) {
    // Only the low four octets survive a longer form. A definite length
    // equal to the indefinite marker could never fit a 32-bit buffer and
    // would be mistaken for BER.
    length &= 0xFFFFFFFFu;
    if (length == kASNTIndefinite) return kStatusCorrupt;
  }
  header.length = length;
  return 0;
}

}  // namespace

int ASNTMeasureZeroTerminated(const BYTE* contents, uint64_t size, uint64_t& length) {
  return MeasureZeroTerminated(contents, 0, size, length);
}

int ASNTParseHeader(const BYTE* data, uint64_t size, const ASNTHeaderForm& form, ASNTHeader& header) {
  if (!data || size < 2) return kStatusCorrupt;
  // Parsed into a local and stored field by field: the readers call this
  // for every element, and copying the whole record at once stalls on the
  // narrow stores that just filled it.
  ASNTHeader parsed;
  parsed.tagClass = data[0] & 0xC0;
  parsed.constructed = data[0] & kASNTConstructed;
  parsed.tagNumber = data[0] & kHighTag;
  uint64_t at = 1;
  if (parsed.tagNumber == kHighTag) {
    uint32_t number = 0;
    while (at < size && (data[at] & kMore)) number = (number << 7) | (data[at++] & 0x7F);
    if (at >= size) return kStatusBadTag;
    parsed.tagNumber = (number << 7) | data[at++];
  }
  const int status = ParseLength(data, size, form, at, parsed);
  if (status != 0 && status != kStatusTooLarge) return status;
  header.size = static_cast<uint32_t>(at);
  header.tagClass = parsed.tagClass;
  header.constructed = parsed.constructed;
  header.tagNumber = parsed.tagNumber;
  header.indefinite = parsed.indefinite;
  header.zeroTerminated = parsed.zeroTerminated;
  header.length = parsed.length;
  header.lengthOctets = parsed.lengthOctets;
  return status;
}

int ASNTBoundedHeader(const BYTE* data, uint64_t size, ASNTElementInfo& info, uint64_t& total) {
  info = ASNTElementInfo{};
  ASNTHeader header;
  int status = ASNTParseHeader(data, size, kASNTMemoryForm, header);
  if (status != 0) return status;
  if (header.indefinite) {
    // Only an indefinite length needs the nested headers walked; readers
    // call this for every certificate and signer, so the common definite
    // case stays arithmetic.
    ASNTReader reader(data, size, kASNTMemoryForm);
    status = reader.ElementSize(header, total);
  } else {
    const uint64_t extent = header.length + (header.zeroTerminated ? 2 : 0);
    if (extent > size - header.size) return kStatusCorrupt;
    total = header.size + extent;
  }
  if (status == 0) info = header.Info(data);
  return status;
}

ASNTReader::ASNTReader(const BYTE* data, uint64_t size, const ASNTHeaderForm& form)
    : data_(data), form_(form), end_(data ? size : 0) {}

ASNTReader::ASNTReader(CTOOFile& file, const ASNTHeaderForm& form, uint64_t window)
    : file_(&file), form_(form), windowCapacity_(window ? window : 1) {
  const uint64_t length = file.GetLength64();
  if (file.IsError()) {
    status_ = file.GetStatus();
    return;
  }
  end_ = length;
}

int ASNTReader::SeekStream(uint64_t position) {
  if (streamAt_ == position) return 0;
  streamAt_ = UINT64_MAX;
  if (file_->Seek64(static_cast<int64_t>(position), SEEK_SET) != 0)
    return file_->GetStatus() != 0 ? file_->GetStatus() : kStatusReadError;
  streamAt_ = position;
  return 0;
}

int ASNTReader::ReadStream(BYTE* out, uint64_t count) {
  while (count != 0) {
    const uint32_t chunk = static_cast<uint32_t>(count < kMaxStreamRead ? count : kMaxStreamRead);
    const uint32_t got = file_->Read(out, chunk);
    streamAt_ += got;
    if (got != chunk) {
      streamAt_ = UINT64_MAX;
      return file_->GetStatus() != 0 ? file_->GetStatus() : kStatusReadError;
    }
    out += got;
    count -= got;
  }
  return 0;
}

int ASNTReader::Fill(uint64_t position) {
  if (window_.empty()) window_.resize(windowCapacity_);
  windowSize_ = 0;
  const uint64_t left = end_ - position;
  const uint64_t count = left < window_.size() ? left : window_.size();
  int status = SeekStream(position);
  if (status == 0) status = ReadStream(window_.data(), count);
  if (status != 0) return status;
  windowStart_ = position;
  windowSize_ = count;
  return 0;
}

const BYTE* ASNTReader::Window(uint64_t position, uint64_t wanted, uint64_t& available) {
  const uint64_t left = end_ - position;
  if (data_) {
    available = left;
    return data_ + position;
  }
  if (wanted > left) wanted = left;
  const uint64_t offset = position - windowStart_;
  const bool inside = position >= windowStart_ && offset <= windowSize_ && wanted <= windowSize_ - offset;
  if (!inside && Fill(position) != 0) return nullptr;
  const uint64_t held = windowSize_ - (position - windowStart_);
  available = held < kMaxFileHeader ? held : kMaxFileHeader;
  return window_.data() + (position - windowStart_);
}

int ASNTReader::ReadHeader(uint64_t position, ASNTHeader& header) {
  if (status_ != 0) return status_;
  if (position >= end_) return kStatusCorrupt;
  uint64_t available = 0;
  const BYTE* at = Window(position, kMaxFileHeader, available);
  if (!at) return file_->GetStatus() != 0 ? file_->GetStatus() : kStatusReadError;
  header.start = position;
  const int status = ASNTParseHeader(at, available, form_, header);
  if (status != kStatusTooLarge) return status;
  // Too large only when the element would fit in the source: a length
  // that runs past the end is a corrupt one.
  const uint64_t from = header.ContentsStart();
  return from <= end_ && header.length <= end_ - from ? kStatusTooLarge : kStatusCorrupt;
}

int ASNTReader::WalkIndefinite(uint64_t contentsStart, uint64_t& walked, bool& closed) {
  closed = false;
  walked = 0;
  if (file_) {
    const auto known = measured_.find(contentsStart);
    if (known != measured_.end()) {
      walked = known->second;
      closed = true;
      return 0;
    }
  }
  // Contents starts of the elements open at each depth, outermost first.
  std::vector<uint64_t> open{contentsStart};
  uint64_t position = contentsStart;
  while (position < end_) {
    ASNTHeader child;
    const int status = ReadHeader(position, child);
    if (status != 0) {
      walked = position - contentsStart;
      return status;
    }
    if (child.IsEndOfContents()) {
      position += 2;
      if (file_) measured_[open.back()] = position - open.back();
      open.pop_back();
      if (open.empty()) {
        closed = true;
        break;
      }
      continue;
    }
    if (!child.indefinite) {
      const uint64_t extent = child.length + (child.zeroTerminated ? 2 : 0);
      const uint64_t from = child.ContentsStart();
      position = from <= end_ && extent <= end_ - from ? from + extent : end_ + 1;
      continue;
    }
    if (open.size() > kASNTMaxDepth) {
      walked = position - contentsStart;
      return kStatusCorrupt;
    }
    position = child.ContentsStart();
    open.push_back(position);
  }
  walked = (position < end_ ? position : end_) - contentsStart;
  return 0;
}

int ASNTReader::ContentsLength(const ASNTHeader& header, uint64_t& length) {
  if (header.indefinite) {
    bool closed = false;
    const int status = WalkIndefinite(header.ContentsStart(), length, closed);
    if (status != 0) return status;
    return closed ? 0 : kStatusCorrupt;
  }
  const uint64_t from = header.ContentsStart();
  const uint64_t extent = header.length + (header.zeroTerminated ? 2 : 0);
  if (from > end_ || extent > end_ - from) return kStatusCorrupt;
  length = header.length;
  return 0;
}

int ASNTReader::ElementSize(const ASNTHeader& header, uint64_t& size) {
  uint64_t contents = 0;
  const int status = ContentsLength(header, contents);
  if (status != 0) return status;
  size = header.size + contents + (header.zeroTerminated ? 2 : 0);
  return 0;
}

int ASNTReader::Read(uint64_t position, void* out, uint64_t count) {
  if (status_ != 0) return status_;
  if (position > end_ || count > end_ - position) return kStatusCorrupt;
  if (count == 0) return 0;
  BYTE* target = static_cast<BYTE*>(out);
  if (data_) {
    memcpy(target, data_ + position, count);
    return 0;
  }
  if (position >= windowStart_ && position - windowStart_ < windowSize_) {
    const uint64_t held = windowSize_ - (position - windowStart_);
    const uint64_t part = count < held ? count : held;
    memcpy(target, window_.data() + (position - windowStart_), part);
    target += part;
    position += part;
    count -= part;
    if (count == 0) return 0;
  }
  // Small reads go through the window so that the headers after them come
  // from memory too; large ones straight from the stream into the caller's
  // buffer.
  if (count < windowCapacity_ / 2) {
    const int status = Fill(position);
    if (status != 0) return status;
    memcpy(target, window_.data(), count);
    return 0;
  }
  const int status = SeekStream(position);
  return status != 0 ? status : ReadStream(target, count);
}

int ASNTReader::ReadBytes(uint64_t position, uint64_t count, IdentObj& out) {
  if (count > kASNTMaxElement) return kStatusCorrupt;
  if (position > end_ || count > end_ - position) return kStatusCorrupt;
  IdentObj bytes;
  bytes.Allocate(static_cast<uint32_t>(count));
  const int status = Read(position, bytes.data(), count);
  if (status == 0) out = std::move(bytes);
  return status;
}

int ASNTReader::Leave(uint64_t position) {
  if (!file_) return 0;
  const int status = SeekStream(position);
  streamAt_ = UINT64_MAX;
  return status;
}

}  // namespace cmskit
