#include <cstdint>
#include <list>

#include "cmskit/asn_codec.h"
#include "cmskit/asn_record.h"
#include "cmskit/attributes.h"
#include "platform/win32.h"
#include "signed/attribute_boundary.h"
#include "tools/boundary.h"

namespace cmskit {

DWORD AttributesList::Parse(const BYTE* data, DWORD length) {
  clear();
  CASNTUnit element;
  const DWORD size = element.ReadFromMemory(data, length, nullptr);
  tag = element.GetTagNumber();
  for (size_t i = 0; i < element.GetChildCount(); ++i) {
    IdentObj child;
    element.GetChild(i)->GetEncoded(child, nullptr);
    OneAttributesSet set;
    set.Parse(child.data(), child.size());
    push_back(set);
  }
  return size;
}

IdentObj AttributesList::Build() const {
  uint64_t total = 0;
  std::list<IdentObj> items;
  for (const OneAttributesSet& set : *this) {
    items.push_back(set.Build());
    total += items.back().size();
  }
  if (total > UINT32_MAX) throw XTOOStatus(kStatusLength, "AttributesList::WriteData", false);
  IdentObj contents(nullptr, static_cast<uint32_t>(total));
  BYTE* out = contents.data();
  for (const IdentObj& item : items) {
    for (DWORD i = 0; i < item.size(); ++i) *out++ = item.data()[i];
  }
  const ASNTElementInfo info{static_cast<uint8_t>(universalClass ? kASNTUniversal : kASNTContext),
                             kASNTConstructed, tag, 0, nullptr};
  IdentObj encoded = ASNTEncodeElement(info, contents.data(), contents.size());
  if (encoded.IsEmpty()) throw XTOOStatus(kStatusBadArgument, "AttributesList::WriteData", false);
  return encoded;
}

DWORD AttributesList::ReadData(const unsigned char* data, DWORD length, int* pError) {
  DWORD size = 0;
  const int status = CatchStatus([&] { size = Parse(data, length); });
  DeliverStatus(pError, status);
  return status == 0 ? size : 0;
}

IdentObj AttributesList::WriteData(int* pError) const {
  IdentObj encoded;
  DeliverOrRethrow(pError, [&] { encoded = Build(); });
  return encoded;
}

}  // namespace cmskit
