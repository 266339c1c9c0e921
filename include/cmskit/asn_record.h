// One ASN.1 element held both encoded and decoded, and a tree of them.
#ifndef CMSKIT_ASN_RECORD_H
#define CMSKIT_ASN_RECORD_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "asn_codec.h"
#include "export.h"
#include "file.h"
#include "identobj.h"
#include "platform/win32.h"

namespace cmskit {

// An element in two forms, its complete encoding and its decoded value, each
// computed from the other on first demand and kept. After a read `encoded`
// holds the element and `value` is empty; after SetValue the reverse.
class CMSKIT_API CASNTBaseRecord {
 public:
  CASNTBaseRecord();
  // A record built from a value: `info` gives class, constructed bit and tag
  // number; `value` is in the codec's value form for that tag.
  CASNTBaseRecord(const ASNTElementInfo& info, const IdentObj& value);
  CASNTBaseRecord(const CASNTBaseRecord& other);

  // The virtual members keep this order: message classes rely on it.
  virtual ~CASNTBaseRecord();
  virtual DWORD WriteToFile(CTOOFile& file, DWORD offset, int* status);
  virtual void GetEncoded(IdentObj& out, int* status);
  virtual DWORD CopyEncoded(BYTE* buffer, DWORD size, int* status);
  // `offset` is where the caller positioned the file (0xFFFFFFFF: unknown).
  virtual DWORD ReadFromFile(CTOOFile& file, DWORD offset, int* status);
  virtual DWORD ReadFromMemory(const BYTE* data, DWORD size, int* status);
  virtual DWORD GetEncodedSize();
  virtual CASNTBaseRecord& operator=(const CASNTBaseRecord& other);
  // Reserved for the message classes; here: the encodings' order (length
  // first), negative, 0 or positive.
  virtual int Compare(const CASNTBaseRecord& other) const;

  // Identifier and length octets only; returns the header length.
  DWORD ReadASNInfo(const BYTE* data, DWORD size, int* status);
  DWORD ReadASNInfo(CTOOFile& file, DWORD offset, int* status);

  const IdentObj& GetValue(int* status);
  const IdentObj& GetEncodedRef(int* status);
  void SetValue(const ASNTElementInfo& info, const IdentObj& value);

  const ASNTElementInfo& GetInfo() const { return info; }
  bool IsConstructed() const { return info.constructed != 0; }
  uint8_t GetTagClass() const { return info.tagClass; }
  uint32_t GetTagNumber() const { return info.tagNumber; }
  uint32_t GetLength() const { return info.length; }
  void Reset();

 protected:
  // Makes `encoded` from `info` and `value` when it is still empty.
  int BuildEncoded();
  // Points info.contents into `encoded` after it was replaced.
  void RebaseInfo(uint32_t headerLength);

  ASNTElementInfo info;
  IdentObj value;
  IdentObj encoded;
};

// A record whose constructed elements carry their children. A primitive
// context-specific element whose contents are exactly one element gets that
// element (a plain CASNTBaseRecord) as its only child.
class CMSKIT_API CASNTUnit : public CASNTBaseRecord {
 public:
  CASNTUnit();
  // An empty constructed (or primitive) element to be filled with AddChild.
  CASNTUnit(uint8_t tagClass, uint8_t constructed, uint32_t tagNumber);
  CASNTUnit(const CASNTUnit& other);
  CASNTUnit& operator=(const CASNTUnit& other);
  using CASNTBaseRecord::operator=;

  ~CASNTUnit() override;
  DWORD CopyEncoded(BYTE* buffer, DWORD size, int* status) override;
  DWORD ReadFromMemory(const BYTE* data, DWORD size, int* status) override;
  DWORD GetEncodedSize() override;

  void AddChild(std::unique_ptr<CASNTBaseRecord> child);
  size_t GetChildCount() const { return children_.size(); }
  CASNTBaseRecord* GetChild(size_t index) const;
  void DeleteChildren();

 private:
  DWORD ReadAt(const BYTE* data, DWORD size, uint32_t depth);
  DWORD ReadChildren(const BYTE* data, DWORD size, uint32_t headerLength, uint32_t depth);
  void ReadContextNested();
  uint64_t BuiltContentsSize();
  void CopyChildren(const CASNTUnit& other);

  std::vector<std::unique_ptr<CASNTBaseRecord>> children_;
};

}  // namespace cmskit

#endif
