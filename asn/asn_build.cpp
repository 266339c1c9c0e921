#include "asn/asn_build.h"

#include <cstring>

#include "asn/asn_element.h"
#include "asn/asn_reader.h"
#include "cmskit/status.h"

namespace cmskit {

namespace {

// Walks the OCTET STRING at data[0 .. size), adding the length of every
// primitive segment to `produced` and, when `out` is given, copying its
// octets there (the caller sized `out` by a first walk).
int WalkOctets(const BYTE* data, uint64_t size, uint32_t depth, BYTE* out, uint64_t& produced,
               uint64_t& used) {
  ASNTElementInfo info{};
  const int status = ASNTBoundedHeader(data, size, info, used);
  if (status != 0) return status;
  if (!info.constructed) {
    if (out && info.length) std::memcpy(out + produced, info.contents, info.length);
    produced += info.length;
    return 0;
  }
  if (depth >= kASNTMaxDepth) return kStatusCorrupt;
  const uint64_t headerLength = static_cast<uint64_t>(info.contents - data);
  const uint64_t end = info.length == kASNTIndefinite ? used - 2 : used;
  for (uint64_t position = headerLength; position < end;) {
    uint64_t segment = 0;
    const int code = WalkOctets(data + position, end - position, depth + 1, out, produced, segment);
    if (code != 0) return code;
    position += segment;
  }
  return 0;
}

}  // namespace

void ASNTRaise(int status, const char* origin) {
  throw XTOOStatus(static_cast<uint32_t>(status), origin, false);
}

IdentObj ASNTBuild(uint8_t tagClass, uint8_t constructed, uint32_t tagNumber, const void* value,
                   uint64_t valueLength, const char* origin) {
  if (valueLength > kASNTMaxElement) ASNTRaise(kStatusBadArgument, origin);
  const ASNTElementInfo info{tagClass, constructed, tagNumber, 0, nullptr};
  IdentObj element = ASNTEncodeElement(info, value, static_cast<DWORD>(valueLength));
  if (element.IsEmpty()) ASNTRaise(kStatusBadArgument, origin);
  return element;
}

IdentObj ASNTBuildOid(const void* dottedText, size_t length, const char* origin) {
  return ASNTBuild(kASNTUniversal, kASNTPrimitive, kASNTObjectId, dottedText, dottedText ? length : 0,
                   origin);
}

IdentObj ASNTBuildOid(const IdentObj& dottedText, const char* origin) {
  return ASNTBuildOid(dottedText.data(), dottedText.size(), origin);
}

IdentObj ASNTBuildInteger(DWORD value) {
  const BYTE bytes[4] = {static_cast<BYTE>(value), static_cast<BYTE>(value >> 8),
                         static_cast<BYTE>(value >> 16), static_cast<BYTE>(value >> 24)};
  const ASNTElementInfo info{kASNTUniversal, kASNTPrimitive, kASNTInteger, 0, nullptr};
  return ASNTEncodeElement(info, bytes, sizeof bytes);
}

IdentObj ASNTBuildUnsigned(DWORD value) {
  // A zero sign octet on top.
  const BYTE bytes[5] = {static_cast<BYTE>(value), static_cast<BYTE>(value >> 8),
                         static_cast<BYTE>(value >> 16), static_cast<BYTE>(value >> 24), 0};
  const ASNTElementInfo info{kASNTUniversal, kASNTPrimitive, kASNTInteger, 0, nullptr};
  return ASNTEncodeElement(info, bytes, sizeof bytes);
}

IdentObj ASNTBuildSequence(const std::list<IdentObj>& items, uint32_t tagNumber, const char* origin) {
  int status = 0;
  IdentObj encoded = ASNTPutSequence(items, tagNumber, &status);
  if (status != 0) ASNTRaise(status, origin);
  return encoded;
}

IdentObj ASNTBuildAlgorithmSet(const std::list<ASNAlgorithmIdentifier>& algorithms, const char* origin) {
  std::list<IdentObj> encoded;
  for (const ASNAlgorithmIdentifier& algorithm : algorithms) encoded.push_back(algorithm.WriteData(nullptr));
  return ASNTBuildSequence(encoded, kASNTSet, origin);
}

IdentObj ASNTWrapExplicit(uint32_t tagNumber, const IdentObj& inner) {
  const ASNTElementInfo info{kASNTContext, kASNTConstructed, tagNumber, 0, nullptr};
  return ASNTEncodeElement(info, inner.data(), inner.size());
}

DWORD ASNTSmallInteger(const IdentObj& value) {
  DWORD result = 0;
  for (uint32_t i = 0; i < value.size() && i < 4; ++i)
    result |= static_cast<DWORD>(value.data()[i]) << (8 * i);
  return result;
}

int ASNTOctetStringValue(const BYTE* data, uint64_t size, IdentObj& out) {
  // Measured first, so the content (the bulk of a message) is copied once.
  uint64_t length = 0;
  uint64_t used = 0;
  int status = WalkOctets(data, size, 0, nullptr, length, used);
  if (status != 0) return status;
  // Segments lie inside the range, so their sum cannot pass its size.
  IdentObj octets;
  octets.Allocate(static_cast<uint32_t>(length));
  uint64_t copied = 0;
  status = WalkOctets(data, size, 0, octets.data(), copied, used);
  if (status != 0) return status;
  out = std::move(octets);
  return 0;
}

ASNTElementInfo ASNTWholeHeader(const IdentObj& element, uint32_t& headerLength, const char* origin) {
  ASNTHeader header;
  const int status = ASNTParseHeader(element.data(), element.size(), kASNTMemoryForm, header);
  if (status != 0) ASNTRaise(status, origin);
  headerLength = header.size;
  return header.Info(element.data());
}

uint32_t ASNTWholeContentsLength(const IdentObj& element, const ASNTElementInfo& info,
                                 uint32_t headerLength) {
  const uint32_t available = element.size() - headerLength;
  if (info.length != kASNTIndefinite) return info.length < available ? info.length : available;
  // The element was cut out whole, end-of-contents octets included.
  return available >= 2 ? available - 2 : 0;
}

IdentObj ASNTDecodePrimitive(const IdentObj& element, uint32_t tagNumber, int failStatus,
                             const char* origin) {
  uint32_t headerLength = 0;
  ASNTElementInfo info = ASNTWholeHeader(element, headerLength, origin);
  if (!ASNTIsUniversal(info, tagNumber) || info.constructed) ASNTRaise(failStatus, origin);
  info.length = ASNTWholeContentsLength(element, info, headerLength);
  int status = 0;
  IdentObj value = ASNTDecodeElement(info, &status);
  if (status != 0) ASNTRaise(status, origin);
  return value;
}

}  // namespace cmskit
