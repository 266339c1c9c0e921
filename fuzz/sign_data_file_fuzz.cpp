// Fuzz target for SignData::ReadObject from a file: the input is written to
// a file and read through the streaming reader, then the located content is
// taken out and the message streamed into another file.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "cmskit/sign_data.h"
#include "fuzz_util.h"

namespace cmskit {
namespace {

using fuzz::Require;

// When both writers succeed, their messages read back to the same parts.
// (Their bytes may differ: for content of no octets the streaming writer
// leaves eContent out, the memory writer writes an empty OCTET STRING.)
void CheckWriters(SignData& message, const std::string& outPath) {
  DWORD streamed = 0;
  {
    CTOOFile out(outPath.c_str(), "wb");
    streamed = message.WriteObject(out, 0);
  }
  int error = 0;
  const IdentObj inMemory = message.WriteObject(&error);
  if (error != 0 || streamed == 0) return;
  const IdentObj file = fuzz::ReadScratch(outPath);
  Require(file.size() == streamed);
  SignData fromFile;
  SignData fromMemory;
  // The file reader takes versions the memory reader refuses: both messages
  // then fail alike.
  const bool fileRead = fromFile.ReadObject(file.data(), static_cast<DWORD>(file.size()), nullptr);
  Require(fileRead == fromMemory.ReadObject(inMemory.data(), inMemory.size(), nullptr));
  if (!fileRead) return;
  Require(fromFile.encapContentInfo.data == fromMemory.encapContentInfo.data);
  Require(fromFile.certificates == fromMemory.certificates && fromFile.crls == fromMemory.crls);
  Require(fromFile.signerInfos == fromMemory.signerInfos);
}

// The 64-bit reader takes what the 32-bit one takes, and finds the same;
// StreamContent hands over what DetachData gives.
void CheckWide(const std::string& inPath, DWORD consumed, const SignData& narrow) {
  SignData wide;
  int error = -1;
  CTOOFile file(inPath.c_str(), "rb");
  Require(wide.ReadObject64(file, 0, &error) == consumed && error == 0);
  const ToSignStruct64 range = wide.GetDataInfo64(), expected(narrow.GetDataInfo());
  Require(range.flags == expected.flags && range.begin == expected.begin && range.end == expected.end);
  struct Collect : ContentSink {
    std::vector<BYTE> got;
    bool Take(const BYTE* data, size_t size) override {
      got.insert(got.end(), data, data + size);
      return true;
    }
  } streamed;
  const bool streamOk = wide.StreamContent(streamed, nullptr);
  ToSignStruct64 out;
  if (!wide.DetachData64(out, nullptr)) {
    delete[] static_cast<BYTE*>(out.data);
    return;
  }
  const BYTE* bytes = static_cast<const BYTE*>(out.data);
  Require(streamOk && out.begin == 0 && std::vector<BYTE>(bytes, bytes + out.end) == streamed.got);
  delete[] bytes;
}

void CheckDetach(SignData& message) {
  ToSignStruct out;
  if (message.DetachData(out, nullptr)) Require(out.begin == 0 && out.end <= 0x7FFFFFFF);
  delete[] static_cast<BYTE*>(out.data);
}

}  // namespace
}  // namespace cmskit

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace cmskit;
  const std::string inPath = fuzz::ScratchPath("input"), outPath = fuzz::ScratchPath("output");
  fuzz::WriteScratch(inPath, data, size);
  SignData message;
  int error = 0;
  DWORD consumed = 0;
  {
    CTOOFile file(inPath.c_str(), "rb");
    consumed = message.ReadObject(file, 0, &error);
  }
  if (consumed == 0) return 0;
  Require(error == 0 && consumed <= size);
  const ToSignStruct& content = message.GetDataInfo();
  if (content.flags & ToSignStruct::kInFile) Require(content.begin <= content.end && content.end <= size);
  CheckWide(inPath, consumed, message);
  CheckWriters(message, outPath);
  CheckDetach(message);
  return 0;
}
