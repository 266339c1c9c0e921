// Small element helpers shared by the enveloped-message readers and writers:
// tag tests, checked decoding of one whole element, explicit wrappers and the
// statuses this family raises itself.
#ifndef CMSKIT_ENVELOPED_ELEMENT_TOOLS_H
#define CMSKIT_ENVELOPED_ELEMENT_TOOLS_H

#include <cstdint>

#include <list>

#include "cmskit/asn_codec.h"
#include "cmskit/file.h"
#include "cmskit/identobj.h"
#include "platform/win32.h"

namespace cmskit {

// Statuses of the enveloped family beyond those of cmskit/status.h.
enum : int {
  kStatusNoRecipientId = 42,        // a recipient with neither issuer/serial nor key identifier
  kStatusUnsupportedVersion = 136,  // a recipient version other than 0 and 2
};

[[noreturn]] void RaiseStatus(int status, const char* origin);
// Turns the thread's last error left by a component that reports that way
// into a status of the caller's boundary.
[[noreturn]] void RaiseLastError(const char* origin);

bool IsUniversal(const ASNTElementInfo& info, uint32_t tagNumber);
bool IsContext(const ASNTElementInfo& info, uint32_t tagNumber);

// Header of a whole element held in `element`; `headerLength` receives the
// identifier and length octets' size. Parser failures raise their status.
ASNTElementInfo ReadElementHeader(const IdentObj& element, uint32_t& headerLength, const char* origin);

// The value of a whole primitive universal element with `tagNumber`; any
// other element raises `failStatus`.
IdentObj DecodePrimitive(const IdentObj& element, uint32_t tagNumber, int failStatus, const char* origin);

// Contents length of a whole element, an indefinite length without its
// closing end-of-contents octets.
uint32_t ContentsLengthOf(const IdentObj& element, const ASNTElementInfo& info, uint32_t headerLength);

// Explicit tagging: the whole `inner` element becomes the contents of a
// constructed context-class element [tagNumber].
IdentObj WrapExplicit(uint32_t tagNumber, const IdentObj& inner);
// Identifier and length octets only, for `contentsLength` contents octets.
IdentObj EncodeHeader(uint8_t tagClass, uint8_t constructed, uint32_t tagNumber, uint64_t contentsLength);
IdentObj EncodeUnsigned(DWORD value);
IdentObj EncodeObjectId(const char* dottedText);
IdentObj EncodeSequence(const std::list<IdentObj>& items, uint32_t tagNumber, const char* origin);

// Writes all of `bytes`; a short write raises the file's status (6 if none).
void WriteBytes(CTOOFile& file, const IdentObj& bytes, const char* origin);

}  // namespace cmskit

#endif
