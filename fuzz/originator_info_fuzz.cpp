// Fuzz target: OriginatorInfo::ReadObject under both error endings; what was
// read writes and reads back to the same lists.
#include "enveloped_fuzz_util.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace cmskit;
  if (size > 0xFFFFFF) return 0;
  const DWORD length = static_cast<DWORD>(size);
  OriginatorInfo info;
  int error = 0;
  const DWORD consumed = info.ReadObject(data, length, &error);
  fuzz::Require(consumed <= length);
  fuzz::AllowStatus([&] { OriginatorInfo().ReadObject(data, length); });
  if (error != 0 || info.IsEmpty()) return 0;
  const IdentObj written = info.WriteObject(&error);
  if (error != 0) return 0;
  fuzz::Require(info.GetObjectSize() == written.size());
  OriginatorInfo again;
  fuzz::Require(again.ReadObject(written.data(), written.size(), &error) == written.size() && error == 0);
  fuzz::Require(again.certs.size() == info.certs.size() && again.crls.size() == info.crls.size());
  return 0;
}
