// The first steps of a message: the ContentInfo header and its content type,
// and the SignedData walk that tells attached from detached content.
#ifndef CMSKIT_FILES_CONTENT_TYPE_H
#define CMSKIT_FILES_CONTENT_TYPE_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/win32.h"

namespace cmskit {

// Reads a SEQUENCE header and the element after it, whose value (dotted text
// for an OBJECT IDENTIFIER) goes to `oid`. False when a read fails, the outer
// tag is not SEQUENCE or the value is empty. `consumed`, when given, receives
// the bytes of the outer header and that element.
bool ReadContentType(const BYTE* bytes, size_t length, std::string& oid, size_t* consumed);

// Walks a ContentInfo with SignedData down to the encapsulated content and
// tells whether a non-empty [0] eContent is there. False when the structure
// is not as expected or the bytes end before the answer.
bool InspectSignedData(const BYTE* bytes, size_t length, bool& hasContent);

// The content length of an indefinite-length element whose contents start at
// `contents`, found by following the nested elements to the end-of-contents
// octets that close it; `available` when the bytes end first.
uint64_t IndefiniteExtent(const BYTE* contents, uint64_t available, bool constructed);

}  // namespace cmskit

#endif
