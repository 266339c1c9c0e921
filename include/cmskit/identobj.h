// The owning byte blob through which every encoded element travels.
#ifndef CMSKIT_IDENTOBJ_H
#define CMSKIT_IDENTOBJ_H

#include <cstdint>

#include "export.h"
#include "platform/win32.h"
#include "tstring.h"

namespace cmskit {

// A CRYPTOAPI_BLOB that owns its buffer: deep copies, ordered by length first.
// Holds one whole DER element, a decoded value, or plain bytes, by origin.
class CMSKIT_API IdentObj : public CRYPTOAPI_BLOB {
 public:
  IdentObj();
  IdentObj(const void* data, uint32_t size);
  IdentObj(const IdentObj& other);
  IdentObj(IdentObj&& other) noexcept;
  virtual ~IdentObj();

  IdentObj& operator=(const IdentObj& other);
  IdentObj& operator=(IdentObj&& other) noexcept;
  IdentObj& operator=(const CRYPTOAPI_BLOB& blob);
  // The characters of `text` without its terminator.
  IdentObj& operator=(const char* text);

  void SetData(const void* data, uint32_t size);
  // Room for `size` bytes, left uninitialised.
  void Allocate(uint32_t size);
  virtual void Resize(uint32_t newSize);
  virtual void Clear();

  uint64_t GetStoredSize() const { return static_cast<uint64_t>(cbData) + 4; }
  bool IsEmpty() const { return cbData == 0; }
  uint32_t size() const { return cbData; }
  const BYTE* data() const { return pbData; }
  BYTE* data() { return pbData; }

  bool operator==(const IdentObj& other) const;
  bool operator!=(const IdentObj& other) const { return !(*this == other); }
  bool operator<(const IdentObj& other) const;
  bool operator>(const IdentObj& other) const;
  bool operator==(const CTOOString& text) const;
  bool operator!=(const CTOOString& text) const { return !(*this == text); }

 private:
  void AssignBytes(const BYTE* source, uint32_t size);
};

// An IdentObj with the unused-bit count of a BIT STRING, laid out as
// CRYPT_BIT_BLOB behind the table pointer.
class CMSKIT_API CTOOCryptBitBlob : public IdentObj {
 public:
  CTOOCryptBitBlob() = default;
  CTOOCryptBitBlob(const CTOOCryptBitBlob& other);
  CTOOCryptBitBlob& operator=(const CTOOCryptBitBlob& other);
  ~CTOOCryptBitBlob() override;

  const CRYPT_BIT_BLOB* AsBitBlob() const {
    return reinterpret_cast<const CRYPT_BIT_BLOB*>(static_cast<const CRYPTOAPI_BLOB*>(this));
  }

  uint32_t cUnusedBits = 0;
};

}  // namespace cmskit

#endif
