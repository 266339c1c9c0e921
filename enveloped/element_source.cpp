#include "enveloped/element_source.h"

#include "cmskit/status.h"
#include "enveloped/element_tools.h"

namespace cmskit {

namespace {

constexpr BYTE kIndefiniteLengthOctet = 0x80;
constexpr uint32_t kMaxFileLengthOctets = 4;

// Identifier octets of the header at `bytes`; the codec already checked
// that they end inside the buffer.
uint32_t IdentifierOctets(const BYTE* bytes, uint32_t available) {
  if ((bytes[0] & 0x1F) != 0x1F) return 1;
  uint32_t count = 1;
  while (count < available && (bytes[count] & 0x80)) ++count;
  return count + 1;
}

}  // namespace

bool ElementHeader::IsEndOfContents() const {
  return info.tagClass == kASNTUniversal && info.tagNumber == 0 && !info.constructed && info.length == 0;
}

void ElementSource::Fail(int status) const { RaiseStatus(status, origin_); }

ElementHeader ElementSource::ParseHeader(const BYTE* bytes, uint32_t available, uint64_t start,
                                         bool fileForm) const {
  ElementHeader header;
  header.start = start;
  const int status = ASNTReadHeader(header.info, bytes, available);
  if (status != 0) Fail(status);
  const uint64_t headerLength = static_cast<uint64_t>(header.info.contents - bytes);
  if (headerLength > available) Fail(kStatusCorrupt);
  header.headerLength = static_cast<uint32_t>(headerLength);
  header.info.contents = nullptr;

  const uint32_t lengthAt = IdentifierOctets(bytes, available);
  if (lengthAt >= header.headerLength) Fail(kStatusCorrupt);
  const BYTE first = bytes[lengthAt];
  // X.690 allows the indefinite form for constructed encodings only.
  if (first == kIndefiniteLengthOctet && !header.info.constructed) Fail(kStatusCorrupt);
  if (fileForm && (first & 0x80) && (first & 0x7F) > kMaxFileLengthOctets) Fail(kStatusCorrupt);
  return header;
}

uint64_t ElementSource::ContentsLength(const ElementHeader& header) {
  if (header.IsIndefinite()) return MeasureIndefinite();
  const uint64_t position = Position();
  if (position > End() || header.info.length > End() - position) Fail(kStatusCorrupt);
  return header.info.length;
}

// Walks the nested headers from just after an indefinite-length header up to
// and including the end-of-contents octets that close it; iterative, so the
// nesting depth costs no stack.
uint64_t ElementSource::MeasureIndefinite() {
  const uint64_t begin = Position();
  uint64_t depth = 0;
  for (;;) {
    const ElementHeader child = ReadHeader();
    if (child.IsEndOfContents()) {
      if (depth == 0) break;
      --depth;
    } else if (child.IsIndefinite()) {
      ++depth;
    } else {
      SkipContents(child);
    }
  }
  const uint64_t length = Position() - begin;
  SeekTo(begin);
  return length;
}

IdentObj ElementSource::ReadContents(const ElementHeader& header) {
  return ReadBytes(ContentsLength(header));
}

void ElementSource::SkipContents(const ElementHeader& header) { SeekTo(Position() + ContentsLength(header)); }

IdentObj ElementSource::ReadElement() {
  const ElementHeader header = ReadHeader();
  const uint64_t total = header.headerLength + ContentsLength(header);
  SeekTo(header.start);
  return ReadBytes(total);
}

}  // namespace cmskit
