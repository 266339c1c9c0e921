// The library's Base64 codec: standard alphabet with "=" padding, optional
// line wrapping on encode, strict decoding with option bits.
#ifndef CMSKIT_FILES_BASE64_H
#define CMSKIT_FILES_BASE64_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/win32.h"

namespace cmskit {

// Malformed Base64 text.
constexpr int kStatusBadBase64 = 131;

// Encoder option: break the output into lines.
constexpr DWORD kBase64WrapLines = 0x1;
// Decoder options.
constexpr DWORD kBase64AllowWhiteSpace = 0x1;  // CR, LF, tab and space between characters
constexpr DWORD kBase64SkipInvalid = 0x2;      // any character outside the alphabet is ignored
constexpr DWORD kBase64StopAtPad = 0x4;        // nothing after the first "=" is looked at

constexpr char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kBase64Pad = '=';
constexpr BYTE kBase64NotAlphabet = 0xFF;

// The 6-bit value of every byte of the alphabet; kBase64NotAlphabet for every
// other byte, those at or above 128 included.
constexpr std::array<BYTE, 256> MakeBase64Values() {
  std::array<BYTE, 256> values{};
  for (auto& value : values) value = kBase64NotAlphabet;
  for (BYTE i = 0; i < 64; ++i) values[static_cast<BYTE>(kBase64Alphabet[i])] = i;
  return values;
}
inline constexpr std::array<BYTE, 256> kBase64Values = MakeBase64Values();

inline bool IsBase64WhiteSpace(BYTE c) { return c == '\r' || c == '\n' || c == '\t' || c == ' '; }

// Writes the Base64 text of `length` bytes and a terminating zero. Returns,
// with no destination, the capacity needed (terminator included); with too
// small a destination, 0; otherwise the characters written, terminator not
// counted. With kBase64WrapLines, lines are `lineLength` characters (64 when
// 0, rounded up to a multiple of 4), each followed by `separator` ("\n" when
// null). A null source throws XTOOStatus 28.
size_t Base64Encode(const void* source, size_t length, char* destination, size_t capacity, DWORD flags,
                    DWORD lineLength = 0, const char* separator = nullptr);

// Decodes `length` characters (a zero-terminated string when 0). Returns,
// with no destination, the capacity needed, ((length + 3) / 4) * 3; 0 when
// `capacity` is below that figure; otherwise the bytes written. Malformed
// text throws XTOOStatus 131, a null source XTOOStatus 28.
size_t Base64Decode(const char* source, size_t length, BYTE* destination, size_t capacity, DWORD flags);

// The same, with XTOOStatus failures turned into a result of 0.
size_t TryBase64Encode(const void* source, size_t length, char* destination, size_t capacity, DWORD flags,
                       DWORD lineLength = 0, const char* separator = nullptr);
size_t TryBase64Decode(const char* source, size_t length, BYTE* destination, size_t capacity, DWORD flags);

// Decodes whole quanta of four alphabet characters from the start of
// `source`, stopping before the first quantum that holds anything else or is
// incomplete. `destination` must have room for length / 4 * 3 bytes. Returns
// the characters consumed; the bytes written are that count / 4 * 3.
size_t Base64DecodeQuanta(const char* source, size_t length, BYTE* destination);

}  // namespace cmskit

#endif
