// Where the enveloped readers take their elements from: a memory buffer or
// an open file. Both hand out headers, measure indefinite lengths by walking
// the nested headers, and copy contents out with every bound checked against
// the end of the source.
#ifndef CMSKIT_ENVELOPED_ELEMENT_SOURCE_H
#define CMSKIT_ENVELOPED_ELEMENT_SOURCE_H

#include <cstdint>

#include "cmskit/asn_codec.h"
#include "cmskit/encrypted_content_info.h"
#include "cmskit/file.h"
#include "cmskit/identobj.h"
#include "platform/win32.h"

namespace cmskit {

// One parsed header. info.contents is not kept: sources address elements by
// position, not by pointer.
struct ElementHeader {
  ASNTElementInfo info{};
  uint32_t headerLength = 0;
  uint64_t start = 0;

  bool IsIndefinite() const { return info.length == kASNTIndefinite; }
  bool IsEndOfContents() const;
};

class ElementSource {
 public:
  explicit ElementSource(const char* origin) : origin_(origin) {}
  ElementSource(const ElementSource&) = delete;
  ElementSource& operator=(const ElementSource&) = delete;
  virtual ~ElementSource() = default;

  virtual uint64_t Position() = 0;
  virtual uint64_t End() = 0;
  virtual void SeekTo(uint64_t position) = 0;
  // Identifier and length octets at the position, which moves past them.
  virtual ElementHeader ReadHeader() = 0;
  // `count` octets from the position, which moves past them.
  virtual IdentObj ReadBytes(uint64_t count) = 0;
  // The EncryptedContentInfo at the position, in the form that suits the
  // source; the position moves past what it consumed.
  virtual void ReadEncryptedContent(EncryptedContentInfo& target) = 0;

  // Contents octets of the element whose header was just read (end-of-
  // contents included for an indefinite length); the position stays.
  uint64_t ContentsLength(const ElementHeader& header);
  IdentObj ReadContents(const ElementHeader& header);
  void SkipContents(const ElementHeader& header);
  // The next element whole, header included.
  IdentObj ReadElement();

  [[noreturn]] void Fail(int status) const;
  const char* Origin() const { return origin_; }

 protected:
  // Parses identifier and length octets out of `bytes`. The file form takes
  // at most four length octets; both refuse an indefinite primitive element.
  ElementHeader ParseHeader(const BYTE* bytes, uint32_t available, uint64_t start, bool fileForm) const;

 private:
  uint64_t MeasureIndefinite();

  const char* origin_;
};

class MemoryElementSource : public ElementSource {
 public:
  MemoryElementSource(const BYTE* data, DWORD size, const char* origin);

  uint64_t Position() override { return position_; }
  uint64_t End() override { return size_; }
  void SeekTo(uint64_t position) override;
  ElementHeader ReadHeader() override;
  IdentObj ReadBytes(uint64_t count) override;
  void ReadEncryptedContent(EncryptedContentInfo& target) override;

 private:
  const BYTE* data_;
  uint64_t size_;
  uint64_t position_ = 0;
};

class FileElementSource : public ElementSource {
 public:
  // Shares the open stream of `file` (and so its position).
  FileElementSource(const CTOOFile& file, const char* origin);

  uint64_t Position() override;
  uint64_t End() override;
  void SeekTo(uint64_t position) override;
  ElementHeader ReadHeader() override;
  IdentObj ReadBytes(uint64_t count) override;
  void ReadEncryptedContent(EncryptedContentInfo& target) override;

  CTOOFile& File() { return file_; }

 private:
  CTOOFile file_;
  uint64_t end_ = 0;
  bool endKnown_ = false;
};

}  // namespace cmskit

#endif
