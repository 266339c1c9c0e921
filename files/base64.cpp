#include "files/base64.h"

#include <cstring>
#include <limits>

#include "cmskit/status.h"

namespace cmskit {

namespace {

constexpr size_t kMaxSize = std::numeric_limits<size_t>::max();

// Every 12-bit value as its two alphabet characters: one lookup and one
// 2-byte copy per half group.
using CharPair = std::array<char, 2>;
constexpr std::array<CharPair, 4096> MakePairs() {
  std::array<CharPair, 4096> pairs{};
  for (uint32_t v = 0; v < 4096; ++v) pairs[v] = CharPair{kBase64Alphabet[v >> 6], kBase64Alphabet[v & 0x3F]};
  return pairs;
}
constexpr std::array<CharPair, 4096> kPairs = MakePairs();

inline void PutPair(char* out, uint32_t twelveBits) { memcpy(out, kPairs[twelveBits].data(), 2); }

inline void EncodeGroup(const BYTE* in, char* out) {
  const uint32_t v = (static_cast<uint32_t>(in[0]) << 16) | (static_cast<uint32_t>(in[1]) << 8) | in[2];
  PutPair(out, v >> 12);
  PutPair(out + 2, v & 0xFFF);
}

// A final group of 1 or 2 bytes, zero-filled, with "=" for the characters
// that carry no input bits.
void EncodeTail(const BYTE* in, size_t count, char* out) {
  BYTE group[3] = {in[0], count > 1 ? in[1] : BYTE{0}, 0};
  EncodeGroup(group, out);
  out[3] = kBase64Pad;
  if (count == 1) out[2] = kBase64Pad;
}

// Groups of three bytes; returns the characters written.
size_t EncodeGroups(const BYTE* in, size_t length, char* out) {
  const size_t groups = length / 3;
  for (size_t i = 0; i < groups; ++i) EncodeGroup(in + 3 * i, out + 4 * i);
  size_t written = groups * 4;
  const size_t rest = length - groups * 3;
  if (rest != 0) {
    EncodeTail(in + groups * 3, rest, out + written);
    written += 4;
  }
  return written;
}

struct LineLayout {
  size_t lineLength;  // characters per line, a multiple of 4
  const char* separator;
  size_t separatorLength;
};

LineLayout MakeLayout(DWORD lineLength, const char* separator) {
  uint64_t line = lineLength == 0 ? 64 : lineLength;
  line = (line + 3) / 4 * 4;
  const char* sep = separator ? separator : "\n";
  return LineLayout{static_cast<size_t>(line), sep, strlen(sep)};
}

// Characters of the text for `length` bytes, without terminator; false when
// the figure does not fit a size_t.
bool TextLength(size_t length, bool wrap, const LineLayout& layout, size_t& needed) {
  if (length > kMaxSize / 4 * 3 - 3) return false;
  const size_t chars = (length / 3 + (length % 3 != 0 ? 1 : 0)) * 4;
  needed = chars;
  if (!wrap || chars == 0) return true;
  const size_t lines = chars / layout.lineLength + (chars % layout.lineLength != 0 ? 1 : 0);
  if (layout.separatorLength != 0 && lines > (kMaxSize - chars - 1) / layout.separatorLength) return false;
  needed = chars + lines * layout.separatorLength;
  return true;
}

size_t EncodeWrapped(const BYTE* in, size_t length, char* out, const LineLayout& layout) {
  const size_t bytesPerLine = layout.lineLength / 4 * 3;
  size_t written = 0;
  for (size_t done = 0; done < length;) {
    const size_t take = length - done < bytesPerLine ? length - done : bytesPerLine;
    written += EncodeGroups(in + done, take, out + written);
    memcpy(out + written, layout.separator, layout.separatorLength);
    written += layout.separatorLength;
    done += take;
  }
  return written;
}

[[noreturn]] void ThrowBadBase64() { throw XTOOStatus(kStatusBadBase64, "Base64Decode", false); }

[[noreturn]] void ThrowBadArgument(const char* routine) {
  throw XTOOStatus(kStatusBadArgument, routine, false);
}

// A character outside the alphabet that is not the "=" ending the data.
void SkipOrThrow(BYTE c, DWORD flags) {
  if ((flags & kBase64AllowWhiteSpace) && IsBase64WhiteSpace(c)) return;
  if (flags & kBase64SkipInvalid) return;
  ThrowBadBase64();
}

// The decoder's view of a character: bytes at or above 128 count as data of
// value 0.
inline BYTE DecodeValue(BYTE c) { return c >= 0x80 ? BYTE{0} : kBase64Values[c]; }

// The part after the first "=": further "=" continue the count of the last
// quantum, which must end at exactly four.
void CheckPadding(const BYTE* text, size_t length, size_t position, uint32_t count, DWORD flags) {
  for (; position < length; ++position) {
    const BYTE c = text[position];
    if (c != kBase64Pad) {
      SkipOrThrow(c, flags);
      continue;
    }
    if (count == 0 || ++count > 4) ThrowBadBase64();
  }
  if (count != 0 && count != 4) ThrowBadBase64();
}

}  // namespace

size_t Base64Encode(const void* source, size_t length, char* destination, size_t capacity, DWORD flags,
                    DWORD lineLength, const char* separator) {
  if (!source) ThrowBadArgument("Base64Encode");
  const bool wrap = (flags & kBase64WrapLines) != 0;
  const LineLayout layout = MakeLayout(lineLength, separator);
  size_t needed = 0;
  if (!TextLength(length, wrap, layout, needed)) ThrowBadArgument("Base64Encode");
  if (!destination) return needed + 1;
  if (capacity < needed + 1) return 0;
  const BYTE* in = static_cast<const BYTE*>(source);
  const size_t written =
      wrap ? EncodeWrapped(in, length, destination, layout) : EncodeGroups(in, length, destination);
  destination[written] = '\0';
  return written;
}

size_t Base64DecodeQuanta(const char* source, size_t length, BYTE* destination) {
  const BYTE* in = reinterpret_cast<const BYTE*>(source);
  size_t position = 0;
  for (; length - position >= 4; position += 4, destination += 3) {
    const uint32_t a = kBase64Values[in[position]];
    const uint32_t b = kBase64Values[in[position + 1]];
    const uint32_t c = kBase64Values[in[position + 2]];
    const uint32_t d = kBase64Values[in[position + 3]];
    if ((a | b | c | d) & 0x80) break;
    const uint32_t v = (a << 18) | (b << 12) | (c << 6) | d;
    destination[0] = static_cast<BYTE>(v >> 16);
    destination[1] = static_cast<BYTE>(v >> 8);
    destination[2] = static_cast<BYTE>(v);
  }
  return position;
}

size_t Base64Decode(const char* source, size_t length, BYTE* destination, size_t capacity, DWORD flags) {
  if (!source) ThrowBadArgument("Base64Decode");
  if (length == 0) length = strlen(source);
  const size_t needed = length / 4 * 3 + (length % 4 != 0 ? 3 : 0);
  if (!destination) return needed;
  if (capacity < needed) return 0;

  // Plain quanta first, at full speed; the careful walk takes over at the
  // first quantum holding anything else.
  size_t position = Base64DecodeQuanta(source, length, destination);
  size_t written = position / 4 * 3;
  const BYTE* text = reinterpret_cast<const BYTE*>(source);
  uint32_t value = 0;
  uint32_t count = 0;
  for (; position < length; ++position) {
    const BYTE c = text[position];
    const BYTE v = DecodeValue(c);
    if (v == kBase64NotAlphabet) {
      if (c == kBase64Pad) break;
      SkipOrThrow(c, flags);
      continue;
    }
    value = (value << 6) | v;
    if (++count < 4) continue;
    if (capacity - written < 3) return 0;
    destination[written++] = static_cast<BYTE>(value >> 16);
    destination[written++] = static_cast<BYTE>(value >> 8);
    destination[written++] = static_cast<BYTE>(value);
    value = 0;
    count = 0;
  }
  if (count == 1) ThrowBadBase64();
  if (count > 1 && capacity - written < count - 1) return 0;
  if (count == 2) destination[written++] = static_cast<BYTE>(value >> 4);
  if (count == 3) {
    destination[written++] = static_cast<BYTE>(value >> 10);
    destination[written++] = static_cast<BYTE>(value >> 2);
  }
  if (position < length && !(flags & kBase64StopAtPad)) CheckPadding(text, length, position, count, flags);
  return written;
}

size_t TryBase64Encode(const void* source, size_t length, char* destination, size_t capacity, DWORD flags,
                       DWORD lineLength, const char* separator) {
  try {
    return Base64Encode(source, length, destination, capacity, flags, lineLength, separator);
  } catch (const XTOOStatus&) {
    return 0;
  }
}

size_t TryBase64Decode(const char* source, size_t length, BYTE* destination, size_t capacity, DWORD flags) {
  try {
    return Base64Decode(source, length, destination, capacity, flags);
  } catch (const XTOOStatus&) {
    return 0;
  }
}

}  // namespace cmskit
