// The encryptedContentInfo of an EnvelopedData: content type, content
// encryption algorithm and the encrypted octets, held in memory or left in a
// file and described there by name, offset and length.
#ifndef CMSKIT_ENCRYPTED_CONTENT_INFO_H
#define CMSKIT_ENCRYPTED_CONTENT_INFO_H

#include "asn_types.h"
#include "export.h"
#include "file.h"
#include "identobj.h"
#include "platform/win32.h"
#include "tstring.h"

namespace cmskit {

class CMSKIT_API EncryptedContentInfo {
 public:
  // Bits of `flags`.
  enum : DWORD {
    kContentInFile = 1,      // octets live in `fileName` at contentOffset/contentLength
    kContentConstructed = 2  // [0] is constructed: a series of OCTET STRING pieces
  };

  EncryptedContentInfo();
  // A copy starts with an empty fileName: see operator=.
  EncryptedContentInfo(const EncryptedContentInfo& other);
  // Copies everything except fileName, which the target keeps: a message
  // assigned over another still points at its own source file.
  EncryptedContentInfo& operator=(const EncryptedContentInfo& other);
  ~EncryptedContentInfo();

  // These members report through the thread's last error and a 0 (or empty)
  // result; they throw nothing.
  DWORD ReadObject(const BYTE* data, DWORD size);
  // Leaves the encrypted octets in the file and records where they are.
  DWORD ReadObject(const CTOOFile& file);
  IdentObj WriteObject();
  // Appends the encoding at the file's position, copying file-held octets
  // across in 4096-byte blocks.
  DWORD WriteObject(CTOOFile& file) const;
  // Length of what WriteObject produces, without touching the content.
  DWORD GetObjectSize() const;

  CTOOString contentType;
  ASNAlgorithmIdentifier contentEncryptionAlgorithm;
  DWORD flags;
  DWORD contentOffset;
  DWORD contentLength;
  CTOOString fileName;
  IdentObj encryptedContent;
};

}  // namespace cmskit

#endif
