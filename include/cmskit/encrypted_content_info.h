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

  // The encrypted length taken as the plaintext length, to size an output
  // buffer: contentLength for file content, else the stored octets' length
  // (for pieces, their headers included). CBC padding makes it an upper bound.
  DWORD GetOpenTextSize();
  // Length of the EncryptedContentInfo that encrypting `plainSize` bytes with
  // `key` produces, always as GOST 28147-89 with the key's IV and parameter
  // set; pieceFlags bit 1 counts a 4-byte piece header per 4096-byte block.
  // 0 on failure, with the thread's last error set.
  DWORD GetEncryptSize(HCRYPTKEY key, DWORD plainSize, DWORD pieceFlags) const;

  // 64-bit companions, for encrypted content of 4 GiB and more in a file;
  // they behave as their 32-bit siblings in every other respect. The 32-bit
  // members keep their behaviour for anything they can express; for an
  // offset, length or size of 4 GiB or more they fail with
  // ERROR_FILE_TOO_LARGE (223), also when a 64-bit member recorded it. Such
  // a range is kept aside, with contentOffset and contentLength left 0 as its
  // mark: a caller who sets either replaces it.
  uint64_t ReadObject64(const CTOOFile& file);
  uint64_t WriteObject64(CTOOFile& file) const;
  uint64_t GetObjectSize64() const;
  uint64_t GetContentOffset64() const;
  uint64_t GetContentLength64() const;
  uint64_t GetOpenTextSize64();
  uint64_t GetEncryptSize64(HCRYPTKEY key, uint64_t plainSize, DWORD pieceFlags) const;
  // Records where file-held octets lie, in contentOffset and contentLength
  // when they fit, else aside.
  void SetContentRange64(uint64_t offset, uint64_t length);

  CTOOString contentType;
  ASNAlgorithmIdentifier contentEncryptionAlgorithm;
  DWORD flags;
  DWORD contentOffset;
  DWORD contentLength;
  CTOOString fileName;
  IdentObj encryptedContent;

 private:
  bool HoldsWideRange() const;

  uint64_t wideOffset_ = 0;
  uint64_t wideLength_ = 0;
  bool wide_ = false;
};

}  // namespace cmskit

#endif
