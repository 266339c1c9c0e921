#include <iterator>
#include <list>

#include "cmskit/asn_codec.h"
#include "cmskit/attributes.h"
#include "platform/win32.h"
#include "signed/attribute_boundary.h"
#include "signed/attribute_codec.h"

namespace cmskit {

void OneAttributesSet::setAttrOID(const CTOOString& oid) {
  modified_ = true;
  attrOID_ = oid;
}

const IdentObj& OneAttributesSet::getEntry(size_t index) const {
  // One shared empty object, so a caller probing past the end never gets an
  // exception or a dangling reference.
  static const IdentObj kNoEntry;
  if (index >= entries_.size()) return kNoEntry;
  return *std::next(entries_.begin(), static_cast<std::ptrdiff_t>(index));
}

void OneAttributesSet::pushBackEntry(const IdentObj& entry) {
  modified_ = true;
  entries_.push_back(entry);
}

bool OneAttributesSet::operator==(const OneAttributesSet& other) const {
  return attrOID_ == other.attrOID_ && entries_ == other.entries_;
}

bool OneAttributesSet::operator<(const OneAttributesSet&) const { return false; }

void OneAttributesSet::Parse(const BYTE* data, DWORD length) {
  entries_.clear();
  Attribute attribute;
  DWORD consumed = 0;
  ParseAttribute(data, length, attribute.attrOID, attribute.values, consumed);
  if (!attribute.values.IsEmpty()) {
    attrOID_ = attribute.attrOID;
    ASNTGetSequence(entries_, attribute.values.data(), attribute.values.size(), nullptr);
  }
  // The whole input is kept, not only the part parsed: it is what comes back.
  modified_ = false;
  received_.SetData(data, length);
}

IdentObj OneAttributesSet::BuildValues() const {
  std::list<IdentObj> items;
  if (entries_.size() == 1) {
    items = entries_;
  } else if (entries_.size() > 1) {
    // Several values go inside one SEQUENCE within the SET; peers that read
    // these attributes expect exactly this shape.
    items.push_back(ASNTPutSequence(entries_, kASNTSequence, nullptr));
  }
  return ASNTPutSequence(items, kASNTSet, nullptr);
}

IdentObj OneAttributesSet::Build() const {
  if (!modified_ && !received_.IsEmpty()) return received_;
  return BuildAttribute(attrOID_, BuildValues());
}

DWORD OneAttributesSet::ReadData(const unsigned char* data, DWORD length, int* pError) {
  DeliverOrRethrow(pError, [&] { Parse(data, length); });
  return 0;
}

IdentObj OneAttributesSet::WriteData(int* pError) const {
  IdentObj encoded;
  DeliverOrRethrow(pError, [&] { encoded = Build(); });
  return encoded;
}

}  // namespace cmskit
