// Collects the Base64 characters of a message file, skipping white space and
// armour lines (a run from five "-" to the next five "-").
#ifndef CMSKIT_FILES_BASE64_CHARS_H
#define CMSKIT_FILES_BASE64_CHARS_H

#include <cstddef>
#include <vector>

#include "cmskit/file.h"
#include "files/file_byte_source.h"

namespace cmskit {

// Appends characters of the alphabet and "=" to `chars` until it holds
// `limit` of them or the input ends; returns its size then. Returns 0 on a
// character that may not appear in Base64 text (a single "-" outside armour
// among them) or when the input ends inside a five-dash marker. Each call
// starts outside armour.
size_t ScanBase64Chars(FileByteSource& source, std::vector<char>& chars, size_t limit);

// The same over an open file, consuming it no further than the last byte
// examined.
size_t ReadBase64Chars(CTOOFile& file, std::vector<char>& chars, size_t limit);

}  // namespace cmskit

#endif
