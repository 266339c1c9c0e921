#include "enveloped/enveloped_data_parts.h"

#include <list>

#include "cmskit/asn_codec.h"
#include "enveloped/enveloped_support.h"

namespace cmskit {

EnvelopedDataParts EncodeEnvelopedDataParts(const EnvelopedData& source, const char* origin) {
  EnvelopedDataParts parts;
  parts.contentType = ASNTBuildOid(kEnvelopedDataType, sizeof kEnvelopedDataType - 1, origin);
  parts.version = ASNTBuildUnsigned(source.version);
  // The [0] and [1] are outer wrappers around complete elements (explicit
  // tagging); the readers of this library expect them so.
  if (!source.originatorInfo.IsEmpty())
    parts.originator = ASNTWrapExplicit(0, source.originatorInfo.WriteObject(nullptr));
  std::list<IdentObj> recipients;
  for (const TransRecipientInfo& recipient : source.recipientInfos)
    recipients.push_back(recipient.WriteObject(nullptr));
  parts.recipients = ASNTBuildSequence(recipients, kASNTSet, origin);
  if (!source.unprotectedAttrs.empty())
    parts.attributes = ASNTWrapExplicit(1, ASNTBuildSequence(source.unprotectedAttrs, kASNTSet, origin));
  return parts;
}

}  // namespace cmskit
