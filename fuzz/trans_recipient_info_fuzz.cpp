// Fuzz target: TransRecipientInfo::ReadObject under both error endings; a
// recipient that was read writes, and reads back to the same encoding.
#include "enveloped_fuzz_util.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace cmskit;
  if (size > 0xFFFFFF) return 0;
  const DWORD length = static_cast<DWORD>(size);
  TransRecipientInfo recipient;
  int error = 0;
  const DWORD consumed = recipient.ReadObject(data, length, &error);
  fuzz::Require(consumed <= length);
  fuzz::AllowStatus([&] { TransRecipientInfo().ReadObject(data, length); });
  if (error != 0) return 0;
  const IdentObj written = recipient.WriteObject(&error);
  if (error != 0) return 0;
  fuzz::Require(recipient.GetObjectSize() == written.size());
  TransRecipientInfo again;
  fuzz::Require(again.ReadObject(written.data(), written.size(), &error) == written.size() && error == 0);
  fuzz::Require(fuzz::Same(again.WriteObject(&error), written));
  return 0;
}
