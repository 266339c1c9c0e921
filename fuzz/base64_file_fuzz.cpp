// Fuzz target for Base64FileDecode: the input, behind a run of plain quanta
// that carries it across the converter's read blocks, is decoded from a file
// and compared with decoding one quantum at a time. Base64FileEncode of the
// input must decode back to it.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "cmskit/file.h"
#include "cmskit/message_files.h"
#include "cmskit/paths.h"
#include "files/base64.h"
#include "files/base64_chars.h"
#include "files/file_byte_source.h"
#include "fuzz_util.h"

namespace cmskit {
namespace {

using fuzz::Require;

std::string Path(const char* name) { return fuzz::ScratchPath(name); }

void Discard(const std::string& path) { std::remove(path.c_str()); }

void WriteAll(const std::string& path, const std::string& bytes) {
  fuzz::WriteScratch(path, bytes.data(), bytes.size());
}

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// One quantum collected, decoded and kept at a time.
bool ReferenceDecode(const std::string& path, std::string& out) {
  CTOOFile file(path.c_str(), "rb");
  FileByteSource source(file, 1 << 16);
  for (;;) {
    std::vector<char> quantum;
    const size_t count = ScanBase64Chars(source, quantum, 4);
    if (count == 0) return true;
    if (count != 4) return false;
    BYTE bytes[3];
    const size_t decoded = TryBase64Decode(quantum.data(), count, bytes, sizeof bytes, 0);
    if (decoded == 0) return false;
    out.append(bytes, bytes + decoded);
  }
}

// How many plain quanta go before the input: none, or enough to end a little
// before or after the converter's first read block.
size_t LeadQuanta(uint8_t selector) { return selector < 0xE0 ? 0 : (1 << 15) - 16 + (selector & 31); }

// Quanta read one at a time leave the reader at the start of the input, so
// the reference decodes the input alone behind the lead's known bytes.
void FuzzDecode(const std::string& input, size_t leadQuanta) {
  const std::string alone = Path("alone.txt"), in = Path("in.txt"), out = Path("out.bin");
  WriteAll(alone, input);
  std::string lead;
  lead.reserve(leadQuanta * 4 + input.size());
  for (size_t i = 0; i < leadQuanta; ++i) lead += "QUFB";
  WriteAll(in, lead + input);
  std::string expected(leadQuanta * 3, 'A');
  const bool expectedResult = ReferenceDecode(alone, expected);
  Discard(out);
  Require(Base64FileDecode(in.c_str(), out.c_str()) == expectedResult);
  Require(ReadAll(out) == expected);
}

void FuzzEncode(const std::string& bytes) {
  const std::string in = Path("bytes.bin"), text = Path("text.txt"), back = Path("back.bin");
  WriteAll(in, bytes);
  Discard(text);
  Require(Base64FileEncode(in.c_str(), text.c_str()));
  Discard(back);
  Require(Base64FileDecode(text.c_str(), back.c_str()));
  Require(ReadAll(back) == bytes);
}

}  // namespace
}  // namespace cmskit

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1 || size > 0x10000) return 0;
  const std::string input(reinterpret_cast<const char*>(data) + 1, size - 1);
  cmskit::FuzzDecode(input, cmskit::LeadQuanta(data[0]));
  cmskit::FuzzEncode(input);
  return 0;
}
