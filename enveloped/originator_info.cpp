#include "cmskit/originator_info.h"

#include "cmskit/asn_codec.h"
#include "cmskit/status.h"
#include "enveloped/enveloped_support.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr char kReadOrigin[] = "OriginatorInfo::ReadObject";
constexpr char kWriteOrigin[] = "OriginatorInfo::WriteObject";

// Explicit tagging: the whole SET is the contents of [tagNumber].
void AppendTaggedSet(std::list<IdentObj>& items, uint32_t tagNumber, const std::list<IdentObj>& elements) {
  if (elements.empty()) return;
  items.push_back(ASNTWrapExplicit(tagNumber, ASNTBuildSequence(elements, kASNTSet, kWriteOrigin)));
}

IdentObj EncodeOriginator(const OriginatorInfo& source) {
  if (source.IsEmpty()) return IdentObj();
  std::list<IdentObj> items;
  AppendTaggedSet(items, 0, source.certs);
  AppendTaggedSet(items, 1, source.crls);
  return ASNTBuildSequence(items, kASNTSequence, kWriteOrigin);
}

// [0] or [1] around a whole SET: the SET's elements go to the list.
void ReadTaggedSet(OriginatorInfo& target, const IdentObj& child) {
  uint32_t headerLength = 0;
  const ASNTElementInfo info = ASNTWholeHeader(child, headerLength, kReadOrigin);
  std::list<IdentObj>* destination = nullptr;
  if (info.tagNumber == 0) destination = &target.certs;
  if (info.tagNumber == 1) destination = &target.crls;
  if (!destination) ASNTRaise(kStatusBadArgument, kReadOrigin);
  int status = 0;
  ASNTGetSequence(*destination, child.data() + headerLength, child.size() - headerLength, &status);
  if (status != 0) ASNTRaise(status, kReadOrigin);
}

DWORD ParseOriginator(OriginatorInfo& target, const BYTE* data, DWORD size) {
  if (!data) ASNTRaise(kStatusBadArgument, kReadOrigin);
  std::list<IdentObj> children;
  int status = 0;
  const DWORD consumed = ASNTGetSequence(children, data, size, &status);
  if (status != 0) ASNTRaise(status, kReadOrigin);
  if (consumed == 0) ASNTRaise(kStatusCorrupt, kReadOrigin);
  for (const IdentObj& child : children) ReadTaggedSet(target, child);
  return consumed;
}

}  // namespace

OriginatorInfo::OriginatorInfo() = default;

OriginatorInfo::OriginatorInfo(const OriginatorInfo& other) = default;

OriginatorInfo& OriginatorInfo::operator=(const OriginatorInfo& other) = default;

OriginatorInfo::~OriginatorInfo() = default;

bool OriginatorInfo::IsEmpty() const { return certs.empty() && crls.empty(); }

IdentObj OriginatorInfo::WriteObject(int* pError) const {
  IdentObj encoded;
  RunOrRethrow(pError, [&] { encoded = EncodeOriginator(*this); });
  return encoded;
}

DWORD OriginatorInfo::ReadObject(const BYTE* data, DWORD size, int* pError) {
  DWORD consumed = 0;
  if (!data && size == 0) {
    if (pError) *pError = 0;
    return 0;
  }
  RunOrRethrow(pError, [&] { consumed = ParseOriginator(*this, data, size); });
  return consumed;
}

DWORD OriginatorInfo::GetObjectSize() const {
  if (IsEmpty()) return 0;
  int error = 0;
  const IdentObj encoded = WriteObject(&error);
  return error != 0 ? 0 : encoded.size();
}

}  // namespace cmskit
