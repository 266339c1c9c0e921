// Fuzz target for the ASN.1 layer: every reader of the codec and the record
// tree on the same bytes, with invariants that must hold for any input.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <list>

#include "cmskit/asn_codec.h"
#include "cmskit/asn_record.h"
#include "cmskit/asn_types.h"
#include "fuzz_util.h"

namespace cmskit {
namespace {

using fuzz::Require;

uint64_t TotalSize(const std::list<IdentObj>& items) {
  uint64_t sum = 0;
  for (const IdentObj& item : items) sum += item.size();
  return sum;
}

void FuzzHeaderAndValue(const BYTE* data, DWORD size) {
  ASNTElementInfo info;
  if (ASNTReadHeader(info, data, size) != 0) return;
  Require(info.contents > data && info.contents <= data + size);
  const uint64_t available = static_cast<uint64_t>(data + size - info.contents);
  if (info.length != kASNTIndefinite && info.length <= available) {
    int status = 0;
    ASNTDecodeElement(info, &status);
  }
  int status = 0;
  const DWORD rest = static_cast<DWORD>(available);
  Require(ASNTGetIndefiniteLength(info.contents, rest, info.constructed != 0, &status) <= rest);
}

void FuzzSequences(const BYTE* data, DWORD size) {
  std::list<IdentObj> children;
  int status = 0;
  const DWORD consumed = ASNTGetSequence(children, data, size, &status);
  Require(consumed <= size);
  Require(TotalSize(children) <= consumed);
  std::list<IdentObj> split;
  if (ASNTSplitElements(split, data, size) == 0)
    Require(TotalSize(split) <= size);
  else
    Require(split.empty());
}

// DER from a tree that was read; false where a value has no encoding.
bool Rebuild(CASNTUnit& unit, IdentObj* out) {
  const ASNTElementInfo info{unit.GetTagClass(),
                             static_cast<uint8_t>(unit.IsConstructed() ? kASNTConstructed : 0),
                             unit.GetTagNumber(), 0, nullptr};
  if (!unit.IsConstructed()) {
    int status = 0;
    const IdentObj& value = unit.GetValue(&status);
    if (status != 0) return false;
    *out = ASNTEncodeElement(info, value.data(), value.size());
    return !out->IsEmpty();
  }
  const bool sequence = info.tagClass == kASNTUniversal && (info.tagNumber == 16 || info.tagNumber == 17);
  if (!sequence && info.tagClass != kASNTContext) return false;
  std::list<IdentObj> items;
  for (size_t i = 0; i < unit.GetChildCount(); ++i) {
    IdentObj child;
    if (!Rebuild(*static_cast<CASNTUnit*>(unit.GetChild(i)), &child)) return false;
    items.push_back(child);
  }
  int status = 0;
  IdentObj whole = ASNTPutSequence(items, 16, &status);
  if (status != 0) return false;
  if (sequence) {
    whole.data()[0] = static_cast<BYTE>(0x20 | info.tagNumber);
    *out = whole;
    return true;
  }
  const DWORD header = static_cast<DWORD>(whole.size() - TotalSize(items));
  *out = ASNTEncodeElement(info, whole.data() + header, whole.size() - header);
  return !out->IsEmpty();
}

void FuzzTree(const BYTE* data, DWORD size) {
  CASNTUnit unit;
  int status = 0;
  const DWORD consumed = unit.ReadFromMemory(data, size, &status);
  if (status != 0) {
    Require(consumed == 0 && unit.GetChildCount() == 0);
    return;
  }
  Require(consumed <= size);
  IdentObj encoded;
  unit.GetEncoded(encoded, &status);
  Require(status == 0 && encoded.size() == consumed && memcmp(encoded.data(), data, consumed) == 0);

  // Decoding every value and encoding it again is stable after one pass.
  IdentObj der;
  if (!Rebuild(unit, &der)) return;
  CASNTUnit again;
  Require(again.ReadFromMemory(der.data(), der.size(), &status) == der.size() && status == 0);
  IdentObj derAgain;
  Require(Rebuild(again, &derAgain) && derAgain == der);
}

void FuzzRecords(const BYTE* data, DWORD size) {
  CASNTBaseRecord record;
  int status = 0;
  const DWORD consumed = record.ReadFromMemory(data, size, &status);
  Require(consumed <= size);
  if (status == 0) record.GetValue(&status);

  CASNTIdData value;
  status = 0;
  Require(value.ReadData(data, size, &status) <= size);
  if (status != 0 || value.id.IsEmpty()) return;
  const IdentObj written = value.WriteData(&status);
  if (status != 0) return;
  CASNTIdData back;
  back.ReadData(written.data(), written.size(), &status);
  Require(status == 0 && back == value);
}

}  // namespace
}  // namespace cmskit

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 0x100000) return 0;
  const DWORD length = static_cast<DWORD>(size);
  try {
    cmskit::FuzzHeaderAndValue(data, length);
    cmskit::FuzzSequences(data, length);
    cmskit::FuzzTree(data, length);
    cmskit::FuzzRecords(data, length);
  } catch (const cmskit::XTOOStatus&) {
    // Only allocation failures may throw when a status pointer is given.
    abort();
  }
  return 0;
}
