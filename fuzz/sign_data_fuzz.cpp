// Fuzz target for SignData::ReadObject from memory, and for what follows a
// successful read: writing the message again and taking its content out.
#include <cstdint>
#include <cstdlib>

#include "cmskit/sign_data.h"
#include "fuzz_util.h"

namespace cmskit {
namespace {

using fuzz::Require;

// A message that was read and written again reads back to the same parts.
void CheckRewrite(SignData& message) {
  int error = 0;
  const IdentObj written = message.WriteObject(&error);
  if (error != 0) return;
  SignData again;
  Require(again.ReadObject(written.data(), written.size(), &error));
  Require(again.version == message.version);
  Require(again.certificates == message.certificates);
  Require(again.crls == message.crls);
  Require(again.signerInfos == message.signerInfos);
  Require(again.encapContentInfo.data == message.encapContentInfo.data);
  Require(again.digestAlgorithms.size() == message.digestAlgorithms.size());
}

void CheckDetach(SignData& message) {
  const uint32_t length = message.encapContentInfo.data.size();
  ToSignStruct out;
  Require(message.DetachData(out, nullptr));
  Require(out.end == length && out.begin == 0);
  delete[] static_cast<BYTE*>(out.data);
  Require(message.encapContentInfo.data.IsEmpty());
}

}  // namespace
}  // namespace cmskit

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace cmskit;
  SignData message;
  int error = 0;
  if (!message.ReadObject(data, static_cast<DWORD>(size), &error)) return 0;
  Require(error == 0);
  message.GetObjectSize();
  CheckRewrite(message);
  CheckDetach(message);
  return 0;
}
