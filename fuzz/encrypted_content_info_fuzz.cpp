// Fuzz target: EncryptedContentInfo::ReadObject from memory and from a file.
// Whatever reads must measure and write consistently: GetObjectSize, the
// memory writer and the file writer (which copies the octets out of the
// input file) all agree.
#include "enveloped_fuzz_util.h"

namespace {

void CheckWriters(cmskit::EncryptedContentInfo& eci) {
  using namespace cmskit;
  const IdentObj inMemory = eci.WriteObject();
  if (inMemory.IsEmpty()) return;
  fuzz::Require(eci.GetObjectSize() == inMemory.size());
  const std::string path = fuzz::ScratchPath("eci_out");
  DWORD written = 0;
  {
    CTOOFile out(path.c_str(), "wb");
    written = eci.WriteObject(out);
  }
  fuzz::Require(written == inMemory.size());
  fuzz::Require(fuzz::Same(fuzz::ReadScratch(path), inMemory));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace cmskit;
  if (size > 0xFFFFFF) return 0;
  EncryptedContentInfo inMemory;
  const DWORD consumed = inMemory.ReadObject(data, static_cast<DWORD>(size));
  fuzz::Require(consumed <= size);
  if (consumed != 0) CheckWriters(inMemory);

  const std::string path = fuzz::ScratchPath("eci_in");
  fuzz::WriteScratch(path, data, size);
  EncryptedContentInfo fromFile;
  DWORD fromFileConsumed = 0;
  {
    CTOOFile file(path.c_str(), "rb");
    fromFileConsumed = fromFile.ReadObject(file);
    fuzz::Require(fromFileConsumed <= size);
  }
  if (fromFileConsumed == 0) return 0;
  fuzz::Require(fromFile.contentLength <= size && fromFile.contentOffset <= size - fromFile.contentLength);
  CheckWriters(fromFile);
  return 0;
}
