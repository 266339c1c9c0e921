// The one way the library walks encoded elements: a positioned reader over a
// memory buffer or an open file, bounded by the source's end, with 64-bit
// positions and 64-bit bounds arithmetic. The codec, the record tree and the
// signed, enveloped and message-file readers all parse through it.
#ifndef CMSKIT_ASN_ASN_READER_H
#define CMSKIT_ASN_ASN_READER_H

#include <cstdint>
#include <map>
#include <vector>

#include "cmskit/asn_codec.h"
#include "cmskit/file.h"
#include "cmskit/identobj.h"
#include "platform/win32.h"

namespace cmskit {

// What a header's length octets may be; the readers differ here and only
// here.
// - The memory codec takes up to eight length octets and keeps the low four
//   (its lengths are 32-bit), and measures a primitive element of indefinite
//   length up to the first pair of zero octets.
// - The enveloped memory reader reads the same octets but, as every file
//   reader, calls an indefinite primitive element corrupt: X.690 allows the
//   indefinite form for constructed encodings only.
// - The file readers of the 32-bit interface take at most four length octets.
//   The message readers among them tell a longer length that needs more than
//   32 bits, and does fit in the file, apart: it belongs to a message too
//   large for them (kStatusTooLarge), not to a corrupt one.
// - The wide form serves the 64-bit file members: eight octets, every bit
//   kept.
struct ASNTHeaderForm {
  uint8_t maxLengthOctets;
  bool wideLength;
  bool measurePrimitiveIndefinite;
  bool tellTooLarge;
};

constexpr ASNTHeaderForm kASNTMemoryForm{8, false, true, false};
constexpr ASNTHeaderForm kASNTStrictMemoryForm{8, false, false, false};
constexpr ASNTHeaderForm kASNTRecordFileForm{4, false, false, false};
constexpr ASNTHeaderForm kASNTFileForm{4, false, false, true};
constexpr ASNTHeaderForm kASNTWideForm{8, true, false, false};

// One parsed header, addressed by position.
struct ASNTHeader {
  uint64_t start = 0;  // position of the identifier octet
  uint32_t size = 0;   // identifier and length octets
  // tagClass and constructed are kept apart on purpose: copied out as one
  // word right after the parser stored them as two bytes, they stalled the
  // readers' hottest loop.
  uint8_t tagClass = 0;
  // Constructed and closed by end-of-contents octets; `length` is then
  // unknown until measured.
  bool indefinite = false;
  uint8_t constructed = 0;
  uint32_t tagNumber = 0;
  // Primitive with the indefinite marker, measured: `length` octets of
  // contents, then the two zero octets that close them.
  bool zeroTerminated = false;
  uint64_t length = 0;
  // Octets of a long-form length after its first; 0 for the short and the
  // indefinite forms.
  uint8_t lengthOctets = 0;

