#include "verify/signed_attributes.h"

#include <cstring>

#include "cmskit/asn_record.h"
#include "verify/algorithm_names.h"
#include "verify/der_cursor.h"

namespace cmskit {

namespace {

constexpr BYTE kSignedAttrsTag = 0xA0;
constexpr BYTE kSetOfTag = 0x31;
constexpr BYTE kObjectIdTag = 0x06;
constexpr BYTE kOctetStringTag = 0x04;

// The single value of the attribute named `oid`, as its whole element.
const IdentObj* SingleValue(const AttributesList& attributes, const char* oid) {
  const IdentObj* found = nullptr;
  for (const OneAttributesSet& attribute : attributes) {
    if (std::strcmp(attribute.getAttrOID().c_str(), oid) != 0) continue;
    // Both attributes must occur once with one value.
    if (found || attribute.getEntryCount() != 1) return nullptr;
    found = &attribute.getEntry(0);
  }
  return found;
}

bool DecodedValue(const IdentObj& element, BYTE tag, IdentObj& value) {
  if (element.size() < 2 || element.data()[0] != tag) return false;
  CASNTBaseRecord record;
  int status = 0;
  record.ReadFromMemory(element.data(), element.size(), &status);
  if (status == 0) value = record.GetValue(&status);
  return status == 0;
}

}  // namespace

bool ReceivedSignedAttributes(const IdentObj& signerInfo, std::vector<BYTE>& octets) {
  octets.clear();
  DerCursor outer(signerInfo.data(), signerInfo.size());
  DerItem sequence;
  if (!outer.Next(sequence)) return false;
  DerCursor children(sequence);
  DerItem child;
  while (!children.AtEnd()) {
    if (!children.Next(child)) return false;
    if (child.tag() != kSignedAttrsTag) continue;
    octets.assign(child.start, child.start + child.size);
    octets[0] = kSetOfTag;
    return true;
  }
  return true;
}

bool ContentTypeAttribute(const AttributesList& attributes, std::string& oid) {
  const IdentObj* element = SingleValue(attributes, kOidContentTypeAttr);
  IdentObj value;
  if (!element || !DecodedValue(*element, kObjectIdTag, value)) return false;
  oid = OidText(value);
  return !oid.empty();
}

bool MessageDigestAttribute(const AttributesList& attributes, std::vector<BYTE>& digest) {
  const IdentObj* element = SingleValue(attributes, kOidMessageDigestAttr);
  IdentObj value;
  if (!element || !DecodedValue(*element, kOctetStringTag, value)) return false;
  digest.assign(value.data(), value.data() + value.size());
  return true;
}

}  // namespace cmskit
