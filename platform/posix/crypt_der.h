// Just enough DER for the provider: walking the elements of a certificate and
// of algorithm parameters, and writing a public key's structure. Every read
// stays inside the given bytes; lengths are checked in 64-bit arithmetic.
#ifndef CMSKIT_PLATFORM_POSIX_CRYPT_DER_H
#define CMSKIT_PLATFORM_POSIX_CRYPT_DER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/win32.h"

namespace cmskit {
namespace posix {

constexpr BYTE kDerInteger = 0x02;
constexpr BYTE kDerBitString = 0x03;
constexpr BYTE kDerOctetString = 0x04;
constexpr BYTE kDerNull = 0x05;
constexpr BYTE kDerOid = 0x06;
constexpr BYTE kDerUtcTime = 0x17;
constexpr BYTE kDerGeneralizedTime = 0x18;
constexpr BYTE kDerBoolean = 0x01;
constexpr BYTE kDerSequence = 0x30;

// One element: its identifier octet, where it starts and its value.
struct DerElement {
  BYTE tag = 0;
  const BYTE* start = nullptr;
  size_t size = 0;  // identifier, length and value octets
  const BYTE* value = nullptr;
  size_t length = 0;
};

// Reads the elements that follow each other in a range.
class DerReader {
 public:
  DerReader(const BYTE* data, size_t size) : data_(data), size_(size) {}
  explicit DerReader(const DerElement& constructed) : DerReader(constructed.value, constructed.length) {}

  bool AtEnd() const { return position_ >= size_; }
  // The tag of the next element, 0 at the end.
  BYTE PeekTag() const { return AtEnd() ? 0 : data_[position_]; }
  // 0, or CRYPT_E_ASN1_EOD / CRYPT_E_ASN1_CORRUPT for bytes that do not hold
  // a whole definite-length element with a one-octet identifier.
  DWORD Next(DerElement* element);
  // As Next, and CRYPT_E_ASN1_BADTAG unless the element has tag `tag`.
  DWORD Expect(BYTE tag, DerElement* element);

 private:
  const BYTE* data_;
  size_t size_;
  size_t position_ = 0;
};

// The dotted text of an OBJECT IDENTIFIER's value; empty when malformed.
std::string OidText(const BYTE* value, size_t length);

// The value of a small non-negative INTEGER; false when it does not fit.
bool SmallInteger(const DerElement& element, uint32_t* value);

// One element from its identifier octet and value.
std::vector<BYTE> DerEncode(BYTE tag, const std::vector<BYTE>& value);

// The value octets of an OBJECT IDENTIFIER written as dotted text; false for
// text that is not one.
bool OidValue(const char* text, std::vector<BYTE>* value);

}  // namespace posix
}  // namespace cmskit

#endif
