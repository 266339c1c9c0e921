// The one element reader as the enveloped readers walk it: forward from a
// position, over a memory buffer or an open file, every fault thrown as
// XTOOStatus with the reader's origin text. This family calls anything that
// does not fit before the end of its source corrupt (206); a failed file
// read gives the file's status, 5 when it has none.
#ifndef CMSKIT_ENVELOPED_ENVELOPED_SOURCE_H
#define CMSKIT_ENVELOPED_ENVELOPED_SOURCE_H

#include <cstdint>

#include "asn/asn_reader.h"
#include "cmskit/encrypted_content_info.h"
#include "cmskit/file.h"
#include "cmskit/identobj.h"
#include "platform/win32.h"

namespace cmskit {

class EnvelopedSource {
 public:
  // Memory: the buffer's first octet is position 0.
  EnvelopedSource(const BYTE* data, DWORD size, const char* origin);
  // A file, from where its stream stands; the caller's object shares it.
  // Without `wide` (the 32-bit members) lengths take at most four octets, and
  // a longer one that needs more than 32 bits is kStatusTooLarge.
  EnvelopedSource(const CTOOFile& file, const char* origin, bool wide);

  uint64_t Position() const { return position_; }
  uint64_t End() const { return reader_.End(); }
  void SeekTo(uint64_t position);
  // Identifier and length octets at the position, which moves past them.
  ASNTHeader ReadHeader();
  // Contents octets of the element whose header was just read (end-of-
  // contents included for an indefinite length); the position stays.
  uint64_t ContentsLength(const ASNTHeader& header);
  IdentObj ReadContents(const ASNTHeader& header);
  // `count` octets from the position, which moves past them.
  IdentObj ReadBytes(uint64_t count);
  // The next element whole, header included.
  IdentObj ReadElement();
  // The EncryptedContentInfo at the position, in the form that suits the
  // source: its octets stay in a file.
  void ReadEncryptedContent(EncryptedContentInfo& target);
  // Leaves a file's stream where the reading stopped.
  void Finish();

  [[noreturn]] void Fail(int status) const;
  const char* Origin() const { return origin_; }

 private:
  void Check(int status) const;

  CTOOFile file_;
  ASNTReader reader_;
  const char* origin_;
  bool wide_ = true;
  uint64_t position_ = 0;
};

}  // namespace cmskit

#endif
