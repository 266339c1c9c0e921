#include "cmskit/identobj.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>
#include <string>

#include "tools/boundary.h"

namespace cmskit {

// The layout checks below rely on offsetof over classes with a table pointer,
// which GCC computes exactly for single inheritance.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
static_assert(offsetof(CTOOCryptBitBlob, cUnusedBits) - offsetof(CTOOCryptBitBlob, cbData) ==
                  offsetof(CRYPT_BIT_BLOB, cUnusedBits),
              "CTOOCryptBitBlob must lay out as CRYPT_BIT_BLOB behind its table pointer");
static_assert(sizeof(CTOOCryptBitBlob) == sizeof(void*) + sizeof(CRYPT_BIT_BLOB),
              "CTOOCryptBitBlob adds nothing but cUnusedBits");
static_assert(sizeof(IdentObj) == sizeof(void*) + sizeof(CRYPTOAPI_BLOB),
              "IdentObj adds nothing but its table pointer");
#pragma GCC diagnostic pop

namespace {
BYTE* NewBytes(uint32_t size) {
  BYTE* bytes = new (std::nothrow) BYTE[size];
  if (!bytes) ThrowNoMemory();
  return bytes;
}
}  // namespace

IdentObj::IdentObj() {
  cbData = 0;
  pbData = nullptr;
}

IdentObj::IdentObj(const void* data, uint32_t size) : IdentObj() {
  if (size == 0) return;
  pbData = NewBytes(size);
  cbData = size;
  if (data)
    memcpy(pbData, data, size);
  else
    memset(pbData, 0, size);
}

IdentObj::IdentObj(const IdentObj& other) : IdentObj() { *this = other; }

IdentObj::IdentObj(IdentObj&& other) noexcept : IdentObj() {
  std::swap(cbData, other.cbData);
  std::swap(pbData, other.pbData);
}

IdentObj::~IdentObj() {
  if (cbData != 0 || pbData) delete[] pbData;
}

void IdentObj::AssignBytes(const BYTE* source, uint32_t size) {
  delete[] pbData;
  pbData = nullptr;
  // The size is stored before allocating: after a failed allocation the
  // object is only fit to be destroyed.
  cbData = size;
  if (size == 0) return;
  pbData = NewBytes(size);
  memcpy(pbData, source, size);
}

IdentObj& IdentObj::operator=(const IdentObj& other) {
  if (this != &other) AssignBytes(other.pbData, other.cbData);
  return *this;
}

IdentObj& IdentObj::operator=(IdentObj&& other) noexcept {
  if (this != &other) {
    Clear();
    std::swap(cbData, other.cbData);
    std::swap(pbData, other.pbData);
  }
  return *this;
}

IdentObj& IdentObj::operator=(const CRYPTOAPI_BLOB& blob) {
  if (&blob != static_cast<const CRYPTOAPI_BLOB*>(this)) AssignBytes(blob.pbData, blob.cbData);
  return *this;
}

IdentObj& IdentObj::operator=(const char* text) {
  const uint32_t length = text ? static_cast<uint32_t>(strlen(text)) : 0;
  if (pbData && text >= reinterpret_cast<const char*>(pbData) &&
      text < reinterpret_cast<const char*>(pbData) + cbData) {
    IdentObj copy(text, length);
    return *this = std::move(copy);
  }
  AssignBytes(reinterpret_cast<const BYTE*>(text), length);
  return *this;
}

void IdentObj::SetData(const void* data, uint32_t size) {
  if (!data) size = 0;
  IdentObj copy(data, size);
  *this = std::move(copy);
}

void IdentObj::Allocate(uint32_t size) {
  delete[] pbData;
  pbData = nullptr;
  cbData = 0;
  if (size == 0) return;
  cbData = size;
  pbData = NewBytes(size);
}

void IdentObj::Resize(uint32_t newSize) {
  if (newSize == cbData) return;
  BYTE* bytes = new (std::nothrow) BYTE[newSize];
  if (!bytes) ThrowNoMemory();
  if (pbData) memcpy(bytes, pbData, std::min<uint32_t>(cbData, newSize));
  delete[] pbData;
  pbData = bytes;
  cbData = newSize;
}

void IdentObj::Clear() {
  delete[] pbData;
  pbData = nullptr;
  cbData = 0;
}

bool IdentObj::operator==(const IdentObj& other) const {
  if (cbData == 0 && other.cbData == 0) return true;
  if (cbData != other.cbData) return false;
  return memcmp(pbData, other.pbData, cbData) == 0;
}

bool IdentObj::operator<(const IdentObj& other) const {
  if (cbData == 0) return other.cbData != 0;
  if (cbData != other.cbData) return cbData < other.cbData;
  return memcmp(pbData, other.pbData, cbData) < 0;
}

bool IdentObj::operator>(const IdentObj& other) const {
  if (cbData == 0) return false;
  if (cbData != other.cbData) return cbData > other.cbData;
  return memcmp(pbData, other.pbData, cbData) > 0;
}

bool IdentObj::operator==(const CTOOString& text) const {
  if (cbData == 0) return text.GetLength() == 0;
  const std::string own(reinterpret_cast<const char*>(pbData), cbData);
  return strcmp(own.c_str(), text.c_str()) == 0;
}

CTOOCryptBitBlob::CTOOCryptBitBlob(const CTOOCryptBitBlob& other)
    : IdentObj(other), cUnusedBits(other.cUnusedBits) {}

CTOOCryptBitBlob& CTOOCryptBitBlob::operator=(const CTOOCryptBitBlob& other) {
  if (this == &other) return *this;
  IdentObj::operator=(other);
  cUnusedBits = other.cUnusedBits;
  return *this;
}

CTOOCryptBitBlob::~CTOOCryptBitBlob() = default;

}  // namespace cmskit
