// libFuzzer target: MessageSignerInfo::ReadData on arbitrary bytes. A SignerInfo
// that reads must write, read back, and write the same bytes again (the first
// write may normalise values read from unexpected tags).
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "cmskit/cmskit.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 0xFFFFFFFFu) return 0;
  cmskit::MessageSignerInfo info;
  int error = 0;
  const DWORD read = info.ReadData(data, static_cast<DWORD>(size), &error);
  if ((error == 0) != (read != 0) || read > size) std::abort();
  if (error != 0) return 0;
  info.GetSigningData(&error);
  const cmskit::IdentObj written = info.WriteData(&error);
  // A sid that decoded to nothing is written as it stands and cannot be read.
  if (error != 0 || (info.subjectKeyIdentifier.IsEmpty() && info.issuer.IsEmpty())) return 0;
  cmskit::MessageSignerInfo again;
  if (again.ReadData(written.data(), written.size(), &error) != written.size()) std::abort();
  if (again.WriteData(&error) != written) std::abort();
  return 0;
}
