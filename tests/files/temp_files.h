// Small files in a temporary folder for the message-file tests.
#ifndef CMSKIT_TESTS_FILES_TEMP_FILES_H
#define CMSKIT_TESTS_FILES_TEMP_FILES_H

#include <fstream>
#include <iterator>
#include <string>

#include "cmskit/paths.h"

namespace cmskit {

class TempFiles {
 public:
  std::string Path(const std::string& name) const { return std::string(folder_.c_str()) + "/" + name; }
  std::string Write(const std::string& name, const std::string& bytes) const {
    std::ofstream(Path(name), std::ios::binary)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return Path(name);
  }
  static std::string Read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

 private:
  TOO::TEMPFOLDER folder_{true};
};

}  // namespace cmskit

#endif
