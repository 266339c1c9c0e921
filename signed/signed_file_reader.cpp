#include "signed/signed_file_reader.h"

#include "cmskit/status.h"

namespace cmskit {

namespace {

[[noreturn]] void Throw(int status) { throw XTOOStatus(static_cast<uint32_t>(status), "SignData", false); }

}  // namespace

SignedFileReader::SignedFileReader(CTOOFile& file, bool wide)
    : file_(file), reader_(file, wide ? kASNTWideForm : kASNTFileForm) {
  if (reader_.Status() != 0)
    throw XTOOStatus(static_cast<uint32_t>(reader_.Status()), file.GetFileName(), false);
}

ASNTHeader SignedFileReader::Header(uint64_t position) {
  if (position >= End()) Throw(kStatusTruncated);
  ASNTHeader header;
  const int status = reader_.ReadHeader(position, header);
  if (status != 0) Throw(status == kStatusTooLarge ? status : kStatusCorrupt);
  return header;
}

uint64_t SignedFileReader::ContentsLength(const ASNTHeader& header) {
  uint64_t length = 0;
  const int status = reader_.ContentsLength(header, length);
  if (status != 0) Throw(status == kStatusTooLarge ? status : kStatusCorrupt);
  return length;
}

uint64_t SignedFileReader::Element(uint64_t position, CASNTBaseRecord& record) {
  const ASNTHeader header = Header(position);
  if (header.indefinite) Throw(kStatusCorrupt);
  const IdentObj element = Bytes(position, header.size + header.length);
  return record.ReadFromMemory(element.data(), element.size(), nullptr);
}

IdentObj SignedFileReader::Bytes(uint64_t position, uint64_t count) {
  if (position > End() || count > End() - position) Throw(kStatusTruncated);
  IdentObj bytes;
  const int status = reader_.ReadBytes(position, count, bytes);
  if (status == kStatusCorrupt) Throw(kStatusTruncated);
  if (status != 0) throw XTOOStatus(kStatusReadError, file_.GetFileName(), false);
  return bytes;
}

}  // namespace cmskit
