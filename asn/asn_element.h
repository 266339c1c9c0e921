// Helpers the codec, the sequence routines and the record tree share: header
// sizes and writing, and the total size of an element whose header is known.
#ifndef CMSKIT_ASN_ASN_ELEMENT_H
#define CMSKIT_ASN_ASN_ELEMENT_H

#include <cstdint>
#include <vector>

#include "cmskit/asn_codec.h"
#include "cmskit/identobj.h"
#include "platform/win32.h"

namespace cmskit {

// Contents lengths above this cannot be written: header and contents must fit
// the 32-bit size of an IdentObj.
constexpr uint64_t kASNTMaxElement = 0xFFFFFFFFull;

// Identifier plus length octets for a tag number and a definite length.
uint32_t ASNTHeaderSize(uint32_t tagNumber, uint64_t contentLength);

// Writes identifier and length octets at `out` (room for ASNTHeaderSize
// bytes); returns their count.
uint32_t ASNTWriteHeader(BYTE* out, uint8_t tagClass, uint8_t constructed, uint32_t tagNumber,
                         uint64_t contentLength);

// Octets between the header and the contents.
inline uint32_t ASNTHeaderLength(const ASNTElementInfo& info, const BYTE* data) {
  return static_cast<uint32_t>(info.contents - data);
}

// Identifier and definite length octets of any element, for writers that
// stream the contents afterwards; any 64-bit length.
IdentObj ASNTEncodeHeader(uint8_t tagClass, uint8_t constructed, uint32_t tagNumber, uint64_t contentLength);

// True when the element at `data` (header already parsed into `info`) is a
// primitive one with an indefinite length: its contents end at a zero pair.
bool ASNTIsIndefinitePrimitive(const ASNTElementInfo& info, const BYTE* data);

// The whole size of the element whose header `info` describes, 64-bit so a
// hostile length cannot wrap: header plus contents, plus the end-of-contents
// octets of an indefinite length. Returns a status; an indefinite element
// must be closed inside `size` bytes (206 otherwise). The result may exceed
// `size` for a definite length: callers compare.
int ASNTElementSize(const ASNTElementInfo& info, const BYTE* data, uint32_t size, uint64_t* total);

// Octets inside a buffer the caller keeps alive.
struct ASNTSpan {
  const BYTE* data;
  uint32_t size;
};

// ASNTGetSequence for readers that only look: the children of the
// constructed element at `data` as spans into it, nothing copied. Returns the
// status ASNTGetSequence would report.
int ASNTSplitSpans(const BYTE* data, uint32_t size, std::vector<ASNTSpan>& out);

inline bool ASNTIsEndOfContents(const BYTE* data, uint64_t position, uint64_t size) {
  return position + 2 <= size && data[position] == 0 && data[position + 1] == 0;
}

}  // namespace cmskit

#endif
