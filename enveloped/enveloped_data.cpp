#include "cmskit/enveloped_data.h"

#include <list>

#include "cmskit/asn_codec.h"
#include "enveloped/enveloped_data_parts.h"
#include "enveloped/enveloped_data_reader.h"
#include "enveloped/enveloped_source.h"
#include "enveloped/enveloped_support.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr char kReadOrigin[] = "EnvelopedData::ReadObject";
constexpr char kWriteOrigin[] = "EnvelopedData::WriteObject";

IdentObj BuildMessage(EnvelopedData& source) {
  const EnvelopedDataParts parts = EncodeEnvelopedDataParts(source, kWriteOrigin);
  const IdentObj content = source.encryptedContentInfo.WriteObject();
  if (content.IsEmpty()) RaiseLastError(kWriteOrigin);

  std::list<IdentObj> fields{parts.version};
  if (!parts.originator.IsEmpty()) fields.push_back(parts.originator);
  fields.push_back(parts.recipients);
  fields.push_back(content);
  if (!parts.attributes.IsEmpty()) fields.push_back(parts.attributes);
  const IdentObj enveloped = ASNTBuildSequence(fields, kASNTSequence, kWriteOrigin);
  const std::list<IdentObj> outer{parts.contentType, ASNTWrapExplicit(0, enveloped)};
  return ASNTBuildSequence(outer, kASNTSequence, kWriteOrigin);
}

}  // namespace

// version is left to the readers or the caller; 0 keeps a default-built
// object writable with the plain layout.
EnvelopedData::EnvelopedData() : version(0) {}

EnvelopedData::EnvelopedData(EnvelopedData& other) : version(0) { *this = other; }

EnvelopedData& EnvelopedData::operator=(const EnvelopedData& other) {
  if (this == &other) return *this;
  version = other.version;
  originatorInfo = other.originatorInfo;
  recipientInfos = other.recipientInfos;
  encryptedContentInfo = other.encryptedContentInfo;
  unprotectedAttrs = other.unprotectedAttrs;
  return *this;
}

EnvelopedData::~EnvelopedData() = default;

DWORD EnvelopedData::ReadObject(const BYTE* data, DWORD size, int* pError) {
  EnvelopedSource source(data, size, kReadOrigin);
  return static_cast<DWORD>(ReadEnvelopedDataAt(*this, source, pError, 0xFFFFFFFFull));
}

IdentObj EnvelopedData::WriteObject(int* pError) {
  IdentObj message;
  RunOrRethrow(pError, [&] { message = BuildMessage(*this); });
  return message;
}

}  // namespace cmskit
