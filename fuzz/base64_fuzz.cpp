// Fuzz target for the Base64 codec: decoding any text with every option,
// within the capacity it asked for, and encoding any bytes back and forth.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "cmskit/status.h"
#include "files/base64.h"
#include "fuzz_util.h"

namespace cmskit {
namespace {

using fuzz::Require;

// Decoding writes within the figure it reports, and fails only with 131.
void FuzzDecode(const char* text, size_t length, DWORD flags) {
  const size_t needed = Base64Decode(text, length, nullptr, 0, flags);
  Require(needed == (length + 3) / 4 * 3);
  // Exactly sized, so that a write past the figure is caught by the sanitizers.
  std::vector<BYTE> out(needed);
  try {
    Require(Base64Decode(text, length, out.data(), out.size(), flags) <= needed);
  } catch (const XTOOStatus& e) {
    Require(e.GetStatus() == kStatusBadBase64);
  }
  if (needed > 0) Require(Base64Decode(text, length, out.data(), needed - 1, flags) == 0);
  std::vector<BYTE> quanta(length / 4 * 3 + 1);
  Require(Base64DecodeQuanta(text, length, quanta.data()) % 4 == 0);
}

// Every encoding decodes to the bytes it came from.
void FuzzEncode(const BYTE* bytes, size_t length, DWORD lineLength) {
  const char* separators[] = {nullptr, "\r\n", "|"};
  for (const char* separator : separators) {
    for (DWORD flags : {DWORD{0}, kBase64WrapLines}) {
      const size_t needed = Base64Encode(bytes, length, nullptr, 0, flags, lineLength, separator);
      std::vector<char> text(needed);
      const size_t written =
          Base64Encode(bytes, length, text.data(), text.size(), flags, lineLength, separator);
      Require(written + 1 == needed && text[written] == '\0');
      std::vector<BYTE> back(Base64Decode(text.data(), written, nullptr, 0, 0) + 1);
      const size_t decoded = TryBase64Decode(text.data(), written, back.data(), back.size(),
                                             kBase64SkipInvalid | kBase64AllowWhiteSpace);
      Require(decoded == length && (length == 0 || memcmp(back.data(), bytes, length) == 0));
    }
  }
}

}  // namespace
}  // namespace cmskit

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2 || size > 0x10000) return 0;
  const DWORD flags = data[0] & 7;
  const DWORD lineLength = data[1];
  // A copy of the text without its option bytes and without a terminator:
  // the decoder must not look past the length it was given.
  const std::vector<char> text(data + 2, data + size);
  if (!text.empty()) cmskit::FuzzDecode(text.data(), text.size(), flags);
  cmskit::FuzzEncode(data + 2, size - 2, lineLength);
  return 0;
}
