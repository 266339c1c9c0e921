#include "signed/signed_codec.h"

#include <cstring>

#include "asn/asn_element.h"
#include "cmskit/status.h"
#include "tools/boundary.h"

namespace cmskit {

const char kOidData[] = "1.2.840.113549.1.7.1";
const char kOidSignedData[] = "1.2.840.113549.1.7.2";
const char kOidSignedAlias[] = "1.2.840.113549.1.7.26";

namespace {

constexpr uint64_t kMaxLength = 0xFFFFFFFFu;

// Walks the OCTET STRING at data[0 .. size), adding the length of every
// primitive segment to `produced` and, when `out` is given, copying its
// octets there (the caller sized `out` by a first walk).
int WalkOctets(const BYTE* data, DWORD size, uint32_t depth, BYTE* out, uint64_t& produced, DWORD& used) {
  ASNTElementInfo info{};
  int status = ASNTReadHeader(info, data, size);
  if (status != 0) return status;
  DWORD total = 0;
  status = ElementExtent(info, data, size, total);
  if (status != 0) return status;
  used = total;
  if (!info.constructed) {
    if (out && info.length) std::memcpy(out + produced, info.contents, info.length);
    produced += info.length;
    return 0;
  }
  if (depth >= kASNTMaxDepth) return kStatusCorrupt;
  const DWORD headerLength = static_cast<DWORD>(info.contents - data);
  const DWORD end = info.length == kASNTIndefinite ? total - 2 : total;
  for (DWORD position = headerLength; position < end;) {
    DWORD segment = 0;
    status = WalkOctets(data + position, end - position, depth + 1, out, produced, segment);
    if (status != 0) return status;
    position += segment;
  }
  return 0;
}

}  // namespace

IdentObj EncodeValue(uint8_t tagClass, uint8_t constructed, uint32_t tagNumber, const void* value,
                     uint64_t valueLength) {
  if (valueLength > kMaxLength) throw XTOOStatus(kStatusBadArgument, "SignData", false);
  const ASNTElementInfo info{tagClass, constructed, tagNumber, 0, nullptr};
  IdentObj element = ASNTEncodeElement(info, value, static_cast<DWORD>(valueLength));
  if (element.IsEmpty()) throw XTOOStatus(kStatusBadArgument, "SignData", false);
  return element;
}

IdentObj EncodeOid(const IdentObj& dottedText) {
  return EncodeValue(kASNTUniversal, kASNTPrimitive, kASNTObjectId, dottedText.data(), dottedText.size());
}

IdentObj EncodeVersion(DWORD version) {
  const BYTE value[4] = {static_cast<BYTE>(version), static_cast<BYTE>(version >> 8),
                         static_cast<BYTE>(version >> 16), static_cast<BYTE>(version >> 24)};
  return EncodeValue(kASNTUniversal, kASNTPrimitive, kASNTInteger, value, sizeof(value));
}

IdentObj EncodeSignedHeader(uint8_t tagClass, uint8_t constructed, uint32_t tagNumber,
                            uint64_t contentLength) {
  IdentObj header = ASNTEncodeHeader(tagClass, constructed, tagNumber, contentLength);
  if (header.IsEmpty() || contentLength > kMaxLength) throw XTOOStatus(kStatusBadArgument, "SignData", false);
  return header;
}

IdentObj EncodeAlgorithmSet(const std::list<ASNAlgorithmIdentifier>& algorithms) {
  std::list<IdentObj> encoded;
  for (const ASNAlgorithmIdentifier& algorithm : algorithms) encoded.push_back(algorithm.WriteData(nullptr));
  return ASNTPutSequence(encoded, kASNTSet, nullptr);
}

DWORD SmallIntegerValue(const IdentObj& value) {
  DWORD result = 0;
  for (uint32_t i = 0; i < value.size() && i < 4; ++i)
    result |= static_cast<DWORD>(value.data()[i]) << (8 * i);
  return result;
}

int OctetStringValue(const BYTE* data, DWORD size, IdentObj& out) {
  // Measured first, so the content (the bulk of a message) is copied once.
  uint64_t length = 0;
  DWORD used = 0;
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

int ElementExtent(const ASNTElementInfo& info, const BYTE* data, DWORD size, DWORD& total) {
  const uint64_t headerLength = static_cast<uint64_t>(info.contents - data);
  if (headerLength > size) return kStatusCorrupt;
  const uint64_t room = size - headerLength;
  if (info.length != kASNTIndefinite) {
    // A primitive element with the indefinite marker was measured up to its
    // two closing zero octets, which it still occupies.
    // (A long-form length whose last octet is 0x80, as in 04 81 80, is not
    // that marker.)
    const bool closedByZeros = ASNTIsIndefinitePrimitive(info, data);
    const uint64_t extent = static_cast<uint64_t>(info.length) + (closedByZeros ? 2 : 0);
    if (extent > room) return kStatusCorrupt;
    total = static_cast<DWORD>(headerLength + extent);
    return 0;
  }
  int status = 0;
  const uint64_t extent = ASNTGetIndefiniteLength(info.contents, static_cast<DWORD>(room), true, &status);
  if (status != 0) return status;
  // The resolver stops at the range's end without complaint: the closing
  // end-of-contents octets must really be there.
  if (extent < 2 || extent > room || info.contents[extent - 2] != 0 || info.contents[extent - 1] != 0)
    return kStatusCorrupt;
  total = static_cast<DWORD>(headerLength + extent);
  return 0;
}

}  // namespace cmskit
