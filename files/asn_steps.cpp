#include "files/asn_steps.h"

#include "tools/boundary.h"

namespace cmskit {

bool AsnSteps::Advance(uint64_t count, EndRule rule) {
  if (count > Remaining()) {
    position_ = reader_.End();
    return false;
  }
  position_ += count;
  return rule == kMayEnd || position_ < reader_.End();
}

bool AsnSteps::Header(ASNTHeader& header, EndRule rule) {
  if (reader_.ReadHeader(position_, header) != 0) return false;
  return Advance(header.size, rule);
}

bool AsnSteps::Element(ASNTHeader& header, EndRule rule, uint64_t* size) {
  uint64_t total = 0;
  if (reader_.ReadHeader(position_, header) != 0 || reader_.ElementSize(header, total) != 0) return false;
  if (size) *size = total;
  return Advance(total, rule);
}

bool AsnSteps::Value(const ASNTHeader& header, uint64_t size, IdentObj& value) const {
  const BYTE* at = reader_.Memory() + header.start;
  ASNTElementInfo info = header.Info(at);
  if (header.indefinite) info.length = static_cast<uint32_t>(size - header.size - 2);
  int status = 0;
  const int thrown = CatchStatus([&] { value = ASNTDecodeElement(info, &status); });
  return thrown == 0 && status == 0;
}

}  // namespace cmskit
