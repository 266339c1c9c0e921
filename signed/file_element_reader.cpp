#include "signed/file_element_reader.h"

#include <vector>

#include "cmskit/asn_codec.h"
#include "cmskit/status.h"
#include "platform/win32.h"

namespace cmskit {

namespace {

constexpr uint32_t kUnknownOffset = 0xFFFFFFFF;

[[noreturn]] void ThrowCorrupt() { throw XTOOStatus(kStatusCorrupt, "SignData", false); }

}  // namespace

bool IsEndOfContents(const CASNTBaseRecord& record) {
  return record.GetTagClass() == kASNTUniversal && !record.IsConstructed() && record.GetTagNumber() == 0 &&
         record.GetLength() == 0;
}

FileElementReader::FileElementReader(CTOOFile& file) : file_(file), length_(file.GetLength()) {
  if (file_.IsError()) throw XTOOStatus(static_cast<uint32_t>(file_.GetStatus()), file_.GetFileName(), false);
}

void FileElementReader::SeekTo(uint64_t position) {
  if (position > length_ || file_.Seek(static_cast<long>(position), SEEK_SET) != 0)
    throw XTOOStatus(kStatusTruncated, "SignData", false);
}

// Positions are checked here against the length taken once, so the record
// reader is given no offset and does not measure the file again per header.
uint32_t FileElementReader::ReadHeader(uint64_t position, CASNTBaseRecord& record) {
  if (position >= length_) throw XTOOStatus(kStatusTruncated, "SignData", false);
  SeekTo(position);
  return record.ReadASNInfo(file_, kUnknownOffset, nullptr);
}

// Only elements of known length are read whole: an indefinite one where a
// small value belongs would otherwise pull in the rest of the file. The
// octets are read here, at a position set explicitly, and parsed from memory.
uint32_t FileElementReader::ReadElement(uint64_t position, CASNTBaseRecord& record) {
  const uint32_t header = ReadHeader(position, record);
  if (record.GetLength() == kASNTIndefinite) ThrowCorrupt();
  const IdentObj element = ReadBytes(position, uint64_t{header} + record.GetLength());
  return record.ReadFromMemory(element.data(), element.size(), nullptr);
}

IdentObj FileElementReader::ReadBytes(uint64_t position, uint64_t count) {
  if (position > length_ || count > length_ - position) throw XTOOStatus(kStatusTruncated, "SignData", false);
  SeekTo(position);
  IdentObj bytes;
  bytes.Allocate(static_cast<uint32_t>(count));
  if (count != 0 && file_.Read(bytes.data(), bytes.size()) != count)
    throw XTOOStatus(kStatusReadError, file_.GetFileName(), false);
  return bytes;
}

uint64_t FileElementReader::ContentsLength(const CASNTBaseRecord& record, uint64_t contentsStart) {
  if (record.GetLength() != kASNTIndefinite) {
    if (contentsStart > length_ || record.GetLength() > length_ - contentsStart) ThrowCorrupt();
    return record.GetLength();
  }
  if (!record.IsConstructed()) ThrowCorrupt();
  return ScanToEnd(contentsStart);
}

// Walks headers only: definite elements are stepped over by their length,
// indefinite ones entered, so the scan reads a few octets per element.
uint64_t FileElementReader::ScanToEnd(uint64_t contentsStart) {
  const auto known = knownEnds_.find(contentsStart);
  if (known != knownEnds_.end()) return known->second;
  std::vector<uint64_t> open{contentsStart};
  uint64_t position = contentsStart;
  while (!open.empty()) {
    if (position >= length_) ThrowCorrupt();
    CASNTBaseRecord record;
    const uint32_t headerLength = ReadHeader(position, record);
    position += headerLength;
    if (position > length_) ThrowCorrupt();
    if (IsEndOfContents(record)) {
      knownEnds_[open.back()] = position - open.back();
      open.pop_back();
      continue;
    }
    if (record.GetLength() == kASNTIndefinite) {
      if (!record.IsConstructed() || open.size() >= kASNTMaxDepth) ThrowCorrupt();
      open.push_back(position);
      continue;
    }
    if (record.GetLength() > length_ - position) ThrowCorrupt();
    position += record.GetLength();
  }
  return position - contentsStart;
}

}  // namespace cmskit
