#include <algorithm>
#include <cstdint>
#include <list>

#include "cmskit/asn_codec.h"
#include "cmskit/asn_record.h"
#include "cmskit/attributes.h"
#include "platform/win32.h"
#include "signed/attribute_boundary.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

const char kWriteRoutine[] = "AttributesList::WriteData";

}  // namespace

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
  if (total > UINT32_MAX) throw XTOOStatus(kStatusLength, kWriteRoutine, false);
  IdentObj contents(nullptr, static_cast<uint32_t>(total));
  BYTE* out = contents.data();
  for (const IdentObj& item : items) out = std::copy(item.data(), item.data() + item.size(), out);
  // The encoder copies context-specific contents as they are, whatever the tag
  // number; a universal tag would select a value form instead. So the element
  // is always built context-specific and only its class bits changed after.
  const ASNTElementInfo info{kASNTContext, kASNTConstructed, tag, 0, nullptr};
  IdentObj encoded = ASNTEncodeElement(info, contents.data(), contents.size());
  if (encoded.IsEmpty()) throw XTOOStatus(kStatusBadArgument, kWriteRoutine, false);
  if (universalClass) encoded.data()[0] &= static_cast<BYTE>(~kASNTPrivate);
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
