#include "signed/signed_layout.h"

#include "cmskit/asn_codec.h"
#include "signed/signed_codec.h"

namespace cmskit {

namespace {

uint64_t TotalSize(const std::list<IdentObj>& items) {
  uint64_t total = 0;
  for (const IdentObj& item : items) total += item.size();
  return total;
}

// The header of an IMPLICIT SET OF, absent with its list.
IdentObj OptionalSetHeader(uint32_t tagNumber, const std::list<IdentObj>& items, uint64_t& size) {
  if (items.empty()) return IdentObj();
  const uint64_t contents = TotalSize(items);
  IdentObj header = EncodeSignedHeader(kASNTContext, kASNTConstructed, tagNumber, contents);
  size = header.size() + contents;
  return header;
}

}  // namespace

SignedLayout LayOutSignedData(const SignData& message, uint64_t contentSize, bool withContent) {
  SignedLayout p;
  p.contentType = EncodeOid(message.contentType);
  p.version = EncodeVersion(message.version);
  p.algorithms = EncodeAlgorithmSet(message.digestAlgorithms);
  p.encapType = EncodeOid(message.encapContentInfo.id);
  uint64_t contentElement = 0;
  if (withContent) {
    p.octetHeader = EncodeSignedHeader(kASNTUniversal, kASNTPrimitive, kASNTOctetString, contentSize);
    p.wrapperHeader =
        EncodeSignedHeader(kASNTContext, kASNTConstructed, 0, p.octetHeader.size() + contentSize);
    contentElement = p.wrapperHeader.size() + p.octetHeader.size() + contentSize;
  }
  p.encapHeader = EncodeSignedHeader(kASNTUniversal, kASNTConstructed, kASNTSequence,
                                     p.encapType.size() + contentElement);
  uint64_t certificates = 0, crls = 0;
  p.certificatesHeader = OptionalSetHeader(0, message.certificates, certificates);
  p.crlsHeader = OptionalSetHeader(1, message.crls, crls);
  const uint64_t signers = TotalSize(message.signerInfos);
  p.signersHeader = EncodeSignedHeader(kASNTUniversal, kASNTConstructed, kASNTSet, signers);
  const uint64_t body = p.version.size() + p.algorithms.size() + p.encapHeader.size() + p.encapType.size() +
                        contentElement + certificates + crls + p.signersHeader.size() + signers;
  p.bodyHeader = EncodeSignedHeader(kASNTUniversal, kASNTConstructed, kASNTSequence, body);
  p.explicitHeader = EncodeSignedHeader(kASNTContext, kASNTConstructed, 0, p.bodyHeader.size() + body);
  const uint64_t outer = p.contentType.size() + p.explicitHeader.size() + p.bodyHeader.size() + body;
  p.outerHeader = EncodeSignedHeader(kASNTUniversal, kASNTConstructed, kASNTSequence, outer);
  p.total = p.outerHeader.size() + outer;
  return p;
}

}  // namespace cmskit
