#include "signed/signed_layout.h"

#include "asn/asn_build.h"
#include "asn/asn_element.h"
#include "cmskit/asn_codec.h"
#include "cmskit/status.h"
#include "signed/signed_oids.h"

namespace cmskit {

namespace {

constexpr char kOrigin[] = "SignData";

// What the 32-bit writers (into one IdentObj, or through 32-bit offsets)
// cannot hold: a message of 4 GiB or more.
void RequireNarrow(uint64_t size, bool wide) {
  if (!wide && size > kASNTMaxElement) ASNTRaise(kStatusTooLarge, kOrigin);
}

IdentObj Header(uint8_t tagClass, uint8_t constructed, uint32_t tagNumber, uint64_t contentLength,
                bool wide) {
  RequireNarrow(contentLength, wide);
  return ASNTEncodeHeader(tagClass, constructed, tagNumber, contentLength);
}

uint64_t TotalSize(const std::list<IdentObj>& items) {
  uint64_t total = 0;
  for (const IdentObj& item : items) total += item.size();
  return total;
}

// The header of an IMPLICIT SET OF, absent with its list.
IdentObj OptionalSetHeader(uint32_t tagNumber, const std::list<IdentObj>& items, uint64_t& size, bool wide) {
  if (items.empty()) return IdentObj();
  const uint64_t contents = TotalSize(items);
  IdentObj header = Header(kASNTContext, kASNTConstructed, tagNumber, contents, wide);
  size = header.size() + contents;
  return header;
}

}  // namespace

SignedLayout LayOutSignedData(const SignData& message, uint64_t contentSize, bool withContent, bool wide) {
  SignedLayout p;
  p.contentType = ASNTBuildOid(message.contentType, kOrigin);
  p.version = ASNTBuildInteger(message.version);
  p.algorithms = ASNTBuildAlgorithmSet(message.digestAlgorithms, kOrigin);
  p.encapType = ASNTBuildOid(message.encapContentInfo.id, kOrigin);
  uint64_t contentElement = 0;
  if (withContent) {
    p.octetHeader = Header(kASNTUniversal, kASNTPrimitive, kASNTOctetString, contentSize, wide);
    p.wrapperHeader = Header(kASNTContext, kASNTConstructed, 0, p.octetHeader.size() + contentSize, wide);
    contentElement = p.wrapperHeader.size() + p.octetHeader.size() + contentSize;
  }
  p.encapHeader =
      Header(kASNTUniversal, kASNTConstructed, kASNTSequence, p.encapType.size() + contentElement, wide);
  uint64_t certificates = 0, crls = 0;
  p.certificatesHeader = OptionalSetHeader(0, message.certificates, certificates, wide);
  p.crlsHeader = OptionalSetHeader(1, message.crls, crls, wide);
  const uint64_t signers = TotalSize(message.signerInfos);
  p.signersHeader = Header(kASNTUniversal, kASNTConstructed, kASNTSet, signers, wide);
  const uint64_t body = p.version.size() + p.algorithms.size() + p.encapHeader.size() + p.encapType.size() +
                        contentElement + certificates + crls + p.signersHeader.size() + signers;
  p.bodyHeader = Header(kASNTUniversal, kASNTConstructed, kASNTSequence, body, wide);
  p.explicitHeader = Header(kASNTContext, kASNTConstructed, 0, p.bodyHeader.size() + body, wide);
  const uint64_t outer = p.contentType.size() + p.explicitHeader.size() + p.bodyHeader.size() + body;
  p.outerHeader = Header(kASNTUniversal, kASNTConstructed, kASNTSequence, outer, wide);
  p.total = p.outerHeader.size() + outer;
  RequireNarrow(p.total, wide);
  return p;
}

}  // namespace cmskit
