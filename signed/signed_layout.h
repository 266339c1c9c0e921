// The DER layout both SignData writers produce. Every piece but the content
// is encoded ahead, so all lengths are known before the first octet goes out
// and the content (the bulk of a message) is copied exactly once, wherever it
// goes.
#ifndef CMSKIT_SIGNED_SIGNED_LAYOUT_H
#define CMSKIT_SIGNED_SIGNED_LAYOUT_H

#include <cstdint>

#include "cmskit/identobj.h"
#include "cmskit/sign_data.h"

namespace cmskit {

struct SignedLayout {
  IdentObj outerHeader, contentType, explicitHeader, bodyHeader, version, algorithms;
  IdentObj encapHeader, encapType, wrapperHeader, octetHeader;
  IdentObj certificatesHeader, crlsHeader, signersHeader;
  // Octets of the whole ContentInfo.
  uint64_t total = 0;
};

// Encodes the pieces for content of `contentSize` octets; with `withContent`
// false no eContent is written at all (a detached signature). Without
// `wide` (the 32-bit writers) a message of 4 GiB or more is kStatusTooLarge.
SignedLayout LayOutSignedData(const SignData& message, uint64_t contentSize, bool withContent, bool wide);

// Hands the message's octets to `emit(const void* bytes, uint64_t size)` in
// order and calls `content()` where the content octets belong.
template <class Emit, class Content>
void EmitSignedData(const SignedLayout& layout, const SignData& message, Emit&& emit, Content&& content) {
  const auto piece = [&](const IdentObj& bytes) {
    if (!bytes.IsEmpty()) emit(bytes.data(), bytes.size());
  };
  const auto elements = [&](const IdentObj& header, const std::list<IdentObj>& items) {
    piece(header);
    for (const IdentObj& item : items) piece(item);
  };
  for (const IdentObj* part :
       {&layout.outerHeader, &layout.contentType, &layout.explicitHeader, &layout.bodyHeader, &layout.version,
        &layout.algorithms, &layout.encapHeader, &layout.encapType})
    piece(*part);
  if (!layout.octetHeader.IsEmpty()) {
    piece(layout.wrapperHeader);
    piece(layout.octetHeader);
    content();
  }
  elements(layout.certificatesHeader, message.certificates);
  elements(layout.crlsHeader, message.crls);
  elements(layout.signersHeader, message.signerInfos);
}

}  // namespace cmskit

#endif
