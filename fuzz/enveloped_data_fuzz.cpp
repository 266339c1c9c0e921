// Fuzz target: EnvelopedData::ReadObject from memory under both error
// endings, and the stability of what a successful read writes.
#include "enveloped_fuzz_util.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace cmskit;
  if (size > 0xFFFFFF) return 0;
  const DWORD length = static_cast<DWORD>(size);
  EnvelopedData message;
  int error = 0;
  const DWORD consumed = message.ReadObject(data, length, &error);
  fuzz::Require(consumed <= length);
  if (error == 0) fuzz::RequireStableWrite(message);
  EnvelopedData again;
  fuzz::AllowStatus([&] { fuzz::Require(again.ReadObject(data, length) == consumed); });
  return 0;
}
