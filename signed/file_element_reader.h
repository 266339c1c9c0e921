// Reads DER/BER elements at known positions of a file without loading more
// than the element asked for: the SignedData file reader and the detach walk
// use it to step around content they never hold in memory.
#ifndef CMSKIT_SIGNED_FILE_ELEMENT_READER_H
#define CMSKIT_SIGNED_FILE_ELEMENT_READER_H

#include <cstdint>
#include <map>

#include "cmskit/asn_record.h"
#include "cmskit/file.h"
#include "cmskit/identobj.h"

namespace cmskit {

class FileElementReader {
 public:
  explicit FileElementReader(CTOOFile& file);

  uint64_t Length() const { return length_; }
  // Identifier and length octets at `position` into `record`; returns the
  // header length. Failures throw XTOOStatus.
  uint32_t ReadHeader(uint64_t position, CASNTBaseRecord& record);
  // The whole element at `position`; returns its size.
  uint32_t ReadElement(uint64_t position, CASNTBaseRecord& record);
  // `count` octets at `position`, all of which must lie inside the file.
  IdentObj ReadBytes(uint64_t position, uint64_t count);
  // Contents length of the element whose header `record` ends at
  // `contentsStart`: the definite length, checked against the file, or for an
  // indefinite one the octets up to and including its end-of-contents.
  uint64_t ContentsLength(const CASNTBaseRecord& record, uint64_t contentsStart);
  // Places the file at `position` for a caller that reads on by itself.
  void SeekTo(uint64_t position);

 private:
  uint64_t ScanToEnd(uint64_t contentsStart);

  CTOOFile& file_;
  uint64_t length_;
  // Ends found while scanning, by contents start: an indefinite element met
  // again inside one already scanned (the content inside encapContentInfo)
  // is not walked twice.
  std::map<uint64_t, uint64_t> knownEnds_;
};

// True for the two octets 00 00 that close an indefinite length.
bool IsEndOfContents(const CASNTBaseRecord& record);

}  // namespace cmskit

#endif
