#include "cmskit/trans_recipient_info.h"

#include <list>

#include "cmskit/asn_codec.h"
#include "cmskit/status.h"
#include "enveloped/enveloped_support.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr char kReadOrigin[] = "TransRecipientInfo::ReadObject";
constexpr char kWriteOrigin[] = "TransRecipientInfo::WriteObject";
// The tag and encoding faults of this reader carry the text of the component
// that shares its error text; callers match on it.
constexpr char kSharedReadOrigin[] = "OriginatorInfo::ReadObject";

constexpr DWORD kVersionIssuerSerial = 0;
constexpr DWORD kVersionKeyIdentifier = 2;

IdentObj EncodeIssuerAndSerial(const TransRecipientInfo& recipient) {
  const ASNTElementInfo integer{kASNTUniversal, kASNTPrimitive, kASNTInteger, 0, nullptr};
  const std::list<IdentObj> items{recipient.issuer, ASNTEncodeElement(integer, recipient.serialNumber.data(),
                                                                      recipient.serialNumber.size())};
  return ASNTBuildSequence(items, kASNTSequence, kWriteOrigin);
}

// The [0] wraps a whole OCTET STRING (explicit tagging), where the standard
// would replace the tag; readers of this library expect it so.
IdentObj EncodeKeyIdentifier(const TransRecipientInfo& recipient) {
  const ASNTElementInfo octets{kASNTUniversal, kASNTPrimitive, kASNTOctetString, 0, nullptr};
  return ASNTWrapExplicit(0, ASNTEncodeElement(octets, recipient.subjectKeyIdentifier.data(),
                                               recipient.subjectKeyIdentifier.size()));
}

IdentObj EncodeRecipient(const TransRecipientInfo& recipient) {
  IdentObj rid;
  if (recipient.issuer.IsEmpty() || recipient.serialNumber.IsEmpty()) {
    if (recipient.subjectKeyIdentifier.IsEmpty()) ASNTRaise(kStatusNoRecipientId, kWriteOrigin);
    recipient.version = kVersionKeyIdentifier;
    rid = EncodeKeyIdentifier(recipient);
  } else {
    recipient.version = kVersionIssuerSerial;
    rid = EncodeIssuerAndSerial(recipient);
  }
  const std::list<IdentObj> items{ASNTBuildUnsigned(recipient.version), rid, recipient.keyEncryptionAlgorithm,
                                  recipient.encryptedKey};
  return ASNTBuildSequence(items, kASNTSequence, kWriteOrigin);
}

void ReadIssuerAndSerial(TransRecipientInfo& target, const IdentObj& rid) {
  std::list<IdentObj> parts;
  int status = 0;
  ASNTGetSequence(parts, rid.data(), rid.size(), &status);
  if (status != 0) ASNTRaise(status, kSharedReadOrigin);
  if (parts.size() != 2) ASNTRaise(kStatusUnsupportedVersion, kReadOrigin);
  target.issuer = parts.front();
  target.serialNumber = ASNTDecodePrimitive(parts.back(), kASNTInteger, kStatusCorrupt, kSharedReadOrigin);
  target.subjectKeyIdentifier.Clear();
}

void ReadKeyIdentifier(TransRecipientInfo& target, const IdentObj& rid) {
  uint32_t headerLength = 0;
  const ASNTElementInfo info = ASNTWholeHeader(rid, headerLength, kSharedReadOrigin);
  if (!ASNTIsContext(info, 0)) ASNTRaise(kStatusBadTag, kSharedReadOrigin);
  // The wrapped element, bounded by the wrapper's contents.
  const IdentObj inner(rid.data() + headerLength, ASNTWholeContentsLength(rid, info, headerLength));
  uint32_t innerHeader = 0;
  ASNTElementInfo innerInfo = ASNTWholeHeader(inner, innerHeader, kSharedReadOrigin);
  if (innerInfo.constructed && innerInfo.length == kASNTIndefinite)
    ASNTRaise(kStatusCorrupt, kSharedReadOrigin);
  if (innerInfo.length > inner.size() - innerHeader) ASNTRaise(kStatusCorrupt, kSharedReadOrigin);
  int status = 0;
  IdentObj value = ASNTDecodeElement(innerInfo, &status);
  if (status != 0) ASNTRaise(status, kSharedReadOrigin);
  target.subjectKeyIdentifier = value;
  target.issuer.Clear();
  target.serialNumber.Clear();
}

DWORD ParseRecipient(TransRecipientInfo& target, const BYTE* data, DWORD size) {
  std::list<IdentObj> children;
  int status = 0;
  const DWORD consumed = ASNTGetSequence(children, data, size, &status);
  if (status != 0) ASNTRaise(status, kSharedReadOrigin);
  if (consumed == 0 || children.empty()) ASNTRaise(kStatusCorrupt, kSharedReadOrigin);

  auto child = children.begin();
  const IdentObj version = ASNTDecodePrimitive(*child, kASNTInteger, kStatusCorrupt, kSharedReadOrigin);
  if (version.IsEmpty()) ASNTRaise(kStatusCorrupt, kSharedReadOrigin);
  target.version = version.data()[0];
  if (++child == children.end()) ASNTRaise(kStatusCorrupt, kSharedReadOrigin);
  if (target.version == kVersionIssuerSerial)
    ReadIssuerAndSerial(target, *child);
  else if (target.version == kVersionKeyIdentifier)
    ReadKeyIdentifier(target, *child);
  else
    ASNTRaise(kStatusUnsupportedVersion, kReadOrigin);

  if (++child == children.end()) ASNTRaise(kStatusCorrupt, kSharedReadOrigin);
  target.keyEncryptionAlgorithm = *child;
  if (++child == children.end()) ASNTRaise(kStatusCorrupt, kSharedReadOrigin);
  target.encryptedKey = *child;
  return consumed;
}

}  // namespace

TransRecipientInfo::TransRecipientInfo() : version(0) {}

TransRecipientInfo::TransRecipientInfo(const TransRecipientInfo& other) = default;

TransRecipientInfo& TransRecipientInfo::operator=(const TransRecipientInfo& other) = default;

TransRecipientInfo::~TransRecipientInfo() = default;

IdentObj TransRecipientInfo::WriteObject(int* pError) const {
  IdentObj encoded;
  RunOrRethrow(pError, [&] { encoded = EncodeRecipient(*this); });
  return encoded;
}

DWORD TransRecipientInfo::ReadObject(const BYTE* data, DWORD size, int* pError) {
  DWORD consumed = 0;
  RunOrRethrow(pError, [&] { consumed = ParseRecipient(*this, data, size); });
  return consumed;
}

DWORD TransRecipientInfo::GetObjectSize() const {
  int error = 0;
  const IdentObj encoded = WriteObject(&error);
  return error != 0 ? 0 : encoded.size();
}

}  // namespace cmskit
