// CASNTBaseRecord: one element, encoded and decoded, read from memory or a
// file and written to either.
#include <cstdio>
#include <cstring>

#include "asn/asn_element.h"
#include "asn/asn_reader.h"
#include "cmskit/asn_record.h"
#include "cmskit/status.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr const char* kRoutine = "CASNTBaseRecord::ReadASNInfo";
constexpr DWORD kUnknownOffset = 0xFFFFFFFF;

// Throws the status: the record's bodies run under CatchStatus.
void Fail(int code) {
  if (code != 0) throw XTOOStatus(static_cast<uint32_t>(code), kRoutine, false);
}

// A record takes one element from a file and goes: it reads ahead no more
// than a header.
constexpr uint64_t kRecordWindow = 16;

// The header at the file's position. `offset` is that position when the
// caller knows it: one at or past the end is status 37.
int ReadHeaderAt(ASNTReader& reader, CTOOFile& file, DWORD offset, ASNTHeader& header) {
  if (reader.Status() != 0) return reader.Status();
  const int64_t position = file.Tell64();
  if (position < 0) return kStatusTell;
  if (offset != kUnknownOffset && offset >= reader.End()) return kStatusTruncated;
  const int code = reader.ReadHeader(static_cast<uint64_t>(position), header);
  // A tag number still going after eleven octets is malformed (205); one cut
  // short by the end of the file before that runs past it (206), as any
  // header does.
  constexpr uint64_t kLongestTag = 11;
  const bool cutShort = reader.End() - static_cast<uint64_t>(position) < kLongestTag;
  return code == kStatusBadTag && cutShort ? kStatusCorrupt : code;
}

int ReadFileHeader(CTOOFile& file, DWORD offset, ASNTHeader& header) {
  ASNTReader reader(file, kASNTRecordFileForm, kRecordWindow);
  int code = ReadHeaderAt(reader, file, offset, header);
  if (code == 0) code = reader.Leave(header.ContentsStart());
  return code;
}

}  // namespace

CASNTBaseRecord::CASNTBaseRecord() : info{} {}

CASNTBaseRecord::CASNTBaseRecord(const ASNTElementInfo& elementInfo, const IdentObj& elementValue) : info{} {
  SetValue(elementInfo, elementValue);
}

CASNTBaseRecord::CASNTBaseRecord(const CASNTBaseRecord& other) : info{} { CASNTBaseRecord::operator=(other); }

CASNTBaseRecord::~CASNTBaseRecord() = default;

CASNTBaseRecord& CASNTBaseRecord::operator=(const CASNTBaseRecord& other) {
  if (this == &other) return *this;
  encoded = other.encoded;
  value = other.value;
  info = other.info;
  if (!encoded.IsEmpty()) Fail(ASNTReadHeader(info, encoded.data(), encoded.size()));
  return *this;
}

int CASNTBaseRecord::Compare(const CASNTBaseRecord& other) const {
  if (encoded < other.encoded) return -1;
  return other.encoded < encoded ? 1 : 0;
}

void CASNTBaseRecord::Reset() {
  info = ASNTElementInfo{};
  value.Clear();
  encoded.Clear();
}

void CASNTBaseRecord::SetValue(const ASNTElementInfo& elementInfo, const IdentObj& elementValue) {
  Reset();
  info.tagClass = elementInfo.tagClass;
  info.constructed = elementInfo.constructed;
  info.tagNumber = elementInfo.tagNumber;
  info.length = elementValue.size();
  value = elementValue;
}

void CASNTBaseRecord::RebaseInfo(uint32_t headerLength) { info.contents = encoded.data() + headerLength; }

DWORD CASNTBaseRecord::ReadASNInfo(const BYTE* data, DWORD size, int* status) {
  const int code = ASNTReadHeader(info, data, size);
  ReportStatus(status, code, kRoutine);
  return code == 0 ? ASNTHeaderLength(info, data) : 0;
}

DWORD CASNTBaseRecord::ReadASNInfo(CTOOFile& file, DWORD offset, int* status) {
  ASNTHeader header;
  const int code = ReadFileHeader(file, offset, header);
  info = code == 0 ? header.Info(nullptr) : ASNTElementInfo{};
  ReportStatus(status, code, kRoutine);
  return code == 0 ? header.size : 0;
}

DWORD CASNTBaseRecord::ReadFromMemory(const BYTE* data, DWORD size, int* status) {
  Reset();
  uint64_t total = 0;
  int code = ASNTReadHeader(info, data, size);
  if (code == 0) code = ASNTElementSize(info, data, size, &total);
  if (code == 0 && total > size) code = kStatusTruncated;
  if (code == 0) {
    code = CatchStatus([&] {
      encoded.SetData(data, static_cast<uint32_t>(total));
      RebaseInfo(ASNTHeaderLength(info, data));
    });
  }
  if (code != 0) Reset();
  ReportStatus(status, code, kRoutine);
  return code == 0 ? static_cast<DWORD>(total) : 0;
}

