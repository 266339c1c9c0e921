// Refilling a SignData from a parsed ContentInfo tree.
#include "asn/asn_build.h"
#include "cmskit/sign_data.h"
#include "platform/win32.h"
#include "signed/signed_oids.h"

namespace cmskit {

namespace {

constexpr DWORD kBadTag = 0x8009310B;    // CRYPT_E_ASN1_BADTAG
constexpr DWORD kCorrupt = 0x80093103;   // CRYPT_E_ASN1_CORRUPT
constexpr DWORD kNotFound = 0x80090011;  // NTE_NOT_FOUND

CASNTUnit* UnitAt(const CASNTUnit& parent, size_t index) {
  return dynamic_cast<CASNTUnit*>(parent.GetChild(index));
}

size_t ChildCount(const CASNTUnit* unit) { return unit ? unit->GetChildCount() : 0; }

bool HasTag(const CASNTBaseRecord* record, uint32_t tagNumber) {
  return record && record->GetTagNumber() == tagNumber;
}

DWORD ValueOf(CASNTBaseRecord& record, IdentObj& out) {
  int status = 0;
  out = record.GetValue(&status);
  return status ? StatusToWin32(status) : 0;
}

DWORD EncodingOf(CASNTBaseRecord& record, IdentObj& out) {
  int status = 0;
  out = record.GetEncodedRef(&status);
  return status ? StatusToWin32(status) : 0;
}

// An OCTET STRING node gives its octets even when it was sent in segments.
DWORD ContentOf(CASNTBaseRecord& record, IdentObj& out) {
  if (record.GetTagNumber() != kASNTOctetString || record.GetTagClass() != kASNTUniversal)
    return ValueOf(record, out);
  IdentObj encoded;
  const DWORD code = EncodingOf(record, encoded);
  if (code) return code;
  const int status = ASNTOctetStringValue(encoded.data(), encoded.size(), out);
  return status ? StatusToWin32(status) : 0;
}

DWORD AppendEncodings(const CASNTUnit* set, std::list<IdentObj>& out) {
  for (size_t i = 0; i < ChildCount(set); ++i) {
    IdentObj encoded;
    const DWORD code = EncodingOf(*set->GetChild(i), encoded);
    if (code) return code;
    out.push_back(encoded);
  }
  return 0;
}

DWORD FillAlgorithms(SignData& message, const CASNTUnit& set) {
  for (size_t i = 0; i < set.GetChildCount(); ++i) {
    IdentObj encoded;
    DWORD code = EncodingOf(*set.GetChild(i), encoded);
    if (code) return code;
    ASNAlgorithmIdentifier algorithm;
    int status = 0;
    algorithm.ReadData(encoded.data(), encoded.size(), &status);
    if (status) return StatusToWin32(status);
    message.digestAlgorithms.push_back(algorithm);
  }
  return 0;
}

DWORD FillContent(SignData& message, const CASNTUnit& encap) {
  if (encap.GetChildCount() == 0) return 0;
  DWORD code = ValueOf(*encap.GetChild(0), message.encapContentInfo.id);
  if (code || encap.GetChildCount() < 2) return code;
  CASNTBaseRecord& content = *encap.GetChild(1);
  if (content.GetTagNumber() == kASNTOctetString) return ContentOf(content, message.encapContentInfo.data);
  const CASNTUnit* wrapper = dynamic_cast<const CASNTUnit*>(&content);
  if (ChildCount(wrapper) == 0) return 0;
  return ContentOf(*wrapper->GetChild(0), message.encapContentInfo.data);
}

// Certificates, CRLs and SignerInfos in whatever order and number they come.
DWORD FillSets(SignData& message, const CASNTUnit& signedData) {
  for (size_t i = 3; i < signedData.GetChildCount(); ++i) {
    const CASNTUnit* set = UnitAt(signedData, i);
    if (!set) continue;
    std::list<IdentObj>* target = nullptr;
    if (set->GetTagClass() != kASNTContext)
      target = set->GetTagNumber() == kASNTSet ? &message.signerInfos : nullptr;
    else if (set->GetTagNumber() == 0)
      target = &message.certificates;
    else if (set->GetTagNumber() == 1)
      target = &message.crls;
    if (!target) continue;
    const DWORD code = AppendEncodings(set, *target);
    if (code) return code;
  }
  return 0;
}

DWORD FillFromTree(SignData& message, const CASNTUnit& root) {
  if (root.GetTagClass() != kASNTUniversal || root.GetTagNumber() != kASNTSequence ||
      root.GetChildCount() == 0)
    return kBadTag;
  IdentObj type;
  DWORD code = ValueOf(*root.GetChild(0), type);
  if (code) return code;
  IdentObj alias;
  alias = kOidSignedAlias;
  if (type != message.contentType && type != alias) return kBadTag;
  if (root.GetChildCount() < 2) return kNotFound;
  const CASNTUnit* wrapper = UnitAt(root, 1);
  if (!HasTag(wrapper, 0)) return kCorrupt;
  const CASNTUnit* signedData = ChildCount(wrapper) ? UnitAt(*wrapper, 0) : nullptr;
  if (!HasTag(signedData, kASNTSequence)) return kBadTag;
  if (signedData->GetChildCount() < 3) return kCorrupt;

  IdentObj versionValue;
  code = ValueOf(*signedData->GetChild(0), versionValue);
  if (code) return code;
  message.version = 0;
  if (versionValue.size() > 4) return kCorrupt;
  message.version = ASNTSmallInteger(versionValue);

  const CASNTUnit* algorithms = UnitAt(*signedData, 1);
  if (!HasTag(algorithms, kASNTSet)) return kBadTag;
  code = FillAlgorithms(message, *algorithms);
  if (code) return code;

  const CASNTUnit* encap = UnitAt(*signedData, 2);
  if (!HasTag(encap, kASNTSequence)) return kBadTag;
  code = FillContent(message, *encap);
  if (code) return code;
  return FillSets(message, *signedData);
}

}  // namespace

void SignData::FillEntry(const CASNTUnit& root) {
  digestAlgorithms.clear();
  crls.clear();
  signerInfos.clear();
  certificates.clear();
  const DWORD code = FillFromTree(*this, root);
  if (code) SetLastError(code);
}

}  // namespace cmskit
