#include <algorithm>
#include <cstring>
#include <list>

#include "asn/asn_build.h"
#include "cmskit/asn_codec.h"
#include "cmskit/asn_record.h"
#include "cmskit/message_signer_info.h"
#include "cmskit/status.h"
#include "platform/win32.h"
#include "signed/attribute_boundary.h"
#include "signed/signer_info_codes.h"

namespace cmskit {

namespace {

const char kSigningTimeOid[] = "1.2.840.113549.1.9.5";

IdentObj EncodePrimitive(uint8_t tagClass, DWORD tagNumber, const IdentObj& value) {
  const ASNTElementInfo info{tagClass, kASNTPrimitive, tagNumber, 0, nullptr};
  return ASNTEncodeElement(info, value.data(), value.size());
}

DWORD AppendAlgorithm(std::list<IdentObj>& items, const ASNAlgorithmIdentifier& algorithm) {
  int status = 0;
  items.push_back(algorithm.WriteData(&status));
  return StatusToWin32(status);
}

// Written IMPLICIT under `tag` whatever the list held before.
DWORD AppendAttributes(std::list<IdentObj>& items, AttributesList& list, DWORD tag) {
  if (list.empty()) return 0;
  list.tag = tag;
  list.universalClass = false;
  int code = 0;
  items.push_back(list.WriteData(&code));
  return static_cast<DWORD>(code);
}

// SEQUENCE { issuer, serialNumber } for version 1, [0] keyIdentifier else.
DWORD AppendSid(std::list<IdentObj>& items, const MessageSignerInfo& info) {
  if (info.version != 1) {
    items.push_back(EncodePrimitive(kASNTContext, 0, info.subjectKeyIdentifier));
    return 0;
  }
  std::list<IdentObj> parts{info.issuer, EncodePrimitive(kASNTUniversal, kASNTInteger, info.serialNumber)};
  int status = 0;
  items.push_back(ASNTPutSequence(parts, kASNTSequence, &status));
  return StatusToWin32(status);
}

IdentObj EncodeSignature(const IdentObj& signature) {
  // Held least significant octet first; the wire wants the other order back.
  IdentObj wire(nullptr, signature.size());
  std::reverse_copy(signature.data(), signature.data() + signature.size(), wire.data());
  return EncodePrimitive(kASNTUniversal, kASNTOctetString, wire);
}

// The FILETIME held by a signingTime attribute, or the code of what is wrong.
DWORD DecodeSigningTime(const AttributesList& signedAttrs, FILETIME& time) {
  const auto found = std::find_if(signedAttrs.begin(), signedAttrs.end(), [](const OneAttributesSet& set) {
    return set.getAttrOID() == CTOOString(kSigningTimeOid);
  });
  if (found == signedAttrs.end()) return kCodeNotFound;
  if (found->getEntryCount() == 0) return kCodeAsn1Corrupt;
  const IdentObj& entry = found->getEntry(0);
  CASNTBaseRecord record;
  int status = 0;
  record.ReadFromMemory(entry.data(), entry.size(), &status);
  IdentObj value;
  if (status == 0) value = record.GetValue(&status);
  if (status != 0) {
    const DWORD code = StatusToWin32(status);
    return code != 0 ? code : kCodeNotFound;
  }
  if (value.size() != sizeof(FILETIME)) return kCodeAsn1Corrupt;
  std::memcpy(&time, value.data(), sizeof(FILETIME));
  return 0;
}

}  // namespace

IdentObj MessageSignerInfo::WriteData(int* pError) {
  version = subjectKeyIdentifier.IsEmpty() ? 1 : 3;
  std::list<IdentObj> items{ASNTBuildInteger(version)};
  DWORD code = AppendSid(items, *this);
  if (code == 0) code = AppendAlgorithm(items, digestAlgorithm);
  if (code == 0) code = AppendAttributes(items, signedAttrs, 0);
  if (code == 0) code = AppendAlgorithm(items, signatureAlgorithm);
  if (code == 0) items.push_back(EncodeSignature(signature));
  if (code == 0) code = AppendAttributes(items, unsignedAttrs, 1);
  IdentObj encoded;
  if (code == 0) {
    int status = 0;
    encoded = ASNTPutSequence(items, kASNTSequence, &status);
    code = StatusToWin32(status);
  }
  DeliverCodeEverywhere(pError, code);
  return code == 0 ? encoded : IdentObj();
}

FILETIME MessageSignerInfo::GetSigningData(int* pError) {
  FILETIME time{0, 0};
  const DWORD code = DecodeSigningTime(signedAttrs, time);
  DeliverCodeEverywhere(pError, code);
  if (code != 0) return FILETIME{0, 0};
  return time;
}

}  // namespace cmskit
