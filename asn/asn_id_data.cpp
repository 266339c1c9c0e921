// CASNTIdData and ASNAlgorithmIdentifier: SEQUENCE { OBJECT IDENTIFIER,
// element OPTIONAL }, read leniently and written with explicit NULL.
#include "asn/asn_element.h"
#include "cmskit/asn_codec.h"
#include "cmskit/asn_record.h"
#include "cmskit/asn_types.h"
#include "cmskit/status.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr const char* kRoutine = "CASNTIdData::ReadData";
constexpr DWORD kUnknownOffset = 0xFFFFFFFF;

void Fail(int code) {
  if (code != 0) throw XTOOStatus(static_cast<uint32_t>(code), kRoutine, false);
}

// Where the outer element's contents end inside `size`: its definite end, or
// for an indefinite length the buffer's end (the children stop at 00 00).
uint32_t ContentsLimit(const ASNTElementInfo& outer, const BYTE* data, uint32_t size) {
  if (outer.length == kASNTIndefinite) return size;
  const uint64_t end = uint64_t{ASNTHeaderLength(outer, data)} + outer.length;
  if (end > size) Fail(kStatusTruncated);
  return static_cast<uint32_t>(end);
}

}  // namespace

CASNTIdData::CASNTIdData(const char* oid, const IdentObj& parameters) : data(parameters) { id = oid; }

CASNTIdData::CASNTIdData(const CASNTIdData& other) : id(other.id), data(other.data) {}

CASNTIdData& CASNTIdData::operator=(const CASNTIdData& other) {
  if (this == &other) return *this;
  id = other.id;
  data = other.data;
  return *this;
}

CASNTIdData::~CASNTIdData() = default;

bool CASNTIdData::operator==(const CASNTIdData& other) const { return id == other.id && data == other.data; }

bool CASNTIdData::operator<(const CASNTIdData& other) const { return id < other.id && data < other.data; }

DWORD CASNTIdData::ReadData(const BYTE* bytes, DWORD size, int* status) {
  uint32_t consumed = 0;
  const int code = CatchStatus([&] {
    ASNTElementInfo outer;
    Fail(ASNTReadHeader(outer, bytes, size));
    if (outer.tagNumber != kASNTSequence || outer.tagClass != kASNTUniversal) Fail(kStatusCorrupt);
    const uint32_t limit = ContentsLimit(outer, bytes, size);
    consumed = ASNTHeaderLength(outer, bytes);

    CASNTBaseRecord oid;
    int readStatus = 0;
    const DWORD oidSize = oid.ReadFromMemory(bytes + consumed, limit - consumed, &readStatus);
    Fail(readStatus);
    if (oid.GetTagNumber() != kASNTObjectId || oid.GetTagClass() != kASNTUniversal) Fail(kStatusCorrupt);
    id = oid.GetValue(nullptr);
    data.Clear();
    consumed += oidSize;
    if (consumed == limit || ASNTIsEndOfContents(bytes, consumed, limit)) return;

    ASNTElementInfo next;
    Fail(ASNTReadHeader(next, bytes + consumed, limit - consumed));
    if (next.tagNumber == kASNTNull && next.tagClass == kASNTUniversal) return;
    uint64_t total = 0;
    Fail(ASNTElementSize(next, bytes + consumed, limit - consumed, &total));
    if (total > limit - consumed) Fail(kStatusTruncated);
    data.SetData(bytes + consumed, static_cast<uint32_t>(total));
    consumed += static_cast<uint32_t>(total);
  });
  ReportStatus(status, code, kRoutine);
  return consumed;
}

DWORD CASNTIdData::ReadData(CTOOFile& file, int* status) {
  CASNTBaseRecord outer;
  int code = 0;
  outer.ReadFromFile(file, kUnknownOffset, &code);
  if (code != 0) {
    ReportStatus(status, code, kRoutine);
    return 0;
  }
  const IdentObj& element = outer.GetEncodedRef(nullptr);
  return ReadData(element.data(), element.size(), status);
}

IdentObj CASNTIdData::WriteData(int* status) const {
  const ASNTElementInfo oidInfo{kASNTUniversal, kASNTPrimitive, kASNTObjectId, 0, nullptr};
  std::list<IdentObj> items;
  items.push_back(ASNTEncodeElement(oidInfo, id.data(), id.size()));
  if (items.back().IsEmpty()) {
    ReportStatus(status, kStatusBadArgument, "CASNTIdData::WriteData");
    return IdentObj();
  }
  if (!data.IsEmpty()) {
    items.push_back(data);
  } else {
    const ASNTElementInfo nullInfo{kASNTUniversal, kASNTPrimitive, kASNTNull, 0, nullptr};
    items.push_back(ASNTEncodeElement(nullInfo, nullptr, 0));
  }
  return ASNTPutSequence(items, kASNTSequence, status);
}

DWORD CASNTIdData::GetWriteSize() const {
  int status = 0;
  const IdentObj encoded = WriteData(&status);
  return status == 0 ? encoded.size() : 0;
}

ASNAlgorithmIdentifier::~ASNAlgorithmIdentifier() = default;

}  // namespace cmskit