  uint64_t ContentsStart() const { return start + size; }
  // Exactly the two octets 00 00 (00 80 opens a measured primitive).
  bool IsEndOfContents() const {
    return size == 2 && tagClass == kASNTUniversal && !constructed && tagNumber == 0 && length == 0 &&
           !zeroTerminated;
  }
  bool Is(uint8_t cls, uint32_t number) const { return tagClass == cls && tagNumber == number; }
  // The codec's view: a 32-bit length (kASNTIndefinite for an indefinite
  // one) and the contents pointer for a header parsed at `at`.
  // Inline so that callers build the result in place: returned through
  // memory it was stored piecewise and reloaded whole, a stall on every
  // element.
  ASNTElementInfo Info(const BYTE* at) const {
    const uint32_t narrow = indefinite ? kASNTIndefinite : static_cast<uint32_t>(length);
    return ASNTElementInfo{tagClass, constructed, tagNumber, narrow, at ? at + size : nullptr};
  }
};

// Parses identifier and length octets at data[0 .. size) under `form`.
// Statuses: 206 fewer than two octets, missing or refused length octets, an
// unterminated indefinite primitive; 205 a tag number that does not end;
// with tellTooLarge, kStatusTooLarge for up to eight length octets whose
// value needs more than 32 bits (`length` then holds it).
int ASNTParseHeader(const BYTE* data, uint64_t size, const ASNTHeaderForm& form, ASNTHeader& header);

// The header of the whole element at data[0 .. size) with its extent
// checked to lie inside it: a definite length must fit, an indefinite one
// must close. `total` receives header plus contents. Returns a status.
// Defined beside the parser so that the common definite case compiles
// into one pass over the octets.
int ASNTBoundedHeader(const BYTE* data, uint64_t size, ASNTElementInfo& info, uint64_t& total);

// Contents of a primitive element with the indefinite marker, from their
// first octet: the octets before the first pair of zero octets; 206 when
// there is none.
int ASNTMeasureZeroTerminated(const BYTE* contents, uint64_t size, uint64_t& length);

class ASNTReader {
 public:
  ASNTReader(const BYTE* data, uint64_t size, const ASNTHeaderForm& form);
  // Reads through the file's stream (shared with the caller's object); the
  // source ends where the file ends now. `Status()` tells whether the
  // file's length could be told. `window` octets are read ahead at a time:
  // large for walks, small for a reader that takes one element and goes.
  static constexpr uint64_t kWalkWindow = 64 * 1024;
  ASNTReader(CTOOFile& file, const ASNTHeaderForm& form, uint64_t window = kWalkWindow);
  ASNTReader(const ASNTReader&) = delete;
  ASNTReader& operator=(const ASNTReader&) = delete;

  int Status() const { return status_; }
  uint64_t End() const { return end_; }
  const ASNTHeaderForm& Form() const { return form_; }
  // The bytes of a memory source; null for a file.
  const BYTE* Memory() const { return data_; }

  // The header at `position`; 206 when no complete header lies before the
  // end, else the statuses of ASNTParseHeader.
  int ReadHeader(uint64_t position, ASNTHeader& header);
  // The contents octets of the element `header` describes: a definite
  // length checked to lie inside the source, an indefinite one walked up to
  // and including the end-of-contents octets that close it. 206 when it does
  // not fit, does not close, or nests deeper than kASNTMaxDepth.
  int ContentsLength(const ASNTHeader& header, uint64_t& length);
  // Header, contents and the zeros that close a measured primitive.
  int ElementSize(const ASNTHeader& header, uint64_t& size);
  // The walk behind an indefinite length, from the first contents octet: the
  // octets walked (at most to the end of the source) and whether the
  // outermost end-of-contents was reached. Header failures and nesting beyond
  // kASNTMaxDepth are statuses; running into the end is not.
  int WalkIndefinite(uint64_t contentsStart, uint64_t& walked, bool& closed);

  // `count` octets at `position`; 206 when they do not all lie inside the
  // source, else a file's read status (5 when it has none).
  int Read(uint64_t position, void* out, uint64_t count);
  int ReadBytes(uint64_t position, uint64_t count, IdentObj& out);

  // A file source: puts the stream at `position` for whoever reads on from
  // the file itself, and forgets where it stood.
  int Leave(uint64_t position);

 private:
  const BYTE* Window(uint64_t position, uint64_t wanted, uint64_t& available);
  int Fill(uint64_t position);
  int SeekStream(uint64_t position);
  int ReadStream(BYTE* out, uint64_t count);

  const BYTE* data_ = nullptr;
  CTOOFile* file_ = nullptr;
  ASNTHeaderForm form_;
  uint64_t end_ = 0;
  int status_ = 0;
  // A file is read through a window of its own, so that walking headers
  // costs one read per window, not one per octet; large reads bypass it.
  uint64_t windowCapacity_ = 0;
  std::vector<BYTE> window_;
  uint64_t windowStart_ = 0;
  uint64_t windowSize_ = 0;
  uint64_t streamAt_ = UINT64_MAX;
  // Ends of indefinite elements found while walking a file, by contents
  // start: an element met again inside one already walked (the content
  // inside encapContentInfo) is not walked twice.
  std::map<uint64_t, uint64_t> measured_;
};

}  // namespace cmskit

#endif
