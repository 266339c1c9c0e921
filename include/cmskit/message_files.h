// Message files: what a file holds, and conversion between DER and Base64.
#ifndef CMSKIT_MESSAGE_FILES_H
#define CMSKIT_MESSAGE_FILES_H

#include "export.h"

namespace cmskit {

// What a message file holds, judged from its first bytes.
enum CmsFileType {
  CmsFileUnknown = 0,         // not recognised, unreadable, or any failure
  CmsFileEnveloped = 1,       // ContentInfo with envelopedData
  CmsFileSignedAttached = 2,  // signedData carrying a non-empty [0] eContent
  CmsFileSignedDetached = 3,  // signedData with only the eContentType, or an empty [0]
};

// True when the file begins with a DER ContentInfo header and a readable
// content type. Never throws; false on any failure.
CMSKIT_API bool IsAsn1Binary(const char* path);

// True when the file's first Base64 characters (armour lines and white space
// skipped) decode to such a ContentInfo header. Never throws.
CMSKIT_API bool IsAsn1Base64(const char* path);

// Classifies a DER or Base64 message file; CmsFileUnknown on any failure.
CMSKIT_API CmsFileType GetFileTypeByContent(const char* path);

// Writes the Base64 text of `source` to `destination` as one line, without
// armour or final line break. False on any failure; never throws.
CMSKIT_API bool Base64FileEncode(const char* source, const char* destination);

// Decodes a Base64 file (with or without armour lines and line breaks) into
// `destination`. A character that cannot be Base64 ends the input; a last
// quantum of 1 to 3 characters is a failure. Never throws. On failure the
// destination keeps what was written before it.
CMSKIT_API bool Base64FileDecode(const char* source, const char* destination);

}  // namespace cmskit

#endif
