// libFuzzer target: AttributesList::ReadData on arbitrary bytes. A list that
// reads must write back the bytes it occupied when its tag is context-specific.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "cmskit/cmskit.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 0xFFFFFFFFu) return 0;
  cmskit::AttributesList list;
  int error = 0;
  const DWORD read = list.ReadData(data, static_cast<DWORD>(size), &error);
  if ((error == 0) != (read != 0) || read > size) std::abort();
  if (error != 0) return 0;
  const cmskit::IdentObj written = list.WriteData(&error);
  // Pristine sets come back as received, so a definite-length context-specific
  // list with a short header is reproduced exactly.
  const bool reproducible = (data[0] & 0xE0) == 0xA0 && (data[0] & 0x1F) != 0x1F && data[1] < 0x80;
  if (error == 0 && reproducible &&
      (written.size() != read || std::memcmp(written.data(), data, read) != 0)) {
    std::abort();
  }
  return 0;
}
