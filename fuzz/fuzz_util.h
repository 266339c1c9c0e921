// Shared by the fuzz targets: the check that ends a run, and scratch files
// unique to the fuzzing process for the file readers and writers.
#ifndef CMSKIT_FUZZ_FUZZ_UTIL_H
#define CMSKIT_FUZZ_FUZZ_UTIL_H

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

#include "cmskit/identobj.h"

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
    const std::string path = base_ + "_" + tag;
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

// The file is made afresh: truncating one in place can cost a disk flush.
inline void WriteScratch(const std::string& path, const void* data, size_t size) {
  std::remove(path.c_str());
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

}  // namespace cmskit::fuzz

#endif
