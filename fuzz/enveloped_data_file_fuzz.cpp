// Fuzz target: EnvelopedData::ReadObject from a file. Where the memory reader
// also succeeds the two find the same recipients; the file reader may stop
// earlier, since it puts back the header of an element other than [0] after
// the content's algorithm (and so also accepts more). The file writer, which
// streams the content from the input file, must write what the memory writer
// builds.
#include "enveloped_fuzz_util.h"

namespace {

void CheckWriters(cmskit::EnvelopedData& message) {
  using namespace cmskit;
  int error = 0;
  const IdentObj inMemory = message.WriteObject(&error);
  if (error != 0) return;
  const std::string path = fuzz::ScratchPath("out");
  DWORD written = 0;
  {
    CTOOFile out(path.c_str(), "wb");
    fuzz::Require(out.IsOpen());
    written = message.WriteObject(out, &error);
  }
  fuzz::Require(error == 0 && written == inMemory.size());
  fuzz::Require(fuzz::Same(fuzz::ReadScratch(path), inMemory));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace cmskit;
  if (size > 0xFFFFFF) return 0;
  const std::string path = fuzz::ScratchPath("in");
  fuzz::WriteScratch(path, data, size);
  EnvelopedData fromFile;
  int error = 0;
  DWORD consumed = 0;
  {
    CTOOFile file(path.c_str(), "rb");
    fuzz::Require(file.IsOpen());
    consumed = fromFile.ReadObject(file, &error);
    fuzz::Require(consumed <= size);
    file.Seek(0, SEEK_SET);
    EnvelopedData thrown;
    fuzz::AllowStatus([&] { thrown.ReadObject(file); });
  }
  if (error != 0) return 0;
  EnvelopedData inMemory;
  int memoryError = 0;
  const DWORD memoryConsumed = inMemory.ReadObject(data, static_cast<DWORD>(size), &memoryError);
  if (memoryError == 0) {
    fuzz::Require(memoryConsumed >= consumed);
    fuzz::Require(inMemory.recipientInfos.size() == fromFile.recipientInfos.size());
  }
  CheckWriters(fromFile);
  return 0;
}
