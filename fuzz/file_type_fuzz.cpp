// Fuzz target for message type detection: the input as a file for the three
// exported tests, and as exactly sized memory for the walks behind them.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "cmskit/message_files.h"
#include "cmskit/paths.h"
#include "files/content_type.h"

namespace cmskit {
namespace {

void Require(bool condition) {
  if (!condition) abort();
}

const TOO::TEMPFOLDER& Folder() {
  static const TOO::TEMPFOLDER folder(true);
  return folder;
}

void FuzzFile(const uint8_t* data, size_t size) {
  const std::string path = std::string(Folder().c_str()) + "/message";
  // Made afresh: truncating a file in place can cost a disk flush.
  std::remove(path.c_str());
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
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
