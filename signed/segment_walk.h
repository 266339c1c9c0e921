// The content of a constructed (segmented) OCTET STRING lying in a file,
// taken segment by segment without holding more than one group of blocks.
#ifndef CMSKIT_SIGNED_SEGMENT_WALK_H
#define CMSKIT_SIGNED_SEGMENT_WALK_H

#include <cstdint>
#include <vector>

#include "asn/asn_reader.h"
#include "cmskit/file.h"
#include "platform/win32.h"
#include "signed/signed_file_reader.h"

namespace cmskit {

constexpr DWORD kSegmentOverflow = 0x8007000E;  // E_OUTOFMEMORY: segments overrun the buffer
constexpr DWORD kIncompleteCopy = 0x80092003;   // CRYPT_E_FILE_ERROR

// Where a walk puts the octets [position, position + length) of the source.
// Returns 0 or a platform code that ends the walk.
class SegmentSink {
 public:
  virtual ~SegmentSink() = default;
  virtual DWORD Take(ASNTReader& source, uint64_t position, uint64_t length) = 0;
  // Delivers whatever the sink still holds; the walk calls it at its end.
  virtual DWORD Finish() { return 0; }
  uint64_t produced = 0;
};

// Only measures.
class CountingSink : public SegmentSink {
 public:
  DWORD Take(ASNTReader& source, uint64_t position, uint64_t length) override;
};

class MemorySink : public SegmentSink {
 public:
  MemorySink(BYTE* buffer, uint64_t room) : buffer_(buffer), room_(room) {}
  DWORD Take(ASNTReader& source, uint64_t position, uint64_t length) override;

 private:
  BYTE* buffer_;
  uint64_t room_;
};

// Copies into `target`. Streamed messages come in segments of a few
// kilobytes: small ones are gathered and written a group of blocks at a time,
// so a segmented content costs no more writes than a plain one. `produced`
// counts the octets delivered to the target.
class FileSink : public SegmentSink {
 public:
  explicit FileSink(CTOOFile& target);
  DWORD Take(ASNTReader& source, uint64_t position, uint64_t length) override;
  DWORD Finish() override;

 private:
  CTOOFile& target_;
  std::vector<BYTE> held_;
  size_t count_ = 0;
};

// Opens the named content file for reading; failure throws its status.
CTOOFile OpenContentFile(const char* name);

// Octets of the segmented content lying at [begin, begin + length) of the
// named file (read as a 64-bit member does with `wide`); a malformed range
// throws.
uint64_t SegmentedContentSize(const char* name, uint64_t begin, uint64_t length, bool wide);

// Walks the segments lying at [begin, begin + length) of the source, the two
// end-of-contents octets that close them included: each primitive segment
// goes to the sink, constructed ones are entered. A malformed range throws
// XTOOStatus; a sink's code ends the walk and is returned, else the sink's
// Finish code.
DWORD WalkSegments(SignedFileReader& source, uint64_t begin, uint64_t length, SegmentSink& sink);

}  // namespace cmskit

#endif
