// Base64FileEncode and Base64FileDecode. The observable result is that of a
// converter working one 3-byte group / 4-character quantum at a time (one
// unbroken output line; every quantum decoded on its own, so padded quanta
// and armour lines may stand between quanta). Files are read and written in
// large blocks so that big messages convert at disk speed in constant memory.
#include <algorithm>
#include <vector>

#include "cmskit/file.h"
#include "cmskit/message_files.h"
#include "files/base64.h"
#include "files/base64_chars.h"
#include "files/block_writer.h"
#include "files/file_byte_source.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr uint32_t kEncodeBlock = 3 * 32768;  // whole groups, so only the last read pads
constexpr size_t kDecodeBlock = 1 << 17;      // characters buffered from the source
constexpr size_t kDecodeChunk = 1 << 12;      // characters decoded between checks for room
constexpr size_t kOutputBlock = 1 << 17;      // decoded bytes kept before a write

bool Usable(const CTOOFile& file) { return file.IsOpen() && !file.IsError(); }

bool EncodeStream(CTOOFile& in, CTOOFile& out) {
  std::vector<BYTE> bytes(kEncodeBlock);
  std::vector<char> text(kEncodeBlock / 3 * 4 + 1);
  for (;;) {
    const uint32_t got = in.Read(bytes.data(), kEncodeBlock);
    if (got == 0) return true;
    // A short read leaves a padded quantum at that point, as a 3-byte read would.
    const size_t chars = TryBase64Encode(bytes.data(), got, text.data(), text.size(), 0);
    const uint32_t size = static_cast<uint32_t>(chars);
    if (chars == 0 || out.Write(text.data(), size) != size) return false;
  }
}

// Whole quanta of alphabet characters straight from the source buffer, and
// white space between quanta: the same result as collecting them one quantum
// at a time, since each collection skips white space first. Stops before the
// first quantum that needs the careful reader; false when a write failed.
bool DecodePlainQuanta(FileByteSource& in, BlockWriter& out) {
  while (in.Fill(4)) {
    const size_t span = std::min(in.Available(), kDecodeChunk) / 4 * 4;
    BYTE* room = out.Reserve(span / 4 * 3);
    if (!room) return false;
    const size_t used = Base64DecodeQuanta(reinterpret_cast<const char*>(in.Cursor()), span, room);
    out.Commit(used / 4 * 3);
    in.Skip(used);
    if (used == span) continue;
    size_t blanks = 0;
    while (blanks < in.Available() && IsBase64WhiteSpace(in.Cursor()[blanks])) ++blanks;
    if (blanks == 0) return true;
    in.Skip(blanks);
  }
  return true;
}

bool DecodeStream(FileByteSource& in, BlockWriter& out) {
  std::vector<char> quantum;
  quantum.reserve(4);
  for (;;) {
    if (!DecodePlainQuanta(in, out)) return false;
    quantum.clear();
    const size_t count = ScanBase64Chars(in, quantum, 4);
    // Nothing more, a forbidden character or a cut marker: the input ends here.
    if (count == 0) return true;
    if (count % 4 != 0) return false;
    BYTE bytes[3];
    const size_t decoded = TryBase64Decode(quantum.data(), count, bytes, sizeof bytes, 0);
    if (!out.Write(bytes, decoded)) return false;
  }
}

bool EncodeFile(const char* sourcePath, const char* destinationPath) {
  CTOOFile source(sourcePath, "rb");
  if (!Usable(source)) return false;
  CTOOFile destination(destinationPath, "wb");
  // The source is tested again on purpose: an unopenable destination shows
  // only at the first write, so an empty source still converts successfully.
  if (!Usable(source)) return false;
  return EncodeStream(source, destination) && (!destination.IsOpen() || destination.Flush());
}

bool DecodeFile(const char* sourcePath, const char* destinationPath) {
  CTOOFile source(sourcePath, "rb");
  if (!Usable(source)) return false;
  CTOOFile destination(destinationPath, "wb");
  // As when encoding, the destination is judged by its first write.
  if (!Usable(source)) return false;
  FileByteSource in(source, kDecodeBlock);
  BlockWriter out(destination, kOutputBlock);
  const bool decoded = DecodeStream(in, out);
  // What was decoded before a failure stays in the destination.
  const bool flushed = out.Flush() && (!destination.IsOpen() || destination.Flush());
  return decoded && flushed;
}

}  // namespace

bool Base64FileEncode(const char* source, const char* destination) {
  bool converted = false;
  CatchStatus([&] { converted = EncodeFile(source, destination); });
  return converted;
}

bool Base64FileDecode(const char* source, const char* destination) {
  bool converted = false;
  CatchStatus([&] { converted = DecodeFile(source, destination); });
  return converted;
}

}  // namespace cmskit
