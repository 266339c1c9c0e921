#include <cstdint>
#include <list>

#include "cmskit/asn_codec.h"
#include "cmskit/asn_record.h"
#include "cmskit/attributes.h"
#include "cmskit/status.h"
#include "platform/win32.h"
#include "signed/attribute_codec.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

const char kRoutine[] = "Attribute::ReadData";

[[noreturn]] void ThrowCorrupt() { throw XTOOStatus(kStatusCorrupt, kRoutine, false); }

// The part of the buffer after the first `used` bytes; a header that claims
// to end beyond the buffer is corrupt rather than a wrap-around.
DWORD Remaining(DWORD length, uint64_t used) {
  if (used > length) ThrowCorrupt();
  return static_cast<DWORD>(length - used);
}

}  // namespace

void ParseAttribute(const BYTE* data, DWORD length, CTOOString& oid, IdentObj& values, DWORD& consumed) {
  consumed = 0;
  CASNTBaseRecord outer;
  const DWORD headerLength = outer.ReadASNInfo(data, length, nullptr);
  if (outer.GetTagNumber() != kASNTSequence) ThrowCorrupt();
  Remaining(length, headerLength);
  consumed = headerLength;

  CASNTBaseRecord type;
  const DWORD typeLength = type.ReadFromMemory(data + consumed, Remaining(length, consumed), nullptr);
  if (type.GetTagNumber() != kASNTObjectId) ThrowCorrupt();
  const IdentObj& text = type.GetValue(nullptr);
  oid.Assign(reinterpret_cast<const char*>(text.data()), text.size());
  consumed += typeLength;

  CASNTBaseRecord valueSet;
  const DWORD valuesLength = valueSet.ReadFromMemory(data + consumed, Remaining(length, consumed), nullptr);
  values = valueSet.GetEncodedRef(nullptr);
  consumed += valuesLength;
}

IdentObj BuildAttribute(const CTOOString& oid, const IdentObj& values) {
  const ASNTElementInfo typeInfo{kASNTUniversal, kASNTPrimitive, kASNTObjectId, 0, nullptr};
  std::list<IdentObj> items;
  items.push_back(ASNTEncodeElement(typeInfo, oid.c_str(), oid.GetLength()));
  if (items.front().IsEmpty()) throw XTOOStatus(kStatusBadArgument, "Attribute::WriteData", false);
  items.push_back(values);
  return ASNTPutSequence(items, kASNTSequence, nullptr);
}

Attribute::Attribute(const CTOOString& oid, const IdentObj& values) : attrOID(oid), values(values) {}

DWORD Attribute::ReadData(const unsigned char* data, DWORD length, int* pError) {
  DWORD consumed = 0;
  const int status = CatchStatus([&] { ParseAttribute(data, length, attrOID, values, consumed); });
  // With pError the count read so far is the result even after a failure.
  if (!DeliverStatus(pError, status) && !pError) return 0;
  return consumed;
}

IdentObj Attribute::WriteData(int* pError) const {
  IdentObj encoded;
  const int status = CatchStatus([&] { encoded = BuildAttribute(attrOID, values); });
  if (!DeliverStatus(pError, status)) return IdentObj();
  return encoded;
}

}  // namespace cmskit
