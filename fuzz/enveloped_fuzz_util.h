// Shared by the enveloped-message fuzz targets: invariants that hold for any
// input, and a scratch file per process for the file readers and writers.
#ifndef CMSKIT_FUZZ_ENVELOPED_FUZZ_UTIL_H
#define CMSKIT_FUZZ_ENVELOPED_FUZZ_UTIL_H

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "cmskit/cmskit.h"

namespace cmskit::fuzz {

inline void Require(bool condition) {
  if (!condition) abort();
}

inline bool Same(const IdentObj& a, const IdentObj& b) {
  return a.size() == b.size() && (a.size() == 0 || memcmp(a.data(), b.data(), a.size()) == 0);
}

// Scratch files in the temporary folder, unique to this process and removed
// when it ends.
class ScratchFiles {
 public:
  ScratchFiles() {
    const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    const auto thread = std::hash<std::thread::id>()(std::this_thread::get_id());
    base_ =
        (std::filesystem::temp_directory_path() / ("cmskit_fuzz_" + std::to_string(stamp ^ thread))).string();
  }
  ~ScratchFiles() {
    std::error_code ignored;
    for (const std::string& path : made_) std::filesystem::remove(path, ignored);
  }
  const std::string& Path(const char* tag) {
    const std::string path = base_ + "_" + tag + ".der";
    for (const std::string& known : made_)
      if (known == path) return known;
    made_.push_back(path);
    return made_.back();
  }

 private:
  std::string base_;
  std::vector<std::string> made_;
};

inline std::string ScratchPath(const char* tag) {
  static ScratchFiles files;
  return files.Path(tag);
}

inline void WriteScratch(const std::string& path, const uint8_t* data, size_t size) {
  FILE* out = fopen(path.c_str(), "wb");
  Require(out != nullptr);
  if (size) Require(fwrite(data, 1, size, out) == size);
  fclose(out);
}

inline IdentObj ReadScratch(const std::string& path) {
  FILE* in = fopen(path.c_str(), "rb");
  Require(in != nullptr);
  fseek(in, 0, SEEK_END);
  const long length = ftell(in);
  fseek(in, 0, SEEK_SET);
  IdentObj bytes(nullptr, static_cast<uint32_t>(length));
  if (length > 0) Require(fread(bytes.data(), 1, bytes.size(), in) == bytes.size());
  fclose(in);
  return bytes;
}

// Runs `call`; a status thrown without pError is a normal outcome, anything
// else escapes and crashes the target.
template <class Call>
void AllowStatus(Call&& call) {
  try {
    call();
  } catch (const XTOOStatus&) {
  }
}

// What an EnvelopedData writes must read back and write again unchanged.
inline void RequireStableWrite(EnvelopedData& data) {
  int error = 0;
  const IdentObj first = data.WriteObject(&error);
  if (error != 0) return;
  EnvelopedData again;
  Require(again.ReadObject(first.data(), first.size(), &error) == first.size());
  Require(error == 0);
  const IdentObj second = again.WriteObject(&error);
  Require(error == 0 && Same(first, second));
}

}  // namespace cmskit::fuzz

#endif
