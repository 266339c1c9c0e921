#include "files/content_type.h"

#include <cstring>

#include "cmskit/asn_record.h"
#include "files/asn_steps.h"

namespace cmskit {

bool ReadContentType(const BYTE* bytes, size_t length, std::string& oid, size_t* consumed) {
  AsnSteps steps(bytes, length);
  CASNTBaseRecord record;
  if (!steps.Header(record, AsnSteps::kMayEnd) || !IsUniversal(record, kASNTSequence)) return false;
  if (!steps.Element(record, AsnSteps::kMayEnd)) return false;
  int status = 0;
  const IdentObj& value = record.GetValue(&status);
  if (status != 0 || value.IsEmpty()) return false;
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
