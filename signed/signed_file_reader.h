// The one element reader as the SignedData file reader and the segment walk
// use it: the reader's faults become this family's statuses, thrown. A
// header or octets wanted at or past the end of the file are 37; a header or
// length that cannot be read, 206; a short read, 5 with the file's name.
// The 32-bit members read at most four length octets; a longer length that
// needs more than 32 bits is one they cannot express (kStatusTooLarge), not
// a corrupt one.
#ifndef CMSKIT_SIGNED_SIGNED_FILE_READER_H
#define CMSKIT_SIGNED_SIGNED_FILE_READER_H

#include <cstdint>

#include "asn/asn_reader.h"
#include "cmskit/asn_record.h"
#include "cmskit/file.h"
#include "cmskit/identobj.h"

namespace cmskit {

class SignedFileReader {
 public:
  // `wide`: for the 64-bit members.
  SignedFileReader(CTOOFile& file, bool wide);

  uint64_t End() const { return reader_.End(); }
  ASNTReader& Reader() { return reader_; }

  ASNTHeader Header(uint64_t position);
  // Contents octets of the element, an indefinite length walked.
  uint64_t ContentsLength(const ASNTHeader& header);
  // The whole element at `position`, which must have a definite length,
  // parsed into `record`; returns its size.
  uint64_t Element(uint64_t position, CASNTBaseRecord& record);
  IdentObj Bytes(uint64_t position, uint64_t count);

 private:
  CTOOFile& file_;
  ASNTReader reader_;
};

}  // namespace cmskit

#endif
