// Fuzz target for message type detection: the input as a file for the three
// exported tests, and as exactly sized memory for the walks behind them.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "cmskit/message_files.h"
#include "cmskit/paths.h"
#include "files/content_type.h"
#include "fuzz_util.h"

namespace cmskit {
namespace {

using fuzz::Require;

void FuzzFile(const uint8_t* data, size_t size) {
  const std::string path = fuzz::ScratchPath("message");
  fuzz::WriteScratch(path, data, size);
  const CmsFileType type = GetFileTypeByContent(path.c_str());
  Require(type >= CmsFileUnknown && type <= CmsFileSignedDetached);
  IsAsn1Binary(path.c_str());
  IsAsn1Base64(path.c_str());
}

void FuzzMemory(const uint8_t* data, size_t size) {
  // A copy of exactly the input's size: a read past it is caught by the sanitizers.
  const std::vector<BYTE> bytes(data, data + size);
  std::string oid;
  size_t consumed = 0;
  if (ReadContentType(bytes.data(), bytes.size(), oid, &consumed)) Require(!oid.empty() && consumed <= size);
  bool hasContent = false;
  InspectSignedData(bytes.data(), bytes.size(), hasContent);
  for (bool constructed : {true, false})
    Require(IndefiniteExtent(bytes.data(), bytes.size(), constructed) <= size);
}

}  // namespace
}  // namespace cmskit

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 0x10000) return 0;
  cmskit::FuzzFile(data, size);
  if (size > 0) cmskit::FuzzMemory(data, size);
  return 0;
}
