// Element headers and whole elements read from a file's current position.
#ifndef CMSKIT_ASN_ASN_FILE_HEADER_H
#define CMSKIT_ASN_ASN_FILE_HEADER_H

#include <cstdint>

#include "cmskit/asn_codec.h"
#include "cmskit/file.h"
#include "cmskit/identobj.h"

namespace cmskit {

// The file form accepts at most four length octets (the memory parser
// eight) and keeps the header octets it read.
struct ASNTFileHeader {
  static constexpr uint32_t kCapacity = 16;
  ASNTElementInfo info{};
  BYTE bytes[kCapacity] = {};
  uint32_t length = 0;  // header octets
  uint32_t start = 0;   // file position of the identifier octet
  uint32_t fileLength = 0;
};

// The file's length, the file left where it was. Unlike CTOOFile::GetLength
// it does not flush, which some C runtimes treat as discarding the read-ahead
// of a stream that is being read. 0xFFFFFFFF when it cannot be told.
uint32_t ASNTFileLength(CTOOFile& file);

// Parses the header at the file's position (`offset` is that position when
// the caller knows it, 0xFFFFFFFF otherwise). Statuses: 37 offset at or past
// the end, 205 malformed tag, 206 corrupt length or end of file.
int ASNTReadFileHeader(CTOOFile& file, DWORD offset, ASNTFileHeader* header);

// Reads the rest of the element whose header was just read, leaving the file
// after it; `encoded` receives header and contents. 5 on a short file.
int ASNTReadFileElement(CTOOFile& file, const ASNTFileHeader& header, IdentObj* encoded);

}  // namespace cmskit

#endif
