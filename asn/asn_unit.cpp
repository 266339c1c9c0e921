// CASNTUnit: the record tree. Reading recurses once per nesting level, so the
// depth is bounded to keep hostile input from exhausting the stack.
#include <cstring>

#include "asn/asn_element.h"
#include "cmskit/asn_record.h"
#include "cmskit/status.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr const char* kRoutine = "CASNTUnit::Read";

void Fail(int code) {
  if (code != 0) throw XTOOStatus(static_cast<uint32_t>(code), kRoutine, false);
}

}  // namespace

CASNTUnit::CASNTUnit() = default;

CASNTUnit::CASNTUnit(uint8_t tagClass, uint8_t constructed, uint32_t tagNumber) {
  info.tagClass = tagClass;
  info.constructed = constructed;
  info.tagNumber = tagNumber;
}

CASNTUnit::CASNTUnit(const CASNTUnit& other) : CASNTBaseRecord(other) { CopyChildren(other); }

CASNTUnit& CASNTUnit::operator=(const CASNTUnit& other) {
  if (this == &other) return *this;
  CASNTBaseRecord::operator=(other);
  DeleteChildren();
  CopyChildren(other);
  return *this;
}

CASNTUnit::~CASNTUnit() = default;

void CASNTUnit::CopyChildren(const CASNTUnit& other) {
  for (const auto& child : other.children_) {
    const auto* unit = dynamic_cast<const CASNTUnit*>(child.get());
    if (unit)
      children_.push_back(std::make_unique<CASNTUnit>(*unit));
    else
      children_.push_back(std::make_unique<CASNTBaseRecord>(*child));
  }
}

void CASNTUnit::DeleteChildren() { children_.clear(); }

void CASNTUnit::AddChild(std::unique_ptr<CASNTBaseRecord> child) {
  if (!child) return;
  // The element is now described by its children: a stored encoding is stale.
  encoded.Clear();
  value.Clear();
  info.length = 0;
  info.contents = nullptr;
  children_.push_back(std::move(child));
}

CASNTBaseRecord* CASNTUnit::GetChild(size_t index) const {
  return index < children_.size() ? children_[index].get() : nullptr;
}

DWORD CASNTUnit::ReadFromMemory(const BYTE* data, DWORD size, int* status) {
  DWORD consumed = 0;
  const int code = CatchStatus([&] { consumed = ReadAt(data, size, 0); });
  if (code != 0) {
    DeleteChildren();
    Reset();
    consumed = 0;
  }
  ReportStatus(status, code, kRoutine);
  return consumed;
}

DWORD CASNTUnit::ReadAt(const BYTE* data, DWORD size, uint32_t depth) {
  DeleteChildren();
  Reset();
  if (depth > kASNTMaxDepth) Fail(kStatusCorrupt);
  if (ASNTReadHeader(info, data, size) != 0) Fail(kStatusBadTag);
  const uint32_t header = ASNTHeaderLength(info, data);
  if (info.constructed) return ReadChildren(data, size, header, depth);
  uint64_t total = 0;
  Fail(ASNTElementSize(info, data, size, &total));
  if (total > size) Fail(kStatusTruncated);
  encoded.SetData(data, static_cast<uint32_t>(total));
  RebaseInfo(header);
  if (info.tagClass == kASNTContext) ReadContextNested();
  return static_cast<DWORD>(total);
}

DWORD CASNTUnit::ReadChildren(const BYTE* data, DWORD size, uint32_t header, uint32_t depth) {
  const bool indefinite = info.length == kASNTIndefinite;
  if (!indefinite && uint64_t{header} + info.length > size) Fail(kStatusTruncated);
  if (indefinite && header == size) Fail(kStatusCorrupt);
  const uint32_t end = indefinite ? size : header + info.length;
  uint32_t position = header;
  while (true) {
    if (indefinite && ASNTIsEndOfContents(data, position, size)) {
      position += 2;
      break;
    }
    if (position >= end) {
      if (indefinite) Fail(kStatusCorrupt);  // no end-of-contents before the buffer ends
      break;
    }
    auto child = std::make_unique<CASNTUnit>();
    position += child->ReadAt(data + position, end - position, depth + 1);
    children_.push_back(std::move(child));
  }
  encoded.SetData(data, position);
  RebaseInfo(header);
  return position;
}

void CASNTUnit::ReadContextNested() {
  auto nested = std::make_unique<CASNTBaseRecord>();
  int status = 0;
  const DWORD read = nested->ReadFromMemory(info.contents, info.length, &status);
  if (status == 0 && read == info.length && read != 0) children_.push_back(std::move(nested));
}

uint64_t CASNTUnit::BuiltContentsSize() {
  uint64_t sum = 0;
  for (const auto& child : children_) sum += child->GetEncodedSize();
  return sum;
}

DWORD CASNTUnit::GetEncodedSize() {
  if (!encoded.IsEmpty() || children_.empty()) return CASNTBaseRecord::GetEncodedSize();
  const uint64_t contents = BuiltContentsSize();
  if (contents > kASNTMaxElement) return 0;
  const uint64_t total = ASNTHeaderSize(info.tagNumber, static_cast<uint32_t>(contents)) + contents;
  return total > kASNTMaxElement ? 0 : static_cast<DWORD>(total);
}

DWORD CASNTUnit::CopyEncoded(BYTE* buffer, DWORD size, int* status) {
  if (!encoded.IsEmpty() || children_.empty()) return CASNTBaseRecord::CopyEncoded(buffer, size, status);
  DWORD total = 0;
  const int code = CatchStatus([&] {
    total = GetEncodedSize();
    if (total == 0) Fail(kStatusLength);
    if (!buffer || size < total) Fail(kStatusTruncated);
    const uint32_t contents = static_cast<uint32_t>(BuiltContentsSize());
    uint32_t position = ASNTWriteHeader(buffer, info.tagClass, info.constructed, info.tagNumber, contents);
    for (const auto& child : children_) {
      int childStatus = 0;
      position += child->CopyEncoded(buffer + position, total - position, &childStatus);
      Fail(childStatus);
    }
  });
  ReportStatus(status, code, kRoutine);
  return code == 0 ? total : 0;
}

}  // namespace cmskit
