#include "files/content_type.h"

#include <cstring>

#include "files/asn_steps.h"

namespace cmskit {

bool ReadContentType(const BYTE* bytes, size_t length, std::string& oid, size_t* consumed) {
  AsnSteps steps(bytes, length);
  ASNTHeader header;
  if (!steps.Header(header, AsnSteps::kMayEnd) || !IsUniversal(header, kASNTSequence)) return false;
  uint64_t elementSize = 0;
  if (!steps.Element(header, AsnSteps::kMayEnd, &elementSize)) return false;
  IdentObj value;
  if (!steps.Value(header, elementSize, value) || value.IsEmpty()) return false;
  // The value is text; a stray zero byte ends it.
  const char* text = reinterpret_cast<const char*>(value.data());
  const void* zero = memchr(text, 0, value.size());
  const size_t size = zero ? static_cast<size_t>(static_cast<const char*>(zero) - text) : value.size();
  if (size == 0) return false;
  oid.assign(text, size);
  if (consumed) *consumed = static_cast<size_t>(steps.Position());
  return true;
}

}  // namespace cmskit
