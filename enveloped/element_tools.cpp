#include "enveloped/element_tools.h"

#include <cstring>

#include "asn/asn_element.h"
#include "cmskit/status.h"

namespace cmskit {

void RaiseStatus(int status, const char* origin) {
  throw XTOOStatus(static_cast<uint32_t>(status), origin, false);
}

void RaiseLastError(const char* origin) {
  const int status = Win32ToStatus(GetLastError());
  RaiseStatus(status != 0 ? status : kStatusCorrupt, origin);
}

bool IsUniversal(const ASNTElementInfo& info, uint32_t tagNumber) {
  return info.tagClass == kASNTUniversal && info.tagNumber == tagNumber;
}

bool IsContext(const ASNTElementInfo& info, uint32_t tagNumber) {
  return info.tagClass == kASNTContext && info.tagNumber == tagNumber;
}

ASNTElementInfo ReadElementHeader(const IdentObj& element, uint32_t& headerLength, const char* origin) {
  ASNTElementInfo info{};
  const int status = ASNTReadHeader(info, element.data(), element.size());
  if (status != 0) RaiseStatus(status, origin);
  const uint64_t length = static_cast<uint64_t>(info.contents - element.data());
  if (length > element.size()) RaiseStatus(kStatusCorrupt, origin);
  headerLength = static_cast<uint32_t>(length);
  return info;
}

uint32_t ContentsLengthOf(const IdentObj& element, const ASNTElementInfo& info, uint32_t headerLength) {
  const uint32_t available = element.size() - headerLength;
  if (info.length != kASNTIndefinite) return info.length < available ? info.length : available;
  // The element was cut out whole, end-of-contents octets included.
  return available >= 2 ? available - 2 : 0;
}

IdentObj DecodePrimitive(const IdentObj& element, uint32_t tagNumber, int failStatus, const char* origin) {
  uint32_t headerLength = 0;
  ASNTElementInfo info = ReadElementHeader(element, headerLength, origin);
  if (!IsUniversal(info, tagNumber) || info.constructed) RaiseStatus(failStatus, origin);
  info.length = ContentsLengthOf(element, info, headerLength);
  int status = 0;
  IdentObj value = ASNTDecodeElement(info, &status);
  if (status != 0) RaiseStatus(status, origin);
  return value;
}

IdentObj WrapExplicit(uint32_t tagNumber, const IdentObj& inner) {
  const ASNTElementInfo info{kASNTContext, kASNTConstructed, tagNumber, 0, nullptr};
  return ASNTEncodeElement(info, inner.data(), inner.size());
}

IdentObj EncodeHeader(uint8_t tagClass, uint8_t constructed, uint32_t tagNumber, uint64_t contentsLength) {
  IdentObj header = ASNTEncodeHeader(tagClass, constructed, tagNumber, contentsLength);
  if (header.IsEmpty()) RaiseStatus(kStatusCorrupt, "EncodeHeader");
  return header;
}

IdentObj EncodeUnsigned(DWORD value) {
  // Least significant byte first with a zero sign byte on top, so that no
  // value comes out negative.
  const BYTE bytes[5] = {static_cast<BYTE>(value), static_cast<BYTE>(value >> 8),
                         static_cast<BYTE>(value >> 16), static_cast<BYTE>(value >> 24), 0};
  const ASNTElementInfo info{kASNTUniversal, kASNTPrimitive, kASNTInteger, 0, nullptr};
  return ASNTEncodeElement(info, bytes, sizeof bytes);
}

IdentObj EncodeObjectId(const char* dottedText, const char* origin) {
  const ASNTElementInfo info{kASNTUniversal, kASNTPrimitive, kASNTObjectId, 0, nullptr};
  const DWORD length = dottedText ? static_cast<DWORD>(strlen(dottedText)) : 0;
  IdentObj element = ASNTEncodeElement(info, dottedText, length);
  // The encoder answers text that is no object identifier (an empty one
  // included) with nothing; leaving the element out would shift the rest.
  if (element.IsEmpty()) RaiseStatus(kStatusBadArgument, origin);
  return element;
}

IdentObj EncodeSequence(const std::list<IdentObj>& items, uint32_t tagNumber, const char* origin) {
  int status = 0;
  IdentObj encoded = ASNTPutSequence(items, tagNumber, &status);
  if (status != 0) RaiseStatus(status, origin);
  return encoded;
}

void WriteBytes(CTOOFile& file, const IdentObj& bytes, const char* origin) {
  if (bytes.IsEmpty()) return;
  if (file.Write(bytes.data(), bytes.size()) == bytes.size()) return;
  RaiseStatus(file.GetStatus() != 0 ? file.GetStatus() : kStatusWriteError, origin);
}

}  // namespace cmskit
