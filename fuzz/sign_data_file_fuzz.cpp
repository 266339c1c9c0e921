// Fuzz target for SignData::ReadObject from a file: the input is written to
// a file and read through the streaming reader, then the located content is
// taken out and the message streamed into another file.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "cmskit/sign_data.h"

namespace cmskit {
namespace {

void Require(bool condition) {
  if (!condition) abort();
}

// One private folder per fuzzing process, for the input and output files.
const std::filesystem::path& WorkFolder() {
  static const std::filesystem::path folder = [] {
    std::random_device device;
    std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("cmskit-fuzz-signdata-" + std::to_string(device()));
    std::filesystem::create_directories(path);
    return path;
  }();
  return folder;
}

bool WriteInput(const std::string& path, const uint8_t* data, size_t size) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  return static_cast<bool>(file);
}

// Both writers give the same bytes when both succeed.
void CheckWriters(SignData& message, const std::string& outPath) {
  DWORD streamed = 0;
  {
    CTOOFile out(outPath.c_str(), "wb");
    streamed = message.WriteObject(out, 0);
  }
  int error = 0;
  const IdentObj inMemory = message.WriteObject(&error);
  if (error != 0 || streamed == 0) return;
  Require(streamed == inMemory.size());
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
  const std::string inPath = (WorkFolder() / "input.der").string();
  const std::string outPath = (WorkFolder() / "output.der").string();
  if (!WriteInput(inPath, data, size)) return 0;
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
  CheckWriters(message, outPath);
  CheckDetach(message);
  return 0;
}
