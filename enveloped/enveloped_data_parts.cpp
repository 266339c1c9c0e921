#include "enveloped/enveloped_data_parts.h"

#include <list>

#include "cmskit/asn_codec.h"
#include "enveloped/element_tools.h"

namespace cmskit {

EnvelopedDataParts EncodeEnvelopedDataParts(const EnvelopedData& source, const char* origin) {
  EnvelopedDataParts parts;
  parts.contentType = EncodeObjectId(kEnvelopedDataType);
  parts.version = EncodeUnsigned(source.version);
  // The [0] and [1] are outer wrappers around complete elements (explicit
  // tagging); the readers of this library expect them so.
  if (!source.originatorInfo.IsEmpty())
    parts.originator = WrapExplicit(0, source.originatorInfo.WriteObject(nullptr));
  std::list<IdentObj> recipients;
  for (const TransRecipientInfo& recipient : source.recipientInfos)
    recipients.push_back(recipient.WriteObject(nullptr));
  parts.recipients = EncodeSequence(recipients, kASNTSet, origin);
  if (!source.unprotectedAttrs.empty())
    parts.attributes = WrapExplicit(1, EncodeSequence(source.unprotectedAttrs, kASNTSet, origin));
  return parts;
}

}  // namespace cmskit
