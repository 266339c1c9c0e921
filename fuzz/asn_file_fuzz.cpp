// Fuzz target for the ASN.1 layer's file readers: the header reader, the
// record reader and CASNTIdData on a file holding the input. Each stays inside
// the file; where the memory reader takes the same element, both read the same
// bytes.
#include "enveloped_fuzz_util.h"

namespace cmskit {
namespace {

void FuzzRecord(CTOOFile& file, const uint8_t* data, size_t size) {
  CASNTBaseRecord header;
  int status = 0;
  header.ReadASNInfo(file, 0, &status);
  file.Seek(0, SEEK_SET);
  CASNTBaseRecord fromFile;
  status = 0;
  const DWORD consumed = fromFile.ReadFromFile(file, 0, &status);
  fuzz::Require(consumed <= size && (status == 0 || consumed == 0));
  if (status != 0) return;
  const IdentObj& encoded = fromFile.GetEncodedRef(&status);
  fuzz::Require(status == 0 && encoded.size() == consumed && memcmp(encoded.data(), data, consumed) == 0);
}

void FuzzIdData(CTOOFile& file, size_t size) {
  file.Seek(0, SEEK_SET);
  CASNTIdData value;
  int status = 0;
  fuzz::Require(value.ReadData(file, &status) <= size);
}

}  // namespace
}  // namespace cmskit

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace cmskit;
  if (size > 0x100000) return 0;
  const std::string path = fuzz::ScratchPath("asn");
  fuzz::WriteScratch(path, data, size);
  CTOOFile file(path.c_str(), "rb");
  fuzz::Require(file.IsOpen());
  try {
    FuzzRecord(file, data, size);
    FuzzIdData(file, size);
  } catch (const XTOOStatus&) {
    // With a status pointer given, nothing but allocation failures may throw.
    abort();
  }
  return 0;
}
