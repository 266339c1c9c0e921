// Headers and elements read straight from a file. Lengths are checked against
// the file's size before anything is allocated.
#include <cstdio>
#include <cstring>

#include "asn/asn_element.h"
#include "asn/asn_file_header.h"
#include "cmskit/status.h"

namespace cmskit {

namespace {

constexpr DWORD kUnknownOffset = 0xFFFFFFFF;
constexpr uint32_t kMaxFileLengthOctets = 4;

bool NextOctet(CTOOFile& file, ASNTFileHeader* header, BYTE* octet) {
  if (file.Read(octet, 1) != 1) return false;
  header->bytes[header->length++] = *octet;
  return true;
}

int ReadTag(CTOOFile& file, ASNTFileHeader* header) {
  BYTE octet = 0;
  if (!NextOctet(file, header, &octet)) return kStatusCorrupt;
  header->info.tagClass = octet & 0xC0;
  header->info.constructed = octet & kASNTConstructed;
  header->info.tagNumber = octet & 0x1F;
  if (header->info.tagNumber != 0x1F) return 0;
  uint32_t number = 0;
  do {
    // Room is left for the length octets; a longer tag cannot be a 32-bit number anyway.
    if (header->length + 1 + kMaxFileLengthOctets >= ASNTFileHeader::kCapacity) return kStatusBadTag;
    if (!NextOctet(file, header, &octet)) return kStatusCorrupt;
    number = (number << 7) | (octet & 0x7F);
  } while (octet & 0x80);
  header->info.tagNumber = number;
  return 0;
}

int ReadLength(CTOOFile& file, ASNTFileHeader* header) {
  BYTE octet = 0;
  if (!NextOctet(file, header, &octet)) return kStatusCorrupt;
  if (octet < 0x80) {
    header->info.length = octet;
    return 0;
  }
  if (octet == 0x80) {
    // A primitive element cannot have an indefinite length worth finding in a file.
    if (!header->info.constructed) return kStatusCorrupt;
    header->info.length = kASNTIndefinite;
    return 0;
  }
  const uint32_t count = octet & 0x7F;
  if (count > kMaxFileLengthOctets) return kStatusCorrupt;
  uint32_t length = 0;
  for (uint32_t i = 0; i < count; ++i) {
    if (!NextOctet(file, header, &octet)) return kStatusCorrupt;
    length = (length << 8) | octet;
  }
  if (length == kASNTIndefinite) return kStatusCorrupt;
  header->info.length = length;
  return 0;
}

// Everything from the element's start to the end of the file, to find where
// an indefinite length closes.
int ReadIndefinite(CTOOFile& file, const ASNTFileHeader& header, uint64_t remaining, IdentObj* encoded) {
  encoded->Allocate(static_cast<uint32_t>(header.length + remaining));
  memcpy(encoded->data(), header.bytes, header.length);
  if (file.Read(encoded->data() + header.length, static_cast<uint32_t>(remaining)) != remaining)
    return kStatusReadError;
  ASNTElementInfo info = header.info;
  info.contents = encoded->data() + header.length;
  uint64_t total = 0;
  const int code = ASNTElementSize(info, encoded->data(), encoded->size(), &total);
  if (code != 0) return code;
  encoded->Resize(static_cast<uint32_t>(total));
  return file.Seek(static_cast<long>(header.start + total), SEEK_SET) == 0 ? 0 : kStatusReadError;
}

}  // namespace

uint32_t ASNTFileLength(CTOOFile& file) {
  const int32_t position = file.Tell();
  if (position < 0 || file.Seek(0, SEEK_END) != 0) return 0xFFFFFFFF;
  const int32_t length = file.Tell();
  if (file.Seek(position, SEEK_SET) != 0 || length < 0) return 0xFFFFFFFF;
  return static_cast<uint32_t>(length);
}

int ASNTReadFileHeader(CTOOFile& file, DWORD offset, ASNTFileHeader* header) {
  *header = ASNTFileHeader{};
  const int32_t position = file.Tell();
  if (position < 0) return kStatusTell;
  header->start = static_cast<uint32_t>(position);
  header->fileLength = ASNTFileLength(file);
  if (header->fileLength == 0xFFFFFFFF) return kStatusTell;
  if (offset != kUnknownOffset && offset >= header->fileLength) return kStatusTruncated;
  const int code = ReadTag(file, header);
  return code != 0 ? code : ReadLength(file, header);
}

int ASNTReadFileElement(CTOOFile& file, const ASNTFileHeader& header, IdentObj* encoded) {
  const uint64_t after = uint64_t{header.start} + header.length;
  if (after > header.fileLength) return kStatusReadError;
  const uint64_t remaining = header.fileLength - after;
  if (header.info.length == kASNTIndefinite) return ReadIndefinite(file, header, remaining, encoded);
  if (header.info.length > remaining) return kStatusReadError;
  encoded->Allocate(header.length + header.info.length);
  memcpy(encoded->data(), header.bytes, header.length);
  if (header.info.length == 0) return 0;
  const uint32_t read = file.Read(encoded->data() + header.length, header.info.length);
  return read == header.info.length ? 0 : kStatusReadError;
}

}  // namespace cmskit