DWORD CASNTBaseRecord::ReadFromFile(CTOOFile& file, DWORD offset, int* status) {
  Reset();
  uint32_t total = 0;
  const int code = CatchStatus([&] {
    ASNTReader reader(file, kASNTRecordFileForm, kRecordWindow);
    ASNTHeader header;
    Fail(ReadHeaderAt(reader, file, offset, header));
    uint64_t size = 0;
    if (header.indefinite) {
      Fail(reader.ElementSize(header, size));
    } else {
      // The contents must be there to be read whole.
      if (header.length > reader.End() - header.ContentsStart()) Fail(kStatusReadError);
      size = header.size + header.length;
    }
    Fail(reader.ReadBytes(header.start, size, encoded));
    Fail(reader.Leave(header.start + size));
    info = header.Info(encoded.data());
    total = encoded.size();
  });
  if (code != 0) Reset();
  ReportStatus(status, code, kRoutine);
  return total;
}

int CASNTBaseRecord::BuildEncoded() {
  if (!encoded.IsEmpty()) return 0;
  if (value.IsEmpty() && info.tagClass == 0 && info.constructed == 0 && info.tagNumber == 0) return 0;
  ASNTElementInfo request{info.tagClass, info.constructed, info.tagNumber, 0, nullptr};
  encoded = ASNTEncodeElement(request, value.data(), value.size());
  if (encoded.IsEmpty()) return kStatusUnsupported;
  ASNTElementInfo parsed;
  const int code = ASNTReadHeader(parsed, encoded.data(), encoded.size());
  if (code == 0) info = parsed;
  return code;
}

const IdentObj& CASNTBaseRecord::GetEncodedRef(int* status) {
  const int code = CatchStatus([&] { Fail(BuildEncoded()); });
  ReportStatus(status, code, kRoutine);
  return encoded;
}

const IdentObj& CASNTBaseRecord::GetValue(int* status) {
  int code = 0;
  if (value.IsEmpty() && !encoded.IsEmpty()) {
    ASNTElementInfo contents = info;
    if (contents.length == kASNTIndefinite) {
      // The children between the header and the closing end-of-contents.
      const uint32_t header = static_cast<uint32_t>(info.contents - encoded.data());
      contents.length = encoded.size() - header - 2;
    }
    int decoded = 0;
    code = CatchStatus([&] { value = ASNTDecodeElement(contents, &decoded); });
    if (code == 0) code = decoded;
  }
  ReportStatus(status, code, kRoutine);
  return value;
}

DWORD CASNTBaseRecord::GetEncodedSize() {
  int code = 0;
  GetEncodedRef(&code);
  return code == 0 ? encoded.size() : 0;
}

DWORD CASNTBaseRecord::CopyEncoded(BYTE* buffer, DWORD size, int* status) {
  int code = CatchStatus([&] { Fail(BuildEncoded()); });
  if (code == 0 && !encoded.IsEmpty() && (!buffer || size < encoded.size())) code = kStatusTruncated;
  if (code == 0 && !encoded.IsEmpty()) memcpy(buffer, encoded.data(), encoded.size());
  ReportStatus(status, code, kRoutine);
  return code == 0 ? encoded.size() : 0;
}

void CASNTBaseRecord::GetEncoded(IdentObj& out, int* status) {
  out.Clear();
  const DWORD size = GetEncodedSize();
  if (size) out.Allocate(size);
  const DWORD copied = CopyEncoded(out.data(), size, status);
  if (copied != size) out.Clear();
}

DWORD CASNTBaseRecord::WriteToFile(CTOOFile& file, DWORD offset, int* status) {
  DWORD written = 0;
  const int code = CatchStatus([&] {
    if (offset != kUnknownOffset) {
      const uint64_t length = file.GetLength64();
      if (file.IsError() || offset > length) Fail(kStatusTruncated);
      if (file.Seek(static_cast<long>(offset), SEEK_SET) != 0) Fail(kStatusTruncated);
    }
    IdentObj bytes;
    int copyStatus = 0;
    GetEncoded(bytes, &copyStatus);
    Fail(copyStatus);
    written = file.Write(bytes.data(), bytes.size());
    if (written != bytes.size()) Fail(kStatusWriteError);
  });
  ReportStatus(status, code, kRoutine);
  return written;
}

}  // namespace cmskit
